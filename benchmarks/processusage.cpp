#include "processusage.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

namespace {

/// The number behind "NAME:" in /proc/self/status, or 0.
int statusNumber(const QByteArray &status, const QByteArray &name)
{
    const int begin = status.indexOf('\n' + name + ':');
    if (begin < 0) {
        return 0;
    }
    const int end = status.indexOf('\n', begin + 1);
    QByteArray text = status.mid(begin + name.size() + 2, end - begin - name.size() - 2).trimmed();
    return text.replace(" kB", "").toInt();
}

} // namespace

ProcessUsage ProcessUsage::now()
{
    constexpr double kibibytesPerMebibyte = 1024.0;
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray status = file.readAll();
    file.close();
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    // One of them belongs to the listing itself.
    const int open = descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size() - 1;
    return {statusNumber(status, "Threads"), open, statusNumber(status, "VmRSS") / kibibytesPerMebibyte};
}
