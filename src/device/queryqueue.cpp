#include "device/queryqueue.h"

#include "device/device.h"

#include <QElapsedTimer>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds slowCheckInterval = 250ms;
/// Starting a request costs as much as handling ten answers to discovery; this long at a time.
constexpr std::chrono::milliseconds sendSlice = 4ms;

} // namespace

QueryQueue::QueryQueue(int maximumOutstanding, QObject *parent)
    : QObject(parent)
    , m_pace(maximumOutstanding)
{
    m_sendTimer.setSingleShot(true);
    m_sendTimer.setInterval(0);
    connect(&m_sendTimer, &QTimer::timeout, this, &QueryQueue::sendSome);
    m_slowTimer.setInterval(slowCheckInterval);
    connect(&m_slowTimer, &QTimer::timeout, this, &QueryQueue::lookAfterSlowRequests);
}

void QueryQueue::watch(Device *device)
{
    connect(device, &Device::requestEnded, this, [this, device] { requestEnded(device); });
    connect(device, &QObject::destroyed, this, [this, device] { forget(device); });
}

void QueryQueue::enqueue(Device *device)
{
    if (m_waiting.contains(device)) {
        return;
    }
    m_waiting.insert(device);
    m_queue.push_back(device);
    scheduleSending();
}

void QueryQueue::scheduleSending()
{
    if (!m_sendTimer.isActive() && maySend()) {
        m_sendTimer.start();
    }
    if (m_waiting.isEmpty()) {
        m_slowTimer.stop();
    } else if (!m_slowTimer.isActive()) {
        m_slowTimer.start();
    }
}

bool QueryQueue::maySend() const
{
    return !m_waiting.isEmpty() && m_pace.mayStart();
}

void QueryQueue::sendSome()
{
    QElapsedTimer slice;
    slice.start();
    while (maySend() && !slice.hasExpired(sendSlice / 1ms)) {
        Device *const device = m_queue.front();
        m_queue.pop_front();
        if (m_waiting.remove(device)) {
            send(device);
        }
    }
    scheduleSending();
}

void QueryQueue::send(Device *device)
{
    device->updateInfo();
    if (device->requestOutstanding()) {
        m_pace.started(device);
    }
}

void QueryQueue::requestEnded(Device *device)
{
    m_pace.ended(device);
    scheduleSending();
}

void QueryQueue::forget(Device *device)
{
    m_waiting.remove(device);
    requestEnded(device);
}

void QueryQueue::lookAfterSlowRequests()
{
    m_pace.noticeSlowOnes();
    if (m_pace.isFull()) {
        const QList<RequestPace::Key> keys = m_pace.keys();
        for (const RequestPace::Key key : keys) {
            auto *const device = static_cast<Device *>(const_cast<void *>(key));
            if (device->requestAge() > Device::giveUpAge) {
                // The attempt that gives up; requestEnded() follows at once.
                device->updateInfo();
            }
        }
    }
    scheduleSending();
}
