#include "common/settings.h"
#include "device/device.h"
#include "devicerow.h"
#include "operations/loadhistorydialog.h"
#include "testenvironment.h"
#include "transferbench.h"
#include "widgets/fileselectorwidget.h"

#include <QAbstractButton>
#include <QCalendarWidget>
#include <QDir>
#include <QElapsedTimer>
#include <QPointer>
#include <QTableWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

/// Milliseconds for what the devices do.
constexpr int patience = 20000;

constexpr qint64 daySeconds = 86400;

const QString finished = QStringLiteral("Finished, #00ff00");
const QString canceled = QStringLiteral("Canceled, #ff0000");
const QString errorWriting = QStringLiteral("Error writing file, #ff0000");
const QString downloading = QStringLiteral("Downloading, #ffffff");

QString suffixed(const char *stem)
{
    return QLatin1String(stem) + QLatin1String("-TIME.csv");
}

QDate dateAgo(qint64 days)
{
    return QDateTime::currentDateTime().addDays(-days).date();
}

qint64 secondsAgo(qint64 days)
{
    return QDateTime::currentSecsSinceEpoch() - days * daySeconds;
}

/// A device that sends so many bytes of its answer when it is told to.
class SlowDevice final
{
public:
    SlowDevice()
    {
        if (!m_server.listen(QHostAddress(QStringLiteral("10.77.0.1")))) {
            qFatal("There is no port for the device.");
        }
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            m_socket = m_server.nextPendingConnection();
            QObject::connect(m_socket, &QTcpSocket::readyRead, m_socket, [this] { m_socket->readAll(); });
        });
        settings::setValue(settings::scanHttpPort, int(m_server.serverPort()));
        DiscoveryDevice record;
        record.setAddress(QHostAddress(QStringLiteral("10.77.0.1")));
        record.setMacText(QStringLiteral("0E:5A:11:00:00:01"));
        record.setHostname(QStringLiteral("slow"));
        m_row.device().updateFromDiscovery(record);
    }

    Device &device() { return m_row.device(); }
    bool isAsked() const { return m_socket != nullptr; }
    /// Sends after a while: progress is told only ten times a second.
    void send(const QByteArray &bytes)
    {
        QTimer::singleShot(250ms, m_socket, [this, bytes] { m_socket->write(bytes); });
    }

private:
    QTcpServer m_server;
    QTcpSocket *m_socket = nullptr;
    DeviceRow m_row;
};

} // namespace

/// What the dialog asks of the devices, and what becomes of it.
class TestLoadHistoryDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void asksForTheChosenSpan_data();
    void asksForTheChosenSpan();
    void asksForTheLastWeekUnlessToldOtherwise();
    void savesWhatTheDeviceSends_data();
    void savesWhatTheDeviceSends();
    void savesARealHistory();
    void keepsDevicesOfOneNameApart();
    void actsWithinTheSession_data();
    void actsWithinTheSession();
    void tellsHowMuchHasArrived();
    void tellsAFileThatCannotBeWritten_data();
    void tellsAFileThatCannotBeWritten();

    void locksItsInputsWhileItLoads();
    void loadsAgainWithOtherSettings();
    void loadsAgainAfterCancel();
    void endsEachRowByItsDevice();
    void endsAnswersWithoutAnEnd_data();
    void endsAnswersWithoutAnEnd();
    void readsOnAfterAForgottenSession();
    void tellsTheErrorUntilTheEnd();
    void keepsFinishedRowsAtCancel();
    void waitsForCancelWithoutDevices();
    void goesWithItsRequests_data();
    void goesWithItsRequests();
    void goesWithTheProgram();
    void asksTheDevicesAsTheyAreWhenItLoads();

private:
    /// Opens the dialog for all devices of the bench, with the bench's directory.
    void run(const std::function<void(DialogUser &)> &use) const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<TransferBench> m_bench;
};

void TestLoadHistoryDialog::init()
{
    // What is today must stay so to the end of a test.
    QTRY_VERIFY_WITH_TIMEOUT(QTime::currentTime() < QTime(23, 59, 20), 60000);
    m_environment = std::make_unique<TestEnvironment>();
    m_bench = std::make_unique<TransferBench>();
}

