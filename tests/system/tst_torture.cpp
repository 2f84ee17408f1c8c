#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "dialogseries.h"
#include "discovery/discovery.h"
#include "failingcalls.h"
#include "mainwindow/mainwindow.h"
#include "operations/loadhistorydialog.h"
#include "operations/logindevicesdialog.h"
#include "operations/networkoperationsdialog.h"
#include "operations/updatefirmwaredialog.h"
#include "syslog/loglist.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "widgets/fileselectorwidget.h"
#include "windowbench.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QListWidget>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableWidget>
#include <QTimer>
#include <QUdpSocket>
#include <QtTest>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <set>

using namespace std::chrono_literals;
using namespace dialogstep;
using failingcalls::Call;

namespace {

/// Milliseconds for whatever must come to an end.
constexpr int patience = 15000;
/// After which somebody asks again who waits for devices that don't show up; each time twice as long.
constexpr int impatience = 50;

constexpr int deviceCount = 5;
const QByteArray scenario(R"({
    "fleet": {"restart_ms": 1},
    "groups": [
        {"count": 3, "mac": "0E:5A:11:00:00:01", "host_name": "lab-{n}", "anonymous_level": 3,
         "device_type": "TH2", "configuration": "[system]\r\nname=lab\r\n", "redirect_to_https": false},
        {"count": 2, "mac": "0E:5A:11:00:00:04", "host_name": "tls-{n}", "anonymous_level": 3,
         "device_type": "TH2", "configuration": "[system]\r\nname=lab\r\n", "redirect_to_https": true}]})");
const QByteArray configuration("[system]\r\nname=lab\r\n");

/// Set by an earlier run of the program.
const QString keptSetting = QStringLiteral("Kept");

const QString admin = QStringLiteral("admin");
const QString finished = QStringLiteral("Finished");

QString macOf(int index)
{
    return QStringLiteral("0E:5A:11:00:00:%1").arg(index + 1, 2, 16, QLatin1Char('0')).toUpper();
}

QStringList allDevices(const QString &outcome)
{
    QStringList outcomes;
    for (int i = 0; i < deviceCount; ++i) {
        outcomes += outcome;
    }
    return outcomes;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(not there)");
}

/// What the process holds.
struct Holdings
{
    int descriptors = 0;
    int threads = 0;

    static Holdings now() { return {thisprocess::descriptorCount(), thisprocess::threadCount()}; }
    bool operator==(const Holdings &other) const
    {
        return descriptors == other.descriptors && threads == other.threads;
    }
    QString text() const
    {
        return QStringLiteral("%1 descriptors, %2 threads").arg(descriptors).arg(threads);
    }
};

/// Which of so many calls are to fail: all if they are few, else the first, one in the middle and the last.
std::set<int> numbersUpTo(int last)
{
    constexpr int few = 4;
    std::set<int> numbers;
    for (int number = 1; number <= std::min(last, few); ++number) {
        numbers.insert(number);
    }
    return last <= few ? numbers : std::set<int>{1, (last + 1) / 2, last};
}

/// Something that a user does, and what comes of it.
struct Action
{
    /// What must be there before.
    std::function<void()> prepare = [] {};
    /// Does it and tells what the user was told, each device or box on its own.
    std::function<QStringList()> run;
    /// What is told when nothing fails.
    QStringList good;
    /// What may be told else of a device, as a whole.
    QString bad;
    /// Empty if all files are as they must be after what was told.
    std::function<QString(const QStringList &)> checkFiles = [](const QStringList &) { return QString(); };
};

} // namespace

/// Each call by which the program can fail for lack of something does so once, wherever users meet it: the
/// first one of its kind in an action, one in the middle, and the last one. Whatever it is, the action ends
/// with a word to the user, nothing is left behind, and the next time it works.
class TestTorture final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void scans();
    void savesTheList();
    void logsIn();
    void downloadsConfigurations();
    void uploadsAConfiguration();
    void downloadsHistories();
    void updatesFirmware();
    void updatesTheOthersWithoutAThread_data();
    void updatesTheOthersWithoutAThread();
    void showsMessages();
    void goes();

