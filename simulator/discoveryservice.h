#pragma once

#include "fleetcore.h"
#include "udpsocket.h"

#include <boost/asio/steady_timer.hpp>
#include <map>

namespace simulator {

/// Hears broadcasts for all devices and answers for them. Lives on the thread of the io_context.
class DiscoveryService
{
public:
    DiscoveryService(boost::asio::io_context &context, FleetCore &core);

    /// Throws std::runtime_error. Sets the port of the core.
    void open();
    void close();
    /// One answer of one device, now.
    void announce(const DeviceState &device, Address receiver);

private:
    using Clock = std::chrono::steady_clock;

    void received(const IncomingDatagram &datagram);
    void answerAll(Address asker);
    void configure(const Datagram &order);
    [[nodiscard]] DeviceState *addressed(const Datagram &order) const;
    [[nodiscard]] OutgoingDatagram answerOf(const DeviceState &device, Address receiver) const;
    void sendLater(Clock::time_point when, OutgoingDatagram datagram);
    void waitForNext();
    void sendDue();

    FleetCore &m_core;
    // Bound to the two broadcast addresses, so that answers sent to this computer never end up here.
    UdpSocket m_limited;
    UdpSocket m_directed;
    boost::asio::steady_timer m_timer;
    std::multimap<Clock::time_point, OutgoingDatagram> m_later;
};

} // namespace simulator
