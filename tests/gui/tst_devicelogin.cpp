#include "common/settings.h"
#include "device/deviceitem.h"
#include "device/queryqueue.h"
#include "devicerow.h"
#include "fleet.h"
#include "operations/deviceaccess.h"
#include "testenvironment.h"
#include "thisprocess.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QRegularExpression>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;
using simulator::Fleet;

Q_DECLARE_METATYPE(simulator::Fault)
Q_DECLARE_METATYPE(simulator::TlsMode)

namespace {

/// Milliseconds that a device of the fleet has to answer.
constexpr int patience = 20000;
/// Milliseconds for what needs a few attempts or a lot of bytes.
constexpr int longPatience = 30000;

constexpr int statusColumn = 21;
constexpr int loginUserColumn = 22;
constexpr int accessRightsColumn = 23;

/// Bytes of an answer without end that are waited for, and by which the process may grow while it throws
/// them away. The latter leaves room for pages that the system takes away and brings back when it likes.
constexpr qint64 muchOfAnAnswer = 160LL * 1024 * 1024;
#ifdef __SANITIZE_ADDRESS__
constexpr qint64 mostGrowth = 400LL * 1024 * 1024; // What is freed is kept for a while.
#else
constexpr qint64 mostGrowth = 80LL * 1024 * 1024;
#endif

const QString admin = QStringLiteral("admin");
const QString wrongLogin = QStringLiteral("no: Wrong login");
const QString loggedIn = QStringLiteral("yes: ");
const QString readData = QStringLiteral("Read data");

QString networkProblem(const char *text)
{
    return QStringLiteral("no: Network Problem: ") + QLatin1String(text);
}

/// What the toolkit says of a connection that ends before the answer is its own
/// business.
bool isNetworkProblem(const QString &result)
{
    return result.startsWith(networkProblem("")) && result.size() > networkProblem("").size();
}

/// Whether the program still holds a connection to the first device, open or half closed.
bool holdsAConnection()
{
    QFile connections(QStringLiteral("/proc/net/tcp"));
    if (!connections.open(QIODevice::ReadOnly)) {
        return false;
    }
    // Remote address 10.77.128.1 in the order of bytes of this machine, any port; established, or closed by
    // the device alone.
    static const QRegularExpression form(QStringLiteral(" 01804D0A:[0-9A-F]{4} 0[18] "));
    return QString::fromLatin1(connections.readAll()).contains(form);
}

/// An answer with these cookies in front of a page, with any status.
Fault withCookies(Fault fault, const std::vector<std::string> &cookies)
{
    for (const std::string &cookie : cookies) {
        fault.headers.emplace_back("Set-Cookie", cookie);
    }
    return std::move(fault).onPath("login.cgi");
}

/// What the journal says of a device's requests: "login.cgi proctpl.cgi", the
/// scheme in front where it is HTTPS.
QString journal(const Fleet &fleet, int index = 0)
{
    QStringList requests;
    for (const simulator::HttpRecord &request : fleet.requests(index)) {
        const QString target = QString::fromStdString(request.target);
        requests += (request.https ? QStringLiteral("https:") : QString()) +
                    target.mid(target.lastIndexOf(QLatin1Char('/')) + 1);
    }
    return requests.join(QLatin1Char(' '));
}

std::size_t loginCount(const Fleet &fleet, int index = 0)
{
    return fleet.requests(index, "login.cgi").size();
}

/// The results of a device's logins in their order: "no: Wrong login", "yes: ".
class Results final
{
public:
    explicit Results(const Device &device)
        : m_spy(&device, &Device::loginResult)
    {
    }

    QStringList all() const
    {
        QStringList texts;
        for (const QList<QVariant> &result : m_spy) {
            texts += (result.at(0).toBool() ? QStringLiteral("yes: ") : QStringLiteral("no: ")) +
                     result.at(1).toString();
        }
        return texts;
    }
    void clear() { m_spy.clear(); }

private:
    QSignalSpy m_spy;
};

} // namespace

/// What a device does when somebody logs in.
class TestDeviceLogin : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void isNotLoggedInBefore();
    void sendsTheForm();
    void encodesWhatWasTyped_data();
    void encodesWhatWasTyped();
    void sendsLongTexts();
    void goesToTheConfiguredPort();
    void asksAtOnceWithinTheSession();
    void tellsTheRightsOfTheSession_data();
    void tellsTheRightsOfTheSession();
    void tellsThatNothingMayBeReadWithoutALogin();

    void takesTheAnswerByItsCookie_data();
    void takesTheAnswerByItsCookie();
    void logsWhatItGets();
    void tellsProblemsOfTheNetwork_data();
    void tellsProblemsOfTheNetwork();
    void takesACutAnswerByItsCookie_data();
    void takesACutAnswerByItsCookie();
    void tellsProblemsOfTheNetworkOverHttps_data();
    void tellsProblemsOfTheNetworkOverHttps();
    void reachesOldTlsDevices_data();
    void reachesOldTlsDevices();
    void failsAtOnceWithoutAnAddress();
    void isNotFilledByAnAnswerWithoutEnd();
    void isOnTheWireOnce_data();
    void isOnTheWireOnce();
    void reachesADeviceThatHasHungUpMeanwhile_data();
    void reachesADeviceThatHasHungUpMeanwhile();
    void sendsThePasswordToNoOtherPlace_data();
    void sendsThePasswordToNoOtherPlace();
    void waitsForALateAnswerAndGivesUpWhatHangs();

    void forgetsTheSessionWithTheNextAttempt_data();
    void forgetsTheSessionWithTheNextAttempt();
    void keepsTheSessionUntilTheNextAttempt();
    void startsWithoutASessionInANewClient();
    void usesTheSessionOfTheLastLogin();
    void followsWhatTheDeviceReports();

    void abortsAQueryThatIsOut();
    void keepsToHttpsWhenItAbortsAQuery();
    void abortsAnAnswerThatNobodyUnderstood();
    void offersTheSessionOnlyWhereItBegan();
    void takesNoSessionAlongWhileItLogsIn();
    void abortsALoginThatIsOut();
    void abortsALoginWhoseCookieHasArrived();
    void isAbortedWithTheQuery();
    void takesTheTurnOfAQueryThatWaits();
    void isNotDisturbedByRefreshes();
    void leavesItsLoginBehind_data();
    void leavesItsLoginBehind();
    void keepsNothingOfAnAnswerLeftBehind();

private:
    /// Starts the fleet with one device of these options, and makes its row.
    void begin(simulator::DeviceOptions options = {}, simulator::FleetOptions fleetOptions = {});
    /// The same with a device that insists on HTTPS, and that is known of it.
    void beginWithHttps(simulator::DeviceOptions options = {});
    /// Has the device asked, and waits until its request has ended.
    void ask();
    /// Logs in, and waits until the query that follows has ended.
    void logIn(const QString &user, const QString &password);
    void logInAsAdmin() { logIn(admin, admin); }
    Device &device() { return m_row->device(); }

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<Fleet> m_fleet;
    std::unique_ptr<DeviceRow> m_row;
    std::unique_ptr<Results> m_results;
};

void TestDeviceLogin::init()
{
    m_environment = std::make_unique<TestEnvironment>();
}

