#include "common/disposal.h"

#include "common/connections.h"

#include <QCoreApplication>
#include <QDebug>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QSemaphore>
#include <QThreadPool>
#include <QTimer>
#include <QVector>

#include <chrono>
#include <memory>
#include <mutex>

using namespace std::chrono_literals;

namespace http {

namespace {

/// Taking a manager down lasts milliseconds. What takes so long is held by a flood; the destructor gives up
/// waiting after five seconds, and it should not come to that.
constexpr std::chrono::milliseconds floodTime = 2s;
/// The same at the end of the program, when nobody has a use for a connection any more.
constexpr std::chrono::milliseconds lastFloodTime = 200ms;
/// In which a manager goes whose connections are cut.
constexpr std::chrono::milliseconds cutTime = 1s;

/// Each waits for one flood to be recognised.
constexpr int maximumThreads = 32;
constexpr std::chrono::milliseconds idleTime = 100ms;

/// A property of a manager whose time has not come: whose it is.
constexpr char peerProperty[] = "peer";

/// Stays until the process ends, so that nobody waits for it.
QThreadPool *createPool()
{
    auto *const pool = new QThreadPool;
    pool->setMaxThreadCount(maximumThreads);
    pool->setExpiryTimeout(idleTime / 1ms);
    return pool;
}

/// Where managers are taken down.
QThreadPool *disposalPool()
{
    static QThreadPool *const pool = createPool();
    return pool;
}

/// Whose managers are being taken down.
class PeersInWork final
{
public:
    void add(const QHostAddress &peer)
    {
        const std::lock_guard lock(m_mutex);
        m_peers.append(peer);
    }
    void remove(const QHostAddress &peer)
    {
        const std::lock_guard lock(m_mutex);
        m_peers.removeOne(peer);
    }
    QVector<QHostAddress> all()
    {
        const std::lock_guard lock(m_mutex);
        return m_peers;
    }

private:
    std::mutex m_mutex;
    QVector<QHostAddress> m_peers;
};

PeersInWork &peersInWork()
{
    static auto *const peers = new PeersInWork;
    return *peers;
}

} // namespace

void dispose(QNetworkAccessManager *manager, const QHostAddress &peer)
{
    static QThreadPool *const watch = createPool();
    manager->setParent(nullptr);
    // Nothing is delivered to it any more.
    manager->moveToThread(nullptr);
    peersInWork().add(peer);
    disposalPool()->start([manager, peer] {
        const auto gone = std::make_shared<QSemaphore>();
        watch->start([gone, peer] {
            if (!gone->tryAcquire(1, floodTime / 1ms)) {
                qDebug() << "A flood of headers; all connections are cut to" << peer.toString();
                connections::cut(peer);
            }
        });
        delete manager;
        gone->release();
        peersInWork().remove(peer);
    });
}

void disposeLater(QNetworkAccessManager *manager, const QHostAddress &peer, std::chrono::milliseconds delay)
{
    QCoreApplication *const application = QCoreApplication::instance();
    manager->setParent(application);
    manager->setProperty(peerProperty, peer.toString());
    QTimer::singleShot(delay, application, [manager = QPointer<QNetworkAccessManager>(manager), peer] {
        if (manager) {
            dispose(manager, peer);
        }
    });
}

void disposeOfAll()
{
    const auto waiting = QCoreApplication::instance()->findChildren<QNetworkAccessManager *>(
        QString(), Qt::FindDirectChildrenOnly);
    for (QNetworkAccessManager *const manager : waiting) {
        dispose(manager, QHostAddress(manager->property(peerProperty).toString()));
    }
    if (disposalPool()->waitForDone(lastFloodTime / 1ms)) {
        return;
    }
    const QVector<QHostAddress> peers = peersInWork().all();
    for (const QHostAddress &peer : peers) {
        connections::cut(peer);
    }
    disposalPool()->waitForDone(cutTime / 1ms);
}

} // namespace http
