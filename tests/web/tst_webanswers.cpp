#include "rawpeer.h"
#include "web/webmanager.h"

#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QtTest>

namespace {

constexpr int patience = 15000;

/// What is to be seen of the head of an answer.
struct Seen
{
    QVariant status;
    QVariant reason;
    QVariant target;
    QList<QNetworkReply::RawHeaderPair> headers;
    QByteArrayList setCookies;
    QByteArrayList jar;
    QVariant length;
    QVariant type;
    QVariant location;
    QVariant lastModified;
};

QByteArrayList asText(const QList<QNetworkCookie> &cookies)
{
    QByteArrayList texts;
    for (const QNetworkCookie &cookie : cookies) {
        texts += cookie.toRawForm();
    }
    return texts;
}

Seen seenBy(QNetworkAccessManager &manager, const QByteArray &answer)
{
    const RawPeer peer({answer, RawPeer::End::Close});
    const QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url(QStringLiteral("/a/b"))));
    if (!QTest::qWaitFor([reply] { return reply->isFinished(); }, patience)) {
        return {};
    }
    return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute),
            reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute),
            reply->attribute(QNetworkRequest::RedirectionTargetAttribute),
            reply->rawHeaderPairs(),
            asText(reply->header(QNetworkRequest::SetCookieHeader).value<QList<QNetworkCookie>>()),
            asText(manager.cookieJar()->cookiesForUrl(reply->url())),
            reply->header(QNetworkRequest::ContentLengthHeader),
            reply->header(QNetworkRequest::ContentTypeHeader),
            reply->header(QNetworkRequest::LocationHeader),
            reply->header(QNetworkRequest::LastModifiedHeader)};
}

} // namespace

/// What a reply tells of the head of an answer, beside Qt's own client.
class TestWebAnswers : public QObject
{
    Q_OBJECT

private slots:
    void tellsWhatQtTells_data();
    void tellsWhatQtTells();
    void tellsAsWritten();
    void leavesAMissingReasonEmpty();
    void sendsCookiesBack();
    void keepsTheLastCookies();
    void namesItsRequest();
};

void TestWebAnswers::tellsWhatQtTells_data()
{
    QTest::addColumn<QByteArray>("answer");
    const auto add = [](const char *name, const QByteArray &statusLine, const QByteArray &headers) {
        QTest::newRow(name) << "HTTP/1.1 " + statusLine + "\r\nContent-Length: 0\r\n" + headers + "\r\n";
    };
    add("nothing else", "200 OK", "");
    add("empty reason", "200 ", "");
    add("long reason", "200 All is well: really", "");
    add("reason in Latin 1",
        "200 Gr\xfc\xdf"
        "e",
        "");
    for (const int status : {300, 301, 302, 303, 304, 305, 306, 307, 308, 200, 404}) {
        const QByteArray name = "location with " + QByteArray::number(status);
        add(name.constData(), QByteArray::number(status) + " As told",
            "Location: http://10.77.128.1/c?d\r\n");
    }
    add("location on the same host", "303 Other", "Location: /c?d=e#f\r\n");
    add("location beside", "303 Other", "Location: c\r\n");
    add("location above", "303 Other", "Location: ../c\r\n");
    add("location of a query", "303 Other", "Location: ?c\r\n");
    add("location without a scheme", "303 Other", "Location: //10.77.128.1/c\r\n");
    add("location with letters", "303 Other", "Location: /\xc3\xa4 b\r\n");
    add("location in Latin 1", "303 Other", "Location: /\xe4\r\n");
    add("location of nothing", "303 Other", "Location: http://[/\r\n");
    add("empty location", "303 Other", "Location:\r\n");
    add("no location", "303 Other", "");
    add("two locations", "303 Other", "Location: /c\r\nLocation: /d\r\n");
    add("header twice", "200 OK", "X-Name: a\r\nX-Other: b\r\nX-Name: c\r\n");
    add("header twice in other letters", "200 OK", "X-Name: a\r\nx-name: c\r\n");
    add("empty header", "200 OK", "X-Name:\r\nX-Other:   \r\n");
    add("header empty and not", "200 OK", "X-Name:\r\nX-Name: a\r\nX-Name:\r\n");
    add("header with blanks", "200 OK", "X-Name: \t a  b \t \r\n");
    add("header with colons", "200 OK", "X-Name: a: b:c\r\n");
    add("header in Latin 1", "200 OK", "X-Name: \xe4\xf6\r\n");
    add("type and date", "200 OK",
        "Content-Type: text/html; charset=x\r\nLast-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n");
    add("cookie", "200 OK", "Set-Cookie: sid=1f2e\r\n");
    add("cookies", "200 OK", "Set-Cookie: sid=1f2e; path=/\r\nSet-Cookie: lang=de; path=/a; HttpOnly\r\n");
    add("cookies in other letters", "303 Other", "set-cookie: sid=1f2e\r\nSet-Cookie: b=c\r\n");
    add("cookie in the past", "200 OK", "Set-Cookie: a=b; expires=Sun, 06 Nov 1994 08:49:37 GMT\r\n");
    add("cookie for others", "200 OK", "Set-Cookie: a=b; domain=10.77.128.1\r\n");
    add("cookie of a refusal", "403 No", "Set-Cookie: a=b\r\n");
    add("no cookie", "200 OK", "Set-Cookie: =\r\n");
}

