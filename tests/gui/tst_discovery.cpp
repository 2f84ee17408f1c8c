#include "discovery/discovery.h"

#include <QElapsedTimer>
#include <QFile>
#include <QNetworkProxy>
#include <QProcess>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr char ownAddress[] = "10.77.0.1";
constexpr char ownBroadcast[] = "10.77.255.255";

sockaddr_in endpoint(const char *address, quint16 port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    inet_pton(AF_INET, address, &result.sin_addr);
    return result;
}

QString text(in_addr address)
{
    return QHostAddress(ntohl(address.s_addr)).toString();
}

/// A socket as the system knows it, free of everything that Qt adds.
class Socket
{
public:
    explicit Socket(int type = SOCK_DGRAM, int protocol = 0)
        : m_descriptor(::socket(AF_INET, type, protocol))
    {
        setOption(SOL_SOCKET, SO_BROADCAST);
    }
    ~Socket() { ::close(m_descriptor); }
    Q_DISABLE_COPY_MOVE(Socket)

    int descriptor() const { return m_descriptor; }

    void setOption(int level, int option) const
    {
        const int on = 1;
        ::setsockopt(m_descriptor, level, option, &on, sizeof on);
    }
    bool bind(const char *address, quint16 port) const
    {
        const sockaddr_in local = endpoint(address, port);
        return ::bind(m_descriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local) == 0;
    }
    quint16 port() const
    {
        sockaddr_in local{};
        socklen_t size = sizeof local;
        ::getsockname(m_descriptor, reinterpret_cast<sockaddr *>(&local), &size);
        return ntohs(local.sin_port);
    }
    bool send(const QByteArray &datagram, quint16 port, const char *address = ownAddress) const
    {
        const sockaddr_in peer = endpoint(address, port);
        return ::sendto(m_descriptor, datagram.constData(), static_cast<std::size_t>(datagram.size()), 0,
                        reinterpret_cast<const sockaddr *>(&peer), sizeof peer) == datagram.size();
    }

private:
    int m_descriptor;
};

quint16 freePort()
{
    const Socket socket;
    return socket.bind("0.0.0.0", 0) ? socket.port() : 0;
}

/// Listens on the discovery port beside the program and notes what comes, from where to where.
class Watcher final
{
public:
    explicit Watcher(quint16 port)
        : m_bound(bindShared(port))
    {
    }

    bool isBound() const { return m_bound; }

    /// "source > destination on interface, bytes", sorted.
    QStringList seen()
    {
        while (receive()) {
        }
        m_seen.sort();
        return m_seen;
    }
    /// Distinct contents of the datagrams, in hexadecimal.
    QList<QByteArray> contents() const { return m_contents; }

private:
    bool bindShared(quint16 port) const
    {
        m_socket.setOption(SOL_SOCKET, SO_REUSEADDR);
        m_socket.setOption(IPPROTO_IP, IP_PKTINFO);
        return m_socket.bind("0.0.0.0", port);
    }
    bool receive()
    {
        std::array<char, 2048> bytes{};
        std::array<char, 256> control{};
        sockaddr_in source{};
        iovec vector{bytes.data(), bytes.size()};
        msghdr message{};
        message.msg_name = &source;
        message.msg_namelen = sizeof source;
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t size = ::recvmsg(m_socket.descriptor(), &message, MSG_DONTWAIT);
        if (size < 0) {
            return false;
        }
        in_pktinfo information{};
        std::memcpy(&information, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof information);
        std::array<char, IF_NAMESIZE> interface {
        };
        if_indextoname(static_cast<unsigned>(information.ipi_ifindex), interface.data());
        m_seen << QStringLiteral("%1 > %2 on %3, %4 bytes")
                      .arg(text(source.sin_addr), text(information.ipi_addr),
                           QString::fromLatin1(interface.data()))
                      .arg(size);
        const QByteArray content = QByteArray(bytes.data(), static_cast<int>(size)).toHex();
        if (!m_contents.contains(content)) {
            m_contents << content;
        }
        return true;
    }

    Socket m_socket;
    bool m_bound;
    QStringList m_seen;
    QList<QByteArray> m_contents;
};

/// Runs "ip"; true if it succeeded.
bool runIp(const char *arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(QStringLiteral("ip"), QString::fromLatin1(arguments).split(QLatin1Char(' ')));
    return process.waitForFinished() && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

/// A second interface, nembra8, which can broadcast and is up.
class SecondInterface final
{
public:
    SecondInterface()
        : m_made(runIp("link add nembra8 type veth peer name nembra9") && runIp("link set nembra8 up") &&
                 runIp("link set nembra9 up"))
    {
    }
    ~SecondInterface() { runIp("link delete nembra8"); }
    Q_DISABLE_COPY_MOVE(SecondInterface)

    bool isMade() const { return m_made; }

private:
    bool m_made;
};

/// What Qt and the program say while it lives: the type as a number, a blank, the text.
class MessageCollector final
{
public:
    MessageCollector()
    {
        collected().clear();
        m_usual =
            qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
                collected() << QString::number(type) + QLatin1Char(' ') + message;
            });
    }
    ~MessageCollector() { qInstallMessageHandler(m_usual); }
    Q_DISABLE_COPY_MOVE(MessageCollector)

    static QStringList messages() { return collected(); }
    static QStringList beyondDebug()
    {
        QStringList result;
        for (const QString &message : qAsConst(collected())) {
            if (!message.startsWith(QString::number(QtDebugMsg))) {
                result << message;
            }
        }
        return result;
    }

