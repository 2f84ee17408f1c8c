#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "fleet.h"
#include "mainwindow/mainwindow.h"
#include "testenvironment.h"
#include "windowbench.h"

#include <QAction>
#include <QHeaderView>
#include <QMessageBox>
#include <QMetaMethod>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;
using simulator::Fleet;

namespace {

/// Milliseconds that the network has for a round of discovery and readings.
constexpr int patience = 10000;

const QString mac1 = QStringLiteral("0E:5A:11:00:00:01");
const QString mac2 = QStringLiteral("0E:5A:11:00:00:02");
const QString mac3 = QStringLiteral("0E:5A:11:00:00:03");
const QString mac4 = QStringLiteral("0E:5A:11:00:00:04");
const QString mac5 = QStringLiteral("0E:5A:11:00:00:05");
const QStringList allMacs{mac1, mac2, mac3, mac4, mac5};
constexpr int fleetSize = 5;
const QString allAnswered = QStringLiteral("200 OK, 200 OK, 200 OK, 200 OK, 200 OK");

/// An answer to discovery that no device of the fleet gave.
DiscoveryDevice answerOf(const QString &mac, const QString &hostname, const QString &address = {})
{
    DiscoveryDevice record;
    record.setMacText(mac);
    record.setHostname(hostname);
    record.setAddress(QHostAddress(address));
    record.setVariant(16);
    return record;
}

} // namespace

class TestMainWindow : public QObject, private WindowTest
{
    Q_OBJECT

private slots:
    void init() { open(); }
    void cleanup() { close(); }

    void offersItsSlotsInTheirOrder();

    void listsNothingWithoutDevices();
    void fillsTheListWithLiveReadings();
    void keepsOneRowPerMac();
    void updatesTheRowAtALaterAnswer();
    void addsARowForAnUnknownMac();
    void asksOncePerRefresh();
    void asksOnlyDevicesThatAnswerDiscovery();
    void refreshesByKey();
    void refreshesByItself();
    void countsOutDevicesThatFallSilent();
    void countsADeviceInAgain();

    void allowsWhatTheSelectionAllows();
    void forbidsTheBrowserForSilentDevices();
    void removesSelectedRows();
    void bringsARemovedDeviceBack();
    void removesARowWhoseRequestIsOut();
    void closesWhileRequestsAreOut();
    void selectsAll();
    void keepsTheSelectionOnAClickIntoNowhere();

    void sortsByName();
    void keepsTheSelectionWhenSorted();
    void sortsByUptime();

    void offersAContextMenu_data();
    void offersAContextMenu();
    void opensTheWebInterfaceOnDoubleClick();
    void opensOneWebInterfaceWithoutAsking();
    void asksBeforeOpeningSeveral_data();
    void asksBeforeOpeningSeveral();
    void keepsTheOrderOfSelecting_data();
    void keepsTheOrderOfSelecting();
    void takesABlockFromTopToBottom_data();
    void takesABlockFromTopToBottom();
    void opensNothingWithoutAnAddress();
    void showsMarkupAsItIs();

    void comesToTheFront();
    void comesBackOnceItWasClosed();
    void closesOnExit();

private:
    /// Starts the fleet of five devices, which the options are for all of, and opens the window.
    void begin(simulator::DeviceOptions options = {}, simulator::FleetOptions fleetOptions = {});
    QString openedHosts() const;
    /// The status cells of the whole fleet, in the order of the devices.
    QString statuses() const;
    /// How many requests are out.
    int outstanding() const;
    void setAllPowered(bool on);
    /// Triggers a refresh and waits until the request has reached the fleet.
    void refresh();
};

void TestMainWindow::begin(simulator::DeviceOptions options, simulator::FleetOptions fleetOptions)
{
    m_fleet = std::make_unique<Fleet>(std::move(fleetOptions));
    options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x01};
    m_fleet->addDevices(fleetSize, options);
    m_fleet->start();
    m_bench = std::make_unique<WindowBench>();
}

QString TestMainWindow::statuses() const
{
    QStringList statuses;
    for (const QString &mac : allMacs) {
        statuses += m_bench->cell(mac, Column::Status);
    }
    return statuses.join(QLatin1String(", "));
}

