#include "common/settings.h"
#include "device/agecolor.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/timespan.h"
#include "devicerow.h"
#include "fleet.h"
#include "testenvironment.h"
#include "thisprocess.h"

#include <QGuiApplication>
#include <QNetworkAccessManager>
#include <QPalette>
#include <QPointer>
#include <QtTest>

#include <memory>
#include <vector>

using namespace std::chrono_literals;
using simulator::Fault;
using simulator::Fleet;

Q_DECLARE_METATYPE(simulator::Fault)
Q_DECLARE_METATYPE(simulator::TlsMode)

namespace {

/// Milliseconds that a device of the fleet has to answer.
constexpr int patience = 20000;
/// Milliseconds for what needs a few attempts or a lot of bytes.
constexpr int longPatience = 20000;

const QColor red(255, 0, 0);

/// The body of every information query.
const char *const expectedQuery =
    "{\n"
    "{%for sensortab%}\"Sensor {{loop.index}}\": {\"v\": \"{{sensortab_value}}\", "
    "\"e\": \"{{sensortab_value_ex}}\", \"u\": \"{{sensortab_unit}}\", \"s\": \"{{sensortab_status}}\"},\n"
    "{%endfor%}"
    "\"Firmware Manufacturer\": \"{{fw_manufacturer}}\",\n"
    "\"Firmware Name\": \"{{fw_name}}\",\n"
    "\"Version\": \"{{fw_version}}\",\n"
    "\"Date\": \"{{sysdate}}\",\n"
    "\"Time\": \"{{systime}}\",\n"
    "\"Location\": \"{{syslocation}}\",\n"
    "\"Contact\": \"{{syscontact}}\",\n"
    "\"WLAN SSID\": \"{%for netiftab%}{%if loop.index == 2%}{{wlan_name}}{%endif%}{%endfor%}\",\n"
    "\"Network Interface\": \"{{netif}}\",\n"
    "\"Login User\": \"{{login_user}}\",\n"
    "\"Memory usage\": \"{{memusage}}\",\n"
    "\"History usage\": \"{{histo_usage}}\",\n"
    "\"uptime\": [\"{{uptime_d}}\", \"{{uptime_h}}\", \"{{uptime_m}}\", \"{{uptime_s}}\"],\n"
    "\"netiftab\": [{%for netiftab%}{%if loop.index != 1%}, {%endif%}\"{{netiftab_ip_addr}}\"{%endfor%}],\n"
    "\"dev_type\":\"{{dev_type}}\",\n"
    "\"login_group\":\"{{login_group}}\",\n"
    "\"histo_start\":\"{{histo_start}}\",\n"
    "\"systimestamp\":\"{{systimestamp}}\"\n"
    "}\n";

QColor background(DeviceRow &row, int column)
{
    return row.item().background(column).color();
}

/// "#ffffff #ffffff ...": one run of columns with the same background per word, for a failure that can be
/// read.
QString backgrounds(DeviceRow &row)
{
    QStringList runs;
    int first = 0;
    for (int i = 1; i <= Column::Count; ++i) {
        if (i == Column::Count || background(row, i) != background(row, first)) {
            runs += QStringLiteral("%1-%2 %3").arg(first).arg(i - 1).arg(background(row, first).name());
            first = i;
        }
    }
    return runs.join(QStringLiteral(", "));
}

/// Gives the application a palette with this text colour, and its own one back in the end.
class TextColor
{
public:
    explicit TextColor(const QColor &color) { set(color); }
    ~TextColor() { QGuiApplication::setPalette(m_original); }
    Q_DISABLE_COPY_MOVE(TextColor)

    static void set(const QColor &color)
    {
        QPalette palette = QGuiApplication::palette();
        palette.setColor(QPalette::Text, color);
        QGuiApplication::setPalette(palette);
    }

private:
    const QPalette m_original = QGuiApplication::palette();
};

std::size_t requestCount(const Fleet &fleet, int index)
{
    return fleet.requests(index, "admin/proctpl.cgi").size();
}

/// What the journal says of a device's requests: "http http https".
QString schemes(const Fleet &fleet, int index)
{
    QStringList schemes;
    for (const simulator::HttpRecord &request : fleet.requests(index)) {
        schemes += request.https ? QStringLiteral("https") : QStringLiteral("http");
    }
    return schemes.join(QLatin1Char(' '));
}

/// Three devices whose requests stay out, each for another reason, and one that answers.
class LateRows final
{
public:
    /// `fleet` has started, with four devices.
    explicit LateRows(Fleet &fleet)
        : hanging(fleet, 0)
        , babbling(fleet, 1)
        , secure(fleet, 3)
        , m_healthy(fleet, 2)
    {
        fleet.addFault(0, Fault::hang());
        fleet.addFault(1, Fault::invalidJson());
        fleet.addFault(3, Fault::hang().onlyHttps());
    }

    void askAll()
    {
        for (DeviceRow *const row : all()) {
            row->device().updateInfo();
        }
    }
    void setGiveUpAge(std::chrono::milliseconds age)
    {
        for (DeviceRow *const row : all()) {
            row->device().setGiveUpAge(age);
        }
    }
    /// It is asked after the others: its answer shows that they were not asked.
    void askHealthy()
    {
        const int before = m_healthy.newDataCount();
        m_healthy.device().updateInfo();
        QTRY_COMPARE_WITH_TIMEOUT(m_healthy.newDataCount(), before + 1, patience);
    }
    std::vector<DeviceRow *> all() { return {&hanging, &babbling, &secure}; }

    DeviceRow hanging;
    DeviceRow babbling;
    DeviceRow secure;

private:
    DeviceRow m_healthy;
};

/// A device that has something to say in every column.
simulator::DeviceOptions talkativeDevice()
{
    simulator::DeviceOptions options;
    options.hostName = "roof-sensor-0007";
    options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x1F, 0xA2};
    options.extendedValues = true;
    simulator::Sensor plain;
    plain.value = "21.5";
    plain.extendedValue = "21.53";
    plain.unit = "&deg;C";
    simulator::Sensor high;
    high.value = "96";
    high.extendedValue = "96.4";
    high.unit = "%rH";
    high.status = "2";
    options.sensors = std::vector<simulator::Sensor>{plain, high};
    options.interfaces =
        std::vector<simulator::NetworkInterface>{{"10.77.128.1", ""}, {"192.168.4.2", "nembra-plant"}};
    options.variables = {{"fw_manufacturer", "Nembra &deg; Works"},
                         {"fw_name", "nembra-node"},
                         {"fw_version", "3.1.2"},
                         {"sysdate", "20.11.2026"},
                         {"systime", "22:34:46"},
                         {"syslocation", "Hall 3, rack 12"},
                         {"syscontact", "M\xC3\xBCller"},
                         {"netif", "eth0"},
                         {"login_user", "guest"},
                         {"login_group", "2"},
                         {"memusage", "34%"},
                         {"histo_usage", "7%"},
                         {"uptime_d", "12"},
                         {"uptime_h", "3"},
                         {"uptime_m", "4"},
                         {"uptime_s", "5"},
                         {"dev_type", "XY2"},
                         {"histo_start", "1600000000"},
                         {"systimestamp", "1700000000"}};
    return options;
}

} // namespace

