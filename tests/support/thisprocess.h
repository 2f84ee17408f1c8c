#pragma once

#include <QtGlobal>

/// What the system knows of the process that runs the test.
namespace thisprocess {

int threadCount();
/// Bytes of memory that it occupies; negative if that can't be told.
qint64 residentMemory();
/// Bytes that it has occupied at most since its start or restartPeakMemory(); negative if that can't be told.
qint64 peakMemory();
/// False if the system doesn't allow it.
bool restartPeakMemory();
/// Bytes that it has read from files and streams so far; -1 if that can't be told.
qint64 bytesRead();

} // namespace thisprocess
