#pragma once

/// Puts the local time in front of every message of the debug log and hands it to the handler that was
/// installed before. Once per process, first of all.
void installMessageLog();
