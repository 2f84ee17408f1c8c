#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "dialogseries.h"
#include "disktrouble.h"
#include "fleet.h"
#include "mainwindow/mainwindow.h"
#include "testenvironment.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QRegularExpression>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;
using simulator::Fleet;
using namespace dialogstep;

namespace {

/// Milliseconds that the network has for a round of discovery and readings.
constexpr int patience = 10000;

constexpr int locationColumn = 16;

const QString admin = QStringLiteral("admin");
const QString service = QStringLiteral("service");
const QString guest = QStringLiteral("guest");

const QString uploadCaption = QStringLiteral("files: Upload config");
const QString uploadDialog = QStringLiteral("transfer: Upload config");
const QString directoryCaption = QStringLiteral("files: Open Directory");
const QString saveDialog = QStringLiteral("transfer: Save config");
const QString historyDialog = QStringLiteral("history: Downloading CSV");
const QString firmwareDialog = QStringLiteral("firmware: Update Nembra Firmware");

/// Everything that starts from the selected devices.
const QList<QByteArray> launchers{"actionSet_Login",    "actionSave_Configs",  "actionSave_with_passwords",
                                  "actionDownload_CSV", "actionUpload_config", "actionUpdate_Firmware"};

QString macOf(int index)
{
    return QStringLiteral("0E:5A:11:00:00:%1").arg(index + 1, 2, 16, QLatin1Char('0')).toUpper();
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(not there)");
}

/// The files of a directory by the MAC in their names, as far as they have one.
QMap<QString, QByteArray> configurationsIn(const QString &directory)
{
    QMap<QString, QByteArray> configurations;
    const QStringList names = QDir(directory).entryList({QStringLiteral("*.qini")}, QDir::Files);
    for (const QString &name : names) {
        configurations.insert(name.section(QLatin1Char('-'), -3, -3),
                              contentOf(directory + QLatin1Char('/') + name));
    }
    return configurations;
}

/// Collects the debug log, as long as it lives.
class LogReader final
{
public:
    LogReader()
    {
        lines().clear();
        m_before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &message) { lines() += message; });
    }
    ~LogReader() { qInstallMessageHandler(m_before); }
    Q_DISABLE_COPY_MOVE(LogReader)

    static QString text() { return lines().join(QLatin1Char('\n')); }

private:
    static QStringList &lines()
    {
        static QStringList lines;
        return lines;
    }

    QtMessageHandler m_before;
};

} // namespace

/// What the main window does to start an operation on the selected devices.
class TestMainWindowOperations : public QObject, private WindowTest
{
    Q_OBJECT

private slots:
    void init() { open(); }
    void cleanup() { close(); }

    void allowsOperationsWhereTheWebServerAnswers();
    void forbidsOperationsWithoutTheWebServer();
    void allowsOperationsWhereReadingsAreRefused();
    void doesNothingWithoutASelection_data();
    void doesNothingWithoutASelection();
    void tellsWhichDeviceIsNotReachable_data();
    void tellsWhichDeviceIsNotReachable();

    void asksWhereTheRightsAreMissing_data();
    void asksWhereTheRightsAreMissing();
    void refusesLessThanIsRequired_data();
    void refusesLessThanIsRequired();
    void endsSilentlyWithoutTheLogin_data();
    void endsSilentlyWithoutTheLogin();
    void asksForOneOfTwoOnly();
    void asksInTheOrderOfSelecting();
    void offersTheLoginToEverybody();
    void forgetsTheLoginThatWasLeft();
    void removesADeviceWhoseLoginIsOut();
    void keepsListeningWhileADialogIsUp();
    void leavesOutWhatIsRemovedWhileADialogCloses_data();
    void leavesOutWhatIsRemovedWhileADialogCloses();

    void savesConfigurations_data();
    void savesConfigurations();
    void startsInTheDirectoryOfTheLastTime_data();
    void startsInTheDirectoryOfTheLastTime();
    void keepsTheDirectoryWhenLeft_data();
    void keepsTheDirectoryWhenLeft();

    void uploadsTheFileAsItIs_data();
    void uploadsTheFileAsItIs();
    void startsAtTheFileOfTheLastTime();
    void keepsTheFileWhenLeft();
    void endsSilentlyWhereTheFileCantBeRead();
    void asksBeforeUploadingToSeveral_data();
    void asksBeforeUploadingToSeveral();
    void refreshesAfterTheUpload();

    void savesHistories();

    void bringsTwentyDevicesToTheSameConfiguration();
    void writesThePasswordNowhere();

private:
    /// Starts a fleet "lab-1", "lab-2" and so on, opens the window, and waits until all are read.
    void begin(int count, simulator::DeviceOptions options = {});
    QString path(const QString &name) const { return m_environment->path(name); }
    /// Makes a directory of the test's own.
    QString makeDirectory(const QString &name) const;
    QString makeFile(const QString &name, const QByteArray &content) const;
    Device &device(int index) { return m_bench->row(macOf(index))->device(); }
    void select(const QList<int> &indexes);
    void selectAll(int count);
    /// Logs in without a dialog.
    void logInTo(int index, const QString &account);
    void trigger(const QByteArray &launcher) { m_bench->trigger(launcher.constData()); }
    /// Runs the launcher's slot, whether or not its action is enabled.
    void call(const QByteArray &launcher);
    /// How many requests of this path a device has got.
    std::size_t requests(int index, const std::string &requestPath) const
    {
        return m_fleet->requests(index, requestPath).size();
    }
    /// Requests of the operations themselves.
    std::size_t transfers(int index) const
    {
        return requests(index, "tpl/document.cgi") + requests(index, "admin/config.cgi");
    }
    std::uint64_t broadcasts() const { return m_fleet->counters().discoveryRequests; }
    bool hasAnswered(int count);

    /// Saves, uploads and reads histories, with a login before; `titles`: of the dialogs on the way.
    void useEveryOperation(const QString &secret, QString &titles);
    /// Nor `told`, while there is what must have been written.
    void verifyNoFileHolds(const QList<QByteArray> &traces, const QString &told);
};