private:
    void openWindow();
    /// Whether every device has a row that says it is well, and nothing is under way.
    bool isAtRest() const;
    /// Presses the key for a refresh until it is.
    [[nodiscard]] bool comesToRest();
    QString rows() const;
    QList<Device *> devices() const;
    QString path(const QString &name) const { return m_environment->path(name); }
    QString outputDirectory() const { return path(QStringLiteral("out")); }
    /// Of a file for each device that is told to be finished, and of nothing else.
    QString checkOutput(const QStringList &outcome,
                        const std::function<bool(const QByteArray &)> &isGood) const;

    void torture(const Action &action);
    /// What is wrong afterwards; empty if nothing is.
    QString failAt(const Action &action, Call call, int number, int inARow = 1);

    void prepareUpdate();
    /// Updates the firmware and tells what each row says in the end.
    QStringList update(const QList<Device *> &devices, std::chrono::milliseconds restartTime);
    /// The files that are none; whatever there is is taken away.
    QString checkKeptConfigurations() const;
    QStringList runTransfer(const std::function<void(QWidget *)> &open, DialogSeries::Step step);

    QProcess m_fleet;
    std::unique_ptr<QTemporaryDir> m_fleetDirectory;
    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<WindowBench> m_bench;
    /// Before and after an action.
    Holdings m_holdings;
    int m_injected = 0;
};

void TestTorture::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    m_fleetDirectory = std::make_unique<QTemporaryDir>();
    QFile file(m_fleetDirectory->filePath(QStringLiteral("scenario.json")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(scenario) == scenario.size());
    file.close();
    m_fleet.start(QStringLiteral(NEMBRA_SIMULATOR_PROGRAM), {QStringLiteral("--scenario"), file.fileName()});
    QVERIFY2(m_fleet.waitForReadyRead(patience), m_fleet.readAllStandardError().constData());
    QVERIFY(m_fleet.readLine().startsWith("ready: "));
    // What the process makes once and keeps.
    init();
    openWindow();
    cleanup();
}

void TestTorture::cleanupTestCase()
{
    m_fleet.terminate();
    QVERIFY(m_fleet.waitForFinished(patience));
}

void TestTorture::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    QVERIFY(QDir().mkdir(outputDirectory()));
    settings::store().setValue(keptSetting, QStringLiteral("kept"));
    settings::store().sync();
    m_injected = 0;
}

void TestTorture::cleanup()
{
    failingcalls::stop();
    m_bench.reset();
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_environment.reset();
}

void TestTorture::openWindow()
{
    m_bench = std::make_unique<WindowBench>(path(QStringLiteral("devices.json")));
    QVERIFY2(comesToRest(), qPrintable(rows()));
}

QString TestTorture::rows() const
{
    QStringList rows;
    for (int i = 0; i < deviceCount; ++i) {
        rows += m_bench->cell(macOf(i), Column::Status);
    }
    return rows.join(QLatin1String(" | "));
}

bool TestTorture::isAtRest() const
{
    for (int i = 0; i < deviceCount; ++i) {
        const DeviceItem *const row = m_bench->row(macOf(i));
        if (!row || row->device().requestOutstanding() || row->device().queryPending() ||
            row->device().dataAge() > 0 || row->text(Column::Status) != QLatin1String("200 OK")) {
            return false;
        }
    }
    return orphanedManagers().isEmpty();
}

bool TestTorture::comesToRest()
{
    QElapsedTimer time;
    time.start();
    for (int wait = impatience; !QTest::qWaitFor([this] { return isAtRest(); }, wait); wait *= 2) {
        if (time.hasExpired(patience)) {
            return false;
        }
        m_bench->trigger("actionDiscover_devices");
    }
    return true;
}

QList<Device *> TestTorture::devices() const
{
    QList<Device *> devices;
    for (int i = 0; i < deviceCount; ++i) {
        devices += &m_bench->row(macOf(i))->device();
    }
    return devices;
}

