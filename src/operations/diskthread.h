#pragma once

#include "operations/outputfile.h"

#include <QObject>
#include <QThread>

/// Where the files of one run are written: beside the GUI thread, which no disk can hold up then. Belongs to
/// the run. When that ends it doesn't wait for a disk that hangs; the end of the program does, for two
/// seconds.
class DiskThread final
{
public:
    /// Also removes from the directory what runs that were killed have left there.
    explicit DiskThread(const QString &directory);
    ~DiskThread();
    Q_DISABLE_COPY_MOVE(DiskThread)

    /// Has an object work there. Where the system has no thread left, it works in this one.
    void take(QObject *worker) const;

private:
    /// Outlives this object until its disk lets it go.
    QThread *const m_thread;
};

class DiskWorker;

/// An OutputFile that is written by a DiskThread. What is asked of it is done in its order, later. Not
/// committed, the file goes with this object. GUI thread only.
class BackgroundFile final : public QObject
{
    Q_OBJECT

public:
    BackgroundFile(const DiskThread &disk, const QString &directory, const OutputName &name,
                   QObject *parent = nullptr);
    ~BackgroundFile() override;
    Q_DISABLE_COPY_MOVE(BackgroundFile)

    void write(const QByteArray &piece);
    /// Bytes that the disk hasn't taken yet.
    qint64 waiting() const { return m_waiting; }
    /// Gives the file its name; committed() tells how it went. `time`: UTC. `logged`: its beginning also goes
    /// to the debug log.
    void commit(const QDateTime &time, bool logged);
    /// Takes back a commit(), and nothing else is asked of it. False if that is too late: committed()
    /// follows.
    [[nodiscard]] bool revoke();
    /// Nothing else is asked of it. To be called where this object can't go yet, but its thread is about to.
    void leave();

signals:
    /// The disk has taken a piece, or failed to; then it takes none any more.
    void taken(qint64 bytes, bool good);
    /// Whether the file is there.
    void committed(bool good);

private:
    /// Null after leave().
    DiskWorker *m_worker;
    qint64 m_waiting = 0;
};