void TestWebAnswers::tellsWhatQtTells()
{
    QFETCH(QByteArray, answer);
    WebManager manager;
    const Seen ours = seenBy(manager, answer);
    QNetworkAccessManager managerOfQt;
    managerOfQt.setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    const Seen ofQt = seenBy(managerOfQt, answer);
    QVERIFY(ofQt.status.isValid());
    QCOMPARE(ours.status, ofQt.status);
    QCOMPARE(ours.reason, ofQt.reason);
    QCOMPARE(ours.target, ofQt.target);
    QCOMPARE(ours.headers, ofQt.headers);
    QCOMPARE(ours.setCookies, ofQt.setCookies);
    QCOMPARE(ours.jar, ofQt.jar);
    QCOMPARE(ours.length, ofQt.length);
    QCOMPARE(ours.type, ofQt.type);
    QCOMPARE(ours.location, ofQt.location);
    QCOMPARE(ours.lastModified, ofQt.lastModified);
}

void TestWebAnswers::tellsAsWritten()
{
    WebManager manager;
    const Seen seen = seenBy(manager, "HTTP/1.1 303 See Other\r\n"
                                      "Location: ../c?d\r\n"
                                      "Set-Cookie: sid=1f2e; path=/\r\n"
                                      "X-Name: a\r\n"
                                      "Set-Cookie: lang=de\r\n"
                                      "X-Name: b\r\n"
                                      "Content-Length: 0\r\n\r\n");
    QCOMPARE(seen.status, QVariant(303));
    QCOMPARE(seen.reason, QVariant(QStringLiteral("See Other")));
    QCOMPARE(seen.target, QVariant(QUrl(QStringLiteral("../c?d"))));
    QCOMPARE(seen.setCookies, (QByteArrayList{"sid=1f2e; path=/", "lang=de"}));
    QVERIFY(seen.headers.contains({"X-Name", "a, b"}));
    QVERIFY(seen.headers.contains({"Set-Cookie", "sid=1f2e; path=/\nlang=de"}));
}

/// Qt's client gives the rest of the status line instead, "HTTP/1.1 404", which is no reason.
void TestWebAnswers::leavesAMissingReasonEmpty()
{
    WebManager manager;
    const Seen seen = seenBy(manager, "HTTP/1.1 404\r\nContent-Length: 0\r\n\r\n");
    QCOMPARE(seen.status, QVariant(404));
    QCOMPARE(seen.reason, QVariant(QString()));
}

void TestWebAnswers::sendsCookiesBack()
{
    const RawPeer peer({"HTTP/1.1 200 OK\r\nSet-Cookie: sid=1f2e; path=/\r\nContent-Length: 0\r\n\r\n",
                        RawPeer::End::Close});
    WebManager manager;
    for (int i = 0; i < 2; ++i) {
        const QNetworkReply *const reply = manager.get(QNetworkRequest(peer.url()));
        QTRY_VERIFY(reply->isFinished());
    }
    WebManager another;
    const QNetworkReply *const reply = another.get(QNetworkRequest(peer.url()));
    QTRY_VERIFY(reply->isFinished());
    const QList<QByteArray> requests = peer.requests();
    QCOMPARE(requests.size(), 3);
    QVERIFY(!requests[0].contains("Cookie"));
    QVERIFY(requests[1].contains("\r\nCookie: sid=1f2e\r\n"));
    QVERIFY(!requests[2].contains("Cookie"));
}

void TestWebAnswers::namesItsRequest()
{
    const RawPeer peer({"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", RawPeer::End::Close});
    WebManager manager;
    QNetworkRequest request(peer.url(QStringLiteral("/a?b")));
    request.setRawHeader("X-Name", "c");
    const QNetworkReply *const reply = manager.get(request);
    QCOMPARE(reply->request(), request);
    QCOMPARE(reply->url(), request.url());
    QCOMPARE(reply->operation(), QNetworkAccessManager::GetOperation);
    QTRY_VERIFY(reply->isFinished());
}

void TestWebAnswers::keepsTheLastCookies()
{
    WebManager manager;
    const auto headOf = [](int first, const QByteArray &value) {
        QByteArray head;
        for (int i = first; i < first + 100; ++i) {
            head += "Set-Cookie: c" + QByteArray::number(i) + '=' + value + "; path=/\r\n";
        }
        return "HTTP/1.1 200 OK\r\n" + head + "Content-Length: 0\r\n\r\n";
    };
    (void)seenBy(manager, headOf(0, "old"));
    const Seen seen = seenBy(manager, headOf(100, "new"));
    QCOMPARE(seen.jar.size(), 32);
    QCOMPARE(seen.jar.first(), QByteArray("c168=new; domain=127.0.0.1; path=/"));
    QCOMPARE(seen.jar.last(), QByteArray("c199=new; domain=127.0.0.1; path=/"));
    // A bigger one than that would bring the device nothing but its own request.
    const Seen withLong = seenBy(manager, "HTTP/1.1 200 OK\r\nSet-Cookie: sid=" + QByteArray(4093, 'x') +
                                              "\r\nSet-Cookie: lang=" + QByteArray(4093, 'x') +
                                              "\r\nContent-Length: 0\r\n\r\n");
    QCOMPARE(withLong.jar.size(), 32);
    QCOMPARE(withLong.jar.first(), "sid=" + QByteArray(4093, 'x') + "; domain=127.0.0.1; path=/a/");
    QCOMPARE(withLong.setCookies.size(), 2);
}

QTEST_GUILESS_MAIN(TestWebAnswers)

#include "tst_webanswers.moc"
