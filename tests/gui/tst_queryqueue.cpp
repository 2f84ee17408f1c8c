#include "device/deviceitem.h"
#include "device/queryqueue.h"
#include "fleet.h"
#include "testenvironment.h"
#include "thisprocess.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTimer>
#include <QTreeWidget>
#include <QtTest>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <vector>

using namespace std::chrono_literals;
using simulator::Fault;
using simulator::Fleet;

namespace {

/// How much longer everything takes where each access to memory is looked at; the fleet is in the same
/// process.
#ifdef __SANITIZE_ADDRESS__
constexpr int slowness = 5;
#else
constexpr int slowness = 1;
#endif
/// Milliseconds.
constexpr int patience = 20000 * slowness;

int threads()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

} // namespace

/// Many devices that are due at the same time.
class TestQueryQueue : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void asksEveryDeviceOnce();
    void asksOnceHoweverOftenItIsTold();
    void holdsBackWhatWaits();
    void holdsBackForAShortTimeOnly();
    void restsWhenNobodyWaits();
    void forgetsThoseThatDoNotPass();
    void isNotHeldUpByDevicesThatHang();
    void readsHonestDevicesAmongFloods_data();
    void readsHonestDevicesAmongFloods();
    void readsLiveDevicesBesideHangingOnes();
    void asksABoundedNumberAtATime();
    void givesNobodyUpWhoWaits();
    void forgetsDevicesThatGo();
    void needsNoThreadForADevice_data();
    void needsNoThreadForADevice();

private:
    /// A fleet of `count` devices with a row each.
    void start(int count, double httpsShare = 0.0);
    void enqueueAll(QueryQueue &queue);
    /// Milliseconds until all requests have ended, the best of some times; negative if they don't end.
    qint64 timeForAll(QueryQueue &queue);
    int read() const;
    /// Turns the event loop as long as each turn has devices asked.
    static void askUntilItPauses(const QueryQueue &queue);

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<Fleet> m_fleet;
    std::unique_ptr<QTreeWidget> m_list;
    std::vector<DeviceItem *> m_items;
};

void TestQueryQueue::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_list = std::make_unique<QTreeWidget>();
    m_list->setColumnCount(27);
}

void TestQueryQueue::cleanup()
{
    m_items.clear();
    m_list.reset();
    m_fleet.reset();
    m_environment.reset();
}

void TestQueryQueue::start(int count, double httpsShare)
{
    simulator::FleetOptions options;
    options.httpsSharePercent = httpsShare;
    m_fleet = std::make_unique<Fleet>(options);
    m_fleet->addDevices(count);
    m_fleet->start();
    for (int i = 0; i < count; ++i) {
        auto *const item = new DeviceItem;
        m_list->addTopLevelItem(item);
        DiscoveryDevice record;
        record.setAddress(QHostAddress(m_fleet->device(i).address));
        item->device().updateFromDiscovery(record);
        m_items.push_back(item);
    }
}

void TestQueryQueue::enqueueAll(QueryQueue &queue)
{
    for (DeviceItem *const item : m_items) {
        queue.watch(&item->device());
        queue.enqueue(&item->device());
    }
}

int TestQueryQueue::read() const
{
    int count = 0;
    for (const DeviceItem *const item : m_items) {
        count += item->text(21) == QLatin1String("200 OK") ? 1 : 0;
    }
    return count;
}

void TestQueryQueue::askUntilItPauses(const QueryQueue &queue)
{
    constexpr int idleTurns = 10;
    int before = -1;
    for (int idle = 0; idle < idleTurns; ++idle) {
        QCoreApplication::processEvents();
        if (queue.outstanding() != before) {
            before = queue.outstanding();
            idle = 0;
        }
    }
}

void TestQueryQueue::asksEveryDeviceOnce()
{
    start(50);
    QueryQueue queue;
    enqueueAll(queue);
    QTRY_COMPARE_WITH_TIMEOUT(read(), 50, patience);
    for (int i = 0; i < 50; ++i) {
        QCOMPARE(m_fleet->requests(i).size(), std::size_t(1));
    }
    QCOMPARE(queue.waiting(), 0);
    QCOMPARE(queue.outstanding(), 0);
}

