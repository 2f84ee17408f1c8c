#include "web/requestpace.h"

#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <array>
#include <chrono>
#include <memory>

using namespace std::chrono_literals;

namespace {

/// Milliseconds until requests that are out must have stopped counting as prompt.
constexpr int patience = 20000;

std::array<char, 5000> keyStore;

RequestPace::Key key(int i)
{
    return &keyStore.at(static_cast<std::size_t>(i));
}

} // namespace

class TestRequestPace : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void startsNothingBeforeItIsTold();
    void startsSoManyPromptOnes();
    void startsOneForEachThatEnds();
    void isNotHeldUpBySlowOnes();
    void countsASlowOneThatEndsOnce();
    void countsEachKeyOnce();
    void ignoresTheEndOfUnknownOnes();
    void keepsTheAgeOfARepeatedStart();
    void goesOnWhereARequestCouldNotBeSent();
    void startsNothingAfterAStop();
    void letsTheEventLoopTurnBetweenManyStarts();

private:
    bool startNext();
    /// Lets everything happen that happens without waiting for the clock.
    void settle() const;

    std::unique_ptr<RequestPace> m_pace;
    /// Requests that wait, and the key of the next one.
    int m_waiting = 0;
    int m_next = 0;
    /// How long making a request takes.
    int m_startTime = 0;
};

void TestRequestPace::init()
{
    m_pace = std::make_unique<RequestPace>([this] { return startNext(); });
    m_waiting = 0;
    m_next = 0;
    m_startTime = 0;
}

bool TestRequestPace::startNext()
{
    if (m_waiting == 0) {
        return false;
    }
    --m_waiting;
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < m_startTime) {
    }
    m_pace->started(key(m_next++));
    return true;
}

void TestRequestPace::settle() const
{
    for (int before = -1; before != m_next;) {
        before = m_next;
        QCoreApplication::processEvents();
    }
}

void TestRequestPace::startsNothingBeforeItIsTold()
{
    m_waiting = 10;
    settle();
    QCOMPARE(m_next, 0);
    m_pace->schedule();
    QCOMPARE(m_next, 0);
    settle();
    QCOMPARE(m_next, 10);
}

void TestRequestPace::startsSoManyPromptOnes()
{
    m_waiting = 1000;
    m_pace->schedule();
    QTRY_COMPARE(m_next, 256);
    settle();
    QCOMPARE(m_next, 256);
    QCOMPARE(m_pace->outstanding(), 256);
}

void TestRequestPace::startsOneForEachThatEnds()
{
    m_waiting = 1000;
    m_pace->schedule();
    QTRY_COMPARE(m_next, 256);
    m_pace->ended(key(1));
    m_pace->ended(key(7));
    QTRY_COMPARE(m_next, 258);
    QCOMPARE(m_pace->outstanding(), 256);
}

void TestRequestPace::isNotHeldUpBySlowOnes()
{
    m_waiting = 3000;
    m_pace->schedule();
    QTRY_COMPARE(m_next, 256);
    QElapsedTimer clock;
    clock.start();
    // It stands still when we do.
    QTimer quarters;
    const QSignalSpy ticks(&quarters, &QTimer::timeout);
    quarters.start(250ms);
    // None of them ever ends.
    QTRY_COMPARE_WITH_TIMEOUT(m_next, 512, patience);
    QVERIFY2(clock.elapsed() >= 200, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(ticks.count() < 3, qPrintable(QString::number(ticks.count())));
    QTRY_COMPARE_WITH_TIMEOUT(m_next, 3000, patience);
    QCOMPARE(m_pace->outstanding(), 3000);
}

void TestRequestPace::countsASlowOneThatEndsOnce()
{
    m_waiting = 512;
    m_pace->schedule();
    QTRY_COMPARE_WITH_TIMEOUT(m_next, 512, patience);
    for (int i = 0; i < 512; ++i) {
        m_pace->ended(key(i));
    }
    QCOMPARE(m_pace->outstanding(), 0);
    // Not one more than at first, although their places were given back when they became slow.
    m_waiting = 1000;
    m_pace->schedule();
    QTRY_COMPARE(m_next, 512 + 256);
    settle();
    QCOMPARE(m_next, 512 + 256);
}

void TestRequestPace::countsEachKeyOnce()
{
    for (int i = 0; i < 1000; ++i) {
        m_pace->started(key(4000));
    }
    QCOMPARE(m_pace->outstanding(), 1);
    m_waiting = 1000;
    m_pace->schedule();
    QTRY_COMPARE(m_next, 255);
    settle();
    QCOMPARE(m_next, 255);
}

void TestRequestPace::ignoresTheEndOfUnknownOnes()
{
    for (int i = 0; i < 1000; ++i) {
        m_pace->ended(key(4000));
    }
    QCOMPARE(m_pace->outstanding(), 0);
    m_waiting = 1000;
    m_pace->schedule();
    QTRY_COMPARE(m_next, 256);
    settle();
    QCOMPARE(m_next, 256);
}

void TestRequestPace::keepsTheAgeOfARepeatedStart()
{
    m_waiting = 257;
    m_pace->schedule();
    QTRY_COMPARE(m_next, 256);
    // Started anew again and again it would never become slow.
    QTRY_VERIFY_WITH_TIMEOUT((m_pace->started(key(0)), m_next == 257), patience);
}

void TestRequestPace::goesOnWhereARequestCouldNotBeSent()
{
    int asked = 0;
    RequestPace pace([&asked] { return ++asked < 1000; });
    pace.schedule();
    QTRY_COMPARE(asked, 1000);
    QCOMPARE(pace.outstanding(), 0);
}

void TestRequestPace::startsNothingAfterAStop()
{
    m_waiting = 1000;
    m_pace->schedule();
    m_pace->stop();
    settle();
    QCOMPARE(m_next, 0);
    m_pace->schedule();
    QTRY_COMPARE(m_next, 256);
    m_pace->stop();
    m_pace->ended(key(0));
    settle();
    QCOMPARE(m_next, 256);
}

void TestRequestPace::letsTheEventLoopTurnBetweenManyStarts()
{
    m_waiting = 100;
    m_startTime = 1;
    m_pace->schedule();
    int turns = 0;
    QTimer turn;
    connect(&turn, &QTimer::timeout, &turn, [&turns] { ++turns; });
    turn.start(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_next, 100, patience);
    QVERIFY2(turns >= 15, qPrintable(QString::number(turns)));
}

QTEST_GUILESS_MAIN(TestRequestPace)

#include "tst_requestpace.moc"
