#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <deque>

class WebReply;

/// Lets the replies of a thread tell their news, a few milliseconds at a time: hundreds may arrive at once,
/// and each may have its user write a file. The event loop turns in between. Each thread has one, for its
/// replies.
class WebTurns final : public QObject
{
    Q_OBJECT

public:
    static WebTurns &ofThread();

    /// A reply has something to tell.
    void add(WebReply *reply);

private:
    WebTurns();
    void giveSome();

    std::deque<QPointer<WebReply>> m_replies;
    QTimer m_timer;
};
