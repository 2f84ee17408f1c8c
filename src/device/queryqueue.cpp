#include "device/queryqueue.h"

#include "device/device.h"

QueryQueue::QueryQueue(QObject *parent)
    : QObject(parent)
    , m_pace([this] { return sendNext(); })
{
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

bool QueryQueue::sendNext()
{
    while (!m_queue.empty()) {
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