void TestLoadHistoryDialog::cleanup()
{
    m_bench->dropRows();
    const bool rests = m_bench->comesToRest();
    m_bench.reset();
    m_environment.reset();
    QVERIFY(rests);
}

void TestLoadHistoryDialog::run(const std::function<void(DialogUser &)> &use) const
{
    settings::store().setValue(QStringLiteral("CSVDir"), m_bench->directory());
    QVERIFY(withDialog([this] { LoadHistoryDialog::downloadHistory(m_bench->devices(), nullptr); }, use));
}

void TestLoadHistoryDialog::asksForTheChosenSpan_data()
{
    QTest::addColumn<QDate>("first");
    QTest::addColumn<QDate>("last");
    QTest::addColumn<int>("step");
    QTest::addColumn<int>("unit");
    QTest::addColumn<QByteArray>("query");
    const auto row = [](const char *name, const QDate &first, const QDate &last, int step, int unit,
                        const char *query) {
        QTest::newRow(name) << first << last << step << unit << QByteArray(query);
    };
    row("two days in steps of 15 minutes", QDate(2021, 3, 1), QDate(2021, 3, 2), 15, 0,
        "start=1614553200&end=1614726000&step=900");
    row("a day in steps of two hours", QDate(2021, 3, 1), QDate(2021, 3, 1), 2, 1,
        "start=1614553200&end=1614639600&step=7200");
    row("a day of 23 hours", QDate(2021, 3, 28), QDate(2021, 3, 28), 1, 0,
        "start=1616886000&end=1616968800&step=60");
    row("a day of 25 hours", QDate(2021, 10, 31), QDate(2021, 10, 31), 1, 1,
        "start=1635631200&end=1635721200&step=3600");
    row("over the turn of the year", QDate(2020, 12, 31), QDate(2021, 1, 1), 60, 0,
        "start=1609369200&end=1609542000&step=3600");
    row("the first day of 1970", QDate(1970, 1, 1), QDate(1970, 1, 1), 1, 0, "start=-3600&end=82800&step=60");
    row("the longest step", QDate(2021, 3, 1), QDate(2021, 3, 1), 100000, 1,
        "start=1614553200&end=1614639600&step=360000000");
    row("the wrong way round", QDate(2021, 3, 2), QDate(2021, 2, 28), 1, 0,
        "start=1614639600&end=1614553200&step=60");
}

void TestLoadHistoryDialog::asksForTheChosenSpan()
{
    QFETCH(QDate, first);
    QFETCH(QDate, last);
    QFETCH(int, step);
    QFETCH(int, unit);
    QFETCH(QByteArray, query);
    simulator::DeviceOptions options;
    options.historyStart = 0;
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->addOpenDevice("roof", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    run([&](DialogUser &user) {
        chooseHistory(user, first, last, step, unit);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
    });
    for (int i = 0; i < 2; ++i) {
        const auto requests = m_bench->operations(i);
        QCOMPARE(requests.size(), std::size_t(1));
        QCOMPARE(requests.front().method, std::string("GET"));
        QCOMPARE(QByteArray::fromStdString(requests.front().target),
                 QByteArray("/tpl/document.cgi?tpl/j/csv.tpl&" + query));
        QCOMPARE(requests.front().bodySize, std::uint64_t(0));
    }
}

void TestLoadHistoryDialog::asksForTheLastWeekUnlessToldOtherwise()
{
    simulator::DeviceOptions options;
    options.historyStart = secondsAgo(100);
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    const QDateTime start(dateAgo(7), QTime(0, 0));
    const QDateTime end(QDate::currentDate().addDays(1), QTime(0, 0));
    run([](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
    });
    QCOMPARE(QByteArray::fromStdString(m_bench->operations().front().target),
             "/tpl/document.cgi?tpl/j/csv.tpl&start=" + QByteArray::number(start.toSecsSinceEpoch()) +
                 "&end=" + QByteArray::number(end.toSecsSinceEpoch()) + "&step=60");
}

void TestLoadHistoryDialog::savesWhatTheDeviceSends_data()
{
    QTest::addColumn<QByteArray>("body");
    QByteArray everyByte;
    for (int i = 0; i < 256; ++i) {
        everyByte += static_cast<char>(i);
    }
    QTest::newRow("a table") << QByteArray("Time;Sensor 1\r\n1;21.5\r\n");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("every byte") << everyByte;
    QTest::newRow("zeros") << QByteArray(5000, '\0');
    QTest::newRow("a lot") << everyByte.repeated(20000);
}

void TestLoadHistoryDialog::savesWhatTheDeviceSends()
{
    QFETCH(QByteArray, body);
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    m_bench->fleet().addFault(Fault::answerWith(body.toStdString()));
    run([this](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{finished});
        QCOMPARE(m_bench->fileNames(), QStringList{suffixed("lab-sensor-0E5A11000001")});
    });
    QCOMPARE(m_bench->fileNames(), QStringList{suffixed("lab-sensor-0E5A11000001")});
    QVERIFY(m_bench->files().first() == body);
}

