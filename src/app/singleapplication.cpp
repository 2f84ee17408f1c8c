#include "app/singleapplication.h"

#include "platform/process.h"

#include <QLocalSocket>
#include <QRegularExpression>

#include <cstdlib>

namespace {

constexpr int connectTimeout = 100; // milliseconds

} // namespace

SingleApplication::SingleApplication(int &argc, char **argv)
    : QApplication(argc, argv)
{
    const QString key = instanceKey(applicationName(), organizationName());
    m_sharedMemory = std::make_unique<QSharedMemory>(key);
    if (!m_sharedMemory->create(1, QSharedMemory::ReadOnly)) {
        wakeFirstInstance(key);
    }
    m_localServer = std::make_unique<QLocalServer>();
    // Nobody but the user may wake the program.
    m_localServer->setSocketOptions(QLocalServer::UserAccessOption);
    QLocalServer::removeServer(key);
    m_localServer->listen(key);
    // A wrong option ends the process without destroying this object; the lock must not stay behind even
    // then.
    std::atexit([] {
        if (auto *const application = qobject_cast<SingleApplication *>(instance())) {
            application->m_sharedMemory.reset();
        }
    });
    connect(m_localServer.get(), &QLocalServer::newConnection, this,
            &SingleApplication::slotConnectionEstablished);
}

SingleApplication::~SingleApplication()
{
    m_sharedMemory.reset();
    if (m_localServer) {
        m_localServer->close();
    }
}

QString SingleApplication::instanceKey(const QString &applicationName, const QString &organizationName)
{
    static const QRegularExpression unusable(QStringLiteral("[^\\w\\-. ]"));
    QString key = applicationName + organizationName;
    return key.remove(unusable);
}

void SingleApplication::wakeFirstInstance(const QString &key)
{
    letOthersComeToTheFront();
    QLocalSocket socket;
    socket.connectToServer(key, QIODevice::ReadWrite);
    // Nothing is sent: the connection is the message.
    if (!socket.waitForConnected(connectTimeout)) {
        // Nobody listens: the lock was left by an instance that crashed. The last one to let go removes it.
        m_sharedMemory->attach(QSharedMemory::ReadOnly);
    }
    m_sharedMemory.reset();
    std::exit(EXIT_SUCCESS);
}

void SingleApplication::slotConnectionEstablished()
{
    QLocalSocket *const socket = m_localServer->nextPendingConnection();
    if (!socket) {
        return;
    }
    socket->close();
    socket->deleteLater();
    emit showUp();
}
