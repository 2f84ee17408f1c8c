#pragma once

#include "common/requestpace.h"

#include <QObject>
#include <QSet>
#include <QTimer>

#include <deque>

class Device;

/// Sends the information queries that are due, as many at a time as the machine has threads and descriptors
/// for. In a network of a few hundred devices every query goes out at once. When as many are out as there may
/// be at all, those that hang are given up. Belongs to the main window. GUI thread only.
class QueryQueue final : public QObject
{
    Q_OBJECT

public:
    /// `maximumOutstanding`: how many requests may be out at all, hanging ones included.
    explicit QueryQueue(int maximumOutstanding, QObject *parent = nullptr);

    /// Makes a device known, once, before it is enqueued. It is forgotten when it is destroyed.
    void watch(Device *device);
    /// Has a device ask for its readings, in the next turn of the event loop or when its turn comes; a device
    /// that waits already keeps its place.
    void enqueue(Device *device);

    int waiting() const { return m_waiting.size(); }
    int outstanding() const { return m_pace.outstanding(); }

private:
    void scheduleSending();
    bool maySend() const;
    void sendSome();
    void send(Device *device);
    void requestEnded(Device *device);
    void forget(Device *device);
    void lookAfterSlowRequests();

    /// In the order of asking; a device that is not in m_waiting any more is skipped.
    std::deque<Device *> m_queue;
    QSet<Device *> m_waiting;
    /// By device.
    RequestPace m_pace;
    QTimer m_sendTimer;
    QTimer m_slowTimer;
};
