#pragma once

#include "deviceoptions.h"
#include "fault.h"
#include "journal.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace simulator {

struct FleetOptions
{
    std::uint64_t seed = 1;
    /// Address of the first device; the next ones count up from it.
    Address baseAddress = 0x0A4D8001; // 10.77.128.1
    /// 0 takes any free port, to be asked for after the start.
    std::uint16_t httpPort = 80;
    std::uint16_t httpsPort = 443;
    std::uint16_t discoveryPort = 9806;
    Address broadcastAddress = 0x0A4DFFFF; // 10.77.255.255
    Address netmask = 0xFFFF0000;
    Address gateway = 0x0A4D00FE;
    /// Before every answer of the web interface.
    std::chrono::milliseconds delay{0};
    /// Discovery answers of one request are spread evenly over this time; 0 sends all at once.
    std::chrono::milliseconds spread{0};
    double lossPercent = 0.0;
    int answerCopies = 1;
    /// Answers go to the broadcast address instead of the asking computer.
    bool broadcastAnswers = false;
    /// Share of the made-up devices that redirect plain HTTP to HTTPS.
    double httpsSharePercent = 0.0;
    std::chrono::milliseconds restartTime{3000};
    /// Fleets up to this size have a listener per device, so that a refusal is a real one; bigger ones share
    /// one.
    int listenerPerDeviceLimit = 256;
    std::size_t journalLimit = 200000;
    std::size_t journalBodyLimit = 64U << 10U;
    /// Appends every record as a line of JSON when not empty.
    std::string journalFile;
    /// Without it a fleet starts only in the private network made by scripts/private-network.
    bool allowRealNetwork = false;
};

struct SyslogOptions
{
    Address address = 0x0A4D0001; // 10.77.0.1
    std::uint16_t port = 514;
    /// Lines per second, of the whole fleet.
    double rate = 1.0;
    /// 0: until the fleet stops.
    std::uint64_t count = 0;
    /// Sent in turn as they are; empty: made-up lines.
    std::vector<std::string> lines;
};

/// A copy of what a device is at one moment.
struct DeviceInfo
{
    Address address = 0;
    Address netmask = 0;
    Address gateway = 0;
    Address staticAddress = 0;
    MacAddress mac{};
    std::string hostName;
    std::int8_t variant = 0;
    std::int32_t tag = 0;
    bool restarting = false;
    int restarts = 0;
    int activeBuffer = 1;
    std::string firmwareVersion;
    /// Bytes and version of the two firmware buffers; index 0 is buffer 1.
    std::array<std::uint64_t, 2> bufferSizes{};
    std::array<std::string, 2> bufferVersions;
    /// The configuration document without passwords.
    std::string configuration;
    int sessions = 0;
    int configurationUploads = 0;
};

/// A fleet of simulated devices: discovery, web interfaces and syslog. It owns one thread that does all the
/// work between start() and stop(). All functions may be called from any thread (start() and stop() from
/// one); devices are known by their index in the order of adding, and stay until the fleet is destroyed.
class Fleet final
{
public:
    explicit Fleet(FleetOptions options = {});
    ~Fleet();
    Fleet(const Fleet &) = delete;
    Fleet &operator=(const Fleet &) = delete;

    /// Only before start(). Returns the index.
    int addDevice(DeviceOptions options = {});
    /// Adds `count` devices of the same kind; an address and a MAC given count up. Returns the first index.
    int addDevices(int count, const DeviceOptions &options = {});
    /// Throws std::runtime_error with a sentence for the user when something can't be opened.
    void start();
    void stop();

    [[nodiscard]] std::uint16_t httpPort() const;
    [[nodiscard]] std::uint16_t httpsPort() const;
    [[nodiscard]] std::uint16_t discoveryPort() const;
    [[nodiscard]] int deviceCount() const;
    [[nodiscard]] DeviceInfo device(int index) const;
    /// The same as in its information, without a copy of all the rest.
    [[nodiscard]] bool isRestarting(int index) const;
    /// Index of the device that now has the MAC, or -1.
    [[nodiscard]] int indexOf(const MacAddress &mac) const;

    /// Changes any option of a device at once (no restart). Users, sensors, interfaces, variables, datagram,
    /// ...; optionals are set to what the device has before `change` is called, and an emptied one is left as
    /// it is.
    void change(int index, const std::function<void(DeviceOptions &)> &change);
    void setVariable(int index, const std::string &name, const std::string &bytes);
    /// Off the network for the restart time, then back, without its sessions.
    void restart(int index);
    /// The plug is pulled: no discovery, no web, until switched on again (which loses the sessions).
    void setPowered(int index, bool on);
    void dropSessions(int index);
    void setDelay(std::chrono::milliseconds delay);
    void setSpread(std::chrono::milliseconds spread);
    void setBroadcastAnswers(bool on);

    void addFault(int index, Fault fault);
    /// For every device.
    void addFault(const Fault &fault);
    void clearFaults(int index);
    void clearFaults();

    void sendSyslog(SyslogOptions options);
    /// Answers as if a request had come from `receiver`; for devices that announce themselves.
    void announce(int index, Address receiver = 0x0A4D0001);

    [[nodiscard]] Journal journal() const;
    /// The HTTP requests of one device whose target (without the leading slash) begins with `path`.
    [[nodiscard]] std::vector<HttpRecord> requests(int index, const std::string &path = {}) const;
    [[nodiscard]] Counters counters() const;
    void clearJournal();
    /// Waits until `done` holds for the counters, at most `timeout`; tells whether it did.
    bool waitFor(const std::function<bool(const Counters &)> &done, std::chrono::milliseconds timeout) const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace simulator