void TestMainWindowOperations::begin(int count, simulator::DeviceOptions options)
{
    m_fleet = std::make_unique<Fleet>();
    options.deviceType = "TH2";
    options.interfaces = std::vector<simulator::NetworkInterface>(1);
    for (int i = 0; i < count; ++i) {
        options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, static_cast<std::uint8_t>(i + 1)};
        options.hostName = "lab-" + std::to_string(i + 1);
        m_fleet->addDevice(options);
    }
    m_fleet->start();
    m_bench = std::make_unique<WindowBench>(path(QStringLiteral("devices.json")));
    QTRY_VERIFY_WITH_TIMEOUT(hasAnswered(count), patience);
}

bool TestMainWindowOperations::hasAnswered(int count)
{
    for (int i = 0; i < count; ++i) {
        if (m_bench->cell(macOf(i), Column::Status) != QLatin1String("200 OK") ||
            device(i).requestOutstanding()) {
            return false;
        }
    }
    return true;
}

QString TestMainWindowOperations::makeDirectory(const QString &name) const
{
    QDir().mkpath(path(name));
    return path(name);
}

QString TestMainWindowOperations::makeFile(const QString &name, const QByteArray &content) const
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("no file for the test");
    }
    return path(name);
}

void TestMainWindowOperations::select(const QList<int> &indexes)
{
    QStringList macs;
    for (const int index : indexes) {
        macs += macOf(index);
    }
    m_bench->select(macs);
}

void TestMainWindowOperations::selectAll(int count)
{
    m_bench->trigger("actionSelect_all");
    QCOMPARE(m_bench->selectedMacs().size(), count);
}

void TestMainWindowOperations::logInTo(int index, const QString &account)
{
    Device &target = device(index);
    QSignalSpy newData(&target, &Device::newData);
    target.login(account, account);
    QTRY_COMPARE_WITH_TIMEOUT(newData.count(), 1, patience);
    QCOMPARE(target.cookies().size(), 1);
}

void TestMainWindowOperations::call(const QByteArray &launcher)
{
    QVERIFY(QMetaObject::invokeMethod(&m_bench->window(), ("on_" + launcher + "_triggered").constData()));
}

void TestMainWindowOperations::allowsOperationsWhereTheWebServerAnswers()
{
    begin(2);
    const auto enabled = [this] {
        QByteArray names;
        for (const QByteArray &launcher : launchers) {
            names += m_bench->action(launcher.constData())->isEnabled() ? "1" : "0";
        }
        return names;
    };
    QCOMPARE(enabled(), QByteArray("000000"));
    select({0});
    QCOMPARE(enabled(), QByteArray("111111"));
    select({0, 1});
    QCOMPARE(enabled(), QByteArray("111111"));
    select({});
    QCOMPARE(enabled(), QByteArray("000000"));
}

void TestMainWindowOperations::forbidsOperationsWithoutTheWebServer()
{
    begin(2);
    m_fleet->addFault(1, Fault::status(500, "Oops"));
    // Two refreshes without an answer of its web server, and the device is no longer recent.
    for (int i = 0; i < 2; ++i) {
        const auto asked = requests(0, "admin/proctpl.cgi");
        const auto askedInVain = requests(1, "admin/proctpl.cgi");
        m_bench->trigger("actionDiscover_devices");
        QTRY_VERIFY_WITH_TIMEOUT(requests(0, "admin/proctpl.cgi") > asked, patience);
        QTRY_VERIFY_WITH_TIMEOUT(requests(1, "admin/proctpl.cgi") > askedInVain, patience);
        QTRY_VERIFY_WITH_TIMEOUT(!device(0).requestOutstanding() && !device(1).requestOutstanding(),
                                 patience);
    }
    QCOMPARE(device(1).webAge(), 2);
    QCOMPARE(device(1).discoveryAge(), 0);
    for (const QByteArray &launcher : launchers) {
        const QAction *const action = m_bench->action(launcher.constData());
        select({1});
        QVERIFY2(!action->isEnabled(), launcher.constData());
        select({0, 1});
        QVERIFY2(!action->isEnabled(), launcher.constData());
        select({0});
        QVERIFY2(action->isEnabled(), launcher.constData());
    }
    // It can still be looked at.
    select({1});
    QVERIFY(m_bench->action("actionWeb_interface")->isEnabled());
}

void TestMainWindowOperations::allowsOperationsWhereReadingsAreRefused()
{
    begin(1);
    m_fleet->addFault(0, Fault::status(403, "Forbidden").onPath("admin/proctpl.cgi"));
    for (int i = 0; i < 2; ++i) {
        const auto asked = requests(0, "admin/proctpl.cgi");
        m_bench->trigger("actionDiscover_devices");
        QTRY_VERIFY_WITH_TIMEOUT(requests(0, "admin/proctpl.cgi") > asked, patience);
        QTRY_VERIFY_WITH_TIMEOUT(!device(0).requestOutstanding(), patience);
    }
    QCOMPARE(device(0).dataAge(), 2);
    QCOMPARE(device(0).loginGroup(), 0);
    select({0});
    // That is what the login is for.
    for (const QByteArray &launcher : launchers) {
        QVERIFY2(m_bench->action(launcher.constData())->isEnabled(), launcher.constData());
    }
}

void TestMainWindowOperations::doesNothingWithoutASelection_data()
{
    QTest::addColumn<QByteArray>("launcher");
    for (const QByteArray &launcher : launchers) {
        QTest::newRow(launcher.constData()) << launcher;
    }
}

void TestMainWindowOperations::doesNothingWithoutASelection()
{
    QFETCH(QByteArray, launcher);
    begin(1);
    const DialogSeries dialogs;
    call(launcher);
    QCOMPARE(dialogs.seen(), QStringList());
    QCOMPARE(settings::store().contains(QStringLiteral("ConfigDir")), false);
    QCOMPARE(settings::store().contains(QStringLiteral("LastUploadConfigFile")), false);
}

void TestMainWindowOperations::tellsWhichDeviceIsNotReachable_data()
{
    QTest::addColumn<QByteArray>("launcher");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("variant");
    for (const QByteArray &launcher : launchers) {
        QTest::newRow((launcher + ", without an address").constData()) << launcher << QString() << 16;
        QTest::newRow((launcher + ", without an answer").constData()) << launcher << "10.77.128.1" << 0;
    }
}