int TestMainWindow::outstanding() const
{
    int count = 0;
    for (const QString &mac : allMacs) {
        const DeviceItem *const row = m_bench->row(mac);
        count += row && row->device().requestOutstanding() ? 1 : 0;
    }
    return count;
}

void TestMainWindow::setAllPowered(bool on)
{
    for (int i = 0; i < fleetSize; ++i) {
        m_fleet->setPowered(i, on);
    }
}

void TestMainWindow::refresh()
{
    const auto before = m_fleet->counters().discoveryRequests;
    m_bench->trigger("actionDiscover_devices");
    QTRY_VERIFY_WITH_TIMEOUT(m_fleet->counters().discoveryRequests > before, patience);
}

void TestMainWindow::offersItsSlotsInTheirOrder()
{
    const QList<QByteArray> expected{"onDevice(DiscoveryDevice)",
                                     "onDevListHeaderContextMenu(QPoint)",
                                     "resizeColumnsToContents()",
                                     "on_devList_customContextMenuRequested(QPoint)",
                                     "on_actionExit_triggered()",
                                     "on_actionDiscover_devices_triggered()",
                                     "on_devList_itemSelectionChanged()",
                                     "on_actionSave_Configs_triggered()",
                                     "on_actionUpdate_Firmware_triggered()",
                                     "on_actionToolbar_triggered(bool)",
                                     "on_actionAbout_NembraHub_triggered()",
                                     "on_actionSave_list_triggered()",
                                     "on_actionRemove_triggered()",
                                     "on_actionProgram_options_triggered()",
                                     "on_actionResize_columns_triggered()",
                                     "on_actionAuto_triggered(bool)",
                                     "on_actionWeb_interface_triggered()",
                                     "on_devList_itemDoubleClicked(QTreeWidgetItem*,int)",
                                     "on_actionUpload_config_triggered()",
                                     "on_actionConfigureDevice_triggered()",
                                     "on_actionFilter_triggered()",
                                     "on_actionApply_triggered()",
                                     "showup()",
                                     "on_actionSet_Login_triggered()",
                                     "on_filterToolBar_visibilityChanged(bool)",
                                     "on_mainToolBar_visibilityChanged(bool)",
                                     "loadDevices()",
                                     "on_actionAbout_QT_triggered()",
                                     "onLanguageChanged()",
                                     "on_actionFont_triggered()",
                                     "onIconSizeChange()",
                                     "on_actionSave_with_passwords_triggered()",
                                     "lateInit()",
                                     "on_actionDownload_CSV_triggered()",
                                     "on_actionReset_configuration_triggered()",
                                     "on_actionSelect_all_triggered()",
                                     "updateStatusBarAndMenu()",
                                     "updateVisibleColumns()",
                                     "on_actionFilterClose_triggered()",
                                     "on_actionStatusbar_triggered(bool)",
                                     "on_actionFullscreen_triggered(bool)",
                                     "onFocusChanged(QWidget*,QWidget*)",
                                     "on_actionSyslog_triggered()",
                                     "on_logClosed()"};
    const QMetaObject &meta = MainWindow::staticMetaObject;
    QList<QByteArray> slots_;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Slot) {
            slots_ += meta.method(i).methodSignature();
        }
    }
    QCOMPARE(expected.size(), 44);
    for (int i = 0; i < expected.size(); ++i) {
        QCOMPARE(slots_.value(i), expected.at(i));
    }
    QCOMPARE(slots_.size(), 44);
}

void TestMainWindow::listsNothingWithoutDevices()
{
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(m_bench->list().topLevelItemCount(), 0);
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/0"));
    for (const char *const name : {"actionConfigureDevice", "actionWeb_interface", "actionRemove",
                                   "actionSet_Login", "actionSave_Configs", "actionSave_with_passwords",
                                   "actionDownload_CSV", "actionUpload_config", "actionUpdate_Firmware"}) {
        QVERIFY2(!m_bench->action(name)->isEnabled(), name);
    }
    for (const char *const name :
         {"actionDiscover_devices", "actionSelect_all", "actionExit", "actionFilter", "actionAuto",
          "actionResize_columns", "actionFont", "actionFullscreen", "actionReset_configuration"}) {
        QVERIFY2(m_bench->action(name)->isEnabled(), name);
    }
}

