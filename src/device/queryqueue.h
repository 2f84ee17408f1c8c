#pragma once

#include "web/requestpace.h"

#include <QObject>
#include <QSet>
#include <QTimer>

#include <deque>
#include <functional>

class Device;

/// Sends the information queries that are due, as many at a time as are answered promptly. In a network of a
/// few hundred devices every query goes out at once. Belongs to the main window. GUI thread only.
class QueryQueue final : public QObject
{
    Q_OBJECT

public:
    explicit QueryQueue(QObject *parent = nullptr);

    /// Makes a device known, once, before it is enqueued. It is forgotten when it is destroyed.
    void watch(Device *device);
    /// Has a device ask for its readings, in the next turn of the event loop or when its turn comes; a device
    /// that waits already keeps its place.
    void enqueue(Device *device);
    /// Holds back what waits, for a fifth of a second at most each time, or lets it go. While a whole fleet
    /// answers to discovery its rows come first: they are cheap, and the user sees them.
    void setHeld(bool held);
    /// Forgets the devices that wait but for those that pass.
    void keepOnly(const std::function<bool(const Device *)> &passes);

    int waiting() const { return m_waiting.size(); }
    int outstanding() const { return m_pace.outstanding(); }

private:
    bool sendNext();

    /// In the order of asking; a device that is not in m_waiting any more is skipped.
    std::deque<Device *> m_queue;
    QSet<Device *> m_waiting;
    /// Runs while they are held back.
    QTimer m_hold;
    /// By device.
    RequestPace m_pace;
};