void TestMainWindowOperations::tellsWhichDeviceIsNotReachable()
{
    QFETCH(QByteArray, launcher);
    QFETCH(QString, address);
    QFETCH(int, variant);
    begin(1);
    for (const char *const name : {"<b>roof</b> %1", "second"}) {
        DiscoveryDevice record;
        record.setHostname(QLatin1String(name));
        record.setMacText(QLatin1String(name).size() > 6 ? QStringLiteral("0E:5A:11:00:00:F1")
                                                         : QStringLiteral("0E:5A:11:00:00:F2"));
        record.setAddress(QHostAddress(address));
        record.setVariant(static_cast<qint8>(variant));
        m_bench->window().onDevice(record);
    }
    // The first of them that can't be reached is named, whatever else is selected.
    m_bench->select({macOf(0), QStringLiteral("0E:5A:11:00:00:F1"), QStringLiteral("0E:5A:11:00:00:F2")});
    QStringList how;
    DialogSeries dialogs;
    dialogs.then([&how](QWidget *dialog) {
        const auto *const box = qobject_cast<QMessageBox *>(dialog);
        how = QStringList{box->windowTitle(), QString::number(box->icon()),
                          QString::number(int(box->standardButtons())), QString::number(box->textFormat())};
        answer(QMessageBox::Ok)(dialog);
    });
    call(launcher);
    QCOMPARE(dialogs.seen(), QStringList{QStringLiteral("box: Device <b>roof</b> %1 is not reachable")});
    QCOMPARE(how, QStringList({QString(), QString::number(QMessageBox::Critical),
                               QString::number(QMessageBox::Ok), QString::number(Qt::PlainText)}));
    QCOMPARE(requests(0, "login.cgi"), std::size_t(0));
    QCOMPARE(transfers(0), std::size_t(0));
}

void TestMainWindowOperations::asksWhereTheRightsAreMissing_data()
{
    QTest::addColumn<QByteArray>("launcher");
    QTest::addColumn<QString>("account");
    QTest::addColumn<QStringList>("asked");
    QTest::addColumn<QString>("next");

    // The devices have the levels 0, 1, 2 and 3.
    const QStringList one{QStringLiteral("lab-1")};
    const QStringList two{QStringLiteral("lab-1 (1/2)"), QStringLiteral("lab-2 (2/2)")};
    const QStringList three{QStringLiteral("lab-1 (1/3)"), QStringLiteral("lab-2 (2/3)"),
                            QStringLiteral("lab-3 (3/3)")};
    const QStringList four{QStringLiteral("lab-1 (1/4)"), QStringLiteral("lab-2 (2/4)"),
                           QStringLiteral("lab-3 (3/4)"), QStringLiteral("lab-4 (4/4)")};
    QTest::newRow("login") << QByteArray("actionSet_Login") << "none" << four << QString();
    QTest::newRow("history") << QByteArray("actionDownload_CSV") << guest << one << historyDialog;
    QTest::newRow("configuration") << QByteArray("actionSave_Configs") << service << two << directoryCaption;
    QTest::newRow("configuration with passwords")
        << QByteArray("actionSave_with_passwords") << admin << three << directoryCaption;
    QTest::newRow("upload") << QByteArray("actionUpload_config") << admin << three << uploadCaption;
    QTest::newRow("firmware") << QByteArray("actionUpdate_Firmware") << admin << three << firmwareDialog;
}

void TestMainWindowOperations::asksWhereTheRightsAreMissing()
{
    QFETCH(QByteArray, launcher);
    QFETCH(QString, account);
    QFETCH(QStringList, asked);
    QFETCH(QString, next);
    begin(4);
    logInTo(0, QStringLiteral("none"));
    logInTo(1, guest);
    logInTo(2, service);
    logInTo(3, admin);
    select({0, 1, 2, 3});
    QStringList seenDevices;
    QStringList expected{QStringLiteral("login: ") + asked.constFirst()};
    if (!next.isEmpty()) {
        expected += next;
    }
    DialogSeries dialogs;
    dialogs.then(logIn(account, account, &seenDevices)).then(cancel);
    trigger(launcher);
    QCOMPARE(seenDevices, asked);
    QCOMPARE(dialogs.seen(), expected);
    for (int i = 0; i < 4; ++i) {
        // Once for the test, once for the dialog where it asked.
        QCOMPARE(requests(i, "login.cgi"), std::size_t(i < asked.size() ? 2 : 1));
        QCOMPARE(transfers(i), std::size_t(0));
    }
    // What was gained is kept: nobody is asked twice.
    if (!next.isEmpty()) {
        dialogs.then(cancel);
        trigger(launcher);
        QCOMPARE(dialogs.seen(), (expected + QStringList{next}));
    }
}

void TestMainWindowOperations::refusesLessThanIsRequired_data()
{
    QTest::addColumn<QByteArray>("launcher");
    QTest::addColumn<QString>("account");
    QTest::newRow("history") << QByteArray("actionDownload_CSV") << "none";
    QTest::newRow("configuration") << QByteArray("actionSave_Configs") << guest;
    QTest::newRow("configuration with passwords") << QByteArray("actionSave_with_passwords") << service;
    QTest::newRow("upload") << QByteArray("actionUpload_config") << service;
    QTest::newRow("firmware") << QByteArray("actionUpdate_Firmware") << service;
}

void TestMainWindowOperations::refusesLessThanIsRequired()
{
    QFETCH(QByteArray, launcher);
    QFETCH(QString, account);
    begin(1);
    logInTo(0, QStringLiteral("none"));
    select({0});
    DialogSeries dialogs;
    dialogs.then(logInInVain(account, account, QStringLiteral("Missing access rights")));
    trigger(launcher);
    QCOMPARE(dialogs.seen(), QStringList{QStringLiteral("login: lab-1")});
    QCOMPARE(requests(0, "login.cgi"), std::size_t(2));
    QCOMPARE(transfers(0), std::size_t(0));
}

void TestMainWindowOperations::endsSilentlyWithoutTheLogin_data()
{
    doesNothingWithoutASelection_data();
}

