#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

/// Tells for how long the event loop of its thread was held at most, by work or by waiting.
class EventLoopWatch final
{
public:
    EventLoopWatch();

    /// Milliseconds of processor time that the thread used between two turns. Other processes don't matter.
    qint64 longestWork() const { return m_longestWork; }
    /// Milliseconds between two turns.
    qint64 longestTurn() const { return m_longestTurn; }

private:
    void look();

    QTimer m_timer;
    QElapsedTimer m_sinceLook;
    qint64 m_workAtLook = 0;
    qint64 m_longestWork = 0;
    qint64 m_longestTurn = 0;
};
