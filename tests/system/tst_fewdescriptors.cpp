#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "dialogseries.h"
#include "discovery/discovery.h"
#include "fleetprocess.h"
#include "mainwindow/mainwindow.h"
#include "operations/networkoperationsdialog.h"
#include "operations/updatefirmwaredialog.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "windowbench.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

#include <algorithm>
#include <chrono>
#include <memory>

using namespace std::chrono_literals;
using namespace dialogstep;
using thisprocess::DescriptorLimit;

namespace {

constexpr int patience = 30000; // milliseconds
constexpr int deviceCount = 200;
/// Half of them the process has at rest.
constexpr int fewDescriptors = 64;

const QByteArray scenario(R"({
    "fleet": {"restart_ms": 10},
    "groups": [
        {"count": 150, "host_name": "lab-{n}", "anonymous_level": 3, "device_type": "TH2",
         "configuration": "[system]\r\nname=lab\r\n"},
        {"count": 50, "host_name": "tls-{n}", "anonymous_level": 3, "device_type": "TH2",
         "configuration": "[system]\r\nname=lab\r\n", "redirect_to_https": true}]})");

} // namespace

/// The program where the system grants it next to no open files.
class TestFewDescriptors final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void asksAll();
    void downloadsFromAll();
    void updatesSome();

private:
    bool haveAllAnswered() const;
    /// Refreshes until all are well.
    [[nodiscard]] bool askAll();
    QList<Device *> firstDevices(int count) const;
    QString outputDirectory() const { return m_environment->path(QStringLiteral("out")); }

    FleetProcess m_fleet;
    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<DescriptorLimit> m_limit;
    std::unique_ptr<WindowBench> m_bench;
};

void TestFewDescriptors::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    QCOMPARE(m_fleet.startScenario(scenario), QString());
}

void TestFewDescriptors::cleanupTestCase()
{
    QVERIFY(m_fleet.stop());
}

void TestFewDescriptors::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    QVERIFY(QDir().mkdir(outputDirectory()));
    m_limit = std::make_unique<DescriptorLimit>(fewDescriptors);
    m_bench = std::make_unique<WindowBench>(m_environment->path(QStringLiteral("devices.json")));
}

void TestFewDescriptors::cleanup()
{
    m_bench.reset();
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_limit.reset();
    m_environment.reset();
}

bool TestFewDescriptors::haveAllAnswered() const
{
    const DeviceList &list = m_bench->list();
    int count = 0;
    for (int i = 0; i < list.topLevelItemCount(); ++i) {
        const auto *const row = static_cast<const DeviceItem *>(list.topLevelItem(i));
        count += row->text(Column::Status) == QLatin1String("200 OK") ? 1 : 0;
    }
    return count == deviceCount;
}

bool TestFewDescriptors::askAll()
{
    constexpr int rounds = 20;
    constexpr int roundTime = 1000;
    for (int round = 0; round < rounds; ++round) {
        if (QTest::qWaitFor([this] { return haveAllAnswered(); }, roundTime)) {
            return true;
        }
        m_bench->trigger("actionDiscover_devices");
    }
    return false;
}

QList<Device *> TestFewDescriptors::firstDevices(int count) const
{
    QList<Device *> devices;
    for (int i = 0; i < count; ++i) {
        devices += &static_cast<DeviceItem *>(m_bench->list().topLevelItem(i))->device();
    }
    return devices;
}

void TestFewDescriptors::asksAll()
{
    QVERIFY2(askAll(), qPrintable(m_bench->column(Column::Status).join(QLatin1Char('|'))));
}

void TestFewDescriptors::downloadsFromAll()
{
    constexpr int count = 100;
    QVERIFY(askAll());
    QStringList told;
    DialogSeries dialogs;
    dialogs.then(closeAtTheEnd(&told));
    NetworkOperationsDialog::downloadConfigs(outputDirectory(), firstDevices(count), true,
                                             &m_bench->window());
    QCOMPARE(dialogs.seen().size(), 1);
    QCOMPARE(told.size(), count);
    QVERIFY2(told.filter(QStringLiteral(": Finished")).size() == count,
             qPrintable(told.join(QLatin1Char('|'))));
    QCOMPARE(QDir(outputDirectory()).entryList(QDir::Files | QDir::Hidden).size(), count);
}

void TestFewDescriptors::updatesSome()
{
    constexpr int count = 50;
    QVERIFY(askAll());
    const QString image = m_environment->path(QStringLiteral("image.bin"));
    {
        QFile file(image);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("version=7.8.9\nimage") > 0);
    }
    settings::store().setValue(QStringLiteral("ConfigDir"), outputDirectory());
    settings::store().setValue(QStringLiteral("FirmwareDir"), image);
    auto *const discovery = m_bench->window().findChild<Discovery *>();
    UpdateFirmwareDialog dialog(firstDevices(count), *discovery, &m_bench->window());
    dialog.setRestartTime(20ms);
    in<QCheckBox>(&dialog, "checkBoxSaveConfig")->setChecked(true);
    dialog.show();
    in<QPushButton>(&dialog, "pushButtonUpdate")->click();
    const QList<UpdateThread *> threads = dialog.findChildren<UpdateThread *>();
    QCOMPARE(threads.size(), count);
    QTRY_VERIFY_WITH_TIMEOUT(
        std::none_of(threads.begin(), threads.end(), [](const UpdateThread *t) { return t->isRunning(); }),
        patience);
    QCoreApplication::sendPostedEvents();
    QStringList told;
    for (int row = 0; row < count; ++row) {
        told += in<QTableWidget>(&dialog, "tableWidget")->item(row, 1)->text();
    }
    const int finished = told.count(QStringLiteral("Finished"));
    const int refused = told.count(QStringLiteral("The system has no room for another thread"));
    const QByteArray seen = told.join(QLatin1Char('|')).toUtf8();
    QVERIFY2(finished > 0 && finished + refused == count, seen.constData());
    QCOMPARE(QDir(outputDirectory()).entryList(QDir::Files | QDir::Hidden).size(), finished);
}

NEMBRA_GUI_TEST_MAIN(TestFewDescriptors)

#include "tst_fewdescriptors.moc"