void TestMainWindowOperations::endsSilentlyWithoutTheLogin()
{
    QFETCH(QByteArray, launcher);
    begin(2);
    logInTo(0, QStringLiteral("none"));
    logInTo(1, admin);
    select({0, 1});
    DialogSeries dialogs;
    dialogs.then(cancel);
    trigger(launcher);
    QCOMPARE(dialogs.seen().size(), 1);
    QVERIFY2(dialogs.seen().constFirst().startsWith(QLatin1String("login: lab-1")),
             qPrintable(dialogs.seen().constFirst()));

    // Also after a login that went wrong.
    dialogs.then(
        logInInVain(QStringLiteral("nobody"), QStringLiteral("nobody"), QStringLiteral("Wrong login")));
    trigger(launcher);
    QCOMPARE(dialogs.seen().size(), 2);
    QCOMPARE(dialogs.seen().constLast(), dialogs.seen().constFirst());
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(transfers(i), std::size_t(0));
    }
    QCOMPARE(settings::store().contains(QStringLiteral("ConfigDir")), false);
    QCOMPARE(settings::store().contains(QStringLiteral("LastUploadConfigFile")), false);
}

void TestMainWindowOperations::asksForOneOfTwoOnly()
{
    begin(2);
    logInTo(1, service);
    // The first is a visitor's: level 1.
    QCOMPARE(device(0).loginGroup(), 1);
    select({0, 1});
    const QString directory = makeDirectory(QStringLiteral("saved"));
    QStringList asked;
    QStringList statuses;
    DialogSeries dialogs;
    dialogs.then(logIn(service, service, &asked)).then(choose(directory)).then(closeAtTheEnd(&statuses));
    trigger("actionSave_Configs");
    QCOMPARE(asked, QStringList{QStringLiteral("lab-1")});
    QCOMPARE(dialogs.seen(), QStringList({QStringLiteral("login: lab-1"), directoryCaption, saveDialog}));
    // All that were selected take part.
    QCOMPARE(statuses, QStringList({QStringLiteral("lab-1: Finished"), QStringLiteral("lab-2: Finished")}));
    QCOMPARE(configurationsIn(directory).size(), 2);
}

void TestMainWindowOperations::asksInTheOrderOfSelecting()
{
    begin(3);
    select({2, 0, 1});
    QStringList asked;
    QStringList statuses;
    DialogSeries dialogs;
    dialogs.then(logIn(admin, admin, &asked))
        .then(choose(makeDirectory(QStringLiteral("saved"))))
        .then(closeAtTheEnd(&statuses));
    trigger("actionSave_Configs");
    QCOMPARE(asked, QStringList({QStringLiteral("lab-3 (1/3)"), QStringLiteral("lab-1 (2/3)"),
                                 QStringLiteral("lab-2 (3/3)")}));
    QCOMPARE(statuses, QStringList({QStringLiteral("lab-3: Finished"), QStringLiteral("lab-1: Finished"),
                                    QStringLiteral("lab-2: Finished")}));
}

void TestMainWindowOperations::offersTheLoginToEverybody()
{
    begin(2);
    logInTo(0, admin);
    logInTo(1, admin);
    select({0, 1});
    QStringList asked;
    DialogSeries dialogs;
    dialogs.then(logIn(guest, guest, &asked));
    trigger("actionSet_Login");
    QCOMPARE(asked, QStringList({QStringLiteral("lab-1 (1/2)"), QStringLiteral("lab-2 (2/2)")}));
    QCOMPARE(dialogs.seen(), QStringList{QStringLiteral("login: lab-1 (1/2)")});
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(m_bench->cell(macOf(i), Column::AccessRights), QStringLiteral("Read data"));
    }
    QCOMPARE(transfers(0) + transfers(1), std::size_t(0));
}

void TestMainWindowOperations::forgetsTheLoginThatWasLeft()
{
    begin(1);
    m_fleet->addFault(0, Fault::answerAfter(200ms).onPath("login.cgi").times(1));
    select({0});
    DialogSeries dialogs;
    dialogs.then([](QWidget *dialog) {
        logIn(admin, admin)(dialog);
        cancel(dialog);
    });
    trigger("actionSet_Login");
    QCOMPARE(dialogs.seen(), QStringList{QStringLiteral("login: lab-1")});
    QCOMPARE(device(0).loginGroup(), 1);
    // The login itself ends as it likes, without the dialog.
    QTRY_COMPARE_WITH_TIMEOUT(device(0).loginGroup(), 3, patience);
    QVERIFY(!QApplication::activeModalWidget());
}

void TestMainWindowOperations::removesADeviceWhoseLoginIsOut()
{
    begin(2);
    m_fleet->addFault(0, Fault::hang().onPath("login.cgi"));
    select({0});
    DialogSeries dialogs;
    dialogs.then([this](QWidget *dialog) {
        if (requests(0, "login.cgi") == 0) {
            logIn(admin, admin)(dialog);
        } else {
            cancel(dialog);
        }
    });
    trigger("actionSet_Login");
    QCOMPARE(requests(0, "login.cgi"), std::size_t(1));
    m_bench->trigger("actionRemove");
    QVERIFY(!m_bench->row(macOf(0)));
    // The other one goes on as before; and the first comes back as a stranger.
    m_fleet->clearFaults();
    m_bench->trigger("actionDiscover_devices");
    QTRY_VERIFY_WITH_TIMEOUT(m_bench->row(macOf(0)), patience);
    QTRY_VERIFY_WITH_TIMEOUT(hasAnswered(2), patience);
    QVERIFY(device(0).sidCookie().name().isEmpty());
    QCOMPARE(device(0).loginUser(), QString());
}

void TestMainWindowOperations::keepsListeningWhileADialogIsUp()
{
    begin(2);
    select({0});
    const auto asked = requests(1, "admin/proctpl.cgi");
    bool refreshed = false;
    DialogSeries dialogs;
    dialogs.then([this, asked, &refreshed](QWidget *dialog) {
        if (!refreshed) {
            refreshed = true;
            m_fleet->change(1, [](simulator::DeviceOptions &options) { options.hostName = "renamed"; });
            m_bench->window().on_actionDiscover_devices_triggered();
        } else if (requests(1, "admin/proctpl.cgi") > asked &&
                   m_bench->cell(macOf(1), Column::SystemName) == QLatin1String("renamed")) {
            cancel(dialog);
        }
    });
    trigger("actionSet_Login");
    QCOMPARE(dialogs.seen(), QStringList{QStringLiteral("login: lab-1")});
    QCOMPARE(m_bench->cell(macOf(1), Column::SystemName), QStringLiteral("renamed"));
}

