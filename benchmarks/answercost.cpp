#include "cases.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "fleetprocess.h"
#include "heartbeat.h"
#include "mainwindow/mainwindow.h"
#include "report.h"
#include "waiting.h"

#include <QTimer>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int shortList = 100;
constexpr int longList = 10000;
constexpr int answers = 20000;
constexpr int answersPerTurn = 20;
constexpr int rounds = 30;
constexpr double bound = 1.5;
constexpr quint32 firstAddress = 0x0A4D8001;
constexpr double nanosecondsPerMicrosecond = 1000.0;

/// Microseconds of the thread's processor time for one answer.
struct Cost
{
    double call = 0.0;
    double withEventLoop = 0.0;
    double sorted = 0.0;
    double withReadings = 0.0;
};

double since(qint64 start, int count)
{
    return static_cast<double>(threadProcessorTime() - start) / nanosecondsPerMicrosecond / count;
}

double callCost(FleetWindow &window, const QVector<DeviceItem *> &rows)
{
    const qint64 start = threadProcessorTime();
    for (int i = 0; i < answers; ++i) {
        window.window().onDevice(rows.at(i % rows.size())->device().record());
    }
    return since(start, answers);
}

/// Some answers a turn, so that the list paints and sorts as it does in the program.
double eventLoopCost(FleetWindow &window, const QVector<DeviceItem *> &rows)
{
    int handled = 0;
    QTimer turn;
    QObject::connect(&turn, &QTimer::timeout, &turn, [&] {
        for (int i = 0; i < answersPerTurn && handled < answers; ++i) {
            window.window().onDevice(rows.at(handled++ % rows.size())->device().record());
        }
    });
    const qint64 start = threadProcessorTime();
    turn.start(1);
    waitUntil([&] { return handled == answers; }, 120s);
    return since(start, answers);
}

/// The same devices in lists of either length; everything up to the row that shows the readings.
double readingsCost(FleetWindow &window, const QVector<DeviceItem *> &rows)
{
    const qint64 start = threadProcessorTime();
    for (int round = 0; round < rounds; ++round) {
        for (int i = 0; i < shortList; ++i) {
            Device &device = rows.at(i)->device();
            device.setQueryPending(true);
            window.window().onDevice(device.record());
        }
        window.waitForQueries();
    }
    return since(start, rounds * shortList);
}

/// Answers made up here, so that lists of either length ask the same fleet.
void fill(FleetWindow &window, int devices)
{
    for (int i = 0; i < devices; ++i) {
        DiscoveryDevice record;
        record.setAddress(QHostAddress(firstAddress + static_cast<quint32>(i)));
        record.setMacText(QStringLiteral("0E:5A:11:00:%1:%2")
                              .arg(i / 256, 2, 16, QLatin1Char('0'))
                              .arg(i % 256, 2, 16, QLatin1Char('0')));
        record.setHostname(QStringLiteral("device-%1").arg(i));
        window.window().onDevice(record);
    }
    window.waitForQueries();
}

Cost costAt(int devices, FleetWindow::View view)
{
    FleetWindow window(view);
    fill(window, devices);
    settle(500ms);
    const QVector<DeviceItem *> rows = window.rows();
    Cost cost;
    cost.call = callCost(window, rows);
    settle(500ms);
    cost.withEventLoop = eventLoopCost(window, rows);
    cost.withReadings = readingsCost(window, rows);
    window.sortBy(Column::LastSeen);
    settle(500ms);
    cost.sorted = eventLoopCost(window, rows);
    return cost;
}

} // namespace

void answerCost(FleetWindow::View view)
{
    const FleetProcess fleet(longList, {});
    const Cost few = costAt(shortList, view);
    const Cost many = costAt(longList, view);
    const auto print = [](const char *what, double value, double reference) {
        report::ratio(QStringLiteral("answer at 10000 rows (reference: 100), ") + QLatin1String(what), value,
                      reference, bound, QStringLiteral("us"));
    };
    print("slot", many.call, few.call);
    print("all in all", many.withEventLoop, few.withEventLoop);
    print("by last seen", many.sorted, few.sorted);
    print("readings", many.withReadings, few.withReadings);
}

} // namespace cases