void TestLoadHistoryDialog::savesARealHistory()
{
    simulator::DeviceOptions options;
    options.historyStart = 1600000000;
    simulator::Sensor sensor;
    sensor.base = 21.5;
    sensor.amplitude = 0;
    options.sensors = std::vector<simulator::Sensor>{sensor};
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    run([](DialogUser &user) {
        chooseHistory(user, QDate(2021, 3, 1), QDate(2021, 3, 1), 8, 1);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
    });
    QCOMPARE(m_bench->files().size(), 1);
    QCOMPARE(m_bench->files().first(), QByteArray("Time;Sensor 1\r\n"
                                                  "1614553200;21.5\r\n"
                                                  "1614582000;21.5\r\n"
                                                  "1614610800;21.5\r\n"));
}

void TestLoadHistoryDialog::keepsDevicesOfOneNameApart()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    m_bench->fleet().addFault(0, Fault::answerWith("one"));
    m_bench->fleet().addFault(1, Fault::answerWith("two"));
    run([](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
    });
    const QMap<QString, QByteArray> expected{{suffixed("lab-sensor-0E5A11000001"), "one"},
                                             {suffixed("lab-sensor-0E5A11000002"), "two"}};
    QCOMPARE(m_bench->files(), expected);
}

void TestLoadHistoryDialog::actsWithinTheSession_data()
{
    QTest::addColumn<bool>("https");
    QTest::newRow("over HTTP") << false;
    QTest::newRow("over HTTPS") << true;
}

void TestLoadHistoryDialog::actsWithinTheSession()
{
    QFETCH(bool, https);
    simulator::DeviceOptions options;
    options.anonymousLevel = 0;
    options.redirectToHttps = https;
    m_bench->addDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    QVERIFY(m_bench->logIn(0, QStringLiteral("guest")));
    run([](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{finished});
    });
    const auto requests = m_bench->operations();
    QCOMPARE(requests.size(), std::size_t(1));
    QCOMPARE(requests.front().https, https);
    QCOMPARE(QByteArray::fromStdString(requests.front().header("Cookie")),
             "sid=" + m_bench->device(0).sidCookie().value());
}

void TestLoadHistoryDialog::tellsHowMuchHasArrived()
{
    m_bench->start();
    SlowDevice slow;
    settings::store().setValue(QStringLiteral("CSVDir"), m_bench->directory());
    QVERIFY(withDialog(
        [&] { LoadHistoryDialog::downloadHistory({&slow.device()}, nullptr); },
        [&](DialogUser &user) {
            user.button("pushButtonLoad").click();
            QCOMPARE(user.statuses(), QStringList{downloading});
            QTRY_VERIFY_WITH_TIMEOUT(slow.isAsked(), patience);
            slow.send("HTTP/1.1 200 OK\r\nContent-Length: 102400\r\n\r\n" + QByteArray(1023, 'x'));
            QTRY_COMPARE_WITH_TIMEOUT(user.statuses(),
                                      QStringList{QStringLiteral("Downloading (0 kB), #ffffff")}, patience);
            slow.send("x");
            QTRY_COMPARE_WITH_TIMEOUT(user.statuses(),
                                      QStringList{QStringLiteral("Downloading (1 kB), #ffffff")}, patience);
            slow.send(QByteArray(1024, 'x'));
            QTRY_COMPARE_WITH_TIMEOUT(user.statuses(),
                                      QStringList{QStringLiteral("Downloading (2 kB), #ffffff")}, patience);
            slow.send(QByteArray(99 * 1024, 'x'));
            QTRY_VERIFY_WITH_TIMEOUT(
                user.past(0).contains(QStringLiteral("Downloading (99 kB), #ffffff")) ||
                    user.past(0).contains(QStringLiteral("Downloading (100 kB), #ffffff")) ||
                    user.past(0).contains(QStringLiteral("Downloading (101 kB), #ffffff")),
                patience);
            QVERIFY(user.awaitEnd());
            QCOMPARE(user.statuses(), QStringList{finished});
        }));
    QCOMPARE(m_bench->fileNames(), QStringList{suffixed("slow-0E5A11000001")});
    QCOMPARE(m_bench->files().first().size(), 102400);
}

