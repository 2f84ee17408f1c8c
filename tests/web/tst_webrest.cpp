#include "failingcalls.h"
#include "fleet.h"
#include "rawpeer.h"
#include "web/webmanager.h"

#include <QNetworkReply>
#include <QtTest>

#include <memory>

using failingcalls::Call;

namespace {

constexpr int patience = 20000; // milliseconds

int countOf(const failingcalls::Counts &counts, Call call)
{
    return counts.at(static_cast<std::size_t>(call));
}

} // namespace

/// What the system is asked for a request and need not be.
class TestWebRest final : public QObject
{
    Q_OBJECT

private slots:
    void waitsForADeviceThatTakesItsTime_data();
    void waitsForADeviceThatTakesItsTime();
    void opensNoFiles();
};

void TestWebRest::waitsForADeviceThatTakesItsTime_data()
{
    QTest::addColumn<bool>("isPost");
    QTest::newRow("GET") << false;
    QTest::newRow("POST") << true;
}

void TestWebRest::waitsForADeviceThatTakesItsTime()
{
    QFETCH(bool, isPost);
    // Never answers.
    const RawPeer peer({});
    WebManager manager;
    const QNetworkRequest request(peer.url());
    const std::unique_ptr<QNetworkReply> reply(isPost ? manager.post(request, QByteArray("body"))
                                                      : manager.get(request));
    QTRY_COMPARE_WITH_TIMEOUT(peer.requests().size(), 1, patience);
    QTimer timer;
    timer.setSingleShot(true);
    QSignalSpy passed(&timer, &QTimer::timeout);
    failingcalls::count();
    timer.start(300);
    const bool hasPassed = passed.wait(patience);
    const int waits = countOf(failingcalls::stop(), Call::Wait);
    QVERIFY(hasPassed);
    QVERIFY(!reply->isFinished());
    // A network thread that looks again and again makes thousands.
    QVERIFY2(waits < 100, qPrintable(QString::number(waits)));
}

void TestWebRest::opensNoFiles()
{
    simulator::Fleet fleet;
    fleet.addDevice({});
    fleet.start();
    WebManager manager;
    const auto fetch = [&manager] {
        const QNetworkRequest request(QUrl(QStringLiteral("https://10.77.128.1/")));
        const std::unique_ptr<QNetworkReply> reply(manager.get(request));
        return QTest::qWaitFor([&reply] { return reply->isFinished(); }, patience) &&
               reply->error() == QNetworkReply::NoError;
    };
    // The first one has the libraries read their own files.
    QVERIFY(fetch());
    failingcalls::count();
    const bool hasAnswered = fetch();
    const int opened = countOf(failingcalls::stop(), Call::Open);
    QVERIFY(hasAnswered);
    // Nothing is verified, so reading the certificates that the system trusts would only cost.
    QCOMPARE(opened, 0);
    QCOMPARE(fleet.counters().connections, std::uint64_t(2));
}

QTEST_GUILESS_MAIN(TestWebRest)

#include "tst_webrest.moc"
