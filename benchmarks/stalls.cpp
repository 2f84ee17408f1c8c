#include "cases.h"
#include "curlrun.h"
#include "fleetprocess.h"
#include "heartbeat.h"
#include "report.h"
#include "waiting.h"

#include <functional>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int knownRefreshes = 3;
/// Refreshes without an answer until a row turns yellow.
constexpr int refreshesToYellow = 2;
/// In which the list sorts and paints what a refresh left to do.
constexpr auto aftermath = 300ms;

Heartbeat::Result measured(const std::function<void()> &action)
{
    Heartbeat heartbeat;
    heartbeat.start();
    action();
    settle(aftermath);
    return heartbeat.stop();
}

void print(const QString &what, const Heartbeat::Result &result, const Heartbeat::Result &reference,
           double bound)
{
    report::figure(QStringLiteral("longest stall, ") + what, result.longestGap, reference.longestGap, bound,
                   QStringLiteral("ms"));
    report::note(
        QStringLiteral("the thread's own longest work between two beats %1 ms; in all %2 ms within %3 ms")
            .arg(result.longestWork, 0, 'f', 1)
            .arg(result.work, 0, 'f', 0)
            .arg(result.wallTime, 0, 'f', 0));
}

} // namespace

void stalls(int devices, double bound, FleetWindow::View view)
{
    const FleetProcess fleet(devices, {QStringLiteral("--spread"), QStringLiteral("200")});
    FleetWindow window(view);
    // The reference: the same window at rest while the machine serves as many queries of somebody else.
    const CurlRun curl = CurlRun::queries(devices);
    const Heartbeat::Result reference = measured([&] { curl.run(); });
    const auto name = [devices](const char *what) {
        return QStringLiteral("%1 devices, %2").arg(devices).arg(QLatin1String(what));
    };

    window.hearFleet(true);
    print(name("first refresh"), measured([&] { window.refreshWholly(devices); }), reference, bound);
    if (view == FleetWindow::View::Everything) {
        window.makeHard();
    }
    for (int i = 0; i < knownRefreshes; ++i) {
        print(name("later refresh"), measured([&] { window.refreshWholly(devices); }), reference, bound);
    }
    window.hearFleet(false);
    for (int i = 1; i < refreshesToYellow; ++i) {
        window.refresh();
    }
    settle(1s);
    print(name("refresh, all rows fade"), measured([&] { window.refresh(); }), reference, bound);
    window.hearFleet(true);
    print(name("refresh, all rows return"), measured([&] { window.refreshWholly(devices); }), reference,
          bound);
}

} // namespace cases
