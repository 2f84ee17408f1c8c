#include "mainwindow/mainwindow.h"

#include "ui_mainwindow.h"

#include "common/plainline.h"
#include "common/settings.h"
#include "device/deviceitem.h"
#include "device/devicelistfile.h"
#include "device/queryqueue.h"
#include "discovery/discovery.h"
#include "syslog/loglist.h"
#include "widgets/plainmessagebox.h"
#include "widgets/selectionmodelnodeselect.h"

#include <QApplication>
#include <QDebug>
#include <QDesktopServices>
#include <QItemSelection>
#include <QJsonArray>
#include <QJsonObject>
#include <QLabel>
#include <QSet>
#include <QUrl>

#include <algorithm>
#include <iterator>
#include <vector>

namespace {

/// An age below this is recent: the device answered in this refresh cycle or the one before.
constexpr int recentAge = 2;

/// More devices than any network has that this program can look after. Whoever sends made-up answers must not
/// fill the memory with rows.
constexpr int maximumDevices = 50000;

} // namespace

MainWindow::MainWindow(const QString &deviceListPath, QWidget *parent)
    : QMainWindow(parent)
    , ui(std::make_unique<Ui::MainWindow>())
    , m_deviceListPath(deviceListPath)
{
    ui->setupUi(this);
    setUpStatusBar();
    setUpSelection();
    setUpDiscovery();
    setUpColumns();
    setUpFilterBar();
    setUpIconSizes();
    restoreView();
    setUpColumnActions();
    ui->devList->setAutoFillBackground(true);
    updateStatusBarAndMenu();
    setUpLanguageMenu();
    setUpTimers();
    applySettings();
    applyLanguage();
    QTimer::singleShot(0, this, &MainWindow::lateInit);
}

MainWindow::~MainWindow()
{
    // What goes now must not reach a window that is half gone: the focus moves when the window is hidden, and
    // the rows that go with the list are neither counted nor make room for the next query.
    disconnect(qApp, nullptr, this, nullptr);
    disconnect(ui->devList->selectionModel(), nullptr, this, nullptr);
    delete m_queryQueue;
    if (m_logList) {
        disconnect(m_logList, nullptr, this, nullptr);
        delete m_logList;
    }
}

void MainWindow::setUpStatusBar()
{
    m_statusLabel = new QLabel(this);
    // In a narrow window the tip of an action reaches it.
    m_statusLabel->setIndent(m_statusLabel->fontMetrics().averageCharWidth());
    ui->statusBar->addPermanentWidget(m_statusLabel);
}

void MainWindow::setUpSelection()
{
    delete ui->devList->selectionModel();
    auto *const model = new SelectionModelNoDeselect(ui->devList->model(), this);
    ui->devList->setSelectionModel(model);
    connect(model, &QItemSelectionModel::selectionChanged, this,
            [this](const QItemSelection &selected, const QItemSelection &deselected) {
                recountSelection(selected, deselected);
                // The list has called it already, but with the counts of before.
                on_devList_itemSelectionChanged();
            });
}

void MainWindow::setUpDiscovery()
{
    m_discovery = new Discovery(static_cast<quint16>(settings::value(settings::scanPort)), this);
    connect(m_discovery, &Discovery::device, this, &MainWindow::onDevice);
    m_queryQueue = new QueryQueue(this);
    connect(m_discovery, &Discovery::busyChanged, m_queryQueue, &QueryQueue::setHeld);
}

void MainWindow::setUpTimers()
{
    connect(&m_autoUpdateTimer, &QTimer::timeout, this, &MainWindow::on_actionDiscover_devices_triggered);
    connect(qApp, &QApplication::focusChanged, this, &MainWindow::onFocusChanged);
}

void MainWindow::lateInit()
{
    loadDevices();
    m_discovery->setListening(true);
    refreshDevices();
}

void MainWindow::loadDevices()
{
    const QJsonArray devices = devicelistfile::read(m_deviceListPath);
    const int count = std::min(devices.size(), maximumDevices);
    for (int i = 0; i < count; ++i) {
        const QJsonObject device = devices.at(i).toObject();
        findOrCreateItem(Device::storedMac(device))->device().readJson(device);
    }
}

