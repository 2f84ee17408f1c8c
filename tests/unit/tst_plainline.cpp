#include "common/plainline.h"

#include <QtTest>

/// Texts of strangers, made fit for a line and for a terminal.
class TestPlainLine final : public QObject
{
    Q_OBJECT

private slots:
    void showsTexts_data();
    void showsTexts();
    void cutsWhatIsTooLong();
};

void TestPlainLine::showsTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("log");
    const auto row = [](const char *name, const char *text, const char *line, const char *log) {
        QTest::newRow(name) << QString::fromUtf8(text) << QString::fromUtf8(line) << QString::fromUtf8(log);
    };
    row("nothing", "", "", "");
    row("plain", "lab-1 \u00b0C \u2716", "lab-1 \u00b0C \u2716", "lab-1 \u00b0C \u2716");
    row("markup", "<b>&amp;</b>", "<b>&amp;</b>", "<b>&amp;</b>");
    row("line break", "a\nb", "a b", "a\nb");
    row("carriage return and line feed", "a\r\nb", "a  b", "a\r\nb");
    row("tab", "a\tb", "a b", "a\tb");
    row("vertical tab and form feed", "a\v\fb", "a  b", "a\\x0b\\x0cb");
    row("next line", "a\u0085b", "a b", "a\\x85b");
    row("line separator", "a\u2028b", "a b", "a\u2028b");
    row("paragraph separator", "a\u2029b", "a b", "a\u2029b");
    row("escape sequence", "\x1b]52;c;eA==\x07", " ]52;c;eA== ", "\\x1b]52;c;eA==\\x07");
    row("sequence of one character", "\u009b31m", " 31m", "\\x9b31m");
    row("delete and backspace", "a\x7f\bb", "a  b", "a\\x7f\\x08b");
    QTest::newRow("zero") << QString(QChar(0)) << QStringLiteral(" ") << QStringLiteral("\\x00");
}

void TestPlainLine::showsTexts()
{
    QFETCH(QString, text);
    constexpr int longEnough = 100;
    QTEST(plainLine(text, longEnough), "line");
    QTEST(forLog(text), "log");
}

void TestPlainLine::cutsWhatIsTooLong()
{
    QCOMPARE(plainLine(QStringLiteral("abc"), 3), QStringLiteral("abc"));
    QCOMPARE(plainLine(QStringLiteral("abcd"), 3), QStringLiteral("abc"));
    QCOMPARE(plainLine(QStringLiteral("abcd"), 0), QString());
}

QTEST_APPLESS_MAIN(TestPlainLine)
#include "tst_plainline.moc"
