#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/devicelist.h"
#include "device/timespan.h"
#include "mainwindow/mainwindow.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "windowbench.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QCompleter>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QToolBar>
#include <QtTest>

#include <algorithm>
#include <memory>

namespace {

/// No pattern may cost as much work as opening the window so many times.
constexpr int mostWindows = 50;

const QString mac1 = QStringLiteral("0E:5A:11:00:00:01");
const QString mac2 = QStringLiteral("0E:5A:11:00:00:02");

DiscoveryDevice answerOf(const QString &mac, const QString &hostname)
{
    DiscoveryDevice record;
    record.setMacText(mac);
    record.setHostname(hostname);
    record.setAddress(QHostAddress(QStringLiteral("10.77.128.1")));
    record.setVariant(16);
    return record;
}

} // namespace

class TestMainWindowFilter : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void findsPatternsAnywhereInACell_data();
    void findsPatternsAnywhereInACell();
    void looksAtOneCellAtATime();
    void searchesDatesAndSpansAsTexts_data();
    void searchesDatesAndSpansAsTexts();
    void looksAtARowAgainOnlyWhenAskedTo();
    void looksAtRowsAnewWithTheColumns();
    void survivesHostilePatterns_data();
    void survivesHostilePatterns();

    void storesTenPatternsAndNoMore();
    void shortensALongHistoryWithTheNextPattern_data();
    void shortensALongHistoryWithTheNextPattern();
    void storesPatternsAsTheyAre_data();
    void storesPatternsAsTheyAre();
    void storesAPatternThatFitsNothing();
    void storesNothingForAnEmptyPattern();
    void offersPatternsWhileTyping();

    void opensWithAnEmptyField();
    void keepsTheFieldWhenOpenedTwice();
    void closesByEscapeOnlyFromTheField();
    void leavesOtherKeysAlone();

private:
    QToolBar *bar() const { return m_bench->window().findChild<QToolBar *>(QStringLiteral("filterToolBar")); }
    QLineEdit *edit() const { return bar()->findChild<QLineEdit *>(); }
    void add(const QString &mac, const QString &hostname) const
    {
        m_bench->window().onDevice(answerOf(mac, hostname));
    }
    void apply(const QString &pattern) const;
    bool isShown(const QString &mac) const { return !m_bench->row(mac)->isHidden(); }
    static QStringList history();

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<WindowBench> m_bench;
};

void TestMainWindowFilter::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_bench = std::make_unique<WindowBench>();
}

void TestMainWindowFilter::cleanup()
{
    m_bench.reset();
    m_environment.reset();
}

void TestMainWindowFilter::apply(const QString &pattern) const
{
    m_bench->trigger("actionFilter");
    edit()->setText(pattern);
    m_bench->trigger("actionApply");
}

QStringList TestMainWindowFilter::history()
{
    QStringList patterns;
    const int size = settings::store().value(QStringLiteral("MainWindow/FilterHistory/size")).toInt();
    for (int i = 1; i <= size; ++i) {
        patterns +=
            settings::store().value(QStringLiteral("MainWindow/FilterHistory/%1/String").arg(i)).toString();
    }
    return patterns;
}

void TestMainWindowFilter::findsPatternsAnywhereInACell_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("shown");
    // In "Prüfstand 4 (Süd)", its address 10.77.128.1 and its MAC.
    QTest::newRow("the beginning") << QStringLiteral("Prüf") << true;
    QTest::newRow("the middle") << "stand" << true;
    QTest::newRow("another case") << QStringLiteral("PRÜFSTAND") << true;
    QTest::newRow("anchored") << QStringLiteral("^prüfstand 4 \\(süd\\)$") << true;
    QTest::newRow("anchored elsewhere") << "^stand" << false;
    QTest::newRow("a blank inside") << "stand 4" << true;
    QTest::newRow("one of two") << "nothing|stand" << true;
    QTest::newRow("a class") << "[0-9] \\(" << true;
    QTest::newRow("a repetition") << QStringLiteral("p.*d$") << false;
    QTest::newRow("parentheses that group") << QStringLiteral("4 (Süd)") << false;
    QTest::newRow("no wildcards") << "*" << true; // No valid expression.
    QTest::newRow("a wildcard of a file name") << "Stand*4" << false;
    QTest::newRow("any character") << "." << true;
    QTest::newRow("anything") << ".*" << true;
    QTest::newRow("an address") << "10.77.128.1" << true;
    QTest::newRow("dots stand for anything") << "10.77.1.8.1" << true;
    QTest::newRow("a MAC") << "0e:5a" << true;
    QTest::newRow("the end of a MAC") << ":01$" << true;
    QTest::newRow("no match") << "attic" << false;
    QTest::newRow("blanks around") << QStringLiteral("\t Prüf \n") << true;
    QTest::newRow("an open class") << "[a" << true;
    QTest::newRow("an open escape") << "attic\\" << true;
}

