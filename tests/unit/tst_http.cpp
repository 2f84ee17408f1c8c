#include "common/http.h"
#include "fleet.h"

#include <QNetworkAccessManager>
#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

/// Milliseconds that the device has to answer.
constexpr int patience = 10000;

const QUrl pageUrl(QStringLiteral("http://10.77.128.1/"));

} // namespace

class TestHttp : public QObject
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
    void postsABody_data();
    void postsABody();
    void postsOnceWhenThePeerClosesWithoutAnAnswer();
    void postsOnceOnAConnectionThatWasKept();

private:
    /// Waits for the end of a request.
    static void finish(const QNetworkReply *reply);

    std::unique_ptr<simulator::Fleet> m_fleet;
    std::unique_ptr<QNetworkAccessManager> m_manager;
};

void TestHttp::init()
{
    m_fleet = std::make_unique<simulator::Fleet>();
    simulator::DeviceOptions options;
    options.anonymousLevel = 3;
    m_fleet->addDevice(options);
    m_fleet->start();
    m_manager.reset(http::createManager(nullptr));
}

void TestHttp::cleanup()
{
    m_manager.reset();
    m_fleet.reset();
}

void TestHttp::finish(const QNetworkReply *reply)
{
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
}

void TestHttp::tellsSuccess_data()
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

void TestHttp::tellsSuccess()
{
    QFETCH(int, status);
    QTEST(http::isSuccess(status), "success");
}

void TestHttp::tellsTheStatus_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {200, 204, 302, 303, 400, 401, 403, 404, 500, 503, 599}) {
        QTest::addRow("%d", status) << status;
    }
}

void TestHttp::tellsTheStatus()
{
    QFETCH(int, status);
    m_fleet->addFault(0, Fault::status(status, "As told"));
    const QNetworkReply *const reply = m_manager->get(http::deviceRequest(pageUrl));
    QCOMPARE(http::status(reply), 0);
    finish(reply);
    QCOMPARE(http::status(reply), status);
}

void TestHttp::tellsNoStatusWithoutAnAnswer_data()
{
    QTest::addColumn<int>("fault");
    QTest::newRow("refused") << int(Fault::Kind::Refuse);
    QTest::newRow("closed") << int(Fault::Kind::CloseWithoutAnswer);
    QTest::newRow("no HTTP") << int(Fault::Kind::Garbage);
}

void TestHttp::tellsNoStatusWithoutAnAnswer()
{
    QFETCH(int, fault);
    Fault made = Fault::hang();
    made.kind = static_cast<Fault::Kind>(fault);
    m_fleet->addFault(0, made);
    const QNetworkReply *const reply = m_manager->get(http::deviceRequest(pageUrl));
    finish(reply);
    QCOMPARE(http::status(reply), 0);
    QVERIFY(reply->error() != QNetworkReply::NoError);
}

void TestHttp::tellsWhereARedirectionLeads_data()
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

void TestHttp::tellsWhereARedirectionLeads()
{
    QFETCH(int, status);
    QFETCH(QString, location);
    m_fleet->addFault(0, Fault::status(status, "As told", location.toStdString()));
    const QNetworkReply *const reply = m_manager->get(http::deviceRequest(pageUrl));
    finish(reply);
    QTEST(http::redirectTarget(reply), "target");
}

void TestHttp::followsNoRedirection()
{
    m_fleet->addFault(0, Fault::status(302, "Found", "/elsewhere").onExactly({}));
    const QNetworkReply *const reply = m_manager->get(http::deviceRequest(pageUrl));
    finish(reply);
    QCOMPARE(http::status(reply), 302);
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(m_fleet->counters().httpRequests, std::uint64_t(1));
}