void TestMainWindow::fillsTheListWithLiveReadings()
{
    simulator::DeviceOptions options;
    options.variables = {{"fw_version", "3.1.2"}};
    begin(options);
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    QCOMPARE(m_bench->list().topLevelItemCount(), fleetSize);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->statusText(), QStringLiteral("Active devices: 5/5"), patience);
    for (int i = 0; i < fleetSize; ++i) {
        const QString &mac = allMacs.at(i);
        QCOMPARE(m_bench->cell(mac, 0), QString::fromStdString(m_fleet->device(i).hostName));
        QCOMPARE(m_bench->cell(mac, 1), QStringLiteral("10.77.128.%1").arg(i + 1));
        QCOMPARE(m_bench->cell(mac, 7), QStringLiteral("3.1.2"));
        QVERIFY(!m_bench->cell(mac, 9).isEmpty());
    }
}

void TestMainWindow::keepsOneRowPerMac()
{
    simulator::FleetOptions fleetOptions;
    fleetOptions.answerCopies = 3;
    begin({}, fleetOptions);
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    refresh();
    // The answers to the first request and the copies of the second.
    QTRY_VERIFY_WITH_TIMEOUT(m_fleet->counters().answersSent >= 6UL * fleetSize, patience);
    for (int i = 0; i < fleetSize; ++i) {
        QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(i).size(), std::size_t(2), patience);
    }
    QCOMPARE(m_bench->list().topLevelItemCount(), fleetSize);
    QStringList macs = m_bench->column(Column::Mac);
    macs.sort();
    QCOMPARE(macs, allMacs);
}

void TestMainWindow::updatesTheRowAtALaterAnswer()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    const QDateTime firstSeen = m_bench->row(mac2)->data(Column::FirstSeen, Qt::DisplayRole).toDateTime();
    m_fleet->change(1, [](simulator::DeviceOptions &options) { options.hostName = "renamed"; });
    refresh();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac2, Column::SystemName), QStringLiteral("renamed"), patience);
    QCOMPARE(m_bench->list().topLevelItemCount(), fleetSize);
    const DeviceItem *const row = m_bench->row(mac2);
    QCOMPARE(row->data(Column::FirstSeen, Qt::DisplayRole).toDateTime(), firstSeen);
    QVERIFY(row->data(Column::LastSeen, Qt::DisplayRole).toDateTime() > firstSeen);
}

void TestMainWindow::addsARowForAnUnknownMac()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_bench->window().onDevice(answerOf(QStringLiteral("0E:5A:11:00:00:AA"), QStringLiteral("new")));
    QCOMPARE(m_bench->list().topLevelItemCount(), fleetSize + 1);
    QCOMPARE(m_bench->cell(QStringLiteral("0E:5A:11:00:00:AA"), Column::SystemName), QStringLiteral("new"));
    m_bench->window().onDevice(answerOf(QStringLiteral("0E:5A:11:00:00:AA"), QStringLiteral("newer")));
    QCOMPARE(m_bench->list().topLevelItemCount(), fleetSize + 1);
    QCOMPARE(m_bench->cell(QStringLiteral("0E:5A:11:00:00:AA"), Column::SystemName), QStringLiteral("newer"));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 6/6"));
}

void TestMainWindow::asksOncePerRefresh()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    for (int round = 2; round <= 4; ++round) {
        refresh();
        for (int i = 0; i < fleetSize; ++i) {
            QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(i).size(), static_cast<std::size_t>(round), patience);
        }
        QTRY_COMPARE_WITH_TIMEOUT(outstanding(), 0, patience);
    }
    for (const simulator::HttpRecord &request : m_fleet->journal().requests) {
        QCOMPARE(request.method, std::string("POST"));
        QCOMPARE(request.target, std::string("/admin/proctpl.cgi"));
    }
}