private:
    static QStringList &collected()
    {
        static QStringList all;
        return all;
    }

    QtMessageHandler m_usual = nullptr;
};

QList<QByteArray> linesOf(const char *path)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>();
}

/// The sockets of IPv4 that are bound to a port, by their numbers in the system.
QList<QByteArray> socketsOn(quint16 port)
{
    const QByteArray ending = ':' + QByteArray::number(port, 16).rightJustified(4, '0').toUpper();
    QList<QByteArray> inodes;
    const QList<QByteArray> lines = linesOf("/proc/self/net/udp");
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() > 9 && fields.at(1).endsWith(ending)) {
            inodes << fields.at(9);
        }
    }
    return inodes;
}

/// How often something happened to a UDP datagram in this network: "InDatagrams" counts those that a process
/// has read, "InCsumErrors" those that were dropped since their checksum was wrong.
qint64 udpCounter(const char *name)
{
    QList<QByteArray> names;
    const QList<QByteArray> lines = linesOf("/proc/self/net/snmp");
    for (const QByteArray &line : lines) {
        if (line.startsWith("Udp:")) {
            if (names.isEmpty()) {
                names = line.split(' ');
            } else {
                return line.split(' ').value(names.indexOf(name), "-1").toLongLong();
            }
        }
    }
    return -1;
}

QByteArray zeros(int count)
{
    return QByteArray(count, '\0');
}

/// An answer of 128 bytes of the device "gamma" at 10.77.128.1, with a tag to tell it from others.
QByteArray answer(int tag)
{
    const QByteArray number = QByteArray::number(tag, 16).rightJustified(8, '0');
    return QByteArray::fromHex(number + "01050e5a11001fa20a4d8001ffff00000a4d0001000000000567616d6d61") +
           zeros(94);
}

/// An IPv4 packet with a UDP datagram in it whose checksum is wrong.
QByteArray packetWithBadChecksum(const QByteArray &datagram, quint16 port)
{
    iphdr network{};
    network.version = 4;
    network.ihl = 5;
    network.ttl = 64;
    network.protocol = IPPROTO_UDP;
    network.tot_len = htons(static_cast<quint16>(28 + datagram.size()));
    network.saddr = endpoint(ownAddress, 0).sin_addr.s_addr;
    network.daddr = network.saddr;
    udphdr transport{};
    transport.source = htons(9);
    transport.dest = htons(port);
    transport.len = htons(static_cast<quint16>(8 + datagram.size()));
    // Wrong for the test's datagrams; the kernel fills in that of the network header.
    transport.check = htons(0xdead);
    return QByteArray(reinterpret_cast<const char *>(&network), sizeof network) +
           QByteArray(reinterpret_cast<const char *>(&transport), sizeof transport) + datagram;
}

/// What a test can see of a record.
QString shown(const DiscoveryDevice &record)
{
    return QStringLiteral("tag %1, variant %2, %3, %4/%5, gateway %6, fixed %7, \"%8\", \"%9\"")
               .arg(record.tag())
               .arg(record.variant())
               .arg(record.macText(), record.address().toString(), record.netmask().toString(),
                    record.gateway().toString(), record.staticAddress().toString(), record.hostname(),
                    record.extraText()) +
           QLatin1Char(' ') + QString::fromLatin1(record.nameField().toHex());
}

/// "0 1 2", for a count of 3.
QString numbersBelow(int count)
{
    QStringList numbers;
    for (int i = 0; i < count; ++i) {
        numbers << QString::number(i);
    }
    return numbers.join(QLatin1Char(' '));
}

void keepBusy(int microseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.nsecsElapsed() < microseconds * qint64{1000}) {
    }
}

} // namespace

class TestDiscovery : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup() const;

    void bindsNothingAtFirst() const;
    void asksOnceForEachBroadcastAddress() const;
    void asksOnEveryInterface() const;
    void asksOnEveryAddressOfAnInterface() const;
    void asksOnTheLimitedAddressWhereThereIsNoDirectedOne() const;
    void asksNothingOnAnInterfaceWithoutIPv4() const;
    void asksNothingOnAnInterfaceThatIsDown() const;
    void asksNothingOnTheLoopbackInterface() const;
    void asksNothingWithoutAnInterface() const;
    void skipsOnlyTheAddressItCannotBind() const;
    void asksInEitherState() const;
    void leavesNoSocketBehind() const;
    void logsEachBroadcast() const;
    void asksNoProxy();
    void broadcastsAnything_data();
    void broadcastsAnything() const;
    void sendsOrders() const;
    void logsOrders() const;

    void remembersAPortForLater();
    void movesToAnotherPort();
    void asksOnTheNewPort() const;
    void bindsAnewWhenToldTwice();
    void stopsListening();
    void staysSilentWhenThePortIsTaken();
    void sharesItsPort();

    void announcesAnswers();
    void announcesEveryCopy();
    void dropsItsOwnDatagrams();
    void takesAnyLength_data();
    void takesAnyLength();
    void survivesADatagramWithABadChecksum_data();
    void survivesADatagramWithABadChecksum();
    void survivesAnEmptyDatagram();
    void takesABurstWhileBusy();
    void losesNothingToASlowListener();
    void turnsTheEventLoopBetweenAnswers();
    void tellsThatItIsBusy();
    void isNotBusyWhenItStopsListening();
    void keepsTheEventLoopTurningInAFlood();
    void letsAListenerSendAndAsk();
    void letsAListenerChangeThePort();
    void letsAListenerStopAndStartIt();
    void staysSilentOnceAListenerStoppedIt();
    void letsAListenerReadFurther();
    void goesOnAfterAListenerRanAnEventLoop();

