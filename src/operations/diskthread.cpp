#include "operations/diskthread.h"

#include "operations/diskworker.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QVector>

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

/// For which the program waits in its end.
constexpr auto longestGoodbye = 2s;

/// Those that haven't ended yet. GUI thread only.
QVector<QThread *> &runningThreads()
{
    static QVector<QThread *> threads;
    return threads;
}

/// A thread that still hangs stays behind, and ends with the process.
void awaitThreads()
{
    const QDeadlineTimer deadline(longestGoodbye);
    for (QThread *const thread : qAsConst(runningThreads())) {
        thread->wait(deadline);
    }
}

class Thread final : public QThread
{
public:
    explicit Thread(QString directory)
        : m_directory(std::move(directory))
    {
        setObjectName(QStringLiteral("Disk"));
    }

protected:
    void run() override
    {
        OutputFile::removeLeftovers(m_directory);
        exec();
    }

private:
    const QString m_directory;
};

/// Null if the system has none left.
QThread *startThread(const QString &directory)
{
    static const bool isAwaited = [] {
        qAddPostRoutine(&awaitThreads);
        return true;
    }();
    Q_UNUSED(isAwaited)
    auto *const thread = new Thread(directory);
    QObject::connect(thread, &QThread::finished, thread, [thread] {
        runningThreads().removeOne(thread);
        thread->deleteLater();
    });
    thread->start();
    if (!thread->isRunning()) {
        delete thread;
        return nullptr;
    }
    runningThreads().append(thread);
    return thread;
}

} // namespace

DiskThread::DiskThread(const QString &directory)
    : m_thread(startThread(directory))
{
}

DiskThread::~DiskThread()
{
    if (m_thread) {
        m_thread->quit();
    }
}

void DiskThread::take(QObject *worker) const
{
    if (m_thread) {
        worker->moveToThread(m_thread);
    }
}

BackgroundFile::BackgroundFile(const DiskThread &disk, const QString &directory, const OutputName &name,
                               QObject *parent)
    : QObject(parent)
    , m_worker(new DiskWorker(directory, name))
{
    connect(
        m_worker, &DiskWorker::taken, this,
        [this](qint64 bytes, bool good) {
            m_waiting -= bytes;
            emit taken(bytes, good);
        },
        Qt::QueuedConnection);
    connect(m_worker, &DiskWorker::committed, this, &BackgroundFile::committed, Qt::QueuedConnection);
    disk.take(m_worker);
}

BackgroundFile::~BackgroundFile()
{
    leave();
}

bool BackgroundFile::revoke()
{
    return m_worker->decide();
}

void BackgroundFile::leave()
{
    if (m_worker) {
        std::exchange(m_worker, nullptr)->deleteLater();
    }
}

void BackgroundFile::write(const QByteArray &piece)
{
    m_waiting += piece.size();
    QMetaObject::invokeMethod(
        m_worker, [worker = m_worker, piece] { worker->write(piece); }, Qt::QueuedConnection);
}

void BackgroundFile::commit(const QDateTime &time, bool logged)
{
    QMetaObject::invokeMethod(
        m_worker, [worker = m_worker, time, logged] { worker->commit(time, logged); }, Qt::QueuedConnection);
}
