#include "discoveryservice.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr Address limitedBroadcast = 0xFFFFFFFF;

} // namespace

DiscoveryService::DiscoveryService(boost::asio::io_context &context, FleetCore &core)
    : m_core(core)
    , m_limited(context)
    , m_directed(context)
    , m_timer(context)
{
}

void DiscoveryService::open()
{
    m_limited.open(limitedBroadcast, m_core.options.discoveryPort);
    m_core.discoveryPort = m_limited.port();
    m_directed.open(m_core.options.broadcastAddress, m_core.discoveryPort);
    const auto receiver = [this](const IncomingDatagram &datagram) { received(datagram); };
    m_limited.receive(receiver);
    m_directed.receive(receiver);
    m_limited.onSent([this](std::uint64_t sent, std::uint64_t failed) {
        m_core.journal.count([=](Counters &counters) {
            counters.answersSent += sent;
            counters.sendErrors += failed;
        });
    });
}

void DiscoveryService::close()
{
    m_timer.cancel();
    m_later.clear();
    m_limited.close();
    m_directed.close();
}

void DiscoveryService::received(const IncomingDatagram &datagram)
{
    const std::optional<Datagram> decoded = Datagram::decoded(datagram.bytes);
    if (decoded && decoded->command == Datagram::Answer) {
        return;
    }
    m_core.journal.add(DatagramRecord{std::chrono::steady_clock::now(), std::chrono::system_clock::now(),
                                      datagram.sender, datagram.senderPort, datagram.destination,
                                      datagram.bytes});
    if (!decoded) {
        return;
    }
    if (decoded->command == Datagram::Request) {
        m_core.journal.count([](Counters &counters) { ++counters.discoveryRequests; });
        answerAll(datagram.sender);
    } else if (decoded->command == Datagram::Configure) {
        m_core.journal.count([](Counters &counters) { ++counters.configurationOrders; });
        configure(*decoded);
    }
}

OutgoingDatagram DiscoveryService::answerOf(const DeviceState &device, Address receiver) const
{
    const Address target = m_core.options.broadcastAnswers ? m_core.options.broadcastAddress : receiver;
    return {device.address(), target, m_core.discoveryPort, device.answer()};
}

void DiscoveryService::announce(const DeviceState &device, Address receiver)
{
    m_limited.send(answerOf(device, receiver));
}

void DiscoveryService::answerAll(Address asker)
{
    const auto now = Clock::now();
    const std::size_t count = m_core.devices.size();
    std::uint64_t lost = 0;
    for (std::size_t i = 0; i < count; ++i) {
        DeviceState &device = *m_core.devices[i];
        if (!device.isOnline() || device.options().silent) {
            continue;
        }
        if (device.losesNextRequest()) {
            ++lost;
            continue;
        }
        const auto wait = Clock::duration(m_core.options.spread) * static_cast<std::int64_t>(i) /
                          static_cast<std::int64_t>(count);
        for (int copy = 0; copy < *device.options().answerCopies; ++copy) {
            sendLater(now + wait, answerOf(device, asker));
        }
    }
    if (lost > 0) {
        m_core.journal.count([lost](Counters &counters) { counters.answersLost += lost; });
    }
    waitForNext();
}

void DiscoveryService::sendLater(Clock::time_point when, OutgoingDatagram datagram)
{
    if (m_core.options.spread.count() <= 0) {
        m_limited.send(std::move(datagram));
    } else {
        m_later.emplace(when, std::move(datagram));
    }
}

void DiscoveryService::waitForNext()
{
    if (m_later.empty()) {
        return;
    }
    m_timer.expires_at(m_later.begin()->first);
    m_timer.async_wait([this](boost::system::error_code error) {
        if (!error) {
            sendDue();
        }
    });
}

void DiscoveryService::sendDue()
{
    const auto end = m_later.upper_bound(Clock::now());
    for (auto entry = m_later.begin(); entry != end; ++entry) {
        m_limited.send(std::move(entry->second));
    }
    m_later.erase(m_later.begin(), end);
    waitForNext();
}

/// The MAC may be what the order changes, so a device knows its order by its tag and its current address.
/// Only when no device fits does a tag with a MAC do, for an order that was made before the address changed.
DeviceState *DiscoveryService::addressed(const Datagram &order) const
{
    DeviceState *byMac = nullptr;
    for (const auto &device : m_core.devices) {
        if (*device->options().tag != order.tag) {
            continue;
        }
        if (device->address() == order.address) {
            return device.get();
        }
        if (*device->options().mac == order.mac) {
            byMac = device.get();
        }
    }
    return byMac;
}

void DiscoveryService::configure(const Datagram &order)
{
    DeviceState *device = addressed(order);
    if (!device || !device->isOnline()) {
        return;
    }
    device->applyAtRestart(order);
    m_core.restart(*device);
}

} // namespace simulator
