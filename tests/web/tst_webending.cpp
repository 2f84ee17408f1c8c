#include "fleet.h"
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

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <curl/curl.h>
#include <dlfcn.h>
#include <memory>
#include <openssl/crypto.h>
#include <unistd.h>
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

/// The argument with which this program asks a device over TLS and cleans up.
constexpr const char *cleanUp = "--clean-up";

/// Whether a thread that has done its work is held before its end.
std::atomic_bool isHeld{false};

/// Ends as late as the system may end a thread: after the whole program.
struct LateEnd
{
    ~LateEnd()
    {
        while (isHeld) {
            pause();
        }
    }
};

/// Blocks of memory that OpenSSL holds.
std::atomic_int heldBlocks{0};

void *takeBlock(size_t size, const char *, int)
{
    void *const block = std::malloc(size);
    heldBlocks += block ? 1 : 0;
    return block;
}

void *resizeBlock(void *block, size_t size, const char *, int)
{
    void *const resized = std::realloc(block, size);
    heldBlocks += !block && resized ? 1 : 0;
    return resized;
}

void releaseBlock(void *block, const char *, int)
{
    heldBlocks -= block ? 1 : 0;
    std::free(block);
}

/// Argument: an address. The exit code is the number of blocks that OpenSSL still holds at the end, at
/// most 99.
int cleanUpAfterTls(int argc, char **argv)
{
    if (CRYPTO_set_mem_functions(takeBlock, resizeBlock, releaseBlock) != 1) {
        return -1;
    }
    isHeld = true;
    {
        QCoreApplication application(argc, argv);
        WebManager manager;
        QNetworkReply *const reply = manager.get(QNetworkRequest(QUrl(QString::fromLocal8Bit(argv[2]))));
        QObject::connect(reply, &QNetworkReply::finished, &application, &QCoreApplication::quit);
        QCoreApplication::exec();
        if (reply->error() != QNetworkReply::NoError || heldBlocks == 0) {
            return -2;
        }
    }
    OPENSSL_cleanup();
    return std::min(heldBlocks.load(), 99);
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

/// Stands before libcurl's own, which the engine calls in the network thread shortly before the thread ends.
CURLMcode curl_multi_cleanup(CURLM *multi)
{
    [[maybe_unused]] thread_local const LateEnd lateEnd;
    const auto original =
        reinterpret_cast<decltype(&curl_multi_cleanup)>(dlsym(RTLD_NEXT, "curl_multi_cleanup"));
    return original(multi);
}

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
    void leavesNothingOfTlsBehind();
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

void TestWebEnding::leavesNothingOfTlsBehind()
{
    simulator::Fleet fleet;
    fleet.addDevice({});
    fleet.start();
    const QStringList arguments{QLatin1String(cleanUp), QStringLiteral("https://10.77.128.1/")};
    QCOMPARE(QProcess::execute(QCoreApplication::applicationFilePath(), arguments), 0);
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
    if (argc > 2 && std::strcmp(argv[1], cleanUp) == 0) {
        return cleanUpAfterTls(argc, argv);
    }
    QCoreApplication application(argc, argv);
    TestWebEnding test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_webending.moc"
