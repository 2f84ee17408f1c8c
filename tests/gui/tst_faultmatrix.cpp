#include "common/settings.h"
#include "device/device.h"
#include "device/devicecolumns.h"
#include "devicerow.h"
#include "faultmatrix.h"
#include "operations/loadhistorydialog.h"
#include "operations/networkoperationsdialog.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "transferbench.h"

#include <QAbstractButton>
#include <QLoggingCategory>
#include <QTableWidget>
#include <QtTest>

#include <algorithm>
#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

/// Milliseconds for what the devices do.
constexpr int patience = 20000;

const QString hanging = QStringLiteral("hangs, ");
const QByteArray configuration("[system]\r\nname=lab\r\n");
const QByteArray historyTable("Time\r\n1614553200\r\n1614596400\r\n");

enum class Operation { Download, Upload, History };

/// As a text of the table, with %1 for the address of a request.
QString withoutAddress(QString text)
{
    static const QRegularExpression address(QStringLiteral("https?://[^ ]+"));
    return text.replace(address, QStringLiteral("%1"));
}

/// The device that misbehaves, and the one beside it.
enum Index : int { Faulty, Honest };

} // namespace

Q_DECLARE_METATYPE(const MatrixFault *)

/// Every fault against every request but those of a firmware update: what the user sees of it, that the
/// device beside goes on, that the device is asked again afterwards, and that nothing is left behind.
class TestFaultMatrix final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void query_data() { addFaults(&MatrixCells::query); }
    void query();
    void login_data() { addFaults(&MatrixCells::login); }
    void login();
    void download_data() { addFaults(&MatrixCells::download); }
    void download() { transfer(Operation::Download); }
    void upload_data() { addFaults(&MatrixCells::upload); }
    void upload() { transfer(Operation::Upload); }
    void history_data() { addFaults(&MatrixCells::history); }
    void history() { transfer(Operation::History); }

private:
    static void addFaults(QString MatrixCells::*cell);
    void begin(const MatrixFault &row, const std::string &path);
    void transfer(Operation operation);
    [[nodiscard]] bool awaitRequest() const;
    void comesBack() const;
    QString cell(int device) const;
    /// The status of a row and the file that it has brought: "Finished, its own".
    QString outcome(const DialogUser &user, int row) const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<TransferBench> m_bench;
    std::uint64_t m_connectionsBefore = 0;
    int m_threads = 0;
    int m_sockets = 0;
};

void TestFaultMatrix::addFaults(QString MatrixCells::*cell)
{
    QTest::addColumn<const MatrixFault *>("row");
    QTest::addColumn<QString>("expected");
    for (const MatrixFault &row : matrixFaults()) {
        QTest::newRow(row.name) << &row << row.cells.*cell;
    }
}

/// What the process starts once and keeps: the network thread and the toolkit's own.
void TestFaultMatrix::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    init();
    begin(matrixFaults().front(), {});
    QVERIFY(m_bench->ask(Faulty));
    m_bench->dropRows();
    QVERIFY(m_bench->comesToRest());
    m_bench.reset();
    m_environment.reset();
}

void TestFaultMatrix::init()
{
    m_threads = thisprocess::threadCount();
    m_sockets = thisprocess::socketCount();
    m_environment = std::make_unique<TestEnvironment>();
    m_bench = std::make_unique<TransferBench>();
}

void TestFaultMatrix::cleanup()
{
    if (!m_bench) {
        return;
    }
    // What a device says never comes back to it but as it may.
    const auto hasControls = [](const auto &header) {
        return std::any_of(header.second.begin(), header.second.end(),
                           [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; });
    };
    bool isClean = true;
    for (const simulator::HttpRecord &request : m_bench->fleet().journal().requests) {
        isClean = isClean && std::none_of(request.headers.begin(), request.headers.end(), hasControls);
    }
    const std::size_t strayed = m_bench->fleet().requests(Honest, forbiddenPath).size();
    m_bench->dropRows();
    const bool rests = m_bench->comesToRest();
    m_bench.reset();
    m_environment.reset();
    QVERIFY(isClean);
    QCOMPARE(strayed, std::size_t(0));
    QVERIFY(rests);
    QTRY_COMPARE_WITH_TIMEOUT(thisprocess::socketCount(), m_sockets, patience);
    QTRY_COMPARE_WITH_TIMEOUT(thisprocess::threadCount(), m_threads, patience);
}

