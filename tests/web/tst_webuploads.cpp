#include "bodydevice.h"
#include "rawpeer.h"
#include "standstill.h"
#include "thisprocess.h"
#include "web/webmanager.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTemporaryFile>
#include <QTimer>
#include <QtTest>

#include <memory>

namespace {

using End = RawPeer::End;

constexpr int patience = 150000;
constexpr qint64 kilobyte = 1024;
constexpr qint64 megabyte = 1024 * kilobyte;
constexpr qint64 gigabyte = 1024 * megabyte;
/// What a transfer may make the process grow, whatever passes through it.
constexpr qint64 mostMemory = 4 * megabyte;

const QByteArray ok = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

/// So many don't fit into 32 bits. Builds that look into everything have no time for them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr qint64 longUpload = 300 * megabyte;
constexpr qint64 longDownload = 300 * megabyte;
#else
constexpr qint64 longUpload = 3 * gigabyte;
constexpr qint64 longDownload = 5 * gigabyte;
#endif

QNetworkReply *post(QNetworkAccessManager &manager, const QUrl &url, QIODevice *body, qint64 size)
{
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text"));
    request.setHeader(QNetworkRequest::ContentLengthHeader, size);
    request.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    return manager.post(request, body);
}

/// Runs the event loop as the program does, without the pauses that waiting in a test usually makes. Tells
/// whether the reply has finished.
bool loopUntilFinished(const QNetworkReply *reply)
{
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(patience, &loop, &QEventLoop::quit);
    loop.exec();
    return reply->isFinished();
}

/// The signals of progress of a transfer in one direction.
struct Progress
{
    int count = 0;
    qint64 done = 0;
    qint64 total = 0;
    bool isOrderly = true;

    void take(qint64 bytes, qint64 all)
    {
        ++count;
        isOrderly = isOrderly && bytes >= done;
        done = bytes;
        total = all;
    }
};

} // namespace

/// Bodies that are read while they are sent, and answers of any length.
class TestWebUploads : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void sendsALongBody();
    void receivesALongBody();
    void sendsAFileFromWhereItStands();
    void waitsForADeviceThatHasMoreLater();
    void failsWhereTheDeviceEndsEarly();
    void failsWhereTheDeviceIsDeleted_data();
    void failsWhereTheDeviceIsDeleted();
    void readsNoFasterThanThePeer();
    void takesAnEarlyRefusal();
};

void TestWebUploads::initTestCase()
{
    // What the first requests of a process need stays.
    const RawPeer peer({ok, End::Close});
    WebManager manager;
    BodyDevice body(20 * megabyte);
    const QNetworkReply *const reply = post(manager, peer.url(), &body, 20 * megabyte);
    QTRY_VERIFY(reply->isFinished());
}

void TestWebUploads::sendsALongBody()
{
    const qint64 size = longUpload;
    const RawPeer peer({ok, End::Close});
    WebManager manager;
    BodyDevice body(size);
    QVERIFY(thisprocess::restartPeakMemory());
    const qint64 memory = thisprocess::residentMemory();
    QElapsedTimer time;
    time.start();
    QNetworkReply *const reply = post(manager, peer.url(), &body, size);
    Progress progress;
    const auto note = [&progress](qint64 sent, qint64 all) { progress.take(sent, all); };
    connect(reply, &QNetworkReply::uploadProgress, this, note);
    QVERIFY(loopUntilFinished(reply));
    const qint64 elapsed = time.elapsed();
    const qint64 growth = thisprocess::peakMemory() - memory;
    qInfo("%lld MiB in %lld ms, %lld kB more memory, %d signals of progress", size / megabyte, elapsed,
          growth / kilobyte, progress.count);
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(peer.bodyBytes(), size);
    QVERIFY(
        peer.requests().constFirst().contains("\r\nContent-Length: " + QByteArray::number(size) + "\r\n"));
    QVERIFY(progress.isOrderly);
    QCOMPARE(progress.done, size);
    QCOMPARE(progress.total, size);
    QVERIFY2(progress.count <= elapsed / 100 + 2, qPrintable(QString::number(progress.count)));
#ifndef __SANITIZE_ADDRESS__ // That build keeps what is freed.
    QVERIFY2(growth < mostMemory, qPrintable(QString::number(growth)));
#endif
}

