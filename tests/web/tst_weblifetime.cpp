#include "bodydevice.h"
#include "rawpeer.h"
#include "signallog.h"
#include "web/webmanager.h"

#include <QEventLoop>
#include <QNetworkReply>
#include <QPointer>
#include <QTimer>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

using End = RawPeer::End;

const QByteArray hello = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";
const QByteArray chunks = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
/// So much is more than the system and the client hold together.
const QByteArray bigChunk = "10000\r\n" + QByteArray(0x10000, 'y') + "\r\n";
constexpr qint64 bigBody = 8LL * 1024 * 1024;

enum class Slot { MetaDataChanged, ReadyRead, DownloadProgress, UploadProgress, ErrorOccurred, Finished };

/// Does something the first time that the reply sends the signal. `what` has no context, so that it may
/// delete anything.
void onceIn(Slot slot, QNetworkReply *reply, const std::function<void()> &what)
{
    const auto wasDone = std::make_shared<bool>(false);
    const auto once = [what, wasDone] {
        if (!std::exchange(*wasDone, true)) {
            what();
        }
    };
    const auto on = [reply, &once](auto signal) { QObject::connect(reply, signal, once); };
    switch (slot) {
    case Slot::MetaDataChanged:
        return on(&QNetworkReply::metaDataChanged);
    case Slot::ReadyRead:
        return on(&QNetworkReply::readyRead);
    case Slot::DownloadProgress:
        return on(&QNetworkReply::downloadProgress);
    case Slot::UploadProgress:
        return on(&QNetworkReply::uploadProgress);
    case Slot::ErrorOccurred:
        return on(&QNetworkReply::errorOccurred);
    case Slot::Finished:
        return on(&QNetworkReply::finished);
    }
}

void addSlots()
{
    QTest::addColumn<Slot>("slot");
    QTest::newRow("metaDataChanged") << Slot::MetaDataChanged;
    QTest::newRow("readyRead") << Slot::ReadyRead;
    QTest::newRow("downloadProgress") << Slot::DownloadProgress;
    QTest::newRow("uploadProgress") << Slot::UploadProgress;
    QTest::newRow("errorOccurred") << Slot::ErrorOccurred;
    QTest::newRow("finished") << Slot::Finished;
}

/// A POST of a body that is read while it is sent. The body belongs to the reply.
QNetworkReply *postStream(WebManager &manager, const QUrl &url)
{
    auto *const body = new BodyDevice(bigBody);
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text"));
    request.setHeader(QNetworkRequest::ContentLengthHeader, bigBody);
    QNetworkReply *const reply = manager.post(request, body);
    body->setParent(reply);
    return reply;
}

} // namespace

Q_DECLARE_METATYPE(Slot)

/// When signals come, and that everything may be ended and deleted at any time.
class TestWebLifetime : public QObject
{
    Q_OBJECT

public slots:
    void noteSender() { m_senders += sender(); }

private slots:
    void init() { m_senders.clear(); }
    void tellsInOrder();
    void abortsAtOnce_data();
    void abortsAtOnce();
    void doesNotAbortAfterTheEnd();
    void abortsInASlot_data();
    void abortsInASlot();
    void isDeletedInASlot_data() { addSlots(); }
    void isDeletedInASlot();
    void managerIsDeletedInASlot_data() { addSlots(); }
    void managerIsDeletedInASlot();
    void saysNothingOnceDeleted_data();
    void saysNothingOnceDeleted();
    void startsAnotherInASlot();
    void isTheSender();
    void goesOnInANestedLoop_data();
    void goesOnInANestedLoop();
    void endsWithoutItsReader();

private:
    QList<QObject *> m_senders;
};

void TestWebLifetime::tellsInOrder()
{
    const RawPeer peer({hello, End::Close});
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    const SignalLog log(reply);
    QByteArray body;
    const auto take = [&body, reply] { body = reply->readAll(); };
    connect(reply, &QNetworkReply::finished, this, take);
    QCOMPARE(reply->manager(), &manager);
    QVERIFY(reply->isRunning());
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(log.mainNames(),
             (QStringList{QStringLiteral("metaDataChanged"), QStringLiteral("readyRead"),
                          QStringLiteral("readChannelFinished"), QStringLiteral("finished of the manager"),
                          QStringLiteral("finished")}));
    QCOMPARE(body, QByteArray("hello"));
    QCOMPARE(reply->error(), QNetworkReply::NoError);
}

