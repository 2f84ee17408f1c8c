#include "common/settings.h"
#include "device/device.h"
#include "devicerow.h"
#include "fleetprocess.h"
#include "operations/loadhistorydialog.h"
#include "operations/networkoperationsdialog.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "transferbench.h"

#include <QAbstractButton>
#include <QCalendarWidget>
#include <QDir>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

/// Milliseconds for a run of many devices or of many bytes.
constexpr int patience = 50000;

constexpr qint64 megabyte = 1024LL * 1024;

enum class Operation { Download, Upload, History };

/// How much more memory the process has occupied at most since the object was made.
class MemoryPeak final
{
public:
    MemoryPeak()
        : m_isMeasured(thisprocess::restartPeakMemory())
        , m_before(thisprocess::residentMemory())
    {
    }

    bool isMeasured() const { return m_isMeasured && m_before > 0; }
    qint64 growth() const { return thisprocess::peakMemory() - m_before; }

private:
    const bool m_isMeasured;
    const qint64 m_before;
};

/// Runs the event loop as the program does, without the pauses that waiting in a test usually makes, until
/// the condition holds. Tells whether it does.
bool loopUntil(const std::function<bool()> &condition)
{
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (condition()) {
            loop.quit();
        }
    });
    look.start(20);
    QTimer::singleShot(patience, &loop, &QEventLoop::quit);
    loop.exec();
    return condition();
}

} // namespace

Q_DECLARE_METATYPE(Operation)

/// What the transfers take of the machine. The fleet is a process of its own, so that what it takes isn't
/// counted.
class TestTransferLimits : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void makesDoWithFewDescriptors_data();
    void makesDoWithFewDescriptors();
    void cancelsWithFewDescriptors();
    void keepsNoHistoryInMemory();
    void keepsNoAnswerToAnUploadInMemory();

private:
    void start(const QByteArray &scenario, int devices);
    QList<Device *> devices() const;
    void run(Operation operation, const std::function<void(DialogUser &)> &use) const;
    QString directory() const { return m_directory->filePath(QStringLiteral("out")); }
    QStringList fileNames() const
    {
        return QDir(directory()).entryList(QDir::Files | QDir::Hidden | QDir::System);
    }

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<QTemporaryDir> m_directory;
    FleetProcess m_fleet;
    std::vector<std::unique_ptr<DeviceRow>> m_rows;
};

void TestTransferLimits::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir().mkdir(directory()));
    settings::store().setValue(QStringLiteral("CSVDir"), directory());
}

void TestTransferLimits::cleanup()
{
    m_rows.clear();
    QVERIFY(m_fleet.stop());
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_directory.reset();
    m_environment.reset();
}

void TestTransferLimits::start(const QByteArray &scenario, int devices)
{
    QCOMPARE(m_fleet.startScenario(scenario), QString());
    QVERIFY(m_fleet.readyLine().startsWith("ready: " + QByteArray::number(devices) + " devices"));
    const quint32 firstAddress = QHostAddress(QStringLiteral("10.77.128.1")).toIPv4Address();
    for (int i = 0; i < devices; ++i) {
        DiscoveryDevice record;
        record.setHostname(QStringLiteral("rack"));
        record.setMacText(QStringLiteral("0E:5A:11:00:%1:%2")
                              .arg(i / 256, 2, 16, QLatin1Char('0'))
                              .arg(i % 256, 2, 16, QLatin1Char('0'))
                              .toUpper());
        record.setAddress(QHostAddress(firstAddress + static_cast<quint32>(i)));
        m_rows.push_back(std::make_unique<DeviceRow>());
        m_rows.back()->device().updateFromDiscovery(record);
    }
}

QList<Device *> TestTransferLimits::devices() const
{
    QList<Device *> devices;
    for (const auto &row : m_rows) {
        devices += &row->device();
    }
    return devices;
}

void TestTransferLimits::run(Operation operation, const std::function<void(DialogUser &)> &use) const
{
    QVERIFY(withDialog(
        [&] {
            if (operation == Operation::Download) {
                NetworkOperationsDialog::downloadConfigs(directory(), devices(), true, nullptr);
            } else if (operation == Operation::Upload) {
                NetworkOperationsDialog::uploadConfig("name=rack\r\n", devices(), nullptr);
            } else {
                LoadHistoryDialog::downloadHistory(devices(), nullptr);
            }
        },
        [operation, &use](DialogUser &user) {
            if (operation == Operation::History) {
                user.button("pushButtonLoad").click();
            }
            use(user);
        }));
}