void TestMainWindow::asksOnlyDevicesThatAnswerDiscovery()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_fleet->change(0, [](simulator::DeviceOptions &options) { options.silent = true; });
    m_fleet->clearJournal();
    refresh();
    for (int i = 1; i < fleetSize; ++i) {
        QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(i).size(), std::size_t(1), patience);
    }
    QCOMPARE(m_fleet->requests(0).size(), std::size_t(0));
    QCOMPARE(m_bench->row(mac1)->device().discoveryAge(), 1);
    QCOMPARE(m_bench->row(mac1)->device().queryPending(), true);
    QCOMPARE(m_bench->row(mac2)->device().queryPending(), false);
}

void TestMainWindow::refreshesByKey()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    const auto before = m_fleet->counters().discoveryRequests;
    QTest::keyClick(&m_bench->window(), Qt::Key_F5);
    QTRY_VERIFY_WITH_TIMEOUT(m_fleet->counters().discoveryRequests > before, patience);
}

void TestMainWindow::refreshesByItself()
{
    settings::setValue(settings::scanAutoUpdate, true);
    settings::setValue(settings::scanAutoUpdateInterval, 0.2);
    begin();
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), true);
    for (int i = 0; i < fleetSize; ++i) {
        QTRY_VERIFY_WITH_TIMEOUT(m_fleet->requests(i).size() >= 4, patience);
    }
    QCOMPARE(m_bench->list().topLevelItemCount(), fleetSize);
}

void TestMainWindow::countsOutDevicesThatFallSilent()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->statusText(), QStringLiteral("Active devices: 5/5"), patience);
    setAllPowered(false);
    m_bench->trigger("actionDiscover_devices");
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 5/5"));
    m_bench->trigger("actionDiscover_devices");
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/5"));
    QCOMPARE(m_bench->list().topLevelItemCount(), fleetSize);
    m_bench->list().selectAll();
    for (const char *const name : {"actionConfigureDevice", "actionWeb_interface", "actionSet_Login",
                                   "actionSave_Configs", "actionSave_with_passwords", "actionDownload_CSV",
                                   "actionUpload_config", "actionUpdate_Firmware"}) {
        QVERIFY2(!m_bench->action(name)->isEnabled(), name);
    }
    QCOMPARE(m_bench->action("actionRemove")->isEnabled(), true);
}

void TestMainWindow::countsADeviceInAgain()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    setAllPowered(false);
    m_bench->trigger("actionDiscover_devices");
    m_bench->trigger("actionDiscover_devices");
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/5"));
    m_fleet->setPowered(2, true);
    refresh();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->statusText(), QStringLiteral("Active devices: 1/5"), patience);
    QCOMPARE(m_bench->row(mac3)->device().dataAge(), 0);
}

void TestMainWindow::allowsWhatTheSelectionAllows()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    const QAction *const remove = m_bench->action("actionRemove");
    const QAction *const web = m_bench->action("actionWeb_interface");
    QCOMPARE(remove->isEnabled(), false);
    QCOMPARE(web->isEnabled(), false);

    m_bench->select({mac1});
    QCOMPARE(remove->isEnabled(), true);
    QCOMPARE(web->isEnabled(), true);

    m_bench->select({mac1, mac2, mac3});
    QCOMPARE(remove->isEnabled(), true);
    QCOMPARE(web->isEnabled(), true);

    m_bench->select({});
    QCOMPARE(remove->isEnabled(), false);
    QCOMPARE(web->isEnabled(), false);
}

void TestMainWindow::forbidsTheBrowserForSilentDevices()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_fleet->setPowered(0, false);
    m_bench->select({mac1});
    const QAction *const web = m_bench->action("actionWeb_interface");
    m_bench->trigger("actionDiscover_devices");
    QCOMPARE(web->isEnabled(), true);
    m_bench->trigger("actionDiscover_devices");
    QCOMPARE(web->isEnabled(), false);
    QCOMPARE(m_bench->action("actionRemove")->isEnabled(), true);

    QTRY_COMPARE_WITH_TIMEOUT(m_bench->row(mac2)->device().discoveryAge(), 0, patience);
    m_bench->select({mac2});
    QCOMPARE(web->isEnabled(), true);
    m_bench->select({mac1, mac2});
    QCOMPARE(web->isEnabled(), false);

    // The next answer lifts it, without a touch.
    m_fleet->setPowered(0, true);
    refresh();
    QTRY_COMPARE_WITH_TIMEOUT(web->isEnabled(), true, patience);
}

