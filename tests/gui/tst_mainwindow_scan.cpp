#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/devicelist.h"
#include "fleet.h"
#include "mainwindow/mainwindow.h"
#include "mainwindow/settingsdialog.h"
#include "testenvironment.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QTcpServer>
#include <QTcpSocket>
#include <QToolBar>
#include <QUdpSocket>
#include <QtTest>

#include <functional>
#include <limits>
#include <memory>
#include <vector>

using namespace std::chrono_literals;
using simulator::Fault;
using simulator::Fleet;

namespace {

/// Milliseconds that the network has for a round of discovery and readings.
constexpr int patience = 10000;
/// A request leaves for the limited and for the directed broadcast address.
constexpr std::uint64_t copies = 2;

const QString mac1 = QStringLiteral("0E:5A:11:00:00:01");
const QString mac2 = QStringLiteral("0E:5A:11:00:00:02");
const QString farMac = QStringLiteral("0E:5A:11:00:01:01");
const QString answered = QStringLiteral("200 OK");

/// Notes the repeating timers that fire as long as it lives.
class TimerWatcher final : public QObject
{
public:
    TimerWatcher() { qApp->installEventFilter(this); }
    /// Null while none of that interval has fired.
    QTimer *timer(int interval) const { return m_timers.value(interval); }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *const timer = event->type() == QEvent::Timer ? qobject_cast<QTimer *>(watched) : nullptr;
        if (timer && !timer->isSingleShot()) {
            m_timers.insert(timer->interval(), timer);
        }
        return false;
    }

private:
    QMap<int, QPointer<QTimer>> m_timers;
};

/// Web servers that take every request and never answer, one for each of the first two devices.
class SilentServers final
{
public:
    explicit SilentServers(quint16 port)
    {
        for (const char *const address : {"10.77.128.1", "10.77.128.2"}) {
            m_servers.push_back(std::make_unique<QTcpServer>());
            QTcpServer &server = *m_servers.back();
            m_listening = server.listen(QHostAddress(QLatin1String(address)), port) && m_listening;
            QObject::connect(&server, &QTcpServer::newConnection, &server,
                             [this, &server] { m_connections += server.nextPendingConnection(); });
        }
    }
    bool isListening() const { return m_listening; }
    /// How many connections have brought a request and are still open.
    int waiting() const
    {
        int count = 0;
        for (const QTcpSocket *const connection : m_connections) {
            count +=
                connection->bytesAvailable() > 0 && connection->state() == QAbstractSocket::ConnectedState
                    ? 1
                    : 0;
        }
        return count;
    }

private:
    std::vector<std::unique_ptr<QTcpServer>> m_servers;
    QList<QTcpSocket *> m_connections;
    bool m_listening = true;
};

void click(const QDialog &dialog, const char *button)
{
    dialog.findChild<QPushButton *>(QLatin1String(button))->click();
}

void accept(const QDialog &dialog)
{
    click(dialog, "pushButtonOK");
}

void cancel(const QDialog &dialog)
{
    click(dialog, "pushButtonCancel");
}

void setNumber(const QDialog &dialog, const char *field, int number)
{
    dialog.findChild<QSpinBox *>(QLatin1String(field))->setValue(number);
}

void setSwitch(const QDialog &dialog, const char *field, bool on)
{
    dialog.findChild<QCheckBox *>(QLatin1String(field))->setChecked(on);
}

QVariant stored(const char *key)
{
    return settings::store().value(QLatin1String(key));
}

} // namespace

class TestMainWindowScan : public QObject, private WindowTest
{
    Q_OBJECT

private slots:
    void init() { open(); }
    void cleanup() { close(); }

    void opensTheOptionsByKey();
    void opensAModalDialogWithoutAParent();
    void showsTheStateOfTheToolBar_data();
    void showsTheStateOfTheToolBar();
    void keepsTheStateOfTheToolBarWhenCancelled();
    void changesNothingWhenCancelled();
    void asksOnTheNewPortAtOnce();
    void refreshesOnceEvenWhenNothingChanged();
    void givesUpQueriesThatAreOut();
    void keepsQueriesThatAreOutWhenCancelled();
    void forgetsTheWayByHttps();
    void readsInExtendedResolution();
    void saysWhyNoDeviceIsThere();
    void survivesAPortThatCannotBeUsed_data();
    void survivesAPortThatCannotBeUsed();
    void goesOnWhileTheOptionsAreOpen();

