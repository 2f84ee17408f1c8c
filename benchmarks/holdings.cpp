#include "cases.h"
#include "fleetprocess.h"
#include "processusage.h"
#include "report.h"
#include "waiting.h"

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int idleDevices = 10000;
constexpr int enduranceDevices = 1000;
constexpr int earlyRefreshes = 10;
constexpr int allRefreshes = 100;
/// For everything that is given back a little later.
constexpr auto rest = 2s;
/// Memory that differs between two looks without anything growing, as a factor.
constexpr double memoryNoise = 1.02;

void print(const QString &what, const ProcessUsage &usage, const ProcessUsage &reference,
           const ProcessUsage &bound)
{
    report::figure(what + QStringLiteral("threads"), usage.threads, reference.threads, bound.threads, {});
    report::figure(what + QStringLiteral("descriptors"), usage.descriptors, reference.descriptors,
                   bound.descriptors, {});
    report::figure(what + QStringLiteral("resident"), usage.resident, reference.resident, bound.resident,
                   QStringLiteral("MiB"));
}

} // namespace

void idle(FleetWindow::View view)
{
    constexpr ProcessUsage bound{6, 40, 150.0};
    const FleetProcess fleet(idleDevices, {QStringLiteral("--spread"), QStringLiteral("200")});
    FleetWindow window(view);
    settle(rest);
    const ProcessUsage empty = ProcessUsage::now();
    window.hearFleet(true);
    window.refreshWholly(idleDevices);
    settle(rest);
    print(QStringLiteral("idle, 10000 devices (reference: no device), "), ProcessUsage::now(), empty, bound);
}

void endurance(FleetWindow::View view)
{
    const FleetProcess fleet(enduranceDevices, {});
    FleetWindow window(view);
    window.hearFleet(true);
    ProcessUsage early;
    for (int i = 1; i <= allRefreshes; ++i) {
        window.refreshWholly(enduranceDevices);
        if (i == earlyRefreshes) {
            settle(rest);
            early = ProcessUsage::now();
        }
    }
    settle(rest);
    print(QStringLiteral("1000 devices, 100 refreshes (reference: 10), "), ProcessUsage::now(), early,
          {early.threads, early.descriptors, early.resident * memoryNoise});
}

} // namespace cases