void TestHttp::unpacksNothing()
{
    m_fleet->addFault(0, Fault::inflatingBody(10U << 20U));
    QNetworkReply *const reply = m_manager->get(http::deviceRequest(pageUrl));
    finish(reply);
    const QByteArray body = reply->readAll();
    QVERIFY2(body.startsWith("\x1F\x8B") && body.size() < 100000, qPrintable(QString::number(body.size())));
    QCOMPARE(m_fleet->requests(0).front().header("Accept-Encoding"), std::string("identity"));
}

void TestHttp::usesNoProxy()
{
    QNetworkProxy::setApplicationProxy(
        QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("10.77.0.1"), 9));
    const QNetworkReply *const reply = m_manager->get(http::deviceRequest(pageUrl));
    finish(reply);
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    QCOMPARE(http::status(reply), 200);
    QCOMPARE(m_manager->proxy().type(), QNetworkProxy::NoProxy);
}

void TestHttp::hasACookieJarOfItsOwn()
{
    const std::unique_ptr<QNetworkAccessManager> other(http::createManager(nullptr));
    QVERIFY(m_manager->cookieJar() != other->cookieJar());
    QCOMPARE(m_manager->cookieJar()->parent(), m_manager.get());
    QVERIFY(m_manager->cookieJar()->setCookiesFromUrl({QNetworkCookie("sid", "secret")}, pageUrl));
    finish(other->get(http::deviceRequest(pageUrl)));
    finish(m_manager->get(http::deviceRequest(pageUrl)));
    const auto requests = m_fleet->requests(0);
    QCOMPARE(requests.size(), std::size_t(2));
    QCOMPARE(requests.front().header("Cookie"), std::string());
    QCOMPARE(requests.back().header("Cookie"), std::string("sid=secret"));
}

void TestHttp::postsABody_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("a text") << QByteArray("login_user=admin");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("zeros") << QByteArray(300, '\0');
    QTest::newRow("a long one") << QByteArray(60000, 'x');
}

void TestHttp::postsABody()
{
    QFETCH(QByteArray, body);
    QNetworkRequest request =
        http::deviceRequest(QUrl(QStringLiteral("http://10.77.128.1/admin/postform.cgi")));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text"));
    const QNetworkReply *const reply = http::postOnce(m_manager.get(), request, body);
    finish(reply);
    QCOMPARE(http::status(reply), 200);
    const auto requests = m_fleet->requests(0);
    QCOMPARE(requests.size(), std::size_t(1));
    QCOMPARE(requests.front().method, std::string("POST"));
    QCOMPARE(requests.front().header("Content-Length"), std::to_string(body.size()));
    QCOMPARE(requests.front().header("Content-Type"), std::string("text"));
    QCOMPARE(QByteArray::fromStdString(requests.front().body), body);
}

void TestHttp::postsOnceWhenThePeerClosesWithoutAnAnswer()
{
    m_fleet->addFault(0, Fault::closeWithoutAnswer());
    const QNetworkRequest request =
        http::deviceRequest(QUrl(QStringLiteral("http://10.77.128.1/admin/reset.cgi")));
    const QNetworkReply *const reply = http::postOnce(m_manager.get(), request, "x=1");
    finish(reply);
    QCOMPARE(http::status(reply), 0);
    QVERIFY(reply->error() != QNetworkReply::NoError);
    QCOMPARE(m_fleet->counters().httpRequests, std::uint64_t(1));
}

void TestHttp::postsOnceOnAConnectionThatWasKept()
{
    finish(m_manager->get(http::deviceRequest(pageUrl)));
    m_fleet->addFault(0, Fault::closeWithoutAnswer());
    const QNetworkRequest request =
        http::deviceRequest(QUrl(QStringLiteral("http://10.77.128.1/admin/reset.cgi")));
    finish(http::postOnce(m_manager.get(), request, "x=1"));
    QCOMPARE(m_fleet->requests(0, "admin/reset.cgi").size(), std::size_t(1));
}

QTEST_GUILESS_MAIN(TestHttp)

#include "tst_http.moc"
