#pragma once

#include <QtGlobal>

/// What the system knows of the process that runs the test.
namespace thisprocess {

int threadCount();
/// Kibibytes of memory that it occupies; -1 if that can't be told.
qint64 residentMemory();
/// Bytes that it has read from files and streams so far; -1 if that can't be told.
qint64 bytesRead();

} // namespace thisprocess