void MainWindow::on_actionSave_list_triggered()
{
    QJsonArray devices;
    for (int row = 0; row < ui->devList->topLevelItemCount(); ++row) {
        QJsonObject device;
        itemAt(row)->device().writeJson(device);
        devices.append(device);
    }
    switch (devicelistfile::write(m_deviceListPath, devices)) {
    case devicelistfile::Outcome::Saved:
        qDebug() << "saved" << m_deviceListPath;
        break;
    case devicelistfile::Outcome::NotOpened:
        PlainMessageBox::critical(this, tr("Error opening file ") + m_deviceListPath + tr(" for writing"));
        break;
    case devicelistfile::Outcome::NotWritten:
        PlainMessageBox::critical(this, tr("Error writing file ") + m_deviceListPath);
        break;
    }
}

void MainWindow::on_actionDiscover_devices_triggered()
{
    refreshDevices();
}

void MainWindow::refreshDevices()
{
    for (DeviceItem *const item : qAsConst(m_deviceItems)) {
        item->device().addAge(1);
        item->device().setQueryPending(true);
    }
    m_discovery->refresh();
    updateHints();
    updateStatusBarAndMenu();
    qDebug().noquote() << m_statusLabel->text();
}

void MainWindow::updateHints()
{
    const auto keyOf = [](const QAction *action) {
        return action->shortcut().toString(QKeySequence::NativeText);
    };
    const QString hint =
        m_discovery->isDeaf()
            ? tr("UDP port %1 can't be opened, so no device can answer.\nClose the program that holds it, or "
                 "choose another port in the scan options (%2), and refresh (%3).")
            : tr("No device has answered yet.\nCheck that the devices are switched on and in the network "
                 "of this computer, that no firewall holds back UDP port %1, and that this is the "
                 "devices' port: it is in the scan options (%2). Then refresh (%3).");
    ui->devList->setHints(hint.arg(QString::number(m_discovery->port()), keyOf(ui->actionProgram_options),
                                   keyOf(ui->actionDiscover_devices)),
                          tr("No device matches the filter."));
}

void MainWindow::onDevice(const DiscoveryDevice &discoveryDevice)
{
    const QString mac = discoveryDevice.macText();
    if (m_deviceItems.size() >= maximumDevices && !m_deviceItems.contains(mac)) {
        if (!m_refusedDevices) {
            qDebug() << "Too many devices, ignored from here on:" << mac;
            m_refusedDevices = true;
        }
        return;
    }
    Device &device = findOrCreateItem(mac)->device();
    device.updateFromDiscovery(discoveryDevice);
    device.applyFilter(m_filterRegExp);
    if (device.queryPending() && (!m_firmwareUpdateActive || device.updateMember())) {
        m_queryQueue->enqueue(&device);
        device.setQueryPending(false);
    }
    updateStatusBarAndMenu();
}

DeviceItem *MainWindow::findOrCreateItem(const QString &mac)
{
    if (DeviceItem *const known = m_deviceItems.value(mac)) {
        return known;
    }
    auto *const item = new DeviceItem;
    m_deviceItems.insert(mac, item);
    ui->devList->addRow(item);
    m_queryQueue->watch(&item->device());
    recount(item);
    connect(&item->device(), &Device::agesChanged, this, [this, item] { recount(item); });
    connect(&item->device(), &Device::newData, this, &MainWindow::updateStatusBarAndMenu);
    return item;
}

void MainWindow::recount(DeviceItem *item)
{
    const Device &device = item->device();
    m_rowCounts.update(
        item, {device.dataAge() < recentAge, device.discoveryAge() < recentAge, device.webAge() < recentAge});
}

void MainWindow::recountSelection(const QItemSelection &selected, const QItemSelection &deselected)
{
    const auto forEach = [](const QItemSelection &selection, const auto &take) {
        for (const QItemSelectionRange &range : selection) {
            take(range.top(), range.bottom());
        }
    };
    const auto set = [this](int first, int last, bool isSelected) {
        for (int row = first; row <= last; ++row) {
            m_rowCounts.setSelected(itemAt(row), isSelected);
        }
    };
    forEach(deselected, [&set](int first, int last) { set(first, last, false); });
    std::vector<bool> isNew(static_cast<std::size_t>(ui->devList->topLevelItemCount()));
    forEach(selected, [&isNew](int first, int last) {
        std::fill(isNew.begin() + first, isNew.begin() + last + 1, true);
    });
    // A block that was selected in one go counts from top to bottom, the row with which it began in its
    // place.
    forEach(ui->devList->selectionModel()->selection(), [&](int first, int last) {
        if (std::find(isNew.begin() + first, isNew.begin() + last + 1, true) != isNew.begin() + last + 1) {
            set(first, last, true);
        }
    });
}

