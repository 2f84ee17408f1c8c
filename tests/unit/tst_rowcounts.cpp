#include "mainwindow/rowcounts.h"

#include <QtTest>

#include <array>

namespace {

/// Rows are told apart by their address only, and never looked into.
DeviceItem *row(std::size_t number)
{
    static std::array<char, 100> places{};
    return reinterpret_cast<DeviceItem *>(&places.at(number));
}

constexpr RowState silentRow{false, false, false};
constexpr RowState activeRow{true, false, false};
constexpr RowState discoveredRow{false, true, false};
constexpr RowState servedRow{false, false, true};
constexpr RowState fullRow{true, true, true};

QString shown(const RowCounts &counts)
{
    const RowCounts::Totals &totals = counts.totals();
    return QStringLiteral("rows %1, active %2, selected %3, discovered %4, served %5")
        .arg(totals.rows)
        .arg(totals.active)
        .arg(totals.selected)
        .arg(totals.selectedDiscovered)
        .arg(totals.selectedServed);
}

QString totals(int rows, int activeRows, int selected, int selectedDiscovered, int selectedServed)
{
    return QStringLiteral("rows %1, active %2, selected %3, discovered %4, served %5")
        .arg(rows)
        .arg(activeRows)
        .arg(selected)
        .arg(selectedDiscovered)
        .arg(selectedServed);
}

} // namespace

class TestRowCounts : public QObject
{
    Q_OBJECT

private slots:
    void startsWithNothing();
    void countsOneRow_data();
    void countsOneRow();
    void countsARowOnce();
    void takesInEveryChange();
    void keepsTheSelectionThroughChanges();
    void ignoresRowsItDoesNotKnow();
    void forgetsRemovedRows();
    void addsRowsUp();
    void keepsTheOrderOfSelecting();
    void allowsActions_data();
    void allowsActions();
};

void TestRowCounts::startsWithNothing()
{
    QCOMPARE(shown(RowCounts()), totals(0, 0, 0, 0, 0));
}

void TestRowCounts::countsOneRow_data()
{
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("discovered");
    QTest::addColumn<bool>("served");
    QTest::addColumn<QString>("unselected");
    QTest::addColumn<QString>("selected");
    QTest::newRow("silent") << false << false << false << totals(1, 0, 0, 0, 0) << totals(1, 0, 1, 0, 0);
    QTest::newRow("active") << true << false << false << totals(1, 1, 0, 0, 0) << totals(1, 1, 1, 0, 0);
    QTest::newRow("discovered") << false << true << false << totals(1, 0, 0, 0, 0) << totals(1, 0, 1, 1, 0);
    QTest::newRow("served") << false << false << true << totals(1, 0, 0, 0, 0) << totals(1, 0, 1, 0, 1);
    QTest::newRow("active, discovered")
        << true << true << false << totals(1, 1, 0, 0, 0) << totals(1, 1, 1, 1, 0);
    QTest::newRow("active, served") << true << false << true << totals(1, 1, 0, 0, 0)
                                    << totals(1, 1, 1, 0, 1);
    QTest::newRow("discovered, served")
        << false << true << true << totals(1, 0, 0, 0, 0) << totals(1, 0, 1, 1, 1);
    QTest::newRow("all") << true << true << true << totals(1, 1, 0, 0, 0) << totals(1, 1, 1, 1, 1);
}

void TestRowCounts::countsOneRow()
{
    QFETCH(bool, active);
    QFETCH(bool, discovered);
    QFETCH(bool, served);
    RowCounts counts;
    counts.update(row(0), {active, discovered, served});
    QTEST(shown(counts), "unselected");
    counts.setSelected(row(0), true);
    QTEST(shown(counts), "selected");
    counts.setSelected(row(0), false);
    QTEST(shown(counts), "unselected");
    counts.remove(row(0));
    QCOMPARE(shown(counts), totals(0, 0, 0, 0, 0));
}

void TestRowCounts::countsARowOnce()
{
    RowCounts counts;
    counts.update(row(0), fullRow);
    counts.update(row(0), fullRow);
    counts.setSelected(row(0), true);
    counts.setSelected(row(0), true);
    QCOMPARE(shown(counts), totals(1, 1, 1, 1, 1));
    counts.setSelected(row(0), false);
    counts.setSelected(row(0), false);
    QCOMPARE(shown(counts), totals(1, 1, 0, 0, 0));
}

void TestRowCounts::takesInEveryChange()
{
    RowCounts counts;
    counts.update(row(0), silentRow);
    counts.setSelected(row(0), true);
    QCOMPARE(shown(counts), totals(1, 0, 1, 0, 0));
    counts.update(row(0), activeRow);
    QCOMPARE(shown(counts), totals(1, 1, 1, 0, 0));
    counts.update(row(0), discoveredRow);
    QCOMPARE(shown(counts), totals(1, 0, 1, 1, 0));
    counts.update(row(0), servedRow);
    QCOMPARE(shown(counts), totals(1, 0, 1, 0, 1));
    counts.update(row(0), fullRow);
    QCOMPARE(shown(counts), totals(1, 1, 1, 1, 1));
    counts.update(row(0), silentRow);
    QCOMPARE(shown(counts), totals(1, 0, 1, 0, 0));
}