void TestMainWindow::removesSelectedRows()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_bench->select({mac2, mac4});
    QTest::keyClick(&m_bench->window(), Qt::Key_Delete);
    QCOMPARE(m_bench->list().topLevelItemCount(), 3);
    QVERIFY(!m_bench->row(mac2));
    QVERIFY(!m_bench->row(mac4));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 3/3"));
    m_bench->list().selectAll();
    m_bench->trigger("actionRemove");
    QCOMPARE(m_bench->list().topLevelItemCount(), 0);
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/0"));
    QCOMPARE(m_bench->action("actionRemove")->isEnabled(), false);
}

void TestMainWindow::bringsARemovedDeviceBack()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_bench->select({mac3});
    m_bench->trigger("actionRemove");
    QVERIFY(!m_bench->row(mac3));
    const QDateTime removed = QDateTime::currentDateTime();
    refresh();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac3, Column::Status), QStringLiteral("200 OK"), patience);
    const QDateTime firstSeen = m_bench->row(mac3)->data(Column::FirstSeen, Qt::DisplayRole).toDateTime();
    QVERIFY2(firstSeen >= removed, qPrintable(firstSeen.toString(Qt::ISODateWithMs)));
    QCOMPARE(m_bench->list().topLevelItemCount(), fleetSize);
    QCOMPARE(m_bench->selectedMacs(), QStringList());
}

void TestMainWindow::removesARowWhoseRequestIsOut()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_fleet->addFault(0, Fault::hang());
    m_fleet->clearJournal();
    refresh();
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(1), patience);
    m_bench->select({mac1});
    m_bench->trigger("actionRemove");
    QCOMPARE(m_bench->list().topLevelItemCount(), 4);

    QCOMPARE(orphanedManagers().size(), 1);
    const QPointer<QNetworkAccessManager> manager = orphanedManagers().constFirst();
    // The device reboots, which ends the request, and comes back.
    m_fleet->setPowered(0, false);
    QTRY_VERIFY_WITH_TIMEOUT(manager.isNull(), patience);
    m_fleet->clearFaults();
    m_fleet->setPowered(0, true);
    refresh();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac1, Column::Status), QStringLiteral("200 OK"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->statusText(), QStringLiteral("Active devices: 5/5"), patience);
}

void TestMainWindow::closesWhileRequestsAreOut()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_fleet->addFault(Fault::hang());
    m_fleet->clearJournal();
    refresh();
    for (int i = 0; i < fleetSize; ++i) {
        QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(i).size(), std::size_t(1), patience);
    }
    m_bench->list().selectAll();
    m_bench->destroyWindow();
    QCOMPARE(orphanedManagers().size(), fleetSize);
    m_fleet->stop();
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
}

void TestMainWindow::selectsAll()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    QTest::keyClick(&m_bench->window(), Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(m_bench->selectedMacs(), allMacs);
    m_bench->select({mac2});
    m_bench->trigger("actionSelect_all");
    QCOMPARE(m_bench->selectedMacs(), allMacs);
}

void TestMainWindow::keepsTheSelectionOnAClickIntoNowhere()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    QWidget *const viewport = m_bench->list().viewport();
    QTest::mouseClick(viewport, Qt::LeftButton, {}, m_bench->middleOf(mac2, Column::SystemName));
    QCOMPARE(m_bench->selectedMacs(), QStringList{mac2});
    const QPoint nowhere(20, viewport->height() - 3);
    QVERIFY(!m_bench->list().indexAt(nowhere).isValid());
    QTest::mouseClick(viewport, Qt::LeftButton, {}, nowhere);
    QCOMPARE(m_bench->selectedMacs(), QStringList{mac2});
    QTest::mouseClick(viewport, Qt::LeftButton, {}, m_bench->middleOf(mac3, Column::SystemName));
    QCOMPARE(m_bench->selectedMacs(), QStringList{mac3});
}

