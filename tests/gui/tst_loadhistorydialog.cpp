#include "common/settings.h"
#include "device/device.h"
#include "devicerow.h"
#include "operations/loadhistorydialog.h"
#include "testenvironment.h"
#include "transfertest.h"
#include "widgets/fileselectorwidget.h"

#include <QAbstractButton>
#include <QDir>
#include <QTableWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QtTest>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

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

/// What the history dialog asks of the devices, and what becomes of it.
class TestLoadHistoryDialog final : public QObject, private HistoryTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

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

    void locksItsInputsWhileItLoads();
    void loadsAgainWithOtherSettings();
    void loadsAgainAfterCancel();
    void asksTheDevicesAsTheyAreWhenItLoads();
};

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
