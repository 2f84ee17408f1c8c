#include "cases.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "fleetprocess.h"
#include "heartbeat.h"
#include "mainwindow/mainwindow.h"
#include "plainlist.h"
#include "report.h"
#include "waiting.h"

#include <QAction>
#include <QCoreApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QToolBar>
#include <QTreeWidget>
#include <QVector>

#include <algorithm>
#include <functional>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int devices = 10000;
constexpr double filterBound = 150.0; // milliseconds
constexpr double resizeBound = 300.0; // milliseconds
constexpr double sortBound = 500.0;   // milliseconds
constexpr double removeBound = 100.0; // milliseconds
constexpr double typingBound = 30.0;  // milliseconds
constexpr double stallBound = 30.0;   // milliseconds
constexpr double paintBound = 3.0;    // milliseconds
/// Pixels, for all columns.
constexpr int paintedWidth = 1800;
/// In which the list paints and sorts what came before.
constexpr auto rest = 500ms;

/// The list with what a user does to it by menu and keyboard.
class ListUser final
{
public:
    explicit ListUser(FleetWindow &window)
        : m_window(window.window())
        , m_list(*m_window.findChild<QTreeWidget *>(QStringLiteral("devList")))
        , m_filterEdit(
              *m_window.findChild<QToolBar *>(QStringLiteral("filterToolBar"))->findChild<QLineEdit *>())
    {
    }

    MainWindow &window() { return m_window; }
    QTreeWidget &list() { return m_list; }
    QLineEdit &filterEdit() { return m_filterEdit; }

    void trigger(const char *action) const
    {
        m_window.findChild<QAction *>(QLatin1String(action))->trigger();
    }

    void press(int key, const QString &text = QString()) const
    {
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, text);
        QCoreApplication::sendEvent(&m_filterEdit, &down);
        QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier, text);
        QCoreApplication::sendEvent(&m_filterEdit, &up);
    }

private:
    MainWindow &m_window;
    QTreeWidget &m_list;
    QLineEdit &m_filterEdit;
};

/// One figure: what the program needs from the action to the painted list, beside a plain list of Qt with the
/// same texts, treated in the plainest way.
void compare(const QString &what, double bound, ListUser &user, const std::function<void()> &action,
             PlainList &plain, const std::function<void()> &plainAction)
{
    settle(rest);
    const double value = timeToPaint(user.list(), action);
    const double reference = timeToPaint(plain.list(), plainAction);
    report::figure(QStringLiteral("10000 rows, ") + what, value, reference, bound, QStringLiteral("ms"));
}

void filterFigures(ListUser &user, PlainList &plain)
{
    user.trigger("actionFilter");
    const auto apply = [&](const char *what, const QString &pattern) {
        user.filterEdit().clear();
        settle(rest);
        Heartbeat heartbeat;
        heartbeat.start();
        for (const QChar c : pattern) {
            user.press(0, c);
            settle(5ms);
        }
        const double typing = heartbeat.stop().longestGap;
        compare(
            QStringLiteral("filter, ") + QLatin1String(what), filterBound, user,
            [&] { user.press(Qt::Key_Return); }, plain, [&] { plain.filter(pattern); });
        report::figure(QStringLiteral("    stall while it was typed"), typing, 0, typingBound,
                       QStringLiteral("ms"));
    };
    apply("half of the rows", QStringLiteral("[02468]$"));
    apply("the other half", QStringLiteral("[13579]$"));
    apply("no row", QStringLiteral("no such device|(at all)+"));
    apply("one row", QStringLiteral("10\\.77\\.135\\.207"));
    compare(
        QStringLiteral("filter closed, all rows return"), filterBound, user,
        [&] { user.trigger("actionFilterClose"); }, plain, [&] { plain.filter(QString()); });
}

void sortFigures(ListUser &user, PlainList &plain)
{
    for (int column = 0; column < Column::Count; ++column) {
        const auto order = user.list().header()->sortIndicatorOrder() == Qt::AscendingOrder
                               ? Qt::DescendingOrder
                               : Qt::AscendingOrder;

        compare(
            QStringLiteral("sort by ") +
                QLatin1String(deviceColumns[static_cast<std::size_t>(column)].header),
            sortBound, user, [&] { user.list().header()->setSortIndicator(column, order); }, plain,
            [&] { plain.list().sortByColumn(column, order); });
    }
}

/// Milliseconds of the thread's processor time for painting all that is in view.
double paintTime(QTreeWidget &list)
{
    constexpr int paints = 31;
    QVector<double> times;
    for (int i = 0; i < paints; ++i) {
        const qint64 start = threadProcessorTime();
        list.viewport()->repaint();
        times.append(static_cast<double>(threadProcessorTime() - start) / 1e6);
    }
    return report::median(times);
}

void fitIntoView(QTreeWidget &list)
{
    for (int i = 0; i < list.columnCount(); ++i) {
        list.setColumnHidden(i, false);
        list.setColumnWidth(i, paintedWidth / list.columnCount());
    }
}

void paintFigures(ListUser &user, PlainList &plain)
{
    const QSize size = user.window().size();
    user.window().resize(paintedWidth + 100, 1240);
    fitIntoView(user.list());
    settle(rest);
    fitIntoView(plain.list());
    plain.list().resize(user.list().size());
    settle(rest);
    const QModelIndex last = user.list().indexAt(QPoint(1, user.list().viewport()->height() - 1));
    const double value = paintTime(user.list());
    report::figure(QStringLiteral("paint of %1 rows, 27 columns").arg(last.row() + 1), value,
                   paintTime(plain.list()), paintBound, QStringLiteral("ms"));
    user.window().resize(size);
}

} // namespace

void paint(FleetWindow::View view)
{
    constexpr int fewDevices = 1000;
    const FleetProcess fleet(fewDevices, {});
    FleetWindow window(view);
    window.hearFleet(true);
    window.refreshWholly(fewDevices);
    ListUser user(window);
    PlainList plain(user.list());
    paintFigures(user, plain);
}

void listWork(FleetWindow::View view)
{
    const FleetProcess fleet(devices, {QStringLiteral("--spread"), QStringLiteral("200")});
    FleetWindow window(view);
    window.hearFleet(true);
    window.refreshWholly(devices);
    ListUser user(window);
    PlainList plain(user.list());
    filterFigures(user, plain);
    compare(
        QStringLiteral("resize columns to contents"), resizeBound, user,
        [&] { user.trigger("actionResize_columns"); }, plain, [&] { plain.resizeColumns(); });
    sortFigures(user, plain);

    window.sortBy(Column::LastSeen);
    settle(rest);
    Heartbeat heartbeat;
    heartbeat.start();
    window.refreshWholly(devices);
    const Heartbeat::Result stall = heartbeat.stop();
    report::figure(QStringLiteral("10000 rows, stall of a refresh sorted by Last Seen"), stall.longestGap, 0,
                   stallBound, QStringLiteral("ms"));
    report::note(QStringLiteral("the thread's own longest work %1 ms; in all %2 ms within %3 ms")
                     .arg(stall.longestWork, 0, 'f', 1)
                     .arg(stall.work, 0, 'f', 0)
                     .arg(stall.wallTime, 0, 'f', 0));

    window.hearFleet(false);
    user.list().selectAll();
    compare(
        QStringLiteral("remove all rows"), removeBound, user, [&] { user.trigger("actionRemove"); }, plain,
        [&] { plain.list().clear(); });
}

} // namespace cases