private:
    /// Fills m_records, in their order.
    void listen(Discovery *discovery);
    /// Of the records so far: "1 2 3".
    QString tags() const;

    quint16 m_port = 0;
    Socket m_sender;
    std::vector<DiscoveryDevice> m_records;
};

void TestDiscovery::initTestCase()
{
    QVERIFY2(qgetenv("NEMBRA_PRIVATE_NETWORK") == "1", "Run this test through scripts/private-network.");
}

void TestDiscovery::init()
{
    m_port = freePort();
    QVERIFY(m_port != 0);
    m_records.clear();
}

void TestDiscovery::cleanup() const
{
    QCOMPARE(socketsOn(m_port), QList<QByteArray>());
}

void TestDiscovery::listen(Discovery *discovery)
{
    connect(discovery, &Discovery::device, this,
            [this](const DiscoveryDevice &record) { m_records.push_back(record); });
    discovery->setListening(true);
}

QString TestDiscovery::tags() const
{
    QStringList result;
    for (const DiscoveryDevice &record : m_records) {
        result << QString::number(record.tag());
    }
    return result.join(QLatin1Char(' '));
}

void TestDiscovery::bindsNothingAtFirst() const
{
    const Discovery discovery(m_port);
    QCOMPARE(socketsOn(m_port), QList<QByteArray>());
}