void TestMainWindowFilter::findsPatternsAnywhereInACell()
{
    QFETCH(QString, pattern);
    add(mac1, QStringLiteral("Prüfstand 4 (Süd)"));
    apply(pattern);
    QTEST(isShown(mac1), "shown");
    // A row that comes later is treated alike.
    add(mac2, QStringLiteral("Prüfstand 4 (Süd)"));
    if (!pattern.contains(QLatin1String(":01"))) {
        QTEST(isShown(mac2), "shown");
    }
}

void TestMainWindowFilter::looksAtOneCellAtATime()
{
    add(mac1, QStringLiteral("roof"));
    apply(QStringLiteral("roof.*10"));
    QVERIFY(!isShown(mac1));
    QCOMPARE(m_bench->list().hint(), QStringLiteral("No device matches the filter."));
}

void TestMainWindowFilter::searchesDatesAndSpansAsTexts_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("pattern");
    const QVariant time = QDateTime(QDate(2021, 3, 4), QTime(5, 6, 7));
    const QString text = QStringLiteral("^2021-03-04T05:06:07");
    QTest::newRow("first seen") << int{Column::FirstSeen} << time << text;
    QTest::newRow("last seen") << int{Column::LastSeen} << time << text;
    QTest::newRow("history") << int{Column::HistoryStart} << time << text;
    QTest::newRow("uptime") << int{Column::Uptime} << QVariant::fromValue(Timespan{12, 3, 4, 5})
                            << QStringLiteral("^12d 3h 4m 5s$");
}

void TestMainWindowFilter::searchesDatesAndSpansAsTexts()
{
    QFETCH(int, column);
    QFETCH(QVariant, value);
    QFETCH(QString, pattern);
    add(mac1, QStringLiteral("roof"));
    QTreeWidget &list = m_bench->list();
    m_bench->row(mac1)->setData(column, Qt::DisplayRole, value);
    list.setColumnHidden(column, true);
    apply(pattern);
    QVERIFY(!isShown(mac1));
    list.setColumnHidden(column, false);
    m_bench->trigger("actionApply");
    QVERIFY(isShown(mac1));
}

void TestMainWindowFilter::looksAtARowAgainOnlyWhenAskedTo()
{
    add(mac1, QStringLiteral("roof"));
    apply(QStringLiteral("attic"));
    QVERIFY(!isShown(mac1));
    // What the device tells beside discovery waits.
    m_bench->row(mac1)->setText(Column::Ip, QStringLiteral("attic"));
    m_bench->window().updateStatusBarAndMenu();
    QVERIFY(!isShown(mac1));
    m_bench->trigger("actionApply");
    QVERIFY(isShown(mac1));
}

void TestMainWindowFilter::looksAtRowsAnewWithTheColumns()
{
    add(mac1, QStringLiteral("roof"));
    auto *const columns = m_bench->window().findChild<QMenu *>(QStringLiteral("menuVisible_columns"));
    apply(QStringLiteral("10.77"));
    QVERIFY(isShown(mac1));
    columns->actions().at(Column::Ip)->trigger();
    m_bench->trigger("actionApply");
    QVERIFY(!isShown(mac1));
    columns->actions().at(Column::Ip)->trigger();
    m_bench->trigger("actionApply");
    QVERIFY(isShown(mac1));
}