void TestMainWindow::sortsByName()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    const std::vector<const char *> names{"delta", "alpha", "echo", "charlie", "bravo"};
    for (int i = 0; i < fleetSize; ++i) {
        const std::string name = names.at(static_cast<std::size_t>(i));
        m_fleet->change(i, [name](simulator::DeviceOptions &options) { options.hostName = name; });
    }
    refresh();
    const QStringList sorted{QStringLiteral("alpha"), QStringLiteral("bravo"), QStringLiteral("charlie"),
                             QStringLiteral("delta"), QStringLiteral("echo")};
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->column(Column::SystemName), sorted, patience);
    // A new row finds its place, too.
    m_bench->window().onDevice(answerOf(QStringLiteral("0E:5A:11:00:00:AA"), QStringLiteral("candle")));
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->column(Column::SystemName).value(2), QStringLiteral("candle"),
                              patience);
}

void TestMainWindow::keepsTheSelectionWhenSorted()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_bench->select({mac2, mac5});
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->list().hasChanges(), false, patience);
    QHeaderView *const header = m_bench->list().header();
    const auto clickHeader = [header](int column) {
        const QPoint middle(header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
                            header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, middle);
    };
    clickHeader(Column::Mac);
    QCOMPARE(m_bench->column(Column::Mac), (QStringList{mac1, mac2, mac3, mac4, mac5}));
    QCOMPARE(m_bench->selectedMacs(), (QStringList{mac2, mac5}));
    clickHeader(Column::Mac);
    QCOMPARE(m_bench->column(Column::Mac), (QStringList{mac5, mac4, mac3, mac2, mac1}));
    QCOMPARE(m_bench->selectedMacs(), (QStringList{mac2, mac5}));
}

void TestMainWindow::sortsByUptime()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    const std::vector<const char *> days{"5", "3", "9", "1", "7"};
    for (int i = 0; i < fleetSize; ++i) {
        m_fleet->setVariable(i, "uptime_d", days.at(static_cast<std::size_t>(i)));
        m_fleet->setVariable(i, "uptime_h", "0");
        m_fleet->setVariable(i, "uptime_m", "0");
        m_fleet->setVariable(i, "uptime_s", "0");
    }
    m_bench->list().sortByColumn(Column::Uptime, Qt::AscendingOrder);
    refresh();
    const QStringList sorted{QStringLiteral("1d 0h 0m 0s"), QStringLiteral("3d 0h 0m 0s"),
                             QStringLiteral("5d 0h 0m 0s"), QStringLiteral("7d 0h 0m 0s"),
                             QStringLiteral("9d 0h 0m 0s")};
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->column(Column::Uptime), sorted, patience);
    QCOMPARE(m_bench->column(Column::Mac), (QStringList{mac4, mac2, mac1, mac5, mac3}));
}

void TestMainWindow::offersAContextMenu_data()
{
    QTest::addColumn<bool>("selected");
    QTest::addColumn<QString>("menu");
    QTest::newRow("nothing selected") << false << "Refresh list | Select all | -";
    // An action stands in a menu once, at its last place.
    QTest::newRow("a row selected")
        << true
        << "- | Refresh list | Select all | Remove selected | Filter | - | Web interface | "
           "Configure (Network | User login) | Download (Configuration | Configuration + passwords | "
           "Data (CSV format)) | Upload (Configuration | Firmware) | - | Save list | Exit";
}

void TestMainWindow::offersAContextMenu()
{
    QFETCH(bool, selected);
    QFETCH(QString, menu);
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    if (selected) {
        m_bench->select({mac1});
    }
    PopupReader reader;
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5));
    QCoreApplication::sendEvent(m_bench->list().viewport(), &event);
    QCOMPARE(reader.menus(), QStringList{menu});
}

void TestMainWindow::opensTheWebInterfaceOnDoubleClick()
{
    settings::setValue(settings::scanHttpPort, 8080);
    simulator::FleetOptions fleetOptions;
    fleetOptions.httpPort = 8080;
    begin({}, fleetOptions);
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    BrowserCatcher browser;
    const BoxAnswerer boxes(QMessageBox::Yes);
    const QPoint row = m_bench->middleOf(mac3, Column::Ip);
    QWidget *const viewport = m_bench->list().viewport();
    QTest::mouseClick(viewport, Qt::LeftButton, {}, row);
    QTest::mouseDClick(viewport, Qt::LeftButton, {}, row);
    QCOMPARE(browser.urls(), QStringList{QStringLiteral("http://10.77.128.3:8080/")});
    QCOMPARE(boxes.texts(), QStringList());
}