void TestDeviceLogin::cleanup()
{
    m_results.reset();
    m_row.reset();
    m_fleet.reset();
    // Requests that were out end with the fleet; none may outlive the test.
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_environment.reset();
}

void TestDeviceLogin::begin(simulator::DeviceOptions options, simulator::FleetOptions fleetOptions)
{
    m_fleet = std::make_unique<Fleet>(std::move(fleetOptions));
    m_fleet->addDevice(std::move(options));
    m_fleet->start();
    m_row = std::make_unique<DeviceRow>(*m_fleet, 0);
    m_results = std::make_unique<Results>(device());
}

void TestDeviceLogin::beginWithHttps(simulator::DeviceOptions options)
{
    options.redirectToHttps = true;
    begin(std::move(options));
    device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);
    QCOMPARE(device().useHttps(), true);
    m_fleet->clearJournal();
}

void TestDeviceLogin::ask()
{
    const int ended = m_row->requestEndedCount();
    device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->requestEndedCount(), ended + 1, patience);
}

void TestDeviceLogin::logIn(const QString &user, const QString &password)
{
    const int ended = m_row->requestEndedCount();
    device().login(user, password);
    QTRY_COMPARE_WITH_TIMEOUT(m_row->requestEndedCount(), ended + 1, patience);
}

void TestDeviceLogin::isNotLoggedInBefore()
{
    begin();
    ask();
    QCOMPARE(device().sidCookie(), QNetworkCookie());
    QCOMPARE(device().cookies(), QList<QNetworkCookie>());
    QCOMPARE(device().loginUser(), QString());
    QCOMPARE(device().loginPassword(), QString());
    QCOMPARE(m_results->all(), QStringList());
}

void TestDeviceLogin::sendsTheForm()
{
    begin();
    logIn(admin, QStringLiteral("secret"));
    const auto requests = m_fleet->requests(0, "login.cgi");
    QCOMPARE(requests.size(), std::size_t(1));
    const simulator::HttpRecord &request = requests.front();
    const QByteArray body = "btnapp=Submit&login_user=admin&login_password=secret";
    QCOMPARE(request.https, false);
    QCOMPARE(request.method, std::string("POST"));
    QCOMPARE(request.target, std::string("/login.cgi"));
    QCOMPARE(request.header("Content-Type"), std::string("application/x-www-form-urlencoded"));
    QCOMPARE(request.header("Content-Length"), std::string("52"));
    QCOMPARE(request.header("Transfer-Encoding"), std::string());
    QCOMPARE(request.header("Cookie"), std::string());
    QCOMPARE(QByteArray::fromStdString(request.body), body);
    QCOMPARE(request.bodySize, std::uint64_t(52));
}

void TestDeviceLogin::encodesWhatWasTyped_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QByteArray>("body");

    const auto row = [](const char *name, const char *user, const char *password, const char *body) {
        QTest::newRow(name) << QString::fromUtf8(user) << QString::fromUtf8(password) << QByteArray(body);
    };
    row("blank and ampersand", "a b&c", "d e&f",
        "btnapp=Submit&login_user=a%20b%26c&login_password=d%20e%26f");
    row("nothing", "", "", "btnapp=Submit&login_user=&login_password=");
    row("only a user", "admin", "", "btnapp=Submit&login_user=admin&login_password=");
    row("only a password", "", "admin", "btnapp=Submit&login_user=&login_password=admin");
    row("umlauts", "Müller", "größe", "btnapp=Submit&login_user=M%C3%BCller&login_password=gr%C3%B6%C3%9Fe");
    row("plus and percent", "a+b", "100%25", "btnapp=Submit&login_user=a%2Bb&login_password=100%2525");
    row("quotes", R"("a")", "'b'`", "btnapp=Submit&login_user=%22a%22&login_password=%27b%27%60");
    row("equals, semicolon and question mark", "a=1;b", "?c=#d",
        "btnapp=Submit&login_user=a%3D1%3Bb&login_password=%3Fc%3D%23d");
    row("slashes and brackets", R"(a/b\c)", "[d]{e}<f>",
        "btnapp=Submit&login_user=a%2Fb%5Cc&login_password=%5Bd%5D%7Be%7D%3Cf%"
        "3E");
    row("what stays as it is", "AZaz09", "-._~", "btnapp=Submit&login_user=AZaz09&login_password=-._~");
    row("other marks", "!$()*,:@^|", "\t\r\n",
        "btnapp=Submit&login_user=%21%24%28%29%2A%2C%3A%40%5E%7C&login_password=%"
        "09%0D%0A");
    row("beyond the first plane of Unicode", "\xF0\x9F\x94\x91", "\xE2\x82\xAC",
        "btnapp=Submit&login_user=%F0%9F%94%91&login_password=%E2%82%AC");
    row("another field's name", "x&login_user=admin", "y&btnapp=Cancel",
        "btnapp=Submit&login_user=x%26login_user%3Dadmin&login_password=y%"
        "26btnapp%3DCancel");
    row("blanks around", " admin ", " ", "btnapp=Submit&login_user=%20admin%20&login_password=%20");
    QTest::newRow("zero inside") << QStringLiteral("a") + QChar(QChar::Null) + QLatin1Char('b')
                                 << QStringLiteral("c")
                                 << QByteArray("btnapp=Submit&login_user=a%00b&login_password=c");
}

void TestDeviceLogin::encodesWhatWasTyped()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QByteArray, body);
    // The device decodes it back.
    simulator::DeviceOptions options;
    options.users = {{user.toStdString(), password.toStdString(), 2}};
    begin(options);
    logIn(user, password);
    const auto requests = m_fleet->requests(0, "login.cgi");
    QCOMPARE(requests.size(), std::size_t(1));
    QCOMPARE(QByteArray::fromStdString(requests.front().body), body);
    QCOMPARE(requests.front().header("Content-Length"), std::to_string(body.size()));
    // No device has an account without a password.
    QCOMPARE(m_results->all(), QStringList{password.isEmpty() ? wrongLogin : loggedIn});
    QCOMPARE(device().loginUser(), user);
    QCOMPARE(device().loginPassword(), password);
}

void TestDeviceLogin::sendsLongTexts()
{
    const QString password(10000, QChar(0xFC));
    simulator::DeviceOptions options;
    options.users = {{std::string(10000, 'u'), password.toStdString(), 3}};
    begin(options, []() {
        simulator::FleetOptions fleetOptions;
        fleetOptions.journalBodyLimit = 1U << 20U;
        return fleetOptions;
    }());
    logIn(QString(10000, QLatin1Char('u')), password);
    const auto requests = m_fleet->requests(0, "login.cgi");
    QCOMPARE(requests.size(), std::size_t(1));
    const QByteArray body = "btnapp=Submit&login_user=" + QByteArray(10000, 'u') +
                            "&login_password=" + QByteArray("%C3%BC").repeated(10000);
    QCOMPARE(requests.front().bodySize, std::uint64_t(70041));
    QVERIFY(QByteArray::fromStdString(requests.front().body) == body);
    QCOMPARE(m_results->all(), QStringList{loggedIn});
}

