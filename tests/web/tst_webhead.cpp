#include "web/webhead.h"

#include <QTest>

/// The head of an answer, line by line.
class TestWebHead final : public QObject
{
    Q_OBJECT

private slots:
    void readsLines_data();
    void readsLines();
    void endsAtTheEmptyLine_data();
    void endsAtTheEmptyLine();
    void beginsAnewAfterAnInterimAnswer();
    void mergesHeadersOfOneName();
    void takesNoMoreThanTheLimit_data();
    void takesNoMoreThanTheLimit();
};

void TestWebHead::readsLines_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QByteArray>("reason");
    QTest::addColumn<QByteArray>("headers");

    QTest::newRow("usual") << QByteArray("HTTP/1.1 200 OK\r\nServer: device\r\nSet-Cookie:sid=1 \r\n")
                           << QByteArray("OK") << QByteArray("Server=device|Set-Cookie=sid=1|");
    QTest::newRow("no reason") << QByteArray("HTTP/1.1 200\r\n") << QByteArray() << QByteArray();
    QTest::newRow("line feeds alone")
        << QByteArray("HTTP/1.0 404 Not here\nA: b\n") << QByteArray("Not here") << QByteArray("A=b|");
    QTest::newRow("goes on in the next line")
        << QByteArray("HTTP/1.1 200 OK\r\nA: b\r\n\tc\r\n d\r\n \r\nE: f\r\n") << QByteArray("OK")
        << QByteArray("A=b c d |E=f|");
    QTest::newRow("goes on like another answer")
        << QByteArray("HTTP/1.1 200 OK\r\nA: b\r\n HTTP/1.1 404 No\r\n") << QByteArray("OK")
        << QByteArray("A=b HTTP/1.1 404 No|");
    QTest::newRow("goes on before there is a header")
        << QByteArray("HTTP/1.1 200 OK\r\n b: c\r\n") << QByteArray("OK") << QByteArray("b=c|");
    QTest::newRow("no colon, no name")
        << QByteArray("HTTP/1.1 200 OK\r\nnonsense\r\n: value\r\n") << QByteArray("OK") << QByteArray();
    QTest::newRow("control characters") << QByteArray("HTTP/1.1 200 O\x1b[1mK\r\nSet-Cookie: sid=a\rb\x01"
                                                      "c\x7f"
                                                      "d\r\n")
                                        << QByteArray("O [1mK") << QByteArray("Set-Cookie=sid=a b c d|");
    QTest::newRow("a zero byte") << QByteArray("HTTP/1.1 200 OK\r\nA: b\0c\r\n", 25) << QByteArray("OK")
                                 << QByteArray("A=b c|");
    QTest::newRow("beyond ASCII") << QByteArray("HTTP/1.1 200 f\xfcr\r\n") << QByteArray("f\xfcr")
                                  << QByteArray();
}

void TestWebHead::readsLines()
{
    QFETCH(QByteArray, lines);
    WebHeadReader reader;
    for (int begin = 0; begin < lines.size();) {
        const int end = lines.indexOf('\n', begin) + 1;
        QCOMPARE(reader.take(lines.mid(begin, end - begin)), WebHeadReader::Outcome::Goes);
        begin = end;
    }
    QByteArray headers;
    for (const auto &header : reader.head().headers) {
        headers += header.first + '=' + header.second + '|';
    }
    QTEST(reader.head().reason, "reason");
    QTEST(headers, "headers");
}

void TestWebHead::endsAtTheEmptyLine_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("ends");
    QTest::newRow("as it should be") << QByteArray("\r\n") << true;
    QTest::newRow("a line feed") << QByteArray("\n") << true;
    QTest::newRow("a blank") << QByteArray(" \r\n") << false;
    QTest::newRow("a control character") << QByteArray("\x01\r\n") << false;
}

void TestWebHead::endsAtTheEmptyLine()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, ends);
    QCOMPARE(WebHeadReader().take(line) == WebHeadReader::Outcome::Ends, ends);
}

void TestWebHead::beginsAnewAfterAnInterimAnswer()
{
    WebHeadReader reader;
    for (const char *const line : {"HTTP/1.1 100 Continue\r\n", "Set-Cookie: sid=early\r\n", "\r\n"}) {
        (void)reader.take(line);
    }
    (void)reader.take("HTTP/1.1 200 OK\r\n");
    QCOMPARE(reader.head().reason, QByteArray("OK"));
    QVERIFY(reader.head().headers.isEmpty());
}

void TestWebHead::mergesHeadersOfOneName()
{
    WebHead head;
    head.headers = {{"X-Name", ""},      {"Set-Cookie", "a=b"}, {"Location", "/c"}, {"x-name", "d"},
                    {"set-cookie", "e"}, {"Empty", ""},         {"Location", ""},   {"X-NAME", "f"}};
    const WebHead::Headers expected{
        {"set-cookie", "a=b\ne"}, {"Empty", ""}, {"Location", ""}, {"X-NAME", "d, f"}};
    QCOMPARE(head.merged(), expected);
}

void TestWebHead::takesNoMoreThanTheLimit_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("long lines") << QByteArray("A: ") + QByteArray(10000, 'x') + "\r\n";
    QTest::newRow("many lines") << QByteArray("A:\r\n");
    QTest::newRow("interim answers") << QByteArray("HTTP/1.1 100 Continue\r\n");
}

void TestWebHead::takesNoMoreThanTheLimit()
{
    QFETCH(QByteArray, line);
    WebHeadReader reader;
    // 64 KiB, of which each line takes 64 bytes for itself.
    const qint64 most = 65536 / (line.size() + 64);
    for (qint64 i = 0; i < most; ++i) {
        QCOMPARE(reader.take(line), WebHeadReader::Outcome::Goes);
    }
    QCOMPARE(reader.take(line), WebHeadReader::Outcome::TooLong);
    QVERIFY(reader.head().headers.size() <= most);
}

QTEST_APPLESS_MAIN(TestWebHead)

#include "tst_webhead.moc"