void TestMainWindow::opensOneWebInterfaceWithoutAsking()
{
    simulator::DeviceOptions options;
    options.redirectToHttps = true;
    begin(options);
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    BrowserCatcher browser;
    const BoxAnswerer boxes(QMessageBox::Yes);
    m_bench->select({mac4});
    QTest::keyClick(&m_bench->window(), Qt::Key_W, Qt::AltModifier);
    QCOMPARE(browser.urls(), QStringList{QStringLiteral("https://10.77.128.4:443/")});
    QCOMPARE(boxes.texts(), QStringList());
}

void TestMainWindow::asksBeforeOpeningSeveral_data()
{
    QTest::addColumn<int>("button");
    QTest::addColumn<QStringList>("urls");
    QTest::newRow("yes") << int(QMessageBox::Yes)
                         << QStringList{QStringLiteral("http://10.77.128.5:80/"),
                                        QStringLiteral("http://10.77.128.1:80/"),
                                        QStringLiteral("http://10.77.128.3:80/")};
    QTest::newRow("no") << int(QMessageBox::No) << QStringList();
}

void TestMainWindow::asksBeforeOpeningSeveral()
{
    QFETCH(int, button);
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    BrowserCatcher browser;
    const BoxAnswerer boxes(button);
    m_bench->select({mac5, mac1, mac3});
    m_bench->trigger("actionWeb_interface");
    QCOMPARE(boxes.texts(), QStringList{QStringLiteral("Really open 3 devices in browser?")});
    QCOMPARE(boxes.titles(), QStringList{QString()});
    QTEST(browser.urls(), "urls");
}

/// The last digits of the devices whose web interfaces an operation on the selection opens, in its order.
QString TestMainWindow::openedHosts() const
{
    BrowserCatcher browser;
    const BoxAnswerer boxes(QMessageBox::Yes);
    m_bench->trigger("actionWeb_interface");
    QString hosts;
    const QStringList urls = browser.urls();
    for (const QString &url : urls) {
        hosts += QUrl(url).host().back();
    }
    return hosts;
}

void TestMainWindow::keepsTheOrderOfSelecting_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("hosts");
    // A digit: a device is selected, too; "s": sorted the other way; "a": all; "-": none; "u": a device is
    // taken out of the selection.
    QTest::newRow("one by one") << "513"
                                << "513";
    QTest::newRow("sorted then") << "513s"
                                 << "513";
    QTest::newRow("sorted twice") << "513ss"
                                  << "513";
    QTest::newRow("sorted in between") << "51s3"
                                       << "513";
    QTest::newRow("anew after sorting") << "51s-31"
                                        << "31";
    QTest::newRow("without one") << "512su1"
                                 << "52";
    QTest::newRow("taken out and back") << "512u5s5"
                                        << "125";
    QTest::newRow("all") << "a"
                         << "12345";
    QTest::newRow("all after one") << "4a"
                                   << "12345";
    QTest::newRow("all, then sorted") << "4as"
                                      << "12345";
    QTest::newRow("sorted, then all") << "4sa"
                                      << "54321";
}

void TestMainWindow::keepsTheOrderOfSelecting()
{
    QFETCH(QString, steps);
    QFETCH(QString, hosts);
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    DeviceList &list = m_bench->list();
    list.sortByColumn(Column::Mac, Qt::AscendingOrder);
    bool takesOut = false;
    for (const QChar step : qAsConst(steps)) {
        if (step == QLatin1Char('s')) {
            const bool ascends = list.header()->sortIndicatorOrder() == Qt::AscendingOrder;
            list.sortByColumn(Column::Mac, ascends ? Qt::DescendingOrder : Qt::AscendingOrder);
        } else if (step == QLatin1Char('a')) {
            m_bench->trigger("actionSelect_all");
        } else if (step == QLatin1Char('-')) {
            list.clearSelection();
        } else if (step == QLatin1Char('u')) {
            takesOut = true;
        } else {
            m_bench->row(QStringLiteral("0E:5A:11:00:00:0") + step)->setSelected(!takesOut);
            takesOut = false;
        }
    }
    QCOMPARE(openedHosts(), hosts);
}