void TestMainWindowFilter::survivesHostilePatterns_data()
{
    QTest::addColumn<QString>("pattern");
    const auto row = [](const char *name, const QString &pattern) { QTest::newRow(name) << pattern; };
    row("repetitions of repetitions", QStringLiteral("(x+x+)+y"));
    row("more of them", QStringLiteral("((x*)*)*y"));
    row("back references", QStringLiteral("(x*)\\1\\1\\1y"));
    row("a huge repetition", QStringLiteral("x{1000}{1000}"));
    row("huge alternatives", QStringLiteral("x|").repeated(5000) + QLatin1Char('y'));
    row("deep parentheses", QStringLiteral("(").repeated(500) + QStringLiteral(")").repeated(500));
    row("as many parentheses as the field takes",
        QStringLiteral("(").repeated(16383) + QStringLiteral(")").repeated(16383));
    row("open parentheses", QStringLiteral("(").repeated(500));
    row("look-ahead", QStringLiteral("(?=").repeated(20) + QLatin1Char('x'));
    row("a zero", QStringLiteral("x") + QChar(0) + QStringLiteral("y"));
    row("half a character", QString(QChar(0xD800)));
    row("a long text", QString(30000, QLatin1Char('z')));
    row("markup", QStringLiteral("<b>&amp;<img src=x>"));
}

void TestMainWindowFilter::survivesHostilePatterns()
{
    QFETCH(QString, pattern);
    m_bench.reset();
    thisprocess::Work work;
    m_bench = std::make_unique<WindowBench>();
    const qint64 window = std::max<qint64>(work.milliseconds(), 1);
    add(mac1, QString(60, QLatin1Char('x')));
    work.restart();
    apply(pattern);
    QVERIFY2(work.milliseconds() < mostWindows * window,
             qPrintable(QStringLiteral("%1 ms, a window %2 ms").arg(work.milliseconds()).arg(window)));
    apply(QStringLiteral("xx"));
    QVERIFY(isShown(mac1));
}

void TestMainWindowFilter::storesTenPatternsAndNoMore()
{
    for (int i = 1; i <= 12; ++i) {
        apply(QStringLiteral("p%1").arg(i));
    }
    QCOMPARE(history().join(QLatin1Char(' ')), QStringLiteral("p12 p11 p10 p9 p8 p7 p6 p5 p4 p3"));
    settings::store().beginGroup(QStringLiteral("MainWindow/FilterHistory"));
    QStringList keys = settings::store().allKeys();
    settings::store().endGroup();
    QCOMPARE(keys.size(), 11);
    QVERIFY(keys.contains(QStringLiteral("size")));
    QVERIFY(keys.contains(QStringLiteral("10/String")));
    QVERIFY(!keys.contains(QStringLiteral("11/String")));
}

void TestMainWindowFilter::shortensALongHistoryWithTheNextPattern_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("stored");
    QTest::newRow("a new one") << "new"
                               << "new q1 q2 q3 q4 q5 q6 q7 q8 q9";
    QTest::newRow("a known one") << "q3"
                                 << "q1 q2 q3 q4 q5 q6 q7 q8 q9 q10";
    QTest::newRow("the last one") << "q15"
                                  << "q1 q2 q3 q4 q5 q6 q7 q8 q9 q10";
}

void TestMainWindowFilter::shortensALongHistoryWithTheNextPattern()
{
    QFETCH(QString, pattern);
    m_bench.reset();
    settings::store().setValue(QStringLiteral("MainWindow/FilterHistory/size"), 15);
    for (int i = 1; i <= 15; ++i) {
        settings::store().setValue(QStringLiteral("MainWindow/FilterHistory/%1/String").arg(i),
                                   QStringLiteral("q%1").arg(i));
    }
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(edit()->completer()->model()->rowCount(), 15);
    apply(pattern);
    QTEST(history().join(QLatin1Char(' ')), "stored");
    QCOMPARE(edit()->completer()->model()->rowCount(), 10);
    QVERIFY(!settings::store().contains(QStringLiteral("MainWindow/FilterHistory/15/String")));
}

