#include "discovery/discovery.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QNetworkInterface>
#include <QNetworkProxy>

#include <chrono>

using namespace std::chrono_literals;

namespace {

/// Room for the answers of a big fleet while the program is busy. The kernel may grant less.
constexpr int receiveBufferSize = 4 * 1024 * 1024;
/// How long answers are evaluated before the event loop gets its turn. Twice as long as queries get, so that
/// the rows of a first scan don't wait for readings.
constexpr auto evaluationSlice = 6ms;
/// Beyond this a flood is left to the socket's own buffer, which drops what it can't hold; our memory stays
/// bounded.
constexpr std::size_t maximumInbox = 65536;

QDebug broadcastMessage(int size, const QHostAddress &destination, const QHostAddress &via)
{
    return qDebug().noquote() << "Broadcast" << size << "bytes to" << destination.toString() << "via"
                              << via.toString();
}

} // namespace

Discovery::Discovery(quint16 port, QObject *parent)
    : QObject(parent)
    , m_port(port)
{
    m_sendSocket.setProxy(QNetworkProxy::NoProxy);
    m_receiveSocket.setProxy(QNetworkProxy::NoProxy);
    m_continue.setSingleShot(true);
    // Only read at once, and evaluated from the timer: a socket whose signal is still being handled announces
    // nothing further, so whoever runs an event loop in answer to device() would make it deaf for ever.
    connect(&m_receiveSocket, &QUdpSocket::readyRead, this, [this] {
        drainSocket();
        continueSoon();
    });
    connect(&m_continue, &QTimer::timeout, this, &Discovery::processPendingDatagrams);
}

void Discovery::setListening(bool on)
{
    if (m_listening) {
        closeReceiver();
    }
    m_listening = on;
    if (m_listening) {
        bindReceiver();
    }
}

void Discovery::setPort(quint16 port)
{
    m_port = port;
    if (m_listening) {
        closeReceiver();
        bindReceiver();
    }
}

void Discovery::closeReceiver()
{
    m_receiveSocket.close();
    // What was read but not announced goes like what was not read.
    m_inbox.clear();
    m_continue.stop();
    setBusy(false);
}

void Discovery::bindReceiver()
{
    if (!m_receiveSocket.bind(QHostAddress::AnyIPv4, m_port, QAbstractSocket::ShareAddress)) {
        qDebug() << "Discovery port" << m_port << m_receiveSocket.errorString();
        m_receiveSocket.close();
        return;
    }
    m_receiveSocket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, receiveBufferSize);
    qDebug() << "Discovery port" << m_port << "receive buffer"
             << m_receiveSocket.socketOption(QAbstractSocket::ReceiveBufferSizeSocketOption).toInt()
             << "bytes";
}

void Discovery::refresh()
{
    if (isDeaf()) {
        // It failed for a reason that may be gone by now.
        bindReceiver();
    }
    broadcast(DiscoveryDevice::requestDatagram());
}

void Discovery::configure(const DiscoveryDevice &record)
{
    const QByteArray datagram = record.configurationDatagram();
    qDebug() << "Configure" << datagram.toHex();
    broadcast(datagram);
}

void Discovery::broadcast(const QByteArray &datagram)
{
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : interfaces) {
        const QNetworkInterface::InterfaceFlags flags = interface.flags();
        if (!flags.testFlag(QNetworkInterface::IsUp) || !flags.testFlag(QNetworkInterface::CanBroadcast) ||
            flags.testFlag(QNetworkInterface::IsLoopBack)) {
            continue;
        }
        const QList<QNetworkAddressEntry> entries = interface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol) {
                sendVia(entry.ip(), entry.broadcast(), datagram);
            }
        }
    }
}

void Discovery::sendVia(const QHostAddress &localAddress, const QHostAddress &directedBroadcast,
                        const QByteArray &datagram)
{
    // The limited broadcast leaves through the interface of the address that the socket is bound to.
    if (m_sendSocket.bind(localAddress, 0)) {
        for (const QHostAddress &destination : {QHostAddress(QHostAddress::Broadcast), directedBroadcast}) {
            broadcastMessage(datagram.size(), destination, localAddress);
            m_sendSocket.writeDatagram(datagram, destination, m_port);
        }
    }
    m_sendSocket.close();
}

void Discovery::processPendingDatagrams()
{
    drainSocket();
    evaluateSome();
}

void Discovery::drainSocket()
{
    if (m_receiveSocket.state() != QAbstractSocket::BoundState) {
        return;
    }
    // Read first and ask afterwards: the kernel wakes us for a datagram with a bad checksum and then drops
    // it, and a wake-up after which nothing was read is the last one that the socket delivers.
    do {
        Datagram datagram{};
        const qint64 size =
            m_receiveSocket.readDatagram(datagram.bytes.data(), DiscoveryDevice::datagramSize);
        if (size >= 0) {
            datagram.size = static_cast<int>(size);
            m_inbox.push_back(datagram);
        }
    } while (m_inbox.size() < maximumInbox && m_receiveSocket.hasPendingDatagrams());
}

void Discovery::evaluateSome()
{
    QElapsedTimer slice;
    slice.start();
    while (!m_inbox.empty() && !slice.hasExpired(evaluationSlice / 1ms)) {
        const Datagram datagram = m_inbox.front();
        m_inbox.pop_front();
        const auto record = DiscoveryDevice::fromAnswer(QByteArray(datagram.bytes.data(), datagram.size));
        if (record) {
            emit device(*record);
        }
    }
    setBusy(!m_inbox.empty());
    if (m_busy) {
        continueSoon();
    }
}

void Discovery::setBusy(bool busy)
{
    if (m_busy != busy) {
        m_busy = busy;
        emit busyChanged(busy);
    }
}

void Discovery::continueSoon()
{
    if (!m_continue.isActive()) {
        m_continue.start(0);
    }
}
