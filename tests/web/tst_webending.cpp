#include "rawpeer.h"
#include "signallog.h"
#include "web/webmanager.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QNetworkReply>
#include <QPointer>
#include <QProcess>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using End = RawPeer::End;

constexpr int patience = 60000;
const QByteArray hello = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";
const QByteArray chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const QByteArray chunk = "4000\r\n" + QByteArray(0x4000, 'y') + "\r\n";

/// The argument with which this program is another one: it begins requests and leaves.
constexpr const char *leave = "--leave";

/// Arguments: whether it waits until the answers have begun ("at once", "later"), and addresses.
int leaveWithRequests(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    WebManager manager;
    int awaited = 0;
    for (int i = 3; i < argc; ++i) {
        QNetworkReply *const reply = manager.get(QNetworkRequest(QUrl(QString::fromLocal8Bit(argv[i]))));
        if (std::strcmp(argv[2], "later") == 0 && reply->url().path() == QLatin1String("/flood")) {
            ++awaited;
            const auto note = [&awaited] {
                if (--awaited == 0) {
                    QCoreApplication::quit();
                }
            };
            QObject::connect(reply, &QNetworkReply::metaDataChanged, &application, note);
        }
    }
    if (awaited > 0) {
        QCoreApplication::exec();
    }
    std::puts("leaving");
    std::fflush(stdout);
    return 0;
}

/// Runs the other program. Milliseconds from its last word to its end; negative if it failed.
qint64 timeToLeave(const QStringList &arguments)
{
    QProcess program;
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program.start(QCoreApplication::applicationFilePath(), QStringList{QLatin1String(leave)} + arguments);
    if (!program.waitForReadyRead(patience)) {
        program.kill();
        program.waitForFinished(patience);
        return -1;
    }
    QElapsedTimer time;
    time.start();
    if (!program.waitForFinished(patience)) {
        program.kill();
        program.waitForFinished(patience);
        return -2;
    }
    return program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0 ? time.elapsed() : -3;
}

} // namespace

/// Managers, threads and programs that end while requests are out.
class TestWebEnding : public QObject
{
    Q_OBJECT

private slots:
    void managerEndsSilently_data();
    void managerEndsSilently();
    void worksInAnotherThread();
    void threadEndsWithRequestsOut_data();
    void threadEndsWithRequestsOut();
    void programEndsWithRequestsOut_data();
    void programEndsWithRequestsOut();
    void looksNoNameUp_data();
    void looksNoNameUp();
};

void TestWebEnding::managerEndsSilently_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("flood");
    QTest::newRow("no answer") << QByteArray() << QByteArray();
    QTest::newRow("flood") << chunked << chunk;
}

void TestWebEnding::managerEndsSilently()
{
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, flood);
    const RawPeer peer({answer, End::None, flood});
    auto manager = std::make_unique<WebManager>();
    std::vector<std::unique_ptr<SignalLog>> logs;
    QList<QPointer<QNetworkReply>> replies;
    for (int i = 0; i < 20; ++i) {
        replies += manager->get(QNetworkRequest(peer.url()));
        logs.push_back(std::make_unique<SignalLog>(replies.last()));
    }
    QTRY_COMPARE(peer.openConnectionCount(), 20);
    QTRY_COMPARE(peer.requests().size(), 20);
    std::vector<QStringList> before;
    before.reserve(logs.size());
    for (const auto &log : logs) {
        before.push_back(log->names());
    }
    manager.reset();
    QTRY_COMPARE(peer.openConnectionCount(), 0);
    QCOMPARE(replies.count(nullptr), 20);
    for (std::size_t i = 0; i < logs.size(); ++i) {
        QCOMPARE(logs[i]->names(), before[i]);
    }
}

void TestWebEnding::worksInAnotherThread()
{
    const RawPeer peer({hello, End::Close});
    QByteArrayList bodies;
    bool wasInThread = true;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        WebManager manager;
        for (int i = 0; i < 10; ++i) {
            QNetworkReply *const reply = manager.post(QNetworkRequest(peer.url()), QByteArray::number(i));
            QEventLoop loop;
            const auto take = [&] {
                wasInThread = wasInThread && QThread::currentThread() == reply->thread();
                bodies += reply->readAll();
                loop.quit();
            };
            connect(reply, &QNetworkReply::finished, &loop, take);
            loop.exec();
        }
    }));
    thread->start();
    QTRY_VERIFY_WITH_TIMEOUT(thread->isFinished(), patience);
    QVERIFY(wasInThread);
    QCOMPARE(bodies, QByteArrayList(QVector<QByteArray>(10, "hello").toList()));
    const QList<QByteArray> requests = peer.requests();
    QCOMPARE(requests.size(), 10);
    QVERIFY(requests.last().endsWith("\r\n\r\n9"));
}

