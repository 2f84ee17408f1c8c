#include "common/disposal.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QSemaphore>
#include <QThreadPool>
#include <QTimer>

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>

using namespace std::chrono_literals;

namespace http {

namespace {

/// Taking a manager down lasts milliseconds. What takes so long is held by a flood; the destructor gives up
/// waiting after five seconds, and it should not come to that.
constexpr std::chrono::milliseconds floodTime = 2s;

/// Each waits for one flood to be recognised.
constexpr int maximumThreads = 32;
constexpr std::chrono::milliseconds idleTime = 100ms;

/// Stays until the process ends, so that nobody waits for it.
QThreadPool *createPool()
{
    auto *const pool = new QThreadPool;
    pool->setMaxThreadCount(maximumThreads);
    pool->setExpiryTimeout(idleTime / 1ms);
    return pool;
}

/// The other end of a connection; null if that is no IPv4 socket.
QHostAddress peerOf(int descriptor)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getpeername(descriptor, reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
        address.sin_family != AF_INET) {
        return {};
    }
    return QHostAddress(ntohl(address.sin_addr.s_addr));
}

/// Ends a connection. It stays open for whoever uses it, and finds itself at its end.
void cut(int descriptor)
{
    shutdown(descriptor, SHUT_RDWR);
    // What has arrived already would keep its reader busy for seconds.
    std::array<char, 65536> bytes{};
    while (recv(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
    }
}

void cutConnections(const QHostAddress &peer)
{
    const QStringList descriptors =
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::Files);
    for (const QString &text : descriptors) {
        const int descriptor = text.toInt();
        if (peerOf(descriptor) == peer) {
            cut(descriptor);
        }
    }
}

} // namespace

void dispose(QNetworkAccessManager *manager, const QHostAddress &peer)
{
    static QThreadPool *const pool = createPool();
    static QThreadPool *const watch = createPool();
    manager->setParent(nullptr);
    // Nothing is delivered to it any more.
    manager->moveToThread(nullptr);
    pool->start([manager, peer] {
        const auto gone = std::make_shared<QSemaphore>();
        watch->start([gone, peer] {
            if (!gone->tryAcquire(1, floodTime / 1ms)) {
                qDebug() << "A flood of headers; all connections are cut to" << peer.toString();
                cutConnections(peer);
            }
        });
        delete manager;
        gone->release();
    });
}

void disposeLater(QNetworkAccessManager *manager, const QHostAddress &peer, std::chrono::milliseconds delay)
{
    QCoreApplication *const application = QCoreApplication::instance();
    manager->setParent(application);
    QTimer::singleShot(delay, application, [manager = QPointer<QNetworkAccessManager>(manager), peer] {
        if (manager) {
            dispose(manager, peer);
        }
    });
}

} // namespace http