void TestMainWindowOperations::leavesOutWhatIsRemovedWhileADialogCloses_data()
{
    QTest::addColumn<QByteArray>("launcher");
    QTest::addColumn<bool>("some");
    for (const bool some : {false, true}) {
        const QByteArray which = some ? "one of two, " : "all, ";
        QTest::newRow((which + "saving").constData()) << QByteArray("actionSave_Configs") << some;
        QTest::newRow((which + "uploading").constData()) << QByteArray("actionUpload_config") << some;
        QTest::newRow((which + "browser").constData()) << QByteArray("actionWeb_interface") << some;
    }
}

void TestMainWindowOperations::leavesOutWhatIsRemovedWhileADialogCloses()
{
    QFETCH(QByteArray, launcher);
    QFETCH(bool, some);
    simulator::DeviceOptions options;
    options.anonymousLevel = 3;
    begin(2, options);
    selectAll(2);
    // The key comes before the dialog's event loop has ended.
    const auto remove = [this, some] {
        if (some) {
            select({0});
        }
        trigger("actionRemove");
    };
    const bool saves = launcher == "actionSave_Configs";
    const QString chosen =
        saves ? makeDirectory(QStringLiteral("saved")) : makeFile(QStringLiteral("new.qini"), "[system]\r\n");
    BrowserCatcher browser;
    DialogSeries dialogs;
    if (launcher != "actionWeb_interface") {
        dialogs.then([=](QWidget *dialog) {
            choose(chosen)(dialog);
            if (saves) {
                remove();
            }
        });
    }
    if (!saves) {
        dialogs.then([remove](QWidget *dialog) {
            answer(QMessageBox::Yes)(dialog);
            remove();
        });
    }
    QStringList statuses;
    dialogs.then(closeAtTheEnd(&statuses));
    trigger(launcher);
    QCOMPARE(m_bench->list().topLevelItemCount(), some ? 1 : 0);
    if (launcher == "actionWeb_interface") {
        QCOMPARE(browser.urls().size(), some ? 1 : 0);
    } else {
        QCOMPARE(statuses, some ? QStringList{QStringLiteral("lab-2: Finished")} : QStringList());
    }
}

void TestMainWindowOperations::savesConfigurations_data()
{
    QTest::addColumn<QByteArray>("launcher");
    QTest::addColumn<QString>("account");
    QTest::addColumn<bool>("passwords");
    QTest::addColumn<bool>("https");
    QTest::newRow("without passwords") << QByteArray("actionSave_Configs") << service << false << false;
    QTest::newRow("with passwords") << QByteArray("actionSave_with_passwords") << admin << true << false;
    QTest::newRow("over HTTPS") << QByteArray("actionSave_with_passwords") << admin << true << true;
}

void TestMainWindowOperations::savesConfigurations()
{
    QFETCH(QByteArray, launcher);
    QFETCH(QString, account);
    QFETCH(bool, passwords);
    QFETCH(bool, https);
    simulator::DeviceOptions options;
    options.redirectToHttps = https;
    begin(3, options);
    logInTo(0, account);
    logInTo(2, account);
    select({0, 2});
    const QString directory = makeDirectory(QStringLiteral("saved"));
    QStringList how;
    QStringList statuses;
    DialogSeries dialogs;
    dialogs
        .then([&how, directory](QWidget *dialog) {
            const auto *const files = qobject_cast<QFileDialog *>(dialog);
            how = QStringList{
                QString::number(files->acceptMode()),
                files->testOption(QFileDialog::ShowDirsOnly) ? QStringLiteral("directories only") : QString(),
                files->testOption(QFileDialog::DontResolveSymlinks) ? QStringLiteral("links stay")
                                                                    : QString()};
            choose(directory)(dialog);
        })
        .then(closeAtTheEnd(&statuses));
    trigger(launcher);
    QCOMPARE(dialogs.seen(), QStringList({directoryCaption, saveDialog}));
    QCOMPARE(how, QStringList({QString::number(QFileDialog::AcceptOpen), QStringLiteral("directories only"),
                               QStringLiteral("links stay")}));
    QCOMPARE(statuses, QStringList({QStringLiteral("lab-1: Finished"), QStringLiteral("lab-3: Finished")}));
    QCOMPARE(settings::store().value(QStringLiteral("ConfigDir")).toString(), directory);

    const QMap<QString, QByteArray> saved = configurationsIn(directory);
    QCOMPARE(saved.size(), 2);
    for (const int i : {0, 2}) {
        const QByteArray content = saved.value(macOf(i).remove(QLatin1Char(':')));
        const QByteArray plain = QByteArray::fromStdString(m_fleet->device(i).configuration);
        QVERIFY(!plain.isEmpty());
        QVERIFY2(content.startsWith(plain), content.constData());
        QCOMPARE(content.contains("[passwords]"), passwords);
        QCOMPARE(content == plain, !passwords);
        const auto sent = m_fleet->requests(i, "tpl/document.cgi");
        QCOMPARE(sent.size(), std::size_t(1));
        QCOMPARE(sent.front().https, https);
        QCOMPARE(m_fleet->requests(i, "login.cgi").front().https, https);
        QCOMPARE(sent.front().method, std::string("GET"));
        QCOMPARE(sent.front().target,
                 passwords ? std::string("/tpl/document.cgi?tpl/j/config.tpl&incl_passwords=on")
                           : std::string("/tpl/document.cgi?tpl/j/config.tpl"));
        QCOMPARE(sent.front().header("Cookie"), "sid=" + device(i).sidCookie().value().toStdString());
    }
    QCOMPARE(transfers(1), std::size_t(0));
}

void TestMainWindowOperations::startsInTheDirectoryOfTheLastTime_data()
{
    QTest::addColumn<QByteArray>("launcher");
    QTest::newRow("without passwords") << QByteArray("actionSave_Configs");
    QTest::newRow("with passwords") << QByteArray("actionSave_with_passwords");
}

