#include "web/weblimits.h"

#include <QtTest>

#include <limits>

/// How many connections there may be.
class TestWebLimits : public QObject
{
    Q_OBJECT

private slots:
    void leavesDescriptorsForOthers_data();
    void leavesDescriptorsForOthers();
};

void TestWebLimits::leavesDescriptorsForOthers_data()
{
    QTest::addColumn<int>("descriptors");
    QTest::addColumn<int>("open");
    QTest::addColumn<int>("kept");
    QTest::newRow("none") << 0 << 1 << 0;
    QTest::newRow("hardly any") << 20 << 2 << 1;
    QTest::newRow("few") << 200 << 25 << 12;
    QTest::newRow("just what is reserved") << 256 << 32 << 16;
    QTest::newRow("a small limit") << 400 << 72 << 36;
    QTest::newRow("the usual limit") << 1024 << 384 << 192;
    QTest::newRow("all that can be kept") << 16256 << 8000 << 4000;
    QTest::newRow("more than is kept") << 16260 << 8002 << 4000;
    QTest::newRow("a high limit") << 65536 << 20000 << 4000;
    QTest::newRow("no limit") << std::numeric_limits<int>::max() << 20000 << 4000;
}

void TestWebLimits::leavesDescriptorsForOthers()
{
    QFETCH(int, descriptors);
    QTEST(weblimits::openConnectionsOf(descriptors), "open");
    QTEST(weblimits::keptConnectionsOf(descriptors), "kept");
}

QTEST_APPLESS_MAIN(TestWebLimits)
#include "tst_weblimits.moc"
