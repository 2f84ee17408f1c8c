#include "common/connections.h"

#include <arpa/inet.h>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <linux/tcp.h>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace connections {

namespace {

/// Those of the process, without QDir, which asks for the kind of each file.
std::vector<int> descriptors()
{
    std::vector<int> all;
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(opendir("/proc/self/fd"), &closedir);
    while (const dirent *const entry = directory ? readdir(directory.get()) : nullptr) {
        // The two that are no numbers are no connections either.
        all.push_back(std::atoi(entry->d_name));
    }
    return all;
}

bool isTcp(int descriptor)
{
    int protocol = 0;
    socklen_t size = sizeof protocol;
    return getsockopt(descriptor, SOL_SOCKET, SO_PROTOCOL, &protocol, &size) == 0 && protocol == IPPROTO_TCP;
}

/// Null if it is no TCP connection to an IPv4 address.
std::optional<sockaddr_in> peerOf(int descriptor)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (!isTcp(descriptor) || getpeername(descriptor, reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
        address.sin_family != AF_INET) {
        return {};
    }
    return address;
}

void cut(int descriptor)
{
    shutdown(descriptor, SHUT_RDWR);
    // What has arrived already would keep its reader busy for seconds.
    std::array<char, 65536> bytes{};
    while (recv(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
    }
}

} // namespace

std::vector<Connection> all()
{
    std::vector<Connection> found;
    for (const int descriptor : descriptors()) {
        const auto peer = peerOf(descriptor);
        if (peer) {
            found.push_back({descriptor, QHostAddress(ntohl(peer->sin_addr.s_addr)), ntohs(peer->sin_port)});
        }
    }
    return found;
}

qint64 takenFrom(int descriptor)
{
    tcp_info info{};
    socklen_t size = sizeof info;
    int waiting = 0;
    if (getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0 ||
        size < offsetof(tcp_info, tcpi_bytes_received) + sizeof info.tcpi_bytes_received ||
        ioctl(descriptor, FIONREAD, &waiting) != 0) {
        return 0;
    }
    return static_cast<qint64>(info.tcpi_bytes_received) - waiting;
}

void cut(const QHostAddress &peer)
{
    for (const int descriptor : descriptors()) {
        // Closing the copy of a file could cost the file its locks.
        if (!isTcp(descriptor)) {
            continue;
        }
        // Meanwhile its owner may close it, and the number may become another's: of a copy it can't.
        const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
        if (copy >= 0) {
            const auto address = peerOf(copy);
            if (address && ntohl(address->sin_addr.s_addr) == peer.toIPv4Address()) {
                cut(copy);
            }
            close(copy);
        }
    }
}

} // namespace connections
