#include "rawpeer.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <sys/socket.h>

/// Reads requests and follows the script. Deletes itself at the end.
class RawPeer::Connection final : public QObject
{
public:
    Connection(RawPeer &peer, QTcpSocket *socket);

private:
    void read();
    void answer();
    void pour();
    void end();

    RawPeer &m_peer;
    QTcpSocket *const m_socket;
    QByteArray m_received;
    int m_answers = 0;
    bool m_pours = false;
};

RawPeer::Connection::Connection(RawPeer &peer, QTcpSocket *socket)
    : QObject(socket)
    , m_peer(peer)
    , m_socket(socket)
{
    connect(socket, &QTcpSocket::readyRead, this, &Connection::read);
    connect(socket, &QTcpSocket::bytesWritten, this, &Connection::pour);
    connect(socket, &QTcpSocket::disconnected, socket, [this] {
        --m_peer.m_openCount;
        m_socket->deleteLater();
    });
    ++peer.m_connectionCount;
    ++peer.m_openCount;
    if (peer.m_script.answersAtOnce) {
        answer();
    }
}

void RawPeer::Connection::read()
{
    m_received += m_socket->readAll();
    for (int headEnd = 0; (headEnd = m_received.indexOf("\r\n\r\n")) >= 0;) {
        const QByteArray head = m_received.left(headEnd).toLower();
        const int length = head.indexOf("content-length:");
        const int lineEnd = head.indexOf('\r', length);
        const int body = length < 0 ? 0 : head.mid(length + 15, lineEnd - length - 15).trimmed().toInt();
        const int size = headEnd + 4 + body;
        if (m_received.size() < size) {
            return;
        }
        m_peer.m_requests += m_received.left(size);
        m_received.remove(0, size);
        if (!m_peer.m_script.answersAtOnce) {
            answer();
        }
    }
}

void RawPeer::Connection::answer()
{
    if (m_answers++ >= m_peer.m_script.answers) {
        end();
        return;
    }
    m_socket->write(m_peer.m_script.answer);
    m_socket->flush();
    if (!m_peer.m_script.flood.isEmpty()) {
        m_pours = true;
        pour();
    } else if (m_peer.m_script.answers >= 1000000) {
        end();
    }
}

void RawPeer::Connection::pour()
{
    constexpr qint64 enough = 1024LL * 1024;
    while (m_pours && m_socket->bytesToWrite() < enough) {
        m_socket->write(m_peer.m_script.flood);
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