void TestQueryQueue::asksOnceHoweverOftenItIsTold()
{
    start(1);
    QueryQueue queue;
    enqueueAll(queue);
    queue.enqueue(&m_items.front()->device());
    queue.enqueue(&m_items.front()->device());
    QCOMPARE(queue.waiting(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(read(), 1, patience);
    QCOMPARE(m_fleet->requests(0).size(), std::size_t(1));
}

void TestQueryQueue::holdsBackWhatWaits()
{
    start(20);
    QueryQueue queue;
    enqueueAll(queue);
    queue.setHeld(true);
    QElapsedTimer held;
    held.start();
    // Turns in which all of them would have been asked; none of them after the time for which they wait.
    for (int turn = 0; turn < 20 && !held.hasExpired(100); ++turn) {
        QCoreApplication::processEvents();
    }
    QCOMPARE(queue.waiting(), 20);
    QCOMPARE(queue.outstanding(), 0);
    queue.setHeld(false);
    QTRY_COMPARE_WITH_TIMEOUT(read(), 20, patience);
    // Those that come later don't wait.
    m_items.front()->device().addAge(1);
    queue.enqueue(&m_items.front()->device());
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(2), patience);
}

void TestQueryQueue::holdsBackForAShortTimeOnly()
{
    start(20);
    QueryQueue queue;
    QElapsedTimer clock;
    clock.start();
    queue.setHeld(true);
    enqueueAll(queue);
    QTRY_VERIFY_WITH_TIMEOUT(queue.waiting() < 20, patience);
    QVERIFY2(clock.elapsed() >= 190, qPrintable(QString::number(clock.elapsed())));
    QTRY_COMPARE_WITH_TIMEOUT(read(), 20, patience);
}

void TestQueryQueue::restsWhenNobodyWaits()
{
    start(1);
    QueryQueue queue;
    enqueueAll(queue);
    QTRY_COMPARE_WITH_TIMEOUT(read(), 1, patience);
    const qint64 before = thisprocess::workOfThread();
    QTest::qWait(300);
    // A queue that went on looking would take most of it.
    QVERIFY2(thisprocess::workOfThread() - before < 150,
             qPrintable(QString::number(thisprocess::workOfThread() - before)));
}

void TestQueryQueue::forgetsThoseThatDoNotPass()
{
    start(6);
    QueryQueue queue;
    enqueueAll(queue);
    // Gone, but not yet from the queue.
    delete m_items.at(5);
    m_items.pop_back();
    const Device *const kept = &m_items.at(2)->device();
    queue.keepOnly([kept](const Device *device) { return device == kept; });
    QCOMPARE(queue.waiting(), 1);
    // One of them is due once more.
    queue.enqueue(&m_items.at(4)->device());
    QTRY_COMPARE_WITH_TIMEOUT(read(), 2, patience);
    for (int i = 0; i < 6; ++i) {
        QCOMPARE(m_fleet->requests(i).size(), std::size_t(i == 2 || i == 4 ? 1 : 0));
    }
}

void TestQueryQueue::isNotHeldUpByDevicesThatHang()
{
    // More that hang than are asked at a time, and they come first.
    start(400);
    for (int i = 0; i < 300; ++i) {
        m_fleet->addFault(i, Fault::hang());
    }
    QueryQueue queue;
    enqueueAll(queue);
    QTRY_COMPARE_WITH_TIMEOUT(read(), 100, patience);
    QCOMPARE(queue.waiting(), 0);
    QCOMPARE(queue.outstanding(), 300);
}

void TestQueryQueue::readsHonestDevicesAmongFloods_data()
{
    QTest::addColumn<double>("httpsShare");
    QTest::addColumn<int>("mostTimes");
    // Without TLS there is little else to do.
    QTest::newRow("HTTP") << 0.0 << 10;
    QTest::newRow("HTTPS") << 100.0 << 5;
}

qint64 TestQueryQueue::timeForAll(QueryQueue &queue)
{
    qint64 best = std::numeric_limits<qint64>::max();
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<QSignalSpy>> answers;
        for (DeviceItem *const item : m_items) {
            answers.push_back(std::make_unique<QSignalSpy>(&item->device(), &Device::requestEnded));
        }
        QElapsedTimer clock;
        clock.start();
        for (DeviceItem *const item : m_items) {
            queue.enqueue(&item->device());
        }
        const bool haveEnded = QTest::qWaitFor(
            [&answers] {
                return std::all_of(answers.begin(), answers.end(),
                                   [](const auto &spy) { return spy->count() > 0; });
            },
            patience);
        if (!haveEnded) {
            return -1;
        }
        best = std::min(best, std::max<qint64>(clock.elapsed(), 1));
    }
    return best;
}

