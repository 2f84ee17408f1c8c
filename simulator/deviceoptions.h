#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

/// Six bytes, most significant first.
using MacAddress = std::array<std::uint8_t, 6>;
/// IPv4 in host byte order: the first octet of the dotted form is the most significant byte. 0 is "none".
using Address = std::uint32_t;

[[nodiscard]] std::string addressText(Address address);
[[nodiscard]] std::optional<Address> addressFromText(std::string_view text);
/// "0E:5A:11:00:1F:A2", upper case.
[[nodiscard]] std::string macText(const MacAddress &mac);
[[nodiscard]] std::optional<MacAddress> macFromText(std::string_view text);

/// How the device's HTTPS side behaves. The small keys, the old versions and the certificates that have
/// expired or name another host are what devices in the field have.
enum class TlsMode { Modern, Tls10Only, Tls11Only, Rsa1024, Rsa512, Expired, OtherName };

/// An account of the device. Levels: 0 nothing, 1 read data, 2 also read the configuration, 3 also write it.
struct User
{
    std::string name;
    std::string password;
    int level = 3;
};

/// One row of the sensor table. The value wanders around `base`, unless `value` pins it to fixed bytes.
struct Sensor
{
    double base = 21.5;
    double amplitude = 1.5;
    double periodSeconds = 600.0;
    int decimals = 1;
    std::string unit = "&deg;C";
    std::string status = "0";
    std::optional<std::string> value;
    std::optional<std::string> extendedValue;
};

/// One row of the interface table. An empty address stands for the device's current one.
struct NetworkInterface
{
    std::string address;
    std::string wlanName;
};

/// The answer datagram where it differs from a well-formed one of 128 bytes.
struct DatagramOptions
{
    /// Bytes sent; a shorter one is cut, a longer one is filled up with 0xA5.
    std::optional<std::size_t> length;
    /// Stands in for the true length byte in front of the name (variants other than 16).
    std::optional<std::uint8_t> nameLength;
    /// Sent as it is instead of an encoded answer.
    std::optional<std::string> raw;
    /// Text behind the name (variants other than 16), UTF-8.
    std::string extraText;
};

/// What one device is. Everything optional that is left out is made up from the fleet's seed and the index.
struct DeviceOptions
{
    std::optional<Address> address;
    std::optional<MacAddress> mac;
    /// Raw bytes in whatever encoding the name area shall hold.
    std::optional<std::string> hostName;
    std::optional<std::int8_t> variant;
    std::optional<std::int32_t> tag;
    std::optional<Address> netmask;
    std::optional<Address> gateway;
    /// 0: the address comes from DHCP. Else the current address must be the same to make sense; it isn't
    /// checked.
    Address staticAddress = 0;

    /// Share of the request copies that get no answer, 0 to 100; which ones follows from the seed.
    std::optional<double> lossPercent;
    /// Answers per received copy of a request.
    std::optional<int> answerCopies;
    DatagramOptions datagram;
    /// Doesn't answer discovery at all, but serves its web interface.
    bool silent = false;

    /// Plain HTTP answers everything by 303 to the same path under https.
    std::optional<bool> redirectToHttps;
    bool servesHttps = true;
    TlsMode tls = TlsMode::Modern;
    bool keepAlive = true;
    /// Hangs up on who asks a second time over one connection, though it doesn't announce that.
    bool answersOnce = false;
    std::optional<std::chrono::milliseconds> restartTime;

    std::vector<User> users{
        {"admin", "admin", 3}, {"service", "service", 2}, {"guest", "guest", 1}, {"none", "none", 0}};
    /// Level of a visitor who isn't logged in. 1: everybody may read data.
    int anonymousLevel = 1;
    /// The information template is refused with 403 unless a user is logged in.
    bool informationNeedsLogin = false;

    std::optional<std::vector<Sensor>> sensors;
    std::optional<std::vector<NetworkInterface>> interfaces;
    /// Whether the template engine knows sensortab_value_ex; old firmware doesn't.
    std::optional<bool> extendedValues;
    std::optional<std::string> location;
    std::optional<std::string> contact;
    std::optional<std::string> firmwareName;
    std::optional<std::string> firmwareVersion;
    std::optional<std::string> deviceType;
    /// Seconds since 1970-01-01 UTC.
    std::optional<std::int64_t> historyStart;
    std::optional<std::chrono::seconds> uptime;
    /// Added to the computer's clock to get the device's.
    std::chrono::seconds clockOffset{0};
    /// The configuration document without its passwords, in place of the default one.
    std::optional<std::string> configuration;
    /// Any template variable to any bytes; wins over everything else. Nothing is escaped.
    std::map<std::string, std::string> variables;
};

} // namespace simulator
