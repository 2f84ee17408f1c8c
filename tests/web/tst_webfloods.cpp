#include "eventloopwatch.h"
#include "rawpeer.h"
#include "standstill.h"
#include "thisprocess.h"
#include "web/webmanager.h"

#include <QBuffer>
#include <QNetworkReply>
#include <QtTest>

namespace {

using End = RawPeer::End;

constexpr int patience = 15000;
constexpr qint64 megabyte = 1024LL * 1024;
/// How much a single peer may make the process grow.
constexpr qint64 mostMemory = 2 * megabyte;
/// What the system's buffers for a connection and the client's hold together.
constexpr qint64 mostUnderWay = 20 * megabyte;
/// Milliseconds.
constexpr qint64 mostWork = 20;
/// What a cookie costs in a build with sanitizers, and not the square of that.
constexpr qint64 mostWorkForHeaders = 150;
constexpr qint64 longestTurn = 1000;

const QByteArray ok = "HTTP/1.1 200 OK\r\n";
const QByteArray chunked = "Transfer-Encoding: chunked\r\n\r\n";
const QByteArray letters(16384, 'a');

/// How often a cost is measured that is too high: a virtual machine's clocks also count what its host took
/// away, and now and then that is a tenth of a second. What our own code does comes each time.
constexpr int attempts = 3;

/// The memory and the event loop of the process from here on.
class Cost final
{
public:
    /// `longestWork`: milliseconds between two turns of the event loop.
    explicit Cost(qint64 longestWork = mostWork)
        : m_longestWork(longestWork)
        , m_isMeasured(thisprocess::restartPeakMemory())
        , m_before(thisprocess::residentMemory())
    {
    }

    /// What was too much; empty if all was well.
    QString complaint() const
    {
        const qint64 growth = thisprocess::peakMemory() - m_before;
        const bool wasHeld = m_loop.longestWork() > m_longestWork || m_loop.longestTurn() > longestTurn;
        if (wasHeld) {
            return QStringLiteral("The event loop was held for %1 ms, in work for %2 ms.")
                .arg(m_loop.longestTurn())
                .arg(m_loop.longestWork());
        }
#ifndef __SANITIZE_ADDRESS__ // That build keeps what is freed.
        if (!m_isMeasured || m_before <= 0 || growth > mostMemory) {
            return QStringLiteral("The memory grew by %1 bytes.").arg(growth);
        }
#endif
        Q_UNUSED(growth)
        return {};
    }

private:
    const qint64 m_longestWork;
    const bool m_isMeasured;
    const qint64 m_before;
    const EventLoopWatch m_loop;
};

} // namespace

/// Answers that never end or come in odd pieces, and what they may cost.
class TestWebFloods : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void endsByItself_data();
    void endsByItself();
    void makesTheSenderWait_data();
    void makesTheSenderWait();
    void readsOddPieces_data();
    void readsOddPieces();
    void readsInSmallBites();
    void takesManyHeadersAtOnce_data();
    void takesManyHeadersAtOnce();

private:
    void repeatUntilCheap(void (TestWebFloods::*measure)());
    void measureFlood();
    void measureReadFlood();
    void measureHeaders();
    void measureSmallBites();

    QString m_complaint;
};

void TestWebFloods::initTestCase()
{
    // What the first requests of a process need stays.
    const RawPeer peer({ok + "\r\n", End::None, letters});
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    QTRY_VERIFY(reply->bytesAvailable() > 500000);
    reply->abort();
    QTRY_COMPARE(peer.openConnectionCount(), 0);
}

void TestWebFloods::repeatUntilCheap(void (TestWebFloods::*measure)())
{
    for (int attempt = 0; attempt < attempts; ++attempt) {
        (this->*measure)();
        if (QTest::currentTestFailed() || m_complaint.isEmpty()) {
            return;
        }
        qInfo("%s", qPrintable(m_complaint));
    }
    QFAIL(qPrintable(m_complaint));
}