void TestQueryQueue::readsHonestDevicesAmongFloods()
{
    QFETCH(double, httpsShare);
    QFETCH(int, mostTimes);
    start(440, httpsShare);
    QueryQueue queue;
    for (DeviceItem *const item : m_items) {
        queue.watch(&item->device());
    }
    const qint64 alone = timeForAll(queue);
    QVERIFY(alone > 0);
    QCOMPARE(read(), 440);
    const std::vector<Fault> floods{Fault::endlessHeaders(), Fault::endlessChunkSize(),
                                    Fault::endlessBody(),    Fault::endlessBody(401),
                                    Fault::endlessBody(407), Fault::inflatingBody()};
    for (int i = 0; i < 40; ++i) {
        // All over the list, the first and the last device among them.
        m_fleet->addFault(i * 11, floods[static_cast<std::size_t>(i) % floods.size()]);
    }
    const qint64 among = timeForAll(queue);
    QVERIFY(among > 0);
    // The floods take the processors of the fleet as well, which is in this very process.
    qInfo("%lld ms, alone %lld ms", among, alone);
    QVERIFY2(among < mostTimes * alone,
             qPrintable(QStringLiteral("%1 ms, alone %2 ms").arg(among).arg(alone)));
    QCOMPARE(read(), 400);
    QCOMPARE(queue.outstanding(), 0);
}