void TestLoadHistoryDialog::tellsAFileThatCannotBeWritten_data()
{
    QTest::addColumn<QByteArray>("hostName");
    QTest::addColumn<QString>("directory");
    QTest::newRow("a slash in the host name") << QByteArray("a/b") << "out";
    QTest::newRow("up") << QByteArray("../lab-sensor") << "out";
    QTest::newRow("too long a host name") << QByteArray(300, 'n') << "out";
    QTest::newRow("no such directory") << QByteArray("lab-sensor") << "missing";
    QTest::newRow("no directory") << QByteArray("lab-sensor") << QString();
}

void TestLoadHistoryDialog::tellsAFileThatCannotBeWritten()
{
    QFETCH(QByteArray, hostName);
    QFETCH(QString, directory);
    m_bench->addOpenDevice(hostName);
    m_bench->start();
    // Late enough for progress to be told in the same breath.
    m_bench->fleet().addFault(Fault::answerAfter(200ms));
    const QString base = m_bench->directory().chopped(3);
    run([&](DialogUser &user) {
        user.find<FileSelectorWidget>("fileSelectorOutput")
            .setText(directory.isNull() ? QString() : base + directory);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{errorWriting});
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
    });
    QCOMPARE(m_bench->fileNames(), QStringList());
    QCOMPARE(QDir(base).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("out")});
}

void TestLoadHistoryDialog::locksItsInputsWhileItLoads()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->addOpenDevice("hangs");
    m_bench->start();
    m_bench->fleet().addFault(1, Fault::hang());
    run([this](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QCOMPARE(user.statuses(), (QStringList{downloading, downloading}));
        QCOMPARE(enabledHistoryInputs(user), QStringLiteral("pushButtonCancel"));
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses(), (QStringList{finished, downloading}), patience);
        QCOMPARE(enabledHistoryInputs(user), QStringLiteral("pushButtonCancel"));
        // Neither a click nor a key does it now.
        user.button("pushButtonLoad").click();
        user.button("pushButtonClose").click();
        QVERIFY(user.dialog().isVisible());
        user.button("pushButtonCancel").click();
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        QCOMPARE(user.statuses(), (QStringList{finished, canceled}));
        QCOMPARE(m_bench->operations().size(), std::size_t(2));
    });
}

void TestLoadHistoryDialog::loadsAgainWithOtherSettings()
{
    simulator::DeviceOptions options;
    options.historyStart = 1600000000;
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->addOpenDevice("roof", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    m_bench->fleet().addFault(1, Fault::status(500, "Oops").onPath("tpl/").times(1));
    const QString other = m_bench->directory() + QLatin1String("/other");
    QVERIFY(QDir().mkdir(other));
    run([&](DialogUser &user) {
        chooseHistory(user, QDate(2021, 3, 1), QDate(2021, 3, 2), 15, 0);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(),
                 (QStringList{finished, QStringLiteral("Wrong HTTP Status-Code 500, #ff0000")}));

        chooseHistory(user, QDate(2021, 3, 28), QDate(2021, 3, 28), 2, 1);
        user.find<FileSelectorWidget>("fileSelectorOutput").setText(other);
        m_bench->fleet().addFault(Fault::answerAfter(100ms));
        user.button("pushButtonLoad").click();
        // Nothing is left of the first time.
        QCOMPARE(user.statuses(), (QStringList{downloading, downloading}));
        QCOMPARE(enabledHistoryInputs(user), QStringLiteral("pushButtonCancel"));
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
    });
    for (int i = 0; i < 2; ++i) {
        const auto requests = m_bench->operations(i);
        QCOMPARE(requests.size(), std::size_t(2));
        QCOMPARE(requests.front().target,
                 std::string("/tpl/document.cgi?tpl/j/csv.tpl&start=1614553200&end=1614726000&step=900"));
        QCOMPARE(requests.back().target,
                 std::string("/tpl/document.cgi?tpl/j/csv.tpl&start=1616886000&end=1616968800&step=7200"));
    }
    QCOMPARE(m_bench->fileNames(), QStringList{suffixed("lab-sensor-0E5A11000001")});
    QCOMPARE(QDir(other).entryList(QDir::Files | QDir::Hidden).size(), 2);
}

