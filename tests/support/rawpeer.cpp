#include "rawpeer.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <sys/socket.h>
#include <utility>

namespace {

/// Bytes. What a peer needs of memory stays the same, however much passes through it.
constexpr qint64 readBufferSize = 256LL * 1024;
constexpr qint64 writeBufferSize = 256LL * 1024;
constexpr qint64 longestKeptBody = 64LL * 1024;
constexpr int noLimit = 1000000;

qint64 bodyLength(const QByteArray &head)
{
    const QByteArray name = "content-length:";
    const int start = head.toLower().indexOf(name);
    return start < 0 ? 0 : head.mid(start + name.size()).split('\r').constFirst().trimmed().toLongLong();
}

} // namespace

/// Reads requests and follows the script. Deletes itself at the end.
class RawPeer::Connection final : public QObject
{
public:
    Connection(RawPeer &peer, QTcpSocket *socket);

private:
    void read();
    bool readHead();
    bool readBody();
    void answer();
    void drip();
    void pour();
    void end();

    RawPeer &m_peer;
    QTcpSocket *const m_socket;
    QByteArray m_received;
    QByteArray m_request;
    qint64 m_bodyLeft = 0;
    qint64 m_keptOfBody = 0;
    int m_answers = 0;
    bool m_pours = false;
    qint64 m_poured = 0;
    QTimer m_dripTimer;
    int m_dripped = 0;
};

RawPeer::Connection::Connection(RawPeer &peer, QTcpSocket *socket)
    : QObject(socket)
    , m_peer(peer)
    , m_socket(socket)
{
    socket->setReadBufferSize(readBufferSize);
    connect(socket, &QTcpSocket::readyRead, this, &Connection::read);
    connect(socket, &QTcpSocket::bytesWritten, this, [this](qint64 bytes) {
        m_peer.m_bytesSent += bytes;
        pour();
    });
    connect(socket, &QTcpSocket::disconnected, socket, [this] {
        --m_peer.m_openCount;
        m_socket->deleteLater();
    });
    connect(&m_dripTimer, &QTimer::timeout, this, &Connection::drip);
    ++peer.m_connectionCount;
    ++peer.m_openCount;
    if (peer.m_script.answersAtOnce) {
        answer();
    }
}

void RawPeer::Connection::read()
{
    while (m_bodyLeft > 0 ? readBody() : readHead()) {
        if (m_bodyLeft > 0 && !m_peer.m_script.readsOnlyHeads) {
            continue;
        }
        m_peer.m_requests += std::exchange(m_request, {});
        if (!m_peer.m_script.answersAtOnce) {
            answer();
        }
        if (!m_socket->isOpen()) {
            return;
        }
        if (m_bodyLeft > 0) {
            disconnect(m_socket, &QTcpSocket::readyRead, this, nullptr);
            return;
        }
    }
}

/// False: it is not complete.
bool RawPeer::Connection::readHead()
{
    m_received += m_socket->read(longestKeptBody);
    const int headEnd = m_received.indexOf("\r\n\r\n");
    if (headEnd < 0) {
        return false;
    }
    const int size = headEnd + 4;
    m_request = m_received.left(size);
    m_received.remove(0, size);
    m_bodyLeft = bodyLength(m_request);
    m_keptOfBody = 0;
    return true;
}

bool RawPeer::Connection::readBody()
{
    if (m_received.isEmpty()) {
        m_received = m_socket->read(readBufferSize);
    }
    const auto size = static_cast<int>(std::min<qint64>(m_bodyLeft, m_received.size()));
    const auto kept = static_cast<int>(std::min<qint64>(longestKeptBody - m_keptOfBody, size));
    m_request += m_received.left(kept);
    m_keptOfBody += kept;
    m_received.remove(0, size);
    m_bodyLeft -= size;
    m_peer.m_bodyBytes += size;
    return size > 0;
}

void RawPeer::Connection::answer()
{
    const Script &script = m_peer.m_script;
    if (m_answers++ >= script.answers) {
        end();
        return;
    }
    if (script.drips) {
        m_dripTimer.start(1);
        return;
    }
    m_socket->write(script.answer);
    m_socket->flush();
    if (!script.flood.isEmpty()) {
        m_pours = true;
        pour();
    } else if (script.answers >= noLimit) {
        end();
    }
}

void RawPeer::Connection::drip()
{
    const QByteArray &answer = m_peer.m_script.answer;
    m_socket->write(answer.mid(m_dripped++, 1));
    m_socket->flush();
    if (m_dripped == answer.size()) {
        m_dripTimer.stop();
        end();
    }
}

void RawPeer::Connection::pour()
{
    const Script &script = m_peer.m_script;
    while (m_pours && m_socket->bytesToWrite() < writeBufferSize) {
        if (script.floodSize >= 0 && m_poured + script.flood.size() > script.floodSize) {
            m_pours = false;
            m_socket->write(script.flood.left(static_cast<int>(script.floodSize - m_poured)));
            end();
            return;
        }
        m_socket->write(script.flood);
        m_poured += script.flood.size();
    }
}

void RawPeer::Connection::end()
{
    switch (m_peer.m_script.end) {
    case End::None:
        break;
    case End::Close:
        m_socket->disconnectFromHost();
        break;
    case End::Reset:
        const linger atOnce{1, 0};
        setsockopt(static_cast<int>(m_socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce,
                   sizeof atOnce);
        m_socket->abort();
        break;
    }
}

RawPeer::RawPeer(Script script)
    : m_script(std::move(script))
    , m_context(new QObject)
{
    m_context->moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(
        m_context, [this] { listen(); }, Qt::BlockingQueuedConnection);
}

RawPeer::~RawPeer()
{
    QMetaObject::invokeMethod(
        m_context, [this] { delete m_context; }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

void RawPeer::listen()
{
    m_server = new QTcpServer(m_context);
    m_server->setMaxPendingConnections(5000);
    QObject::connect(m_server, &QTcpServer::newConnection, m_context, [this] {
        while (QTcpSocket *const socket = m_server->nextPendingConnection()) {
            new Connection(*this, socket);
        }
    });
    m_server->listen(QHostAddress::LocalHost);
    m_port = m_server->serverPort();
}

QUrl RawPeer::url(const QString &path, const QString &scheme) const
{
    return QUrl(QStringLiteral("%1://127.0.0.1:%2%3").arg(scheme).arg(m_port).arg(path));
}

QList<QByteArray> RawPeer::requests() const
{
    QList<QByteArray> requests;
    QMetaObject::invokeMethod(
        m_context, [this, &requests] { requests = m_requests; }, Qt::BlockingQueuedConnection);
    return requests;
}
