#include "logbench.h"
#include "thisprocess.h"

#include <QClipboard>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QScrollBar>
#include <QThread>
#include <QUdpSocket>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <future>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// Time and load count only as users get the program.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
constexpr bool measured = false;
#else
constexpr bool measured = true;
#endif

/// What the kernel says of the sockets of a port, a list of fields for each.
QVector<QList<QByteArray>> socketsOf(quint16 port)
{
    QVector<QList<QByteArray>> sockets;
    for (const char *const path : {"/proc/net/udp", "/proc/net/udp6"}) {
        QFile table(QString::fromLatin1(path));
        if (!table.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QList<QByteArray> lines = table.readAll().split('\n');
        for (const QByteArray &line : lines) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() > 12 &&
                fields.at(1).endsWith(':' + QByteArray::number(port, 16).toUpper().rightJustified(4, '0'))) {
                sockets += fields;
            }
        }
    }
    return sockets;
}

/// What the kernel has dropped for want of room in the sockets of a port.
qint64 droppedBy(quint16 port)
{
    qint64 dropped = 0;
    const QVector<QList<QByteArray>> sockets = socketsOf(port);
    for (const QList<QByteArray> &fields : sockets) {
        dropped += fields.constLast().toLongLong();
    }
    return dropped;
}

/// Bytes that wait in the sockets of a port to be read, as the kernel counts them.
qint64 waitingAt(quint16 port)
{
    qint64 waiting = 0;
    const QVector<QList<QByteArray>> sockets = socketsOf(port);
    for (const QList<QByteArray> &fields : sockets) {
        waiting += fields.at(4).mid(fields.at(4).indexOf(':') + 1).toLongLong(nullptr, 16);
    }
    return waiting;
}

/// Bytes that the kernel keeps for a socket, by default and for one that asks for 4 MiB.
struct ReceiveBuffer
{
    int usual = 0;
    int granted = 0;
};
ReceiveBuffer receiveBuffer()
{
    ReceiveBuffer buffer;
    const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int wanted = 4 * 1024 * 1024;
    socklen_t size = sizeof(int);
    getsockopt(probe, SOL_SOCKET, SO_RCVBUF, &buffer.usual, &size);
    setsockopt(probe, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
    getsockopt(probe, SOL_SOCKET, SO_RCVBUF, &buffer.granted, &size);
    close(probe);
    return buffer;
}

/// Bytes that the kernel counts for a small datagram.
constexpr int leastPerDatagram = 600;
constexpr int mostPerDatagram = 1024;
/// Milliseconds in which thousands of messages are sent and shown, by a build with sanitizers too.
constexpr int longPatience = 18000;
/// Of a usual message, and what the kernel counts for it, bytes.
constexpr int messageLength = 200;
constexpr int mostPerMessage = 2048;

/// What the kernel does to a burst for want of room.
enum class Loss { None, Possible, Certain };

/// Sends them all from this thread, whose event loop doesn't turn meanwhile.
bool sendAtOnce(int count, quint16 port)
{
    QUdpSocket sender;
    const QHostAddress address(LogBench::ownAddress);
    for (int i = 0; i < count; ++i) {
        const QByteArray datagram = QByteArray::number(i);
        if (sender.writeDatagram(datagram, address, port) != datagram.size()) {
            return false;
        }
    }
    return true;
}

/// Whether so many small datagrams wait at a port before long; the event loop doesn't turn meanwhile.
bool allWait(int count, quint16 port)
{
    const QDeadlineTimer deadline(LogBench::patience);
    while (waitingAt(port) < qint64{count} * leastPerDatagram) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::msleep(1);
    }
    return true;
}

} // namespace

Q_DECLARE_METATYPE(Loss)
/// Many messages at once, and very many lines.
class TestLogListBursts final : public QObject, private LogBench
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void takesABurstWhileBusy();
    void readsAllThatWaits();
    void laysOutABurstOnce();
    void losesNothingOfABurst_data();
    void losesNothingOfABurst();
    void holdsAMillionLines();
};

void TestLogListBursts::takesABurstWhileBusy()
{
    const ReceiveBuffer buffer = receiveBuffer();
    const int count = std::min(5000, buffer.granted / mostPerDatagram);
    if (buffer.usual >= count * leastPerDatagram) {
        QTest::qSkip("the system grants no more than it does anyway", __FILE__, __LINE__);
        return;
    }
    open();
    QVERIFY(sendAtOnce(count, m_port));
    QTRY_VERIFY_WITH_TIMEOUT(list().count() + droppedBy(m_port) >= count, patience);
    QCOMPARE(droppedBy(m_port), qint64(0));
    QCOMPARE(list().count(), count);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(withoutTime(list().item(i)->text()), QString::number(i));
    }
}

