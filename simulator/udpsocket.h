#pragma once

#include "deviceoptions.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <deque>
#include <functional>
#include <string>

namespace simulator {

struct IncomingDatagram
{
    Address sender = 0;
    std::uint16_t senderPort = 0;
    Address destination = 0;
    std::string bytes;
};

struct OutgoingDatagram
{
    /// Where it pretends to come from, and does as far as the system allows.
    Address source = 0;
    Address receiver = 0;
    std::uint16_t port = 0;
    std::string bytes;
};

/// A UDP socket of the fleet: sends from any device's address in batches, loses nothing when the system's
/// buffer is full, and knows which address a datagram came to. Lives on the thread of the io_context.
class UdpSocket
{
public:
    using Receiver = std::function<void(const IncomingDatagram &)>;
    using SendReport = std::function<void(std::uint64_t sent, std::uint64_t failed)>;

    explicit UdpSocket(boost::asio::io_context &context);

    /// Throws std::runtime_error. Port 0 takes a free one.
    void open(Address address, std::uint16_t port);
    [[nodiscard]] std::uint16_t port() const;
    void receive(Receiver receiver);
    void onSent(SendReport report) { m_report = std::move(report); }
    void send(OutgoingDatagram datagram);
    void close();

private:
    void waitForDatagrams();
    void drain();
    void flushSoon();
    void flush();
    void waitForRoom();
    [[nodiscard]] std::size_t sendBatch();

    boost::asio::io_context &m_context;
    boost::asio::posix::stream_descriptor m_descriptor;
    Receiver m_receiver;
    SendReport m_report;
    std::deque<OutgoingDatagram> m_queue;
    bool m_isFlushing = false;
};

} // namespace simulator
