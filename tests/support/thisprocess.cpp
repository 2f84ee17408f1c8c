#include "thisprocess.h"

#include <QDir>
#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <ctime>

namespace thisprocess {

namespace {

constexpr qint64 kibibyte = 1024;

/// The number behind a name in one of the system's lists. It gives memory in kibibytes.
qint64 figure(const QString &path, const QByteArray &name)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name)) {
            return line.mid(name.size()).trimmed().split(' ').first().toLongLong();
        }
    }
    return -1;
}

/// "10.77.128.1:80" for "01804D0A:0050": the bytes of an address stand as they lie in memory.
QByteArray endpoint(const QByteArray &text)
{
    const quint32 address = qFromBigEndian(text.left(8).toUInt(nullptr, 16));
    QByteArray dotted;
    for (int shift = 24; shift >= 0; shift -= 8) {
        dotted += QByteArray::number((address >> shift) & 0xFFU) + (shift > 0 ? '.' : ':');
    }
    return dotted + QByteArray::number(text.mid(9).toUInt(nullptr, 16));
}

/// The descriptor of a socket that the system knows by a number.
QByteArray holderOf(const QByteArray &inode)
{
    const QString link = QStringLiteral("socket:[%1]").arg(QLatin1String(inode));
    const QFileInfoList descriptors =
        QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::System | QDir::Files);
    for (const QFileInfo &descriptor : descriptors) {
        if (descriptor.symLinkTarget().endsWith(link)) {
            return "descriptor " + descriptor.fileName().toLatin1();
        }
    }
    return "held by nobody";
}

} // namespace

int threadCount()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

int descriptorCount()
{
    // Without the one that the look itself takes.
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    return descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size() - 1;
}

int socketCount()
{
    int count = 0;
    const QFileInfoList descriptors =
        QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::System | QDir::Files);
    for (const QFileInfo &descriptor : descriptors) {
        count += descriptor.symLinkTarget().contains(QLatin1String("socket:")) ? 1 : 0;
    }
    return count;
}

QByteArray connections()
{
    // The states that the system gives as numbers, from 1 on.
    constexpr std::array states{"established", "opening",   "accepting",  "closing (1)",
                                "closing (2)", "gone",      "closed",     "peer closed",
                                "last word",   "listening", "closing (3)"};
    constexpr std::size_t gone = 6;
    constexpr std::size_t listening = 10;
    QFile table(QStringLiteral("/proc/net/tcp"));
    if (!table.open(QIODevice::ReadOnly)) {
        return table.errorString().toUtf8();
    }
    QByteArray text;
    const QList<QByteArray> lines = table.readAll().split('\n').mid(1);
    for (const QByteArray &line : lines) {
        // Number, own end, other end, state, bytes to be sent and read, and five more before the socket's
        // number.
        const QList<QByteArray> fields = line.simplified().split(' ');
        constexpr int numberField = 9;
        const std::size_t state = fields.value(3).toUInt(nullptr, 16);
        if (fields.size() <= numberField || state == 0 || state > states.size() || state == gone ||
            state == listening) {
            continue;
        }
        text += endpoint(fields.at(1)) + " to " + endpoint(fields.at(2)) + ": " + states.at(state - 1) +
                ", " + fields.at(4) + ", " + holderOf(fields.at(numberField)) + '\n';
    }
    return text;
}

qint64 residentMemory()
{
    return figure(QStringLiteral("/proc/self/status"), "VmRSS:") * kibibyte;
}

qint64 peakMemory()
{
    return figure(QStringLiteral("/proc/self/status"), "VmHWM:") * kibibyte;
}

bool restartPeakMemory()
{
    QFile control(QStringLiteral("/proc/self/clear_refs"));
    return control.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && control.write("5") == 1;
}

int threadsNamed(const QByteArray &name)
{
    const QDir tasks(QStringLiteral("/proc/self/task"));
    const QStringList threads = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return static_cast<int>(std::count_if(threads.begin(), threads.end(), [&](const QString &thread) {
        QFile file(tasks.filePath(thread + QLatin1String("/comm")));
        return file.open(QIODevice::ReadOnly) && file.readAll().trimmed() == name;
    }));
}

qint64 bytesReceived()
{
    QFile interfaces(QStringLiteral("/proc/net/dev"));
    if (!interfaces.open(QIODevice::ReadOnly)) {
        return -1;
    }
    const QList<QByteArray> lines = interfaces.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.trimmed().startsWith("lo:")) {
            return line.trimmed().mid(3).trimmed().split(' ').constFirst().toLongLong();
        }
    }
    return -1;
}

qint64 workOfThread()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return qint64(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

DescriptorLimit::DescriptorLimit(int limit)
{
    getrlimit(RLIMIT_NOFILE, &m_before);
    const rlimit lower{static_cast<rlim_t>(limit), m_before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &lower);
}

DescriptorLimit::~DescriptorLimit()
{
    setrlimit(RLIMIT_NOFILE, &m_before);
}

} // namespace thisprocess
