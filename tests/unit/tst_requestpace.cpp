#include "common/requestpace.h"

#include <QtTest>

#include <array>
#include <sys/resource.h>

namespace {

/// Milliseconds until requests that are out must have stopped counting as prompt.
constexpr int patience = 5000;

std::array<char, 3000> keyStore;

RequestPace::Key key(int i)
{
    return &keyStore.at(static_cast<std::size_t>(i));
}

/// Starts requests as long as it is allowed; tells how many.
int startAll(RequestPace &pace, int firstKey = 0)
{
    int started = 0;
    while (pace.mayStart()) {
        pace.started(key(firstKey + started));
        ++started;
    }
    return started;
}

/// The process may have so many open files, until the object goes.
class DescriptorLimit final
{
public:
    explicit DescriptorLimit(rlim_t limit)
    {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit lower{limit, m_before.rlim_max};
        m_isSet = setrlimit(RLIMIT_NOFILE, &lower) == 0;
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_before); }
    Q_DISABLE_COPY_MOVE(DescriptorLimit)

    bool isSet() const { return m_isSet; }

private:
    rlimit m_before{};
    bool m_isSet = false;
};

} // namespace

class TestRequestPace : public QObject
{
    Q_OBJECT

private slots:
    void startsSoManyPromptOnes();
    void startsNoMoreThanAllowedAtAll();
    void startsOneForEachThatEnds();
    void isNotHeldUpBySlowOnes();
    void countsSlowOnesTowardsTheMaximum();
    void countsASlowOneThatEndsOnce();
    void countsEachKeyOnce();
    void ignoresTheEndOfUnknownOnes();
    void keepsTheAgeOfARepeatedStart();
    void tellsItsKeys();
    void fitsTheDescriptors_data();
    void fitsTheDescriptors();
};

void TestRequestPace::startsSoManyPromptOnes()
{
    RequestPace pace(2000);
    QVERIFY(pace.mayStart());
    QCOMPARE(startAll(pace), 256);
    QCOMPARE(pace.outstanding(), 256);
    QVERIFY(!pace.isFull());
}

void TestRequestPace::startsNoMoreThanAllowedAtAll()
{
    RequestPace pace(3);
    QCOMPARE(startAll(pace), 3);
    QVERIFY(pace.isFull());
}

void TestRequestPace::startsOneForEachThatEnds()
{
    RequestPace pace(3);
    startAll(pace);
    pace.ended(key(1));
    QVERIFY(!pace.isFull());
    QCOMPARE(startAll(pace, 10), 1);
    pace.ended(key(0));
    pace.ended(key(2));
    QCOMPARE(startAll(pace, 20), 2);
    QCOMPARE(pace.outstanding(), 3);
}

void TestRequestPace::isNotHeldUpBySlowOnes()
{
    RequestPace pace(2000);
    QCOMPARE(startAll(pace), 256);
    pace.noticeSlowOnes();
    QVERIFY(!pace.mayStart());
    QTRY_VERIFY_WITH_TIMEOUT((pace.noticeSlowOnes(), pace.mayStart()), patience);
    QCOMPARE(pace.outstanding(), 256);
    // All became slow within one look, so as many may follow.
    QTRY_VERIFY_WITH_TIMEOUT((startAll(pace, pace.outstanding()), pace.outstanding() >= 512), patience);
}

void TestRequestPace::countsSlowOnesTowardsTheMaximum()
{
    RequestPace pace(300);
    QCOMPARE(startAll(pace), 256);
    QTRY_VERIFY_WITH_TIMEOUT(
        (pace.noticeSlowOnes(), startAll(pace, pace.outstanding()), pace.outstanding() >= 300), patience);
    QCOMPARE(pace.outstanding(), 300);
    QVERIFY(pace.isFull());
    QVERIFY(!pace.mayStart());
}

void TestRequestPace::countsASlowOneThatEndsOnce()
{
    RequestPace pace(2000);
    pace.started(key(0));
    startAll(pace, 1);
    QTRY_VERIFY_WITH_TIMEOUT((pace.noticeSlowOnes(), pace.mayStart()), patience);
    for (int i = 0; i < 256; ++i) {
        pace.ended(key(i));
    }
    QCOMPARE(pace.outstanding(), 0);
    // Not one more than at first, although their slots were given back when they became slow.
    QCOMPARE(startAll(pace, 1000), 256);
}

void TestRequestPace::countsEachKeyOnce()
{
    RequestPace pace(2000);
    for (int i = 0; i < 1000; ++i) {
        pace.started(key(7));
    }
    QCOMPARE(pace.outstanding(), 1);
    QCOMPARE(startAll(pace, 10), 255);
}

void TestRequestPace::ignoresTheEndOfUnknownOnes()
{
    RequestPace pace(2000);
    for (int i = 0; i < 1000; ++i) {
        pace.ended(key(i));
    }
    QCOMPARE(pace.outstanding(), 0);
    QCOMPARE(startAll(pace), 256);
    pace.ended(key(0));
    pace.ended(key(0));
    QCOMPARE(startAll(pace, 1000), 1);
}

void TestRequestPace::keepsTheAgeOfARepeatedStart()
{
    RequestPace pace(2000);
    startAll(pace);
    // Started anew again and again it would never become slow.
    QTRY_VERIFY_WITH_TIMEOUT((pace.started(key(0)), pace.noticeSlowOnes(), pace.mayStart()), patience);
}

void TestRequestPace::tellsItsKeys()
{
    RequestPace pace(2000);
    pace.started(key(1));
    pace.started(key(2));
    pace.started(key(3));
    pace.ended(key(2));
    QList<RequestPace::Key> keys = pace.keys();
    std::sort(keys.begin(), keys.end());
    QCOMPARE(keys, (QList<RequestPace::Key>{key(1), key(3)}));
}

void TestRequestPace::fitsTheDescriptors_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("requests");
    QTest::newRow("almost none") << 64 << 32;
    QTest::newRow("only those that others need") << 256 << 32;
    QTest::newRow("low") << 400 << 32;
    QTest::newRow("usual") << 1024 << 96;
    QTest::newRow("raised") << 4096 << 480;
}

void TestRequestPace::fitsTheDescriptors()
{
    QFETCH(int, limit);
    const DescriptorLimit descriptorLimit(static_cast<rlim_t>(limit));
    if (!descriptorLimit.isSet()) {
        QTest::qSkip("The system doesn't allow so many descriptors.", __FILE__, __LINE__);
        return;
    }
    QTEST(RequestPace::requestsThatFit(), "requests");
}

QTEST_GUILESS_MAIN(TestRequestPace)

#include "tst_requestpace.moc"
