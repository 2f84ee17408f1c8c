#include "eventloopwatch.h"

#include <algorithm>
#include <ctime>

namespace {

/// Milliseconds of processor time that this thread has used.
qint64 workOfThread()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return qint64(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

} // namespace

EventLoopWatch::EventLoopWatch()
    : m_workAtLook(workOfThread())
{
    m_sinceLook.start();
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { look(); });
    m_timer.start(1);
}

void EventLoopWatch::look()
{
    const qint64 work = workOfThread();
    m_longestWork = std::max(m_longestWork, work - m_workAtLook);
    m_longestTurn = std::max(m_longestTurn, m_sinceLook.restart());
    m_workAtLook = work;
}
