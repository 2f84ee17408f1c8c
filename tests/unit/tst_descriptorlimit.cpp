#include "platform/process.h"

#include <QtTest>

#include <sys/resource.h>

/// How many files the program may have open at a time. The limits of this process are lowered from row to
/// row.
class TestDescriptorLimit final : public QObject
{
    Q_OBJECT

private slots:
    void isRaisedAsFarAsTheSystemAllows_data();
    void isRaisedAsFarAsTheSystemAllows();
};

void TestDescriptorLimit::isRaisedAsFarAsTheSystemAllows_data()
{
    QTest::addColumn<int>("allowed");
    QTest::addColumn<int>("before");
    QTest::newRow("from half of it") << 4000 << 2000;
    QTest::newRow("from all of it") << 3000 << 3000;
    QTest::newRow("from next to nothing") << 2000 << 64;
}

void TestDescriptorLimit::isRaisedAsFarAsTheSystemAllows()
{
    QFETCH(int, allowed);
    QFETCH(int, before);
    rlimit limit{rlim_t(before), rlim_t(allowed)};
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &limit), 0);
    QCOMPARE(descriptorLimit(), before);
    raiseDescriptorLimit();
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
    QCOMPARE(limit.rlim_cur, rlim_t(allowed));
    QCOMPARE(limit.rlim_max, rlim_t(allowed));
    QCOMPARE(descriptorLimit(), allowed);
}

QTEST_GUILESS_MAIN(TestDescriptorLimit)

#include "tst_descriptorlimit.moc"
