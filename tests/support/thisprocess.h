#pragma once

#include <QByteArray>

#include <sys/resource.h>

/// What the system knows of the process that runs the test.
namespace thisprocess {

int threadCount();
/// Descriptors that are open: of files, sockets and whatever else.
int descriptorCount();
/// Sockets that are open.
int socketCount();
/// The TCP connections of the test's own network, for a failure: each of their ends on a line of its own,
/// with the bytes that it has not sent and not read yet, and the descriptor by which this process holds it.
QByteArray connections();
/// Bytes of memory that it occupies; negative if that can't be told.
qint64 residentMemory();
/// Bytes that it has occupied at most since its start or restartPeakMemory(); negative if that can't be told.
qint64 peakMemory();
/// False if the system doesn't allow it.
bool restartPeakMemory();
/// How many threads of that name it has.
int threadsNamed(const QByteArray &name);
/// Bytes that have come in over the loopback interface of the test's own network, by which everything goes;
/// -1 if that can't be told.
qint64 bytesReceived();
/// Milliseconds of processor time that the calling thread has used.
qint64 workOfThread();

/// Processor time of the calling thread since the object was made or restarted. What else the machine has to
/// do isn't in it, so that one piece of work can be compared with another.
class Work final
{
public:
    void restart() { m_begin = workOfThread(); }
    qint64 milliseconds() const { return workOfThread() - m_begin; }

private:
    qint64 m_begin = workOfThread();
};

/// The process may have so many open descriptors, until the object goes.
class DescriptorLimit final
{
public:
    explicit DescriptorLimit(int limit);
    ~DescriptorLimit();
    Q_DISABLE_COPY_MOVE(DescriptorLimit)

private:
    rlimit m_before{};
};

} // namespace thisprocess
