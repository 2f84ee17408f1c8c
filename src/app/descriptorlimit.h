#pragma once

/// Lets the process open as many files as the system allows it at all. The usual limit is too low for a few
/// hundred devices that are asked at the same time.
void raiseDescriptorLimit();