    void startsTheTimerByTheOptions();
    void stopsTheTimerByTheOptions();
    void doesNotStoreWhatTheToolBarSwitches();
    void cutsTheIntervalToMilliseconds_data();
    void cutsTheIntervalToMilliseconds();
    void takesTheStoredIconSizeWithTheOptions();

private:
    /// Starts a fleet of two devices and opens the window.
    void begin(simulator::FleetOptions fleetOptions = {}, simulator::DeviceOptions options = {});
    /// Opens the options as a user does; `use` closes them.
    void options(const std::function<void(QDialog &)> &use);
    QStringList statuses() const;
    int outstanding() const;
};

void TestMainWindowScan::begin(simulator::FleetOptions fleetOptions, simulator::DeviceOptions options)
{
    m_fleet = std::make_unique<Fleet>(std::move(fleetOptions));
    options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x01};
    m_fleet->addDevices(2, options);
    m_fleet->start();
    m_bench = std::make_unique<WindowBench>();
}

void TestMainWindowScan::options(const std::function<void(QDialog &)> &use)
{
    bool used = false;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&used, &use] {
        auto *const dialog = qobject_cast<SettingsDialog *>(QApplication::activeModalWidget());
        if (dialog && !used) {
            used = true;
            use(*dialog);
            // Where `use` failed.
            if (dialog->isVisible()) {
                dialog->reject();
            }
        }
    });
    timer.start(5);
    m_bench->trigger("actionProgram_options");
    QVERIFY(used);
}

QStringList TestMainWindowScan::statuses() const
{
    return {m_bench->cell(mac1, Column::Status), m_bench->cell(mac2, Column::Status)};
}

int TestMainWindowScan::outstanding() const
{
    int count = 0;
    for (const QString &mac : {mac1, mac2}) {
        const DeviceItem *const row = m_bench->row(mac);
        count += row && row->device().requestOutstanding() ? 1 : 0;
    }
    return count;
}

void TestMainWindowScan::opensTheOptionsByKey()
{
    m_bench = std::make_unique<WindowBench>();
    QString title;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&title] {
        if (auto *const dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget())) {
            title = dialog->windowTitle();
            QTest::keyClick(dialog, Qt::Key_Escape);
        }
    });
    timer.start(5);
    QTest::keyClick(&m_bench->window(), Qt::Key_F7);
    QCOMPARE(title, QStringLiteral("Scan options"));
    QVERIFY(!QApplication::activeModalWidget());
}

void TestMainWindowScan::opensAModalDialogWithoutAParent()
{
    m_bench = std::make_unique<WindowBench>();
    QPointer<QDialog> opened;
    options([&opened](QDialog &dialog) {
        opened = &dialog;
        QVERIFY(dialog.isModal());
        QVERIFY(!dialog.parent());
        cancel(dialog);
    });
    // It went with the action.
    QVERIFY(opened.isNull());
}

void TestMainWindowScan::showsTheStateOfTheToolBar_data()
{
    QTest::addColumn<bool>("storedBefore");
    QTest::addColumn<bool>("inTheToolBar");
    QTest::newRow("switched on") << false << true;
    QTest::newRow("switched off") << true << false;
    QTest::newRow("still on") << true << true;
    QTest::newRow("still off") << false << false;
}

void TestMainWindowScan::showsTheStateOfTheToolBar()
{
    QFETCH(bool, storedBefore);
    QFETCH(bool, inTheToolBar);
    settings::setValue(settings::scanAutoUpdate, storedBefore);
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), storedBefore);
    if (storedBefore != inTheToolBar) {
        m_bench->trigger("actionAuto");
    }
    bool shown = !inTheToolBar;
    bool storedWhileOpen = !inTheToolBar;
    options([&](const QDialog &dialog) {
        shown = dialog.findChild<QCheckBox *>(QStringLiteral("checkBoxAutoUpdate"))->isChecked();
        storedWhileOpen = stored("Scan/AutoUpdate").toBool();
        cancel(dialog);
    });
    QCOMPARE(shown, inTheToolBar);
    QCOMPARE(storedWhileOpen, inTheToolBar);
    QCOMPARE(stored("Scan/AutoUpdate"), QVariant(inTheToolBar));
}

