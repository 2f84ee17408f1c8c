#include "device/queryqueue.h"

#include "device/device.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds longestHold = 200ms;

} // namespace

QueryQueue::QueryQueue(QObject *parent)
    : QObject(parent)
    , m_pace([this] { return sendNext(); })
{
    m_hold.setSingleShot(true);
    m_hold.setInterval(longestHold);
    connect(&m_hold, &QTimer::timeout, &m_pace, &RequestPace::schedule);
}

void QueryQueue::watch(Device *device)
{
    connect(device, &Device::requestEnded, this, [this, device] { m_pace.ended(device); });
    connect(device, &QObject::destroyed, this, [this, device] {
        m_waiting.remove(device);
        m_pace.ended(device);
    });
}

void QueryQueue::enqueue(Device *device)
{
    if (m_waiting.contains(device)) {
        return;
    }
    m_waiting.insert(device);
    m_queue.push_back(device);
    m_pace.schedule();
}

void QueryQueue::setHeld(bool held)
{
    if (held) {
        m_hold.start();
    } else {
        m_hold.stop();
        m_pace.schedule();
    }
}

void QueryQueue::keepOnly(const std::function<bool(const Device *)> &passes)
{
    for (Device *const device : m_queue) {
        // Others in the queue may be gone.
        if (m_waiting.contains(device) && !passes(device)) {
            m_waiting.remove(device);
        }
    }
}

bool QueryQueue::sendNext()
{
    while (!m_hold.isActive() && !m_queue.empty()) {
        Device *const device = m_queue.front();
        m_queue.pop_front();
        if (m_waiting.remove(device)) {
            device->updateInfo();
            if (device->requestOutstanding()) {
                m_pace.started(device);
            }
            return true;
        }
    }
    return false;
}