/// A device with the fault, for requests to `path`, and an honest one.
void TestFaultMatrix::begin(const MatrixFault &row, const std::string &path)
{
    for (const int index : {Faulty, Honest}) {
        simulator::DeviceOptions options = index == Faulty ? row.options : simulator::DeviceOptions();
        options.configuration = configuration.toStdString();
        options.historyStart = 1600000000;
        options.sensors = std::vector<simulator::Sensor>{};
        options.redirectToHttps = index == Faulty && row.isOverHttps;
        m_bench->addOpenDevice(index == Faulty ? "faulty" : "honest", options);
    }
    m_bench->start();
    if (row.isOverHttps) {
        QVERIFY(m_bench->ask(Faulty));
        // The connection that it has kept would get round the fault.
        m_bench->device(Faulty).recreateNetworkManager();
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fleet().counters().openConnections, std::uint64_t(0), patience);
    }
    if (row.fault) {
        m_bench->fleet().addFault(Faulty,
                                  meetsConnections(*row.fault) ? *row.fault : Fault(*row.fault).onPath(path));
    }
    m_connectionsBefore = m_bench->fleet().counters().connections;
}

/// Whether the device has come to know of the request, as far as the fault lets it.
bool TestFaultMatrix::awaitRequest() const
{
    return m_bench->fleet().waitFor(
        [this](const simulator::Counters &counters) { return counters.connections > m_connectionsBefore; },
        std::chrono::milliseconds(patience));
}

QString TestFaultMatrix::cell(int device) const
{
    return m_bench->text(device, Column::Status);
}

/// Without its fault the device is asked as ever, however the request before has ended.
void TestFaultMatrix::comesBack() const
{
    Device &device = m_bench->device(Faulty);
    m_bench->fleet().clearFaults();
    const QSignalSpy news(&device, &Device::newData);
    // Some requests stay out until they are given up.
    device.setGiveUpAge(200ms);
    const auto asksAgain = [&] {
        const bool hasAnswered = !news.isEmpty() && cell(Faulty) == QLatin1String("200 OK");
        if (!hasAnswered) {
            device.updateInfo();
        }
        return hasAnswered;
    };
    QTRY_VERIFY2_WITH_TIMEOUT(asksAgain(), qPrintable(cell(Faulty)), patience);
}

void TestFaultMatrix::query()
{
    QFETCH(const MatrixFault *, row);
    QFETCH(QString, expected);
    begin(*row, "admin/proctpl.cgi");
    Device &device = m_bench->device(Faulty);
    const bool hangs = expected.startsWith(hanging);
    const QSignalSpy end(&device, &Device::requestEnded);
    device.updateInfo();
    if (hangs) {
        QVERIFY(awaitRequest());
        QVERIFY(m_bench->ask(Honest));
        QVERIFY(end.isEmpty());
        device.setGiveUpAge(1ms);
        QTRY_VERIFY_WITH_TIMEOUT(device.requestAge() > 1, patience);
        device.updateInfo();
        QCOMPARE(end.count(), 1);
    } else {
        QTRY_VERIFY_WITH_TIMEOUT(!end.isEmpty(), patience);
        QVERIFY(m_bench->ask(Honest));
    }
    QCOMPARE((hangs ? hanging : QString()) + withoutAddress(cell(Faulty)), expected);
    QCOMPARE(cell(Honest), QStringLiteral("200 OK"));
    comesBack();
}

void TestFaultMatrix::login()
{
    QFETCH(const MatrixFault *, row);
    QFETCH(QString, expected);
    begin(*row, "login.cgi");
    Device &device = m_bench->device(Faulty);
    const bool hangs = expected.startsWith(hanging);
    QStringList told;
    connect(&device, &Device::loginResult, this, [&told](bool successful, const QString &message) {
        told += successful ? QStringLiteral("good") : message;
    });
    device.login(QStringLiteral("admin"), QStringLiteral("admin"));
    if (hangs) {
        QVERIFY(awaitRequest());
        QVERIFY(m_bench->logIn(Honest, QStringLiteral("admin")));
        QCOMPARE(told, QStringList());
        device.setGiveUpAge(1ms);
        QTRY_VERIFY_WITH_TIMEOUT(device.requestAge() > 1, patience);
        device.updateInfo();
    } else {
        QVERIFY(m_bench->logIn(Honest, QStringLiteral("admin")));
    }
    // After a failure of the network it comes twice.
    QTRY_VERIFY_WITH_TIMEOUT(
        !told.isEmpty() && (told.size() > 1 || !told.first().startsWith(QLatin1String("Network"))), patience);
    told += device.cookies().isEmpty() ? QStringLiteral("no session") : QStringLiteral("a session");
    QCOMPARE((hangs ? hanging : QString()) + withoutAddress(told.join(QLatin1String(", "))), expected);
    comesBack();
}

