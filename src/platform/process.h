#pragma once

#include <QtGlobal>

/// Lets the process open as many files as thousands of requests need, as far as the system allows it. The
/// usual limit is too low for a few hundred devices that are asked at the same time.
void raiseDescriptorLimit();

/// How many files and connections the process may have open; where the system has no such limit, more than
/// anybody needs.
[[nodiscard]] int descriptorLimit();

/// Has the C library read the machine's time zone once. Without TZ it looks after the file /etc/localtime
/// with every single time that is converted or compared, which makes a long list slow to fill and to sort by
/// time. A zone that is changed later shows after the next start. Before any other thread is started.
/// Windows keeps the zone in memory, and nothing is to be done.
void pinTimeZone();

/// Lets other processes bring their windows to the front, which Windows grants only to the one that its user
/// has just started, and to whom that one allows it. Elsewhere nothing is to be done.
void letOthersComeToTheFront();

/// Whether a process of this number runs; true also when the system doesn't tell.
[[nodiscard]] bool isRunning(qint64 process);