void TestWebUploads::receivesALongBody()
{
    const qint64 size = longDownload;
    RawPeer::Script script{"HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(size) + "\r\n\r\n",
                           End::Close, QByteArray(65536, 'y')};
    script.floodSize = size;
    const RawPeer peer(script);
    WebManager manager;
    QVERIFY(thisprocess::restartPeakMemory());
    const qint64 memory = thisprocess::residentMemory();
    QElapsedTimer time;
    time.start();
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    Progress progress;
    const auto note = [&progress](qint64 received, qint64 all) { progress.take(received, all); };
    connect(reply, &QNetworkReply::downloadProgress, this, note);
    qint64 read = 0;
    const auto take = [reply, &read] { read += reply->readAll().size(); };
    connect(reply, &QNetworkReply::readyRead, this, take);
    QVERIFY(loopUntilFinished(reply));
    const qint64 elapsed = time.elapsed();
    const qint64 growth = thisprocess::peakMemory() - memory;
    qInfo("%lld MiB in %lld ms, %lld kB more memory, %d signals of progress", size / megabyte, elapsed,
          growth / kilobyte, progress.count);
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(read, size);
    QCOMPARE(reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(), size);
    QVERIFY(progress.isOrderly);
    QCOMPARE(progress.done, size);
    QCOMPARE(progress.total, size);
    QVERIFY2(progress.count <= elapsed / 100 + 2, qPrintable(QString::number(progress.count)));
#ifndef __SANITIZE_ADDRESS__ // That build keeps what is freed.
    QVERIFY2(growth < mostMemory, qPrintable(QString::number(growth)));
#endif
}

void TestWebUploads::sendsAFileFromWhereItStands()
{
    const RawPeer peer({ok, End::Close});
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write("not this, but this");
    QVERIFY(file.seek(10));
    WebManager manager;
    QNetworkRequest request(peer.url());
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text"));
    const QNetworkReply *const reply = manager.post(request, &file);
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QVERIFY(peer.requests().constFirst().contains("\r\nContent-Length: 8\r\n"));
    QVERIFY(peer.requests().constFirst().endsWith("\r\n\r\nbut this"));
}

void TestWebUploads::waitsForADeviceThatHasMoreLater()
{
    const RawPeer peer({ok, End::Close});
    WebManager manager;
    BodyDevice body(0, false);
    const QNetworkReply *const reply = post(manager, peer.url(), &body, 3 * megabyte);
    QTRY_COMPARE(peer.connectionCount(), 1);
    for (int i = 1; i <= 3; ++i) {
        body.add(megabyte);
        QTRY_COMPARE(peer.bodyBytes(), i * megabyte);
        QVERIFY(i == 3 || reply->isRunning());
    }
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->error(), QNetworkReply::NoError);
}

void TestWebUploads::failsWhereTheDeviceEndsEarly()
{
    const RawPeer peer({ok, End::Close});
    const auto codeOf = [&peer](QNetworkAccessManager &manager) {
        BodyDevice body(megabyte);
        const QNetworkReply *const reply = post(manager, peer.url(), &body, 2 * megabyte);
        return QTest::qWaitFor([reply] { return reply->isFinished(); }, patience) ? reply->error()
                                                                                  : QNetworkReply::NoError;
    };
    WebManager ours;
    QCOMPARE(codeOf(ours), QNetworkReply::UnknownNetworkError);
    QCOMPARE(peer.requests().size(), 0);
    QTRY_COMPARE(peer.openConnectionCount(), 0);
    QNetworkAccessManager ofQt;
    ofQt.setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    QCOMPARE(codeOf(ofQt), QNetworkReply::UnknownNetworkError);
}

void TestWebUploads::failsWhereTheDeviceIsDeleted_data()
{
    QTest::addColumn<qint64>("sentBefore");
    QTest::newRow("before anything is sent") << qint64(0);
    QTest::newRow("in the middle") << megabyte;
}

void TestWebUploads::failsWhereTheDeviceIsDeleted()
{
    QFETCH(qint64, sentBefore);
    const RawPeer peer({ok, End::Close});
    WebManager manager;
    auto body = std::make_unique<BodyDevice>(sentBefore, false);
    const QNetworkReply *const reply = post(manager, peer.url(), body.get(), 2 * megabyte);
    QTRY_COMPARE(peer.bodyBytes(), sentBefore);
    body.reset();
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->error(), QNetworkReply::UnknownNetworkError);
    QTRY_COMPARE(peer.openConnectionCount(), 0);
}

void TestWebUploads::readsNoFasterThanThePeer()
{
    RawPeer::Script script{QByteArray()};
    script.readsOnlyHeads = true;
    const RawPeer peer(script);
    WebManager manager;
    BodyDevice body(gigabyte);
    const QNetworkReply *const reply = post(manager, peer.url(), &body, gigabyte);
    QVERIFY(waitForStandstill([&body] { return body.bytesRead(); }));
    QVERIFY(body.bytesRead() >= 512 * kilobyte);
    QVERIFY2(body.bytesRead() < 20 * megabyte, qPrintable(QString::number(body.bytesRead())));
    QVERIFY(reply->isRunning());
}

void TestWebUploads::takesAnEarlyRefusal()
{
    RawPeer::Script script{"HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\nConnection: close\r\n\r\nno"};
    script.readsOnlyHeads = true;
    const RawPeer peer(script);
    WebManager manager;
    BodyDevice body(gigabyte);
    QNetworkReply *const reply = post(manager, peer.url(), &body, gigabyte);
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->error(), QNetworkReply::ContentAccessDenied);
    QCOMPARE(reply->readAll(), QByteArray("no"));
}

QTEST_GUILESS_MAIN(TestWebUploads)

#include "tst_webuploads.moc"