QString TestTorture::checkOutput(const QStringList &outcome,
                                 const std::function<bool(const QByteArray &)> &isGood) const
{
    QDir directory(outputDirectory());
    const QStringList names =
        directory.entryList(QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    QString wrong;
    if (names.size() != outcome.count(finished)) {
        wrong = QStringLiteral("the files are ") + names.join(QLatin1String(", "));
    }
    for (const QString &name : names) {
        if (!isGood(contentOf(directory.filePath(name)))) {
            wrong = name + QLatin1String(" holds ") + QString::fromUtf8(contentOf(directory.filePath(name)));
        }
        directory.remove(name);
    }
    return wrong;
}

void TestTorture::torture(const Action &action)
{
    QVERIFY2(comesToRest(), qPrintable(rows()));
    // Twice: what the first one makes for good is no leak.
    for (int i = 0; i < 2; ++i) {
        action.prepare();
        QCOMPARE(action.run(), action.good);
        QCOMPARE(action.checkFiles(action.good), QString());
        QVERIFY2(comesToRest(), qPrintable(rows()));
    }
    m_holdings = Holdings::now();
    action.prepare();
    failingcalls::count();
    const QStringList outcome = action.run();
    const failingcalls::Counts counts = failingcalls::stop();
    QCOMPARE(outcome, action.good);
    QCOMPARE(action.checkFiles(outcome), QString());
    QStringList report;
    for (std::size_t i = 0; i < failingcalls::callKinds; ++i) {
        const auto call = static_cast<Call>(i);
        const int last = counts.at(i);
        const int before = m_injected;
        for (const int number : numbersUpTo(last)) {
            QString wrong = failAt(action, call, number);
            // Whatever lets one file fail for lack of room lets those after it fail, too.
            if (call == Call::Write && wrong.isEmpty()) {
                wrong = failAt(action, call, number, last);
            }
            QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        }
        if (last > 0) {
            report += QStringLiteral("%1 %2/%3")
                          .arg(QLatin1String(failingcalls::nameOf(call)))
                          .arg(m_injected - before)
                          .arg(last);
        }
    }
    qInfo().noquote() << "failed of each:" << report.join(QLatin1String(", "));
}

QString TestTorture::failAt(const Action &action, Call call, int number, int inARow)
{
    const QLatin1String separator(" | ");
    QString place = QStringLiteral("%1 %2 (%3 in a row)")
                        .arg(QLatin1String(failingcalls::nameOf(call)))
                        .arg(number)
                        .arg(inARow);
    if (qEnvironmentVariableIsSet("TORTURE_TRACE")) {
        qInfo().noquote() << place;
    }
    action.prepare();
    failingcalls::fail(call, number, inARow);
    const QStringList outcome = action.run();
    const int failures = failingcalls::failures();
    failingcalls::stop();
    m_injected += failures;
    place += QLatin1String(": ") + outcome.join(separator) + QLatin1String("; ");
    // How often something is called depends on how busy the machine is; once it always is.
    if (failures == 0 && number == 1) {
        return place + QLatin1String("nothing was called");
    }

    const QRegularExpression bad(QRegularExpression::anchoredPattern(action.bad));
    const bool isToldWell = std::all_of(outcome.begin(), outcome.end(), [&](const QString &text) {
        return action.good.contains(text) || bad.match(text).hasMatch();
    });
    if (!isToldWell || outcome.size() < action.good.size()) {
        return place + QLatin1String("nobody understands that");
    }
    const QString wrongFiles = action.checkFiles(outcome);
    if (!wrongFiles.isEmpty()) {
        return place + wrongFiles;
    }
    if (!comesToRest()) {
        return place + rows();
    }
    const QByteArray settingsText = contentOf(m_environment->settingsFile());
    if (!settingsText.contains("Kept=kept")) {
        return place + QLatin1String("the settings are ") + QString::fromUtf8(settingsText);
    }

    action.prepare();
    const QStringList again = action.run();
    const QString wrongAgain = action.checkFiles(again);
    if (again != action.good || !wrongAgain.isEmpty()) {
        return place + QLatin1String("then ") + again.join(separator) + wrongAgain;
    }
    if (!comesToRest()) {
        return place + QLatin1String("then ") + rows();
    }
    if (!QTest::qWaitFor([this] { return Holdings::now() == m_holdings; }, patience)) {
        return place + Holdings::now().text() + QLatin1String(" instead of ") + m_holdings.text();
    }
    return {};
}

void TestTorture::scans()
{
    openWindow();
    Action action;
    action.run = [this] {
        m_bench.reset();
        m_bench = std::make_unique<WindowBench>(path(QStringLiteral("devices.json")));
        return QStringList{comesToRest() ? QStringLiteral("all") : rows()};
    };
    action.good = QStringList{QStringLiteral("all")};
    torture(action);
}

void TestTorture::savesTheList()
{
    openWindow();
    const QString file = path(QStringLiteral("devices.json"));
    const QByteArray old(R"({"devices":[]})");
    Action action;
    action.prepare = [file, old] {
        QFile before(file);
        QVERIFY(before.open(QIODevice::WriteOnly) && before.write(old) == old.size());
    };
    action.run = [this] {
        BoxAnswerer boxes(QMessageBox::Ok);
        m_bench->trigger("actionSave_list");
        return boxes.texts().isEmpty() ? QStringList{QStringLiteral("saved")} : boxes.texts();
    };
    action.good = QStringList{QStringLiteral("saved")};
    action.bad = QStringLiteral("Error (writing|opening) file .*/devices.json( for writing)?");
    action.checkFiles = [this, file, old, good = action.good](const QStringList &outcome) {
        const QByteArray content = contentOf(file);
        const int count =
            QJsonDocument::fromJson(content).object().value(QLatin1String("devices")).toArray().size();
        const bool isRight = outcome == good ? count == deviceCount : content == old;
        const QStringList names =
            QDir(path(QString())).entryList({QStringLiteral("devices*")}, QDir::Files | QDir::Hidden);
        return isRight && names.size() == 1
                   ? QString()
                   : names.join(QLatin1Char(' ')) + QLatin1String(": ") + QString::fromUtf8(content);
    };
    torture(action);
}

void TestTorture::logsIn()
{
    openWindow();
    Action action;
    action.run = [this] {
        QStringList told;
        LoginDevicesDialog dialog(devices(), AccessLevel::WriteConfig, &m_bench->window());
        DialogSeries dialogs;
        dialogs.then([&told](QWidget *widget) {
            auto *const ok = in<QPushButton>(widget, "pushButtonOK");
            if (!ok->isEnabled()) {
                return;
            }
            const QString error = in<QLabel>(widget, "labelError")->text();
            if (!error.isEmpty()) {
                told += error;
                // And tries again.
            }
            logIn(admin, admin)(widget);
        });
        const bool isIn = dialog.exec() == QDialog::Accepted;
        const QList<Device *> all = devices();
        const auto sessions = std::count_if(
            all.begin(), all.end(), [](const Device *device) { return device->cookies().size() == 1; });
        return told + QStringList{QStringLiteral("%1 %2").arg(isIn).arg(sessions)};
    };
    action.good = QStringList{QStringLiteral("1 5")};
    action.bad = QStringLiteral("Network Problem: .+|Wrong login");
    torture(action);
}

QStringList TestTorture::runTransfer(const std::function<void(QWidget *)> &open, DialogSeries::Step step)
{
    DialogSeries dialogs;
    dialogs.then(std::move(step));
    open(&m_bench->window());
    return dialogs.seen().size() == 1 ? QStringList() : dialogs.seen();
}

void TestTorture::downloadsConfigurations()
{
    openWindow();
    Action action;
    action.run = [this] {
        QStringList told;
        const QStringList others = runTransfer(
            [this](QWidget *parent) {
                NetworkOperationsDialog::downloadConfigs(outputDirectory(), devices(), true, parent);
            },
            closeAtTheEnd(&told));
        return told.replaceInStrings(QRegularExpression(QStringLiteral("^.*?: ")), QString()) + others;
    };
    action.good = allDevices(finished);
    action.bad = QStringLiteral("Canceled|Error writing file");
    action.checkFiles = [this](const QStringList &outcome) {
        return checkOutput(outcome,
                           [](const QByteArray &content) { return content.contains(configuration); });
    };
    torture(action);
}

void TestTorture::uploadsAConfiguration()
{
    openWindow();
    Action action;
    action.run = [this] {
        QStringList told;
        const QStringList others = runTransfer(
            [this](QWidget *parent) {
                NetworkOperationsDialog::uploadConfig(configuration, devices(), parent);
            },
            closeAtTheEnd(&told));
        return told.replaceInStrings(QRegularExpression(QStringLiteral("^.*?: ")), QString()) + others;
    };
    action.good = allDevices(finished);
    action.bad = QStringLiteral("Canceled");
    torture(action);
}

void TestTorture::downloadsHistories()
{
    openWindow();
    settings::store().setValue(QStringLiteral("CSVDir"), outputDirectory());
    // Minutes between two lines: some pieces for each file.
    settings::setValue(settings::historyStepSize, 5);
    Action action;
    action.run = [this] {
        QStringList told;
        const auto load = [&told, isLoading = false](QWidget *dialog) mutable {
            const auto *const close = in<QPushButton>(dialog, "pushButtonClose");
            if (!isLoading) {
                isLoading = true;
                in<QPushButton>(dialog, "pushButtonLoad")->click();
            } else if (close->isEnabled()) {
                const auto *const table = in<QTableWidget>(dialog, "tableWidget");
                for (int row = 0; row < table->rowCount(); ++row) {
                    told += table->item(row, table->columnCount() - 1)->text();
                }
                dialog->close();
            }
        };
        const QStringList others = runTransfer(
            [this](QWidget *parent) { LoadHistoryDialog::downloadHistory(devices(), parent); }, load);
        return told + others;
    };
    action.good = allDevices(finished);
    action.bad = QStringLiteral("Canceled|Error writing file");
    action.checkFiles = [this](const QStringList &outcome) {
        return checkOutput(outcome, [](const QByteArray &content) {
            return content.startsWith("Time;") && content.endsWith("\r\n");
        });
    };
    torture(action);
}

void TestTorture::prepareUpdate()
{
    QFile image(path(QStringLiteral("image.bin")));
    QVERIFY(image.open(QIODevice::WriteOnly) && image.write("version=7.8.9\nimage") > 0);
    settings::store().setValue(QStringLiteral("ConfigDir"), outputDirectory());
    settings::store().setValue(QStringLiteral("FirmwareDir"), image.fileName());
}

QStringList TestTorture::update(const QList<Device *> &devices, std::chrono::milliseconds restartTime)
{
    auto *const discovery = m_bench->window().findChild<Discovery *>();
    UpdateFirmwareDialog dialog(devices, *discovery, &m_bench->window());
    dialog.setRestartTime(restartTime);
    in<QCheckBox>(&dialog, "checkBoxSaveConfig")->setChecked(true);
    dialog.show();
    const auto *const table = in<QTableWidget>(&dialog, "tableWidget");
    // As the dialog does by itself, only more often, and not while a device is about to restart: an answer
    // from before would be taken for one from after.
    QTimer refresh;
    QObject::connect(&refresh, &QTimer::timeout, discovery, [discovery, table] {
        for (int row = 0; row < table->rowCount(); ++row) {
            if (table->item(row, 1)->text() == QLatin1String("Waiting for device")) {
                discovery->refresh();
                return;
            }
        }
    });
    refresh.start(10);
    in<QPushButton>(&dialog, "pushButtonUpdate")->click();
    const QList<UpdateThread *> threads = dialog.findChildren<UpdateThread *>();
    const bool haveEnded = QTest::qWaitFor(
        [&threads] {
            return std::none_of(threads.begin(), threads.end(),
                                [](const UpdateThread *thread) { return thread->isRunning(); });
        },
        patience);
    // What they have said last is on its way.
    QCoreApplication::sendPostedEvents();
    QStringList told;
    for (int row = 0; row < devices.size(); ++row) {
        told += (haveEnded ? QString() : QStringLiteral("hangs: ")) + table->item(row, 1)->text();
    }
    dialog.close();
    return told;
}

QString TestTorture::checkKeptConfigurations() const
{
    QDir directory(outputDirectory());
    const QStringList names =
        directory.entryList(QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    QString wrong;
    for (const QString &name : names) {
        if (!name.endsWith(QLatin1String(".qini")) ||
            !contentOf(directory.filePath(name)).contains(configuration)) {
            wrong += name;
        }
        directory.remove(name);
    }
    return wrong;
}

void TestTorture::updatesFirmware()
{
    openWindow();
    prepareUpdate();
    Action action;
    action.run = [this] { return update({devices().first()}, 20ms); };
    action.good = QStringList{finished};
    action.bad = QStringLiteral("Error for HTTP-Request: .+|Error opening firmware file .+|"
                                "Error opening file .+for writing|The system has no room for another thread");
    action.checkFiles = [this](const QStringList &) { return checkKeptConfigurations(); };
    torture(action);
}

void TestTorture::updatesTheOthersWithoutAThread_data()
{
    QTest::addColumn<int>("thread");
    QTest::newRow("the first") << 1;
    QTest::newRow("one in the middle") << 3;
    QTest::newRow("the last") << 5;
}

void TestTorture::updatesTheOthersWithoutAThread()
{
    // An answer of one that is about to restart may be on its way while another one is waited for.
    constexpr auto several = 150ms;
    QFETCH(int, thread);
    openWindow();
    prepareUpdate();
    failingcalls::fail(Call::Thread, thread);
    const QStringList told = update(devices(), several);
    failingcalls::stop();
    QStringList expected = allDevices(finished);
    expected[thread - 1] = QStringLiteral("The system has no room for another thread");
    QCOMPARE(told, expected);
    QCOMPARE(checkKeptConfigurations(), QString());
    QVERIFY2(comesToRest(), qPrintable(rows()));
    QCOMPARE(update(devices(), several), allDevices(finished));
}

void TestTorture::showsMessages()
{
    openWindow();
    Action action;
    action.run = [this] {
        BoxAnswerer boxes(QMessageBox::Ok);
        m_bench->trigger("actionSyslog");
        CLogList *log = nullptr;
        const QWidgetList windows = QApplication::topLevelWidgets();
        for (QWidget *const window : windows) {
            log = log ? log : qobject_cast<CLogList *>(window);
        }
        const auto *const list = in<QListWidget>(log, "logListWidget");
        QUdpSocket device;
        const bool shown = QTest::qWaitFor(
            [&] {
                device.writeDatagram("<13>hello", QHostAddress(QStringLiteral("10.77.0.1")), 514);
                return list->count() > 0 || !boxes.texts().isEmpty();
            },
            patience);
        const QStringList told = boxes.texts();
        log->close();
        const bool isGone =
            QTest::qWaitFor([this] { return !m_bench->action("actionSyslog")->isChecked(); }, patience);
        return told.isEmpty() ? QStringList{QStringLiteral("%1 %2").arg(shown).arg(isGone)} : told;
    };
    action.good = QStringList{QStringLiteral("1 1")};
    action.bad = QStringLiteral("Could not bind to syslog port 514.");
    torture(action);
}

void TestTorture::goes()
{
    openWindow();
    Action action;
    action.prepare = [this] {
        const QList<Device *> all = devices();
        for (Device *const device : all) {
            device->updateInfo();
            QVERIFY(device->requestOutstanding());
        }
    };
    action.run = [this] {
        m_bench->window().close();
        m_bench.reset();
        const bool isQuiet = QTest::qWaitFor([] { return orphanedManagers().isEmpty(); }, patience);
        return QStringList{isQuiet ? QStringLiteral("gone") : QStringLiteral("something is left")};
    };
    action.good = QStringList{QStringLiteral("gone")};
    action.checkFiles = [this](const QStringList &outcome) {
        Q_UNUSED(outcome)
        failingcalls::stop();
        openWindow();
        return QString();
    };
    torture(action);
}

NEMBRA_GUI_TEST_MAIN(TestTorture)

#include "tst_torture.moc"
