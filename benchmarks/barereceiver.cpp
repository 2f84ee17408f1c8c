#include "barereceiver.h"

#include "discovery/discoverydevice.h"
#include "report.h"

#include <QElapsedTimer>

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_set>

namespace {

constexpr quint16 fleetPort = 9806;
constexpr const char *ownAddress = "10.77.0.1";
constexpr std::array<const char *, 2> broadcastAddresses{"255.255.255.255", "10.77.255.255"};
/// As the program asks for.
constexpr int receiveBufferSize = 4 * 1024 * 1024;
/// Nothing for so long means that all have answered.
constexpr timeval silence{1, 0};

class Socket final
{
public:
    Socket(const char *address, quint16 port)
        : m_descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        set(SO_REUSEADDR, 1);
        set(SO_BROADCAST, 1);
        set(SO_RCVBUF, receiveBufferSize);
        setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof silence);
        const sockaddr_in local = addressOf(address, port);
        if (bind(m_descriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0) {
            report::giveUp(QStringLiteral("the discovery port can't be bound"));
        }
    }
    ~Socket() { close(m_descriptor); }
    Q_DISABLE_COPY_MOVE(Socket)

    void send(const QByteArray &datagram, const char *address, quint16 port) const
    {
        const sockaddr_in receiver = addressOf(address, port);
        sendto(m_descriptor, datagram.constData(), static_cast<std::size_t>(datagram.size()), 0,
               reinterpret_cast<const sockaddr *>(&receiver), sizeof receiver);
    }

    /// The sender's address, or 0 when nothing came.
    quint32 receive() const
    {
        std::array<char, DiscoveryDevice::datagramSize> bytes{};
        sockaddr_in sender{};
        socklen_t length = sizeof sender;
        const ssize_t size = recvfrom(m_descriptor, bytes.data(), bytes.size(), 0,
                                      reinterpret_cast<sockaddr *>(&sender), &length);
        return size < 0 ? 0 : sender.sin_addr.s_addr;
    }

private:
    static sockaddr_in addressOf(const char *address, quint16 port)
    {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        result.sin_port = htons(port);
        inet_pton(AF_INET, address, &result.sin_addr);
        return result;
    }
    void set(int option, int value) const
    {
        setsockopt(m_descriptor, SOL_SOCKET, option, &value, sizeof value);
    }

    int m_descriptor;
};

} // namespace

BareReceiver BareReceiver::ask()
{
    constexpr double nanosecondsPerMillisecond = 1e6;
    const Socket receiver("0.0.0.0", fleetPort);
    const Socket sender(ownAddress, 0);
    const quint32 self = inet_addr(ownAddress);
    BareReceiver result;
    std::unordered_set<quint32> devices;
    QElapsedTimer clock;
    clock.start();
    for (const char *const destination : broadcastAddresses) {
        sender.send(DiscoveryDevice::requestDatagram(), destination, fleetPort);
    }
    qint64 last = 0;
    while (const quint32 from = receiver.receive()) {
        // Our own request comes back too.
        if (from != self) {
            last = clock.nsecsElapsed();
            ++result.datagrams;
            devices.insert(from);
        }
    }
    result.devices = static_cast<int>(devices.size());
    result.time = static_cast<double>(last) / nanosecondsPerMillisecond;
    return result;
}