class TestDevice : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void startsWithHttpAndRightAlignedSensors();
    void takesOverADiscoveryRecord();
    void keepsFirstSeenAtLaterAnswers();
    void tellsItsBaseUrl();

    void asksWithTheTemplate();
    void fillsEveryCell();
    void keepsTimesAsValues();
    void tellsWhatItHasRead();
    void failedAnswers_data();
    void failedAnswers();
    void failedAnswersOverHttps_data();
    void failedAnswersOverHttps();
    void failsAtOnceWithoutAnAddress();
    void failsWhereNoDeviceCanBe_data();
    void failsWhereNoDeviceCanBe();
    void readsOddAnswers_data();
    void readsOddAnswers();
    void blanksASensorThatIsGone();
    void prefersExtendedValues_data();
    void prefersExtendedValues();
    void marksSensorStatus_data();
    void marksSensorStatus();
    void tellsTheType_data();
    void tellsTheType();
    void tellsAccessRights_data();
    void tellsAccessRights();

    void followsToHttpsAtTheConfiguredPort();
    void reachesOldTlsDevices_data();
    void reachesOldTlsDevices();

    void asksNobodyTwiceAtATime();
    void givesUpWhatIsOutForTooLong();
    void asksAgainAfterGivingUp();
    void givesUpTooMuch_data();
    void givesUpTooMuch();
    void endsAFlood_data();
    void endsAFlood();
    void abortsItsQuery();
    void forgetsHttpsWhenAborted();
    void showsWhenADeviceIsBackAtHttp();
    void leavesItsRequestBehind();
    void takesAnIdleClientAlong();

    void ages_data();
    void ages();
    void colorsEachPartByItsAge();
    void recolorsForANewPalette();
    void filters_data();
    void filters();
    void filtersOnlyVisibleColumns();

private:
    /// Starts the fleet with one device of these options, and makes its row.
    void begin(simulator::DeviceOptions options = {}, simulator::FleetOptions fleetOptions = {});
    /// Has the device asked, and waits until its request has ended.
    void ask();
    /// Starts the fleet for LateRows.
    void beginLate();
    /// Has all of them asked, and waits until their requests are out.
    void awaitLateRequests(LateRows &rows);
    /// Has them asked once more when their requests are too old.
    static void giveUpLateRequests(LateRows &rows);

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<Fleet> m_fleet;
    std::unique_ptr<DeviceRow> m_row;
};

void TestDevice::init()
{
    m_environment = std::make_unique<TestEnvironment>();
}

void TestDevice::cleanup()
{
    m_row.reset();
    m_fleet.reset();
    m_environment.reset();
}

void TestDevice::begin(simulator::DeviceOptions options, simulator::FleetOptions fleetOptions)
{
    m_fleet = std::make_unique<Fleet>(std::move(fleetOptions));
    m_fleet->addDevice(std::move(options));
    m_fleet->start();
    m_row = std::make_unique<DeviceRow>(*m_fleet, 0);
}

void TestDevice::ask()
{
    const int ended = m_row->requestEndedCount();
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->requestEndedCount(), ended + 1, patience);
}

void TestDevice::startsWithHttpAndRightAlignedSensors()
{
    DeviceRow row;
    QCOMPARE(row.text(20), QStringLiteral("http"));
    for (int i = 0; i < 27; ++i) {
        QVERIFY2(i == 20 || row.text(i).isEmpty(), qPrintable(QString::number(i) + row.text(i)));
        const bool sensor = i >= 9 && i <= 12;
        QCOMPARE(row.item().textAlignment(i), sensor ? int(Qt::AlignRight) : 0);
    }
    const Device &device = row.device();
    QCOMPARE(device.queryPending(), true);
    QCOMPARE(device.updateMember(), false);
    QCOMPARE(device.useHttps(), false);
    QCOMPARE(device.loginGroup(), -1);
    QCOMPARE(device.deviceType(), QString());
    QVERIFY(device.historyStart().isNull());
    QVERIFY(device.deviceTime().isNull());
    QVERIFY(device.sidCookie().name().isEmpty());
    QCOMPARE(device.record().variant(), 0);
}

void TestDevice::takesOverADiscoveryRecord()
{
    DeviceRow row;
    row.device().addAge(5);
    DiscoveryDevice record;
    record.setHostname(QStringLiteral("roof <b>sensor</b>"));
    record.setAddress(QHostAddress(QStringLiteral("10.77.128.7")));
    record.setStaticAddress(QHostAddress(QStringLiteral("10.77.128.8")));
    record.setMacText(QStringLiteral("0E:5A:11:00:1F:A2"));
    record.setVariant(16);

    QSignalSpy newDiscovery(&row.device(), &Device::newDiscovery);
    const QDateTime before = QDateTime::currentDateTime();
    row.device().updateFromDiscovery(record);
    const QDateTime after = QDateTime::currentDateTime();

    QCOMPARE(row.text(0), QStringLiteral("roof <b>sensor</b>"));
    QCOMPARE(row.text(1), QStringLiteral("10.77.128.7"));
    QCOMPARE(row.text(2), QStringLiteral("0E:5A:11:00:1F:A2"));
    for (const int column : {3, 4}) {
        QCOMPARE(QMetaType::Type(row.value(column).type()), QMetaType::QDateTime);
        const QDateTime seen = row.value(column).toDateTime();
        QCOMPARE(seen.timeSpec(), Qt::LocalTime);
        QVERIFY2(before <= seen && seen <= after, qPrintable(seen.toString(Qt::ISODateWithMs)));
    }
    QCOMPARE(row.device().discoveryAge(), 0);
    QCOMPARE(row.device().dataAge(), 5);
    QCOMPARE(row.device().webAge(), 5);
    QCOMPARE(newDiscovery.count(), 1);
    QCOMPARE(newDiscovery.first().first().value<DiscoveryDevice>().macText(),
             QStringLiteral("0E:5A:11:00:1F:A2"));
    QCOMPARE(row.newDataCount(), 0);
}

