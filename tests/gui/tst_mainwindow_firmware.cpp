#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/queryqueue.h"
#include "dialogseries.h"
#include "fleet.h"
#include "mainwindow/mainwindow.h"
#include "operations/updatefirmwaredialog.h"
#include "testenvironment.h"
#include "updatebench.h"
#include "widgets/fileselectorwidget.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;
using simulator::Fleet;
using namespace dialogstep;

namespace {

/// A refresh leaves for the limited and for the directed broadcast address.
constexpr std::uint64_t copies = 2;

const QString guest = QStringLiteral("guest");

const QString th2 = QStringLiteral("TH2");
const QString wirelessTh2 = QStringLiteral("WLAN TH2");
const QString tp1 = QStringLiteral("TP1");
const QString td3 = QStringLiteral("TD3");

const QString firmwareDialog = QStringLiteral("firmware: Update Nembra Firmware");
const QString severalTypes = QStringLiteral("box: Devices with multiple types selected");
const QString unknownTypes = QStringLiteral("box: Devices with unknown types selected. Update anyway?");

const QString autoUpdateKey = QStringLiteral("Scan/AutoUpdate");
const QString intervalKey = QStringLiteral("Scan/AutoUpdateInterval");

QString macOf(int index)
{
    return QStringLiteral("0E:5A:11:00:00:%1").arg(index + 1, 2, 16, QLatin1Char('0')).toUpper();
}

QString messageOf(const QWidget *dialog, int row)
{
    return in<QTableWidget>(dialog, "tableWidget")->item(row, 1)->text();
}

QStringList hostNamesIn(const QWidget *dialog)
{
    const auto *const table = in<QTableWidget>(dialog, "tableWidget");
    QStringList names;
    for (int row = 0; row < table->rowCount(); ++row) {
        names += table->item(row, 0)->text();
    }
    return names;
}

void click(const QWidget *dialog, const char *button)
{
    in<QPushButton>(dialog, button)->click();
}

/// Title, icon, buttons and format of a box.
QStringList lookOf(const QWidget *dialog)
{
    const auto *const box = qobject_cast<const QMessageBox *>(dialog);
    return box ? QStringList{box->windowTitle(), QString::number(box->icon()),
                             QString::number(int(box->standardButtons())), QString::number(box->textFormat())}
               : QStringList{QStringLiteral("no box")};
}

QStringList criticalLook(QMessageBox::StandardButtons buttons)
{
    return {QString(), QString::number(QMessageBox::Critical), QString::number(int(buttons)),
            QString::number(Qt::PlainText)};
}

} // namespace

/// How the main window comes to update firmware, and what it does meanwhile.
class TestMainWindowFirmware final : public QObject, private WindowTest
{
    Q_OBJECT

private slots:
    void initTestCase() { UpdateBench::omitDebugOutput(); }
    void init() { open(); }
    void cleanup() { close(); }

    void startsWithoutAQuestion_data();
    void startsWithoutAQuestion();
    void asksThoseWithoutRightsOnly();
    void refusesSeveralTypes_data();
    void refusesSeveralTypes();
    void asksWhereTheTypeIsUnknown_data();
    void asksWhereTheTypeIsUnknown();
    void refusesKnownAndUnknownTypes();

    void stopsTheAutomaticRefresh();
    void asksOnlyThoseThatTakePart();
    void dropsQueriesOfThoseThatDoNot();
    void followsTheStoredSettingAfterwards_data();
    void followsTheStoredSettingAfterwards();
    void updatesTheSelectedDevices();
    void endsTheUpdateWithTheProgram_data();
    void endsTheUpdateWithTheProgram();

private:
    /// Starts a fleet "lab-1", "lab-2" and so on, opens the window, and waits until all have answered. One
    /// type for each device; "WLAN TH2" is wireless.
    void begin(const QStringList &types, const simulator::DeviceOptions &common = {});
    bool hasAnswered();
    /// What was sent to the fleet has been read by it afterwards, and is counted.
    void letArrive() const;
    Device &device(int index) { return m_bench->row(macOf(index))->device(); }
    void select(const QList<int> &indexes) const;
    /// Logs in without a dialog; not at all without an account.
    void logInTo(int index, const QString &account);
    void update() const { m_bench->trigger("actionUpdate_Firmware"); }
    QStringList memberNames();
    std::uint64_t broadcasts() const { return m_fleet->counters().discoveryRequests; }
    std::size_t queries(int index) const { return m_fleet->requests(index, "admin/proctpl.cgi").size(); }
    std::uint64_t uploads() const;
    QString path(const QString &name) const { return m_environment->path(name); }
    /// What the dialog is to be filled in with.
    void preparePlaces() const;
};

