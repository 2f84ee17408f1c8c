#include "device/queryqueue.h"

#include "device/device.h"

#include <QElapsedTimer>

#include <algorithm>
#include <chrono>
#include <sys/resource.h>

using namespace std::chrono_literals;

namespace {

/// Enough for a fleet that answers after 50 ms to keep two processors busy.
constexpr int maximumPrompt = 256;
/// A request that has been out for longer no longer counts as prompt.
constexpr std::chrono::milliseconds promptAge = 1s;
constexpr std::chrono::milliseconds slowCheckInterval = 250ms;
/// Starting a request costs as much as handling ten answers to discovery; this long at a time.
constexpr std::chrono::milliseconds sendSlice = 4ms;

/// Of a network access manager with a request: two for its thread, one for the connection, one to spare.
constexpr rlim_t descriptorsPerRequest = 4;
/// For everything else that the program opens.
constexpr rlim_t reservedDescriptors = 256;
constexpr rlim_t fewestRequests = 32;
constexpr rlim_t mostRequests = 2000;

} // namespace

QueryQueue::QueryQueue(int maximumOutstanding, QObject *parent)
    : QObject(parent)
    , m_maximumOutstanding(maximumOutstanding)
{
    m_sendTimer.setSingleShot(true);
    m_sendTimer.setInterval(0);
    connect(&m_sendTimer, &QTimer::timeout, this, &QueryQueue::sendSome);
    m_slowTimer.setInterval(slowCheckInterval);
    connect(&m_slowTimer, &QTimer::timeout, this, &QueryQueue::lookAfterSlowRequests);
}

int QueryQueue::requestsThatFit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur <= reservedDescriptors) {
        return static_cast<int>(fewestRequests);
    }
    const rlim_t fitting = (limit.rlim_cur - reservedDescriptors) / descriptorsPerRequest;
    return static_cast<int>(std::clamp(fitting, fewestRequests, mostRequests));
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
    return !m_waiting.isEmpty() && m_prompt < maximumPrompt && m_outstanding.size() < m_maximumOutstanding;
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
    if (device->requestOutstanding() && !m_outstanding.contains(device)) {
        m_outstanding.insert(device, Pace::Prompt);
        ++m_prompt;
    }
}

void QueryQueue::requestEnded(Device *device)
{
    const auto ended = m_outstanding.find(device);
    if (ended == m_outstanding.end()) {
        return;
    }
    if (*ended == Pace::Prompt) {
        --m_prompt;
    }
    m_outstanding.erase(ended);
    scheduleSending();
}

void QueryQueue::forget(Device *device)
{
    m_waiting.remove(device);
    requestEnded(device);
}

void QueryQueue::lookAfterSlowRequests()
{
    const bool full = m_outstanding.size() >= m_maximumOutstanding;
    const QList<Device *> devices = m_outstanding.keys();
    for (Device *const device : devices) {
        const auto request = m_outstanding.find(device);
        if (request == m_outstanding.end()) {
            continue;
        }
        if (*request == Pace::Prompt && device->requestAge() > promptAge / 1ms) {
            *request = Pace::Slow;
            --m_prompt;
        }
        if (full && device->requestAge() > Device::giveUpAge) {
            // The attempt that gives up; requestEnded() follows at once.
            device->updateInfo();
        }
    }
    scheduleSending();
}
