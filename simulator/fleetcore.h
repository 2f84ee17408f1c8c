#pragma once

#include "devicestate.h"
#include "journalstore.h"

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

namespace simulator {

/// What the fleet's services share. Touched by the fleet's thread only, once that runs; the journal by all.
struct FleetCore
{
    explicit FleetCore(FleetOptions fleetOptions)
        : options(std::move(fleetOptions))
        , journal(options.journalLimit, options.journalBodyLimit)
    {
    }

    FleetOptions options;
    JournalStore journal;
    std::vector<std::unique_ptr<DeviceState>> devices;
    /// Devices by their current address, online or not.
    std::unordered_map<Address, int> byAddress;
    /// The ports in use, also where the options say 0.
    std::uint16_t httpPort = 0;
    std::uint16_t httpsPort = 0;
    std::uint16_t discoveryPort = 0;
    /// Takes the device off the network for its restart time.
    std::function<void(DeviceState &)> restart;

    [[nodiscard]] DeviceState *deviceAt(Address address) const
    {
        const auto found = byAddress.find(address);
        return found == byAddress.end() ? nullptr : devices[static_cast<std::size_t>(found->second)].get();
    }
};

} // namespace simulator