void TestWebLifetime::abortsAtOnce_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QStringList>("before");
    QTest::newRow("straight after the start") << QByteArray() << QStringList();
    QTest::newRow("after the head") << chunks << QStringList{QStringLiteral("metaDataChanged")};
    QTest::newRow("in the body") << chunks + "5\r\nhello\r\n"
                                 << QStringList{QStringLiteral("metaDataChanged"),
                                                QStringLiteral("readyRead")};
}

void TestWebLifetime::abortsAtOnce()
{
    QFETCH(QByteArray, answer);
    QFETCH(QStringList, before);
    const RawPeer peer({answer});
    WebManager manager;
    QNetworkReply *const reply = manager.post(QNetworkRequest(peer.url()), QByteArrayLiteral("x=1"));
    const SignalLog log(reply);
    QTRY_COMPARE(log.mainNames(), before);
    reply->abort();
    const QStringList all =
        before + QStringList{QStringLiteral("errorOccurred"), QStringLiteral("readChannelFinished"),
                             QStringLiteral("finished of the manager"), QStringLiteral("finished")};
    QCOMPARE(log.mainNames(), all);
    QCOMPARE(reply->error(), QNetworkReply::OperationCanceledError);
    QVERIFY(reply->isFinished());
    QVERIFY(!reply->isOpen());
    QCOMPARE(reply->bytesAvailable(), 0);
    reply->abort();
    QTRY_COMPARE(peer.openConnectionCount(), 0);
    QCOMPARE(log.mainNames(), all);
}

void TestWebLifetime::doesNotAbortAfterTheEnd()
{
    const RawPeer peer({hello, End::Close});
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    const SignalLog log(reply);
    QTRY_VERIFY(reply->isFinished());
    const QStringList before = log.names();
    reply->abort();
    QCOMPARE(log.names(), before);
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(reply->readAll(), QByteArray("hello"));
}

void TestWebLifetime::abortsInASlot_data()
{
    QTest::addColumn<Slot>("slot");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("names");
    const QStringList end{QStringLiteral("errorOccurred"), QStringLiteral("readChannelFinished"),
                          QStringLiteral("finished of the manager"), QStringLiteral("finished")};
    const QStringList head{QStringLiteral("metaDataChanged")};
    const QStringList body{QStringLiteral("metaDataChanged"), QStringLiteral("readyRead")};
    const int canceled = QNetworkReply::OperationCanceledError;
    QTest::newRow("metaDataChanged") << Slot::MetaDataChanged << hello << canceled << head + end;
    QTest::newRow("readyRead") << Slot::ReadyRead << hello << canceled << body + end;
    QTest::newRow("downloadProgress") << Slot::DownloadProgress << hello << canceled << body + end;
    // It has failed before.
    QTest::newRow("errorOccurred") << Slot::ErrorOccurred << QByteArray()
                                   << int(QNetworkReply::RemoteHostClosedError) << end;
}

void TestWebLifetime::abortsInASlot()
{
    QFETCH(Slot, slot);
    QFETCH(QByteArray, answer);
    QFETCH(int, code);
    QFETCH(QStringList, names);
    const RawPeer peer({answer, End::Close});
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    const SignalLog log(reply);
    onceIn(slot, reply, [reply] { reply->abort(); });
    QTRY_COMPARE(log.mainNames(), names);
    QCOMPARE(int(reply->error()), code);
}

void TestWebLifetime::isDeletedInASlot()
{
    QFETCH(Slot, slot);
    // The good answer has all signals but one.
    const RawPeer peer({slot == Slot::ErrorOccurred ? QByteArray() : hello, End::Close});
    WebManager manager;
    const QPointer<QNetworkReply> reply = postStream(manager, peer.url());
    onceIn(slot, reply, [&reply] { delete reply.data(); });
    QTRY_VERIFY(!reply);
    // What is still under way to it must find nobody.
    QTRY_COMPARE(peer.openConnectionCount(), 0);
    QNetworkReply *const next = manager.get(QNetworkRequest(peer.url()));
    QTRY_VERIFY(next->isFinished());
}

void TestWebLifetime::managerIsDeletedInASlot()
{
    QFETCH(Slot, slot);
    const RawPeer peer({slot == Slot::ErrorOccurred ? QByteArray() : hello, End::Close});
    const QPointer<WebManager> manager = new WebManager;
    const QPointer<QNetworkReply> reply = postStream(*manager, peer.url());
    onceIn(slot, reply, [&manager] { delete manager.data(); });
    QTRY_VERIFY(!manager);
    QVERIFY(!reply);
    QTRY_COMPARE(peer.openConnectionCount(), 0);
}