void TestDevice::keepsFirstSeenAtLaterAnswers()
{
    DeviceRow row;
    DiscoveryDevice record;
    record.setHostname(QStringLiteral("old name"));
    row.device().updateFromDiscovery(record);
    const QDateTime firstSeen = row.value(3).toDateTime();

    record.setHostname(QStringLiteral("new name"));
    // Until the clock has moved on.
    QTRY_VERIFY_WITH_TIMEOUT(
        (row.device().updateFromDiscovery(record), row.value(4).toDateTime() > firstSeen), patience);
    QCOMPARE(row.value(3).toDateTime(), firstSeen);
    QCOMPARE(row.text(0), QStringLiteral("new name"));
}

void TestDevice::tellsItsBaseUrl()
{
    DeviceRow row;
    QCOMPARE(row.device().webInterfaceUrl(), QString());

    DiscoveryDevice record;
    record.setAddress(QHostAddress(QStringLiteral("10.77.128.7")));
    record.setStaticAddress(QHostAddress(QStringLiteral("10.77.128.8")));
    row.device().updateFromDiscovery(record);
    QCOMPARE(row.device().webInterfaceUrl(), QStringLiteral("http://10.77.128.7:80/"));

    settings::setValue(settings::scanHttpPort, 8080);
    QCOMPARE(row.device().webInterfaceUrl(), QStringLiteral("http://10.77.128.7:8080/"));
}

void TestDevice::asksWithTheTemplate()
{
    begin();
    ask();
    const auto requests = m_fleet->requests(0);
    QCOMPARE(requests.size(), std::size_t(1));
    const simulator::HttpRecord &request = requests.front();
    QCOMPARE(request.https, false);
    QCOMPARE(request.method, std::string("POST"));
    QCOMPARE(request.target, std::string("/admin/proctpl.cgi"));
    QCOMPARE(request.header("Content-Type"), std::string("text"));
    QCOMPARE(request.header("Cookie"), std::string());
    QCOMPARE(QByteArray::fromStdString(request.body), QByteArray(expectedQuery));
    QCOMPARE(request.bodySize, std::uint64_t(qstrlen(expectedQuery)));
}

void TestDevice::fillsEveryCell()
{
    begin(talkativeDevice());
    ask();
    const QStringList expected{QStringLiteral("roof-sensor-0007"),
                               QStringLiteral("10.77.128.1"),
                               QStringLiteral("0E:5A:11:00:1F:A2"),
                               {}, // First Seen: see below
                               {}, // Last Seen: see below
                               QStringLiteral("Nembra ° Works"),
                               QStringLiteral("nembra-node"),
                               QStringLiteral("3.1.2"),
                               QStringLiteral("Nembra WLAN XY2"),
                               QStringLiteral("21.5 °C"),
                               QStringLiteral("96 %rH ↥"),
                               QString(),
                               QString(),
                               QStringLiteral("12d 3h 4m 5s"),
                               QStringLiteral("20.11.2026"),
                               QStringLiteral("22:34:46"),
                               QStringLiteral("Hall 3, rack 12"),
                               QStringLiteral("Müller"),
                               QStringLiteral("nembra-plant"),
                               QStringLiteral("eth0"),
                               QStringLiteral("http"),
                               QStringLiteral("200 OK"),
                               QStringLiteral("guest"),
                               QStringLiteral("Read data / Read config"),
                               QStringLiteral("34%"),
                               {}, // History start: see below
                               QStringLiteral("7%")};
    QCOMPARE(expected.size(), 27);
    for (int i = 0; i < expected.size(); ++i) {
        if (i != 3 && i != 4 && i != 25) {
            QVERIFY2(m_row->text(i) == expected.at(i),
                     qPrintable(QStringLiteral("column %1: %2").arg(i).arg(m_row->text(i))));
        }
    }
}

void TestDevice::keepsTimesAsValues()
{
    begin(talkativeDevice());
    ask();
    for (const int column : {3, 4, 25}) {
        QCOMPARE(QMetaType::Type(m_row->value(column).type()), QMetaType::QDateTime);
        QCOMPARE(m_row->value(column).toDateTime().timeSpec(), Qt::LocalTime);
    }
    QCOMPARE(m_row->value(25).toDateTime(), QDateTime({2020, 9, 13}, {12, 26, 40}, Qt::UTC));
    QCOMPARE(m_row->value(13).userType(), qMetaTypeId<Timespan>());
    QCOMPARE(m_row->value(13).value<Timespan>().days, 12);
}

void TestDevice::tellsWhatItHasRead()
{
    begin(talkativeDevice());
    m_row->device().addAge(4);
    ask();
    const Device &device = m_row->device();
    QCOMPARE(device.deviceType(), QStringLiteral("Nembra WLAN XY2"));
    QCOMPARE(device.loginGroup(), 2);
    QCOMPARE(device.historyStart(), QDateTime({2020, 9, 13}, {12, 26, 40}, Qt::UTC));
    QCOMPARE(device.deviceTime(), QDateTime({2023, 11, 14}, {22, 13, 20}, Qt::UTC));
    QCOMPARE(device.discoveryAge(), 4);
    QCOMPARE(device.dataAge(), 0);
    QCOMPARE(device.webAge(), 0);
    QCOMPARE(m_row->newDataCount(), 1);
}