void TestDiscovery::asksOnceForEachBroadcastAddress() const
{
    Watcher watcher(m_port);
    QVERIFY(watcher.isBound());
    Discovery discovery(m_port);
    discovery.refresh();
    const QStringList expected{
        QStringLiteral("10.77.0.1 > 10.77.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.77.0.1 > 255.255.255.255 on nembra0, 128 bytes"),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
    QCOMPARE(watcher.contents(), QList<QByteArray>{QByteArray(256, '0')});
}

void TestDiscovery::asksOnEveryInterface() const
{
    const SecondInterface second;
    QVERIFY(second.isMade());
    QVERIFY(runIp("address add 10.78.3.1/24 broadcast 10.78.3.255 dev nembra8"));
    Watcher watcher(m_port);
    QVERIFY(watcher.isBound());
    Discovery discovery(m_port);
    discovery.refresh();
    const QStringList expected{
        QStringLiteral("10.77.0.1 > 10.77.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.77.0.1 > 255.255.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.78.3.1 > 10.78.3.255 on nembra8, 128 bytes"),
        QStringLiteral("10.78.3.1 > 255.255.255.255 on nembra8, 128 bytes"),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
    QCOMPARE(watcher.contents(), QList<QByteArray>{QByteArray(256, '0')});
}

void TestDiscovery::asksOnEveryAddressOfAnInterface() const
{
    const SecondInterface second;
    QVERIFY(second.isMade());
    QVERIFY(runIp("address add 10.78.3.1/24 broadcast 10.78.3.255 dev nembra8"));
    QVERIFY(runIp("address add 10.79.4.1/16 broadcast 10.79.255.255 dev nembra8"));
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    discovery.refresh();
    const QStringList expected{
        QStringLiteral("10.77.0.1 > 10.77.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.77.0.1 > 255.255.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.78.3.1 > 10.78.3.255 on nembra8, 128 bytes"),
        QStringLiteral("10.78.3.1 > 255.255.255.255 on nembra8, 128 bytes"),
        QStringLiteral("10.79.4.1 > 10.79.255.255 on nembra8, 128 bytes"),
        QStringLiteral("10.79.4.1 > 255.255.255.255 on nembra8, 128 bytes"),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
}

void TestDiscovery::asksOnTheLimitedAddressWhereThereIsNoDirectedOne() const
{
    const SecondInterface second;
    QVERIFY(second.isMade());
    QVERIFY(runIp("address add 10.78.3.1/32 dev nembra8"));
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    {
        const MessageCollector collector;
        discovery.refresh();
    }
    QTRY_VERIFY2(watcher.seen().contains(QStringLiteral("10.78.3.1 > 255.255.255.255 on nembra8, 128 bytes")),
                 qPrintable(watcher.seen().join(QLatin1Char('\n'))));
    QCOMPARE(MessageCollector::beyondDebug(), QStringList());
}

void TestDiscovery::asksNothingOnAnInterfaceWithoutIPv4() const
{
    const SecondInterface second;
    QVERIFY(second.isMade());
    QVERIFY(runIp("address add fd00:77::1/64 dev nembra8 nodad"));
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    {
        const MessageCollector collector;
        discovery.refresh();
    }
    const QStringList expected{
        QStringLiteral("10.77.0.1 > 10.77.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.77.0.1 > 255.255.255.255 on nembra0, 128 bytes"),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
    QCOMPARE(MessageCollector::messages().size(), 2);
}

void TestDiscovery::asksNothingOnAnInterfaceThatIsDown() const
{
    const SecondInterface second;
    QVERIFY(second.isMade());
    QVERIFY(runIp("address add 10.78.3.1/24 broadcast 10.78.3.255 dev nembra8"));
    QVERIFY(runIp("link set nembra8 down"));
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    {
        const MessageCollector collector;
        discovery.refresh();
    }
    const QStringList expected{
        QStringLiteral("10.77.0.1 > 10.77.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.77.0.1 > 255.255.255.255 on nembra0, 128 bytes"),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
    QCOMPARE(MessageCollector::messages().size(), 2);
}

void TestDiscovery::asksNothingOnTheLoopbackInterface() const
{
    // An address that would have a broadcast address of its own on any other interface.
    QVERIFY(runIp("address add 10.80.0.1/24 broadcast 10.80.0.255 dev lo"));
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    {
        const MessageCollector collector;
        discovery.refresh();
    }
    QVERIFY(runIp("address delete 10.80.0.1/24 dev lo"));
    const QStringList expected{
        QStringLiteral("10.77.0.1 > 10.77.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.77.0.1 > 255.255.255.255 on nembra0, 128 bytes"),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
    QCOMPARE(MessageCollector::messages().size(), 2);
}

void TestDiscovery::asksNothingWithoutAnInterface() const
{
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    // The address goes with its interface's state, the route with it; both come back below.
    QVERIFY(runIp("link set nembra0 down"));
    {
        const MessageCollector collector;
        discovery.refresh();
    }
    QVERIFY(runIp("link set nembra0 up"));
    QVERIFY(runIp("route replace local 10.77.128.0/17 dev nembra0"));
    QCOMPARE(MessageCollector::messages(), QStringList());
    QCOMPARE(watcher.seen().join(QLatin1Char('\n')), QString());
    // It finds the interface again without being told.
    discovery.refresh();
    QTRY_COMPARE(watcher.seen().size(), 2);
}

void TestDiscovery::skipsOnlyTheAddressItCannotBind() const
{
    const SecondInterface second;
    QVERIFY(second.isMade());
    QVERIFY(runIp("address add 10.78.3.1/24 broadcast 10.78.3.255 dev nembra8"));
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    const quint16 onlyPort = freePort();
    QFile range(QStringLiteral("/proc/sys/net/ipv4/ip_local_port_range"));
    QVERIFY2(range.open(QIODevice::ReadWrite | QIODevice::Unbuffered), qPrintable(range.errorString()));
    const QByteArray usual = range.readAll();
    {
        // The one port that the system may choose is taken on one of the two addresses.
        const Socket blocker;
        QVERIFY(blocker.bind(ownAddress, onlyPort));
        const QByteArray number = QByteArray::number(onlyPort);
        QVERIFY(range.seek(0) && range.write(number + ' ' + number + '\n') > 0);
        const MessageCollector collector;
        discovery.refresh();
        QVERIFY(range.seek(0) && range.write(usual) > 0);
    }
    const QStringList expected{
        QStringLiteral("10.78.3.1 > 10.78.3.255 on nembra8, 128 bytes"),
        QStringLiteral("10.78.3.1 > 255.255.255.255 on nembra8, 128 bytes"),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
    QCOMPARE(MessageCollector::beyondDebug(), QStringList());
    QCOMPARE(MessageCollector::messages().size(), 2);
}

void TestDiscovery::asksInEitherState() const
{
    Discovery discovery(m_port);
    Watcher watcher(m_port);
    discovery.refresh();
    QTRY_COMPARE(watcher.seen().size(), 2);
    discovery.setListening(true);
    discovery.refresh();
    QTRY_COMPARE(watcher.seen().size(), 4);
    discovery.setListening(false);
    discovery.refresh();
    QTRY_COMPARE(watcher.seen().size(), 6);
}

void TestDiscovery::leavesNoSocketBehind() const
{
    Discovery discovery(m_port);
    const QList<QByteArray> before = linesOf("/proc/self/net/udp");
    for (int i = 0; i < 10; ++i) {
        discovery.refresh();
    }
    QCOMPARE(linesOf("/proc/self/net/udp").size(), before.size());
}

void TestDiscovery::logsEachBroadcast() const
{
    Discovery discovery(m_port);
    const MessageCollector collector;
    discovery.refresh();
    const QStringList expected{
        QStringLiteral("0 Broadcast 128 bytes to 255.255.255.255 via 10.77.0.1"),
        QStringLiteral("0 Broadcast 128 bytes to 10.77.255.255 via 10.77.0.1"),
    };
    QCOMPARE(MessageCollector::messages(), expected);
}

/// A proxy of the whole program is for the world outside.
void TestDiscovery::asksNoProxy()
{
    QNetworkProxy::setApplicationProxy(
        QNetworkProxy(QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), 1));
    const auto restore = qScopeGuard([] { QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy); });
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    listen(&discovery);
    QCOMPARE(socketsOn(m_port).size(), 2);
    discovery.refresh();
    QTRY_COMPARE(watcher.seen().size(), 2);
}

void TestDiscovery::broadcastsAnything_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("zero bytes") << zeros(3);
    QTest::newRow("an Ethernet frame full") << QByteArray(1472, 'x');
}

void TestDiscovery::broadcastsAnything() const
{
    QFETCH(QByteArray, datagram);
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    discovery.broadcast(datagram);
    const QString size = QString::number(datagram.size());
    const QStringList expected{
        QStringLiteral("10.77.0.1 > 10.77.255.255 on nembra0, %1 bytes").arg(size),
        QStringLiteral("10.77.0.1 > 255.255.255.255 on nembra0, %1 bytes").arg(size),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
    QCOMPARE(watcher.contents(), QList<QByteArray>{datagram.toHex()});
}

void TestDiscovery::sendsOrders() const
{
    const auto record = DiscoveryDevice::fromAnswer(answer(0x01020304));
    QVERIFY(record);
    Watcher watcher(m_port);
    Discovery discovery(m_port);
    discovery.configure(*record);
    const QStringList expected{
        QStringLiteral("10.77.0.1 > 10.77.255.255 on nembra0, 128 bytes"),
        QStringLiteral("10.77.0.1 > 255.255.255.255 on nembra0, 128 bytes"),
    };
    QTRY_COMPARE(watcher.seen().join(QLatin1Char('\n')), expected.join(QLatin1Char('\n')));
    const QByteArray order =
        "0102030402050e5a11001fa20a4d8001ffff00000a4d0001000000000567616d6d61" + QByteArray(188, '0');
    QCOMPARE(watcher.contents(), QList<QByteArray>{order});
}

void TestDiscovery::logsOrders() const
{
    const auto record = DiscoveryDevice::fromAnswer(answer(0x01020304));
    QVERIFY(record);
    Discovery discovery(m_port);
    const MessageCollector collector;
    discovery.configure(*record);
    const QString order =
        QStringLiteral("0102030402050e5a11001fa20a4d8001ffff00000a4d0001000000000567616d6d61") +
        QString(188, QLatin1Char('0'));
    QCOMPARE(MessageCollector::messages().size(), 3);
    QVERIFY2(MessageCollector::messages().constFirst().contains(order),
             qPrintable(MessageCollector::messages().constFirst()));
}

void TestDiscovery::remembersAPortForLater()
{
    const quint16 later = freePort();
    Discovery discovery(m_port);
    discovery.setPort(later);
    QCOMPARE(socketsOn(m_port).size(), 0);
    QCOMPARE(socketsOn(later).size(), 0);
    listen(&discovery);
    QCOMPARE(socketsOn(m_port).size(), 0);
    QCOMPARE(socketsOn(later).size(), 1);
    QVERIFY(m_sender.send(answer(1), later));
    QTRY_COMPARE(tags(), QStringLiteral("1"));
}

void TestDiscovery::movesToAnotherPort()
{
    const quint16 other = freePort();
    Discovery discovery(m_port);
    listen(&discovery);
    QVERIFY(m_sender.send(answer(1), m_port));
    QTRY_COMPARE(tags(), QStringLiteral("1"));
    discovery.setPort(other);
    QCOMPARE(socketsOn(m_port).size(), 0);
    QCOMPARE(socketsOn(other).size(), 1);
    QVERIFY(m_sender.send(answer(2), m_port));
    QVERIFY(m_sender.send(answer(3), other));
    const QString expected = QStringLiteral("1 3");
    QTRY_COMPARE(tags(), expected);
    discovery.setPort(m_port);
    QVERIFY(m_sender.send(answer(4), m_port));
    const QString expectedBack = QStringLiteral("1 3 4");
    QTRY_COMPARE(tags(), expectedBack);
}

void TestDiscovery::asksOnTheNewPort() const
{
    const quint16 other = freePort();
    Watcher before(m_port);
    Watcher after(other);
    Discovery discovery(m_port);
    discovery.setPort(other);
    discovery.refresh();
    QTRY_COMPARE(after.seen().size(), 2);
    QCOMPARE(before.seen().join(QLatin1Char('\n')), QString());
}

void TestDiscovery::bindsAnewWhenToldTwice()
{
    Discovery discovery(m_port);
    listen(&discovery);
    const QList<QByteArray> first = socketsOn(m_port);
    QCOMPARE(first.size(), 1);
    discovery.setListening(true);
    const QList<QByteArray> second = socketsOn(m_port);
    QCOMPARE(second.size(), 1);
    QVERIFY2(first != second, first.constFirst().constData());
    QVERIFY(m_sender.send(answer(1), m_port));
    QTRY_COMPARE(tags(), QStringLiteral("1"));
}

void TestDiscovery::stopsListening()
{
    Discovery discovery(m_port);
    discovery.setListening(false);
    QCOMPARE(socketsOn(m_port).size(), 0);
    listen(&discovery);
    QCOMPARE(socketsOn(m_port).size(), 1);
    discovery.setListening(false);
    QCOMPARE(socketsOn(m_port).size(), 0);
    QVERIFY(m_sender.send(answer(1), m_port));
    discovery.processPendingDatagrams();
    QCOMPARE(tags(), QString());
    discovery.setListening(true);
    QVERIFY(m_sender.send(answer(2), m_port));
    QTRY_COMPARE(tags(), QStringLiteral("2"));
}

void TestDiscovery::staysSilentWhenThePortIsTaken()
{
    Discovery discovery(m_port);
    {
        const Socket blocker;
        QVERIFY(blocker.bind("0.0.0.0", m_port));
        const MessageCollector collector;
        listen(&discovery);
        QCOMPARE(MessageCollector::beyondDebug(), QStringList());
        QCOMPARE(socketsOn(m_port).size(), 1);
        discovery.processPendingDatagrams();
        discovery.setPort(m_port);
        discovery.setListening(false);
        QCOMPARE(MessageCollector::beyondDebug(), QStringList());
    }
    QCOMPARE(tags(), QString());
    discovery.setListening(true);
    QVERIFY(m_sender.send(answer(1), m_port));
    QTRY_COMPARE(tags(), QStringLiteral("1"));
}

void TestDiscovery::sharesItsPort()
{
    Discovery discovery(m_port);
    Discovery another(m_port);
    listen(&discovery);
    QSignalSpy spy(&another, &Discovery::device);
    another.setListening(true);
    QCOMPARE(socketsOn(m_port).size(), 2);
    QVERIFY(m_sender.send(answer(1), m_port, ownBroadcast));
    QTRY_COMPARE(tags(), QStringLiteral("1"));
    QTRY_COMPARE(spy.count(), 1);
}

void TestDiscovery::announcesAnswers()
{
    Discovery discovery(m_port);
    listen(&discovery);
    QVERIFY(m_sender.send(answer(7), m_port));
    QTRY_COMPARE(m_records.size(), std::size_t{1});
    QCOMPARE(
        shown(m_records.front()),
        QStringLiteral("tag 7, variant 5, 0E:5A:11:00:1F:A2, 10.77.128.1/255.255.0.0, gateway 10.77.0.1, "
                       "fixed 0.0.0.0, \"gamma\", \"a\" 0567616d6d61") +
            QString(188, QLatin1Char('0')));
}

void TestDiscovery::announcesEveryCopy()
{
    Watcher device(m_port);
    Discovery discovery(m_port);
    listen(&discovery);
    discovery.refresh();
    // The device answers each of the two requests that it sees.
    QTRY_COMPARE(device.seen().size(), 2);
    for (int i = 0; i < device.seen().size() && i < 2; ++i) {
        QVERIFY(m_sender.send(answer(7), m_port, ownBroadcast));
    }
    QTRY_COMPARE(m_records.size(), std::size_t{2});
    QCOMPARE(shown(m_records.front()), shown(m_records.back()));
    QCOMPARE(m_records.front().tag(), 7);
}

void TestDiscovery::dropsItsOwnDatagrams()
{
    const auto record = DiscoveryDevice::fromAnswer(answer(7));
    QVERIFY(record);
    Discovery discovery(m_port);
    listen(&discovery);
    const qint64 before = udpCounter("InDatagrams");
    QVERIFY(before >= 0);
    discovery.refresh();
    discovery.configure(*record);
    // Both came back, on both addresses.
    QTRY_COMPARE(udpCounter("InDatagrams"), before + 4);
    QVERIFY(m_sender.send(answer(8), m_port));
    QTRY_COMPARE(tags(), QStringLiteral("8"));
}

void TestDiscovery::takesAnyLength_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("announced");
    QTest::newRow("0") << 0 << "";
    QTest::newRow("1") << 1 << "";
    QTest::newRow("4") << 4 << "";
    QTest::newRow("5") << 5 << "7 00:00:00:00:00:00 0.0.0.0  ";
    QTest::newRow("12") << 12 << "7 0E:5A:11:00:1F:A2 0.0.0.0  ";
    QTest::newRow("127") << 127 << "7 0E:5A:11:00:1F:A2 10.77.128.1 gamma a";
    QTest::newRow("128") << 128 << "7 0E:5A:11:00:1F:A2 10.77.128.1 gamma a";
    QTest::newRow("129") << 129 << "7 0E:5A:11:00:1F:A2 10.77.128.1 gamma a";
    QTest::newRow("1500") << 1500 << "7 0E:5A:11:00:1F:A2 10.77.128.1 gamma a";
    QTest::newRow("65507") << 65507 << "7 0E:5A:11:00:1F:A2 10.77.128.1 gamma a";
}

void TestDiscovery::takesAnyLength()
{
    QFETCH(int, length);
    Discovery discovery(m_port);
    listen(&discovery);
    const QByteArray datagram = (answer(7) + QByteArray(65507 - 128, 'x')).left(length);
    QCOMPARE(datagram.size(), length);
    QVERIFY(m_sender.send(datagram, m_port));
    QVERIFY(m_sender.send(answer(8), m_port));
    QTRY_VERIFY(!m_records.empty() && m_records.back().tag() == 8);
    QStringList seen;
    for (const DiscoveryDevice &record : m_records) {
        if (record.tag() != 8) {
            seen << QStringLiteral("%1 %2 %3 %4 %5")
                        .arg(record.tag())
                        .arg(record.macText(), record.address().toString(), record.hostname(),
                             record.extraText());
            QCOMPARE(record.nameField().size(), 100);
        }
    }
    QTEST(seen.join(QLatin1Char('\n')), "announced");
}

void TestDiscovery::survivesADatagramWithABadChecksum_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QByteArray>("datagram");
    QTest::newRow("an answer") << 1 << answer(666);
    QTest::newRow("one byte") << 1 << QByteArray("x");
    QTest::newRow("many answers") << 500 << answer(666);
}

void TestDiscovery::survivesADatagramWithABadChecksum()
{
    QFETCH(int, count);
    QFETCH(QByteArray, datagram);
    Discovery discovery(m_port);
    listen(&discovery);
    const Socket raw(SOCK_RAW, IPPROTO_RAW);
    QVERIFY2(raw.descriptor() >= 0, "a raw socket needs root in the private network");
    const qint64 before = udpCounter("InCsumErrors");
    const QByteArray packet = packetWithBadChecksum(datagram, m_port);
    for (int i = 0; i < count; ++i) {
        QVERIFY(raw.send(packet, 0));
    }
    // The program was woken for them and found nothing to read.
    QTRY_COMPARE(udpCounter("InCsumErrors"), before + count);
    for (int i = 1; i <= 3; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
        QTRY_COMPARE(m_records.size(), static_cast<std::size_t>(i));
    }
    const QString expected = QStringLiteral("1 2 3");
    QCOMPARE(tags(), expected);
}

void TestDiscovery::survivesAnEmptyDatagram()
{
    Discovery discovery(m_port);
    listen(&discovery);
    const qint64 before = udpCounter("InDatagrams");
    QVERIFY(m_sender.send(QByteArray(), m_port));
    QTRY_COMPARE(udpCounter("InDatagrams"), before + 1);
    QVERIFY(m_sender.send(answer(1), m_port));
    QTRY_COMPARE(tags(), QStringLiteral("1"));
    // In front of an answer as well.
    QVERIFY(m_sender.send(QByteArray(), m_port));
    QVERIFY(m_sender.send(answer(2), m_port));
    const QString expected = QStringLiteral("1 2");
    QTRY_COMPARE(tags(), expected);
}

void TestDiscovery::takesABurstWhileBusy()
{
    // As much as the kernel grants; a usual buffer holds 256 datagrams.
    const Socket probe;
    const int wanted = 4 * 1024 * 1024;
    int granted = 0;
    socklen_t size = sizeof granted;
    ::setsockopt(probe.descriptor(), SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
    ::getsockopt(probe.descriptor(), SOL_SOCKET, SO_RCVBUF, &granted, &size);
    const int count = std::min(5000, granted / 1024);
    QVERIFY2(count > 300, qPrintable(QString::number(granted)));

    Discovery discovery(m_port);
    listen(&discovery);
    // The event loop doesn't turn here.
    for (int i = 0; i < count; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
    }
    QTRY_COMPARE(m_records.size(), static_cast<std::size_t>(count));
    QCOMPARE(tags(), numbersBelow(count));
}

void TestDiscovery::losesNothingToASlowListener()
{
    Discovery discovery(m_port);
    listen(&discovery);
    connect(&discovery, &Discovery::device, this, [] { keepBusy(500); });
    constexpr int count = 2000;
    // Far longer than a socket's buffer would last, at a pace of a network rather than of this machine.
    std::thread devices([this] {
        for (int i = 0; i < count; ++i) {
            m_sender.send(answer(i), m_port);
            keepBusy(100);
        }
    });
    const bool all = QTest::qWaitFor([this] { return m_records.size() >= count; }, 30000);
    devices.join();
    QVERIFY2(all, qPrintable(QString::number(m_records.size())));
    QCOMPARE(tags(), numbersBelow(count));
}

void TestDiscovery::turnsTheEventLoopBetweenAnswers()
{
    Discovery discovery(m_port);
    listen(&discovery);
    connect(&discovery, &Discovery::device, this, [] { keepBusy(1000); });
    QTimer timer;
    std::size_t handledAtFirstTick = 0;
    int ticks = 0;
    connect(&timer, &QTimer::timeout, this, [&] {
        if (++ticks == 1) {
            handledAtFirstTick = m_records.size();
        }
    });
    for (int i = 0; i < 200; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
    }
    timer.start(0);
    QTRY_COMPARE(m_records.size(), std::size_t{200});
    QVERIFY2(handledAtFirstTick < 100, qPrintable(QString::number(handledAtFirstTick)));
    QVERIFY2(ticks >= 5, qPrintable(QString::number(ticks)));
}

void TestDiscovery::tellsThatItIsBusy()
{
    Discovery discovery(m_port);
    listen(&discovery);
    connect(&discovery, &Discovery::device, this, [] { keepBusy(1000); });
    QVector<QPair<bool, std::size_t>> told;
    connect(&discovery, &Discovery::busyChanged, this, [&](bool busy) {
        told.append({busy, m_records.size()});
    });
    // One answer is announced in a moment.
    QVERIFY(m_sender.send(answer(0), m_port));
    QTRY_COMPARE(m_records.size(), std::size_t{1});
    QCOMPARE(told.size(), 0);
    for (int i = 1; i <= 50; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
    }
    QTRY_COMPARE(m_records.size(), std::size_t{51});
    QTRY_COMPARE(told.size(), 2);
    QCOMPARE(told.at(0).first, true);
    QVERIFY(told.at(0).second < 51);
    QCOMPARE(told.at(1), qMakePair(false, std::size_t{51}));
}

void TestDiscovery::isNotBusyWhenItStopsListening()
{
    Discovery discovery(m_port);
    listen(&discovery);
    connect(&discovery, &Discovery::device, this, [] { keepBusy(1000); });
    QVector<bool> told;
    connect(&discovery, &Discovery::busyChanged, this, [&](bool busy) { told.append(busy); });
    for (int i = 0; i < 300; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
    }
    QVERIFY(QTest::qWaitFor([&] { return !told.isEmpty(); }, 5000));
    QCOMPARE(told, QVector<bool>{true});
    discovery.setListening(false);
    QCOMPARE(told, (QVector<bool>{true, false}));
}

void TestDiscovery::keepsTheEventLoopTurningInAFlood()
{
    Discovery discovery(m_port);
    listen(&discovery);
    QTimer timer;
    int ticks = 0;
    QElapsedTimer sinceTick;
    qint64 longest = 0;
    connect(&timer, &QTimer::timeout, this, [&] {
        longest = std::max(longest, sinceTick.restart());
        ++ticks;
    });

    std::atomic<bool> stop{false};
    std::atomic<qint64> sent{0};
    std::thread flood([&] {
        const Socket socket;
        const QByteArray request = zeros(128);
        while (!stop) {
            socket.send(request, m_port);
            ++sent;
        }
    });
    sinceTick.start();
    timer.start(10);
    const bool turned = QTest::qWaitFor([&] { return ticks >= 50 && sent > 20000; }, 30000);
    stop = true;
    flood.join();
    qInfo("%d ticks of 10 ms, %lld ms between two at most, %lld datagrams", ticks, longest, sent.load());
    QVERIFY2(turned, qPrintable(QStringLiteral("%1 ticks, %2 datagrams").arg(ticks).arg(sent.load())));
    QCOMPARE(tags(), QString());
    // As long as the flood still fills the buffer, an answer may be dropped.
    constexpr int timeToRecover = 30000; // milliseconds
    QTRY_VERIFY_WITH_TIMEOUT(m_sender.send(answer(1), m_port) && !m_records.empty(), timeToRecover);
}

void TestDiscovery::letsAListenerSendAndAsk()
{
    Discovery discovery(m_port);
    listen(&discovery);
    const auto record = DiscoveryDevice::fromAnswer(answer(99));
    QVERIFY(record);
    connect(&discovery, &Discovery::device, this, [&] {
        discovery.refresh();
        discovery.configure(*record);
        discovery.broadcast(QByteArray("x"));
    });
    const qint64 before = udpCounter("InDatagrams");
    for (int i = 1; i <= 20; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
    }
    QTRY_COMPARE(m_records.size(), std::size_t{20});
    QTRY_COMPARE(udpCounter("InDatagrams"), before + 140);
    QVERIFY(m_sender.send(answer(21), m_port));
    QTRY_COMPARE(m_records.size(), std::size_t{21});
}

void TestDiscovery::letsAListenerChangeThePort()
{
    const quint16 other = freePort();
    Discovery discovery(m_port);
    listen(&discovery);
    bool changed = false;
    connect(&discovery, &Discovery::device, this, [&] {
        if (!changed) {
            changed = true;
            discovery.setPort(other);
        }
    });
    QVERIFY(m_sender.send(answer(1), m_port));
    QTRY_COMPARE(tags(), QStringLiteral("1"));
    QCOMPARE(socketsOn(m_port).size(), 0);
    QCOMPARE(socketsOn(other).size(), 1);
    for (int i = 2; i <= 4; ++i) {
        QVERIFY(m_sender.send(answer(i), other));
        QTRY_COMPARE(m_records.size(), static_cast<std::size_t>(i));
    }
    const QString expected = QStringLiteral("1 2 3 4");
    QCOMPARE(tags(), expected);
}

void TestDiscovery::letsAListenerStopAndStartIt()
{
    Discovery discovery(m_port);
    listen(&discovery);
    connect(&discovery, &Discovery::device, this, [&] {
        discovery.setListening(false);
        discovery.setListening(true);
    });
    for (int i = 1; i <= 5; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
        QTRY_COMPARE(m_records.size(), static_cast<std::size_t>(i));
    }
    QCOMPARE(socketsOn(m_port).size(), 1);
}

void TestDiscovery::staysSilentOnceAListenerStoppedIt()
{
    Discovery discovery(m_port);
    listen(&discovery);
    connect(&discovery, &Discovery::device, this, [&discovery] { discovery.setListening(false); });
    for (int i = 1; i <= 10; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
    }
    QTimer timer;
    int ticks = 0;
    connect(&timer, &QTimer::timeout, this, [&] { ticks += m_records.empty() ? 0 : 1; });
    timer.start(1);
    // The other answers were there when the first one was announced.
    QTRY_VERIFY(ticks >= 20);
    QCOMPARE(tags(), QStringLiteral("1"));
    QCOMPARE(socketsOn(m_port).size(), 0);
}

void TestDiscovery::letsAListenerReadFurther()
{
    Discovery discovery(m_port);
    listen(&discovery);
    connect(&discovery, &Discovery::device, &discovery, &Discovery::processPendingDatagrams);
    for (int i = 0; i < 100; ++i) {
        QVERIFY(m_sender.send(answer(i), m_port));
    }
    QTRY_COMPARE(m_records.size(), std::size_t{100});
    QCOMPARE(tags(), numbersBelow(100));
    QVERIFY(m_sender.send(answer(100), m_port));
    QTRY_COMPARE(m_records.size(), std::size_t{101});
}

void TestDiscovery::goesOnAfterAListenerRanAnEventLoop()
{
    Discovery discovery(m_port);
    listen(&discovery);
    bool nested = false;
    connect(&discovery, &Discovery::device, this, [&] {
        if (!nested) {
            nested = true;
            // Arrives while the listener, a message box perhaps, runs an event loop of its own.
            m_sender.send(answer(2), m_port);
            QTimer timer;
            int ticks = 0;
            connect(&timer, &QTimer::timeout, this, [&ticks] { ++ticks; });
            timer.start(1);
            QVERIFY(QTest::qWaitFor([&ticks] { return ticks >= 20; }));
        }
    });
    QVERIFY(m_sender.send(answer(1), m_port));
    const QString expected = QStringLiteral("1 2");
    QTRY_COMPARE(tags(), expected);
    QVERIFY(m_sender.send(answer(3), m_port));
    QTRY_COMPARE(m_records.size(), std::size_t{3});
}

QTEST_GUILESS_MAIN(TestDiscovery)

#include "tst_discovery.moc"