void TestWebLifetime::saysNothingOnceDeleted_data()
{
    QTest::addColumn<bool>("later");
    QTest::newRow("delete") << false;
    QTest::newRow("deleteLater") << true;
}

void TestWebLifetime::saysNothingOnceDeleted()
{
    QFETCH(bool, later);
    const RawPeer peer({chunks, End::None, bigChunk});
    WebManager manager;
    const QPointer<QNetworkReply> reply = manager.get(QNetworkRequest(peer.url()));
    const SignalLog log(reply);
    connect(reply, &QNetworkReply::readyRead, reply, [reply] { reply->readAll(); });
    QTRY_VERIFY(log.names().contains(QStringLiteral("readyRead")));
    QStringList before;
    connect(reply, &QObject::destroyed, this, [&] { before = log.names(); });
    if (later) {
        reply->deleteLater();
    } else {
        delete reply.data();
    }
    QTRY_COMPARE(peer.openConnectionCount(), 0);
    QVERIFY(!reply);
    QCOMPARE(log.names(), before);
    QVERIFY(!before.contains(QStringLiteral("errorOccurred")));
    QVERIFY(!before.contains(QStringLiteral("finished")));
}

void TestWebLifetime::startsAnotherInASlot()
{
    const RawPeer peer({hello, End::Close});
    WebManager manager;
    QByteArrayList bodies;
    const std::function<void(Slot)> start = [&](Slot nextIn) {
        QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
        const auto take = [&bodies, reply] { bodies += reply->readAll(); };
        connect(reply, &QNetworkReply::finished, this, take);
        onceIn(nextIn, reply, [&start, nextIn] {
            if (nextIn != Slot::Finished) {
                start(nextIn == Slot::MetaDataChanged ? Slot::ReadyRead : Slot::Finished);
            }
        });
    };
    start(Slot::MetaDataChanged);
    QTRY_COMPARE(bodies, (QByteArrayList{"hello", "hello", "hello"}));
}

void TestWebLifetime::isTheSender()
{
    const RawPeer peer({"HTTP/1.1 404 No\r\nContent-Length: 5\r\n\r\nhello", End::Close});
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    connect(reply, &QNetworkReply::metaDataChanged, this, &TestWebLifetime::noteSender);
    connect(reply, &QNetworkReply::readyRead, this, &TestWebLifetime::noteSender);
    connect(reply, &QNetworkReply::errorOccurred, this, &TestWebLifetime::noteSender);
    connect(reply, &QNetworkReply::finished, this, &TestWebLifetime::noteSender);
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(m_senders, (QList<QObject *>{reply, reply, reply, reply}));
}

void TestWebLifetime::goesOnInANestedLoop_data()
{
    QTest::addColumn<Slot>("slot");
    QTest::newRow("metaDataChanged") << Slot::MetaDataChanged;
    QTest::newRow("readyRead") << Slot::ReadyRead;
    QTest::newRow("downloadProgress") << Slot::DownloadProgress;
    QTest::newRow("uploadProgress") << Slot::UploadProgress;
}

void TestWebLifetime::goesOnInANestedLoop()
{
    QFETCH(Slot, slot);
    const RawPeer peer({hello, End::Close});
    WebManager manager;
    QNetworkReply *const reply = postStream(manager, peer.url());
    const SignalLog log(reply);
    bool endedInside = false;
    onceIn(slot, reply, [&] {
        QEventLoop loop;
        connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(3000, &loop, &QEventLoop::quit);
        loop.exec();
        endedInside = reply->isFinished();
    });
    QTRY_VERIFY(reply->isFinished());
    QVERIFY(endedInside);
    QCOMPARE(log.mainNames(),
             (QStringList{QStringLiteral("metaDataChanged"), QStringLiteral("readyRead"),
                          QStringLiteral("readChannelFinished"), QStringLiteral("finished of the manager"),
                          QStringLiteral("finished")}));
    QCOMPARE(reply->readAll(), QByteArray("hello"));
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
}

void TestWebLifetime::endsWithoutItsReader()
{
    const RawPeer peer({chunks, End::Close, bigChunk, 1000000, false, bigChunk.size() * 200LL});
    WebManager manager;
    QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
    QTRY_VERIFY(reply->bytesAvailable() >= 500000);
    // The rest is not wanted; that the request has ended still is.
    reply->close();
    QTRY_VERIFY(reply->isFinished());
}

QTEST_GUILESS_MAIN(TestWebLifetime)

#include "tst_weblifetime.moc"
