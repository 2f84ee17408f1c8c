#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

/// Beats every millisecond in the thread of the event loop; the longest gap between two beats is the longest
/// time for which the window would not have reacted.
class Heartbeat final : public QObject
{
    Q_OBJECT

public:
    struct Result
    {
        double longestGap = 0.0; // milliseconds
        /// The most processor time that this thread used between two beats, milliseconds. A gap that is much
        /// longer was somebody else's.
        double longestWork = 0.0;
        /// Processor time of this thread between start and stop, milliseconds.
        double work = 0.0;
        double wallTime = 0.0; // milliseconds
    };

    explicit Heartbeat(QObject *parent = nullptr);

    void start();
    Result stop();

private:
    void beat();

    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_lastBeat = 0;    // nanoseconds
    qint64 m_lastWork = 0;    // nanoseconds
    qint64 m_startWork = 0;   // nanoseconds
    qint64 m_longestGap = 0;  // nanoseconds
    qint64 m_longestWork = 0; // nanoseconds
};

/// Processor time that the calling thread has used, nanoseconds.
qint64 threadProcessorTime();
/// Processor time that the whole process has used, nanoseconds.
qint64 processProcessorTime();
