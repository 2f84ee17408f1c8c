#include "cases.h"
#include "device/devicecolumns.h"
#include "fleetprocess.h"
#include "heartbeat.h"
#include "mainwindow/mainwindow.h"
#include "plainlist.h"
#include "report.h"
#include "waiting.h"

#include <QAction>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QToolBar>
#include <QTreeWidget>
#include <QVector>

#include <functional>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int devices = 10000;
constexpr int runs = 5;
constexpr double bound = 50.0; // milliseconds
/// Into the refresh, in the midst of its answers.
constexpr auto midst = 400ms;

void press(QWidget &widget, int key)
{
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &down);
    QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &up);
}

/// From what the user does in the midst of a refresh until the list is painted with it.
void measure(FleetWindow &window, const char *what, const std::function<void(int)> &action)
{
    QVector<double> times;
    for (int run = 0; run < runs; ++run) {
        window.refresh();
        settle(midst);
        times.append(timeToPaint(window.list(), [&] { action(run); }));
        window.waitForQueries();
        settle(300ms);
    }
    report::figure(QStringLiteral("10000 rows, in a refresh: ") + QLatin1String(what), report::median(times),
                   0, bound, QStringLiteral("ms"));
}

} // namespace

void useInRefresh(FleetWindow::View view)
{
    const FleetProcess fleet(devices, {});
    FleetWindow window(view);
    window.hearFleet(true);
    window.refreshWholly(devices);
    QTreeWidget &list = window.list();
    const auto trigger = [&window](const char *name) {
        window.window().findChild<QAction *>(QLatin1String(name))->trigger();
    };
    measure(window, "select all", [&](int) {
        list.clearSelection();
        trigger("actionSelect_all");
    });
    measure(window, "sort by a header", [&](int run) {
        list.header()->setSortIndicator(run % 2 == 0 ? Column::Ip : Column::Mac,
                                        run % 2 == 0 ? Qt::DescendingOrder : Qt::AscendingOrder);
    });
    measure(window, "page down", [&](int) { press(list, Qt::Key_PageDown); });
    measure(window, "open a menu", [&](int) {
        auto *const menu = window.window().findChild<QMenu *>(QStringLiteral("menuDevice"));
        menu->popup(QPoint(50, 50));
        menu->repaint();
        menu->close();
    });
    trigger("actionFilter");
    auto *const edit =
        window.window().findChild<QToolBar *>(QStringLiteral("filterToolBar"))->findChild<QLineEdit *>();
    measure(window, "filter", [&](int run) {
        edit->setText(run % 2 == 0 ? QStringLiteral("[02468]$") : QStringLiteral("[13579]$"));
        press(*edit, Qt::Key_Return);
    });
}

void automaticRefresh(FleetWindow::View view)
{
    constexpr auto interval = 10s;
    constexpr int cycles = 3;
    constexpr double share = 0.35;
    const FleetProcess fleet(devices, {});
    FleetWindow window(view);
    window.hearFleet(true);
    window.refreshWholly(devices);
    const qint64 processorTime = processProcessorTime();
    int asked = 0;
    for (int i = 0; i < cycles; ++i) {
        QElapsedTimer cycle;
        cycle.start();
        window.refresh();
        settle(interval);
        asked += window.freshRows();
    }
    const double used = static_cast<double>(processProcessorTime() - processorTime) / 1e9;
    report::count(QStringLiteral("refresh every 10 s: rows with new readings in three cycles"), asked,
                  cycles * devices, cycles * devices);
    report::figure(QStringLiteral("refresh every 10 s of 10000: share of a processor"),
                   used / (std::chrono::duration<double>(interval).count() * cycles), 0, share, {});
}

} // namespace cases
