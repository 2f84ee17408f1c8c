#include "fleet.h"
#include "web/deviceprotocol.h"
#include "web/webmanager.h"

#include <QHostAddress>
#include <QNetworkReply>
#include <QtTest>

#include <cstdlib>
#include <ctime>
#include <functional>

namespace {

/// Milliseconds that the device has to answer.
constexpr int patience = 10000;

const QString baseUrl = QStringLiteral("http://10.77.128.1:80/");

QByteArray everyByte()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    return bytes;
}

using Send = std::function<QNetworkReply *(WebManager *)>;

QDate day(const char *isoDate)
{
    return QDate::fromString(QLatin1String(isoDate), Qt::ISODate);
}

/// The process lives in another time zone, until the object goes.
class TimeZone final
{
public:
    explicit TimeZone(const QByteArray &name)
        : m_before(qgetenv("TZ"))
    {
        set(name);
    }
    ~TimeZone() { set(m_before); }
    Q_DISABLE_COPY_MOVE(TimeZone)

private:
    static void set(const QByteArray &name)
    {
        qputenv("TZ", name);
        tzset();
    }

    const QByteArray m_before;
};

} // namespace

Q_DECLARE_METATYPE(Send)

class TestDeviceProtocol : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void asksForAConfiguration_data();
    void asksForAConfiguration();
    void addressesAnUpload();
    void spansAHistory_data();
    void spansAHistory();
    void spansAHistoryWhereADayHasNoMidnight();
    void saysOnTheWireWhatIsMeant_data();
    void saysOnTheWireWhatIsMeant();
    void uploadsAForm_data();
    void uploadsAForm();
    void uploadsABigForm();
};

void TestDeviceProtocol::initTestCase()
{
    QCOMPARE(qgetenv("TZ"), QByteArray("Europe/Berlin"));
}

void TestDeviceProtocol::asksForAConfiguration_data()
{
    QTest::addColumn<QString>("base");
    QTest::addColumn<bool>("includePasswords");
    QTest::addColumn<QByteArray>("url");
    QTest::newRow("without passwords")
        << "http://10.77.128.1:80/" << false
        << QByteArray("http://10.77.128.1:80/tpl/document.cgi?tpl/j/config.tpl");
    QTest::newRow("with passwords")
        << "http://10.77.128.1:80/" << true
        << QByteArray("http://10.77.128.1:80/tpl/document.cgi?tpl/j/config.tpl&incl_passwords=on");
    QTest::newRow("over HTTPS") << "https://10.77.128.1:443/" << false
                                << QByteArray("https://10.77.128.1:443/tpl/document.cgi?tpl/j/config.tpl");
    QTest::newRow("another port")
        << "https://192.168.0.9:8443/" << true
        << QByteArray("https://192.168.0.9:8443/tpl/document.cgi?tpl/j/config.tpl&incl_passwords=on");
}

void TestDeviceProtocol::asksForAConfiguration()
{
    QFETCH(QString, base);
    QFETCH(bool, includePasswords);
    WebManager manager;
    const QNetworkReply *const reply = deviceprotocol::fetchConfiguration(&manager, base, includePasswords);
    QTEST(reply->url().toEncoded(), "url");
    QCOMPARE(reply->operation(), QNetworkAccessManager::GetOperation);
}

void TestDeviceProtocol::addressesAnUpload()
{
    WebManager manager;
    QCOMPARE(deviceprotocol::sendConfiguration(&manager, baseUrl, "x")->url().toEncoded(),
             QByteArray("http://10.77.128.1:80/admin/config.cgi"));
    const QString secureUrl = QStringLiteral("https://10.77.128.1:443/");
    QCOMPARE(deviceprotocol::sendConfiguration(&manager, secureUrl, "x")->url().toEncoded(),
             QByteArray("https://10.77.128.1:443/admin/config.cgi"));
}