void TestQueryQueue::readsLiveDevicesBesideHangingOnes()
{
    constexpr int hanging = 2000;
    constexpr int live = 100;
    start(hanging + live);
    for (int i = 0; i < hanging; ++i) {
        m_fleet->addFault(i, Fault::hang());
    }
    QueryQueue queue;
    const auto enqueueLive = [this, &queue] {
        for (std::size_t i = hanging; i < m_items.size(); ++i) {
            m_items[i]->setText(21, QString());
            queue.enqueue(&m_items[i]->device());
        }
    };
    const auto timeToRead = [this, &enqueueLive] {
        QElapsedTimer clock;
        clock.start();
        enqueueLive();
        const QDeadlineTimer deadline(patience);
        while (read() < live && !deadline.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return clock.elapsed();
    };
    for (DeviceItem *const item : m_items) {
        queue.watch(&item->device());
    }
    // As others leave us more of the machine at one time than at another: one in the middle.
    std::array<qint64, 9> timesAlone{};
    std::generate(timesAlone.begin(), timesAlone.end(), timeToRead);
    std::sort(timesAlone.begin(), timesAlone.end());
    const qint64 alone = timesAlone[timesAlone.size() / 2];
    for (int i = 0; i < hanging; ++i) {
        queue.enqueue(&m_items[static_cast<std::size_t>(i)]->device());
    }
    enqueueLive();
    QTRY_COMPARE_WITH_TIMEOUT(read(), live, patience);
    QTRY_COMPARE_WITH_TIMEOUT(queue.outstanding(), hanging, patience);
    // With all of the others out, which the network thread polls each time: up to five times as long where
    // it has to wait for a processor. Somebody who waited for one of the others would take a hundred times.
    QTRY_VERIFY_WITH_TIMEOUT(timeToRead() <= 10 * alone, patience);
    QCOMPARE(read(), live);
}

void TestQueryQueue::asksABoundedNumberAtATime()
{
    start(1000);
    m_fleet->addFault(Fault::hang());
    QueryQueue queue;
    enqueueAll(queue);
    askUntilItPauses(queue);
    // Enough for a network of some hundred devices to be read at once, and yet a big one only bit by bit. On
    // a machine that has just stood still, some may have been out for so long that they make room for others.
    QVERIFY2(queue.outstanding() >= 200 && queue.outstanding() <= 600,
             qPrintable(QString::number(queue.outstanding())));
    QCOMPARE(queue.waiting(), 1000 - queue.outstanding());
    // None of them answers, and all are asked nevertheless.
    QTRY_COMPARE_WITH_TIMEOUT(queue.outstanding(), 1000, patience);
    QCOMPARE(queue.waiting(), 0);
}

void TestQueryQueue::givesNobodyUpWhoWaits()
{
    // So many that their turns take longer than anybody would wait for one answer.
    constexpr int hanging = 2500;
    constexpr int live = 100;
    constexpr std::chrono::milliseconds giveUpAge = 1500ms;
    start(hanging + live);
    QueryQueue queue;
    const auto wrongEnds = std::make_shared<QStringList>();
    for (int i = 0; i < hanging + live; ++i) {
        DeviceItem *const item = m_items.at(static_cast<std::size_t>(i));
        item->device().setGiveUpAge(giveUpAge);
        if (i < hanging) {
            m_fleet->addFault(i, Fault::hang());
            continue;
        }
        connect(&item->device(), &Device::requestEnded, &queue, [wrongEnds, item, giveUpAge] {
            // On a busy computer a request may really have been out for too long.
            const bool hadItsTime = item->device().requestAge() >= giveUpAge.count();
            if (item->text(21) != QLatin1String("200 OK") && !hadItsTime) {
                *wrongEnds += item->text(21);
            }
        });
    }
    QElapsedTimer sinceEnqueued;
    sinceEnqueued.start();
    enqueueAll(queue);
    // All are due again and again, while those at the end of the queue still wait for their first turn.
    bool waitedTooLong = false;
    QTimer refresh;
    connect(&refresh, &QTimer::timeout, &queue, [&] {
        waitedTooLong = waitedTooLong || (sinceEnqueued.hasExpired(giveUpAge.count()) && read() == 0);
        for (DeviceItem *const item : m_items) {
            queue.enqueue(&item->device());
        }
    });
    refresh.start(50ms);
    QTRY_COMPARE_WITH_TIMEOUT(read(), live, patience);
    refresh.stop();
    QVERIFY(waitedTooLong);
    QCOMPARE(*wrongEnds, QStringList());
}

void TestQueryQueue::forgetsDevicesThatGo()
{
    start(1000);
    m_fleet->addFault(Fault::hang());
    QueryQueue queue;
    enqueueAll(queue);
    askUntilItPauses(queue);
    // Those that wait and those that were asked.
    QVERIFY(queue.outstanding() > 0);
    QVERIFY(queue.waiting() > 0);
    m_items.clear();
    m_list.reset();
    QCOMPARE(queue.outstanding(), 0);
    QCOMPARE(queue.waiting(), 0);
}

void TestQueryQueue::needsNoThreadForADevice_data()
{
    QTest::addColumn<double>("httpsShare");
    QTest::newRow("HTTP") << 0.0;
    QTest::newRow("HTTPS") << 100.0;
}

void TestQueryQueue::needsNoThreadForADevice()
{
    QFETCH(double, httpsShare);
    start(80, httpsShare);
    // None answers: all requests are out at the same time, however slowly they get there.
    m_fleet->addFault(Fault::hang());
    QueryQueue queue;
    enqueueAll(queue);
    QTRY_COMPARE_WITH_TIMEOUT(queue.outstanding(), 80, patience);
    // The test itself, the fleet, the network, and what the toolkit keeps once.
    QVERIFY2(threads() <= 8, qPrintable(QString::number(threads())));
}

NEMBRA_GUI_TEST_MAIN(TestQueryQueue)
#include "tst_queryqueue.moc"
