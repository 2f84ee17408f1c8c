#include "device/device.h"
#include "faultmatrix.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "transferbench.h"
#include "updatebench.h"

#include <QRegularExpression>
#include <QtTest>

#include <memory>
#include <vector>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

const QString hanging = QStringLiteral("hangs");

/// A request of an update.
struct Step
{
    const char *name;
    std::string path;
    /// How many requests come before it.
    int number;
    const QString &message;
};

const std::vector<Step> &steps()
{
    static const std::vector<Step> all{
        {"save", "tpl/document.cgi", 0, savingConfig},
        {"upload", "admin/upload.cgi", 1, uploadingFirmware},
        {"activate", "admin/upgrade.cgi", 2, activatingFirmware},
        {"start page", {}, 3, waitingForDevice},
        {"login", "login.cgi", 3, restoringConfig},
        {"announce", "admin/postform.cgi", 5, restoringConfig},
        {"restore", "admin/config.cgi", 6, restoringConfig},
        {"reset", "admin/reset.cgi", 12, restoringConfig},
    };
    return all;
}

bool isStartPage(const Step &step)
{
    return step.path.empty();
}

/// The start page is asked for over HTTP, whatever the device was updated over.
bool isTried(const MatrixFault &row, const Step &step)
{
    return !isStartPage(step) || !row.isOverHttps;
}

Fault faultIn(const Fault &fault, const Step &step)
{
    if (isStartPage(step)) {
        return meetsConnections(fault) ? Fault(fault).onlyHttp() : Fault(fault).onExactly({}).onlyHttp();
    }
    return meetsConnections(fault) ? Fault(fault).after(step.number) : Fault(fault).onPath(step.path);
}

QString withoutAddress(QString message)
{
    static const QRegularExpression address(QStringLiteral("  https?://[^ ]+$"));
    return message.remove(address);
}

} // namespace

Q_DECLARE_METATYPE(const MatrixFault *)

/// Every fault in every request of a firmware update, each at a device of its own, all at the same time: what
/// the last message is, that an honest device beside them is updated, and that nothing is left behind.
class TestFaultMatrixFirmware final : public QObject, private UpdateBench
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { open(); }
    void cleanup() { close(); }

    void updateOverHttp_data() { addFaults(false); }
    void updateOverHttp() { update(); }
    void updateOverHttps_data() { addFaults(true); }
    void updateOverHttps() { update(); }

private:
    static void addFaults(bool overHttps);
    void update();
    void beginWith(const MatrixFault &row);
    void runAll(const MatrixFault &row);
};

void TestFaultMatrixFirmware::initTestCase()
{
    omitDebugOutput();
    // What the process starts once and keeps.
    open();
    begin();
    close();
}

void TestFaultMatrixFirmware::addFaults(bool overHttps)
{
    QTest::addColumn<const MatrixFault *>("row");
    for (const MatrixFault &row : matrixFaults()) {
        if (row.isOverHttps == overHttps) {
            QTest::newRow(row.name) << &row;
        }
    }
}

/// A device for each step, and an honest one.
void TestFaultMatrixFirmware::beginWith(const MatrixFault &row)
{
    for (const Step &step : steps()) {
        simulator::DeviceOptions options = row.options;
        options.redirectToHttps = row.isOverHttps || isStartPage(step);
        // Who isn't logged in any more meets the next step all the same.
        options.anonymousLevel = 3;
        addDevice(step.name, options);
    }
    addDevice("honest");
    begin();
    simulator::Fleet &fleet = m_bench->fleet();
    for (std::size_t i = 0; i < steps().size(); ++i) {
        const auto device = static_cast<int>(i);
        if (row.fault && isTried(row, steps()[i])) {
            fleet.addFault(device, faultIn(*row.fault, steps()[i]));
        }
        if (steps()[i].path == "admin/upload.cgi") {
            // Where the image did not arrive there would be none to activate.
            fleet.addFault(device, Fault::status(303, "See Other", "/").onPath("admin/upgrade.cgi"));
        }
    }
}

void TestFaultMatrixFirmware::update()
{
    QFETCH(const MatrixFault *, row);
    const int threads = thisprocess::threadCount();
    const int sockets = thisprocess::socketCount();
    runAll(*row);
    close();
    QTRY_COMPARE_WITH_TIMEOUT(thisprocess::threadCount(), threads, patience);
    QTRY_COMPARE_WITH_TIMEOUT(thisprocess::socketCount(), sockets, patience);
}

void TestFaultMatrixFirmware::runAll(const MatrixFault &row)
{
    beginWith(row);
    answerDiscovery(5ms);
    std::vector<std::unique_ptr<Run>> runs;
    for (int i = 0; i <= static_cast<int>(steps().size()); ++i) {
        runs.push_back(std::make_unique<Run>(m_bench->device(i), job()));
        runs.back()->start();
    }
    QVERIFY(runs.back()->awaitEnd());
    QCOMPARE(runs.back()->lastMessage(), finished);
    for (std::size_t i = 0; i < steps().size(); ++i) {
        const Step &step = steps()[i];
        if (!isTried(row, step)) {
            QVERIFY(runs[i]->awaitEnd());
            continue;
        }
        const auto asked = [&] {
            return runs[i]->messages().contains(step.message) &&
                   requestCount(static_cast<int>(i)) >= static_cast<std::size_t>(step.number);
        };
        const QString &cell = step.number == 0 ? row.cells.save : row.cells.update;
        if (cell == hanging) {
            QTRY_VERIFY2_WITH_TIMEOUT(asked(), step.name, patience);
            QVERIFY2(!runs[i]->hasEnded(), step.name);
            QVERIFY2(runs[i]->stop(), step.name);
        }
        QVERIFY2(runs[i]->awaitEnd(), step.name);
        QCOMPARE(QLatin1String(step.name) + QLatin1String(": ") + withoutAddress(runs[i]->lastMessage()),
                 QLatin1String(step.name) + QLatin1String(": ") + (cell == hanging ? step.message : cell));
    }
    runs.clear();
    QVERIFY(comesToRest());
    QCOMPARE(m_bench->fileNames(), QStringList());
    for (const simulator::HttpRecord &request : m_bench->fleet().journal().requests) {
        QVERIFY(request.target.find(forbiddenPath) == std::string::npos);
    }
}

NEMBRA_GUI_TEST_MAIN(TestFaultMatrixFirmware)
#include "tst_faultmatrix_firmware.moc"
