#include "common/floodwatch.h"

#include "common/connections.h"

#include <QCoreApplication>
#include <QDebug>
#include <QHash>
#include <QHostAddress>
#include <QNetworkReply>
#include <QPair>
#include <QSet>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>
#include <QVector>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>

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

/// What has been taken from a connection.
struct Reading
{
    int descriptor = -1;
    qint64 taken = 0;
};
using Readings = QHash<Endpoint, QVector<Reading>>;

/// Knows all replies that are out, of all threads.
class FloodWatch final : public QObject
{
public:
    static FloodWatch &instance();

    void add(Endpoint endpoint, Registration *reply);
    void noteProgress(Endpoint endpoint);
    void remove(Endpoint endpoint, Registration *reply);

private:
    FloodWatch();
    void startLook();
    void look();
    QSet<Endpoint> quietPeers();
    QVector<QHostAddress> judge(const Readings &readings);

    /// In the main thread.
    QTimer m_timer;
    /// Asking for a connection waits for whoever is just using it, which may be a thread that waits for a
    /// processor: nothing for the main thread.
    QThreadPool m_pool;
    std::atomic_bool m_isLooking{false};
    std::mutex m_mutex;
    QHash<Endpoint, Peer> m_peers;
};

FloodWatch::FloodWatch()
    : m_timer(this)
{
    m_pool.setMaxThreadCount(1);
    m_pool.setExpiryTimeout(2 * lookInterval / 1ms);
    m_timer.setInterval(lookInterval);
    connect(&m_timer, &QTimer::timeout, this, &FloodWatch::startLook);
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
    const std::lock_guard lock(m_mutex);
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
    const std::lock_guard lock(m_mutex);
    m_peers[endpoint].progress = true;
}

void FloodWatch::remove(Endpoint endpoint, Registration *reply)
{
    const std::lock_guard lock(m_mutex);
    const auto peer = m_peers.find(endpoint);
    peer->replies.removeOne(reply);
    if (peer->replies.isEmpty()) {
        m_peers.erase(peer);
    }
}

void FloodWatch::startLook()
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_peers.isEmpty()) {
            m_timer.stop();
            return;
        }
    }
    if (!m_isLooking.exchange(true)) {
        m_pool.start([this] {
            look();
            m_isLooking = false;
        });
    }
}

void FloodWatch::look()
{
    const QSet<Endpoint> quiet = quietPeers();
    Readings readings;
    for (const connections::Connection &connection : connections::all()) {
        const Endpoint endpoint(connection.peer.toIPv4Address(), connection.peerPort);
        if (quiet.contains(endpoint)) {
            readings[endpoint].append({connection.descriptor, connections::takenFrom(connection.descriptor)});
        }
    }
    const QVector<QHostAddress> floods = judge(readings);
    for (const QHostAddress &peer : floods) {
        qDebug() << "A flood that is no answer; all connections are cut to" << peer.toString();
        connections::cut(peer);
    }
}

QSet<Endpoint> FloodWatch::quietPeers()
{
    const std::lock_guard lock(m_mutex);
    QSet<Endpoint> quiet;
    for (auto peer = m_peers.begin(); peer != m_peers.end(); ++peer) {
        if (peer->progress) {
            peer->progress = false;
            peer->suspected = false;
            peer->taken.clear();
        } else {
            quiet.insert(peer.key());
        }
    }
    return quiet;
}

QVector<QHostAddress> FloodWatch::judge(const Readings &readings)
{
    const std::lock_guard lock(m_mutex);
    QVector<QHostAddress> floods;
    for (auto reading = readings.begin(); reading != readings.end(); ++reading) {
        const auto peer = m_peers.find(reading.key());
        if (peer == m_peers.end() || peer->progress) {
            continue;
        }
        qint64 most = 0;
        for (const Reading &connection : *reading) {
            const qint64 before = peer->taken.value(connection.descriptor, connection.taken);
            peer->taken.insert(connection.descriptor, before);
            most = std::max(most, connection.taken - before);
        }
        const bool floodsNow = most > mostTaken;
        if (floodsNow && peer->suspected) {
            floods.append(QHostAddress(peer.key().first));
            for (Registration *const reply : qAsConst(peer->replies)) {
                reply->endReply();
            }
        }
        peer->suspected = floodsNow;
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