QString TestFaultMatrix::outcome(const DialogUser &user, int row) const
{
    const QMap<QString, QByteArray> files = m_bench->files();
    QStringList outcome{user.status(row)};
    for (auto file = files.begin(); file != files.end(); ++file) {
        if (!file.key().startsWith(user.table().item(row, 0)->text() + QLatin1Char('-'))) {
            continue;
        }
        const bool isOwn = file.value() == configuration || file.value() == historyTable;
        outcome += isOwn                                 ? QStringLiteral("its own")
                   : file.value().startsWith("\x1F\x8B") ? QStringLiteral("a packed file")
                   : file.value().isEmpty()              ? QStringLiteral("an empty file")
                                                         : QString::fromLatin1(file.value().left(40));
    }
    return outcome.join(QLatin1String(", "));
}

void TestFaultMatrix::transfer(Operation operation)
{
    QFETCH(const MatrixFault *, row);
    QFETCH(QString, expected);
    begin(*row, operation == Operation::Upload ? "admin/config.cgi" : "tpl/document.cgi");
    if (operation == Operation::History) {
        // For the range of the calendars.
        QVERIFY(m_bench->ask(Honest));
    }
    m_connectionsBefore = m_bench->fleet().counters().connections;
    const auto open = [&] {
        switch (operation) {
        case Operation::Download:
            NetworkOperationsDialog::downloadConfigs(m_bench->directory(), m_bench->devices(), false,
                                                     nullptr);
            break;
        case Operation::Upload:
            NetworkOperationsDialog::uploadConfig(configuration, m_bench->devices(), nullptr);
            break;
        case Operation::History:
            settings::store().setValue(QStringLiteral("CSVDir"), m_bench->directory());
            LoadHistoryDialog::downloadHistory(m_bench->devices(), nullptr);
            break;
        }
    };
    const bool hangs = expected.startsWith(hanging);
    const QString honest =
        operation == Operation::Upload ? QStringLiteral("Finished") : QStringLiteral("Finished, its own");
    QVERIFY(withDialog(open, [&](DialogUser &user) {
        if (operation == Operation::History) {
            chooseHistory(user, QDate(2021, 3, 1), QDate(2021, 3, 1), 12, 1);
            user.button("pushButtonLoad").click();
        }
        if (hangs) {
            QTRY_COMPARE_WITH_TIMEOUT(outcome(user, Honest), honest, patience);
            QVERIFY(awaitRequest());
            QVERIFY(user.button("pushButtonCancel").isEnabled());
            user.button("pushButtonCancel").click();
        }
        QVERIFY(user.awaitEnd());
        QCOMPARE((hangs ? hanging : QString()) + outcome(user, Faulty), expected);
        QCOMPARE(user.color(Faulty), user.status(Faulty) == QLatin1String("Finished")
                                         ? QStringLiteral("#00ff00")
                                         : QStringLiteral("#ff0000"));
        QCOMPARE(outcome(user, Honest), honest);
    }));
    // One file at most for each device, and none besides; what it could not finish the run removes last.
    QTRY_COMPARE_WITH_TIMEOUT(thisprocess::threadsNamed("Disk"), 0, patience);
    const QStringList names = m_bench->fileNames();
    for (const QString &name : names) {
        QVERIFY2(name.startsWith(QLatin1String("faulty-0E5A11000001-TIME.")) ||
                     name.startsWith(QLatin1String("honest-0E5A11000002-TIME.")),
                 qPrintable(name));
    }
    QVERIFY(names.size() <= 2);
}

NEMBRA_GUI_TEST_MAIN(TestFaultMatrix)
#include "tst_faultmatrix.moc"
