#pragma once

#include "discovery/discoverydevice.h"

#include <QSet>
#include <QString>
#include <QVector>

#include <chrono>
#include <memory>

class DeviceItem;
class Discovery;
class MainWindow;
class QTreeWidget;
class QueryQueue;

/// The program's main window, shown and at rest, not yet listening to the fleet, so that what is measured
/// begins when it is told to.
class FleetWindow final
{
public:
    enum class View { Default, Everything };

    /// `Everything`: all columns, in a window that fills a big screen.
    explicit FleetWindow(View view);
    ~FleetWindow();
    Q_DISABLE_COPY_MOVE(FleetWindow)

    /// Listens to the fleet, or to a port on which nobody answers.
    void hearFleet(bool on);
    /// What the user's "Discover devices" does.
    void refresh();
    /// Refreshes and waits until there are so many rows and each has new readings; gives up the benchmark
    /// when that doesn't happen.
    void refreshWholly(int devices);
    /// Waits until the list has been painted.
    void waitForPaint();
    /// Waits until no request is out and none waits.
    void waitForQueries();
    void sortBy(int column);
    /// All that makes a refresh dear: sorted by what every answer changes, filtered, all rows selected.
    void makeHard();
    /// Selects so many rows and no others; the MAC addresses of their devices.
    QSet<QString> select(int count);

    int rowCount() const;
    /// All rows in no particular order.
    QVector<DeviceItem *> rows() const;
    /// How many rows got readings in the current refresh.
    int freshRows() const;

    QTreeWidget &list() { return *m_list; }
    MainWindow &window() { return *m_window; }
    Discovery &discovery() { return *m_discovery; }

private:
    bool queriesDone() const;

    std::unique_ptr<MainWindow> m_window;
    QTreeWidget *m_list = nullptr;
    Discovery *m_discovery = nullptr;
    QueryQueue *m_queue = nullptr;
};
