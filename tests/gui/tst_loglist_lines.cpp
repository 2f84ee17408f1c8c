#include "logbench.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStyledItemDelegate>
#include <QTextLayout>
#include <QTimer>
#include <QUdpSocket>
#include <QtTest>

#include <algorithm>
#include <limits>

namespace {

/// Time and load count only as users get the program.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
constexpr bool measured = false;
#else
constexpr bool measured = true;
#endif

/// How high a text is without anything around, pixels.
int heightOf(const QString &text, const QFont &font)
{
    QTextLayout layout(text, font);
    layout.beginLayout();
    const QTextLine line = layout.createLine();
    layout.endLayout();
    return qCeil(line.height());
}

} // namespace
/// How a received message becomes a line.
class TestLogListLines final : public QObject, private LogBench
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void showsMessagesAsReceived_data();
    void showsMessagesAsReceived();
    void showsALineSoon();
    void showsTheLocalTime();
    void keepsTheOrder();
    void staysOpenEarsAfterAnEmptyDatagram();

    void showsLinesOfOneHeight();
    void keepsTheHeightOfALine();
    void leavesRoomForTheLongestLine();
    void measuresOncePerBatch();
};

void TestLogListLines::showsMessagesAsReceived_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("text");

    const auto addRow = [](const char *name, const QByteArray &datagram, const QString &text) {
        QTest::newRow(name) << datagram << text;
    };
    const auto addSame = [&addRow](const char *name, const QByteArray &datagram) {
        addRow(name, datagram, QString::fromUtf8(datagram));
    };
    const QString replacement(QChar(0xFFFD));
    addSame("priority, time and host name", "<13>Jan  1 00:00:00 lab-1 sensor: 21.5");
    addSame("newer form", R"(<165>1 2026-11-21T02:50:54.003Z lab-1 sensor 42 ID47 [a b="c"] text)");
    addSame("broken priority", "<999999>text");
    addSame("blanks at both ends", "  text  ");
    addRow("zero byte", QByteArray("before\0after", 12), QStringLiteral("before"));
    addRow("zero byte in front", QByteArray("\0after", 6), QString());
    addRow("zero byte at the end", QByteArray("text\0", 5), QStringLiteral("text"));
    addRow("empty", QByteArray(), QString());
    addRow("UTF-8",
           "21.5 \xc2\xb0"
           "C",
           QStringLiteral("21.5 \u00B0C"));
    addRow("beyond the first plane", "\xf0\x9f\x98\x80!", QString::fromUcs4(U"\U0001F600!"));
    addRow("Latin-1",
           "21.5 \xb0"
           "C",
           QStringLiteral("21.5 ") + replacement + QLatin1Char('C'));
    addRow("cut off in a character", "abc\xc2", QStringLiteral("abc") + replacement);
    addRow("line feed", "one\ntwo\n", QStringLiteral("one\ntwo\n"));
    addRow("carriage return", "one\r\ntwo\rthree", QStringLiteral("one\r\ntwo\rthree"));
    addSame("control characters", "\x01\x02\a\b\t\v\f\x1b[31mred\x7f");
    addSame("line and paragraph separators", "a\xe2\x80\xa8"
                                             "b\xe2\x80\xa9"
                                             "c\xc2\x85"
                                             "d");
    addSame("HTML", R"(<b>bold</b><br><img src="file:///etc/passwd"><a href="http://a/">b</a>)");
    addSame("entities", "&lt;&amp;&deg;C");
    addSame("formats", "%1 %s %n %d %L1");
    addSame("mnemonic", "R&D && more");
    addSame("right to left", "\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d 123 \xe2\x80\xae"
                             "abc");
    addSame("1500 bytes", QByteArray(1500, 'x'));
    addSame("the longest datagram", QByteArray(65506, 'x') + '!');
    addSame("many line feeds", QByteArray(60000, '\n'));
}

void TestLogListLines::showsMessagesAsReceived()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, text);
    open();
    receive({"before", datagram, "after"});
    QCOMPARE(list().count(), 3);
    QCOMPARE(withoutTime(list().item(1)->text()), text);
    QCOMPARE(withoutTime(list().item(2)->text()), QStringLiteral("after"));
    // One row, as high as any other.
    const int height = list().visualItemRect(list().item(0)).height();
    QVERIFY(height >= list().fontMetrics().height());
    QVERIFY(height < 2 * list().fontMetrics().height());
    for (int row = 1; row < 3; ++row) {
        QCOMPARE(list().visualItemRect(list().item(row)).height(), height);
    }
    // It can be painted.
    QVERIFY(!list().grab().isNull());
    // The whole text goes to the clipboard.
    selectRows(1, 1);
    list().copySelection();
    QCOMPARE(clipboard().text(), list().item(1)->text() + QLatin1String("\r\n"));
}

void TestLogListLines::showsALineSoon()
{
    open();
    // They stand still when we do. Lines are collected for one of them.
    QTimer turns;
    const QSignalSpy ticks(&turns, &QTimer::timeout);
    turns.start(50);
    receive({"a"});
    QVERIFY2(ticks.count() < 6, qPrintable(QString::number(ticks.count())));
}

void TestLogListLines::showsTheLocalTime()
{
    open();
    // In Berlin: winter, summer, and the second before 2000.
    list().append({{0, "a"}, {1000000000999, "b"}, {946681199000, "c"}});
    QCOMPARE(list().item(0)->text(), QStringLiteral("Thu Jan 1 01:00:00 1970 a"));
    QCOMPARE(list().item(1)->text(), QStringLiteral("Sun Sep 9 03:46:40 2001 b"));
    QCOMPARE(list().item(2)->text(), QStringLiteral("Fri Dec 31 23:59:59 1999 c"));
}

