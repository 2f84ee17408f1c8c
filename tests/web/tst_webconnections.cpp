#include "bodydevice.h"
#include "fleet.h"
#include "rawpeer.h"
#include "thisprocess.h"
#include "web/webmanager.h"

#include <QNetworkReply>
#include <QtTest>

#include <chrono>
#include <memory>

namespace {

using End = RawPeer::End;
using namespace std::chrono_literals;

constexpr int patience = 15000;
const QByteArray hello = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";

enum class Way { Get, Post, RepeatedPost, RepeatedStream };

/// Sends a request and waits for its end. The code of the error.
int codeOf(WebManager &manager, Way way, const QUrl &url)
{
    // What devices answer to a POST.
    const QUrl form = url.resolved(QUrl(QStringLiteral("/admin/proctpl.cgi")));
    QNetworkRequest request(way == Way::Get ? url : form);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text"));
    request.setAttribute(WebManager::MayBeRepeatedAttribute,
                         way == Way::RepeatedPost || way == Way::RepeatedStream);
    constexpr qint64 size = 100000;
    BodyDevice body(size);
    if (way == Way::RepeatedStream) {
        request.setHeader(QNetworkRequest::ContentLengthHeader, size);
    }
    const QNetworkReply *const reply = way == Way::Get ? manager.get(request)
                                       : way == Way::RepeatedStream
                                           ? manager.post(request, &body)
                                           : manager.post(request, QByteArray("x=1"));
    return QTest::qWaitFor([reply] { return reply->isFinished(); }, patience) ? int(reply->error()) : -1;
}

/// A device with TLS, at the usual port.
class Device final
{
public:
    explicit Device(bool answersOnce)
    {
        simulator::DeviceOptions options;
        options.answersOnce = answersOnce;
        options.restartTime = 20ms;
        fleet.addDevice(options);
        fleet.start();
    }

    const QUrl url{QStringLiteral("https://10.77.128.1/")};
    simulator::Fleet fleet;

    int connections() const { return int(fleet.counters().connections); }
    int openConnections() const { return int(fleet.counters().openConnections); }
    int requests() const { return int(fleet.requests(0).size()); }
};

} // namespace

Q_DECLARE_METATYPE(Way)

/// Which requests share a connection, and how often each is on the wire.
class TestWebConnections : public QObject
{
    Q_OBJECT

private slots:
    void plainHttpKeepsNone_data();
    void plainHttpKeepsNone();
    void sendsOnceWhateverThePeerDoes_data();
    void sendsOnceWhateverThePeerDoes();
    void keepsThoseOverTls();
    void closesWhatItKept();
    void letsGoWhereTheDeviceHangsUp();
    void sendsAllElseOverItsOwn();
    void repeatsOverTls_data();
    void repeatsOverTls();
    void repeatsAfterARestart();
    void repeatsOnlyOnce();
    void doesNotRepeatAStream();
    void sendsAStreamOverTls();
};

void TestWebConnections::plainHttpKeepsNone_data()
{
    QTest::addColumn<Way>("way");
    QTest::newRow("GET") << Way::Get;
    QTest::newRow("POST") << Way::Post;
    QTest::newRow("POST that may be repeated") << Way::RepeatedPost;
}

void TestWebConnections::plainHttpKeepsNone()
{
    QFETCH(Way, way);
    // The peer would keep it.
    const RawPeer peer({hello});
    WebManager manager;
    for (int i = 1; i <= 3; ++i) {
        QCOMPARE(codeOf(manager, way, peer.url()), 0);
        QCOMPARE(peer.connectionCount(), i);
        QTRY_COMPARE(peer.openConnectionCount(), 0);
    }
}

void TestWebConnections::sendsOnceWhateverThePeerDoes_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<int>("end");
    QTest::newRow("GET, closed") << Way::Get << int(End::Close);
    QTest::newRow("POST, closed") << Way::Post << int(End::Close);
    QTest::newRow("POST, reset") << Way::Post << int(End::Reset);
    QTest::newRow("POST that may be repeated, closed") << Way::RepeatedPost << int(End::Close);
    QTest::newRow("stream, closed") << Way::RepeatedStream << int(End::Close);
}

void TestWebConnections::sendsOnceWhateverThePeerDoes()
{
    QFETCH(Way, way);
    QFETCH(int, end);
    const RawPeer peer({QByteArray(), End(end)});
    WebManager manager;
    QCOMPARE(codeOf(manager, way, peer.url()), int(QNetworkReply::RemoteHostClosedError));
    QCOMPARE(peer.requests().size(), 1);
    QCOMPARE(peer.connectionCount(), 1);
    QVERIFY(!peer.requests().constFirst().contains("Expect"));
}