void TestDeviceProtocol::spansAHistory_data()
{
    QTest::addColumn<QDate>("first");
    QTest::addColumn<QDate>("last");
    QTest::addColumn<qint64>("step");
    QTest::addColumn<QByteArray>("query");
    const auto row = [](const char *name, const char *first, const char *last, qint64 step,
                        const char *query) {
        QTest::newRow(name) << day(first) << day(last) << step << QByteArray(query);
    };
    row("two days in steps of 15 minutes", "2021-03-01", "2021-03-02", 900,
        "start=1614553200&end=1614726000&step=900");
    row("a day of 24 hours", "2021-03-01", "2021-03-01", 60, "start=1614553200&end=1614639600&step=60");
    row("a day of 23 hours", "2021-03-28", "2021-03-28", 60, "start=1616886000&end=1616968800&step=60");
    row("a day of 25 hours", "2021-10-31", "2021-10-31", 60, "start=1635631200&end=1635721200&step=60");
    row("into the summer", "2021-03-01", "2021-03-28", 60, "start=1614553200&end=1616968800&step=60");
    row("out of the summer", "2021-03-29", "2021-10-31", 60, "start=1616968800&end=1635721200&step=60");
    row("steps of two hours", "2021-03-01", "2021-03-01", 7200, "start=1614553200&end=1614639600&step=7200");
    row("the longest step", "2021-03-01", "2021-03-01", 360000000,
        "start=1614553200&end=1614639600&step=360000000");
    row("the last day of a year", "2020-12-31", "2020-12-31", 60, "start=1609369200&end=1609455600&step=60");
    row("the first day of a year", "2021-01-01", "2021-01-01", 60, "start=1609455600&end=1609542000&step=60");
    row("a whole leap year", "2024-01-01", "2024-12-31", 60, "start=1704063600&end=1735686000&step=60");
    row("the day of a leap year", "2020-02-29", "2020-02-29", 60, "start=1582930800&end=1583017200&step=60");
    // The zone is an hour ahead of UTC, so the day began in the year before.
    row("the first day of 1970", "1970-01-01", "1970-01-01", 60, "start=-3600&end=82800&step=60");
    row("before 1970", "1969-12-31", "1969-12-31", 60, "start=-90000&end=-3600&step=60");
    row("since 1970", "1970-01-01", "2021-03-01", 60, "start=-3600&end=1614639600&step=60");
    row("the last day that fits into 31 bits", "2038-01-19", "2038-01-19", 60,
        "start=2147468400&end=2147554800&step=60");
    row("a summer day after 2037", "2050-07-01", "2050-07-01", 60, "start=2540239200&end=2540325600&step=60");
    // Nobody checks what the calendars say.
    row("the wrong way round", "2021-03-02", "2021-02-28", 60, "start=1614639600&end=1614553200&step=60");
}

void TestDeviceProtocol::spansAHistory()
{
    QFETCH(QDate, first);
    QFETCH(QDate, last);
    QFETCH(qint64, step);
    QFETCH(QByteArray, query);
    WebManager manager;
    QCOMPARE(deviceprotocol::fetchHistory(&manager, baseUrl, {first, last, step})->url().toEncoded(),
             QByteArray("http://10.77.128.1:80/tpl/document.cgi?tpl/j/csv.tpl&" + query));
}

void TestDeviceProtocol::spansAHistoryWhereADayHasNoMidnight()
{
    const TimeZone zone("America/Sao_Paulo");
    // The clocks went from 23:59:59 to 01:00 that night.
    WebManager manager;
    const deviceprotocol::HistorySpan span{day("2018-11-04"), day("2018-11-04"), 60};
    QCOMPARE(deviceprotocol::fetchHistory(&manager, baseUrl, span)->url().toEncoded(),
             QByteArray("http://10.77.128.1:80/tpl/document.cgi?tpl/j/csv.tpl&start=1541300400"
                        "&end=1541383200&step=60"));
}

void TestDeviceProtocol::saysOnTheWireWhatIsMeant_data()
{
    QTest::addColumn<Send>("send");
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("body");
    const QByteArray form = "application/x-www-form-urlencoded";
    const auto row = [](const char *name, const Send &send, const char *request, const QByteArray &type,
                        const QByteArray &body) {
        QTest::newRow(name) << send << QByteArray(request) << type << body;
    };
    row(
        "configuration",
        [](WebManager *manager) { return deviceprotocol::fetchConfiguration(manager, baseUrl, false); },
        "GET /tpl/document.cgi?tpl/j/config.tpl", "", "");
    row(
        "configuration with passwords",
        [](WebManager *manager) { return deviceprotocol::fetchConfiguration(manager, baseUrl, true); },
        "GET /tpl/document.cgi?tpl/j/config.tpl&incl_passwords=on", "", "");
    row(
        "history",
        [](WebManager *manager) {
            return deviceprotocol::fetchHistory(manager, baseUrl,
                                                {day("1970-01-01"), day("2021-03-01"), 7200});
        },
        "GET /tpl/document.cgi?tpl/j/csv.tpl&start=-3600&end=1614639600&step=7200", "", "");
    row(
        "start page",
        [](WebManager *manager) {
            return deviceprotocol::fetchStartPage(manager, QHostAddress(QStringLiteral("10.77.128.1")), 80);
        },
        "GET /", "", "");
    row(
        "readings",
        [](WebManager *manager) { return deviceprotocol::queryInformation(manager, baseUrl, "{{uptime}}"); },
        "POST /admin/proctpl.cgi", "text", "{{uptime}}");
    row(
        "login",
        [](WebManager *manager) {
            return deviceprotocol::logIn(manager, baseUrl, QStringLiteral("a b&c"),
                                         QString::fromUtf8("+%\u00e4"));
        },
        "POST /login.cgi", form, "btnapp=Submit&login_user=a%20b%26c&login_password=%2B%25%C3%A4");
    row(
        "login of an update",
        [](WebManager *manager) {
            return deviceprotocol::logInForUpdate(manager, baseUrl, QStringLiteral("a b&c"),
                                                  QString::fromUtf8("+%\u00e4"));
        },
        "POST /login.cgi", form, "login_user=a%20b%26c&login_password=%2B%25%C3%A4&redir=/&btnapp=Submit");
    row(
        "login without a password",
        [](WebManager *manager) {
            return deviceprotocol::logInForUpdate(manager, baseUrl, QStringLiteral("admin"), QString());
        },
        "POST /login.cgi", form, "login_user=admin&login_password=&redir=/&btnapp=Submit");
    row(
        "activation",
        [](WebManager *manager) { return deviceprotocol::activateFirmware(manager, baseUrl, 2); },
        "POST /admin/upgrade.cgi", form, "buffer=2&redir=/wait.shtml?url%3D/%26text%3D4&form_fw_ac=Submit");
    row(
        "announcement",
        [](WebManager *manager) { return deviceprotocol::announceConfiguration(manager, baseUrl); },
        "POST /admin/postform.cgi", form, "config_upgrading=&redir=/&btnapp=Submit");
    row(
        "reset", [](WebManager *manager) { return deviceprotocol::reset(manager, baseUrl); },
        "POST /admin/reset.cgi", form, "redir=/&btnapp=Submit");
}

