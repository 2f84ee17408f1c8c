#include "fleet.h"
#include "web/deviceprotocol.h"
#include "web/webmanager.h"

#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QtTest>

#include <memory>

using simulator::Fault;

namespace {

/// Milliseconds that the device has to answer.
constexpr int patience = 10000;

const QUrl pageUrl(QStringLiteral("http://10.77.128.1/"));

} // namespace

/// What a client makes of the answers of devices.
class TestWebManager : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void tellsSuccess_data();
    void tellsSuccess();
    void tellsTheStatus_data();
    void tellsTheStatus();
    void tellsNoStatusWithoutAnAnswer_data();
    void tellsNoStatusWithoutAnAnswer();
    void tellsWhereARedirectionLeads_data();
    void tellsWhereARedirectionLeads();
    void followsNoRedirection();
    void unpacksNothing();
    void usesNoProxy();
    void hasACookieJarOfItsOwn();

private:
    /// The reply to a request for the page, at its end.
    QNetworkReply *fetchPage();

    std::unique_ptr<simulator::Fleet> m_fleet;
    std::unique_ptr<WebManager> m_manager;
};

void TestWebManager::init()
{
    m_fleet = std::make_unique<simulator::Fleet>();
    simulator::DeviceOptions options;
    options.anonymousLevel = 3;
    m_fleet->addDevice(options);
    m_fleet->start();
    m_manager = std::make_unique<WebManager>();
}

void TestWebManager::cleanup()
{
    m_manager.reset();
    m_fleet.reset();
}

QNetworkReply *TestWebManager::fetchPage()
{
    QNetworkRequest request(pageUrl);
    request.setRawHeader("Accept-Encoding", "identity");
    QNetworkReply *const reply = m_manager->get(request);
    [&] { QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience); }();
    return reply;
}

void TestWebManager::tellsSuccess_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("success");
    QTest::newRow("no answer") << 0 << false;
    QTest::newRow("100") << 100 << false;
    QTest::newRow("199") << 199 << false;
    QTest::newRow("200") << 200 << true;
    QTest::newRow("204") << 204 << true;
    QTest::newRow("299") << 299 << true;
    QTest::newRow("300") << 300 << true;
    QTest::newRow("302") << 302 << true;
    QTest::newRow("399") << 399 << true;
    QTest::newRow("400") << 400 << false;
    QTest::newRow("500") << 500 << false;
    QTest::newRow("999") << 999 << false;
    QTest::newRow("negative") << -200 << false;
}

void TestWebManager::tellsSuccess()
{
    QFETCH(int, status);
    QTEST(deviceprotocol::isSuccess(status), "success");
}

void TestWebManager::tellsTheStatus_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {200, 204, 302, 303, 400, 401, 403, 404, 500, 503, 599}) {
        QTest::addRow("%d", status) << status;
    }
}

void TestWebManager::tellsTheStatus()
{
    QFETCH(int, status);
    m_fleet->addFault(0, Fault::status(status, "As told"));
    const QNetworkReply *const reply = m_manager->get(QNetworkRequest(pageUrl));
    QCOMPARE(deviceprotocol::status(reply), 0);
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
    QCOMPARE(deviceprotocol::status(reply), status);
}

void TestWebManager::tellsNoStatusWithoutAnAnswer_data()
{
    QTest::addColumn<int>("fault");
    QTest::newRow("refused") << int(Fault::Kind::Refuse);
    QTest::newRow("closed") << int(Fault::Kind::CloseWithoutAnswer);
    QTest::newRow("no HTTP") << int(Fault::Kind::Garbage);
}

void TestWebManager::tellsNoStatusWithoutAnAnswer()
{
    QFETCH(int, fault);
    Fault made = Fault::hang();
    made.kind = static_cast<Fault::Kind>(fault);
    m_fleet->addFault(0, made);
    const QNetworkReply *const reply = fetchPage();
    QCOMPARE(deviceprotocol::status(reply), 0);
    QVERIFY(reply->error() != QNetworkReply::NoError);
}

void TestWebManager::tellsWhereARedirectionLeads_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("target");
    QTest::newRow("elsewhere") << 303 << "https://10.77.128.9/x?y"
                               << "https://10.77.128.9/x?y";
    QTest::newRow("within the device") << 302 << "/login"
                                       << "/login";
    QTest::newRow("nowhere") << 302 << ""
                             << "";
    QTest::newRow("no redirection") << 200 << ""
                                    << "";
}

void TestWebManager::tellsWhereARedirectionLeads()
{
    QFETCH(int, status);
    QFETCH(QString, location);
    m_fleet->addFault(0, Fault::status(status, "As told", location.toStdString()));
    const QNetworkReply *const reply = fetchPage();
    QTEST(deviceprotocol::redirectTarget(reply), "target");
}

void TestWebManager::followsNoRedirection()
{
    m_fleet->addFault(0, Fault::status(302, "Found", "/elsewhere").onExactly({}));
    const QNetworkReply *const reply = fetchPage();
    QCOMPARE(deviceprotocol::status(reply), 302);
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(m_fleet->counters().httpRequests, std::uint64_t(1));
}

void TestWebManager::unpacksNothing()
{
    m_fleet->addFault(0, Fault::inflatingBody(10U << 20U));
    QNetworkReply *const reply = fetchPage();
    const QByteArray body = reply->readAll();
    QVERIFY2(body.startsWith("\x1F\x8B") && body.size() < 100000, qPrintable(QString::number(body.size())));
    QCOMPARE(m_fleet->requests(0).front().header("Accept-Encoding"), std::string("identity"));
}

void TestWebManager::usesNoProxy()
{
    QNetworkProxy::setApplicationProxy(
        QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("10.77.0.1"), 9));
    const QNetworkReply *const reply = fetchPage();
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    QCOMPARE(deviceprotocol::status(reply), 200);
    QCOMPARE(m_manager->proxy().type(), QNetworkProxy::NoProxy);
}

void TestWebManager::hasACookieJarOfItsOwn()
{
    WebManager other;
    QVERIFY(m_manager->cookieJar() != other.cookieJar());
    QCOMPARE(m_manager->cookieJar()->parent(), m_manager.get());
    QVERIFY(m_manager->cookieJar()->setCookiesFromUrl({QNetworkCookie("sid", "secret")}, pageUrl));
    const QNetworkReply *const reply = other.get(QNetworkRequest(pageUrl));
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
    fetchPage();
    const auto requests = m_fleet->requests(0);
    QCOMPARE(requests.size(), std::size_t(2));
    QCOMPARE(requests.front().header("Cookie"), std::string());
    QCOMPARE(requests.back().header("Cookie"), std::string("sid=secret"));
}

QTEST_GUILESS_MAIN(TestWebManager)

#include "tst_webmanager.moc"