void TestWebConnections::keepsThoseOverTls()
{
    const Device device(false);
    WebManager manager;
    WebManager another;
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    QCOMPARE(device.connections(), 1);
    // Each client has its own.
    QCOMPARE(codeOf(another, Way::RepeatedPost, device.url), 0);
    QCOMPARE(codeOf(another, Way::RepeatedPost, device.url), 0);
    QCOMPARE(device.requests(), 4);
    QCOMPARE(device.connections(), 2);
    QCOMPARE(device.openConnections(), 2);
}

void TestWebConnections::closesWhatItKept()
{
    Device device(false);
    auto manager = std::make_unique<WebManager>();
    QCOMPARE(codeOf(*manager, Way::RepeatedPost, device.url), 0);
    QCOMPARE(device.openConnections(), 1);
    manager.reset();
    QTRY_COMPARE(device.openConnections(), 0);
}

void TestWebConnections::letsGoWhereTheDeviceHangsUp()
{
    Device device(false);
    WebManager manager;
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    const int before = thisprocess::socketCount();
    device.fleet.setPowered(0, false);
    // The two on which the device listened, its end of the connection, and ours.
    QTRY_COMPARE(thisprocess::socketCount(), before - 4);
    device.fleet.setPowered(0, true);
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    QCOMPARE(device.requests(), 2);
}

void TestWebConnections::sendsAllElseOverItsOwn()
{
    const Device device(false);
    WebManager manager;
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    QCOMPARE(codeOf(manager, Way::Get, device.url), 0);
    QCOMPARE(codeOf(manager, Way::Post, device.url), 0);
    QCOMPARE(device.requests(), 3);
    QCOMPARE(device.connections(), 3);
    // Only the first one is kept.
    QTRY_COMPARE(device.openConnections(), 1);
}

void TestWebConnections::repeatsOverTls_data()
{
    QTest::addColumn<Way>("way");
    QTest::newRow("POST that may be repeated") << Way::RepeatedPost;
    // These go over connections of their own, and so have no need.
    QTest::newRow("GET") << Way::Get;
    QTest::newRow("POST") << Way::Post;
}

void TestWebConnections::repeatsOverTls()
{
    QFETCH(Way, way);
    // The device hangs up when it is asked for the second time.
    const Device device(true);
    WebManager manager;
    for (int i = 1; i <= 3; ++i) {
        QCOMPARE(codeOf(manager, way, device.url), 0);
        QCOMPARE(device.requests(), i);
        QCOMPARE(device.connections(), i);
    }
}

void TestWebConnections::repeatsAfterARestart()
{
    Device device(false);
    WebManager manager;
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    device.fleet.restart(0);
    QTRY_VERIFY(device.fleet.device(0).restarts == 1 && !device.fleet.device(0).restarting);
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    QCOMPARE(device.requests(), 2);
    QCOMPARE(device.connections(), 2);
}

void TestWebConnections::repeatsOnlyOnce()
{
    Device device(false);
    WebManager manager;
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    device.fleet.addFault(0, simulator::Fault::closeWithoutAnswer());
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), int(QNetworkReply::RemoteHostClosedError));
    // One was good, one went over the kept connection and one over a new one.
    QCOMPARE(device.requests(), 3);
    QCOMPARE(codeOf(manager, Way::Post, device.url), int(QNetworkReply::RemoteHostClosedError));
    QCOMPARE(device.requests(), 4);
}

void TestWebConnections::doesNotRepeatAStream()
{
    const Device device(true);
    WebManager manager;
    QCOMPARE(codeOf(manager, Way::RepeatedPost, device.url), 0);
    // What was read of it can't be read again.
    QCOMPARE(codeOf(manager, Way::RepeatedStream, device.url), int(QNetworkReply::RemoteHostClosedError));
    QCOMPARE(device.requests(), 1);
}

void TestWebConnections::sendsAStreamOverTls()
{
    const Device device(false);
    WebManager manager;
    QCOMPARE(codeOf(manager, Way::RepeatedStream, device.url), 0);
    QCOMPARE(device.requests(), 1);
    QCOMPARE(device.fleet.requests(0).front().bodySize, 100000U);
}

QTEST_GUILESS_MAIN(TestWebConnections)

#include "tst_webconnections.moc"