void TestWebFloods::endsByItself_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("flood");
    QTest::addColumn<int>("code");
    const int corrupted = QNetworkReply::ProtocolFailure;
    const auto add = [](const char *name, const QByteArray &answer, const QByteArray &flood, int code) {
        QTest::newRow(name) << answer << flood << code;
    };
    const QByteArray line = "X-Name: " + QByteArray(100, 'a') + "\r\n";
    add("headers", ok, line.repeated(100), corrupted);
    add("headers of a refusal", "HTTP/1.1 401 Unauthorized\r\n", line.repeated(100), corrupted);
    add("short headers", ok, QByteArray("a:\r\n").repeated(1000), corrupted);
    add("one header", ok + "X-Name: ", letters, corrupted);
    add("the name of a header", ok, letters, corrupted);
    add("one header on many lines", ok + "X-Name: a\r\n", QByteArray(" a\r\n").repeated(1000), corrupted);
    add("the status line", "HTTP/1.1 200 ", letters, corrupted);
    add("interim answers", "", QByteArray("HTTP/1.1 100 Continue\r\n\r\n").repeated(100), corrupted);
    add("hints", "", QByteArray("HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n").repeated(100), corrupted);
    add("the size of a chunk", ok + chunked, QByteArray(16384, '0'), corrupted);
    add("the extension of a chunk", ok + chunked + "5;", letters, corrupted);
    add("extensions of all chunks", ok + chunked, "1;" + QByteArray(20, 'a') + "\r\nx\r\n", corrupted);
    add("trailers", ok + chunked + "5\r\nhello\r\n0\r\n", line.repeated(100), corrupted);
    add("one trailer", ok + chunked + "0\r\nX-Name: ", letters, corrupted);
    add("a packed transfer", ok + "Transfer-Encoding: gzip\r\n\r\n", letters, corrupted);
    add("a packed transfer in chunks", ok + "Transfer-Encoding: gzip, chunked\r\n\r\n", letters, corrupted);
    add("a transfer packed twice", ok + "Transfer-Encoding: gzip\r\nTransfer-Encoding: deflate\r\n\r\n",
        letters, corrupted);
    // As any peer that talks something else.
    add("no HTTP", "", letters, QNetworkReply::RemoteHostClosedError);
    add("empty lines", "", QByteArray("\r\n").repeated(1000), QNetworkReply::RemoteHostClosedError);
}

void TestWebFloods::endsByItself()
{
    repeatUntilCheap(&TestWebFloods::measureFlood);
}

void TestWebFloods::measureFlood()
{
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, flood);
    QFETCH(int, code);
    const RawPeer peer({answer, End::None, flood});
    WebManager manager;
    const Cost cost;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    connect(reply, &QNetworkReply::readyRead, this, [reply] { reply->readAll(); });
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
    QVERIFY2(reply->error() == code,
             qPrintable(QStringLiteral("%1 %2").arg(reply->error()).arg(reply->errorString())));
    QTRY_COMPARE_WITH_TIMEOUT(peer.openConnectionCount(), 0, patience);
    QVERIFY2(peer.bytesSent() < mostUnderWay, qPrintable(QString::number(peer.bytesSent())));
    m_complaint = cost.complaint();
}

void TestWebFloods::makesTheSenderWait_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("flood");
    QTest::addColumn<int>("status");
    const auto add = [](const char *name, const QByteArray &head, int status) {
        const QByteArray statusLine = "HTTP/1.1 " + QByteArray::number(status) + " As told\r\n" + head;
        QTest::addRow("%s, to the end", name) << statusLine + "\r\n" << letters << status;
        QTest::addRow("%s, long", name) << statusLine + "Content-Length: 99999999999\r\n\r\n"
                                        << letters << status;
        QTest::addRow("%s, in chunks", name) << statusLine + chunked << "4000\r\n" + letters + "\r\n"
                                             << status;
    };
    add("good", "", 200);
    add("refusal", "WWW-Authenticate: Basic realm=\"a\"\r\n", 401);
    add("refusal of a proxy", "Proxy-Authenticate: Basic realm=\"a\"\r\n", 407);
    add("redirection", "Location: /b\r\n", 303);
}

void TestWebFloods::makesTheSenderWait()
{
    repeatUntilCheap(&TestWebFloods::measureReadFlood);
}

void TestWebFloods::measureReadFlood()
{
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, flood);
    QFETCH(int, status);
    constexpr qint64 aLot = 20 * megabyte;
    const RawPeer peer({answer, End::None, flood});
    WebManager manager;
    const Cost cost;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    int told = 0;
    const auto note = [reply, &told] {
        told = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    };
    connect(reply, &QNetworkReply::metaDataChanged, this, note);
    QTRY_COMPARE_WITH_TIMEOUT(told, status, patience);
    QVERIFY(waitForStandstill([&peer] { return peer.bytesSent(); }));
    QVERIFY(reply->bytesAvailable() >= 512LL * 1024);
    QVERIFY(reply->bytesAvailable() < 600LL * 1024);
    QVERIFY2(peer.bytesSent() < mostUnderWay, qPrintable(QString::number(peer.bytesSent())));
    // It is read now, and the peer goes on.
    qint64 read = 0;
    const auto readSome = [reply, &read] {
        const QByteArray bytes = reply->readAll();
        QCOMPARE(bytes.count('a'), bytes.size());
        read += bytes.size();
    };
    connect(reply, &QNetworkReply::readyRead, this, readSome);
    readSome();
    QTRY_VERIFY_WITH_TIMEOUT(read > aLot, patience);
    QVERIFY(reply->isRunning());
    reply->abort();
    QTRY_COMPARE_WITH_TIMEOUT(peer.openConnectionCount(), 0, patience);
    m_complaint = cost.complaint();
}

