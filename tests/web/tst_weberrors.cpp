#include "common/tlsdefaults.h"
#include "rawpeer.h"
#include "web/webmanager.h"

#include <QHostAddress>
#include <QLibraryInfo>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTranslator>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

/// Milliseconds for what Qt's own client tries three times.
constexpr int patience = 20000;

using End = RawPeer::End;

/// Qt's client gives an error where ours does not, or the other way round, and for good reason.
enum class Qt5 { Agrees, Differs };

/// How a request ended.
struct Outcome
{
    int code = 0;
    QString text;
    int status = 0;
    QStringList signalNames;
};

/// As Qt's client must be set up to reach devices at all.
std::unique_ptr<QNetworkAccessManager> qtManager()
{
    auto manager = std::make_unique<QNetworkAccessManager>();
    manager->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    return manager;
}

QNetworkReply *post(QNetworkAccessManager &manager, const QUrl &url)
{
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text"));
    request.setRawHeader("Accept-Encoding", "identity");
    return manager.post(request, QByteArrayLiteral("x=1"));
}

/// Sends a request, follows it to its end, and ends it by itself if `aborts`.
Outcome outcomeOf(QNetworkAccessManager &manager, const QUrl &url, bool aborts)
{
    QNetworkReply *const reply = post(manager, url);
    Outcome outcome;
    const auto note = [&outcome](const char *name) {
        return [&outcome, name] { outcome.signalNames += QLatin1String(name); };
    };
    QObject::connect(reply, &QNetworkReply::errorOccurred, reply, note("errorOccurred"));
    QObject::connect(reply, &QNetworkReply::finished, reply, note("finished"));
    QObject::connect(&manager, &QNetworkAccessManager::finished, reply, note("finished of the manager"));
    if (aborts) {
        reply->abort();
    }
    if (!QTest::qWaitFor([reply] { return reply->isFinished(); }, patience)) {
        outcome.text = QStringLiteral("(never ended)");
        return outcome;
    }
    outcome.code = reply->error();
    outcome.text = reply->error() == QNetworkReply::NoError ? QString() : reply->errorString();
    outcome.text.replace(QString::number(url.port()), QStringLiteral("PORT"));
    outcome.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    reply->deleteLater();
    return outcome;
}

} // namespace

Q_DECLARE_METATYPE(Qt5)

/// Whatever goes wrong: the code and the text are those that Qt's own client has for it, in both languages.
class TestWebErrors : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void tellsWhatQtTells_data();
    void tellsWhatQtTells();
    void tellsOfAStatus_data();
    void tellsOfAStatus();

private:
    QTranslator m_german;
};

void TestWebErrors::initTestCase()
{
    applyDeviceTlsDefaults();
    QVERIFY(
        m_german.load(QStringLiteral("qtbase_de"), QLibraryInfo::location(QLibraryInfo::TranslationsPath)));
}