void TestDeviceLogin::goesToTheConfiguredPort()
{
    simulator::FleetOptions fleetOptions;
    fleetOptions.httpPort = 8080;
    begin({}, fleetOptions);
    // Read anew each time.
    settings::setValue(settings::scanHttpPort, 8080);
    logInAsAdmin();
    QCOMPARE(m_results->all(), QStringList{loggedIn});
    QCOMPARE(m_fleet->requests(0, "login.cgi").front().header("Host"), std::string("10.77.128.1:8080"));
    QCOMPARE(device().loginGroup(), 3);
}

void TestDeviceLogin::asksAtOnceWithinTheSession()
{
    begin();
    // Nobody else asks: the login does.
    device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);
    QCOMPARE(journal(*m_fleet), QStringLiteral("login.cgi proctpl.cgi"));
    const auto cookie = device().sidCookie();
    QCOMPARE(cookie.name(), QByteArray("sid"));
    QVERIFY(!cookie.value().isEmpty());
    QCOMPARE(m_fleet->requests(0, "admin/proctpl.cgi").front().header("Cookie"),
             "sid=" + cookie.value().toStdString());
    QCOMPARE(m_row->text(loginUserColumn), admin);
    QCOMPARE(m_row->text(accessRightsColumn), QStringLiteral("Read data / Write config"));
    QCOMPARE(m_row->text(statusColumn), QStringLiteral("200 OK"));
    QCOMPARE(device().cookies(), QList<QNetworkCookie>{cookie});
    QCOMPARE(m_fleet->device(0).sessions, 1);
    QCOMPARE(m_row->requestEndedCount(), 1);
}

void TestDeviceLogin::tellsTheRightsOfTheSession_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QStringList>("results");
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("accessRights");
    QTest::addColumn<QString>("loginUser");

    const QStringList right{loggedIn};
    const QStringList wrong{wrongLogin};
    const QString visitor;
    QTest::newRow("everything") << "admin"
                                << "admin" << right << 3 << "Read data / Write config"
                                << "admin";
    QTest::newRow("configuration") << "service"
                                   << "service" << right << 2 << "Read data / Read config"
                                   << "service";
    QTest::newRow("data") << "guest"
                          << "guest" << right << 1 << "Read data"
                          << "guest";
    QTest::newRow("nothing") << "none"
                             << "none" << right << 0 << "None"
                             << "none";
    QTest::newRow("wrong password") << "admin"
                                    << "Admin" << wrong << 1 << "Read data" << visitor;
    QTest::newRow("unknown user") << "root"
                                  << "admin" << wrong << 1 << "Read data" << visitor;
    QTest::newRow("neither") << ""
                             << "" << wrong << 1 << "Read data" << visitor;
}

void TestDeviceLogin::tellsTheRightsOfTheSession()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    begin();
    logIn(user, password);
    QTEST(m_results->all(), "results");
    QTEST(device().loginGroup(), "level");
    QTEST(m_row->text(accessRightsColumn), "accessRights");
    QTEST(m_row->text(loginUserColumn), "loginUser");
    QCOMPARE(device().loginUser(), user);
    QCOMPARE(device().loginPassword(), password);
    QCOMPARE(journal(*m_fleet), QStringLiteral("login.cgi proctpl.cgi"));
    QCOMPARE(m_row->newDataCount(), 1);
}

void TestDeviceLogin::tellsThatNothingMayBeReadWithoutALogin()
{
    simulator::DeviceOptions options;
    options.informationNeedsLogin = true;
    begin(options);
    device().addAge(3);
    logIn(admin, QStringLiteral("wrong"));
    QCOMPARE(m_results->all(), QStringList{wrongLogin});
    QCOMPARE(device().loginGroup(), 0);
    QCOMPARE(m_row->text(accessRightsColumn), QStringLiteral("None"));
    QCOMPARE(device().webAge(), 0);
    QCOMPARE(device().dataAge(), 3);

    logInAsAdmin();
    QCOMPARE(m_results->all(), QStringList({wrongLogin, loggedIn}));
    QCOMPARE(m_row->text(accessRightsColumn), QStringLiteral("Read data / Write config"));
    QCOMPARE(device().dataAge(), 0);
    QCOMPARE(m_row->newDataCount(), 2);
}

void TestDeviceLogin::takesTheAnswerByItsCookie_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<QStringList>("results");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("cookiesOfTheQuery");

    const auto problem = [](const char *status) {
        return networkProblem("Error transferring http://10.77.128.1:80/login.cgi "
                              "- server replied: ") +
               QLatin1String(status);
    };
    const QByteArray none;
    const QByteArray sid = "sid";
    const std::vector<std::string> cookie{"sid=abc"};
    const auto row = [](const char *name, const Fault &fault, const QStringList &results,
                        const QByteArray &cookieName, const QByteArray &value,
                        const QByteArray &cookiesOfTheQuery) {
        QTest::newRow(name) << fault << results << cookieName << value << cookiesOfTheQuery;
    };
    const Fault ok = Fault::status(200, "OK");
    const Fault seeOther = Fault::status(303, "See Other", "/");
    row("200", withCookies(ok, {}), {wrongLogin}, none, none, none);
    row("200 with a cookie", withCookies(ok, cookie), {loggedIn}, sid, "abc", "sid=abc");
    row("204 with a cookie", withCookies(Fault::status(204, "No Content"), cookie), {loggedIn}, sid, "abc",
        "sid=abc");
    row("303", withCookies(seeOther, {}), {wrongLogin}, none, none, none);
    row("303 with a cookie", withCookies(seeOther, cookie), {loggedIn}, sid, "abc", "sid=abc");
    row("303 to nowhere", withCookies(Fault::status(303, "See Other"), {}), {wrongLogin}, none, none, none);
    row("302 to another host", withCookies(Fault::status(302, "Found", "http://10.77.128.99/"), cookie),
        {loggedIn}, sid, "abc", "sid=abc");
    row("403", withCookies(Fault::status(403, "Forbidden"), {}), {problem("Forbidden"), wrongLogin}, none,
        none, none);
    row("403 with a cookie", withCookies(Fault::status(403, "Forbidden"), cookie),
        {problem("Forbidden"), loggedIn}, sid, "abc", "sid=abc");
    row("404", withCookies(Fault::status(404, "Not Found"), {}), {problem("Not Found"), wrongLogin}, none,
        none, none);
    row("404 with a cookie", withCookies(Fault::status(404, "Not Found"), cookie),
        {problem("Not Found"), loggedIn}, sid, "abc", "sid=abc");
    row("500", withCookies(Fault::status(500, "Oops"), {}), {problem("Oops"), wrongLogin}, none, none, none);
    row("500 with a cookie", withCookies(Fault::status(500, "Oops"), cookie), {problem("Oops"), loggedIn},
        sid, "abc", "sid=abc");
    row(
        "401, which asks for another way to log in",
        [] {
            Fault fault = withCookies(Fault::status(401, "Unauthorized"), {});
            fault.headers.emplace_back("WWW-Authenticate", "Basic realm=\"nembra\"");
            return fault;
        }(),
        {networkProblem("Host requires authentication"), wrongLogin}, none, none, none);

    row("two named sid", withCookies(seeOther, {"sid=first", "sid=second"}), {loggedIn}, sid, "second",
        "sid=second");
    row("two named sid in one line", withCookies(seeOther, {"sid=first\r\nSet-Cookie: sid=second"}),
        {loggedIn}, sid, "second", "sid=second");
    row("sid before another", withCookies(seeOther, {"sid=abc", "lang=de"}), {loggedIn}, sid, "abc",
        "sid=abc; lang=de");
    row("sid after another", withCookies(seeOther, {"lang=de", "sid=abc"}), {loggedIn}, sid, "abc",
        "lang=de; sid=abc");
    row("SID in capitals", withCookies(seeOther, {"SID=abc"}), {wrongLogin}, none, none, "SID=abc");
    row("SID in capitals after sid", withCookies(seeOther, {"sid=abc", "SID=xyz"}), {loggedIn}, sid, "abc",
        "sid=abc; SID=xyz");
    row("another name", withCookies(seeOther, {"session=abc"}), {wrongLogin}, none, none, "session=abc");
    row("a longer name", withCookies(seeOther, {"sid2=abc"}), {wrongLogin}, none, none, "sid2=abc");
    row("an empty sid", withCookies(seeOther, {"sid=; path=/"}), {loggedIn}, sid, "", "sid=");
    row("an empty one after a full one", withCookies(seeOther, {"sid=abc", "sid="}), {loggedIn}, sid, "",
        "sid=");
    row("with everything", withCookies(seeOther, {"sid=abc; Path=/; HttpOnly; Max-Age=3600; SameSite=Lax"}),
        {loggedIn}, sid, "abc", "sid=abc");
    row("with blanks around", withCookies(seeOther, {"  sid = abc ; path=/"}), {loggedIn}, sid, "abc",
        "sid=abc");
}

