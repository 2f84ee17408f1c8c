#include "common/settings.h"
#include "device/device.h"
#include "dialogseries.h"
#include "discovery/discovery.h"
#include "failingcalls.h"
#include "mainwindow/mainwindow.h"
#include "operations/updatefirmwaredialog.h"
#include "torturebench.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;
using namespace dialogstep;
using failingcalls::Call;

namespace {

const QString finished = QStringLiteral("Finished");

} // namespace

/// Firmware updates, in need.
class TestTortureUpdate final : public QObject, private TortureBench
{
    Q_OBJECT

private slots:
    void initTestCase() { begin(); }
    void cleanupTestCase() { end(); }
    void init() { open(); }
    void cleanup() { close(); }

    void updatesFirmware();
    void updatesTheOthersWithoutAThread_data();
    void updatesTheOthersWithoutAThread();

private:
    void prepareUpdate();
    /// Updates the firmware and tells what each row says in the end.
    QStringList update(const QList<Device *> &devices, std::chrono::milliseconds restartTime);
    /// The files that are none; whatever there is is taken away.
    QString checkKeptConfigurations() const;
};

void TestTortureUpdate::prepareUpdate()
{
    QFile image(path(QStringLiteral("image.bin")));
    QVERIFY(image.open(QIODevice::WriteOnly) && image.write("version=7.8.9\nimage") > 0);
    settings::store().setValue(QStringLiteral("ConfigDir"), outputDirectory());
    settings::store().setValue(QStringLiteral("FirmwareDir"), image.fileName());
}

QStringList TestTortureUpdate::update(const QList<Device *> &devices, std::chrono::milliseconds restartTime)
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

QString TestTortureUpdate::checkKeptConfigurations() const
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

void TestTortureUpdate::updatesFirmware()
{
    openWindow();
    prepareUpdate();
    Action action;
    action.run = [this] { return update({devices().constFirst()}, 20ms); };
    action.good = QStringList{finished};
    action.bad = QStringLiteral("Error for HTTP-Request: .+|Error opening firmware file .+|"
                                "Error opening file .+for writing|The system has no room for another thread");
    action.checkFiles = [this](const QStringList &) { return checkKeptConfigurations(); };
    torture(action);
}

void TestTortureUpdate::updatesTheOthersWithoutAThread_data()
{
    QTest::addColumn<int>("thread");
    QTest::newRow("the first") << 1;
    QTest::newRow("one in the middle") << 3;
    QTest::newRow("the last") << 5;
}

void TestTortureUpdate::updatesTheOthersWithoutAThread()
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

NEMBRA_GUI_TEST_MAIN(TestTortureUpdate)

#include "tst_torture_update.moc"
