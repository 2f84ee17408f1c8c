#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/queryqueue.h"
#include "discovery/discovery.h"
#include "discovery/discoverydevice.h"
#include "eventloopwatch.h"
#include "mainwindow/mainwindow.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "windowbench.h"

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QUdpSocket>
#include <QtTest>

#include <memory>

namespace {

constexpr int patience = 120000; // milliseconds
constexpr quint16 discoveryPort = 9806;
constexpr int mostRows = 50000;
/// Milliseconds of work that nobody feels as standing still.
constexpr int longestWork = 2000;

QString inventedMac(int number)
{
    QString mac = QString::number(number, 16).rightJustified(6, QLatin1Char('0')).toUpper();
    return QStringLiteral("0E:5A:12:") + mac.insert(4, QLatin1Char(':')).insert(2, QLatin1Char(':'));
}

/// What anybody in the network can send: the answer of a device that may not exist.
QByteArray answerOf(const QString &mac, const QString &address, const QString &hostname)
{
    DiscoveryDevice device;
    device.setMacText(mac);
    device.setAddress(QHostAddress(address));
    device.setHostname(hostname);
    device.setVariant(1);
    QByteArray datagram = device.configurationDatagram();
    constexpr int command = 4;
    datagram[command] = 1;
    return datagram;
}

} // namespace

/// Neighbours that invent devices, and that claim to be known ones.
class TestSpoofing final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void livesWithInventedDevices();
    void takesOneDeviceAtManyAddresses();

private:
    void send(const QByteArray &datagram);
    /// Sends so many answers of invented devices, and waits until all of them were looked at.
    void invent(int first, int count);

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<WindowBench> m_bench;
    QUdpSocket m_socket;
};

void TestSpoofing::init()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    m_environment = std::make_unique<TestEnvironment>();
    m_bench = std::make_unique<WindowBench>();
}

void TestSpoofing::cleanup()
{
    m_bench.reset();
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_environment.reset();
}

void TestSpoofing::send(const QByteArray &datagram)
{
    QCOMPARE(m_socket.writeDatagram(datagram, QHostAddress(QStringLiteral("10.77.0.1")), discoveryPort),
             qint64(datagram.size()));
}

void TestSpoofing::invent(int first, int count)
{
    const auto *const discovery = m_bench->window().findChild<Discovery *>();
    QSignalSpy arrived(discovery, &Discovery::device);
    constexpr int burst = 5000;
    for (int i = 0; i < count; ++i) {
        // No address: a query of it ends by itself.
        send(answerOf(inventedMac(first + i), QStringLiteral("0.0.0.0"), QStringLiteral("invented")));
        if ((i + 1) % burst == 0 || i + 1 == count) {
            // No more at once than the socket keeps.
            QVERIFY(QTest::qWaitFor([&] { return arrived.count() == i + 1; }, patience));
        }
    }
}

void TestSpoofing::livesWithInventedDevices()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    QTest::qSkip("Sanitizers take minutes to look at every allocation of so many rows.", __FILE__, __LINE__);
    return;
#endif
    const QString known = QStringLiteral("0E:5A:11:00:00:01");
    send(answerOf(known, QStringLiteral("0.0.0.0"), QStringLiteral("before")));
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(known, Column::SystemName), QStringLiteral("before"), patience);
    const EventLoopWatch watch;
    QElapsedTimer clock;
    clock.start();
    invent(0, mostRows);
    const qint64 filling = clock.elapsed();
    QCOMPARE(m_bench->list().topLevelItemCount(), mostRows);
    const qint64 memory = thisprocess::residentMemory();
    QVERIFY(memory > 0);

    // What is invented beyond takes nothing, and known devices go on.
    invent(mostRows, mostRows);
    QCOMPARE(m_bench->list().topLevelItemCount(), mostRows);
    QVERIFY2(thisprocess::residentMemory() < memory * 5 / 4,
             qPrintable(QString::number(thisprocess::residentMemory() - memory)));
    send(answerOf(known, QStringLiteral("0.0.0.0"), QStringLiteral("after")));
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(known, Column::SystemName), QStringLiteral("after"), patience);
    QVERIFY2(watch.longestWork() < longestWork, qPrintable(QString::number(watch.longestWork())));

    // The user gets rid of them far more quickly than they came.
    clock.start();
    m_bench->trigger("actionSelect_all");
    m_bench->trigger("actionRemove");
    QCoreApplication::processEvents();
    const qint64 removing = clock.elapsed();
    QCOMPARE(m_bench->list().topLevelItemCount(), 0);
    qInfo("%d rows came within %lld ms and went within %lld ms", mostRows, filling, removing);
    QVERIFY2(removing < filling / 2, qPrintable(QString::number(removing)));
    send(answerOf(known, QStringLiteral("0.0.0.0"), QStringLiteral("again")));
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(known, Column::SystemName), QStringLiteral("again"), patience);
}

void TestSpoofing::takesOneDeviceAtManyAddresses()
{
    const QString mac = QStringLiteral("0E:5A:11:00:00:01");
    const auto *const discovery = m_bench->window().findChild<Discovery *>();
    QSignalSpy arrived(discovery, &Discovery::device);
    constexpr int answers = 1000;
    for (int i = 0; i < answers; ++i) {
        const QString address = QStringLiteral("10.77.%1.%2").arg(200 + i % 50).arg(i % 200 + 1);
        send(answerOf(mac, address, QStringLiteral("somewhere")));
    }
    QTRY_COMPARE_WITH_TIMEOUT(arrived.count(), answers, patience);
    // One row, at the address of the last answer, and no more than one request for all of them.
    const auto *const queue = m_bench->window().findChild<QueryQueue *>();
    QVERIFY(queue->outstanding() + queue->waiting() <= 1);
    QCOMPARE(m_bench->list().topLevelItemCount(), 1);
    QCOMPARE(m_bench->row(mac)->device().record().address(), QHostAddress(QStringLiteral("10.77.249.200")));
}

NEMBRA_GUI_TEST_MAIN(TestSpoofing)
#include "tst_spoofing.moc"