void TestDevice::failedAnswers_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<QString>("status");
    QTest::addColumn<int>("newData");
    QTest::addColumn<int>("webAge");
    QTest::addColumn<int>("dataAge");
    QTest::addColumn<QString>("accessRights");

    const QString rights = QStringLiteral("Read data");
    QTest::newRow("refused") << Fault::refuse() << "Connection refused" << 1 << 3 << 3 << rights;
    QTest::newRow("closed without an answer")
        << Fault::closeWithoutAnswer() << "Connection closed" << 1 << 3 << 3 << rights;
    QTest::newRow("garbage") << Fault::garbage() << "Connection closed" << 1 << 3 << 3 << rights;
    QTest::newRow("cut body") << Fault::cut() << "200 Connection closed" << 1 << 3 << 3 << rights;
    QTest::newRow("403")
        << Fault::status(403, "Forbidden")
        << "403 Error transferring http://10.77.128.1:80/admin/proctpl.cgi - server replied: Forbidden" << 1
        << 0 << 3 << "None";
    QTest::newRow("404")
        << Fault::status(404, "Not Found")
        << "404 Error transferring http://10.77.128.1:80/admin/proctpl.cgi - server replied: Not Found" << 1
        << 3 << 3 << rights;
    QTest::newRow("500")
        << Fault::status(500, "Oops")
        << "500 Error transferring http://10.77.128.1:80/admin/proctpl.cgi - server replied: Oops" << 1 << 3
        << 3 << rights;
    QTest::newRow("204, no transport error")
        << Fault::status(204, "No Content") << "204 No Content" << 0 << 3 << 3 << rights;
    QTest::newRow("303 to another page")
        << Fault::status(303, "See Other", "/login.html") << "303 See Other" << 0 << 3 << 3 << rights;
    QTest::newRow("303 to plain HTTP") << Fault::status(303, "See Other", "http://10.77.128.1/x")
                                       << "303 See Other" << 0 << 3 << 3 << rights;
    QTest::newRow("303 to nowhere") << Fault::status(303, "See Other") << "303 See Other" << 0 << 3 << 3
                                    << rights;
    QTest::newRow("302 to HTTPS") << Fault::status(302, "Found", "https://10.77.128.1/x") << "302 Found" << 0
                                  << 3 << 3 << rights;
    QTest::newRow("no JSON") << Fault::invalidJson() << "200 OK" << 0 << 0 << 0 << rights;
    QTest::newRow("empty body") << Fault::answerWith("") << "200 OK" << 0 << 0 << 0 << rights;
    QTest::newRow("body of more than 1 MiB")
        << Fault::answerWith(R"({"dev_type": ")" + std::string((1U << 20U), 'x') + "\"}")
        << "200 Operation canceled" << 1 << 3 << 3 << rights;
}

void TestDevice::failedAnswers()
{
    QFETCH(Fault, fault);
    begin();
    m_fleet->setVariable(0, "login_group", "1");
    m_fleet->setVariable(0, "dev_type", "XY2");
    ask();
    QCOMPARE(m_row->text(23), QStringLiteral("Read data"));
    m_row->device().addAge(3);
    // A connection that is still open could not be refused.
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->counters().openConnections, std::uint64_t(0), patience);
    m_fleet->addFault(0, fault);
    ask();

    QTEST(m_row->text(21), "status");
    QTEST(m_row->newDataCount() - 1, "newData");
    QTEST(m_row->device().webAge(), "webAge");
    QTEST(m_row->device().dataAge(), "dataAge");
    QTEST(m_row->text(23), "accessRights");
    QFETCH(QString, accessRights);
    QCOMPARE(m_row->device().loginGroup(), accessRights == QLatin1String("None") ? 0 : 1);
    QCOMPARE(m_row->device().useHttps(), false);
    QCOMPARE(m_row->text(20), QStringLiteral("http"));
    // What the device said before stays.
    QVERIFY2(m_row->text(8).endsWith(QLatin1String(" XY2")), qPrintable(m_row->text(8)));
}

void TestDevice::failedAnswersOverHttps_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("keepsHttps");

    QTest::newRow("403")
        << Fault::status(403, "Forbidden")
        << "403 Error transferring https://10.77.128.1:443/admin/proctpl.cgi - server replied: Forbidden"
        << true;
    QTest::newRow("404")
        << Fault::status(404, "Not Found")
        << "404 Error transferring https://10.77.128.1:443/admin/proctpl.cgi - server replied: Not Found"
        << false;
    QTest::newRow("204") << Fault::status(204, "No Content") << "204 No Content" << false;
    QTest::newRow("303 to HTTPS again")
        << Fault::status(303, "See Other", "https://10.77.128.1/again") << "303 See Other" << false;
    QTest::newRow("closed without an answer") << Fault::closeWithoutAnswer() << "Connection closed" << false;
}

void TestDevice::failedAnswersOverHttps()
{
    QFETCH(Fault, fault);
    QFETCH(QString, status);
    QFETCH(bool, keepsHttps);
    simulator::DeviceOptions options;
    options.redirectToHttps = true;
    begin(options);
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);
    QCOMPARE(m_row->device().useHttps(), true);
    QCOMPARE(schemes(*m_fleet, 0), QStringLiteral("http https"));

    fault.scheme = Fault::Scheme::Https;
    m_fleet->addFault(0, fault);
    ask();
    QCOMPARE(m_row->text(21), status);
    QCOMPARE(m_row->device().useHttps(), keepsHttps);

    m_fleet->clearFaults();
    m_fleet->clearJournal();
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->text(21), QStringLiteral("200 OK"), patience);
    QCOMPARE(schemes(*m_fleet, 0), keepsHttps ? QStringLiteral("https") : QStringLiteral("http https"));
}

void TestDevice::failsAtOnceWithoutAnAddress()
{
    DeviceRow row;
    QCOMPARE(row.device().webInterfaceUrl(), QString());
    row.device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(row.newDataCount(), 1, patience);
    QCOMPARE(row.text(21), QStringLiteral("Protocol \"\" is unknown"));
    QCOMPARE(row.device().useHttps(), false);
    QCOMPARE(row.device().requestOutstanding(), false);
}

void TestDevice::failsWhereNoDeviceCanBe_data()
{
    QTest::addColumn<QString>("address");
    QTest::newRow("this computer") << "10.77.0.1";
    QTest::newRow("loopback") << "127.0.0.1";
    QTest::newRow("broadcast") << "255.255.255.255";
    QTest::newRow("broadcast of the network") << "10.77.255.255";
    QTest::newRow("multicast") << "224.0.0.1";
    QTest::newRow("reserved") << "240.0.0.1";
}

void TestDevice::failsWhereNoDeviceCanBe()
{
    QFETCH(QString, address);
    DiscoveryDevice record;
    record.setAddress(QHostAddress(address));
    DeviceRow row;
    row.device().updateFromDiscovery(record);
    row.device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(row.newDataCount(), 1, patience);
    QVERIFY(!row.text(21).isEmpty());
    QVERIFY(!row.text(21).startsWith(QLatin1String("200")));
    QCOMPARE(row.device().requestOutstanding(), false);
}

