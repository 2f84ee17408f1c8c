#include "cases.h"
#include "chart.h"
#include "curlrun.h"
#include "fleetprocess.h"
#include "heartbeat.h"
#include "processusage.h"
#include "report.h"
#include "waiting.h"

#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <array>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr std::array<int, 6> sizes{100, 300, 1000, 3000, 10000, 30000};
constexpr int refreshes = 3;
/// Milliseconds of the GUI thread for each device.
constexpr double workBound = 0.12;

/// What refreshes of a fleet took.
struct Figures
{
    /// Milliseconds from the request to the last row's new readings, and curl's for the same queries.
    double time = 0.0;
    double curl = 0.0;
    /// Milliseconds of the GUI thread's processor time, and the longest without a turn of the event loop.
    double work = 0.0;
    double stall = 0.0;
    /// MiB, beyond the empty window.
    double memory = 0.0;
};

Figures measure(int devices, FleetWindow::View view)
{
    const FleetProcess fleet(devices, {});
    const CurlRun curl = CurlRun::queries(devices);
    FleetWindow window(view);
    const double empty = ProcessUsage::now().resident;
    window.hearFleet(true);
    window.refreshWholly(devices);
    QVector<double> times;
    QVector<double> works;
    QVector<double> stalls;
    for (int i = 0; i < refreshes; ++i) {
        settle(500ms);
        Heartbeat heartbeat;
        QElapsedTimer clock;
        clock.start();
        heartbeat.start();
        window.refreshWholly(devices);
        const Heartbeat::Result result = heartbeat.stop();
        times.append(static_cast<double>(clock.elapsed()));
        works.append(result.work);
        stalls.append(result.longestGap);
    }
    Figures figures;
    figures.time = report::median(times);
    figures.work = report::median(works);
    figures.stall = report::median(stalls);
    figures.memory = ProcessUsage::now().resident - empty;
    figures.curl = curl.run();
    return figures;
}

void write(const QString &path, const QString &svg)
{
    QFile file(path);
    const QByteArray bytes = svg.toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        report::giveUp(QStringLiteral("can't write ") + path);
    }
}

} // namespace

void curves(FleetWindow::View view, const QString &directory)
{
    Curve time{QStringLiteral("refresh"), {}};
    Curve curl{QStringLiteral("curl, the same queries"), {}};
    Curve work{QStringLiteral("GUI thread"), {}};
    Curve stall{QStringLiteral("longest stall"), {}};
    Curve memory{QStringLiteral("beyond an empty window"), {}};
    for (const int devices : sizes) {
        const Figures figures = measure(devices, view);
        report::figure(QStringLiteral("work of the GUI thread for each of %1 devices").arg(devices),
                       figures.work / devices, figures.curl / devices, workBound, QStringLiteral("ms"));
        report::note(QStringLiteral("refresh %1 ms, curl %2 ms, stall %3 ms, %4 MiB")
                         .arg(figures.time, 0, 'f', 0)
                         .arg(figures.curl, 0, 'f', 0)
                         .arg(figures.stall, 0, 'f', 1)
                         .arg(figures.memory, 0, 'f', 1));
        time.points.append({static_cast<double>(devices), figures.time});
        curl.points.append({static_cast<double>(devices), figures.curl});
        work.points.append({static_cast<double>(devices), figures.work});
        stall.points.append({static_cast<double>(devices), figures.stall});
        // Less than a page more than the empty window has no place on the scale.
        memory.points.append({static_cast<double>(devices), std::max(figures.memory, 0.01)});
    }
    write(directory + QStringLiteral("/refresh.svg"),
          chart(QStringLiteral("A refresh"), QStringLiteral("ms"), {time, curl, work, stall}));
    write(directory + QStringLiteral("/memory.svg"),
          chart(QStringLiteral("Memory"), QStringLiteral("MiB"), {memory}));
}

} // namespace cases