void TestDeviceLogin::takesTheAnswerByItsCookie()
{
    QFETCH(Fault, fault);
    begin();
    m_fleet->addFault(0, fault);
    logInAsAdmin();
    QTEST(m_results->all(), "results");
    QTEST(device().sidCookie().name(), "name");
    QTEST(device().sidCookie().value(), "value");
    QFETCH(QByteArray, name);
    QCOMPARE(device().cookies().size(), name.isEmpty() ? 0 : 1);
    // In every case, at once and once.
    QCOMPARE(journal(*m_fleet), QStringLiteral("login.cgi proctpl.cgi"));
    const auto query = m_fleet->requests(0, "admin/proctpl.cgi").front();
    QTEST(QByteArray::fromStdString(query.header("Cookie")), "cookiesOfTheQuery");
    QCOMPARE(m_row->newDataCount(), 1);
    QCOMPARE(m_row->text(statusColumn), QStringLiteral("200 OK"));
    QCOMPARE(device().loginUser(), admin);
    QCOMPARE(device().loginPassword(), admin);
    QCOMPARE(device().requestOutstanding(), false);
}

void TestDeviceLogin::logsWhatItGets()
{
    const auto expect = [](const char *message) { QTest::ignoreMessage(QtDebugMsg, message); };
    begin();
    m_fleet->addFault(
        0, withCookies(Fault::status(303, "See Other", "/start").times(1), {"sid=abc", "lang=de"}));
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^on_LoginFinished +303 .*/start$")));
    expect(R"(cookie "sid" "abc")");
    expect(R"(cookie "lang" "de")");
    logInAsAdmin();

    m_fleet->addFault(0, Fault::status(500, "Oops").onPath("login.cgi"));
    expect("Fehler bei HTTP-Anfrage: Error transferring http://10.77.128.1:80/login.cgi - server replied: "
           "Oops  http://10.77.128.1:80/login.cgi statusCode 500");
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^on_LoginFinished +500")));
    logInAsAdmin();

    DeviceRow row;
    expect("Fehler bei HTTP-Anfrage: Protocol \"\" is unknown  login.cgi statusCode 0");
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^on_LoginFinished +0")));
    row.device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(row.newDataCount(), 1, patience);
}

void TestDeviceLogin::tellsProblemsOfTheNetwork_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::newRow("refused") << Fault::refuse();
    QTest::newRow("reset") << Fault::refuse().onPath("login.cgi");
    QTest::newRow("closed without an answer") << Fault::closeWithoutAnswer().onPath("login.cgi");
    QTest::newRow("garbage") << Fault::garbage().onPath("login.cgi");
}

void TestDeviceLogin::tellsProblemsOfTheNetwork()
{
    QFETCH(Fault, fault);
    begin();
    ask();
    // A connection that is still open could not be refused.
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->counters().openConnections, std::uint64_t(0), patience);
    m_fleet->clearJournal();
    m_fleet->addFault(0, fault);
    logInAsAdmin();
    QCOMPARE(m_results->all().size(), 2);
    QVERIFY2(isNetworkProblem(m_results->all().constFirst()), qPrintable(m_results->all().constFirst()));
    QCOMPARE(m_results->all().constLast(), wrongLogin);
    QVERIFY(device().sidCookie().name().isEmpty());
    QVERIFY(device().cookies().isEmpty());
    QCOMPARE(device().loginUser(), admin);
    QCOMPARE(device().loginPassword(), admin);
    // Asked in any case, answered where only the login goes wrong.
    const bool reachable = !fault.path.empty();
    QCOMPARE(m_row->newDataCount(), 2);
    QCOMPARE(journal(*m_fleet), reachable ? QStringLiteral("login.cgi proctpl.cgi") : QString());
    QCOMPARE(m_row->text(statusColumn),
             reachable ? QStringLiteral("200 OK") : QStringLiteral("Connection refused"));
    if (!reachable) {
        QCOMPARE(m_results->all().constFirst(), networkProblem("Connection refused"));
    }
    QCOMPARE(m_row->text(accessRightsColumn), readData);

    m_fleet->clearFaults();
    m_results->clear();
    logInAsAdmin();
    QCOMPARE(m_results->all(), QStringList{loggedIn});
}

void TestDeviceLogin::takesACutAnswerByItsCookie_data()
{
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("lastResult");
    QTest::newRow("right") << "admin" << loggedIn;
    QTest::newRow("wrong") << "wrong" << wrongLogin;
}

void TestDeviceLogin::takesACutAnswerByItsCookie()
{
    QFETCH(QString, password);
    begin();
    m_fleet->addFault(0, Fault::cut().onPath("login.cgi"));
    logIn(admin, password);
    QCOMPARE(m_results->all().size(), 2);
    QVERIFY2(isNetworkProblem(m_results->all().constFirst()), qPrintable(m_results->all().constFirst()));
    QTEST(m_results->all().constLast(), "lastResult");
    QCOMPARE(device().cookies().size(), m_results->all().constLast() == loggedIn ? 1 : 0);
    QCOMPARE(journal(*m_fleet), QStringLiteral("login.cgi proctpl.cgi"));
}

void TestDeviceLogin::tellsProblemsOfTheNetworkOverHttps_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::newRow("TLS garbage") << Fault::tlsGarbage();
    QTest::newRow("refused") << Fault::refuse().onlyHttps();
    QTest::newRow("reset") << Fault::refuse().onPath("login.cgi").onlyHttps();
    QTest::newRow("closed without an answer") << Fault::closeWithoutAnswer().onPath("login.cgi");
    QTest::newRow("garbage") << Fault::garbage().onPath("login.cgi");
    QTest::newRow("500") << Fault::status(500, "Oops").onPath("login.cgi");
}

