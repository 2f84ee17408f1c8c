#include "web/requestpace.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

/// A request that has been out for longer is slow.
constexpr std::chrono::milliseconds promptAge = 250ms;
constexpr std::chrono::milliseconds slowCheckInterval = 50ms;
/// The event loop turns after so much time.
constexpr std::chrono::milliseconds startSlice = 3ms;

} // namespace

RequestPace::RequestPace(std::function<bool()> startNext, QObject *parent)
    : QObject(parent)
    , m_startNext(std::move(startNext))
{
    m_startTimer.setSingleShot(true);
    m_startTimer.setInterval(0);
    connect(&m_startTimer, &QTimer::timeout, this, &RequestPace::startSome);
    m_slowTimer.setInterval(slowCheckInterval);
    connect(&m_slowTimer, &QTimer::timeout, this, &RequestPace::noticeSlowOnes);
}

void RequestPace::schedule()
{
    if (m_prompt < maximumPrompt) {
        if (!m_startTimer.isActive()) {
            m_startTimer.start();
        }
    } else if (!m_slowTimer.isActive()) {
        m_slowTimer.start();
    }
}

void RequestPace::stop()
{
    m_startTimer.stop();
    m_slowTimer.stop();
}

void RequestPace::startSome()
{
    QElapsedTimer slice;
    slice.start();
    while (m_prompt < maximumPrompt && !slice.hasExpired(startSlice / 1ms)) {
        if (!m_startNext()) {
            m_slowTimer.stop();
            return;
        }
    }
    schedule();
}

void RequestPace::started(Key key)
{
    if (!m_outstanding.contains(key)) {
        m_outstanding[key].age.start();
        ++m_prompt;
    }
}

void RequestPace::ended(Key key)
{
    const auto request = m_outstanding.find(key);
    if (request == m_outstanding.end()) {
        return;
    }
    if (request->prompt) {
        --m_prompt;
    }
    m_outstanding.erase(request);
    if (m_slowTimer.isActive()) {
        schedule();
    }
}

void RequestPace::noticeSlowOnes()
{
    for (Request &request : m_outstanding) {
        if (request.prompt && request.age.hasExpired(promptAge / 1ms)) {
            request.prompt = false;
            --m_prompt;
        }
    }
    schedule();
}