void TestMainWindowOperations::startsInTheDirectoryOfTheLastTime()
{
    QFETCH(QByteArray, launcher);
    begin(1);
    logInTo(0, admin);
    select({0});
    QStringList starts;
    const auto look = [&starts](QWidget *dialog) {
        starts += qobject_cast<QFileDialog *>(dialog)->directory().absolutePath();
        cancel(dialog);
    };
    DialogSeries dialogs;
    dialogs.then(look).then(look).then(look);
    trigger(launcher);
    const QString last = makeDirectory(QStringLiteral("last t\u00EFme"));
    settings::store().setValue(QStringLiteral("ConfigDir"), last);
    trigger(launcher);
    // One that has gone leads to where there is something, not into nothing.
    QVERIFY(QDir().rmdir(last));
    trigger(launcher);
    QCOMPARE(starts.size(), 3);
    QVERIFY2(QDir(starts.at(0)).exists(), qPrintable(starts.at(0)));
    QCOMPARE(starts.at(1), last);
    QVERIFY2(QDir(starts.at(2)).exists(), qPrintable(starts.at(2)));
    QCOMPARE(settings::store().value(QStringLiteral("ConfigDir")).toString(), last);
}

void TestMainWindowOperations::keepsTheDirectoryWhenLeft_data()
{
    startsInTheDirectoryOfTheLastTime_data();
}

void TestMainWindowOperations::keepsTheDirectoryWhenLeft()
{
    QFETCH(QByteArray, launcher);
    begin(1);
    logInTo(0, admin);
    select({0});
    {
        DialogSeries dialogs;
        dialogs.then(cancel);
        trigger(launcher);
        QCOMPARE(dialogs.seen(), QStringList{directoryCaption});
    }
    QCOMPARE(settings::store().contains(QStringLiteral("ConfigDir")), false);
    const QString last = makeDirectory(QStringLiteral("last"));
    settings::store().setValue(QStringLiteral("ConfigDir"), last);
    DialogSeries dialogs;
    dialogs.then(cancel);
    trigger(launcher);
    QCOMPARE(dialogs.seen(), QStringList{directoryCaption});
    QCOMPARE(settings::store().value(QStringLiteral("ConfigDir")).toString(), last);
    QCOMPARE(transfers(0), std::size_t(0));
}

void TestMainWindowOperations::uploadsTheFileAsItIs_data()
{
    QTest::addColumn<QByteArray>("content");
    QByteArray everything;
    for (int i = 0; i < 256; ++i) {
        everything += static_cast<char>(i);
    }
    QTest::newRow("a configuration") << QByteArray("[system]\r\nname=roof\r\nlocation=Hall 2\r\n");
    QTest::newRow("other ends of lines") << QByteArray("[system]\nname=roof\n\n\r\r\n");
    QTest::newRow("no configuration at all") << everything;
    QTest::newRow("like a part of a form") << QByteArray("--boundary\r\nContent-Disposition: x\r\n\r\n--");
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("a mebibyte") << everything.repeated(4096);
}

void TestMainWindowOperations::uploadsTheFileAsItIs()
{
    QFETCH(QByteArray, content);
    begin(1);
    logInTo(0, admin);
    select({0});
    const QString file = makeFile(QStringLiteral("c\u00F6nfig.qini"), content);
    QStringList how;
    QStringList statuses;
    DialogSeries dialogs;
    dialogs
        .then([&how, file](QWidget *dialog) {
            const auto *const files = qobject_cast<QFileDialog *>(dialog);
            how = QStringList{QString::number(files->fileMode()), QString::number(files->acceptMode())} +
                  files->nameFilters();
            choose(file)(dialog);
        })
        .then(closeAtTheEnd(&statuses));
    trigger("actionUpload_config");
    // To one device without a question.
    QCOMPARE(dialogs.seen(), QStringList({uploadCaption, uploadDialog}));
    QCOMPARE(how, QStringList({QString::number(QFileDialog::ExistingFile),
                               QString::number(QFileDialog::AcceptOpen), QStringLiteral("All Files (*)")}));
    QCOMPARE(statuses, QStringList{QStringLiteral("lab-1: Finished")});
    QCOMPARE(m_fleet->device(0).configurationUploads, 1);
    QVERIFY(QByteArray::fromStdString(m_fleet->device(0).configuration) == content);
    QCOMPARE(settings::store().value(QStringLiteral("LastUploadConfigFile")).toString(), file);
    QCOMPARE(contentOf(file), content);
}

void TestMainWindowOperations::startsAtTheFileOfTheLastTime()
{
    begin(1);
    logInTo(0, admin);
    select({0});
    makeDirectory(QStringLiteral("sub"));
    const QString file = makeFile(QStringLiteral("sub/last.qini"), "[system]\r\n");
    settings::store().setValue(QStringLiteral("LastUploadConfigFile"), file);
    QString directory;
    QStringList selected;
    DialogSeries dialogs;
    dialogs
        .then([&](QWidget *dialog) {
            const auto *const files = qobject_cast<QFileDialog *>(dialog);
            directory = files->directory().absolutePath();
            selected = files->selectedFiles();
            static_cast<QDialog *>(qobject_cast<QFileDialog *>(dialog))->accept();
        })
        .then(closeAtTheEnd());
    trigger("actionUpload_config");
    QCOMPARE(directory, path(QStringLiteral("sub")));
    QCOMPARE(selected, QStringList{file});
    QCOMPARE(dialogs.seen(), QStringList({uploadCaption, uploadDialog}));
    QCOMPARE(m_fleet->device(0).configuration, std::string("[system]\r\n"));
}

void TestMainWindowOperations::keepsTheFileWhenLeft()
{
    begin(3);
    for (int i = 0; i < 3; ++i) {
        logInTo(i, admin);
    }
    selectAll(3);
    {
        DialogSeries dialogs;
        dialogs.then(cancel);
        trigger("actionUpload_config");
        QCOMPARE(dialogs.seen(), QStringList{uploadCaption});
    }
    QCOMPARE(settings::store().contains(QStringLiteral("LastUploadConfigFile")), false);
    settings::store().setValue(QStringLiteral("LastUploadConfigFile"), QStringLiteral("/gone/last.qini"));
    DialogSeries dialogs;
    dialogs.then(cancel);
    trigger("actionUpload_config");
    QCOMPARE(dialogs.seen(), QStringList{uploadCaption});
    QCOMPARE(settings::store().value(QStringLiteral("LastUploadConfigFile")).toString(),
             QStringLiteral("/gone/last.qini"));
}

