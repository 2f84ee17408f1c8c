#include "disktrouble.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

const char *const diskType = "tmpfs";

/// The process sees mounts of its own from the first call on. Empty if it does, else why not.
QString seeOwnMounts()
{
    static const QString refusal = []() -> QString {
        if (unshare(CLONE_NEWNS) != 0) {
            return QStringLiteral("no mounts of our own: ") + QString::fromLocal8Bit(std::strerror(errno));
        }
        if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            return QStringLiteral("no private mounts: ") + QString::fromLocal8Bit(std::strerror(errno));
        }
        return {};
    }();
    return refusal;
}

/// What lets root pass over the modes of files.
constexpr quint32 modeCapabilities = (1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH);

/// Whether the capabilities of this thread that count now are those that it may have, without `left out`.
bool useCapabilitiesWithout(quint32 leftOut)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data{};
    if (syscall(SYS_capget, &header, data.data()) != 0) {
        return false;
    }
    data.at(0).effective = data.at(0).permitted & ~leftOut;
    return syscall(SYS_capset, &header, data.data()) == 0;
}

} // namespace

SmallDisk::SmallDisk(const QString &directory, const QByteArray &options)
    : m_directory(QFile::encodeName(directory))
    , m_refusal(seeOwnMounts())
{
    if (m_refusal.isEmpty() &&
        mount(diskType, m_directory.constData(), diskType, 0, options.constData()) != 0) {
        m_refusal = QStringLiteral("no small disk: ") + QString::fromLocal8Bit(std::strerror(errno));
    }
}

SmallDisk::~SmallDisk()
{
    if (m_refusal.isEmpty()) {
        umount2(m_directory.constData(), MNT_DETACH);
    }
}

bool SmallDisk::makeReadOnly() const
{
    return mount(nullptr, m_directory.constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

FileSizeLimit::FileSizeLimit(qint64 bytes)
    // Else the signal would end the process.
    : m_handlerBefore(std::signal(SIGXFSZ, SIG_IGN))
{
    getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit{static_cast<rlim_t>(bytes), m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
}

FileSizeLimit::~FileSizeLimit()
{
    setrlimit(RLIMIT_FSIZE, &m_before);
    std::signal(SIGXFSZ, m_handlerBefore);
}

ModesCount::ModesCount()
{
    if (!useCapabilitiesWithout(modeCapabilities)) {
        qFatal("The capabilities can't be laid down.");
    }
}

ModesCount::~ModesCount()
{
    useCapabilitiesWithout(0);
}