void TestDevice::readsOddAnswers_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("sensor1");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("uptime");
    QTest::addColumn<QString>("accessRights");
    QTest::addColumn<qint64>("historyStart");

    const QString none = QStringLiteral("None");
    const QString zero = QStringLiteral("0d 0h 0m 0s");
    QTest::newRow("empty object") << QByteArray("{}") << ""
                                  << ""
                                  << "Nembra " << zero << none << qint64(0);
    QTest::newRow("array") << QByteArray("[1, 2]") << ""
                           << ""
                           << "Nembra " << zero << none << qint64(0);
    QTest::newRow("wrong types") << QByteArray(R"({"Sensor 1": "21", "Version": 3, "uptime": "1", )"
                                               R"("netiftab": {"a": 1, "b": 2}, "dev_type": ["XY2"], )"
                                               R"("login_group": 3, "histo_start": 1600000000})")
                                 << " "
                                 << ""
                                 << "Nembra " << zero << none << qint64(0);
    QTest::newRow("texts that are no numbers")
        << QByteArray(
               R"({"uptime": ["1d", "2", "", "4.5"], "login_group": "three", "histo_start": "long ago"})")
        << ""
        << ""
        << "Nembra "
        << "0d 2h 0m 0s" << none << qint64(0);
    QTest::newRow("uptime cut short") << QByteArray(R"({"uptime": ["7"]})") << ""
                                      << ""
                                      << "Nembra "
                                      << "7d 0h 0m 0s" << none << qint64(0);
    QTest::newRow("sensor without members") << QByteArray(R"({"Sensor 1": {}})") << " "
                                            << ""
                                            << "Nembra " << zero << none << qint64(0);
    QTest::newRow("markup stays text") << QByteArray(R"({"Version": "<img src=x>&deg;&amp;"})") << ""
                                       << "<img src=x>°&amp;"
                                       << "Nembra " << zero << none << qint64(0);
    QTest::newRow("negative and huge numbers")
        << QByteArray(R"({"uptime": ["-1", "2147483647", "2147483648", "0"], "login_group": "0",)"
                      R"( "histo_start": "-86400"})")
        << ""
        << ""
        << "Nembra "
        << "-1d 2147483647h 0m 0s" << none << qint64(-86400);
}

void TestDevice::readsOddAnswers()
{
    QFETCH(QByteArray, body);
    begin();
    ask();
    m_fleet->addFault(0, Fault::answerWith(body.toStdString()));
    m_row->device().addAge(2);
    ask();
    QTEST(m_row->text(9), "sensor1");
    QTEST(m_row->text(7), "version");
    QTEST(m_row->text(8), "type");
    QTEST(m_row->text(13), "uptime");
    QTEST(m_row->text(23), "accessRights");
    QTEST(m_row->value(25).toDateTime().toSecsSinceEpoch(), "historyStart");
    QCOMPARE(m_row->text(21), QStringLiteral("200 OK"));
    QCOMPARE(m_row->device().dataAge(), 0);
    QCOMPARE(m_row->newDataCount(), 2);
}

void TestDevice::blanksASensorThatIsGone()
{
    simulator::DeviceOptions options;
    simulator::Sensor sensor;
    sensor.value = "5.0";
    sensor.unit = "hPa";
    sensor.status = "1";
    options.sensors = std::vector<simulator::Sensor>(4, sensor);
    options.extendedValues = false;
    begin(options);
    ask();
    QCOMPARE(m_row->text(11), QStringLiteral("5.0 hPa ↧"));
    QCOMPARE(m_row->item().foreground(11).color(), red);

    m_fleet->change(0, [sensor](simulator::DeviceOptions &changed) {
        changed.sensors = std::vector<simulator::Sensor>(2, sensor);
    });
    ask();
    QCOMPARE(m_row->text(10), QStringLiteral("5.0 hPa ↧"));
    QCOMPARE(m_row->text(11), QString());
    QCOMPARE(m_row->item().foreground(11).color(), QGuiApplication::palette().color(QPalette::Text));
    QCOMPARE(m_row->text(12), QString());
}

void TestDevice::prefersExtendedValues_data()
{
    QTest::addColumn<bool>("prefer");
    QTest::addColumn<QString>("extended");
    QTest::addColumn<QString>("shown");
    QTest::newRow("longer") << true << "21.53"
                            << "21.53 °C";
    QTest::newRow("as long") << true << "99.9"
                             << "99.9 °C";
    QTest::newRow("shorter") << true << "22"
                             << "21.5 °C";
    QTest::newRow("empty") << true << ""
                           << "21.5 °C";
    QTest::newRow("not known to the device") << true << "sensortab_value_ex"
                                             << "21.5 °C";
    QTest::newRow("not preferred") << false << "21.53"
                                   << "21.5 °C";
}

void TestDevice::prefersExtendedValues()
{
    QFETCH(bool, prefer);
    QFETCH(QString, extended);
    settings::setValue(settings::preferExtended, prefer);
    begin();
    m_fleet->addFault(0, Fault::answerWith(R"({"Sensor 1": {"v": "21.5", "e": ")" + extended.toStdString() +
                                           R"(", "u": "&deg;C", "s": "0"}})"));
    ask();
    QTEST(m_row->text(9), "shown");
}

void TestDevice::marksSensorStatus_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("shown");
    QTest::newRow("none") << "0"
                          << "7 hPa";
    QTest::newRow("failed") << "128"
                            << "7 hPa ✖";
    QTest::newRow("below the limit") << "1"
                                     << "7 hPa ↧";
    QTest::newRow("above the limit") << "2"
                                     << "7 hPa ↥";
    QTest::newRow("below the warning") << "4"
                                       << "7 hPa ↘";
    QTest::newRow("above the warning") << "8"
                                       << "7 hPa ↗";
    QTest::newRow("failed before below the limit") << "129"
                                                   << "7 hPa ✖";
    QTest::newRow("limit before warning") << "6"
                                          << "7 hPa ↥";
    QTest::newRow("below before above the limit") << "3"
                                                  << "7 hPa ↧";
    QTest::newRow("another bit") << "16"
                                 << "7 hPa";
    QTest::newRow("all other bits") << "112"
                                    << "7 hPa";
    QTest::newRow("no number") << "failed"
                               << "7 hPa";
    QTest::newRow("hexadecimal") << "0x80"
                                 << "7 hPa";
    QTest::newRow("empty") << ""
                           << "7 hPa";
}

