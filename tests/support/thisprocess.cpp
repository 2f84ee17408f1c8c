#include "thisprocess.h"

#include <QDir>
#include <QFile>

#include <algorithm>
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
