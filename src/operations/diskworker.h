#pragma once

#include "common/plainline.h"
#include "operations/outputfile.h"

#include <QDebug>
#include <QObject>

#include <atomic>

/// What a BackgroundFile has in the thread of its disk.
class DiskWorker final : public QObject
{
    Q_OBJECT

public:
    DiskWorker(const QString &directory, const OutputName &name)
        : m_file(directory, name)
    {
    }

    void write(const QByteArray &piece)
    {
        m_file.write(piece);
        emit taken(piece.size(), m_file.isGood());
    }
    void commit(const QDateTime &time, bool logged)
    {
        if (logged) {
            constexpr qint64 longestLoggedPart = 1024LL * 1024; // bytes
            qDebug().noquote() << forLog(QString::fromUtf8(m_file.head(longestLoggedPart)));
        }
        // Here a disk that hangs is noticed; giving the name is the work of a moment.
        const bool good = m_file.flush();
        if (decide()) {
            emit committed(good && m_file.commit(time));
        }
    }
    /// Once for each file, from any thread: whoever comes first is told true, and it is as he wants.
    bool decide() { return !m_isDecided.exchange(true); }

signals:
    void taken(qint64 bytes, bool good);
    void committed(bool good);

private:
    OutputFile m_file;
    /// Whether it gets its name, or never will.
    std::atomic_bool m_isDecided{false};
};