void TestDevice::marksSensorStatus()
{
    QFETCH(QString, status);
    QFETCH(QString, shown);
    begin();
    m_fleet->addFault(0, Fault::answerWith(R"({"Sensor 4": {"v": "7", "e": "", "u": "hPa", "s": ")" +
                                           status.toStdString() + R"("}})"));
    ask();
    QCOMPARE(m_row->text(12), shown);
    const QColor normal = QGuiApplication::palette().color(QPalette::Text);
    QVERIFY(normal != red);
    QCOMPARE(m_row->item().foreground(12).color(), shown == QLatin1String("7 hPa") ? normal : red);
    QCOMPARE(m_row->item().foreground(11).color(), normal);
}

void TestDevice::tellsTheType_data()
{
    QTest::addColumn<QByteArray>("interfaces");
    QTest::addColumn<QString>("type");
    QTest::newRow("no interface") << QByteArray("[]") << "Nembra XY2";
    QTest::newRow("one") << QByteArray(R"(["10.77.128.1"])") << "Nembra XY2";
    QTest::newRow("two") << QByteArray(R"(["10.77.128.1", "0.0.0.0"])") << "Nembra WLAN XY2";
    QTest::newRow("three") << QByteArray(R"(["", "", ""])") << "Nembra WLAN XY2";
}

void TestDevice::tellsTheType()
{
    QFETCH(QByteArray, interfaces);
    begin();
    m_fleet->addFault(
        0, Fault::answerWith(R"({"dev_type": "XY2", "netiftab": )" + interfaces.toStdString() + "}"));
    ask();
    QTEST(m_row->text(8), "type");
    QTEST(m_row->device().deviceType(), "type");
}

void TestDevice::tellsAccessRights_data()
{
    QTest::addColumn<QString>("loginGroup");
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("accessRights");
    QTest::newRow("nothing") << "0" << 0 << "None";
    QTest::newRow("data") << "1" << 1 << "Read data";
    QTest::newRow("configuration") << "2" << 2 << "Read data / Read config";
    QTest::newRow("everything") << "3" << 3 << "Read data / Write config";
    QTest::newRow("above all levels") << "4" << 4 << "";
    QTest::newRow("below all levels") << "-1" << -1 << "";
}

void TestDevice::tellsAccessRights()
{
    QFETCH(QString, loginGroup);
    begin();
    m_fleet->setVariable(0, "login_group", loginGroup.toStdString());
    ask();
    QTEST(m_row->device().loginGroup(), "level");
    QTEST(m_row->text(23), "accessRights");
}

void TestDevice::followsToHttpsAtTheConfiguredPort()
{
    simulator::FleetOptions fleetOptions;
    fleetOptions.httpPort = 8080;
    fleetOptions.httpsPort = 8443;
    settings::setValue(settings::scanHttpPort, 8080);
    settings::setValue(settings::scanHttpsPort, 8443);
    begin({}, fleetOptions);
    // Where exactly the device wants to go doesn't matter.
    m_fleet->addFault(0, Fault::status(303, "See Other", "https://10.77.128.200:9/elsewhere").onlyHttp());
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);

    QCOMPARE(m_row->text(21), QStringLiteral("200 OK"));
    QCOMPARE(m_row->text(20), QStringLiteral("https"));
    QCOMPARE(m_row->device().webInterfaceUrl(), QStringLiteral("https://10.77.128.1:8443/"));
    const auto requests = m_fleet->requests(0);
    QCOMPARE(schemes(*m_fleet, 0), QStringLiteral("http https"));
    QCOMPARE(requests.back().method, std::string("POST"));
    QCOMPARE(requests.back().target, std::string("/admin/proctpl.cgi"));
    QCOMPARE(QByteArray::fromStdString(requests.back().body), QByteArray(expectedQuery));

    m_fleet->clearJournal();
    ask();
    QCOMPARE(schemes(*m_fleet, 0), QStringLiteral("https"));
}

void TestDevice::reachesOldTlsDevices_data()
{
    QTest::addColumn<simulator::TlsMode>("tls");
    QTest::newRow("current TLS") << simulator::TlsMode::Modern;
    QTest::newRow("only TLS 1.0") << simulator::TlsMode::Tls10Only;
    QTest::newRow("only TLS 1.1") << simulator::TlsMode::Tls11Only;
    QTest::newRow("key of 1024 bits") << simulator::TlsMode::Rsa1024;
    QTest::newRow("key of 512 bits") << simulator::TlsMode::Rsa512;
}

void TestDevice::reachesOldTlsDevices()
{
    QFETCH(simulator::TlsMode, tls);
    simulator::DeviceOptions options;
    options.redirectToHttps = true;
    options.tls = tls;
    begin(options);
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);
    QCOMPARE(m_row->text(21), QStringLiteral("200 OK"));
    QCOMPARE(m_row->text(20), QStringLiteral("https"));
    QCOMPARE(schemes(*m_fleet, 0), QStringLiteral("http https"));
}

void TestDevice::beginLate()
{
    m_fleet = std::make_unique<Fleet>();
    m_fleet->addDevices(3);
    simulator::DeviceOptions https;
    https.redirectToHttps = true;
    m_fleet->addDevice(https);
    m_fleet->start();
}