void TestMainWindowFirmware::begin(const QStringList &types, const simulator::DeviceOptions &common)
{
    m_fleet = std::make_unique<Fleet>();
    for (int i = 0; i < types.size(); ++i) {
        simulator::DeviceOptions options = common;
        options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, static_cast<std::uint8_t>(i + 1)};
        options.hostName = "lab-" + std::to_string(i + 1);
        const bool wireless = types.at(i).startsWith(QLatin1String("WLAN "));
        options.deviceType = types.at(i).section(QLatin1Char(' '), -1).toStdString();
        options.interfaces = std::vector<simulator::NetworkInterface>(wireless ? 2 : 1);
        m_fleet->addDevice(options);
    }
    m_fleet->start();
    m_bench = std::make_unique<WindowBench>(path(QStringLiteral("devices.json")));
    QTRY_VERIFY_WITH_TIMEOUT(hasAnswered(), patience);
}

void TestMainWindowFirmware::letArrive() const
{
    // With each question the fleet comes round to what waits.
    constexpr int rounds = 10;
    for (int i = 0; i < rounds; ++i) {
        static_cast<void>(m_fleet->device(0));
    }
}

bool TestMainWindowFirmware::hasAnswered()
{
    for (int i = 0; i < m_fleet->deviceCount(); ++i) {
        if (m_bench->cell(macOf(i), Column::Status).isEmpty() || device(i).requestOutstanding()) {
            return false;
        }
    }
    return true;
}

void TestMainWindowFirmware::select(const QList<int> &indexes) const
{
    QStringList macs;
    for (const int index : indexes) {
        macs += macOf(index);
    }
    m_bench->select(macs);
}

void TestMainWindowFirmware::logInTo(int index, const QString &account)
{
    if (account.isEmpty()) {
        return;
    }
    Device &target = device(index);
    QSignalSpy newData(&target, &Device::newData);
    target.login(account, account);
    QTRY_VERIFY_WITH_TIMEOUT(newData.count() > 0 && !target.requestOutstanding(), patience);
    QCOMPARE(target.cookies().size(), 1);
}

QStringList TestMainWindowFirmware::memberNames()
{
    QStringList names;
    for (int i = 0; i < m_fleet->deviceCount(); ++i) {
        if (device(i).updateMember()) {
            names += device(i).record().hostname();
        }
    }
    return names;
}

std::uint64_t TestMainWindowFirmware::uploads() const
{
    const auto byPath = m_fleet->counters().requestsByPath;
    const auto found = byPath.find("admin/upload.cgi");
    return found == byPath.end() ? 0 : found->second;
}

void TestMainWindowFirmware::preparePlaces() const
{
    QVERIFY(QDir().mkpath(path(QStringLiteral("saved"))));
    settings::store().setValue(QStringLiteral("ConfigDir"), path(QStringLiteral("saved")));
    QFile file(path(QStringLiteral("image.bin")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("version=7.8.9\nimage") > 0);
    settings::store().setValue(QStringLiteral("FirmwareDir"), file.fileName());
}

void TestMainWindowFirmware::startsWithoutAQuestion_data()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("left by its button") << "Close";
    QTest::newRow("left by the key") << "Escape";
    QTest::newRow("left by its window") << "window";
}