void TestWebErrors::tellsWhatQtTells_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("end");
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("german");
    QTest::addColumn<Qt5>("qt");
    const QString http = QStringLiteral("http");
    const QString https = QStringLiteral("https");
    const auto add = [](const char *name, const QByteArray &answer, End end, const QString &url, int code,
                        const char *english, const char *german, Qt5 qt = Qt5::Agrees) {
        QTest::newRow(name) << answer << int(end) << url << code << QString::fromUtf8(english)
                            << QString::fromUtf8(german) << qt;
    };
    const auto closed = [&add, http](const char *name, const QByteArray &answer, End end,
                                     Qt5 qt = Qt5::Agrees) {
        add(name, answer, end, http, QNetworkReply::RemoteHostClosedError, "Connection closed",
            "Verbindung beendet", qt);
    };
    const QByteArray ok = "HTTP/1.1 200 OK\r\n";
    const QByteArray chunks = ok + "Transfer-Encoding: chunked\r\n\r\n";
    closed("closed without an answer", "", End::Close);
    closed("reset without an answer", "", End::Reset);
    closed("closed in the status line", "HTTP/1.1 20", End::Close);
    closed("closed in the headers", ok + "Content-Len", End::Close);
    closed("reset in the headers", ok + "Content-Len", End::Reset);
    closed("reset after the headers", ok + "Content-Length: 10\r\n\r\n", End::Reset);
    closed("closed in a body with a length", ok + "Content-Length: 10\r\n\r\nabc", End::Close);
    // Qt sometimes takes these for whole answers.
    closed("closed in a body in chunks", chunks + "5\r\nab", End::Close, Qt5::Differs);
    closed("reset in a body without a length", ok + "\r\nabc", End::Reset, Qt5::Differs);
    add("malformed chunk size", chunks + "zz\r\nab\r\n", End::Close, http, QNetworkReply::ProtocolFailure,
        "Data corrupted", "Die Daten sind verf\u00e4lscht", Qt5::Differs);
    closed("no HTTP", "220 mail ready\r\n", End::Close);
    closed("malformed status line", "HTTP/1.1 abc OK\r\n\r\n", End::Close);
    closed("another protocol", "ICY 200 OK\r\n\r\nabc", End::Close);
    add("a body without a length", ok + "\r\nabc", End::Close, http, 0, "", "");
    add("more than was promised", ok + "Content-Length: 3\r\n\r\nabcdef", End::Close, http, 0, "", "");

    add("TLS is plain HTTP", "HTTP/1.1 400 Bad Request\r\n\r\n", End::Close, https,
        QNetworkReply::SslHandshakeFailedError, "SSL handshake failed",
        "Im Ablauf des SSL-Protokolls ist ein Fehler aufgetreten.");
    // Alerts: the version of the protocol isn't supported; no common parameters.
    add("TLS too old", QByteArray::fromHex("15030100020246"), End::Close, https,
        QNetworkReply::SslHandshakeFailedError, "SSL handshake failed",
        "Im Ablauf des SSL-Protokolls ist ein Fehler aufgetreten.");
    add("TLS refused", QByteArray::fromHex("15030300020228"), End::Close, https,
        QNetworkReply::SslHandshakeFailedError, "SSL handshake failed",
        "Im Ablauf des SSL-Protokolls ist ein Fehler aufgetreten.");
    add("TLS closed", "", End::Close, https, QNetworkReply::RemoteHostClosedError, "Connection closed",
        "Verbindung beendet");
    add("TLS reset", "", End::Reset, https, QNetworkReply::RemoteHostClosedError, "Connection closed",
        "Verbindung beendet");

    add("refused", "", End::None, QStringLiteral("http://127.0.0.1:1/"),
        QNetworkReply::ConnectionRefusedError, "Connection refused", "Verbindung verweigert");
    add("network unreachable", "", End::None, QStringLiteral("http://192.0.2.1/"),
        QNetworkReply::UnknownNetworkError, "Network unreachable", "Das Netzwerk ist nicht erreichbar");
    add("host unreachable", "", End::None, QStringLiteral("http://10.77.1.1/"),
        QNetworkReply::UnknownNetworkError, "Host unreachable", "Der Host kann nicht erreicht werden");
    add("no scheme", "", End::None, QStringLiteral("admin/proctpl.cgi"), QNetworkReply::ProtocolUnknownError,
        "Protocol \"\" is unknown", "Das Protokoll \"\" ist unbekannt");
    add("aborted", "", End::None, http, QNetworkReply::OperationCanceledError, "Operation canceled",
        "Operation abgebrochen");
}

void TestWebErrors::tellsWhatQtTells()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, end);
    QFETCH(QString, url);
    QFETCH(int, code);
    QFETCH(QString, english);
    QFETCH(QString, german);
    QFETCH(Qt5, qt);
    RawPeer::Script script{answer, End(end)};
    script.answersAtOnce = url == QLatin1String("https");
    const auto run = [&](QNetworkAccessManager &manager) {
        const RawPeer peer(script);
        const bool isScheme = !url.contains(QLatin1Char('/'));
        return outcomeOf(manager, isScheme ? peer.url(QStringLiteral("/a"), url) : QUrl(url),
                         code == QNetworkReply::OperationCanceledError);
    };
    WebManager ours;
    const Outcome inEnglish = run(ours);
    QCOMPARE(inEnglish.code, code);
    QCOMPARE(inEnglish.text, english);
    const Outcome ofQt = run(*qtManager());
    if (qt == Qt5::Agrees) {
        QCOMPARE(ofQt.code, code);
        QCOMPARE(ofQt.text, english);
        QCOMPARE(inEnglish.status, ofQt.status);
        QCOMPARE(inEnglish.signalNames, ofQt.signalNames);
    }
    QVERIFY(QCoreApplication::installTranslator(&m_german));
    const Outcome inGerman = run(ours);
    QCoreApplication::removeTranslator(&m_german);
    QCOMPARE(inGerman.code, code);
    QCOMPARE(inGerman.text, german);
}

void TestWebErrors::tellsOfAStatus_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {200, 204, 302, 303, 399, 400, 401, 402, 403, 404, 405,
                             407, 409, 410, 418, 451, 500, 501, 502, 503, 504, 599}) {
        QTest::addRow("%d", status) << status;
    }
}

void TestWebErrors::tellsOfAStatus()
{
    QFETCH(int, status);
    const RawPeer peer(
        {"HTTP/1.1 " + QByteArray::number(status) + " As told\r\nContent-Length: 0\r\n\r\n", End::Close});
    const QUrl url = peer.url(QStringLiteral("/a"));
    WebManager ours;
    const Outcome outcome = outcomeOf(ours, url, false);
    const Outcome ofQt = outcomeOf(*qtManager(), url, false);
    QCOMPARE(outcome.status, status);
    QCOMPARE(outcome.code, ofQt.code);
    QCOMPARE(outcome.text, ofQt.text);
    QCOMPARE(outcome.signalNames, ofQt.signalNames);
}

QTEST_GUILESS_MAIN(TestWebErrors)

#include "tst_weberrors.moc"