void TestDeviceLogin::tellsProblemsOfTheNetworkOverHttps()
{
    QFETCH(Fault, fault);
    beginWithHttps();
    device().recreateNetworkManager();
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->counters().openConnections, std::uint64_t(0), patience);
    m_fleet->addFault(0, fault);
    device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(m_results->all().size(), 2, patience);
    QVERIFY2(isNetworkProblem(m_results->all().constFirst()), qPrintable(m_results->all().constFirst()));
    QCOMPARE(m_results->all().constLast(), wrongLogin);
    QVERIFY(device().sidCookie().name().isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(device().requestOutstanding(), false, patience);
    // Never in the clear, even if the secure way is barred.
    for (const simulator::HttpRecord &request : m_fleet->requests(0, "login.cgi")) {
        QVERIFY2(request.https, qPrintable(journal(*m_fleet)));
    }
}

void TestDeviceLogin::reachesOldTlsDevices_data()
{
    QTest::addColumn<simulator::TlsMode>("tls");
    QTest::newRow("current TLS") << simulator::TlsMode::Modern;
    QTest::newRow("only TLS 1.0") << simulator::TlsMode::Tls10Only;
    QTest::newRow("key of 512 bits") << simulator::TlsMode::Rsa512;
}

void TestDeviceLogin::reachesOldTlsDevices()
{
    QFETCH(simulator::TlsMode, tls);
    simulator::DeviceOptions options;
    options.tls = tls;
    beginWithHttps(options);
    logInAsAdmin();
    QCOMPARE(m_results->all(), QStringList{loggedIn});
    QCOMPARE(journal(*m_fleet), QStringLiteral("https:login.cgi https:proctpl.cgi"));
    QCOMPARE(m_fleet->requests(0, "admin/proctpl.cgi").front().header("Cookie"),
             "sid=" + device().sidCookie().value().toStdString());
    QCOMPARE(m_row->text(accessRightsColumn), QStringLiteral("Read data / Write config"));
    QCOMPARE(device().useHttps(), true);
}

void TestDeviceLogin::failsAtOnceWithoutAnAddress()
{
    DeviceRow row;
    const Results results(row.device());
    row.device().login(admin, QStringLiteral("secret"));
    QTRY_COMPARE_WITH_TIMEOUT(row.newDataCount(), 1, patience);
    QCOMPARE(results.all(), QStringList({networkProblem("Protocol \"\" is unknown"), wrongLogin}));
    QCOMPARE(row.text(statusColumn), QStringLiteral("Protocol \"\" is unknown"));
    QCOMPARE(row.device().requestOutstanding(), false);
    QVERIFY(row.device().sidCookie().name().isEmpty());
    QCOMPARE(row.device().loginUser(), admin);
    QCOMPARE(row.device().loginPassword(), QStringLiteral("secret"));
}

void TestDeviceLogin::isNotFilledByAnAnswerWithoutEnd()
{
    begin();
    logInAsAdmin();
    const qint64 before = thisprocess::residentMemory();
    const qint64 received = thisprocess::bytesReceived();
    QVERIFY(before > 0);
    QVERIFY(received > 0);
    m_results->clear();
    m_fleet->addFault(0, withCookies(Fault::endlessBody(), {"sid=late"}));
    device().login(admin, admin);
    QTRY_VERIFY_WITH_TIMEOUT(thisprocess::bytesReceived() > received + muchOfAnAnswer, longPatience);
    const qint64 growth = thisprocess::residentMemory() - before;
    QVERIFY2(growth < mostGrowth, qPrintable(QString::number(growth)));
    QCOMPARE(m_results->all(), QStringList());
    QVERIFY(device().sidCookie().name().isEmpty());

    device().abortQuery();
    QCOMPARE(m_results->all().constFirst(), networkProblem("Operation canceled"));
    QCOMPARE(m_results->all().size(), 2);
    m_fleet->clearFaults();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 2, patience);
    m_results->clear();
    logInAsAdmin();
    QCOMPARE(m_results->all(), QStringList{loggedIn});
}

void TestDeviceLogin::isOnTheWireOnce_data()
{
    QTest::addColumn<bool>("https");
    QTest::addColumn<bool>("keptAlive");
    QTest::addColumn<bool>("reset");
    for (const bool https : {false, true}) {
        for (const bool keptAlive : {false, true}) {
            for (const bool reset : {false, true}) {
                const QByteArray name = QByteArray(https ? "HTTPS" : "HTTP") +
                                        (keptAlive ? ", kept-alive connection" : ", fresh connection") +
                                        (reset ? ", reset" : ", closed");
                QTest::newRow(name.constData()) << https << keptAlive << reset;
            }
        }
    }
}

void TestDeviceLogin::isOnTheWireOnce()
{
    QFETCH(bool, https);
    QFETCH(bool, keptAlive);
    QFETCH(bool, reset);
    if (https) {
        beginWithHttps();
    } else {
        begin();
        device().updateInfo();
    }
    // Only once: what was sent a second time would succeed.
    m_fleet->addFault(0,
                      (reset ? Fault::refuse() : Fault::closeWithoutAnswer()).onPath("login.cgi").times(1));
    // How many there were before the login.
    const auto connections = std::make_shared<std::uint64_t>(0);
    bool hasAnswered = false;
    if (keptAlive) {
        // With the answer the connection is free, and not yet given up.
        const auto logIn = [this, connections, &hasAnswered] {
            if (!std::exchange(hasAnswered, true)) {
                *connections = m_fleet->counters().connections;
                device().login(admin, admin);
            }
        };
        const auto connection = connect(&device(), &Device::newData, this, logIn);
        device().updateInfo();
        QTRY_COMPARE_WITH_TIMEOUT(m_results->all().size(), 2, patience);
        disconnect(connection);
        QCOMPARE(journal(*m_fleet).count(QLatin1String("login.cgi")), 1);
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);
        device().recreateNetworkManager();
        QTRY_COMPARE_WITH_TIMEOUT(m_fleet->counters().openConnections, std::uint64_t(0), patience);
        *connections = m_fleet->counters().connections;
        device().login(admin, admin);
        QTRY_COMPARE_WITH_TIMEOUT(m_results->all().size(), 2, patience);
    }
    QVERIFY2(isNetworkProblem(m_results->all().constFirst()), qPrintable(m_results->all().constFirst()));
    QCOMPARE(m_results->all().constLast(), wrongLogin);
    QTRY_COMPARE_WITH_TIMEOUT(device().requestOutstanding(), false, patience);
    QCOMPARE(loginCount(*m_fleet), std::size_t(1));
    QCOMPARE(m_fleet->requests(0, "login.cgi").front().https, https);
    QCOMPARE(m_results->all().size(), 2);
    // The login needs a connection of its own: one that was kept alive may just be closed by the device. The
    // query that follows may use that one.
    QCOMPARE(m_fleet->counters().connections, *connections + (https && keptAlive ? 1U : 2U));
}

void TestDeviceLogin::reachesADeviceThatHasHungUpMeanwhile_data()
{
    QTest::addColumn<bool>("https");
    QTest::newRow("HTTP") << false;
    QTest::newRow("HTTPS, whose connection is kept") << true;
}