void TestMainWindowFirmware::startsWithoutAQuestion()
{
    QFETCH(QString, way);
    begin({th2, th2, tp1});
    logInTo(0, admin);
    logInTo(1, admin);
    select({1, 0});
    QStringList listed;
    QStringList members;
    DialogSeries dialogs;
    dialogs.then([&, this](QWidget *dialog) {
        listed = hostNamesIn(dialog);
        members = memberNames();
        if (way == QLatin1String("Close")) {
            click(dialog, "pushButtonClose");
        } else if (way == QLatin1String("Escape")) {
            cancel(dialog);
        } else {
            dialog->close();
        }
    });
    update();
    QCOMPARE(dialogs.seen(), QStringList{firmwareDialog});
    QCOMPARE(listed, QStringList({QStringLiteral("lab-2"), QStringLiteral("lab-1")}));
    QCOMPARE(members, QStringList({QStringLiteral("lab-1"), QStringLiteral("lab-2")}));
    QCOMPARE(memberNames(), QStringList());
    QCOMPARE(uploads(), std::uint64_t(0));
    // And once more.
    dialogs.then(cancel);
    update();
    QCOMPARE(dialogs.seen(), QStringList({firmwareDialog, firmwareDialog}));
}

void TestMainWindowFirmware::asksThoseWithoutRightsOnly()
{
    begin({th2, th2, th2});
    logInTo(0, QStringLiteral("service"));
    logInTo(1, admin);
    select({0, 1, 2});
    QStringList asked;
    QStringList listed;
    DialogSeries dialogs;
    dialogs.then(logIn(admin, admin, &asked)).then([&listed](QWidget *dialog) {
        listed = hostNamesIn(dialog);
        cancel(dialog);
    });
    update();
    QCOMPARE(dialogs.seen(), QStringList({QStringLiteral("login: lab-1 (1/2)"), firmwareDialog}));
    QCOMPARE(asked, QStringList({QStringLiteral("lab-1 (1/2)"), QStringLiteral("lab-3 (2/2)")}));
    QCOMPARE(listed,
             QStringList({QStringLiteral("lab-1"), QStringLiteral("lab-2"), QStringLiteral("lab-3")}));
}

void TestMainWindowFirmware::refusesSeveralTypes_data()
{
    QTest::addColumn<QStringList>("types");
    QTest::addColumn<QStringList>("accounts");
    QTest::addColumn<QStringList>("seen");
    const QStringList atOnce{severalTypes};
    QTest::newRow("two") << QStringList{th2, tp1} << QStringList{admin, admin} << atOnce;
    QTest::newRow("three") << QStringList{th2, tp1, td3} << QStringList{admin, admin, admin} << atOnce;
    QTest::newRow("with and without a cable")
        << QStringList{th2, wirelessTh2} << QStringList{admin, admin} << atOnce;
    QTest::newRow("before another one has to log in")
        << QStringList{th2, th2, tp1} << QStringList{guest, admin, admin} << atOnce;
    QTest::newRow("after one has logged in") << QStringList{th2, tp1} << QStringList{guest, admin}
                                             << QStringList{QStringLiteral("login: lab-1"), severalTypes};
    QTest::newRow("after all have logged in")
        << QStringList{th2, tp1} << QStringList{QString(), guest}
        << QStringList{QStringLiteral("login: lab-1 (1/2)"), severalTypes};
}

void TestMainWindowFirmware::refusesSeveralTypes()
{
    QFETCH(QStringList, types);
    QFETCH(QStringList, accounts);
    QFETCH(QStringList, seen);
    begin(types);
    QList<int> all;
    for (int i = 0; i < types.size(); ++i) {
        logInTo(i, accounts.at(i));
        all += i;
    }
    select(all);
    QStringList look;
    DialogSeries dialogs;
    if (seen.size() > 1) {
        dialogs.then(logIn(admin, admin));
    }
    dialogs.then([&look](QWidget *dialog) {
        look = lookOf(dialog);
        answer(QMessageBox::Ok)(dialog);
    });
    update();
    QCOMPARE(dialogs.seen(), seen);
    QCOMPARE(look, criticalLook(QMessageBox::Ok));
    QCOMPARE(memberNames(), QStringList());
    // No refresh, which would have made it older.
    QCOMPARE(device(0).discoveryAge(), 0);
}

void TestMainWindowFirmware::asksWhereTheTypeIsUnknown_data()
{
    QTest::addColumn<int>("button");
    QTest::newRow("yes") << int(QMessageBox::Yes);
    QTest::newRow("no") << int(QMessageBox::No);
    QTest::newRow("closed") << int(QMessageBox::NoButton);
}

