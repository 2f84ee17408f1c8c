#include "eventloopwatch.h"

#include "thisprocess.h"

#include <algorithm>

EventLoopWatch::EventLoopWatch()
    : m_workAtLook(thisprocess::workOfThread())
{
    m_sinceLook.start();
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { look(); });
    m_timer.start(1);
}

void EventLoopWatch::look()
{
    const qint64 work = thisprocess::workOfThread();
    m_longestWork = std::max(m_longestWork, work - m_workAtLook);
    m_longestTurn = std::max(m_longestTurn, m_sinceLook.restart());
    m_workAtLook = work;
}