void TestDeviceLogin::reachesADeviceThatHasHungUpMeanwhile()
{
    QFETCH(bool, https);
    if (https) {
        beginWithHttps();
        QVERIFY(holdsAConnection());
    } else {
        begin();
        ask();
    }
    m_fleet->setPowered(0, false);
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->counters().openConnections, std::uint64_t(0), patience);
    QTRY_VERIFY_WITH_TIMEOUT(!holdsAConnection(), patience);
    m_fleet->setPowered(0, true);
    logInAsAdmin();
    QCOMPARE(m_results->all(), QStringList{loggedIn});
    QCOMPARE(loginCount(*m_fleet), std::size_t(1));
}

void TestDeviceLogin::sendsThePasswordToNoOtherPlace_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {301, 302, 303, 307, 308}) {
        QTest::newRow(qPrintable(QString::number(status))) << status;
    }
}

void TestDeviceLogin::sendsThePasswordToNoOtherPlace()
{
    QFETCH(int, status);
    m_fleet = std::make_unique<Fleet>();
    m_fleet->addDevices(2);
    m_fleet->start();
    m_row = std::make_unique<DeviceRow>(*m_fleet, 0);
    m_results = std::make_unique<Results>(device());
    m_fleet->addFault(0,
                      Fault::status(status, "Elsewhere", "http://10.77.128.2/login.cgi").onPath("login.cgi"));
    logInAsAdmin();
    QCOMPARE(m_results->all().constLast(), wrongLogin);
    QCOMPARE(journal(*m_fleet, 0), QStringLiteral("login.cgi proctpl.cgi"));
    QCOMPARE(journal(*m_fleet, 1), QString());
}

void TestDeviceLogin::waitsForALateAnswerAndGivesUpWhatHangs()
{
    m_fleet = std::make_unique<Fleet>();
    m_fleet->addDevices(2);
    m_fleet->start();
    DeviceRow hanging(*m_fleet, 0);
    DeviceRow late(*m_fleet, 1);
    const Results hangingResults(hanging.device());
    const Results lateResults(late.device());
    m_fleet->addFault(0, Fault::hang().onPath("login.cgi"));
    m_fleet->addFault(1, Fault::answerAfter(900ms).onPath("login.cgi"));
    // As a dialog does that waits for the rights.
    connect(&late.device(), &Device::loginResult, &late.device(), &Device::updateInfo);

    late.device().setGiveUpAge(300ms);
    late.device().login(admin, admin);
    hanging.device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(*m_fleet, 0), std::size_t(1), patience);
    hanging.device().updateInfo();
    QCOMPARE(hangingResults.all(), QStringList());
    QCOMPARE(hanging.device().requestOutstanding(), true);
    // An answer that comes late is one: the query carries the session.
    QTRY_COMPARE_WITH_TIMEOUT(late.newDataCount(), 1, patience);
    QCOMPARE(lateResults.all(), QStringList{loggedIn});
    QCOMPARE(late.device().loginGroup(), 3);
    QCOMPARE(journal(*m_fleet, 1), QStringLiteral("login.cgi proctpl.cgi"));
    QCOMPARE(m_fleet->requests(1, "admin/proctpl.cgi").front().header("Cookie"),
             "sid=" + late.device().sidCookie().value().toStdString());

    // Nothing gives it up by itself.
    hanging.device().setGiveUpAge(0ms);
    QTRY_VERIFY_WITH_TIMEOUT(hanging.device().requestAge() > 0, patience);
    QCOMPARE(hangingResults.all(), QStringList());
    hanging.device().updateInfo();
    QCOMPARE(hangingResults.all(), QStringList({networkProblem("Operation canceled"), wrongLogin}));
    QTRY_COMPARE_WITH_TIMEOUT(hanging.newDataCount(), 1, patience);
    QCOMPARE(journal(*m_fleet, 0), QStringLiteral("login.cgi proctpl.cgi"));
    QCOMPARE(hanging.text(statusColumn), QStringLiteral("200 OK"));
    QVERIFY(hanging.device().sidCookie().name().isEmpty());
}

void TestDeviceLogin::forgetsTheSessionWithTheNextAttempt_data()
{
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("fails");
    QTest::newRow("wrong password") << "wrong" << false;
    QTest::newRow("problem of the network") << "admin" << true;
}

void TestDeviceLogin::forgetsTheSessionWithTheNextAttempt()
{
    QFETCH(QString, password);
    QFETCH(bool, fails);
    begin();
    logInAsAdmin();
    const std::string session = "sid=" + device().sidCookie().value().toStdString();
    m_results->clear();
    if (fails) {
        m_fleet->addFault(0, Fault::closeWithoutAnswer().onPath("login.cgi"));
    }
    const int ended = m_row->requestEndedCount();
    device().login(admin, password);
    // Before the answer.
    QCOMPARE(device().sidCookie(), QNetworkCookie());
    QCOMPARE(device().cookies(), QList<QNetworkCookie>());
    QCOMPARE(device().loginPassword(), password);
    QTRY_COMPARE_WITH_TIMEOUT(m_row->requestEndedCount(), ended + 1, patience);
    QCOMPARE(m_results->all().size(), fails ? 2 : 1);
    QCOMPARE(m_results->all().constLast(), wrongLogin);
    QCOMPARE(device().sidCookie(), QNetworkCookie());
    // Nothing has logged the device's own client out.
    QCOMPARE(m_fleet->requests(0, "admin/proctpl.cgi").back().header("Cookie"), session);
    QCOMPARE(m_row->text(accessRightsColumn), QStringLiteral("Read data / Write config"));
}

void TestDeviceLogin::keepsTheSessionUntilTheNextAttempt()
{
    begin();
    logInAsAdmin();
    const QNetworkCookie cookie = device().sidCookie();
    const std::string session = "sid=" + cookie.value().toStdString();
    for (int i = 0; i < 2; ++i) {
        ask();
        QCOMPARE(m_fleet->requests(0, "admin/proctpl.cgi").back().header("Cookie"), session);
        QCOMPARE(device().loginGroup(), 3);
    }
    // The device has forgotten it, the program has not.
    m_fleet->dropSessions(0);
    ask();
    QCOMPARE(m_fleet->requests(0, "admin/proctpl.cgi").back().header("Cookie"), session);
    QCOMPARE(device().loginGroup(), 1);
    QCOMPARE(m_row->text(accessRightsColumn), readData);
    QCOMPARE(m_row->text(loginUserColumn), QString());
    QCOMPARE(device().sidCookie(), cookie);
    QCOMPARE(device().loginUser(), admin);
    QCOMPARE(m_results->all(), QStringList{loggedIn});
}