void TestMainWindowScan::keepsTheStateOfTheToolBarWhenCancelled()
{
    m_bench = std::make_unique<WindowBench>();
    m_bench->trigger("actionAuto");
    options([](const QDialog &dialog) {
        setSwitch(dialog, "checkBoxAutoUpdate", false);
        cancel(dialog);
    });
    QCOMPARE(stored("Scan/AutoUpdate"), QVariant(true));
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), true);
}

void TestMainWindowScan::changesNothingWhenCancelled()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    const auto before = m_fleet->counters().discoveryRequests;
    QCOMPARE(before, copies);
    options([](const QDialog &dialog) {
        setNumber(dialog, "spinBoxDiscoveryPort", 9900);
        setNumber(dialog, "spinBoxHTTPPort", 8080);
        cancel(dialog);
    });
    QCOMPARE(settings::store().value(QStringLiteral("Scan/Port")), QVariant());
    QCOMPARE(m_bench->row(mac1)->device().discoveryAge(), 0);
    QCOMPARE(m_bench->row(mac1)->device().webInterfaceUrl(), QStringLiteral("http://10.77.128.1:80/"));
    // The next request is the second one, and it goes where the first one went.
    m_bench->trigger("actionDiscover_devices");
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(2), patience);
    QCOMPARE(m_fleet->counters().discoveryRequests, 2 * copies);
}

void TestMainWindowScan::asksOnTheNewPortAtOnce()
{
    simulator::FleetOptions farOptions;
    farOptions.baseAddress = 0x0A4D8101; // 10.77.129.1
    farOptions.discoveryPort = 9900;
    farOptions.httpPort = 8080;
    Fleet far(farOptions);
    simulator::DeviceOptions farDevice;
    farDevice.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x01, 0x01};
    far.addDevice(farDevice);
    far.start();
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    QCOMPARE(m_bench->list().topLevelItemCount(), 2);
    QCOMPARE(far.counters().discoveryRequests, std::uint64_t(0));

    options([](const QDialog &dialog) {
        setNumber(dialog, "spinBoxDiscoveryPort", 9900);
        setNumber(dialog, "spinBoxHTTPPort", 8080);
        accept(dialog);
    });
    // Without a further touch, and once; the answer arrives on the new port, too.
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(farMac, Column::Status), answered, patience);
    QCOMPARE(far.counters().discoveryRequests, copies);
    QCOMPARE(far.requests(0).size(), std::size_t(1));
    for (const simulator::DatagramRecord &request : far.journal().datagrams) {
        QCOMPARE(simulator::addressText(request.sender), std::string("10.77.0.1"));
    }
    // Nothing went to the old one.
    QCOMPARE(m_fleet->counters().discoveryRequests, copies);
    QCOMPARE(m_bench->row(mac1)->device().discoveryAge(), 1);
    QCOMPARE(m_bench->row(mac1)->device().queryPending(), true);
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 3/3"));
}

void TestMainWindowScan::refreshesOnceEvenWhenNothingChanged()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    options(accept);
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(2), patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(1).size(), std::size_t(2), patience);
    QCOMPARE(m_fleet->counters().discoveryRequests, 2 * copies);
    QCOMPARE(settings::store().value(QStringLiteral("Scan/Port")), QVariant(9806));
}

void TestMainWindowScan::givesUpQueriesThatAreOut()
{
    const SilentServers silent(80);
    QVERIFY(silent.isListening());
    simulator::FleetOptions fleetOptions;
    fleetOptions.httpPort = 8080;
    begin(fleetOptions);
    QTRY_COMPARE_WITH_TIMEOUT(silent.waiting(), 2, patience);
    QCOMPARE(outstanding(), 2);
    options([](const QDialog &dialog) {
        setNumber(dialog, "spinBoxHTTPPort", 8080);
        accept(dialog);
    });
    QCOMPARE(outstanding(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(silent.waiting(), 0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    QCOMPARE(m_fleet->requests(0).size(), std::size_t(1));
    QCOMPARE(m_fleet->requests(1).size(), std::size_t(1));
}

void TestMainWindowScan::keepsQueriesThatAreOutWhenCancelled()
{
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    m_fleet->addFault(Fault::hang());
    m_fleet->clearJournal();
    m_bench->trigger("actionDiscover_devices");
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size() + m_fleet->requests(1).size(), std::size_t(2),
                              patience);
    options(cancel);
    QCOMPARE(outstanding(), 2);
    QCOMPARE(statuses(), (QStringList{answered, answered}));
}

void TestMainWindowScan::forgetsTheWayByHttps()
{
    simulator::DeviceOptions device;
    device.redirectToHttps = true;
    begin({}, device);
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    QVERIFY(m_bench->row(mac1)->device().useHttps());
    m_fleet->clearJournal();
    // As it is without the options: straight by HTTPS.
    m_bench->trigger("actionDiscover_devices");
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(1), patience);
    QCOMPARE(m_fleet->requests(0).front().https, true);
    QTRY_COMPARE_WITH_TIMEOUT(outstanding(), 0, patience);

    m_fleet->clearJournal();
    options(accept);
    QVERIFY(!m_bench->row(mac1)->device().useHttps());
    QCOMPARE(m_bench->row(mac1)->device().webInterfaceUrl(), QStringLiteral("http://10.77.128.1:80/"));
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(2), patience);
    QCOMPARE(m_fleet->requests(0).at(0).https, false);
    QCOMPARE(m_fleet->requests(0).at(1).https, true);
}

