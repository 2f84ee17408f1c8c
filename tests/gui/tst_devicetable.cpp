#include "operations/devicetable.h"

#include <QTableWidget>
#include <QtTest>

class TestDeviceTable : public QObject
{
    Q_OBJECT

private slots:
    void fitsHostnames_data();
    void fitsHostnames();
};

void TestDeviceTable::fitsHostnames_data()
{
    QTest::addColumn<int>("letters");
    QTest::addColumn<bool>("fits");
    QTest::newRow("short") << 3 << true;
    QTest::newRow("long") << 25 << true;
    QTest::newRow("too long") << 200 << false;
}

void TestDeviceTable::fitsHostnames()
{
    QFETCH(int, letters);
    QFETCH(bool, fits);
    QTableWidget table(1, 2);
    table.setHorizontalHeaderLabels({QString(), QString()});
    table.setColumnWidth(0, 180);
    devicetable::fillRow(&table, 0, {QString(letters, QLatin1Char('i')), QString()});
    devicetable::fitHostnames(&table);
    const int text = table.fontMetrics().horizontalAdvance(table.item(0, 0)->text());
    // The rest are the margins of a cell.
    QVERIFY(fits ? table.columnWidth(0) > text && table.columnWidth(0) < text + 40
                 : table.columnWidth(0) == 250);
}

QTEST_MAIN(TestDeviceTable)

#include "tst_devicetable.moc"
