#include "app/descriptorlimit.h"

#include <QDebug>

#include <algorithm>
#include <sys/resource.h>

namespace {

/// For thousands of requests at a time. No more than that: programs that we start inherit the limit, and some
/// of them count up to it.
constexpr rlim_t enoughDescriptors = 65536;

} // namespace

void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    if (limit.rlim_cur >= enoughDescriptors) {
        return;
    }
    limit.rlim_cur = std::min(limit.rlim_max, enoughDescriptors);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        qDebug() << "The limit of open files could not be raised to" << limit.rlim_cur;
    }
}