void TestLogListBursts::readsAllThatWaits()
{
    open();
    constexpr int count = 200;
    QVERIFY(sendAtOnce(count, m_port));
    QVERIFY(allWait(count, m_port));
    // One wake-up takes all of them.
    m_log->processPendingDatagrams();
    QCOMPARE(waitingAt(m_port), qint64(0));
    QCOMPARE(list().count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(list().count(), count, patience);
}

void TestLogListBursts::laysOutABurstOnce()
{
    open();
    fill(QByteArray(100, 'a'));
    const QScrollBar &bar = *list().verticalScrollBar();
    QVERIFY(bar.maximum() > 0);
    const QSignalSpy laidOut(&bar, &QScrollBar::rangeChanged);
    const QSignalSpy scrolled(&bar, &QScrollBar::valueChanged);
    constexpr int count = 200;
    QVERIFY(sendAtOnce(count, m_port));
    QVERIFY(allWait(count, m_port));
    m_log->processPendingDatagrams();
    QTRY_COMPARE_WITH_TIMEOUT(list().count(), 100 + count, patience);
    QCOMPARE(laidOut.count(), 1);
    QCOMPARE(scrolled.count(), 1);
    QCOMPARE(bar.value(), bar.maximum());
}

void TestLogListBursts::losesNothingOfABurst_data()
{
    const int room = receiveBuffer().granted;
    constexpr int many = 20000;
    const int tooMany = room / leastPerDatagram + many;
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("mostWaiting");
    QTest::addColumn<bool>("windowReads");
    QTest::addColumn<Loss>("loss");
    QTest::newRow("that fits the receive buffer") << room / mostPerMessage << room << false << Loss::None;
    QTest::newRow("that always leaves room") << many << room / 2 << true << Loss::None;
    QTest::newRow("as fast as it can be sent") << many << room << true << Loss::Possible;
    QTest::newRow("of more than the receive buffer holds") << tooMany << room << false << Loss::Certain;
}

void TestLogListBursts::losesNothingOfABurst()
{
    QFETCH(int, count);
    QFETCH(int, mostWaiting);
    QFETCH(bool, windowReads);
    QFETCH(Loss, loss);
    open();
    const quint16 port = m_port;
    std::future<int> sender = std::async(std::launch::async, [count, mostWaiting, port] {
        constexpr int perLook = 50;
        QUdpSocket socket;
        const QHostAddress address(ownAddress);
        const QDeadlineTimer deadline(longPatience);
        int accepted = 0;
        for (int i = 0; i < count && !deadline.hasExpired(); ++i) {
            while (i % perLook == 0 && waitingAt(port) > mostWaiting && !deadline.hasExpired()) {
                QThread::msleep(1);
            }
            const QByteArray message = QByteArray::number(i).rightJustified(messageLength, '0');
            accepted += socket.writeDatagram(message, address, port) == message.size() ? 1 : 0;
        }
        return accepted;
    });
    if (!windowReads) {
        sender.wait();
    }
    QTRY_VERIFY_WITH_TIMEOUT(list().count() + droppedBy(port) >= count, longPatience);
    QCOMPARE(sender.get(), count);
    QCOMPARE(waitingAt(port), qint64(0));
    const qint64 dropped = droppedBy(port);
    qInfo() << count << "sent," << list().count() << "shown," << dropped << "dropped by the kernel";
    if (loss != Loss::Possible) {
        QCOMPARE(dropped > 0, loss == Loss::Certain);
    }
    QVERIFY(list().count() > 0);
    QCOMPARE(qint64{list().count()}, count - dropped);
    // Each one once, in the order in which they were sent, and whole.
    int before = -1;
    for (int row = 0; row < list().count(); ++row) {
        const QString text = withoutTime(list().item(row)->text());
        const int number = text.toInt();
        QCOMPARE(text, QString::number(number).rightJustified(messageLength, QLatin1Char('0')));
        QVERIFY2(number > before && number < count, qPrintable(text));
        before = number;
    }
}

void TestLogListBursts::holdsAMillionLines()
{
    if (!measured) {
        QTest::qSkip("only as users get it", __FILE__, __LINE__);
        return;
    }
    open();
    constexpr int count = 1000000;
    constexpr int atOnce = 10000;
    constexpr qint64 mostMemory = 400LL * 1024 * 1024;
    const qint64 before = thisprocess::residentMemory();
    for (int i = 0; i < count; i += atOnce) {
        QVector<LogMessage> messages;
        messages.reserve(atOnce);
        for (int j = 0; j < atOnce; ++j) {
            messages.append({0, QByteArray(200, static_cast<char>('a' + j % 26))});
        }
        list().append(messages);
    }
    QCOMPARE(list().count(), count);
    const qint64 held = thisprocess::residentMemory() - before;

    // Processor time: others leave us as much of the machine as they like.
    const auto workOf = [](const std::function<void()> &action) {
        const qint64 start = thisprocess::workOfThread();
        action();
        return thisprocess::workOfThread() - start;
    };
    const auto appendFurther = [this] {
        list().append(QVector<LogMessage>(100, LogMessage{0, "further"}));
        list().viewport()->repaint();
    };
    // One of them may make the list move to a bigger place.
    const qint64 appending = std::min({workOf(appendFurther), workOf(appendFurther), workOf(appendFurther)});
    const qint64 copying = workOf([this] {
        list().selectAll();
        list().copySelection();
    });
    QCOMPARE(clipboard().text().count(QLatin1Char('\n')), count + 300);
    clipboard().clear();
    // The least that can be done: every line made and joined.
    const qint64 joining = workOf([] {
        QString text;
        for (int i = 0; i < count; ++i) {
            text += QString::fromUtf8(QByteArray(200, 'x')) + QLatin1Char('\n');
        }
        QVERIFY(text.size() > count);
    });
    qInfo() << held / 1024 / 1024 << "MB," << appending << "ms to append," << copying
            << "ms to copy, joining alone" << joining;
    QVERIFY2(held <= mostMemory, qPrintable(QString::number(held)));
    QVERIFY2(appending <= joining / 3, qPrintable(QString::number(appending)));
    QVERIFY2(copying <= 3 * joining, qPrintable(QString::number(copying)));
}

NEMBRA_GUI_TEST_MAIN(TestLogListBursts)
#include "tst_loglist_bursts.moc"