void TestDevice::awaitLateRequests(LateRows &rows)
{
    rows.askAll();
    QTRY_COMPARE_WITH_TIMEOUT(requestCount(*m_fleet, 0), std::size_t(1), patience);
    QTRY_COMPARE_WITH_TIMEOUT(rows.babbling.text(21), QStringLiteral("200 OK"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(schemes(*m_fleet, 3), QStringLiteral("http https"), patience);
}

void TestDevice::giveUpLateRequests(LateRows &rows)
{
    rows.setGiveUpAge(0ms);
    QTRY_VERIFY_WITH_TIMEOUT(rows.secure.device().requestAge() > 0, patience);
    rows.askAll();
}

void TestDevice::asksNobodyTwiceAtATime()
{
    beginLate();
    LateRows rows(*m_fleet);
    awaitLateRequests(rows);
    rows.askAll();
    rows.askHealthy();
    QCOMPARE(requestCount(*m_fleet, 0), std::size_t(1));
    QCOMPARE(requestCount(*m_fleet, 1), std::size_t(1));
    QCOMPARE(requestCount(*m_fleet, 3), std::size_t(2));
    QCOMPARE(rows.hanging.newDataCount(), 0);
    QCOMPARE(rows.hanging.text(21), QString());
    QCOMPARE(rows.hanging.device().requestOutstanding(), true);
    QCOMPARE(rows.secure.device().useHttps(), true);
}

void TestDevice::givesUpWhatIsOutForTooLong()
{
    beginLate();
    LateRows rows(*m_fleet);
    awaitLateRequests(rows);
    giveUpLateRequests(rows);
    QCOMPARE(rows.hanging.text(21), QStringLiteral("Operation canceled"));
    QCOMPARE(rows.hanging.newDataCount(), 1);
    QCOMPARE(rows.babbling.text(21), QStringLiteral("200 OK"));
    QCOMPARE(rows.babbling.newDataCount(), 0);
    QCOMPARE(rows.secure.text(21), QStringLiteral("Operation canceled"));
    QCOMPARE(rows.secure.device().useHttps(), false);
    rows.askHealthy();
    QCOMPARE(requestCount(*m_fleet, 0), std::size_t(1));
    QCOMPARE(requestCount(*m_fleet, 1), std::size_t(1));
    QCOMPARE(requestCount(*m_fleet, 3), std::size_t(2));
}

void TestDevice::asksAgainAfterGivingUp()
{
    beginLate();
    LateRows rows(*m_fleet);
    awaitLateRequests(rows);
    giveUpLateRequests(rows);
    m_fleet->clearFaults();
    rows.setGiveUpAge(20s);
    rows.askAll();
    for (const DeviceRow *const row : rows.all()) {
        QTRY_COMPARE_WITH_TIMEOUT(row->text(21), QStringLiteral("200 OK"), patience);
    }
    QTRY_COMPARE_WITH_TIMEOUT(rows.babbling.newDataCount(), 1, patience);
    QTRY_COMPARE_WITH_TIMEOUT(rows.hanging.newDataCount(), 2, patience);
    QCOMPARE(schemes(*m_fleet, 0), QStringLiteral("http http"));
    QCOMPARE(schemes(*m_fleet, 1), QStringLiteral("http http"));
    QCOMPARE(schemes(*m_fleet, 3), QStringLiteral("http https http https"));
}

void TestDevice::givesUpTooMuch_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::newRow("endless body") << Fault::endlessBody();
    QTest::newRow("unasked compression of 400 MiB") << Fault::inflatingBody();
    Fault packedFlood = Fault::endlessChunkSize();
    packedFlood.headers = {{"Content-Encoding", "gzip"}};
    QTest::newRow("unasked compression, and no chunk") << packedFlood;
    QTest::newRow("body of 8 MiB") << Fault::answerWith(std::string(8U << 20U, ' '));
}

void TestDevice::givesUpTooMuch()
{
    QFETCH(Fault, fault);
    begin();
    ask();
    const qint64 before = thisprocess::residentMemory();
    QVERIFY(before > 0);
    const int threads = thisprocess::threadCount();
    m_fleet->addFault(0, fault);
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 2, longPatience);
    QCOMPARE(m_row->text(21), QStringLiteral("200 Operation canceled"));
    QTRY_VERIFY_WITH_TIMEOUT(thisprocess::threadCount() <= threads, longPatience);
    const qint64 growth = thisprocess::residentMemory() - before;
    QVERIFY2(growth < 100LL * 1024 * 1024, qPrintable(QString::number(growth)));

    m_fleet->clearFaults();
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->text(21), QStringLiteral("200 OK"), patience);
}

void TestDevice::endsAFlood_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<QString>("status");
    QTest::newRow("headers") << Fault::endlessHeaders() << QStringLiteral("Data corrupted");
    QTest::newRow("size of a chunk") << Fault::endlessChunkSize() << QStringLiteral("200 Data corrupted");
    QTest::newRow("page to a call for a password")
        << Fault::endlessBody(401) << QStringLiteral("401 Operation canceled");
    QTest::newRow("page to a proxy's call for a password")
        << Fault::endlessBody(407) << QStringLiteral("407 Operation canceled");
    QTest::newRow("page to a refusal") << Fault::endlessBody(403) << QStringLiteral("403 Operation canceled");
}

void TestDevice::endsAFlood()
{
    QFETCH(Fault, fault);
    begin();
    ask();
    QVERIFY(thisprocess::restartPeakMemory());
    const qint64 before = thisprocess::residentMemory();
    m_fleet->addFault(0, fault);
    m_row->device().updateInfo();
    // Nobody else ends it: it would last for ever.
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 2, longPatience);
    QTEST(m_row->text(21), "status");
    QCOMPARE(m_row->device().requestOutstanding(), false);
    // The fleet is in the same process, with what it has not sent yet. An instrumented build keeps what is
    // freed.
#ifdef __SANITIZE_ADDRESS__
    constexpr qint64 mostGrowth = 256LL * 1024 * 1024;
#else
    constexpr qint64 mostGrowth = 32LL * 1024 * 1024;
#endif
    const qint64 growth = thisprocess::peakMemory() - before;
    QVERIFY2(growth < mostGrowth, qPrintable(QString::number(growth)));
    // The flood is ended for the device, which wouldn't by itself.
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->counters().openConnections, std::uint64_t(0), patience);

    m_fleet->clearFaults();
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->text(21), QStringLiteral("200 OK"), patience);
}

void TestDevice::abortsItsQuery()
{
    begin();
    m_fleet->addFault(0, Fault::hang());
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(requestCount(*m_fleet, 0), std::size_t(1), patience);
    QCOMPARE(m_row->device().requestOutstanding(), true);

    m_row->device().abortQuery();
    QCOMPARE(m_row->device().requestOutstanding(), false);
    QCOMPARE(m_row->text(21), QStringLiteral("Operation canceled"));
    QCOMPARE(m_row->newDataCount(), 1);

    m_fleet->clearFaults();
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->text(21), QStringLiteral("200 OK"), patience);
    QCOMPARE(m_row->newDataCount(), 2);
}

void TestDevice::forgetsHttpsWhenAborted()
{
    simulator::DeviceOptions options;
    options.redirectToHttps = true;
    begin(options);
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);
    QCOMPARE(m_row->device().useHttps(), true);

    m_row->device().abortQuery();
    QCOMPARE(m_row->device().useHttps(), false);
    QCOMPARE(m_row->device().webInterfaceUrl(), QStringLiteral("http://10.77.128.1:80/"));
    QCOMPARE(m_row->newDataCount(), 1);
    QCOMPARE(m_row->text(21), QStringLiteral("200 OK"));
}

void TestDevice::showsWhenADeviceIsBackAtHttp()
{
    simulator::DeviceOptions options;
    options.redirectToHttps = true;
    begin(options);
    ask();
    QCOMPARE(m_row->text(20), QStringLiteral("https"));
    m_fleet->change(0, [](simulator::DeviceOptions &changed) { changed.redirectToHttps = false; });
    m_row->device().abortQuery();
    // It may still answer in another way than the last time.
    QCOMPARE(m_row->text(20), QStringLiteral("https"));
    ask();
    QCOMPARE(m_row->text(21), QStringLiteral("200 OK"));
    QCOMPARE(m_row->text(20), QStringLiteral("http"));
}

