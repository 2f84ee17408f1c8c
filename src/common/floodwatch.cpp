#include "common/floodwatch.h"

#include "common/connections.h"

#include <QCoreApplication>
#include <QDebug>
#include <QHash>
#include <QHostAddress>
#include <QMutex>
#include <QNetworkReply>
#include <QPair>
#include <QTimer>
#include <QUrl>
#include <QVector>

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;

namespace http {

namespace {

/// Bytes. What waits in the client of an honest answer is bounded to much less.
constexpr qint64 mostTaken = 4LL * 1024 * 1024;
constexpr std::chrono::milliseconds lookInterval = 100ms;
/// In which the client notices most ends by itself, and tells why.
constexpr std::chrono::milliseconds noticeTime = 1s;

constexpr int defaultHttpPort = 80;
constexpr int defaultHttpsPort = 443;

/// The IPv4 address and the port of a web server.
using Endpoint = QPair<quint32, int>;

/// A reply that is out; belongs to it.
class Registration final : public QObject
{
public:
    Registration(QNetworkReply *reply, Endpoint endpoint);
    ~Registration() override;
    Q_DISABLE_COPY_MOVE(Registration)

    /// From any thread, while the object exists.
    void endReply();

private:
    QNetworkReply *const m_reply;
    const Endpoint m_endpoint;
};

/// A device that was asked for something.
struct Peer
{
    QVector<Registration *> replies;
    /// Whether anything arrived where it belongs since the last look.
    bool progress = false;
    /// Seen to flood in the last look. The news of an answer may just be on its way to the thread that waits
    /// for it; the next look decides.
    bool suspected = false;
    /// By descriptor: what had been taken at the first look after the last progress.
    QHash<int, qint64> taken;
};

/// Knows all replies that are out, of all threads, and looks at their connections in the main one.
class FloodWatch final : public QObject
{
public:
    static FloodWatch &instance();

    void add(Endpoint endpoint, Registration *reply);
    void noteProgress(Endpoint endpoint);
    void remove(Endpoint endpoint, Registration *reply);

private:
    FloodWatch();
    void look();
    QVector<QHostAddress> findFloods();

    QTimer m_timer;
    QMutex m_mutex;
    QHash<Endpoint, Peer> m_peers;
};

FloodWatch::FloodWatch()
    : m_timer(this)
{
    m_timer.setInterval(lookInterval);
    connect(&m_timer, &QTimer::timeout, this, &FloodWatch::look);
    moveToThread(QCoreApplication::instance()->thread());
}

FloodWatch &FloodWatch::instance()
{
    // Stays until the process ends: threads that use it may.
    static auto *const watch = new FloodWatch;
    return *watch;
}

void FloodWatch::add(Endpoint endpoint, Registration *reply)
{
    const QMutexLocker locker(&m_mutex);
    if (m_peers.isEmpty()) {
        QMetaObject::invokeMethod(
            &m_timer,
            [this] {
                if (!m_timer.isActive()) {
                    m_timer.start();
                }
            },
            Qt::QueuedConnection);
    }
    m_peers[endpoint].replies.append(reply);
}

void FloodWatch::noteProgress(Endpoint endpoint)
{
    const QMutexLocker locker(&m_mutex);
    m_peers[endpoint].progress = true;
}

void FloodWatch::remove(Endpoint endpoint, Registration *reply)
{
    const QMutexLocker locker(&m_mutex);
    const auto peer = m_peers.find(endpoint);
    peer->replies.removeOne(reply);
    if (peer->replies.isEmpty()) {
        m_peers.erase(peer);
    }
}

void FloodWatch::look()
{
    const QVector<QHostAddress> floods = findFloods();
    for (const QHostAddress &peer : floods) {
        qDebug() << "A flood that is no answer; all connections are cut to" << peer.toString();
        connections::cut(peer);
    }
}

QVector<QHostAddress> FloodWatch::findFloods()
{
    const QMutexLocker locker(&m_mutex);
    if (m_peers.isEmpty()) {
        m_timer.stop();
        return {};
    }
    QHash<Endpoint, qint64> most;
    for (const connections::Connection &connection : connections::all()) {
        const Endpoint endpoint(connection.peer.toIPv4Address(), connection.peerPort);
        const auto peer = m_peers.find(endpoint);
        if (peer != m_peers.end() && !peer->progress) {
            const qint64 before = peer->taken.value(connection.descriptor, connection.taken);
            peer->taken.insert(connection.descriptor, before);
            most[endpoint] = std::max(most.value(endpoint), connection.taken - before);
        }
    }
    QVector<QHostAddress> floods;
    for (auto peer = m_peers.begin(); peer != m_peers.end(); ++peer) {
        const bool floodsNow = most.value(peer.key()) > mostTaken;
        if (floodsNow && peer->suspected) {
            floods.append(QHostAddress(peer.key().first));
            for (Registration *const reply : qAsConst(peer->replies)) {
                reply->endReply();
            }
        }
        peer->suspected = floodsNow;
        if (peer->progress) {
            peer->progress = false;
            peer->taken.clear();
        }
    }
    return floods;
}

Registration::Registration(QNetworkReply *reply, Endpoint endpoint)
    : QObject(reply)
    , m_reply(reply)
    , m_endpoint(endpoint)
{
    FloodWatch &watch = FloodWatch::instance();
    watch.add(endpoint, this);
    const auto noteProgress = [&watch, endpoint] { watch.noteProgress(endpoint); };
    connect(reply, &QNetworkReply::metaDataChanged, this, noteProgress);
    connect(reply, &QNetworkReply::readyRead, this, noteProgress);
    connect(reply, &QNetworkReply::finished, this, &QObject::deleteLater);
}

Registration::~Registration()
{
    FloodWatch::instance().remove(m_endpoint, this);
}

void Registration::endReply()
{
    // Not of every end the client takes notice.
    QMetaObject::invokeMethod(
        this, [this] { QTimer::singleShot(noticeTime, m_reply, &QNetworkReply::abort); },
        Qt::QueuedConnection);
}

} // namespace

void watchForFlood(QNetworkReply *reply)
{
    const QUrl url = reply->url();
    const bool isHttps = url.scheme() == QLatin1String("https");
    const Endpoint endpoint(QHostAddress(url.host()).toIPv4Address(),
                            url.port(isHttps ? defaultHttpsPort : defaultHttpPort));
    if (endpoint.first != 0 && !reply->isFinished()) {
        // Goes with the reply at the latest.
        new Registration(reply, endpoint);
    }
}

} // namespace http
