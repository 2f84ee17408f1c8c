#include "platform/process.h"

#include <QByteArray>
#include <QDebug>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/resource.h>

namespace {

/// For thousands of requests at a time. No more than that: programs that we start inherit the limit, and some
/// of them count up to it.
constexpr int enoughDescriptors = 65536;

} // namespace

void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= enoughDescriptors) {
        return;
    }
    limit.rlim_cur = std::min(limit.rlim_max, rlim_t(enoughDescriptors));
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        qDebug() << "The limit of open files could not be raised to" << limit.rlim_cur;
    }
}

int descriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return enoughDescriptors;
    }
    return static_cast<int>(std::min(limit.rlim_cur, rlim_t(enoughDescriptors)));
}

void pinTimeZone()
{
    if (!qEnvironmentVariableIsSet("TZ")) {
        qputenv("TZ", QByteArrayLiteral(":/etc/localtime"));
    }
}

void letOthersComeToTheFront() {}

bool isRunning(qint64 process)
{
    return kill(static_cast<pid_t>(process), 0) == 0 || errno != ESRCH;
}
