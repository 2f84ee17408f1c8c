#include "standstill.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "transfertest.h"

#include <QAbstractButton>
#include <QFile>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <dlfcn.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

/// While it is set, the disk takes nothing from this process and lets nobody go who asks it to.
std::atomic_bool diskHangs{false};
/// Calls that wait for it.
std::atomic_int waiting{0};

bool isPart(int descriptor)
{
    const QString link = QStringLiteral("/proc/self/fd/%1").arg(descriptor);
    return QFile::symLinkTarget(link).endsWith(QLatin1String(".part"));
}

} // namespace

/// The C library's own, but for what goes to a file that is not finished.
extern "C" ssize_t write(int descriptor, const void *bytes, size_t size)
{
    static const auto next =
        reinterpret_cast<ssize_t (*)(int, const void *, size_t)>(dlsym(RTLD_NEXT, "write"));
    if (diskHangs && isPart(descriptor)) {
        ++waiting;
        while (diskHangs) {
            std::this_thread::sleep_for(1ms);
        }
        --waiting;
    }
    return next(descriptor, bytes, size);
}

/// Runs whose files go to a disk that hangs, as one on the network may do for minutes.
class TestHangingDisk final : public QObject, private HistoryTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup()
    {
        diskHangs = false;
        end();
    }

    void finishesWhenTheDiskGoesOn();
    void lets_data();
    void lets();
    void writesElsewhereMeanwhile();
    void takesNoMoreThanTheDiskDoes();
    void asksNoMoreDevicesThanTheDiskFollows();

private:
    void startHanging(DialogUser &user) const
    {
        diskHangs = true;
        user.button("pushButtonLoad").click();
        QTRY_VERIFY_WITH_TIMEOUT(waiting > 0, patience);
    }
};

void TestHangingDisk::finishesWhenTheDiskGoesOn()
{
    m_bench->addOpenDevice("one");
    m_bench->addOpenDevice("two");
    m_bench->start();
    run([&](DialogUser &user) {
        startHanging(user);
        // That the event loop turns at all says that the window is alive.
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->operations().size() == 2, patience);
        QVERIFY(user.status(0).startsWith(downloading.section(QLatin1Char(','), 0, 0)));
        diskHangs = false;
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
        // At once: that is what the word means.
        QCOMPARE(m_bench->fileNames(),
                 (QStringList{suffixed("one-0E5A11000001"), suffixed("two-0E5A11000002")}));
    });
}

void TestHangingDisk::lets_data()
{
    QTest::addColumn<bool>("closes");
    QTest::newRow("cancel") << false;
    QTest::newRow("close") << true;
}

void TestHangingDisk::lets()
{
    QFETCH(bool, closes);
    m_bench->addOpenDevice("one");
    m_bench->start();
    run([&](DialogUser &user) {
        startHanging(user);
        if (!closes) {
            user.button("pushButtonCancel").click();
            QCOMPARE(user.statuses(), QStringList{canceled});
            QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        }
    });
    // Still, with the dialog gone.
    QVERIFY(waiting > 0);
    diskHangs = false;
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames(), QStringList(), patience);
    QVERIFY(m_bench->comesToRest());
}

void TestHangingDisk::writesElsewhereMeanwhile()
{
    m_bench->addOpenDevice("one");
    m_bench->start();
    run([&](DialogUser &user) {
        startHanging(user);
        user.button("pushButtonCancel").click();
        const int stuck = waiting;
        // The first run's thread hangs on; the second one has its own.
        user.button("pushButtonLoad").click();
        QTRY_VERIFY_WITH_TIMEOUT(waiting > stuck, patience);
        diskHangs = false;
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{finished});
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames(), QStringList{suffixed("one-0E5A11000001")}, patience);
    });
}

void TestHangingDisk::takesNoMoreThanTheDiskDoes()
{
    m_bench->addOpenDevice("endless");
    m_bench->start();
    m_bench->fleet().addFault(0, Fault::endlessBody());
    run([&](DialogUser &user) {
        const qint64 before = thisprocess::bytesReceived();
        startHanging(user);
        QVERIFY(waitForStandstill([] { return thisprocess::bytesReceived(); }));
        constexpr qint64 mostOnTheWay = 16LL * 1024 * 1024;
        QVERIFY2(thisprocess::bytesReceived() - before < mostOnTheWay,
                 qPrintable(QString::number(thisprocess::bytesReceived() - before)));
        diskHangs = false;
        // It goes on then.
        QTRY_VERIFY_WITH_TIMEOUT(thisprocess::bytesReceived() - before > 2 * mostOnTheWay, patience);
        user.button("pushButtonCancel").click();
    });
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames(), QStringList(), patience);
}

void TestHangingDisk::asksNoMoreDevicesThanTheDiskFollows()
{
    constexpr int count = 600;
    for (int i = 0; i < count; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    // Longer than what may wait of one.
    m_bench->fleet().addFault(Fault::endlessBody());
    run([&](DialogUser &user) {
        startHanging(user);
        const auto asked = [this] { return static_cast<qint64>(m_bench->operations().size()); };
        // The rest would follow soon.
        QVERIFY(waitForStandstill(asked, 1000));
        QVERIFY2(asked() < count, qPrintable(QString::number(asked())));
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses().count(canceled), count);
    });
    diskHangs = false;
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames(), QStringList(), patience);
}

NEMBRA_GUI_TEST_MAIN(TestHangingDisk)
#include "tst_hangingdisk.moc"
