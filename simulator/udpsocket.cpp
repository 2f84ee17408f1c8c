#include "udpsocket.h"

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace simulator {

namespace {

constexpr int bufferSize = 8 << 20;
constexpr std::size_t batchSize = 64;
constexpr int batchesBeforeOthers = 16;
constexpr int datagramsBeforeOthers = 512;

sockaddr_in socketAddress(Address address, std::uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

void switchOn(int descriptor, int level, int option)
{
    const int on = 1;
    static_cast<void>(setsockopt(descriptor, level, option, &on, sizeof on));
}

/// One datagram in the form of the system call, which only points to things: so it must not move.
struct Envelope
{
    sockaddr_in receiver{};
    iovec content{};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> control{};

    void fill(OutgoingDatagram &datagram, msghdr &header)
    {
        receiver = socketAddress(datagram.receiver, datagram.port);
        content = {datagram.bytes.data(), datagram.bytes.size()};
        header = {};
        header.msg_name = &receiver;
        header.msg_namelen = sizeof receiver;
        header.msg_iov = &content;
        header.msg_iovlen = 1;
        if (datagram.source == 0) {
            return;
        }
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        cmsghdr *message = CMSG_FIRSTHDR(&header);
        message->cmsg_level = IPPROTO_IP;
        message->cmsg_type = IP_PKTINFO;
        message->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
        in_pktinfo info{};
        info.ipi_spec_dst.s_addr = htonl(datagram.source);
        std::memcpy(CMSG_DATA(message), &info, sizeof info);
    }
};

Address destinationOf(msghdr &header)
{
    for (cmsghdr *message = CMSG_FIRSTHDR(&header); message; message = CMSG_NXTHDR(&header, message)) {
        if (message->cmsg_level == IPPROTO_IP && message->cmsg_type == IP_PKTINFO) {
            in_pktinfo info{};
            std::memcpy(&info, CMSG_DATA(message), sizeof info);
            return ntohl(info.ipi_addr.s_addr);
        }
    }
    return 0;
}

} // namespace

UdpSocket::UdpSocket(boost::asio::io_context &context)
    : m_context(context)
    , m_descriptor(context)
{
}

void UdpSocket::open(Address address, std::uint16_t port)
{
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throw std::runtime_error(std::string("can't open a UDP socket: ") + std::strerror(errno));
    }
    m_descriptor.assign(descriptor);
    switchOn(descriptor, SOL_SOCKET, SO_REUSEADDR);
    switchOn(descriptor, SOL_SOCKET, SO_BROADCAST);
    switchOn(descriptor, IPPROTO_IP, IP_PKTINFO);
    // A device may be sent to an address that this computer doesn't have; its answers still come from there.
    switchOn(descriptor, IPPROTO_IP, IP_FREEBIND);
    switchOn(descriptor, IPPROTO_IP, IP_TRANSPARENT);
    for (const int option : {SO_RCVBUF, SO_SNDBUF}) {
        static_cast<void>(setsockopt(descriptor, SOL_SOCKET, option, &bufferSize, sizeof bufferSize));
    }
    const sockaddr_in local = socketAddress(address, port);
    if (::bind(descriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0) {
        throw std::runtime_error("can't receive on " + addressText(address) + ", UDP port " +
                                 std::to_string(port) + ": " + std::strerror(errno));
    }
}

std::uint16_t UdpSocket::port() const
{
    sockaddr_in local{};
    socklen_t size = sizeof local;
    auto *descriptor = const_cast<boost::asio::posix::stream_descriptor *>(&m_descriptor);
    if (getsockname(descriptor->native_handle(), reinterpret_cast<sockaddr *>(&local), &size) != 0) {
        return 0;
    }
    return ntohs(local.sin_port);
}

void UdpSocket::receive(Receiver receiver)
{
    m_receiver = std::move(receiver);
    waitForDatagrams();
}

void UdpSocket::close()
{
    boost::system::error_code ignored;
    m_descriptor.close(ignored);
    m_queue.clear();
}

void UdpSocket::waitForDatagrams()
{
    m_descriptor.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                            [this](boost::system::error_code error) {
                                if (error) {
                                    return;
                                }
                                drain();
                                waitForDatagrams();
                            });
}

void UdpSocket::drain()
{
    std::array<char, 65536> buffer;
    for (int i = 0; i < datagramsBeforeOthers; ++i) {
        sockaddr_in sender{};
        alignas(cmsghdr) std::array<char, 256> control{};
        iovec content{buffer.data(), buffer.size()};
        msghdr header{};
        header.msg_name = &sender;
        header.msg_namelen = sizeof sender;
        header.msg_iov = &content;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        const ssize_t size = recvmsg(m_descriptor.native_handle(), &header, MSG_DONTWAIT);
        if (size < 0) {
            return;
        }
        m_receiver({ntohl(sender.sin_addr.s_addr), ntohs(sender.sin_port), destinationOf(header),
                    std::string(buffer.data(), static_cast<std::size_t>(size))});
    }
}

void UdpSocket::send(OutgoingDatagram datagram)
{
    m_queue.push_back(std::move(datagram));
    if (!m_isFlushing) {
        flushSoon();
    }
}

void UdpSocket::flushSoon()
{
    m_isFlushing = true;
    boost::asio::post(m_context, [this] { flush(); });
}

void UdpSocket::flush()
{
    for (int i = 0; i < batchesBeforeOthers; ++i) {
        if (m_queue.empty()) {
            m_isFlushing = false;
            return;
        }
        if (sendBatch() == 0) {
            waitForRoom();
            return;
        }
    }
    flushSoon();
}

void UdpSocket::waitForRoom()
{
    m_descriptor.async_wait(boost::asio::posix::stream_descriptor::wait_write,
                            [this](boost::system::error_code error) {
                                if (!error) {
                                    flush();
                                }
                            });
}

/// How many left the queue; 0 when the system has no room at the moment.
std::size_t UdpSocket::sendBatch()
{
    std::array<Envelope, batchSize> envelopes;
    std::array<mmsghdr, batchSize> headers{};
    const std::size_t count = std::min(batchSize, m_queue.size());
    for (std::size_t i = 0; i < count; ++i) {
        envelopes[i].fill(m_queue[i], headers[i].msg_hdr);
    }
    const int sent =
        sendmmsg(m_descriptor.native_handle(), headers.data(), static_cast<unsigned>(count), MSG_DONTWAIT);
    if (sent < 0 && (errno == EAGAIN || errno == ENOBUFS || errno == EINTR)) {
        return 0;
    }
    // An error is that of the first one: the others still have their chance.
    const std::size_t done = sent > 0 ? static_cast<std::size_t>(sent) : 1;
    if (m_report) {
        m_report(sent > 0 ? done : 0, sent > 0 ? 0 : 1);
    }
    m_queue.erase(m_queue.begin(), m_queue.begin() + static_cast<std::ptrdiff_t>(done));
    return done;
}

} // namespace simulator