void TestRowCounts::keepsTheSelectionThroughChanges()
{
    RowCounts counts;
    counts.update(row(0), fullRow);
    counts.update(row(1), fullRow);
    counts.setSelected(row(1), true);
    counts.update(row(0), silentRow);
    counts.update(row(1), silentRow);
    QCOMPARE(shown(counts), totals(2, 0, 1, 0, 0));
    counts.update(row(1), fullRow);
    QCOMPARE(shown(counts), totals(2, 1, 1, 1, 1));
}

void TestRowCounts::ignoresRowsItDoesNotKnow()
{
    RowCounts counts;
    counts.remove(row(0));
    counts.setSelected(row(0), true);
    counts.setSelected(row(0), false);
    QCOMPARE(shown(counts), totals(0, 0, 0, 0, 0));
    counts.update(row(1), fullRow);
    counts.setSelected(row(0), true);
    counts.remove(row(0));
    QCOMPARE(shown(counts), totals(1, 1, 0, 0, 0));
}

void TestRowCounts::forgetsRemovedRows()
{
    RowCounts counts;
    counts.update(row(0), fullRow);
    counts.update(row(1), fullRow);
    counts.setSelected(row(0), true);
    counts.remove(row(0));
    QCOMPARE(shown(counts), totals(1, 1, 0, 0, 0));
    counts.remove(row(0));
    counts.setSelected(row(0), false);
    QCOMPARE(shown(counts), totals(1, 1, 0, 0, 0));
    // A new row in the same place in memory is not selected.
    counts.update(row(0), fullRow);
    QCOMPARE(shown(counts), totals(2, 2, 0, 0, 0));
}

void TestRowCounts::addsRowsUp()
{
    RowCounts counts;
    for (std::size_t i = 0; i < 100; ++i) {
        counts.update(row(i), {i % 2 == 0, i % 4 == 0, i % 5 == 0});
        counts.setSelected(row(i), i < 40);
    }
    QCOMPARE(shown(counts), totals(100, 50, 40, 10, 8));
    for (std::size_t i = 0; i < 100; i += 2) {
        counts.update(row(i), silentRow);
    }
    QCOMPARE(shown(counts), totals(100, 0, 40, 0, 4));
    for (std::size_t i = 0; i < 100; ++i) {
        counts.remove(row(i));
    }
    QCOMPARE(shown(counts), totals(0, 0, 0, 0, 0));
}

void TestRowCounts::keepsTheOrderOfSelecting()
{
    RowCounts counts;
    for (std::size_t i = 0; i < 6; ++i) {
        counts.update(row(i), silentRow);
    }
    QCOMPARE(counts.selectedRows(), QList<DeviceItem *>());
    for (const std::size_t i : {3U, 5U, 0U, 4U}) {
        counts.setSelected(row(i), true);
    }
    QCOMPARE(counts.selectedRows(), (QList<DeviceItem *>{row(3), row(5), row(0), row(4)}));
    // Neither what a row shows nor what happens to others has it change places.
    counts.update(row(5), fullRow);
    counts.setSelected(row(0), false);
    counts.remove(row(3));
    QCOMPARE(counts.selectedRows(), (QList<DeviceItem *>{row(5), row(4)}));
    counts.setSelected(row(0), true);
    counts.setSelected(row(5), true);
    QCOMPARE(counts.selectedRows(), (QList<DeviceItem *>{row(4), row(0), row(5)}));
}

void TestRowCounts::allowsActions_data()
{
    QTest::addColumn<int>("selected");
    QTest::addColumn<int>("discovered");
    QTest::addColumn<int>("served");
    QTest::addColumn<QString>("allowed");
    QTest::newRow("nothing selected") << 0 << 0 << 0 << "";
    QTest::newRow("one, silent") << 1 << 0 << 0 << "remove";
    QTest::newRow("one, discovered") << 1 << 1 << 0 << "configure web remove";
    QTest::newRow("one, served") << 1 << 0 << 1 << "remove operate";
    QTest::newRow("one, discovered and served") << 1 << 1 << 1 << "configure web remove operate";
    QTest::newRow("two, silent") << 2 << 0 << 0 << "remove";
    QTest::newRow("two, one discovered") << 2 << 1 << 0 << "remove";
    QTest::newRow("two, one served") << 2 << 0 << 1 << "remove";
    QTest::newRow("two, one both") << 2 << 1 << 1 << "remove";
    QTest::newRow("two, discovered") << 2 << 2 << 1 << "web remove";
    QTest::newRow("two, served") << 2 << 1 << 2 << "remove operate";
    QTest::newRow("two, both") << 2 << 2 << 2 << "web remove operate";
    QTest::newRow("a thousand, all but one") << 1000 << 999 << 999 << "remove";
    QTest::newRow("a thousand") << 1000 << 1000 << 1000 << "web remove operate";
}

void TestRowCounts::allowsActions()
{
    RowCounts::Totals given;
    QFETCH(int, selected);
    QFETCH(int, discovered);
    QFETCH(int, served);
    given.rows = 2000;
    given.active = 2000;
    given.selected = selected;
    given.selectedDiscovered = discovered;
    given.selectedServed = served;
    const SelectionRules rules = selectionRules(given);
    QStringList allowed;
    if (rules.configureDevice) {
        allowed << QStringLiteral("configure");
    }
    if (rules.webInterface) {
        allowed << QStringLiteral("web");
    }
    if (rules.remove) {
        allowed << QStringLiteral("remove");
    }
    if (rules.operate) {
        allowed << QStringLiteral("operate");
    }
    QTEST(allowed.join(QLatin1Char(' ')), "allowed");
}

QTEST_APPLESS_MAIN(TestRowCounts)

#include "tst_rowcounts.moc"