void TestMainWindowScan::readsInExtendedResolution()
{
    simulator::DeviceOptions device;
    simulator::Sensor sensor;
    sensor.value = "21.5";
    sensor.extendedValue = "21.512";
    device.sensors = std::vector<simulator::Sensor>{sensor};
    device.extendedValues = true;
    begin({}, device);
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    const QString usual = m_bench->cell(mac1, 9);
    QVERIFY2(usual.contains(QLatin1String("21.5")) && !usual.contains(QLatin1String("21.512")),
             qPrintable(usual));
    options([](const QDialog &dialog) {
        setSwitch(dialog, "checkBoxPreferExtended", true);
        accept(dialog);
    });
    QTRY_VERIFY2_WITH_TIMEOUT(m_bench->cell(mac1, 9).contains(QLatin1String("21.512")),
                              qPrintable(m_bench->cell(mac1, 9)), patience);
}

void TestMainWindowScan::saysWhyNoDeviceIsThere()
{
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress::AnyIPv4, 9901, QAbstractSocket::DontShareAddress));
    settings::setValue(settings::scanPort, 9901);
    begin();
    QTRY_VERIFY_WITH_TIMEOUT(
        m_bench->list().hint().startsWith(QLatin1String("UDP port 9901 can't be opened")), patience);
    QVERIFY(m_bench->list().hint().contains(QLatin1String("scan options (F7), and refresh (F5)")));
    other.close();
    m_bench->trigger("actionDiscover_devices");
    QVERIFY(m_bench->list().hint().startsWith(QLatin1String("No device has answered yet.")));
    QVERIFY(m_bench->list().hint().contains(QLatin1String("UDP port 9901")));
    options([](const QDialog &dialog) {
        setNumber(dialog, "spinBoxDiscoveryPort", 9806);
        accept(dialog);
    });
    QVERIFY(m_bench->list().hint().contains(QLatin1String("UDP port 9806")));
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    QCOMPARE(m_bench->list().hint(), QString());
}

void TestMainWindowScan::survivesAPortThatCannotBeUsed_data()
{
    QTest::addColumn<int>("port");
    QTest::newRow("none") << 0;
    QTest::newRow("taken") << 9901;
}

void TestMainWindowScan::survivesAPortThatCannotBeUsed()
{
    QFETCH(int, port);
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress::AnyIPv4, 9901, QAbstractSocket::DontShareAddress));
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    options([port](const QDialog &dialog) {
        setNumber(dialog, "spinBoxDiscoveryPort", port);
        accept(dialog);
    });
    QCOMPARE(stored("Scan/Port").toInt(), port);
    QCOMPARE(m_bench->row(mac1)->device().discoveryAge(), 1);
    m_fleet->clearJournal();
    // And back.
    options([](const QDialog &dialog) {
        setNumber(dialog, "spinBoxDiscoveryPort", 9806);
        accept(dialog);
    });
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(1), patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->row(mac1)->device().discoveryAge(), 0, patience);
}

void TestMainWindowScan::goesOnWhileTheOptionsAreOpen()
{
    settings::setValue(settings::scanAutoUpdate, true);
    settings::setValue(settings::scanAutoUpdateInterval, 0.2);
    begin();
    options([this](const QDialog &dialog) {
        const auto before = m_fleet->counters().discoveryRequests;
        QTRY_VERIFY_WITH_TIMEOUT(m_fleet->counters().discoveryRequests >= before + 2 * copies, patience);
        QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
        cancel(dialog);
    });
}