void TestDeviceLogin::startsWithoutASessionInANewClient()
{
    begin();
    logInAsAdmin();
    const QNetworkCookie cookie = device().sidCookie();
    device().recreateNetworkManager();
    ask();
    QCOMPARE(m_fleet->requests(0, "admin/proctpl.cgi").back().header("Cookie"), std::string());
    QCOMPARE(device().loginGroup(), 1);
    QCOMPARE(device().sidCookie(), cookie);
    QCOMPARE(device().cookies(), QList<QNetworkCookie>{cookie});

    // A query that is given up has its client renewed, too.
    logInAsAdmin();
    const QNetworkCookie newCookie = device().sidCookie();
    QVERIFY(newCookie.value() != cookie.value());
    m_fleet->addFault(0, Fault::hang().times(1));
    const std::size_t requests = m_fleet->requests(0).size();
    device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), requests + 1, patience);
    device().abortQuery();
    QCOMPARE(m_row->text(statusColumn), QStringLiteral("Operation canceled"));
    ask();
    QCOMPARE(m_fleet->requests(0, "admin/proctpl.cgi").back().header("Cookie"), std::string());
    QCOMPARE(device().sidCookie(), newCookie);

    // Without a query there is nothing to give up.
    logInAsAdmin();
    device().abortQuery();
    ask();
    QCOMPARE(device().loginGroup(), 3);
}

void TestDeviceLogin::usesTheSessionOfTheLastLogin()
{
    begin();
    logIn(QStringLiteral("guest"), QStringLiteral("guest"));
    const QNetworkCookie guest = device().sidCookie();
    logInAsAdmin();
    QVERIFY(device().sidCookie().value() != guest.value());
    QCOMPARE(m_fleet->requests(0, "admin/proctpl.cgi").back().header("Cookie"),
             "sid=" + device().sidCookie().value().toStdString());
    QCOMPARE(device().loginGroup(), 3);
    QCOMPARE(device().loginUser(), admin);
    QCOMPARE(m_results->all(), QStringList({loggedIn, loggedIn}));
}

void TestDeviceLogin::followsWhatTheDeviceReports()
{
    begin();
    logInAsAdmin();
    QCOMPARE(device().loginGroup(), 3);
    for (const int level : {2, 0, 1, 3}) {
        m_fleet->setVariable(0, "login_group", std::to_string(level));
        ask();
        QCOMPARE(device().loginGroup(), level);
    }
    m_fleet->addFault(0, Fault::status(403, "Forbidden").times(1));
    ask();
    QCOMPARE(device().loginGroup(), 0);
    QCOMPARE(m_row->text(accessRightsColumn), QStringLiteral("None"));
    ask();
    QCOMPARE(device().loginGroup(), 3);
}

void TestDeviceLogin::abortsAQueryThatIsOut()
{
    begin();
    m_fleet->addFault(0, Fault::hang().onPath("admin/proctpl.cgi").times(1));
    device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(1), patience);

    device().login(admin, admin);
    QCOMPARE(m_row->text(statusColumn), QStringLiteral("Operation canceled"));
    QCOMPARE(m_row->newDataCount(), 1);
    QCOMPARE(m_results->all(), QStringList());
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 2, patience);
    QCOMPARE(m_results->all(), QStringList{loggedIn});
    QCOMPARE(journal(*m_fleet), QStringLiteral("proctpl.cgi login.cgi proctpl.cgi"));
    QCOMPARE(m_row->text(statusColumn), QStringLiteral("200 OK"));
    QCOMPARE(device().loginGroup(), 3);
}

void TestDeviceLogin::keepsToHttpsWhenItAbortsAQuery()
{
    beginWithHttps();
    m_fleet->addFault(0, Fault::hang().onPath("admin/proctpl.cgi").times(1));
    device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(1), patience);

    device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(m_results->all(), QStringList{loggedIn}, patience);
    const auto logins = m_fleet->requests(0, "login.cgi");
    QCOMPARE(logins.size(), std::size_t(1));
    QCOMPARE(logins.front().https, true);
}

void TestDeviceLogin::abortsAnAnswerThatNobodyUnderstood()
{
    begin();
    m_fleet->addFault(0, Fault::invalidJson().times(1));
    ask();
    QCOMPARE(m_row->newDataCount(), 0);
    // The next query would have to wait, a login need not.
    logInAsAdmin();
    QCOMPARE(m_results->all(), QStringList{loggedIn});
    QCOMPARE(m_row->newDataCount(), 1);
    QCOMPARE(journal(*m_fleet), QStringLiteral("proctpl.cgi login.cgi proctpl.cgi"));
}

void TestDeviceLogin::offersTheSessionOnlyWhereItBegan()
{
    begin();
    logIn(admin, admin);
    QCOMPARE(device().cookies().size(), 1);
    const QHostAddress home = device().record().address();
    // As anybody in the network can send it.
    DiscoveryDevice elsewhere = device().record();
    elsewhere.setAddress(QHostAddress(home.toIPv4Address() + 1));
    device().updateFromDiscovery(elsewhere);
    QCOMPARE(device().cookies(), QList<QNetworkCookie>());
    QCOMPARE(device().loginUser(), QString());
    QCOMPARE(device().loginPassword(), QString());
    QVERIFY(DeviceAccess(device()).cookies.isEmpty());
    // Whoever is there has to let the user in first.
    QVERIFY(!device().mayAccess(AccessLevel::ReadData));

    // The session isn't lost: the device may have been back all the time.
    elsewhere.setAddress(home);
    device().updateFromDiscovery(elsewhere);
    QCOMPARE(device().cookies().size(), 1);
    QCOMPARE(device().loginUser(), admin);
    QCOMPARE(device().loginPassword(), admin);
    ask();
    QVERIFY(device().mayAccess(AccessLevel::WriteConfig));
}

void TestDeviceLogin::takesNoSessionAlongWhileItLogsIn()
{
    m_fleet = std::make_unique<Fleet>();
    m_fleet->addDevice({});
    m_fleet->addDevice({});
    m_fleet->start();
    m_row = std::make_unique<DeviceRow>(*m_fleet, 0);
    DeviceRow other(*m_fleet, 1);
    m_results = std::make_unique<Results>(device());
    m_fleet->addFault(0, Fault::answerAfter(200ms).onPath("login.cgi"));
    const DiscoveryDevice home = device().record();
    DiscoveryDevice elsewhere = home;
    elsewhere.setAddress(other.device().record().address());
    device().login(admin, admin);
    // As anybody in the network can send it; the query behind the login goes there.
    device().updateFromDiscovery(elsewhere);
    QTRY_COMPARE_WITH_TIMEOUT(m_row->requestEndedCount(), 1, patience);
    QCOMPARE(m_results->all(), QStringList{loggedIn});
    QCOMPARE(journal(*m_fleet, 1), QStringLiteral("proctpl.cgi"));
    QCOMPARE(m_fleet->requests(1).front().header("Cookie"), std::string());
    QCOMPARE(device().cookies(), QList<QNetworkCookie>());

    device().updateFromDiscovery(home);
    ask();
    QVERIFY(m_fleet->requests(0).back().header("Cookie").find("sid=") == 0);
}