void TestMainWindowFirmware::asksWhereTheTypeIsUnknown()
{
    QFETCH(int, button);
    simulator::DeviceOptions options;
    options.informationNeedsLogin = true;
    begin({th2, th2}, options);
    QCOMPARE(device(0).deviceType(), QString());
    select({0, 1});
    const auto sent = broadcasts();
    QStringList look;
    DialogSeries dialogs;
    // Whoever lets the login pass still knows nothing of the devices.
    dialogs.then([](QWidget *dialog) { qobject_cast<QDialog *>(dialog)->accept(); })
        .then([&look, button](QWidget *dialog) {
            look = lookOf(dialog);
            if (button == QMessageBox::NoButton) {
                cancel(dialog);
            } else {
                answer(static_cast<QMessageBox::StandardButton>(button))(dialog);
            }
        })
        .then(cancel);
    update();
    const bool goesOn = button == QMessageBox::Yes;
    QCOMPARE(dialogs.seen(), (QStringList{QStringLiteral("login: lab-1 (1/2)"), unknownTypes} +
                              (goesOn ? QStringList{firmwareDialog} : QStringList())));
    QCOMPARE(look, criticalLook(QMessageBox::Yes | QMessageBox::No));
    QCOMPARE(device(0).discoveryAge(), goesOn ? 1 : 0);
    if (goesOn) {
        QTRY_COMPARE_WITH_TIMEOUT(broadcasts(), sent + copies, patience);
    } else {
        QVERIFY(!QTest::qWaitFor([&] { return broadcasts() != sent; }, silence));
    }
}

void TestMainWindowFirmware::refusesKnownAndUnknownTypes()
{
    simulator::DeviceOptions options;
    options.informationNeedsLogin = true;
    begin({th2, th2}, options);
    logInTo(0, admin);
    select({0, 1});
    DialogSeries dialogs;
    dialogs.then([](QWidget *dialog) { qobject_cast<QDialog *>(dialog)->accept(); })
        .then(answer(QMessageBox::Ok));
    update();
    QCOMPARE(dialogs.seen(), QStringList({QStringLiteral("login: lab-2"), severalTypes}));
}

void TestMainWindowFirmware::stopsTheAutomaticRefresh()
{
    settings::store().setValue(autoUpdateKey, true);
    constexpr std::chrono::milliseconds interval = 200ms;
    settings::store().setValue(intervalKey, 0.2);
    begin({th2});
    logInTo(0, admin);
    select({0});
    const auto atFirst = broadcasts();
    QTRY_VERIFY_WITH_TIMEOUT(broadcasts() >= atFirst + 2 * copies, patience);

    // It beats as often as the refresh would come.
    QTimer beat;
    const QSignalSpy beats(&beat, &QTimer::timeout);
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    DialogSeries dialogs;
    dialogs.then([&, this](QWidget *dialog) {
        if (!beat.isActive()) {
            letArrive();
            before = broadcasts();
            beat.start(interval);
        } else if (beats.count() >= 6) {
            letArrive();
            after = broadcasts();
            click(dialog, "pushButtonClose");
        }
    });
    update();
    QCOMPARE(dialogs.seen(), QStringList{firmwareDialog});
    QVERIFY(before > 0);
    QCOMPARE(after, before);
    QVERIFY(m_bench->action("actionAuto")->isChecked());
    QTRY_VERIFY_WITH_TIMEOUT(broadcasts() >= after + 4 * copies, patience);
}

void TestMainWindowFirmware::asksOnlyThoseThatTakePart()
{
    begin({th2, th2, th2});
    logInTo(0, admin);
    logInTo(1, admin);
    select({0, 1});
    const std::size_t before[] = {queries(0), queries(1), queries(2)};
    bool refreshed = false;
    bool heardOfAll = false;
    bool stillPending = false;
    std::size_t ofTheOther = 0;
    DialogSeries dialogs;
    dialogs.then([&, this](QWidget *dialog) {
        if (!refreshed) {
            refreshed = true;
            m_bench->trigger("actionDiscover_devices");
            return;
        }
        heardOfAll = queries(0) > before[0] && queries(1) > before[1] && device(2).discoveryAge() == 0;
        if (heardOfAll) {
            stillPending = device(2).queryPending();
            ofTheOther = queries(2);
            click(dialog, "pushButtonClose");
        }
    });
    update();
    QCOMPARE(dialogs.seen(), QStringList{firmwareDialog});
    QVERIFY(heardOfAll);
    QVERIFY(stillPending);
    QCOMPARE(ofTheOther, before[2]);
    // Then it is its turn.
    for (int i = 0; i < 3; ++i) {
        QTRY_VERIFY_WITH_TIMEOUT(!device(i).queryPending(), patience);
    }
    QTRY_VERIFY_WITH_TIMEOUT(queries(2) > before[2], patience);
    QTRY_VERIFY_WITH_TIMEOUT(hasAnswered(), patience);
}

