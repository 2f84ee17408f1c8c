#include "fleetwindow.h"

#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/queryqueue.h"
#include "discovery/discovery.h"
#include "mainwindow/mainwindow.h"
#include "plainlist.h"
#include "report.h"
#include "waiting.h"

#include <QAction>
#include <QLineEdit>
#include <QToolBar>
#include <QTreeWidget>

#include <algorithm>

using namespace std::chrono_literals;

namespace {

constexpr quint16 fleetPort = 9806;
constexpr quint16 silentPort = 9805;
constexpr auto refreshTimeout = 120s;
/// For the first layout and paint.
constexpr auto startTime = 500ms;

} // namespace

FleetWindow::FleetWindow(View view)
{
    settings::store().clear();
    settings::setValue(settings::scanPort, static_cast<int>(silentPort));
    m_window = std::make_unique<MainWindow>(QString());
    m_list = m_window->findChild<QTreeWidget *>(QStringLiteral("devList"));
    m_discovery = m_window->findChild<Discovery *>();
    m_queue = m_window->findChild<QueryQueue *>();
    if (view == View::Everything) {
        for (int i = 0; i < m_list->columnCount(); ++i) {
            m_list->setColumnHidden(i, false);
        }
        m_window->resize(1600, 900);
    }
    m_window->show();
    settle(startTime);
}

FleetWindow::~FleetWindow() = default;

void FleetWindow::hearFleet(bool on)
{
    m_discovery->setPort(on ? fleetPort : silentPort);
}

void FleetWindow::refresh()
{
    m_window->on_actionDiscover_devices_triggered();
}

void FleetWindow::refreshWholly(int devices)
{
    QVector<DeviceItem *> known;
    refresh();
    const bool done = waitUntil(
        [&] {
            if (rowCount() < devices || !queriesDone()) {
                return false;
            }
            if (known.isEmpty()) {
                known = rows();
            }
            return std::all_of(known.cbegin(), known.cend(),
                               [](const DeviceItem *row) { return row->device().dataAge() == 0; });
        },
        refreshTimeout);
    if (!done) {
        report::giveUp(QStringLiteral("a refresh of %1 devices ended with %2 rows, %3 of them with readings; "
                                      "%4 queries are out, %5 wait")
                           .arg(devices)
                           .arg(rowCount())
                           .arg(freshRows())
                           .arg(m_queue->outstanding())
                           .arg(m_queue->waiting()));
    }
}

void FleetWindow::waitForPaint()
{
    timeToPaint(*m_list, [] {});
}

void FleetWindow::waitForQueries()
{
    if (!waitUntil([this] { return queriesDone(); }, refreshTimeout)) {
        report::giveUp(QStringLiteral("%1 queries have not ended").arg(m_queue->outstanding()));
    }
}

void FleetWindow::sortBy(int column)
{
    m_list->sortByColumn(column, Qt::AscendingOrder);
}

void FleetWindow::makeHard()
{
    sortBy(Column::LastSeen);
    const auto trigger = [this](const char *action) {
        m_window->findChild<QAction *>(QLatin1String(action))->trigger();
    };
    trigger("actionFilter");
    auto *const bar = m_window->findChild<QToolBar *>(QStringLiteral("filterToolBar"));
    bar->findChild<QLineEdit *>()->setText(QStringLiteral("[a-z0-9]+"));
    trigger("actionApply");
    trigger("actionSelect_all");
    settle(startTime);
}

QSet<QString> FleetWindow::select(int count)
{
    QSet<QString> macs;
    m_list->clearSelection();
    const QVector<DeviceItem *> selected = rows().mid(0, count);
    for (DeviceItem *const row : selected) {
        row->setSelected(true);
        macs.insert(row->device().record().macText());
    }
    return macs;
}

int FleetWindow::rowCount() const
{
    return m_list->topLevelItemCount();
}

QVector<DeviceItem *> FleetWindow::rows() const
{
    QVector<DeviceItem *> rows;
    rows.reserve(rowCount());
    for (int i = 0; i < rowCount(); ++i) {
        rows.append(static_cast<DeviceItem *>(m_list->topLevelItem(i)));
    }
    return rows;
}

int FleetWindow::freshRows() const
{
    const QVector<DeviceItem *> all = rows();
    return static_cast<int>(std::count_if(
        all.cbegin(), all.cend(), [](const DeviceItem *row) { return row->device().dataAge() == 0; }));
}

bool FleetWindow::queriesDone() const
{
    return m_queue->waiting() == 0 && m_queue->outstanding() == 0;
}
