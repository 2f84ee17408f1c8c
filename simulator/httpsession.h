#pragma once

#include "fleetcore.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <optional>
#include <unordered_map>

namespace simulator {

/// One connection to a device, from its handshake to its end.
class Connection
{
public:
    Connection() = default;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    virtual ~Connection() = default;

    /// Ends at once, whatever is under way.
    virtual void abort() = 0;
};

/// The connections that are open, by device. Doesn't keep them alive.
class ConnectionRegistry
{
public:
    void add(const std::shared_ptr<Connection> &connection, const DeviceState &device)
    {
        m_connections[connection.get()] = {connection, &device};
    }
    void remove(const Connection *connection) { m_connections.erase(connection); }
    /// It stays open when the device's connections are closed.
    void release(const Connection *connection) { m_connections.at(connection).device = nullptr; }
    /// Of one device, or with null of all.
    void closeAll(const DeviceState *device);

private:
    struct Entry
    {
        std::weak_ptr<Connection> connection;
        const DeviceState *device = nullptr;
    };
    std::unordered_map<const Connection *, Entry> m_connections;
};

struct SessionSetup
{
    FleetCore &core;
    ConnectionRegistry &connections;
    DeviceState &device;
    bool https = false;
    /// Unasked, a fault of TLS, or none.
    std::optional<Fault> connectionFault;
    /// Null for plain HTTP.
    boost::asio::ssl::context *tls = nullptr;
};

/// Serves the socket until either side has had enough.
void startSession(boost::asio::ip::tcp::socket socket, SessionSetup setup);
/// Ends the connection by a reset, as a closed port would.
void resetConnection(boost::asio::ip::tcp::socket &socket);

} // namespace simulator