void TestWebFloods::readsOddPieces_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("drips");
    QTest::addColumn<QByteArray>("body");
    const QByteArray length = "Content-Length: 12\r\n\r\n";
    const QByteArray text = "hello, world";
    // What gzip makes of a hundred letters.
    const QByteArray packed =
        QByteArray::fromHex("1f8b0800000000000003") + QByteArray::fromHex("4b4ca43d0000b7a9a2de64000000");
    QTest::newRow("byte by byte") << ok + length + text << true << text;
    QTest::newRow("byte by byte to the end") << ok + "\r\n" + text << true << text;
    QTest::newRow("byte by byte in chunks")
        << ok + chunked + "5\r\nhello\r\n7\r\n, world\r\n0\r\nX-Trailer: a\r\n\r\n"
        << true << text;
    QTest::newRow("byte by byte after interim answers")
        << "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Hints\r\nLink: a\r\n\r\n" + ok + length + text << true
        << text;
    QTest::newRow("chunks of one byte")
        << ok + chunked + QByteArray("1\r\nx\r\n").repeated(100000) + "0\r\n\r\n"
        << false << QByteArray(100000, 'x');
    QTest::newRow("chunks of one byte with long sizes")
        << ok + chunked + QByteArray("00000001\r\nx\r\n").repeated(50000) + "0\r\n\r\n"
        << false << QByteArray(50000, 'x');
    QTest::newRow("chunks with extensions")
        << ok + chunked + QByteArray("5;name=value\r\nhello\r\n").repeated(1000) + "0\r\n\r\n"
        << false << QByteArray("hello").repeated(1000);
    QTest::newRow("a chunk with a long extension")
        << ok + chunked + "5;" + QByteArray(60000, 'a') + "\r\nhello\r\n0\r\n\r\n"
        << false << QByteArray("hello");
    QTest::newRow("packed bytes stay packed")
        << ok + "Content-Encoding: gzip\r\nContent-Length: " + QByteArray::number(packed.size()) +
               "\r\n\r\n" + packed
        << false << packed;
    QTest::newRow("line feeds alone") << "HTTP/1.1 200 OK\nContent-Length: 12\n\n" + text << false << text;
}

void TestWebFloods::readsOddPieces()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, drips);
    QFETCH(QByteArray, body);
    RawPeer::Script script{answer, End::Close};
    script.drips = drips;
    const RawPeer peer(script);
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    QByteArray read;
    const auto take = [reply, &read] { read += reply->readAll(); };
    connect(reply, &QNetworkReply::readyRead, this, take);
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(read, body);
}

void TestWebFloods::takesManyHeadersAtOnce_data()
{
    QTest::addColumn<QByteArray>("headers");
    QTest::newRow("cookies of one name") << QByteArray("Set-Cookie: sid=a; path=/\r\n").repeated(700);
    QByteArray cookies;
    QByteArray names;
    for (int i = 0; i < 600; ++i) {
        cookies += "Set-Cookie: c" + QByteArray::number(i) + "=a; path=/\r\n";
        names += "X-" + QByteArray::number(i) + ": a\r\n";
    }
    QTest::newRow("cookies of many names") << cookies;
    QTest::newRow("lines of one name") << QByteArray("Allow: GET\r\n").repeated(800);
    QTest::newRow("lines of many names") << names;
}

void TestWebFloods::takesManyHeadersAtOnce()
{
    repeatUntilCheap(&TestWebFloods::measureHeaders);
}

void TestWebFloods::measureHeaders()
{
    QFETCH(QByteArray, headers);
    const RawPeer peer({ok + headers + "Content-Length: 0\r\n\r\n", End::Close});
    WebManager manager;
    const Cost cost(mostWorkForHeaders);
    const QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), patience);
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    m_complaint = cost.complaint();
}

void TestWebFloods::readsInSmallBites()
{
    repeatUntilCheap(&TestWebFloods::measureSmallBites);
}

void TestWebFloods::measureSmallBites()
{
    const RawPeer peer({ok + "\r\n", End::None, letters});
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    QTRY_VERIFY(reply->bytesAvailable() >= 512LL * 1024);
    QVERIFY(waitForStandstill([&peer] { return peer.bytesSent(); }));
    const auto workToRead = [](QIODevice &device) {
        const qint64 before = thisprocess::workOfThread();
        for (char letter = 0; device.getChar(&letter);) {
        }
        return thisprocess::workOfThread() - before;
    };
    QBuffer buffer;
    buffer.setData(QByteArray(512LL * 1024, 'a'));
    QVERIFY(buffer.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    const qint64 reference = workToRead(buffer);
    const qint64 work = workToRead(*reply);
    QTRY_VERIFY_WITH_TIMEOUT(reply->bytesAvailable() > 0, patience);
    // A message to another thread for each of them takes thirty times as long.
    const bool isCheap = work < 5 * reference + mostWork;
    m_complaint = isCheap ? QString()
                          : QStringLiteral("Half a million letters took %1 ms, out of a buffer %2 ms.")
                                .arg(work)
                                .arg(reference);
}

QTEST_GUILESS_MAIN(TestWebFloods)

#include "tst_webfloods.moc"
