#include "waiting.h"

#include <QEventLoop>
#include <QTimer>

bool waitUntil(const std::function<bool()> &done, std::chrono::milliseconds timeout)
{
    constexpr int pollInterval = 2; // milliseconds
    QEventLoop loop;
    QTimer poll;
    poll.setTimerType(Qt::PreciseTimer);
    bool reached = done();
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        reached = done();
        if (reached) {
            loop.quit();
        }
    });
    QTimer::singleShot(timeout, &loop, &QEventLoop::quit);
    if (!reached) {
        poll.start(pollInterval);
        loop.exec();
    }
    return reached;
}

void settle(std::chrono::milliseconds time)
{
    waitUntil([] { return false; }, time);
}