void TestMainWindowOperations::endsSilentlyWhereTheFileCantBeRead()
{
    begin(2);
    logInTo(0, admin);
    logInTo(1, admin);
    selectAll(2);
    const QString file = makeFile(QStringLiteral("secret.qini"), "[system]\r\n");
    QVERIFY(QFile::setPermissions(file, QFile::Permissions()));
    const ModesCount modesCount;
    DialogSeries dialogs;
    dialogs.then(choose(file));
    trigger("actionUpload_config");
    QCOMPARE(dialogs.seen(), QStringList{uploadCaption});
    // Remembered all the same.
    QCOMPARE(settings::store().value(QStringLiteral("LastUploadConfigFile")).toString(), file);
    QCOMPARE(transfers(0) + transfers(1), std::size_t(0));
    // And no refresh, which would have made it older.
    QCOMPARE(device(0).discoveryAge(), 0);
    QCOMPARE(device(0).queryPending(), false);
    QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner));
}

void TestMainWindowOperations::asksBeforeUploadingToSeveral_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("button");
    QTest::addColumn<QString>("question");
    const QString three = QStringLiteral("box: Really upload config to 3 devices?");
    QTest::newRow("yes to two") << 2 << int(QMessageBox::Yes) << "box: Really upload config to 2 devices?";
    QTest::newRow("yes to three") << 3 << int(QMessageBox::Yes) << three;
    QTest::newRow("no") << 3 << int(QMessageBox::No) << three;
    QTest::newRow("closed") << 3 << int(QMessageBox::NoButton) << three;
}

void TestMainWindowOperations::asksBeforeUploadingToSeveral()
{
    QFETCH(int, count);
    QFETCH(int, button);
    QFETCH(QString, question);
    begin(count);
    for (int i = 0; i < count; ++i) {
        logInTo(i, admin);
    }
    selectAll(count);
    const QString file = makeFile(QStringLiteral("config.qini"), "[system]\r\nlocation=Hall 2\r\n");
    const bool yes = button == QMessageBox::Yes;
    QStringList how;
    DialogSeries dialogs;
    dialogs.then(choose(file))
        .then([&how, button](QWidget *dialog) {
            const auto *const box = qobject_cast<QMessageBox *>(dialog);
            how =
                QStringList{box->windowTitle(), QString::number(box->icon()),
                            QString::number(int(box->standardButtons())), QString::number(box->textFormat())};
            if (button == QMessageBox::NoButton) {
                cancel(dialog);
            } else {
                answer(static_cast<QMessageBox::StandardButton>(button))(dialog);
            }
        })
        .then(closeAtTheEnd());
    trigger("actionUpload_config");
    QCOMPARE(dialogs.seen(),
             (QStringList{uploadCaption, question} + (yes ? QStringList{uploadDialog} : QStringList())));
    QCOMPARE(how, QStringList({QString(), QString::number(QMessageBox::Question),
                               QString::number(int(QMessageBox::Yes | QMessageBox::No)),
                               QString::number(Qt::PlainText)}));
    QCOMPARE(settings::store().value(QStringLiteral("LastUploadConfigFile")).toString(), file);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(m_fleet->device(i).configurationUploads, yes ? 1 : 0);
        QCOMPARE(device(i).discoveryAge(), yes ? 1 : 0);
        QCOMPARE(device(i).queryPending(), yes);
    }
}

void TestMainWindowOperations::refreshesAfterTheUpload()
{
    begin(1);
    logInTo(0, admin);
    select({0});
    const auto asked = requests(0, "admin/proctpl.cgi");

    const QString file =
        makeFile(QStringLiteral("config.qini"), "[system]\r\nname=roof\r\nlocation=Hall 2\r\n");
    DialogSeries dialogs;
    dialogs.then(choose(file)).then(closeAtTheEnd());
    QCOMPARE(device(0).discoveryAge(), 0);
    const auto before = broadcasts();
    trigger("actionUpload_config");
    // One refresh older.
    QCOMPARE(device(0).discoveryAge(), 1);
    QCOMPARE(device(0).queryPending(), true);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(macOf(0), Column::SystemName), QStringLiteral("roof"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(macOf(0), locationColumn), QStringLiteral("Hall 2"), patience);
    QVERIFY(broadcasts() > before);
    QCOMPARE(requests(0, "admin/proctpl.cgi"), asked + 1);

    // Saving brings none.
    dialogs.then(choose(makeDirectory(QStringLiteral("saved")))).then(closeAtTheEnd());
    trigger("actionSave_Configs");
    QCOMPARE(dialogs.seen(), QStringList({uploadCaption, uploadDialog, directoryCaption, saveDialog}));
    QCOMPARE(device(0).queryPending(), false);
    QCOMPARE(device(0).discoveryAge(), 0);
}

void TestMainWindowOperations::savesHistories()
{
    begin(2);
    logInTo(0, guest);
    selectAll(2);
    const QString directory = makeDirectory(QStringLiteral("histories"));
    settings::store().setValue(QStringLiteral("CSVDir"), directory);
    QStringList devices;
    DialogSeries dialogs;
    // A visitor may read data: nobody has to log in.
    dialogs.then(loadAndClose(&devices));
    trigger("actionDownload_CSV");
    QCOMPARE(dialogs.seen(), QStringList{historyDialog});
    QCOMPARE(devices, QStringList({QStringLiteral("lab-1"), QStringLiteral("lab-2")}));
    QCOMPARE(QDir(directory).entryList({QStringLiteral("*.csv")}, QDir::Files).size(), 2);
    QCOMPARE(settings::store().contains(QStringLiteral("ConfigDir")), false);
}