void TestLogListLines::keepsTheOrder()
{
    open();
    constexpr int count = 200;
    QUdpSocket sender;
    for (int i = 0; i < count; ++i) {
        QVERIFY(sender.writeDatagram(QByteArray::number(i), QHostAddress(ownAddress), m_port) > 0);
    }
    QTRY_COMPARE_WITH_TIMEOUT(list().count(), count, patience);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(withoutTime(list().item(i)->text()), QString::number(i));
    }
}

void TestLogListLines::staysOpenEarsAfterAnEmptyDatagram()
{
    open();
    for (int i = 0; i < 5; ++i) {
        receive({QByteArray(), "text"});
    }
    // Several in a row, without a wait between.
    for (int i = 0; i < 10; ++i) {
        QVERIFY(send(QByteArray(), m_port));
    }
    QTRY_COMPARE_WITH_TIMEOUT(list().count(), 20, patience);
    receive({"last"});
    QCOMPARE(withoutTime(list().item(0)->text()), QString());
    QCOMPARE(withoutTime(list().item(20)->text()), QStringLiteral("last"));
}

void TestLogListLines::showsLinesOfOneHeight()
{
    open();
    receive({"one\ntwo\nthree", "plain", QByteArray(60000, 'x'), "", "<h1>big</h1>", "\xe2\x80\xa8"});
    const int height = list().visualItemRect(list().item(0)).height();
    for (int row = 0; row < list().count(); ++row) {
        const QRect rect = list().visualItemRect(list().item(row));
        QCOMPARE(rect.height(), height);
        QCOMPARE(rect.top() - list().visualItemRect(list().item(0)).top(), row * height);
    }
    // The line breaks are blanks on the screen.
    const auto *const delegate = qobject_cast<QStyledItemDelegate *>(list().itemDelegate());
    QVERIFY(delegate);
    QVERIFY(
        delegate->displayText(list().item(0)->text(), QLocale()).endsWith(QLatin1String(" one two three")));
}

void TestLogListLines::keepsTheHeightOfALine()
{
    open();
    list().append({{0, "plain"}});
    const auto height = [this] { return list().visualItemRect(list().item(0)).height(); };
    // As high as the view makes any line.
    QListWidget usual;
    usual.addItem(QStringLiteral("plain"));
    const int before = height();
    QCOMPARE(before, usual.visualItemRect(usual.item(0)).height());
    // Chinese, an emoji and brackets, which come from other fonts.
    const QString higher = QString::fromUtf8("\xe6\xb8\xa9 \xf0\x9f\x98\x80 \xe2\x8c\xa9 \xe3\x80\x9a");
    if (heightOf(higher, list().font()) <= heightOf(QStringLiteral("plain"), list().font())) {
        QTest::qSkip("no font here is higher than the usual one", __FILE__, __LINE__);
        return;
    }
    list().append({{0, higher.toUtf8()}});
    QCOMPARE(height(), before);
    list().append({{0, "plain"}});
    QCOMPARE(height(), before);
    // And with a font that the user has made bigger.
    QFont bigger = list().font();
    bigger.setPointSize(bigger.pointSize() * 2);
    list().setFont(bigger);
    usual.setFont(bigger);
    QTRY_COMPARE_WITH_TIMEOUT(height(), usual.visualItemRect(usual.item(0)).height(), patience);
    QVERIFY(height() > before);
}

void TestLogListLines::leavesRoomForTheLongestLine()
{
    open();
    const QScrollBar &bar = *list().horizontalScrollBar();
    list().append({{0, "short"}});
    QCOMPARE(bar.maximum(), 0);
    list().append({{0, "short"}, {0, QByteArray(500, 'x')}, {0, "short"}});
    const int widest = bar.maximum() + list().viewport()->width();
    QVERIFY2(widest > list().fontMetrics().horizontalAdvance(QString(500, QLatin1Char('x'))),
             qPrintable(QString::number(widest)));
    // It stays while the line is there.
    list().append({{0, "short"}});
    QCOMPARE(bar.maximum() + list().viewport()->width(), widest);
    list().selectAll();
    list().cutSelection();
    list().append({{0, "short"}});
    QCOMPARE(bar.maximum(), 0);
    // And comes again with the next long one.
    list().append({{0, QByteArray(400, 'x')}});
    QVERIFY(bar.maximum() > 0);
}

void TestLogListLines::measuresOncePerBatch()
{
    if (!measured) {
        QTest::qSkip("only as users get it", __FILE__, __LINE__);
        return;
    }
    // Each one longer than all before, and the same the other way round.
    constexpr int count = 2000;
    QVector<LogMessage> rising;
    for (int i = 1; i <= count; ++i) {
        rising.append({0, QByteArray(i, 'x')});
    }
    QVector<LogMessage> falling = rising;
    std::reverse(falling.begin(), falling.end());
    const auto timeFor = [](const QVector<LogMessage> &messages) {
        // The machine may be busy: the best of three.
        qint64 best = std::numeric_limits<qint64>::max();
        for (int i = 0; i < 3; ++i) {
            CLogListWidget list;
            QElapsedTimer clock;
            clock.start();
            list.append(messages);
            best = std::min(best, clock.nsecsElapsed());
        }
        return best / 1000;
    };
    const qint64 one = timeFor(falling);
    const qint64 each = timeFor(rising);
    qInfo() << one << "us with the longest first," << each << "us with the longest last";
    QVERIFY2(each < 10 * one, qPrintable(QStringLiteral("%1 of %2").arg(each).arg(one)));
}

NEMBRA_GUI_TEST_MAIN(TestLogListLines)
#include "tst_loglist_lines.moc"