void TestMainWindowScan::startsTheTimerByTheOptions()
{
    const TimerWatcher timers;
    begin();
    QTRY_COMPARE_WITH_TIMEOUT(statuses(), (QStringList{answered, answered}), patience);
    QSignalSpy triggered(m_bench->action("actionAuto"), &QAction::triggered);
    options([](const QDialog &dialog) {
        setSwitch(dialog, "checkBoxAutoUpdate", true);
        dialog.findChild<QDoubleSpinBox *>(QStringLiteral("doubleSpinBoxUpdateInterval"))->setValue(1);
        accept(dialog);
    });
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), true);
    QCOMPARE(triggered.count(), 0);
    // The refresh at once, and those of the timer.
    QTRY_VERIFY_WITH_TIMEOUT(m_fleet->counters().discoveryRequests >= 4 * copies, patience);
    QVERIFY(timers.timer(1000));
}

void TestMainWindowScan::stopsTheTimerByTheOptions()
{
    const TimerWatcher timers;
    settings::setValue(settings::scanAutoUpdate, true);
    settings::setValue(settings::scanAutoUpdateInterval, 0.25);
    begin();
    QTRY_VERIFY_WITH_TIMEOUT(timers.timer(250), patience);
    QVERIFY(timers.timer(250)->isActive());
    options([](const QDialog &dialog) {
        setSwitch(dialog, "checkBoxAutoUpdate", false);
        accept(dialog);
    });
    QVERIFY(!timers.timer(250)->isActive());
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), false);
}

void TestMainWindowScan::doesNotStoreWhatTheToolBarSwitches()
{
    m_bench = std::make_unique<WindowBench>();
    m_bench->trigger("actionAuto");
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), true);
    QCOMPARE(stored("Scan/AutoUpdate"), QVariant());
    m_bench->window().close();
    QCOMPARE(stored("Scan/AutoUpdate"), QVariant(true));
}

void TestMainWindowScan::cutsTheIntervalToMilliseconds_data()
{
    QTest::addColumn<QVariant>("seconds");
    QTest::addColumn<int>("milliseconds");
    QTest::newRow("a whole number") << QVariant(15) << 15000;
    QTest::newRow("a fraction") << QVariant(1.9999) << 1999;
    QTest::newRow("a text") << QVariant(QStringLiteral("2.7189")) << 2718;
    QTest::newRow("the longest of the options") << QVariant(10000.0) << 10000000;
    QTest::newRow("longer than a timer can be") << QVariant(1e300) << std::numeric_limits<int>::max();
    QTest::newRow("without end") << QVariant(QStringLiteral("inf")) << std::numeric_limits<int>::max();
    // No flood of requests.
    QTest::newRow("none") << QVariant(0.0) << 100;
    QTest::newRow("less than none") << QVariant(-1.0) << 100;
    QTest::newRow("no number") << QVariant(QStringLiteral("often")) << 100;
    QTest::newRow("not a number") << QVariant(QStringLiteral("nan")) << 100;
}

void TestMainWindowScan::cutsTheIntervalToMilliseconds()
{
    QFETCH(QVariant, seconds);
    QFETCH(int, milliseconds);
    const TimerWatcher timers;
    settings::setValue(settings::scanAutoUpdate, true);
    settings::setValue(settings::scanAutoUpdateInterval, 0.2509);
    m_bench = std::make_unique<WindowBench>();
    QTRY_VERIFY_WITH_TIMEOUT(timers.timer(250), patience);
    const QTimer &timer = *timers.timer(250);

    settings::store().setValue(QStringLiteral("Scan/AutoUpdateInterval"), seconds);
    // It counts when it is switched on.
    QCOMPARE(timer.interval(), 250);
    m_bench->trigger("actionAuto");
    QCOMPARE(timer.isActive(), false);
    m_bench->trigger("actionAuto");
    QCOMPARE(timer.isActive(), true);
    QCOMPARE(timer.interval(), milliseconds);
}

void TestMainWindowScan::takesTheStoredIconSizeWithTheOptions()
{
    m_bench = std::make_unique<WindowBench>();
    settings::setValue(settings::iconSize, 30);
    options(accept);
    QCOMPARE(m_bench->window().findChild<QToolBar *>(QStringLiteral("mainToolBar"))->iconSize(),
             QSize(30, 30));
}

NEMBRA_GUI_TEST_MAIN(TestMainWindowScan)
#include "tst_mainwindow_scan.moc"