void TestMainWindowOperations::bringsTwentyDevicesToTheSameConfiguration()
{
    constexpr int count = 20;
    begin(count);
    selectAll(count);
    const QString before = makeDirectory(QStringLiteral("before"));
    QStringList asked;
    QStringList statuses;
    {
        DialogSeries dialogs;
        dialogs.then(logIn(admin, admin, &asked)).then(choose(before)).then(closeAtTheEnd(&statuses));
        trigger("actionSave_with_passwords");
        QCOMPARE(dialogs.seen(),
                 QStringList({QStringLiteral("login: ") + asked.value(0), directoryCaption, saveDialog}));
    }
    QCOMPARE(asked.size(), count);
    QCOMPARE(statuses.filter(QRegularExpression(QStringLiteral("^lab-\\d+: Finished$"))).size(), count);
    const QMap<QString, QByteArray> saved = configurationsIn(before);
    QCOMPARE(saved.size(), count);

    QByteArray changed = saved.value(macOf(6).remove(QLatin1Char(':')));
    QVERIFY2(changed.contains("name=lab-7\r\n") && changed.contains("\r\nadmin=admin\r\n"),
             changed.constData());
    changed.replace("name=lab-7\r\n", "name=hall\r\n").replace("\r\nadmin=admin\r\n", "\r\nadmin=new\r\n");
    {
        DialogSeries dialogs;
        statuses.clear();
        dialogs.then(choose(makeFile(QStringLiteral("changed.qini"), changed)))
            .then(answer(QMessageBox::Yes))
            .then(closeAtTheEnd(&statuses));
        trigger("actionUpload_config");
        QCOMPARE(dialogs.seen(),
                 QStringList({uploadCaption, QStringLiteral("box: Really upload config to 20 devices?"),
                              uploadDialog}));
    }
    QCOMPARE(statuses.filter(QStringLiteral(": Finished")).size(), count);
    for (int i = 0; i < count; ++i) {
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(macOf(i), Column::SystemName), QStringLiteral("hall"),
                                  patience);
    }

    const QString after = makeDirectory(QStringLiteral("after"));
    DialogSeries dialogs;
    dialogs.then(choose(after)).then(closeAtTheEnd());
    trigger("actionSave_with_passwords");
    // The sessions have lasted.
    QCOMPARE(dialogs.seen(), QStringList({directoryCaption, saveDialog}));
    const QMap<QString, QByteArray> savedAgain = configurationsIn(after);
    QCOMPARE(savedAgain.size(), count);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(savedAgain.value(macOf(i).remove(QLatin1Char(':'))), changed);
        QCOMPARE(m_fleet->device(i).configurationUploads, 1);
        QCOMPARE(requests(i, "login.cgi"), std::size_t(1));
    }
}

void TestMainWindowOperations::useEveryOperation(const QString &secret, QString &titles)
{
    const QString directory = makeDirectory(QStringLiteral("saved"));
    settings::store().setValue(QStringLiteral("CSVDir"), directory);
    // A device that breaks off, too: what is logged then shows the request.
    m_fleet->addFault(0, Fault::closeWithoutAnswer().onPath("login.cgi").times(1));
    DialogSeries dialogs;
    dialogs.then(logIn(QStringLiteral("boss"), secret))
        .then(choose(directory))
        .then(closeAtTheEnd())
        .then(choose(makeFile(QStringLiteral("config.qini"), "[system]\r\nlocation=Hall 2\r\n")))
        .then(answer(QMessageBox::Yes))
        .then(closeAtTheEnd())
        .then(loadAndClose());
    trigger("actionSave_Configs");
    trigger("actionUpload_config");
    trigger("actionDownload_CSV");
    QCOMPARE(dialogs.seen(),
             QStringList({QStringLiteral("login: lab-1 (1/2)"), directoryCaption, saveDialog, uploadCaption,
                          QStringLiteral("box: Really upload config to 2 devices?"), uploadDialog,
                          historyDialog}));
    titles += dialogs.titles();
}

void TestMainWindowOperations::verifyNoFileHolds(const QList<QByteArray> &traces, const QString &told)
{
    QByteArray everything = told.toUtf8();
    int files = 0;
    QDirIterator written(path(QString()), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (written.hasNext()) {
        everything += written.next().toUtf8() + contentOf(written.filePath());
        ++files;
    }
    // The settings, the list, the file that was uploaded, two configurations, two histories.
    QCOMPARE(files, 7);
    for (const char *const proof : {"onLoginResult true", "Login", "LastUploadConfigFile", "\"hostname\"",
                                    "location=Hall 2", "[users]", "Time;Sensor 1"}) {
        QVERIFY2(everything.contains(proof), proof);
    }
    for (const QByteArray &trace : traces) {
        QVERIFY2(!everything.contains(trace), trace.constData());
    }
}

void TestMainWindowOperations::writesThePasswordNowhere()
{
    const QString secret = QStringLiteral("s3cret &w\u00F6rd+1%/");
    const QString mistyped = QStringLiteral("mist\u00FFped &w0rd=");
    simulator::DeviceOptions options;
    options.users = {{"boss", secret.toStdString(), 3}};
    const LogReader log;
    begin(2, options);
    // The columns are saved with the window, and what a visible one holds could be, too.
    m_bench->window().onDevice({});
    selectAll(3);
    m_bench->select({macOf(0), macOf(1)});
    QString titles;
    {
        DialogSeries dialogs;
        dialogs.then(logInInVain(QStringLiteral("boss"), mistyped, QStringLiteral("Wrong login")));
        trigger("actionSet_Login");
        titles += dialogs.titles();
    }
    useEveryOperation(secret, titles);
    QTRY_VERIFY_WITH_TIMEOUT(hasAnswered(2), patience);
    m_bench->trigger("actionSave_list");
    m_bench->window().close();
    m_bench.reset();
    settings::store().sync();

    // It did go over the wire, ...
    const auto sent = m_fleet->requests(0, "login.cgi");
    QVERIFY(sent.size() >= 3);
    const QByteArray encoded = "s3cret%20%26w%C3%B6rd%2B1%25%2F";
    QCOMPARE(QByteArray::fromStdString(sent.back().body),
             "btnapp=Submit&login_user=boss&login_password=" + encoded);
    // ... and nowhere else.
    verifyNoFileHolds({secret.toUtf8(), secret.toLatin1(), encoded, encoded.toLower(), QByteArray("s3cret"),
                       QByteArray("s3cret").toBase64().left(7), QByteArray("s3cret").toHex(),
                       mistyped.toUtf8(), QByteArray("mist"), QByteArray("w0rd")},
                      LogReader::text() + titles);
}

NEMBRA_GUI_TEST_MAIN(TestMainWindowOperations)
#include "tst_mainwindow_operations.moc"
