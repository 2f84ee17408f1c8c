#pragma once

#include <QHostAddress>
#include <QtGlobal>

#include <vector>

/// The process's own TCP connections, which the toolkit gives no access to. From any thread.
namespace connections {

struct Connection
{
    int descriptor = -1;
    /// IPv4.
    QHostAddress peer;
    quint16 peerPort = 0;
};

/// All that lead to an IPv4 address.
[[nodiscard]] std::vector<Connection> all();

/// Bytes that the program has taken from a connection so far; what waits in the system is not among them.
[[nodiscard]] qint64 takenFrom(int descriptor);

/// Ends all connections to a peer. They stay open for whoever uses them, and find themselves at their end.
void cut(const QHostAddress &peer);

} // namespace connections