void TestDeviceProtocol::saysOnTheWireWhatIsMeant()
{
    QFETCH(Send, send);
    simulator::Fleet fleet;
    fleet.addDevice();
    fleet.start();
    WebManager manager;
    const QNetworkReply *const reply = send(&manager);
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
    const auto requests = fleet.requests(0);
    QCOMPARE(requests.size(), std::size_t(1));
    const simulator::HttpRecord &request = requests.front();
    QTEST(QByteArray::fromStdString(request.method + ' ' + request.target), "request");
    QTEST(QByteArray::fromStdString(request.header("Content-Type")), "type");
    QTEST(QByteArray::fromStdString(request.body), "body");
    QCOMPARE(request.header("Accept-Encoding"), std::string("identity"));
}

void TestDeviceProtocol::uploadsAForm_data()
{
    QTest::addColumn<QByteArray>("configuration");
    QTest::newRow("a text") << QByteArray("[system]\r\nname=roof\r\n");
    QTest::newRow("without a line end") << QByteArray("name=roof");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("null") << QByteArray("x").left(0);
    QTest::newRow("every byte") << everyByte();
    QTest::newRow("zeros") << QByteArray(1000, '\0');
    QTest::newRow("line ends") << QByteArray("\r\n\r\n\n\r");
    QTest::newRow("what looks like a boundary") << QByteArray("\r\n--boundary--\r\n--\r\n");
    QTest::newRow("no UTF-8") << QByteArray("\xC3\x28\xFF");
}

void TestDeviceProtocol::uploadsAForm()
{
    QFETCH(QByteArray, configuration);
    simulator::Fleet fleet;
    simulator::DeviceOptions options;
    options.anonymousLevel = 3;
    fleet.addDevice(options);
    fleet.start();
    WebManager manager;
    const QNetworkReply *const reply = deviceprotocol::sendConfiguration(&manager, baseUrl, configuration);
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
    QCOMPARE(deviceprotocol::status(reply), 200);

    const auto requests = fleet.requests(0);
    QCOMPARE(requests.size(), std::size_t(1));
    const simulator::HttpRecord &request = requests.front();
    QCOMPARE(request.method, std::string("POST"));
    QCOMPARE(request.target, std::string("/admin/config.cgi"));
    const QByteArray type = QByteArray::fromStdString(request.header("Content-Type"));
    const QByteArray before = "multipart/form-data; boundary=\"";
    QVERIFY2(type.startsWith(before) && type.endsWith('"'), type.constData());
    const QByteArray boundary = type.mid(before.size(), type.size() - before.size() - 1);
    QVERIFY(!boundary.isEmpty());
    QCOMPARE(QByteArray::fromStdString(request.body),
             QByteArray("--" + boundary +
                        "\r\n"
                        "Content-Disposition: form-data; name=\"image\"\r\n"
                        "\r\n" +
                        configuration + "\r\n--" + boundary +
                        "\r\n"
                        "Content-Disposition: form-data; name=\"redir\"\r\n"
                        "\r\n"
                        "\r\n--" +
                        boundary +
                        "\r\n"
                        "Content-Disposition: form-data; name=\"form_fw_up\"\r\n"
                        "\r\n"
                        "Submit\r\n--" +
                        boundary + "--\r\n"));
    QCOMPARE(request.header("Content-Length"), std::to_string(request.body.size()));
    QCOMPARE(fleet.device(0).configurationUploads, 1);
    QCOMPARE(QByteArray::fromStdString(fleet.device(0).configuration), configuration);
}

void TestDeviceProtocol::uploadsABigForm()
{
    simulator::Fleet fleet;
    simulator::DeviceOptions options;
    options.anonymousLevel = 3;
    fleet.addDevice(options);
    fleet.start();
    const QByteArray configuration = everyByte().repeated(40000);
    WebManager manager;
    const QNetworkReply *const reply = deviceprotocol::sendConfiguration(&manager, baseUrl, configuration);
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
    QCOMPARE(deviceprotocol::status(reply), 200);
    QVERIFY(QByteArray::fromStdString(fleet.device(0).configuration) == configuration);
}

QTEST_GUILESS_MAIN(TestDeviceProtocol)

#include "tst_deviceprotocol.moc"
