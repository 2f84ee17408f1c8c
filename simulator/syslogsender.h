#pragma once

#include "fleetcore.h"
#include "udpsocket.h"

#include <boost/asio/steady_timer.hpp>
#include <memory>

namespace simulator {

/// Sends one stream of syslog lines, taking turns among the devices that are online.
class SyslogSender
{
public:
    SyslogSender(boost::asio::io_context &context, FleetCore &core, SyslogOptions options);

    void start();
    void stop();

private:
    void tick();
    [[nodiscard]] std::string line(const DeviceState &device) const;

    FleetCore &m_core;
    SyslogOptions m_options;
    UdpSocket m_socket;
    boost::asio::steady_timer m_timer;
    std::chrono::steady_clock::time_point m_startedAt;
    std::uint64_t m_sent = 0;
    std::size_t m_nextDevice = 0;
};

} // namespace simulator
