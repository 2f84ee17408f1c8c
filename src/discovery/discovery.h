#pragma once

#include "discovery/discoverydevice.h"

#include <QObject>
#include <QTimer>
#include <QUdpSocket>

#include <array>
#include <deque>

/// The discovery service: asks every device on the local networks to answer, and announces the answers.
/// Belongs to the main window. GUI thread only.
///
/// A broadcast to a big network brings thousands of answers within a tenth of a second, far more than a
/// socket buffers while they are handled. So the socket is always emptied first, into memory, and the answers
/// are handed out a few milliseconds' worth at a time, with the event loop turning in between.
class Discovery final : public QObject
{
    Q_OBJECT

public:
    /// `port`: where devices are asked and where answers arrive. Binds nothing yet.
    explicit Discovery(quint16 port, QObject *parent = nullptr);

    /// Binds the receiving socket, or closes it. A port that can't be bound is silent: no answer will come.
    void setListening(bool on);
    /// Whether no answer can arrive although it listens: the port could not be bound.
    bool isDeaf() const { return m_listening && m_receiveSocket.state() != QAbstractSocket::BoundState; }
    quint16 port() const { return m_port; }
    /// Takes effect at once, for both directions.
    void setPort(quint16 port);
    /// Orders a device to take over an address, mask, gateway or MAC. There is no answer to it but the
    /// device's next one to refresh().
    void configure(const DiscoveryDevice &record);

signals:
    /// Once for every answer. A device answers each copy of a request, so the same record comes more than
    /// once.
    void device(const DiscoveryDevice &record);
    /// More answers have come than could be announced in a moment; or all of those are announced.
    void busyChanged(bool busy);

public slots:
    /// Asks every device to answer.
    void refresh();
    /// Sends a datagram on every local IPv4 network, to the limited and to the network's own broadcast
    /// address.
    void broadcast(const QByteArray &datagram);
    /// Takes what has arrived and announces the answers in it; goes on by itself until all are announced.
    void processPendingDatagrams();

private:
    void bindReceiver();
    void closeReceiver();
    void drainSocket();
    void evaluateSome();
    void setBusy(bool busy);
    void continueSoon();
    void sendVia(const QHostAddress &localAddress, const QHostAddress &directedBroadcast,
                 const QByteArray &datagram);

    /// Bound to one local address at a time, and closed in between.
    QUdpSocket m_sendSocket;
    QUdpSocket m_receiveSocket;
    quint16 m_port;
    bool m_listening = false;

    /// As much of a received datagram as can matter.
    struct Datagram
    {
        std::array<char, DiscoveryDevice::datagramSize> bytes;
        int size;
    };
    /// What was read but not yet evaluated.
    std::deque<Datagram> m_inbox;
    QTimer m_continue;
    bool m_busy = false;
};