void TestMainWindow::takesABlockFromTopToBottom_data()
{
    QTest::addColumn<QString>("clicks");
    QTest::addColumn<int>("hidden");
    QTest::addColumn<QString>("hosts");
    // "+": the next click is with Shift; "&": with Control; "#": with both.
    QTest::newRow("downwards") << "2+4" << 0 << "234";
    QTest::newRow("upwards") << "4+2" << 0 << "234";
    QTest::newRow("a second block") << "5&3#1" << 0 << "5123";
    // Two blocks to the list, of which one was there before.
    QTest::newRow("around a hidden row") << "4+1" << 3 << "412";
}

void TestMainWindow::takesABlockFromTopToBottom()
{
    QFETCH(QString, clicks);
    QFETCH(int, hidden);
    QFETCH(QString, hosts);
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    m_bench->list().sortByColumn(Column::Mac, Qt::AscendingOrder);
    if (hidden > 0) {
        m_bench->list().topLevelItem(hidden - 1)->setHidden(true);
    }
    const QMap<QChar, Qt::KeyboardModifiers> signs{
        {QLatin1Char('+'), Qt::ShiftModifier},
        {QLatin1Char('&'), Qt::ControlModifier},
        {QLatin1Char('#'), Qt::ShiftModifier | Qt::ControlModifier}};
    Qt::KeyboardModifiers modifiers;
    for (const QChar click : qAsConst(clicks)) {
        if (signs.contains(click)) {
            modifiers = signs.value(click);
            continue;
        }
        QTest::mouseClick(m_bench->list().viewport(), Qt::LeftButton, modifiers,
                          m_bench->middleOf(QStringLiteral("0E:5A:11:00:00:0") + click, Column::Ip));
        modifiers = {};
    }
    QCOMPARE(openedHosts(), hosts);
}

void TestMainWindow::opensNothingWithoutAnAddress()
{
    m_bench = std::make_unique<WindowBench>();
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("no address")));
    BrowserCatcher browser;
    m_bench->window().on_devList_itemDoubleClicked(m_bench->row(mac1), 0);
    m_bench->window().on_devList_itemDoubleClicked(nullptr, 0);
    m_bench->select({mac1});
    m_bench->trigger("actionWeb_interface");
    QCOMPARE(browser.urls(), QStringList());
}

void TestMainWindow::showsMarkupAsItIs()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), allAnswered, patience);
    const char *const markup = "<b>bold</b>&amp;<img src=\"x\">";
    m_fleet->change(0, [markup](simulator::DeviceOptions &options) { options.hostName = markup; });
    refresh();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac1, Column::SystemName), QString::fromLatin1(markup), patience);
    BrowserCatcher browser;
    const BoxAnswerer boxes(QMessageBox::No);
    m_bench->select({mac1, mac2});
    m_bench->trigger("actionWeb_interface");
    QCOMPARE(boxes.texts().size(), 1);
    QCOMPARE(boxes.allPlain(), true);
}

void TestMainWindow::comesToTheFront()
{
    m_bench = std::make_unique<WindowBench>();
    m_bench->window().setWindowState(Qt::WindowMinimized);
    QVERIFY(m_bench->window().isMinimized());
    m_bench->window().showup();
    QVERIFY(!m_bench->window().isMinimized());
    QTRY_VERIFY_WITH_TIMEOUT(m_bench->window().isActiveWindow(), patience);
}

void TestMainWindow::comesBackOnceItWasClosed()
{
    // The log of the devices keeps the program running.
    m_bench = std::make_unique<WindowBench>();
    m_bench->trigger("actionSyslog");
    MainWindow &window = m_bench->window();
    window.close();
    QVERIFY(!window.isVisible());
    window.showup();
    QVERIFY(window.isVisible());
    QVERIFY(!window.isMinimized());
    QTRY_VERIFY_WITH_TIMEOUT(window.isActiveWindow(), patience);
}

void TestMainWindow::closesOnExit()
{
    m_bench = std::make_unique<WindowBench>();
    m_bench->trigger("actionExit");
    QVERIFY(!m_bench->window().isVisible());
}

NEMBRA_GUI_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