void TestWebEnding::threadEndsWithRequestsOut_data()
{
    QTest::addColumn<bool>("withManager");
    QTest::newRow("and the manager with it") << true;
    QTest::newRow("and the manager later") << false;
}

void TestWebEnding::threadEndsWithRequestsOut()
{
    QFETCH(bool, withManager);
    const RawPeer flood({chunked, End::None, chunk});
    const RawPeer silence({QByteArray()});
    QThread thread;
    thread.start();
    auto *const manager = new WebManager;
    manager->moveToThread(&thread);
    if (withManager) {
        connect(&thread, &QThread::finished, manager, &QObject::deleteLater);
    }
    QMetaObject::invokeMethod(manager, [&] {
        for (int i = 0; i < 10; ++i) {
            manager->get(QNetworkRequest(flood.url()));
            manager->get(QNetworkRequest(silence.url()));
        }
    });
    QTRY_COMPARE(flood.requests().size(), 10);
    QTRY_COMPARE(silence.requests().size(), 10);
    thread.quit();
    QVERIFY(thread.wait(patience));
    if (!withManager) {
        delete manager;
    }
    QTRY_COMPARE(flood.openConnectionCount(), 0);
    QTRY_COMPARE(silence.openConnectionCount(), 0);
    // The engine goes on for others.
    const RawPeer peer({hello, End::Close});
    WebManager another;
    QNetworkReply *const reply = another.get(QNetworkRequest(peer.url()));
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->readAll(), QByteArray("hello"));
}

void TestWebEnding::programEndsWithRequestsOut_data()
{
    QTest::addColumn<QString>("when");
    QTest::newRow("at once") << QStringLiteral("now");
    QTest::newRow("in the middle of the answers") << QStringLiteral("later");
}

void TestWebEnding::programEndsWithRequestsOut()
{
    QFETCH(QString, when);
    const RawPeer flood({chunked, End::None, chunk});
    const RawPeer silence({QByteArray()});
    const RawPeer headers({"HTTP/1.1 200 OK\r\n", End::None, QByteArray("a: b\r\n").repeated(1000)});
    QStringList arguments{when};
    for (int i = 0; i < 100; ++i) {
        arguments += flood.url(QStringLiteral("/flood")).toString();
        arguments += silence.url().toString();
        arguments += headers.url().toString();
    }
    const qint64 clean = timeToLeave({when});
    const qint64 busy = timeToLeave(arguments);
    qInfo("To leave with 300 requests out took %lld ms, without requests %lld ms.", busy, clean);
    QVERIFY(clean >= 0);
    // These devices hang for ever, and so would who waits for them.
    QVERIFY(busy >= 0);
    QTRY_COMPARE(flood.openConnectionCount(), 0);
    QTRY_COMPARE(silence.openConnectionCount(), 0);
    QVERIFY(when != QLatin1String("later") || flood.connectionCount() == 100);
}

void TestWebEnding::looksNoNameUp_data()
{
    QTest::addColumn<QString>("host");
    // The system knows this one without asking anybody.
    QTest::newRow("localhost") << QStringLiteral("localhost");
    QTest::newRow("a name") << QStringLiteral("device.example");
    QTest::newRow("an address with a dot") << QStringLiteral("127.0.0.1.");
    QTest::newRow("an address with letters") << QStringLiteral("127.0.0.1a");
    QTest::newRow("an address with five parts") << QStringLiteral("127.0.0.1.1");
    QTest::newRow("a number too big") << QStringLiteral("127.0.0.256");
    QTest::newRow("IPv6") << QStringLiteral("[::1]");
}

void TestWebEnding::looksNoNameUp()
{
    QFETCH(QString, host);
    const RawPeer peer({hello, End::Close});
    QUrl url = peer.url();
    url.setHost(host);
    QVERIFY(url.isValid());
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(url));
    const SignalLog log(reply);
    QVERIFY(!reply->isFinished());
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->error(), QNetworkReply::HostNotFoundError);
    QCOMPARE(reply->errorString(), QStringLiteral("Host not found"));
    QCOMPARE(log.mainNames(),
             (QStringList{QStringLiteral("errorOccurred"), QStringLiteral("readChannelFinished"),
                          QStringLiteral("finished of the manager"), QStringLiteral("finished")}));
    QCOMPARE(peer.connectionCount(), 0);
}

int main(int argc, char **argv)
{
    if (argc > 2 && std::strcmp(argv[1], leave) == 0) {
        return leaveWithRequests(argc, argv);
    }
    QCoreApplication application(argc, argv);
    TestWebEnding test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_webending.moc"
