#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTimer>

#include <functional>

/// Starts requests at the pace at which they are answered. Hundreds that answer promptly keep a computer
/// busy, and more of them only make everything slower; one that is answered slowly or never soon stops
/// counting, so that it doesn't hold up the others. Starts them a few milliseconds at a time, so that the
/// event loop turns in between. Knows nothing of what the requests are; their keys are up to the owner.
class RequestPace final : public QObject
{
    Q_OBJECT

public:
    using Key = const void *;

    /// `startNext`: starts the next request that waits and calls started(); false if none waits.
    explicit RequestPace(std::function<bool()> startNext, QObject *parent = nullptr);

    /// Requests wait: has them started, soon or when their turn comes.
    void schedule();
    /// The same, but the first ones at once.
    void startSome();
    /// Starts nothing before the next schedule().
    void stop();

    /// Does nothing for a request that is out already.
    void started(Key key);
    /// Does nothing for a request that is not out.
    void ended(Key key);
    int outstanding() const { return m_outstanding.size(); }

    /// How many prompt requests may be out: enough for a fleet that answers after 50 ms to keep two
    /// processors busy.
    static constexpr int maximumPrompt = 256;

private:
    struct Request
    {
        QElapsedTimer age;
        bool prompt = true;
    };

    void noticeSlowOnes();

    const std::function<bool()> m_startNext;
    QHash<Key, Request> m_outstanding;
    int m_prompt = 0;
    QTimer m_startTimer;
    /// Runs while as many are out as may be, and others wait.
    QTimer m_slowTimer;
};
