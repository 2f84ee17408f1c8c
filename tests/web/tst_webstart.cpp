#include "failingcalls.h"
#include "rawpeer.h"
#include "web/webmanager.h"

#include <QNetworkReply>
#include <QtTest>

#include <memory>

namespace {

constexpr int patience = 20000; // milliseconds

const QString noRoom = QStringLiteral("The system has no room for another thread");

} // namespace

/// The first requests of the process, on a system that is full. The network thread is started only once in a
/// process, so that nothing else can be tested here.
class TestWebStart final : public QObject
{
    Q_OBJECT

private slots:
    void fails_data();
    void fails();
    void worksAsSoonAsThereIsRoom();
};

void TestWebStart::fails_data()
{
    QTest::addColumn<bool>("isPost");
    QTest::newRow("the first request") << false;
    QTest::newRow("another one") << true;
}

void TestWebStart::fails()
{
    QFETCH(bool, isPost);
    const RawPeer peer({"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"});
    // Starts threads of its own.
    WebManager manager;
    constexpr int all = 1000;
    failingcalls::fail(failingcalls::Call::Thread, 1, all);
    const QNetworkRequest request(peer.url());
    const std::unique_ptr<QNetworkReply> reply(isPost ? manager.post(request, QByteArray("body"))
                                                      : manager.get(request));
    QSignalSpy failed(reply.get(), &QNetworkReply::errorOccurred);
    QSignalSpy ended(reply.get(), &QNetworkReply::finished);
    const bool hasEnded = ended.wait(patience);
    const int failures = failingcalls::failures();
    failingcalls::stop();
    QVERIFY(hasEnded);
    QVERIFY(failures > 0);
    QCOMPARE(failed.count(), 1);
    QCOMPARE(ended.count(), 1);
    QCOMPARE(reply->error(), QNetworkReply::UnknownNetworkError);
    QCOMPARE(reply->errorString(), noRoom);
    QCOMPARE(peer.requests().size(), 0);
}

void TestWebStart::worksAsSoonAsThereIsRoom()
{
    const RawPeer peer({"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"});
    WebManager manager;
    const std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(peer.url())));
    QSignalSpy ended(reply.get(), &QNetworkReply::finished);
    QVERIFY(ended.wait(patience));
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(reply->readAll(), QByteArray("ok"));
}

QTEST_GUILESS_MAIN(TestWebStart)

#include "tst_webstart.moc"