void MainWindow::on_devList_itemSelectionChanged()
{
    updateStatusBarAndMenu();
}

void MainWindow::updateStatusBarAndMenu()
{
    const RowCounts::Totals &totals = m_rowCounts.totals();
    m_statusLabel->setText(
        tr("Active devices: %1/%2").arg(QString::number(totals.active), QString::number(totals.rows)));

    const SelectionRules rules = selectionRules(totals);
    ui->actionWeb_interface->setEnabled(rules.webInterface);
    ui->actionRemove->setEnabled(rules.remove);
    enableOperations(rules);
}

DeviceItem *MainWindow::itemAt(int row) const
{
    return static_cast<DeviceItem *>(ui->devList->topLevelItem(row));
}

bool MainWindow::selectReachable(Selection &out, bool needAddress, bool needAnswer)
{
    const QList<DeviceItem *> items = m_rowCounts.selectedRows();
    for (DeviceItem *const item : items) {
        Device &device = item->device();
        const DiscoveryDevice &record = device.record();
        if ((needAddress && record.address().toIPv4Address() == 0) || (needAnswer && record.variant() == 0)) {
            PlainMessageBox::critical(this, tr("Device ") +
                                                plainLine(record.hostname(), DiscoveryDevice::nameAreaSize) +
                                                tr(" is not reachable"));
            return false;
        }
        out.append(&device);
    }
    return !items.isEmpty();
}

QList<Device *> MainWindow::present(const Selection &selection)
{
    QList<Device *> devices;
    std::copy_if(selection.begin(), selection.end(), std::back_inserter(devices),
                 [](const QPointer<Device> &device) { return device; });
    return devices;
}

void MainWindow::on_actionRemove_triggered()
{
    const QList<DeviceItem *> items = m_rowCounts.selectedRows();
    const QSet<QTreeWidgetItem *> removed(items.begin(), items.end());
    for (auto known = m_deviceItems.begin(); known != m_deviceItems.end();) {
        known = removed.contains(*known) ? m_deviceItems.erase(known) : std::next(known);
    }
    for (DeviceItem *const item : items) {
        m_rowCounts.remove(item);
    }
    ui->devList->removeRows(removed);
    m_refusedDevices = false;
    updateStatusBarAndMenu();
}

void MainWindow::on_actionSelect_all_triggered()
{
    ui->devList->selectAll();
}

void MainWindow::on_actionWeb_interface_triggered()
{
    Selection selected;
    const QList<DeviceItem *> items = m_rowCounts.selectedRows();
    for (DeviceItem *const item : items) {
        selected.append(&item->device());
    }
    if (items.size() > 1 &&
        !PlainMessageBox::question(this, tr("Really open ") + QString::number(items.size()) +
                                             tr(" devices in browser?"))) {
        return;
    }
    const QList<Device *> devices = present(selected);
    for (const Device *const device : devices) {
        openWebInterface(*device);
    }
}

void MainWindow::on_devList_itemDoubleClicked(QTreeWidgetItem *item, int column)
{
    Q_UNUSED(column)
    if (item) {
        openWebInterface(static_cast<DeviceItem *>(item)->device());
    }
}

void MainWindow::openWebInterface(const Device &device)
{
    const QString url = device.webInterfaceUrl();
    if (!url.isEmpty()) {
        QDesktopServices::openUrl(QUrl(url, QUrl::TolerantMode));
    }
}

void MainWindow::on_devList_customContextMenuRequested(const QPoint &pos)
{
    QMenu menu;
    menu.addAction(ui->actionDiscover_devices);
    menu.addAction(ui->actionSelect_all);
    menu.addSeparator();
    if (m_rowCounts.totals().selected > 0) {
        const QList<QAction *> actions = ui->menuDevice->actions();
        for (QAction *const action : actions) {
            if (const QMenu *const submenu = action->menu()) {
                menu.addMenu(submenu->icon(), submenu->title())->addActions(submenu->actions());
            } else {
                menu.addAction(action);
            }
        }
    }
    menu.exec(ui->devList->viewport()->mapToGlobal(pos));
}

void MainWindow::on_actionExit_triggered()
{
    close();
}

void MainWindow::showup()
{
    // Closed, it is hidden as long as the log keeps the program running.
    show();
    setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    raise();
    activateWindow();
}