void TestDeviceLogin::abortsALoginThatIsOut()
{
    begin();
    m_fleet->addFault(0, Fault::hang().onPath("login.cgi").times(2));
    const QStringList aborted{networkProblem("Operation canceled"), wrongLogin};
    device().login(QStringLiteral("first"), QStringLiteral("1"));
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(*m_fleet), std::size_t(1), patience);
    QCOMPARE(m_results->all(), QStringList());

    device().login(QStringLiteral("second"), QStringLiteral("2"));
    QCOMPARE(m_results->all(), aborted);
    QCOMPARE(device().loginUser(), QStringLiteral("second"));
    QCOMPARE(device().requestOutstanding(), true);
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(*m_fleet), std::size_t(2), patience);
    QCOMPARE(m_results->all(), aborted);

    device().login(admin, admin);
    QCOMPARE(m_results->all(), aborted + aborted);
    QTRY_COMPARE_WITH_TIMEOUT(m_results->all(), (aborted + aborted + QStringList{loggedIn}), patience);
    QTRY_COMPARE_WITH_TIMEOUT(device().loginGroup(), 3, patience);
    QCOMPARE(loginCount(*m_fleet), std::size_t(3));
    QCOMPARE(device().loginUser(), admin);
    QCOMPARE(device().loginPassword(), admin);
    QCOMPARE(m_results->all().size(), 5);

    // Two in one breath: the first may not even have been sent.
    m_results->clear();
    device().login(admin, admin);
    device().login(QStringLiteral("guest"), QStringLiteral("guest"));
    QTRY_COMPARE_WITH_TIMEOUT(m_results->all(), (aborted + QStringList{loggedIn}), patience);
    QTRY_COMPARE_WITH_TIMEOUT(device().loginGroup(), 1, patience);
}

void TestDeviceLogin::abortsALoginWhoseCookieHasArrived()
{
    begin();
    const qint64 received = thisprocess::bytesReceived();
    m_fleet->addFault(0, withCookies(Fault::endlessBody().times(1), {"sid=old"}));
    device().login(QStringLiteral("guest"), QStringLiteral("guest"));
    QTRY_VERIFY_WITH_TIMEOUT(thisprocess::bytesReceived() > received + (5LL << 20), longPatience);
    QCOMPARE(m_results->all(), QStringList());

    device().login(admin, admin);
    QCOMPARE(device().sidCookie(), QNetworkCookie());
    QTRY_COMPARE_WITH_TIMEOUT(device().loginGroup(), 3, patience);
    QCOMPARE(device().sidCookie().name(), QByteArray("sid"));
    QVERIFY(device().sidCookie().value() != "old");
    QCOMPARE(m_results->all().constLast(), loggedIn);
}

void TestDeviceLogin::isAbortedWithTheQuery()
{
    begin();
    m_fleet->addFault(0, Fault::hang().onPath("login.cgi").times(1));
    device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(*m_fleet), std::size_t(1), patience);
    device().abortQuery();
    QCOMPARE(m_results->all(), QStringList({networkProblem("Operation canceled"), wrongLogin}));
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);
    QCOMPARE(journal(*m_fleet), QStringLiteral("login.cgi proctpl.cgi"));
    QCOMPARE(m_row->text(statusColumn), QStringLiteral("200 OK"));
    QCOMPARE(m_results->all().size(), 2);
}

void TestDeviceLogin::takesTheTurnOfAQueryThatWaits()
{
    m_fleet = std::make_unique<Fleet>();
    m_fleet->addDevices(2);
    m_fleet->start();
    DeviceRow first(*m_fleet, 0);
    DeviceRow second(*m_fleet, 1);
    const Results results(second.device());
    // Before their turn comes one of them logs in.
    QueryQueue queue;
    for (DeviceRow *const row : {&first, &second}) {
        queue.watch(&row->device());
        queue.enqueue(&row->device());
    }
    QCOMPARE(queue.waiting(), 2);
    m_fleet->addFault(0, Fault::answerAfter(200ms));
    m_fleet->addFault(1, Fault::answerAfter(400ms).onPath("login.cgi"));
    second.device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(second.newDataCount(), 1, patience);
    QCOMPARE(results.all(), QStringList{loggedIn});
    QCOMPARE(journal(*m_fleet, 1), QStringLiteral("login.cgi proctpl.cgi"));
    QCOMPARE(second.device().loginGroup(), 3);
    QCOMPARE(first.newDataCount(), 1);
    QCOMPARE(queue.waiting(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(queue.outstanding(), 0, patience);
}

void TestDeviceLogin::isNotDisturbedByRefreshes()
{
    begin();
    m_fleet->addFault(0, Fault::answerAfter(300ms).onPath("login.cgi"));
    device().login(admin, admin);
    for (int i = 0; i < 3; ++i) {
        device().updateInfo();
        device().updateFromDiscovery(recordOf(m_fleet->device(0)));
    }
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(*m_fleet), std::size_t(1), patience);
    device().updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_row->newDataCount(), 1, patience);
    QCOMPARE(m_results->all(), QStringList{loggedIn});
    QCOMPARE(journal(*m_fleet), QStringLiteral("login.cgi proctpl.cgi"));
    QCOMPARE(device().loginGroup(), 3);
}

void TestDeviceLogin::leavesItsLoginBehind_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<bool>("endsByItself");
    QTest::newRow("without an answer") << Fault::hang() << false;
    QTest::newRow("in an answer without end") << withCookies(Fault::endlessBody(), {"sid=abc"}) << false;
    QTest::newRow("before its answer") << Fault::answerAfter(300ms) << true;
}

void TestDeviceLogin::leavesItsLoginBehind()
{
    QFETCH(Fault, fault);
    QFETCH(bool, endsByItself);
    begin();
    m_fleet->addFault(0, fault);
    device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(*m_fleet), std::size_t(1), patience);
    m_results.reset();
    m_row->remove();
    QCOMPARE(orphanedManagers().size(), 1);
    const QPointer<QNetworkAccessManager> manager = orphanedManagers().constFirst();
    if (!endsByItself) {
        // The device may still take the login, so that the connection stays until the device hangs up.
        QCOMPARE(m_fleet->counters().openConnections, std::uint64_t(1));
        QVERIFY(!manager.isNull());
        m_fleet->stop();
    }
    QTRY_VERIFY_WITH_TIMEOUT(manager.isNull(), longPatience);
    QCOMPARE(orphanedManagers().size(), 0);
    if (endsByItself) {
        // Nobody is left to ask for the readings that usually follow.
        QCOMPARE(m_fleet->requests(0).size(), std::size_t(1));
        QTRY_COMPARE_WITH_TIMEOUT(m_fleet->counters().openConnections, std::uint64_t(0), patience);
    }
}

void TestDeviceLogin::keepsNothingOfAnAnswerLeftBehind()
{
    begin();
    m_fleet->addFault(0, withCookies(Fault::endlessBody(), {"sid=abc"}));
    device().login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(*m_fleet), std::size_t(1), patience);
    m_results.reset();
    m_row->remove();
    QCOMPARE(orphanedManagers().size(), 1);
    const qint64 received = thisprocess::bytesReceived();
    const qint64 before = thisprocess::residentMemory();
    QVERIFY(received > 0);
    QVERIFY(before > 0);
    QTRY_VERIFY_WITH_TIMEOUT(thisprocess::bytesReceived() >= received + muchOfAnAnswer, longPatience);
    const qint64 growth = thisprocess::residentMemory() - before;
    QVERIFY2(growth < mostGrowth, qPrintable(QString::number(growth)));
    m_fleet->stop();
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, longPatience);
}

NEMBRA_GUI_TEST_MAIN(TestDeviceLogin)
#include "tst_devicelogin.moc"
