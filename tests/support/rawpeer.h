#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QThread>
#include <QUrl>

#include <atomic>
#include <memory>

class QTcpServer;
class QTcpSocket;

/// A web server that sends what it is told to, good or bad, byte for byte. Works in a thread of its own, so
/// that it goes on while the test is busy.
class RawPeer final
{
public:
    enum class End {
        /// The connection stays open.
        None,
        Close,
        /// The connection breaks off with an error.
        Reset
    };
    struct Script
    {
        /// What answers a request.
        QByteArray answer{};
        End end = End::None;
        /// Sent again and again after the answer, as fast as it goes.
        QByteArray flood{};
        /// Only so many requests of a connection are answered; the next one, or 0 the first one, meets the
        /// end.
        int answers = 1000000;
        /// Doesn't wait for a request.
        bool answersAtOnce = false;
        /// Of the flood, so many bytes; then the end. Negative: it never ends.
        qint64 floodSize = -1;
        /// The answer goes out byte by byte.
        bool drips = false;
        /// The body of a request stays unread.
        bool readsOnlyHeads = false;
    };

    explicit RawPeer(Script script);
    ~RawPeer();
    Q_DISABLE_COPY_MOVE(RawPeer)

    /// At 127.0.0.1; "https" changes nothing but the name.
    QUrl url(const QString &path = QStringLiteral("/"), const QString &scheme = QStringLiteral("http")) const;
    /// All that arrived, a request each, without what exceeds 64 KiB of a body.
    QList<QByteArray> requests() const;
    /// Of the bodies of all requests.
    qint64 bodyBytes() const { return m_bodyBytes; }
    /// What the system has taken of answers and floods, whether the other side has read it or not.
    qint64 bytesSent() const { return m_bytesSent; }
    int connectionCount() const { return m_connectionCount; }
    int openConnectionCount() const { return m_openCount; }

private:
    class Connection;
    void listen();

    const Script m_script;
    QThread m_thread;
    /// In that thread.
    QObject *m_context;
    QTcpServer *m_server = nullptr;
    QList<QByteArray> m_requests;
    quint16 m_port = 0;
    std::atomic<qint64> m_bodyBytes{0};
    std::atomic<qint64> m_bytesSent{0};
    std::atomic_int m_connectionCount{0};
    std::atomic_int m_openCount{0};
};