void TestMainWindowFilter::storesPatternsAsTheyAre_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::newRow("quotes and commas") << R"(a", 'b', \")";
    QTest::newRow("what looks like bytes") << "@ByteArray(x)";
    QTest::newRow("what looks like a list") << "a, b; c=d";
    QTest::newRow("other scripts") << QStringLiteral("検 ß Ω");
    QTest::newRow("a backslash at the end") << "x\\";
    QTest::newRow("percent") << "%41%x";
}

void TestMainWindowFilter::storesPatternsAsTheyAre()
{
    QFETCH(QString, pattern);
    apply(pattern);
    m_bench->window().close();
    m_bench.reset();
    settings::store().sync();
    settings::open(m_environment->settingsFile());
    QCOMPARE(history(), QStringList{pattern});
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(edit()->completer()->model()->index(0, 0).data().toString(), pattern);
}

void TestMainWindowFilter::storesAPatternThatFitsNothing()
{
    add(mac1, QStringLiteral("roof"));
    apply(QStringLiteral("nothing"));
    QVERIFY(!isShown(mac1));
    QCOMPARE(history(), QStringList{QStringLiteral("nothing")});
}

void TestMainWindowFilter::storesNothingForAnEmptyPattern()
{
    apply(QString());
    apply(QStringLiteral(" \t "));
    QVERIFY(!settings::store().contains(QStringLiteral("MainWindow/FilterHistory/size")));
}

void TestMainWindowFilter::offersPatternsWhileTyping()
{
    for (const char *const pattern : {"roof", "Rooster", "cellar"}) {
        apply(QLatin1String(pattern));
    }
    edit()->clear();
    edit()->setFocus();
    QTest::keyClicks(edit(), QStringLiteral("ROO"));
    QCOMPARE(edit()->completer()->completionCount(), 2);
    QTRY_VERIFY(edit()->completer()->popup()->isVisible());
    QTest::keyClick(edit()->completer()->popup(), Qt::Key_Down);
    QTest::keyClick(edit()->completer()->popup(), Qt::Key_Return);
    QCOMPARE(edit()->text(), QStringLiteral("Rooster"));
}

void TestMainWindowFilter::opensWithAnEmptyField()
{
    m_bench->trigger("actionFilter");
    QCOMPARE(bar()->isVisible(), true);
    QCOMPARE(edit()->text(), QString());
    QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget *>(edit()));
    QCOMPARE(m_bench->action("actionFilter")->isCheckable(), false);
    QCOMPARE(m_bench->action("actionFilter")->isChecked(), false);
}

void TestMainWindowFilter::keepsTheFieldWhenOpenedTwice()
{
    add(mac1, QStringLiteral("roof"));
    apply(QStringLiteral("attic"));
    m_bench->trigger("actionFilter");
    QCOMPARE(bar()->isVisible(), true);
    QCOMPARE(edit()->selectedText(), QStringLiteral("attic"));
    QVERIFY(!isShown(mac1));
}

void TestMainWindowFilter::closesByEscapeOnlyFromTheField()
{
    m_bench->trigger("actionFilter");
    m_bench->list().setFocus();
    QTest::keyClick(&m_bench->window(), Qt::Key_Escape);
    QCOMPARE(bar()->isVisible(), true);
    edit()->setFocus();
    QTest::keyClick(&m_bench->window(), Qt::Key_Escape);
    QCOMPARE(bar()->isVisible(), false);
    // And again.
    m_bench->trigger("actionFilter");
    QTest::keyClick(edit(), Qt::Key_Escape);
    QCOMPARE(bar()->isVisible(), false);
}

void TestMainWindowFilter::leavesOtherKeysAlone()
{
    m_bench->trigger("actionFilter");
    for (const Qt::Key key : {Qt::Key_A, Qt::Key_Return, Qt::Key_Left, Qt::Key_F24}) {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        event.accept();
        QCoreApplication::sendEvent(&m_bench->window(), &event);
        QCOMPARE(event.isAccepted(), false);
    }
    QCOMPARE(bar()->isVisible(), true);
}

NEMBRA_GUI_TEST_MAIN(TestMainWindowFilter)
#include "tst_mainwindow_filter.moc"
