#include "cases.h"
#include "curlrun.h"
#include "fleetprocess.h"
#include "report.h"
#include "waiting.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int devices = 1000;
constexpr int runs = 5;
constexpr double bound = 2.0;

/// The fleet's own record of what arrived.
int queriesIn(const QString &journal)
{
    QFile file(journal);
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    int queries = 0;
    while (!file.atEnd()) {
        queries += file.readLine().contains("admin/proctpl.cgi") ? 1 : 0;
    }
    return queries;
}

double refreshTimed(FleetWindow &window, int count)
{
    QElapsedTimer clock;
    clock.start();
    window.refreshWholly(count);
    const auto time = static_cast<double>(clock.elapsed());
    settle(500ms);
    return time;
}

} // namespace

void refreshTime(FleetWindow::View view)
{
    const QTemporaryDir directory;
    const QString journal = directory.filePath(QStringLiteral("journal"));
    const FleetProcess fleet(
        devices, {QStringLiteral("--delay"), QStringLiteral("50"), QStringLiteral("--journal"), journal});
    const CurlRun curl = CurlRun::queries(devices);
    FleetWindow window(view);
    window.hearFleet(true);
    QVector<double> ours;
    QVector<double> reference;
    int curlQueries = 0;
    const double first = refreshTimed(window, devices);
    for (int run = 0; run < runs; ++run) {
        const int before = queriesIn(journal);
        reference.append(curl.run());
        settle(200ms);
        curlQueries = queriesIn(journal) - before;
        ours.append(refreshTimed(window, devices));
    }
    report::ratio(QStringLiteral("refresh of 1000, first (reference: curl)"), first,
                  report::median(reference), bound, QStringLiteral("ms"));
    report::ratio(QStringLiteral("refresh of 1000, later, median of 5 (reference: curl)"),
                  report::median(ours), report::median(reference), bound, QStringLiteral("ms"));
    const int all = queriesIn(journal);
    report::count(QStringLiteral("queries that arrived, a curl run (reference: wanted)"), curlQueries,
                  devices, devices);
    report::count(QStringLiteral("queries that arrived, all runs (reference: wanted)"), all,
                  devices * (2 * runs + 1), devices * (2 * runs + 1));
}

void readingsTime(FleetWindow::View view)
{
    constexpr int many = 10000;
    constexpr int rounds = 3;
    constexpr double manyBound = 1.3;
    const FleetProcess fleet(many, {});
    const CurlRun curl = CurlRun::queries(many);
    FleetWindow window(view);
    window.hearFleet(true);
    QVector<double> ours;
    QVector<double> reference;
    for (int i = 0; i < rounds; ++i) {
        reference.append(curl.run());
        settle(200ms);
        ours.append(refreshTimed(window, many));
    }
    report::ratio(QStringLiteral("readings of 10000 that answer at once, first (reference: curl)"),
                  ours.first(), report::median(reference), manyBound, QStringLiteral("ms"));
    report::ratio(QStringLiteral("readings of 10000 that answer at once, median (reference: curl)"),
                  report::median(ours), report::median(reference), manyBound, QStringLiteral("ms"));
}

} // namespace cases
