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
/// Milliseconds of processor time that the calling thread has used.
qint64 workOfThread();

/// Bytes of an answer after which it is clear that its sender means to go on. The client may stop taking more
/// after a megabyte.
constexpr qint64 aFlood = 256LL * 1024;

} // namespace thisprocess