void TestMainWindowFirmware::dropsQueriesOfThoseThatDoNot()
{
    begin({th2, th2, th2});
    logInTo(0, admin);
    logInTo(1, admin);
    select({0, 1});
    const std::size_t before[] = {queries(0), queries(1), queries(2)};
    bool refreshed = false;
    std::size_t meanwhile = 0;
    DialogSeries dialogs;
    dialogs.then([&, this](QWidget *dialog) {
        if (!refreshed) {
            refreshed = true;
            m_bench->trigger("actionDiscover_devices");
        } else if (queries(0) > before[0] && queries(1) > before[1]) {
            // They came after it: its turn would have been before theirs.
            meanwhile = queries(2);
            click(dialog, "pushButtonClose");
        }
    });
    // Its query waits for its turn when the update starts.
    const DiscoveryDevice record = device(2).record();
    device(2).setQueryPending(true);
    m_bench->window().onDevice(record);
    QVERIFY(!device(2).queryPending());
    QCOMPARE(m_bench->window().findChild<QueryQueue *>()->waiting(), 1);
    update();
    QCOMPARE(dialogs.seen(), QStringList{firmwareDialog});
    QCOMPARE(meanwhile, before[2]);
    QTRY_VERIFY_WITH_TIMEOUT(queries(2) > before[2], patience);
}

void TestMainWindowFirmware::followsTheStoredSettingAfterwards_data()
{
    QTest::addColumn<bool>("stored");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<bool>("storedMeanwhile");
    QTest::newRow("off") << false << false << false;
    QTest::newRow("on") << true << true << true;
    QTest::newRow("off, but switched on in the tool bar") << false << true << false;
    QTest::newRow("on, but switched off in the tool bar") << true << false << true;
    QTest::newRow("switched on meanwhile") << false << false << true;
    QTest::newRow("switched off meanwhile") << true << true << false;
}

void TestMainWindowFirmware::followsTheStoredSettingAfterwards()
{
    QFETCH(bool, stored);
    QFETCH(bool, shown);
    QFETCH(bool, storedMeanwhile);
    settings::store().setValue(autoUpdateKey, stored);
    settings::store().setValue(intervalKey, 0.25);
    begin({th2});
    logInTo(0, admin);
    select({0});
    QAction *const automatic = m_bench->action("actionAuto");
    if (automatic->isChecked() != shown) {
        automatic->trigger();
    }
    QCOMPARE(automatic->isChecked(), shown);
    int looks = 0;
    std::uint64_t sent = 0;
    int age = -1;
    DialogSeries dialogs;
    dialogs.then([&, this](QWidget *dialog) {
        settings::store().setValue(autoUpdateKey, storedMeanwhile);
        letArrive();
        // Some turns of the event loop for the answers to the last refresh, too.
        looks = device(0).discoveryAge() == 0 ? looks + 1 : 0;
        if (looks == 5) {
            sent = broadcasts();
            age = device(0).discoveryAge();
            click(dialog, "pushButtonClose");
        }
    });
    update();
    QCOMPARE(dialogs.seen(), QStringList{firmwareDialog});
    QCOMPARE(automatic->isChecked(), storedMeanwhile);
    QCOMPARE(settings::store().value(autoUpdateKey).toBool(), storedMeanwhile);
    // One refresh in any case.
    QCOMPARE(device(0).discoveryAge(), age + 1);
    QVERIFY(device(0).queryPending());
    QTRY_VERIFY_WITH_TIMEOUT(broadcasts() >= sent + copies, patience);
    if (storedMeanwhile) {
        QTRY_VERIFY_WITH_TIMEOUT(broadcasts() >= sent + 4 * copies, patience);
    } else {
        QVERIFY(!QTest::qWaitFor([&] { return broadcasts() > sent + copies; }, 800));
    }
}

