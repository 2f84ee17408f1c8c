#include "common/disposal.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QThreadPool>
#include <QTimer>

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <sys/socket.h>

using namespace std::chrono_literals;

namespace http {

namespace {

/// A destructor that takes so long has given up waiting for its thread, which it does after five seconds.
constexpr std::chrono::milliseconds floodTime = 4s;

/// Each waits for one flood to be recognised.
constexpr int maximumThreads = 32;
constexpr std::chrono::milliseconds idleTime = 100ms;

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

/// Ends all connections to a peer. They stay open for whoever uses them, and find themselves at their end.
void cutConnections(const QHostAddress &peer)
{
    const QStringList descriptors =
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::Files);
    for (const QString &text : descriptors) {
        const int descriptor = text.toInt();
        if (peerOf(descriptor) == peer) {
            shutdown(descriptor, SHUT_RDWR);
        }
    }
}

} // namespace

void dispose(QNetworkAccessManager *manager, const QHostAddress &peer)
{
    // Stays until the process ends, so that nobody waits for it.
    static QThreadPool *const pool = createPool();
    manager->setParent(nullptr);
    // Nothing is delivered to it any more.
    manager->moveToThread(nullptr);
    pool->start([manager, peer] {
        QElapsedTimer clock;
        clock.start();
        delete manager;
        if (clock.hasExpired(floodTime / 1ms)) {
            qDebug() << "A flood of headers; all connections are cut to" << peer.toString();
            cutConnections(peer);
        }
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