void TestLoadHistoryDialog::loadsAgainAfterCancel()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->addOpenDevice("roof");
    m_bench->start();
    m_bench->fleet().addFault(Fault::hang());
    run([this](DialogUser &user) {
        user.button("pushButtonLoad").click();
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{canceled, canceled}));
        // At once, while what was canceled is still being cleared away.
        m_bench->fleet().clearFaults();
        user.button("pushButtonLoad").click();
        QCOMPARE(user.statuses(), (QStringList{downloading, downloading}));
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
        for (int i = 0; i < 20; ++i) {
            user.button("pushButtonLoad").click();
            user.button("pushButtonCancel").click();
        }
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
    });
    const QStringList names = m_bench->fileNames();
    QCOMPARE(names.filter(QStringLiteral(".part")), QStringList());
}

void TestLoadHistoryDialog::endsEachRowByItsDevice()
{
    const std::vector<Misbehaviour> all = misbehaviours();
    for (const Misbehaviour &misbehaviour : all) {
        simulator::DeviceOptions options;
        options.historyStart = 1600000000;
        options.sensors = std::vector<simulator::Sensor>{};
        options.redirectToHttps = misbehaviour.overHttps;
        m_bench->addOpenDevice(misbehaviour.name, options);
    }
    m_bench->start();
    QStringList expected;
    QStringList expectedFiles;
    int hanging = 0;
    // For the range of the calendars.
    QVERIFY(m_bench->ask(0));
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Misbehaviour &misbehaviour = all[i];
        const int index = static_cast<int>(i);
        if (misbehaviour.overHttps) {
            QVERIFY2(m_bench->ask(index), misbehaviour.name);
        }
        for (const Fault &fault : misbehaviour.faults) {
            m_bench->fleet().addFault(index, fault);
        }
        hanging += misbehaviour.hangs ? 1 : 0;
        expected += QLatin1String(misbehaviour.name) + QLatin1String(": ") + misbehaviour.downloadStatus;
        if (misbehaviour.hasFile) {
            const QByteArray content = misbehaviour.content == "(own)"
                                           ? QByteArray("Time\r\n1614553200\r\n1614596400\r\n")
                                           : misbehaviour.content;
            expectedFiles +=
                QLatin1String(misbehaviour.name) + QLatin1String(": ") + QString::fromLatin1(content.toHex());
        }
    }

    run([&](DialogUser &user) {
        chooseHistory(user, QDate(2021, 3, 1), QDate(2021, 3, 1), 12, 1);
        user.button("pushButtonLoad").click();
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().count(downloading), hanging, patience);
        QCOMPARE(enabledHistoryInputs(user), QStringLiteral("pushButtonCancel"));
        user.button("pushButtonCancel").click();
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        QStringList seen;
        for (int row = 0; row < user.table().rowCount(); ++row) {
            seen += user.table().item(row, 0)->text() + QLatin1String(": ") + user.statuses().at(row);
        }
        QCOMPARE(seen, expected);
    });

    QStringList files;
    const QMap<QString, QByteArray> written = m_bench->files();
    for (auto file = written.begin(); file != written.end(); ++file) {
        files += file.key().section(QStringLiteral("-0E5A"), 0, 0) + QLatin1String(": ") +
                 QString::fromLatin1(file.value().toHex());
        QVERIFY2(file.key().endsWith(QLatin1String("-TIME.csv")), qPrintable(file.key()));
    }
    expectedFiles.sort();
    QCOMPARE(files, expectedFiles);
}