void TestMainWindowFirmware::updatesTheSelectedDevices()
{
    preparePlaces();
    settings::store().setValue(autoUpdateKey, true);
    settings::store().setValue(intervalKey, 1.0);
    simulator::DeviceOptions options;
    options.restartTime = 200ms;
    begin({th2, th2, th2}, options);
    logInTo(0, admin);
    logInTo(1, admin);
    select({0, 1});
    QStringList last;
    std::size_t before = 0;
    std::size_t after = 0;
    DialogSeries dialogs;
    dialogs.then([&, this, isRunning = false](QWidget *dialog) mutable {
        if (!isRunning) {
            isRunning = true;
            before = queries(2);
            // Longer than the devices need.
            qobject_cast<UpdateFirmwareDialog *>(dialog)->setRestartTime(700ms);
            click(dialog, "pushButtonUpdate");
            return;
        }
        last = QStringList{messageOf(dialog, 0), messageOf(dialog, 1)};
        after = queries(2);
        if (last.count(finished) == 2) {
            click(dialog, "pushButtonClose");
        }
    });
    update();
    QCOMPARE(last, QStringList({finished, finished}));
    QCOMPARE(dialogs.seen(), QStringList{firmwareDialog});
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(m_fleet->device(i).firmwareVersion, std::string("7.8.9"));
        QCOMPARE(m_fleet->device(i).restarts, 2);
        QCOMPARE(m_fleet->device(i).configurationUploads, 2);
    }
    QCOMPARE(QDir(path(QStringLiteral("saved"))).entryList({QStringLiteral("*.qini")}).size(), 2);
    // One query may have been out.
    QVERIFY2(after <= before + 1, qPrintable(QString::number(after - before)));
    QCOMPARE(m_fleet->device(2).restarts, 0);
    QCOMPARE(uploads(), std::uint64_t(2));
    // What the devices say of themselves is asked anew, and that their sessions have ended.
    for (int i = 0; i < 2; ++i) {
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(macOf(i), Column::AccessRights), QStringLiteral("Read data"),
                                  patience);
    }
}

void TestMainWindowFirmware::endsTheUpdateWithTheProgram_data()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("the program quits") << "quit";
    QTest::newRow("the main window is closed") << "window";
    QTest::newRow("all windows are closed") << "all";
}

void TestMainWindowFirmware::endsTheUpdateWithTheProgram()
{
    QFETCH(QString, way);
    preparePlaces();
    begin({th2, th2});
    logInTo(0, admin);
    logInTo(1, admin);
    select({0, 1});
    m_fleet->addFault(0, Fault::hang().onPath("admin/upload.cgi"));
    const int threads = threadCount();
    bool isOut = false;
    bool returned = false;
    DialogSeries dialogs;
    dialogs.then([&, this, isRunning = false](QWidget *dialog) mutable {
        if (!isRunning) {
            isRunning = true;
            click(dialog, "pushButtonUpdate");
        } else if (!isOut && messageOf(dialog, 0) == uploadingFirmware &&
                   messageOf(dialog, 1) == waitingTenSeconds) {
            isOut = true;
            if (way == QLatin1String("quit")) {
                QApplication::quit();
            } else if (way == QLatin1String("window")) {
                m_bench->window().close();
            } else {
                QApplication::closeAllWindows();
            }
        }
    });
    QTimer::singleShot(0, this, [&, this] {
        update();
        returned = true;
    });
    QTimer lastResort;
    bool hasHung = false;
    connect(&lastResort, &QTimer::timeout, this, [&hasHung] {
        hasHung = true;
        QApplication::quit();
    });
    lastResort.start(patience);
    QApplication::exec();
    QVERIFY(!hasHung);
    QVERIFY(isOut);
    QVERIFY(returned);
    QCOMPARE(dialogs.seen(), QStringList{firmwareDialog});
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
    QCOMPARE(memberNames(), QStringList());
    QCOMPARE(m_fleet->requests(0, "admin/upgrade.cgi").size(), std::size_t(0));
    QCOMPARE(m_fleet->requests(1, "admin/config.cgi").size(), std::size_t(0));
    m_bench->destroyWindow();
}

NEMBRA_GUI_TEST_MAIN(TestMainWindowFirmware)
#include "tst_mainwindow_firmware.moc"