void TestDevice::leavesItsRequestBehind()
{
    begin();
    m_fleet->addFault(0, Fault::hang());
    m_row->device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(requestCount(*m_fleet, 0), std::size_t(1), patience);
    QCOMPARE(orphanedManagers().size(), 0);

    m_row->remove();
    QCOMPARE(orphanedManagers().size(), 1);
    const QPointer<QNetworkAccessManager> manager = orphanedManagers().constFirst();
    // The device hangs up.
    m_fleet->stop();
    QTRY_VERIFY_WITH_TIMEOUT(manager.isNull(), patience);
    QCOMPARE(orphanedManagers().size(), 0);
}

void TestDevice::takesAnIdleClientAlong()
{
    begin();
    ask();
    m_row->remove();
    QCOMPARE(orphanedManagers().size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->counters().openConnections, std::uint64_t(0), patience);
}

void TestDevice::ages_data()
{
    QTest::addColumn<QColor>("textColor");
    QTest::addColumn<int>("age");
    QTest::addColumn<QColor>("color");

    const QColor white(255, 255, 255);
    const QColor paleYellow(255, 255, 171);
    const QColor paleRed(255, 171, 171);
    const QColor black(0, 0, 0);
    const QColor darkYellow(155, 155, 0);
    const QColor darkRed(155, 0, 0);
    QTest::newRow("light, 0") << black << 0 << white;
    QTest::newRow("light, 1") << black << 1 << white;
    QTest::newRow("light, 2") << black << 2 << paleYellow;
    QTest::newRow("light, 3") << black << 3 << paleYellow;
    QTest::newRow("light, 4") << black << 4 << paleRed;
    QTest::newRow("light, 1000") << black << 1000 << paleRed;
    QTest::newRow("dark, 0") << white << 0 << black;
    QTest::newRow("dark, 1") << white << 1 << black;
    QTest::newRow("dark, 2") << white << 2 << darkYellow;
    QTest::newRow("dark, 3") << white << 3 << darkYellow;
    QTest::newRow("dark, 4") << white << 4 << darkRed;
    QTest::newRow("dark, 1000") << white << 1000 << darkRed;
    QTest::newRow("lightest text of a light theme") << QColor(128, 128, 128) << 2 << paleYellow;
    QTest::newRow("darkest text of a dark theme") << QColor(129, 129, 129) << 2 << darkYellow;
}

void TestDevice::ages()
{
    QFETCH(QColor, textColor);
    QFETCH(int, age);
    const TextColor theme(textColor);
    QTEST(ageColor(age), "color");
    QCOMPARE(ageColor(age).alpha(), 255);
}

void TestDevice::colorsEachPartByItsAge()
{
    const TextColor theme(Qt::black);
    DeviceRow row;
    Device &device = row.device();
    device.addAge(2);
    QCOMPARE(backgrounds(row), QStringLiteral("0-26 #ffffab"));
    device.resetDataAge();
    QCOMPARE(backgrounds(row), QStringLiteral("0-4 #ffffab, 5-22 #ffffff, 23-23 #ffffab, 24-26 #ffffff"));
    device.addAge(2);
    device.resetDiscoveryAge();
    QCOMPARE(device.discoveryAge(), 0);
    QCOMPARE(device.dataAge(), 2);
    QCOMPARE(device.webAge(), 4);
    QCOMPARE(backgrounds(row), QStringLiteral("0-4 #ffffff, 5-22 #ffffab, 23-23 #ffabab, 24-26 #ffffab"));
    device.resetWebAge();
    QCOMPARE(backgrounds(row), QStringLiteral("0-4 #ffffff, 5-22 #ffffab, 23-23 #ffffff, 24-26 #ffffab"));
}

void TestDevice::recolorsForANewPalette()
{
    const TextColor theme(Qt::black);
    DeviceRow row;
    Device &device = row.device();
    device.addAge(2);
    device.resetDataAge();
    device.addAge(2);
    device.resetDiscoveryAge();

    TextColor::set(Qt::white);
    device.addAge(0);
    QCOMPARE(backgrounds(row), QStringLiteral("0-4 #000000, 5-22 #9b9b00, 23-23 #9b0000, 24-26 #9b9b00"));
    QCOMPARE(device.webAge(), 4);
}

void TestDevice::filters_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("hidden");
    QTest::newRow("empty") << "" << false;
    QTest::newRow("in the name") << "sensor" << false;
    QTest::newRow("in another case") << "SENSOR" << false;
    QTest::newRow("in the address") << "\\.128\\.1$" << false;
    QTest::newRow("in the MAC") << "^0e:5a" << false;
    QTest::newRow("alternatives") << "cellar|roof" << false;
    QTest::newRow("nowhere") << "cellar" << true;
    QTest::newRow("only in a hidden column") << "3\\.1\\.2" << true;
    QTest::newRow("across columns") << "roof.*10\\.77" << true;
    QTest::newRow("unbalanced parenthesis") << "(cellar" << false;
}

void TestDevice::filters()
{
    QFETCH(QString, pattern);
    QFETCH(bool, hidden);
    DeviceRow row;
    row.item().setText(0, QStringLiteral("roof-sensor-0007"));
    row.item().setText(1, QStringLiteral("10.77.128.1"));
    row.item().setText(2, QStringLiteral("0E:5A:11:00:1F:A2"));
    row.item().setText(7, QStringLiteral("3.1.2"));
    const QRegExp expression(pattern, Qt::CaseInsensitive, QRegExp::RegExp);

    // From either state.
    for (const bool before : {false, true}) {
        row.item().setHidden(before);
        row.device().applyFilter(expression);
        QCOMPARE(row.item().isHidden(), hidden);
    }
}

void TestDevice::filtersOnlyVisibleColumns()
{
    DeviceRow row;
    row.item().setText(7, QStringLiteral("3.1.2"));
    const QRegExp expression(QStringLiteral("3\\.1"));
    row.device().applyFilter(expression);
    QCOMPARE(row.item().isHidden(), true);
    row.list().setColumnHidden(7, false);
    row.device().applyFilter(expression);
    QCOMPARE(row.item().isHidden(), false);
}

NEMBRA_GUI_TEST_MAIN(TestDevice)
#include "tst_device.moc"
