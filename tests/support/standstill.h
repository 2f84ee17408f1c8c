#pragma once

#include <QElapsedTimer>
#include <QtTest>

#include <functional>

/// Waits until a figure that grows has begun to grow and then stays for so many milliseconds. False: it goes
/// on.
inline bool waitForStandstill(const std::function<qint64()> &figure, qint64 quiet = 300)
{
    constexpr int patience = 15000;
    qint64 last = figure();
    QElapsedTimer sinceChange;
    sinceChange.start();
    return QTest::qWaitFor(
        [&] {
            const qint64 now = figure();
            if (now != last) {
                last = now;
                sinceChange.start();
            }
            return last > 0 && sinceChange.hasExpired(quiet);
        },
        patience);
}