void TestTransferLimits::makesDoWithFewDescriptors_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<int>("files");
    QTest::newRow("download") << Operation::Download << 300;
    QTest::newRow("upload") << Operation::Upload << 0;
    QTest::newRow("history") << Operation::History << 300;
}

void TestTransferLimits::makesDoWithFewDescriptors()
{
    QFETCH(Operation, operation);
    QFETCH(int, files);
    start(R"({"fleet": {"delay_ms": 20}, "groups": [{"count": 300, "anonymous_level": 3}]})", 300);
    const thisprocess::DescriptorLimit limit(400);
    run(operation, [](DialogUser &user) {
        QTRY_VERIFY_WITH_TIMEOUT(!user.button("pushButtonCancel").isEnabled(), patience);
        QCOMPARE(user.statuses().count(QStringLiteral("Finished, #00ff00")), 300);
    });
    QCOMPARE(fileNames().size(), files);
}

void TestTransferLimits::cancelsWithFewDescriptors()
{
    start(R"({"groups": [{"count": 300, "anonymous_level": 3}], "faults": [{"kind": "hang"}]})", 300);
    const thisprocess::DescriptorLimit limit(400);
    run(Operation::Download, [](DialogUser &user) {
        // More don't fit at a time: a quarter of them is 72, besides what the process always has.
        QTRY_VERIFY_WITH_TIMEOUT(thisprocess::socketCount() >= 72, patience);
        QVERIFY2(thisprocess::socketCount() < 90, qPrintable(QString::number(thisprocess::socketCount())));
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses().count(QStringLiteral("Canceled, #ff0000")), 300);
    });
    QCOMPARE(fileNames().size(), 0);
}

void TestTransferLimits::keepsNoHistoryInMemory()
{
#ifdef __SANITIZE_ADDRESS__
    QTest::qSkip("This build keeps what is freed.", __FILE__, __LINE__);
    return;
#endif
    // 80 days of a kilobyte each minute.
    QByteArrayList sensors;
    for (int i = 0; i < 100; ++i) {
        sensors += R"({"base": 20, "decimals": 6})";
    }
    const qint64 historyStart = QDateTime::currentSecsSinceEpoch() - qint64(80) * 24 * 3600;
    start(R"({"devices": [{"anonymous_level": 3, "history_start": )" + QByteArray::number(historyStart) +
              R"(, "sensors": [)" + sensors.join(", ") + "]}]}",
          1);
    m_rows.front()->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_rows.front()->newDataCount(), 1, patience);
    QVERIFY(withDialog([this] { LoadHistoryDialog::downloadHistory(devices(), nullptr); },
                       [](DialogUser &user) {
                           auto &calendar = user.find<QCalendarWidget>("calendarWidgetStart");
                           calendar.setSelectedDate(calendar.minimumDate());
                           const MemoryPeak memory;
                           QVERIFY(memory.isMeasured());
                           user.button("pushButtonLoad").click();
                           const QAbstractButton &cancel = user.button("pushButtonCancel");
                           QVERIFY(loopUntil([&cancel] { return !cancel.isEnabled(); }));
                           QCOMPARE(user.statuses(), QStringList{QStringLiteral("Finished, #00ff00")});
                           QVERIFY2(memory.growth() < 60 * megabyte,
                                    qPrintable(QString::number(memory.growth())));
                       }));
    QCOMPARE(fileNames().size(), 1);
    const qint64 size = QFileInfo(directory() + QLatin1Char('/') + fileNames().constFirst()).size();
    QVERIFY2(size > 100 * megabyte, qPrintable(QString::number(size)));
}

void TestTransferLimits::keepsNoAnswerToAnUploadInMemory()
{
#ifdef __SANITIZE_ADDRESS__
    QTest::qSkip("This build keeps what is freed.", __FILE__, __LINE__);
    return;
#endif
    start(R"({"devices": [{"anonymous_level": 3}], "faults": [{"kind": "endless-body"}]})", 1);
    run(Operation::Upload, [](DialogUser &user) {
        const MemoryPeak memory;
        QVERIFY(memory.isMeasured());
        const qint64 before = thisprocess::bytesReceived();
        QVERIFY(loopUntil([before] { return thisprocess::bytesReceived() > before + 600 * megabyte; }));
        // It comes faster than any network brings it, so that some of it may have to wait.
        QVERIFY2(memory.growth() < 300 * megabyte, qPrintable(QString::number(memory.growth())));
        QCOMPARE(user.statuses(), QStringList{QStringLiteral("Uploading, none")});
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), QStringList{QStringLiteral("Canceled, #ff0000")});
    });
}

NEMBRA_GUI_TEST_MAIN(TestTransferLimits)

#include "tst_transferlimits.moc"
