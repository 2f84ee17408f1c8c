#pragma once

#include "fleetcore.h"

#include <boost/asio/io_context.hpp>
#include <memory>

namespace simulator {

/// The web interfaces of all devices: listeners and connections. Lives on the thread of the io_context.
class HttpServer
{
public:
    HttpServer(boost::asio::io_context &context, FleetCore &core);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    /// Throws std::runtime_error when a port can't be listened on. Sets the ports of the core.
    void open();
    /// Opens or closes the device's own listeners after a change of its state, address or faults.
    void updateListeners(const DeviceState &device);
    void closeConnections(const DeviceState &device);
    void close();

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace simulator
