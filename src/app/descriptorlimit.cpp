#include "app/descriptorlimit.h"

#include <QDebug>

#include <sys/resource.h>

void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        qDebug() << "The limit of open files could not be raised to" << limit.rlim_max;
    }
}