void TestLoadHistoryDialog::endsAnswersWithoutAnEnd_data()
{
    QTest::addColumn<bool>("body");
    QTest::newRow("a body") << true;
    QTest::newRow("headers") << false;
}

void TestLoadHistoryDialog::endsAnswersWithoutAnEnd()
{
    QFETCH(bool, body);
    m_bench->addOpenDevice("endless");
    m_bench->addOpenDevice("usual");
    m_bench->start();
    m_bench->fleet().addFault(0, body ? Fault::endlessBody() : Fault::endlessHeaders());
    QElapsedTimer clock;
    run([&](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().at(1), finished, patience);
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests == 2, patience);
        if (body) {
            // It tells of more and more.
            QTRY_VERIFY_WITH_TIMEOUT(user.past(0).size() > 2, patience);
        }
        clock.start();
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{canceled, finished}));
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        QCOMPARE(m_bench->fileNames().size(), 1);
    });
    QVERIFY2(clock.elapsed() < 2000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(m_bench->comesToRest());
    QCOMPARE(m_bench->fileNames().size(), 1);
}

void TestLoadHistoryDialog::readsOnAfterAForgottenSession()
{
    m_bench->addDevice("lets everybody read");
    simulator::DeviceOptions options;
    options.anonymousLevel = 0;
    m_bench->addDevice("lets nobody read", options);
    m_bench->start();
    QVERIFY(m_bench->logIn(0, QStringLiteral("guest")));
    QVERIFY(m_bench->logIn(1, QStringLiteral("guest")));
    m_bench->fleet().addFault(Fault::forgetSession());
    run([](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(),
                 (QStringList{finished, QStringLiteral("Wrong HTTP Status-Code 403, #ff0000")}));
    });
    QCOMPARE(m_bench->fileNames(), QStringList{suffixed("lets everybody read-0E5A11000001")});
}

void TestLoadHistoryDialog::tellsTheErrorUntilTheEnd()
{
    simulator::DeviceOptions options;
    options.historyStart = 1600000000;
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    m_bench->fleet().addFault(Fault::refuse());
    run([](DialogUser &user) {
        chooseHistory(user, QDate(2021, 3, 1), QDate(2021, 3, 1), 1, 0);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{canceled});
        const QString error =
            QStringLiteral("Error for HTTP-Request: Connection refused  "
                           "http://10.77.128.1:80/tpl/document.cgi?tpl/j/csv.tpl&start=1614553200"
                           "&end=1614639600&step=60, #ff0000");
        QVERIFY2(user.past(0).contains(error), qPrintable(user.past(0).join(QLatin1Char('\n'))));
        QCOMPARE(user.past(0).constLast(), canceled);
    });
}

void TestLoadHistoryDialog::keepsFinishedRowsAtCancel()
{
    m_bench->addOpenDevice("finishes");
    m_bench->addOpenDevice("hangs");
    m_bench->addOpenDevice("drips");
    m_bench->start();
    m_bench->fleet().addFault(1, Fault::hang());
    m_bench->fleet().addFault(2, Fault::drip(50, 50ms));
    run([this](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().at(0), finished, patience);
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), 2, patience);
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{finished, canceled, canceled}));
        QCOMPARE(m_bench->fileNames(), QStringList{suffixed("finishes-0E5A11000001")});
    });
    QCOMPARE(m_bench->fileNames(), QStringList{suffixed("finishes-0E5A11000001")});
}

void TestLoadHistoryDialog::waitsForCancelWithoutDevices()
{
    m_bench->start();
    run([](DialogUser &user) {
        QCOMPARE(user.table().rowCount(), 0);
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        for (const char *const name : {"calendarWidgetStart", "calendarWidgetEnd"}) {
            QCOMPARE(user.find<QCalendarWidget>(name).minimumDate(), QDate::currentDate());
            QCOMPARE(user.find<QCalendarWidget>(name).maximumDate(), QDate::currentDate());
        }
        user.button("pushButtonLoad").click();
        QCOMPARE(enabledHistoryInputs(user), QStringLiteral("pushButtonCancel"));
        user.button("pushButtonCancel").click();
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
    });
}

