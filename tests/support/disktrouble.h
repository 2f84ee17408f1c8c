#pragma once

#include <QByteArray>
#include <QString>

#include <sys/resource.h>

/// Ways in which a disk lets a program down. Each lasts as long as its object, is seen by this process alone,
/// and holds for root, too. For the main thread only.

/// A disk of its own, in a directory that is there: as small as a test needs it. It hides what the directory
/// held before.
class SmallDisk final
{
public:
    /// `options`: of a tmpfs, like "size=64k" or "nr_inodes=2".
    SmallDisk(const QString &directory, const QByteArray &options);
    ~SmallDisk();
    Q_DISABLE_COPY_MOVE(SmallDisk)

    /// Why the kernel doesn't let us have one; empty if it does.
    QString refusal() const { return m_refusal; }
    /// Whether it has become one that can only be read.
    [[nodiscard]] bool makeReadOnly() const;

private:
    const QByteArray m_directory;
    QString m_refusal;
};

/// Ends the test function, and says so, where there can't be such a disk.
#define SKIP_WITHOUT(smallDisk)                                                                              \
    do {                                                                                                     \
        if (!(smallDisk).refusal().isEmpty()) {                                                              \
            QTest::qSkip(qPrintable((smallDisk).refusal()), __FILE__, __LINE__);                             \
            return;                                                                                          \
        }                                                                                                    \
    } while (false)

/// No file can be longer than this; what is written beyond fails.
class FileSizeLimit final
{
public:
    explicit FileSizeLimit(qint64 bytes);
    ~FileSizeLimit();
    Q_DISABLE_COPY_MOVE(FileSizeLimit)

private:
    rlimit m_before{};
    void (*m_handlerBefore)(int);
};

/// The modes of files and directories count, even for root.
class ModesCount final
{
public:
    ModesCount();
    ~ModesCount();
    Q_DISABLE_COPY_MOVE(ModesCount)
};
