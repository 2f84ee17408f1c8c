#include "widgets/contrast.h"

#include <QtTest>

class TestContrast final : public QObject
{
    Q_OBJECT

private slots:
    void tellsTheContrast_data();
    void tellsTheContrast();
    void keepsWhatCanBeRead_data();
    void keepsWhatCanBeRead();
    void changesWhatCantBeRead_data();
    void changesWhatCantBeRead();
};

void TestContrast::tellsTheContrast_data()
{
    QTest::addColumn<QColor>("one");
    QTest::addColumn<QColor>("other");
    QTest::addColumn<double>("contrast");
    QTest::newRow("black and white") << QColor(Qt::black) << QColor(Qt::white) << 21.0;
    QTest::newRow("the same") << QColor(12, 34, 56) << QColor(12, 34, 56) << 1.0;
    QTest::newRow("grey on white") << QColor(0x76, 0x76, 0x76) << QColor(Qt::white) << 4.54;
    QTest::newRow("white on red") << QColor(Qt::white) << QColor(Qt::red) << 4.0;
    QTest::newRow("red on black") << QColor(Qt::red) << QColor(Qt::black) << 5.25;
    QTest::newRow("blue on white") << QColor(Qt::blue) << QColor(Qt::white) << 8.59;
    QTest::newRow("green on white") << QColor(Qt::green) << QColor(Qt::white) << 1.37;
}

void TestContrast::tellsTheContrast()
{
    QFETCH(QColor, one);
    QFETCH(QColor, other);
    QFETCH(double, contrast);
    QCOMPARE(qRound(100 * contrast::between(one, other)), qRound(100 * contrast));
    QCOMPARE(qRound(100 * contrast::between(other, one)), qRound(100 * contrast));
}

void TestContrast::keepsWhatCanBeRead_data()
{
    QTest::addColumn<QColor>("color");
    QTest::addColumn<QColor>("background");
    QTest::addColumn<double>("least");
    QTest::newRow("black on red") << QColor(Qt::black) << QColor(Qt::red) << 4.5;
    QTest::newRow("white on dark red") << QColor(Qt::white) << QColor(155, 0, 0) << 4.5;
    QTest::newRow("a red sign on white") << QColor(Qt::red) << QColor(Qt::white) << 3.0;
    QTest::newRow("a red sign on yellow") << QColor(Qt::red) << QColor(255, 255, 171) << 3.0;
}

void TestContrast::keepsWhatCanBeRead()
{
    QFETCH(QColor, color);
    QFETCH(QColor, background);
    QFETCH(double, least);
    QCOMPARE(contrast::readable(color, background, least), color);
}

void TestContrast::changesWhatCantBeRead_data()
{
    QTest::addColumn<QColor>("color");
    QTest::addColumn<QColor>("background");
    QTest::addColumn<QColor>("shade");
    QTest::newRow("white on dark yellow") << QColor(Qt::white) << QColor(155, 155, 0) << QColor(32, 32, 32);
    QTest::newRow("red on white") << QColor(Qt::red) << QColor(Qt::white) << QColor(223, 0, 0);
    QTest::newRow("red on pale red") << QColor(Qt::red) << QColor(255, 171, 171) << QColor(159, 0, 0);
    QTest::newRow("red on dark red") << QColor(Qt::red) << QColor(155, 0, 0) << QColor(255, 191, 191);
    QTest::newRow("grey on the same grey") << QColor(Qt::gray) << QColor(Qt::gray) << QColor(40, 40, 41);
}

void TestContrast::changesWhatCantBeRead()
{
    QFETCH(QColor, color);
    QFETCH(QColor, background);
    QFETCH(QColor, shade);
    QCOMPARE(contrast::readable(color, background).name(), shade.name());
    QVERIFY(contrast::between(shade, background) >= 4.5);
}

QTEST_APPLESS_MAIN(TestContrast)
#include "tst_contrast.moc"
