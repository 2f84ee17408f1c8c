#pragma once

#include <QtGlobal>

/// What the system knows of the process that runs the test.
namespace thisprocess {

int threadCount();
/// Sockets that are open.
int socketCount();
/// Bytes of memory that it occupies; negative if that can't be told.
qint64 residentMemory();
/// Bytes that it has occupied at most since its start or restartPeakMemory(); negative if that can't be told.
qint64 peakMemory();
/// False if the system doesn't allow it.
bool restartPeakMemory();
/// Bytes that have come in over the loopback interface of the test's own network, by which everything goes;
/// -1 if that can't be told.
qint64 bytesReceived();
/// Milliseconds of processor time that the calling thread has used.
qint64 workOfThread();

} // namespace thisprocess
