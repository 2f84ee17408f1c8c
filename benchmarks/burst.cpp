#include "barereceiver.h"
#include "cases.h"
#include "discovery/discovery.h"
#include "fleetprocess.h"
#include "report.h"
#include "waiting.h"

#include <QElapsedTimer>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int devices = 10000;
constexpr int runs = 3;
constexpr auto timeout = 20s;

struct Shown
{
    int answers = 0;
    int rows = 0;
    /// From the request to the last row, milliseconds.
    double time = 0.0;
};

Shown showBurst(FleetWindow::View view)
{
    FleetWindow window(view);
    Shown shown;
    QObject::connect(&window.discovery(), &Discovery::device, &window.discovery(), [&] { ++shown.answers; });
    window.hearFleet(true);
    QElapsedTimer clock;
    clock.start();
    window.refresh();
    waitUntil([&] { return window.rowCount() >= devices; }, timeout);
    shown.time = static_cast<double>(clock.elapsed());
    shown.rows = window.rowCount();
    // The remaining copies, so that the next run begins in silence.
    window.waitForQueries();
    settle(500ms);
    return shown;
}

} // namespace

void firstScan(FleetWindow::View view)
{
    constexpr int scans = 5;
    constexpr double bound = 500.0; // milliseconds
    const FleetProcess fleet(devices, {QStringLiteral("--spread"), QStringLiteral("200")});
    QVector<double> beyond;
    double reference = 0.0;
    for (int i = 0; i < scans; ++i) {
        reference = BareReceiver::ask().time;
        FleetWindow window(view);
        window.hearFleet(true);
        QElapsedTimer clock;
        clock.start();
        window.refresh();
        if (!waitUntil([&] { return window.rowCount() >= devices; }, timeout)) {
            report::giveUp(QStringLiteral("a scan ended with %1 rows").arg(window.rowCount()));
        }
        window.waitForPaint();
        beyond.append(static_cast<double>(clock.elapsed()) - reference);
        window.waitForQueries();
        settle(500ms);
    }
    report::figure(QStringLiteral("first scan, last row painted after the last answer"),
                   report::median(beyond), reference, bound, QStringLiteral("ms"));
}

void burst(FleetWindow::View view)
{
    const FleetProcess fleet(devices, {QStringLiteral("--spread"), QStringLiteral("200"),
                                       QStringLiteral("--duplicates"), QStringLiteral("1")});
    for (int run = 1; run <= runs; ++run) {
        const BareReceiver bare = BareReceiver::ask();
        const Shown shown = showBurst(view);
        report::count(QStringLiteral("burst, run %1: rows (reference: bare loop, devices)").arg(run),
                      shown.rows, bare.devices, devices);
        report::note(QStringLiteral("answers %1, bare loop %2; last row after %3 ms, bare loop's last answer "
                                    "after %4 ms")
                         .arg(shown.answers)
                         .arg(bare.datagrams)
                         .arg(shown.time, 0, 'f', 0)
                         .arg(bare.time, 0, 'f', 0));
    }
}

} // namespace cases
