#pragma once

#include "fleet.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace simulator {

/// What is wrong with a scenario, and where, as a sentence for its author.
class ScenarioError final : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A fleet as a JSON file describes it; docs/simulator.md explains the format.
struct Scenario
{
    FleetOptions fleet;
    /// How many made-up devices come before the described ones.
    int madeUpDevices = 0;
    /// What all devices have in common, the made-up ones too.
    DeviceOptions defaults;
    std::vector<DeviceOptions> devices;
    /// Index of the device, counting the made-up ones, or -1 for all.
    std::vector<std::pair<int, Fault>> faults;
    std::vector<SyslogOptions> syslog;

    /// Throws ScenarioError. An unknown key is an error too: a typing mistake must not pass as a healthy
    /// device.
    [[nodiscard]] static Scenario fromJson(std::string_view text);
    [[nodiscard]] static Scenario fromFile(const std::string &path);
    /// Adds devices and faults to a fleet made with `fleet`. The syslog is for the caller, after the start.
    void addTo(Fleet &fleetToFill) const;
};

} // namespace simulator
