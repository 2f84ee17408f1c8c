#include "web/webturns.h"

#include "web/webreply.h"

#include <QElapsedTimer>
#include <QThreadStorage>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds slice = 3ms;

} // namespace

WebTurns::WebTurns()
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(0);
    connect(&m_timer, &QTimer::timeout, this, &WebTurns::giveSome);
}

WebTurns &WebTurns::ofThread()
{
    static QThreadStorage<WebTurns *> turns;
    if (!turns.hasLocalData()) {
        turns.setLocalData(new WebTurns);
    }
    return *turns.localData();
}

void WebTurns::add(WebReply *reply)
{
    m_replies.emplace_back(reply);
    if (!m_timer.isActive()) {
        m_timer.start();
    }
}

void WebTurns::giveSome()
{
    QElapsedTimer clock;
    clock.start();
    // At least one, even where the thread stood still since the clock was started: without others to come,
    // nobody would start the timer for it.
    while (!m_replies.empty()) {
        const QPointer<WebReply> reply = m_replies.front();
        m_replies.pop_front();
        // Before its turn: a slot may run an event loop, in which the others go on.
        if (!m_replies.empty() && !m_timer.isActive()) {
            m_timer.start();
        }
        if (reply) {
            reply->tell();
        }
        if (clock.hasExpired(slice / 1ms)) {
            return;
        }
    }
}