void TestLoadHistoryDialog::goesWithItsRequests_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("when");
    for (const char *const how : {"Escape", "close", "reject"}) {
        for (const char *const when : {"at once", "hanging", "amid an answer", "some finished"}) {
            QTest::addRow("%s, %s", how, when) << how << when;
        }
    }
}

void TestLoadHistoryDialog::goesWithItsRequests()
{
    QFETCH(QString, how);
    QFETCH(QString, when);
    for (int i = 0; i < 6; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    simulator::Fleet &fleet = m_bench->fleet();
    const bool someFinish = when == QLatin1String("some finished");
    if (when == QLatin1String("amid an answer")) {
        fleet.addFault(Fault::drip(50, 50ms));
    } else if (someFinish) {
        for (int i = 0; i < 5; ++i) {
            fleet.addFault(i, Fault::hang());
        }
    } else {
        fleet.addFault(Fault::hang());
    }
    QPointer<QDialog> dialog;
    run([&](DialogUser &user) {
        dialog = &user.dialog();
        user.button("pushButtonLoad").click();
        if (when != QLatin1String("at once")) {
            QTRY_VERIFY_WITH_TIMEOUT(fleet.counters().httpRequests == 6, patience);
        }
        if (when == QLatin1String("amid an answer")) {
            QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), 6, patience);
        } else if (someFinish) {
            QTRY_COMPARE_WITH_TIMEOUT(user.statuses().count(finished), 1, patience);
        }
        if (how == QLatin1String("Escape")) {
            QTest::keyClick(dialog, Qt::Key_Escape);
        } else if (how == QLatin1String("close")) {
            QVERIFY(dialog->close());
        } else {
            dialog->reject();
        }
        QVERIFY(!dialog->isVisible());
        QCOMPARE(user.statuses().count(canceled), someFinish ? 5 : 6);
    });
    QVERIFY(dialog.isNull());
    QCOMPARE(m_bench->fileNames().size(), someFinish ? 1 : 0);
    QVERIFY(m_bench->comesToRest());
    QVERIFY(fleet.counters().httpRequests <= 6);
    QVERIFY(settings::store().contains(QStringLiteral("LoadHistoryDialog/stepSize")));
}

void TestLoadHistoryDialog::goesWithTheProgram()
{
    for (int i = 0; i < 6; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    m_bench->fleet().addFault(Fault::hang());
    // Else the dialog, as the last window, would end the program once more, at the next test.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    bool returned = false;
    QTimer::singleShot(0, this, [&] {
        run([&](DialogUser &user) {
            user.button("pushButtonLoad").click();
            QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests == 6, patience);
            QCoreApplication::quit();
        });
        returned = true;
    });
    const int exitCode = QCoreApplication::exec();
    QGuiApplication::setQuitOnLastWindowClosed(true);
    QCOMPARE(exitCode, 0);
    QVERIFY(returned);
    QCOMPARE(m_bench->fileNames(), QStringList());
}

void TestLoadHistoryDialog::asksTheDevicesAsTheyAreWhenItLoads()
{
    m_bench->addOpenDevice("before");
    m_bench->addOpenDevice("before");
    m_bench->start();
    run([this](DialogUser &user) {
        // While the dialog was open the first one got another name.
        DiscoveryDevice record = m_bench->device(0).record();
        record.setHostname(QStringLiteral("renamed"));
        m_bench->device(0).updateFromDiscovery(record);
        user.button("pushButtonLoad").click();
        // What happens from now on changes nothing for what is running.
        record.setHostname(QStringLiteral("after"));
        record.setAddress(QHostAddress(QStringLiteral("10.77.128.200")));
        m_bench->device(0).updateFromDiscovery(record);
        m_bench->dropRows();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
        QCOMPARE(user.table().item(0, 0)->text(), QStringLiteral("before"));
    });
    QCOMPARE(m_bench->fileNames(),
             (QStringList{suffixed("before-0E5A11000002"), suffixed("renamed-0E5A11000001")}));
}

NEMBRA_GUI_TEST_MAIN(TestLoadHistoryDialog)

#include "tst_loadhistorydialog.moc"
