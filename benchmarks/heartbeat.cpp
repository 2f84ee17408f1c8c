#include "heartbeat.h"

#include <algorithm>
#include <ctime>

namespace {

constexpr double nanosecondsPerMillisecond = 1e6;

qint64 nanosecondsOf(clockid_t clock)
{
    constexpr qint64 nanosecondsPerSecond = 1000000000;
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * nanosecondsPerSecond + time.tv_nsec;
}

} // namespace

qint64 threadProcessorTime()
{
    return nanosecondsOf(CLOCK_THREAD_CPUTIME_ID);
}

qint64 processProcessorTime()
{
    return nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
}

Heartbeat::Heartbeat(QObject *parent)
    : QObject(parent)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(1);
    connect(&m_timer, &QTimer::timeout, this, &Heartbeat::beat);
}

void Heartbeat::start()
{
    m_clock.start();
    m_lastBeat = 0;
    m_startWork = threadProcessorTime();
    m_lastWork = m_startWork;
    m_longestGap = 0;
    m_longestWork = 0;
    m_timer.start();
}

Heartbeat::Result Heartbeat::stop()
{
    beat();
    m_timer.stop();
    return {static_cast<double>(m_longestGap) / nanosecondsPerMillisecond,
            static_cast<double>(m_longestWork) / nanosecondsPerMillisecond,
            static_cast<double>(m_lastWork - m_startWork) / nanosecondsPerMillisecond,
            static_cast<double>(m_lastBeat) / nanosecondsPerMillisecond};
}

void Heartbeat::beat()
{
    const qint64 now = m_clock.nsecsElapsed();
    const qint64 work = threadProcessorTime();
    m_longestGap = std::max(m_longestGap, now - m_lastBeat);
    m_longestWork = std::max(m_longestWork, work - m_lastWork);
    m_lastBeat = now;
    m_lastWork = work;
}
