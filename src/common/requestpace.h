#pragma once

#include <QElapsedTimer>
#include <QHash>

/// How many requests may be out at a time. Every request has a thread and descriptors of its own, and
/// hundreds that answer promptly keep all processors busy; more of them only make everything slower. A
/// request that is answered slowly or never doesn't hold up the others: it soon stops counting as prompt, up
/// to a bound on all requests that are out. Knows nothing of what the requests are; their keys are up to the
/// owner.
class RequestPace final
{
public:
    using Key = const void *;

    /// `maximumOutstanding`: how many requests may be out at all, slow ones included.
    explicit RequestPace(int maximumOutstanding)
        : m_maximumOutstanding(maximumOutstanding)
    {
    }

    /// How many requests an owner may have out, by the descriptors of this process: those of the information
    /// queries and those of a transfer are out at the same time.
    static int requestsThatFit();

    bool mayStart() const { return m_prompt < maximumPrompt && m_outstanding.size() < m_maximumOutstanding; }
    bool isFull() const { return m_outstanding.size() >= m_maximumOutstanding; }
    int outstanding() const { return m_outstanding.size(); }
    QList<Key> keys() const { return m_outstanding.keys(); }

    /// Does nothing for a request that is out already.
    void started(Key key);
    /// Does nothing for a request that is not out.
    void ended(Key key);
    /// To be called a few times a second as long as anything waits.
    void noticeSlowOnes();

    /// Enough for a fleet that answers after 50 ms to keep two processors busy.
    static constexpr int maximumPrompt = 256;

private:
    struct Request
    {
        QElapsedTimer age;
        bool prompt = true;
    };

    const int m_maximumOutstanding;
    QHash<Key, Request> m_outstanding;
    int m_prompt = 0;
};
