#include "devicestate.h"

#include "seededrandom.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <sstream>

namespace simulator {

namespace {

constexpr std::size_t maximalSessions = 64;
constexpr std::string_view passwordsHeading = "[passwords]";

enum Purpose : std::uint64_t {
    MacPurpose = 1,
    NamePurpose,
    VariantPurpose,
    TagPurpose,
    PlacePurpose,
    ContactPurpose,
    FirmwarePurpose,
    SensorPurpose,
    StatusPurpose,
    InterfacePurpose,
    ExtendedPurpose,
    UptimePurpose,
    MemoryPurpose,
    HistoryPurpose,
    LossPurpose,
    SessionPurpose,
    HttpsPurpose,
};

template <typename T, std::size_t N>
const T &pick(const std::array<T, N> &choices, std::uint64_t bits)
{
    return choices[bits % N];
}

std::string numbered(const char *prefix, int number)
{
    std::array<char, 16> digits{};
    std::snprintf(digits.data(), digits.size(), "%04d", number);
    return std::string(prefix) + digits.data();
}

std::string hexadecimal(std::uint64_t value)
{
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(value));
    return digits.data();
}

std::uint64_t checksum(std::string_view bytes)
{
    std::uint64_t sum = 0xCBF29CE484222325U;
    for (const char byte : bytes) {
        sum = (sum ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3U;
    }
    return sum;
}

/// An image that says "version=..." near its beginning has that version, any other one is named by its
/// content.
std::string imageVersion(const std::string &image)
{
    constexpr std::string_view key = "version=";
    const std::string_view head = std::string_view(image).substr(0, 1024);
    const std::size_t found = head.find(key);
    if (found == std::string_view::npos) {
        return "0-" + hexadecimal(checksum(image)).substr(0, 8);
    }
    const std::string_view rest = head.substr(found + key.size());
    return std::string(rest.substr(0, rest.find_first_of(std::string_view("\r\n\0 ", 4))));
}

std::vector<Sensor> madeUpSensors(std::uint64_t bits)
{
    static const std::array<Sensor, 4> kinds{Sensor{21.5, 1.8, 900.0, 1, "&deg;C", "0", {}, {}},
                                             Sensor{46.0, 8.0, 1500.0, 1, "%rH", "0", {}, {}},
                                             Sensor{1013.2, 6.0, 5400.0, 1, "hPa", "0", {}, {}},
                                             Sensor{9.4, 1.2, 1100.0, 1, "&deg;C", "0", {}, {}}};
    static const std::array<std::size_t, 8> counts{1, 2, 2, 2, 3, 3, 4, 4};
    std::vector<Sensor> sensors(kinds.begin(),
                                kinds.begin() + static_cast<std::ptrdiff_t>(pick(counts, bits)));
    for (Sensor &sensor : sensors) {
        bits = mixed(bits, SensorPurpose);
        sensor.base += (unitInterval(bits) - 0.5) * 4.0 * sensor.amplitude;
        sensor.periodSeconds *= 0.5 + unitInterval(mixed(bits, 1));
    }
    return sensors;
}

std::tm brokenDown(double time)
{
    const auto seconds = static_cast<std::time_t>(std::floor(time));
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    return parts;
}

std::string formattedTime(const char *pattern, double time)
{
    const std::tm parts = brokenDown(time);
    std::array<char, 32> text{};
    if (std::string_view(pattern) == "date") {
        std::strftime(text.data(), text.size(), "%d.%m.%Y", &parts);
    } else {
        std::strftime(text.data(), text.size(), "%H:%M:%S", &parts);
    }
    return text.data();
}

} // namespace

std::string sensorText(const Sensor &sensor, std::uint64_t salt, double time, int decimals)
{
    constexpr double fullTurn = 6.283185307179586;
    const double phase = unitInterval(mixed(salt)) * fullTurn;
    const double turns = sensor.periodSeconds > 0 ? time / sensor.periodSeconds : 0.0;
    const double wave =
        0.8 * std::sin(turns * fullTurn + phase) + 0.2 * std::sin(turns * 4.7 * fullTurn + 2 * phase);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", std::clamp(decimals, 0, 9),
                  sensor.base + sensor.amplitude * wave);
    return text.data();
}

DeviceState::DeviceState(int index, DeviceOptions options, const FleetOptions &fleet)
    : m_index(index)
    , m_seed(fleet.seed)
    , m_options(std::move(options))
    , m_startedAt(std::chrono::steady_clock::now())
{
    makeUpNetwork(fleet);
    makeUpPlace();
    makeUpSensors();
    m_startedAt -= *m_options.uptime;
    m_bufferVersions[0] = *m_options.firmwareVersion;
    m_bufferSizes[0] = 524288;
}

std::uint64_t DeviceState::random(std::uint64_t purpose) const
{
    return mixed(m_seed, static_cast<std::uint64_t>(m_index) + 1, purpose);
}

void DeviceState::makeUpNetwork(const FleetOptions &fleet)
{
    static const std::array<std::int8_t, 8> variants{16, 16, 16, 16, 1, 2, 3, 16};
    DeviceOptions &o = m_options;
    const std::uint32_t serial = static_cast<std::uint32_t>(m_index) + 1;
    if (!o.address) {
        o.address = o.staticAddress != 0 ? o.staticAddress : fleet.baseAddress + serial - 1;
    }
    if (!o.mac) {
        const std::uint32_t offset =
            static_cast<std::uint32_t>(mixed(m_seed, MacPurpose) & 0x7FFFFFU) + serial;
        o.mac = MacAddress{0x0E,
                           0x5A,
                           0x11,
                           static_cast<std::uint8_t>(offset >> 16U),
                           static_cast<std::uint8_t>(offset >> 8U),
                           static_cast<std::uint8_t>(offset)};
    }
    if (!o.hostName) {
        static const std::array<const char *, 6> prefixes{"lab-sensor-",  "hall-sensor-", "cold-store-",
                                                          "server-room-", "clean-room-",  "roof-sensor-"};
        o.hostName = numbered(pick(prefixes, random(NamePurpose)), static_cast<int>(serial));
    }
    o.variant = o.variant.value_or(pick(variants, random(VariantPurpose)));
    // Serial numbers, so that a tag belongs to one device only.
    o.tag = o.tag.value_or(static_cast<std::int32_t>((mixed(m_seed, TagPurpose) & 0x3FFFFFFFU) + serial));
    o.netmask = o.netmask.value_or(fleet.netmask);
    o.gateway = o.gateway.value_or(fleet.gateway);
    o.lossPercent = o.lossPercent.value_or(fleet.lossPercent);
    o.answerCopies = o.answerCopies.value_or(fleet.answerCopies);
    o.redirectToHttps =
        o.redirectToHttps.value_or(unitInterval(random(HttpsPurpose)) * 100.0 < fleet.httpsSharePercent);
    o.restartTime = o.restartTime.value_or(fleet.restartTime);
    m_dhcpAddress = *o.address;
    m_dhcpNetmask = *o.netmask;
    m_dhcpGateway = *o.gateway;
}

void DeviceState::makeUpPlace()
{
    static const std::array<const char *, 7> contacts{"R. Okafor",   "facility desk 3", "M. Lindqvist",
                                                      "night shift", "P. Adeyemi",      "lab team B",
                                                      "K. Sandoval"};
    static const std::array<const char *, 4> types{"TH2", "TP1", "TH4", "TD3"};
    static const std::array<const char *, 3> firmwares{"nembra-node", "nembra-node-lite", "nembra-node-pro"};
    static const std::array<const char *, 5> versions{"2.14.0", "2.16.3", "3.0.1", "3.1.0", "3.1.2"};
    DeviceOptions &o = m_options;
    if (!o.location) {
        const std::uint64_t bits = random(PlacePurpose);
        o.location =
            "Hall " + std::to_string(1 + bits % 6) + ", rack " + std::to_string(1 + (bits >> 8U) % 24);
    }
    o.contact = o.contact.value_or(pick(contacts, random(ContactPurpose)));
    const std::uint64_t firmware = random(FirmwarePurpose);
    o.firmwareName = o.firmwareName.value_or(pick(firmwares, firmware));
    o.firmwareVersion = o.firmwareVersion.value_or(pick(versions, firmware >> 16U));
    o.deviceType = o.deviceType.value_or(pick(types, firmware >> 32U));
    o.uptime =
        o.uptime.value_or(std::chrono::seconds(static_cast<std::int64_t>(random(UptimePurpose) % 8640000U)));
    if (!o.historyStart) {
        const std::int64_t age = 86400 + static_cast<std::int64_t>(random(HistoryPurpose) % 7776000U);
        o.historyStart = static_cast<std::int64_t>(clock()) - age;
    }
}

void DeviceState::makeUpSensors()
{
    static const std::array<const char *, 5> statuses{"1", "2", "4", "8", "128"};
    DeviceOptions &o = m_options;
    if (!o.sensors) {
        std::vector<Sensor> sensors = madeUpSensors(random(SensorPurpose));
        // About one device in eight has something to report.
        const std::uint64_t bits = random(StatusPurpose);
        if (bits % 8 == 0) {
            sensors[(bits >> 8U) % sensors.size()].status = pick(statuses, bits >> 16U);
        }
        o.sensors = std::move(sensors);
    }
    const std::uint64_t bits = random(InterfacePurpose);
    if (!o.interfaces) {
        o.interfaces = std::vector<NetworkInterface>{{}};
        if (bits % 3 == 0) {
            o.interfaces->push_back({"192.168." + std::to_string(40 + (bits >> 8U) % 4) + "." +
                                         std::to_string(2 + (bits >> 16U) % 250),
                                     (bits >> 32U) % 2 == 0 ? "nembra-plant" : "nembra-lab"});
        }
    }
    o.extendedValues = o.extendedValues.value_or(random(ExtendedPurpose) % 4 != 0);
}

void DeviceState::setOptions(DeviceOptions options)
{
    DeviceOptions &o = options;
    const DeviceOptions &old = m_options;
    const auto keep = [](auto &value, const auto &before) {
        if (!value) {
            value = before;
        }
    };
    keep(o.address, old.address);
    keep(o.mac, old.mac);
    keep(o.hostName, old.hostName);
    keep(o.variant, old.variant);
    keep(o.tag, old.tag);
    keep(o.netmask, old.netmask);
    keep(o.gateway, old.gateway);
    keep(o.lossPercent, old.lossPercent);
    keep(o.answerCopies, old.answerCopies);
    keep(o.redirectToHttps, old.redirectToHttps);
    keep(o.restartTime, old.restartTime);
    keep(o.sensors, old.sensors);
    keep(o.interfaces, old.interfaces);
    keep(o.extendedValues, old.extendedValues);
    keep(o.location, old.location);
    keep(o.contact, old.contact);
    keep(o.firmwareName, old.firmwareName);
    keep(o.firmwareVersion, old.firmwareVersion);
    keep(o.deviceType, old.deviceType);
    keep(o.historyStart, old.historyStart);
    keep(o.uptime, old.uptime);
    keep(o.configuration, old.configuration);
    if (o.uptime != old.uptime) {
        m_startedAt = std::chrono::steady_clock::now() - *o.uptime;
    }
    m_options = std::move(options);
}

DeviceInfo DeviceState::info() const
{
    DeviceInfo info;
    info.address = address();
    info.netmask = *m_options.netmask;
    info.gateway = *m_options.gateway;
    info.staticAddress = m_options.staticAddress;
    info.mac = *m_options.mac;
    info.hostName = *m_options.hostName;
    info.variant = *m_options.variant;
    info.tag = *m_options.tag;
    info.restarting = m_restarting;
    info.restarts = m_restarts;
    info.activeBuffer = m_activeBuffer;
    info.firmwareVersion = *m_options.firmwareVersion;
    info.bufferSizes = m_bufferSizes;
    info.bufferVersions = m_bufferVersions;
    info.configuration = configuration(Passwords::Without);
    info.sessions = static_cast<int>(m_sessions.size());
    info.configurationUploads = m_configurationUploads;
    return info;
}

void DeviceState::setPowered(bool on)
{
    if (on && !m_powered) {
        endRestart();
    }
    m_powered = on;
}

void DeviceState::endRestart()
{
    m_restarting = false;
    ++m_restarts;
    m_startedAt = std::chrono::steady_clock::now();
    dropSessions();
    if (m_pendingOrder) {
        applyOrder(*m_pendingOrder);
    }
    m_pendingOrder.reset();
    if (m_nextBuffer != 0) {
        m_activeBuffer = m_nextBuffer;
        m_options.firmwareVersion = m_bufferVersions[static_cast<std::size_t>(m_activeBuffer - 1)];
    }
    m_nextBuffer = 0;
}

void DeviceState::applyOrder(const Datagram &order)
{
    m_options.mac = order.mac;
    m_options.staticAddress = order.staticAddress;
    const bool isFixed = order.staticAddress != 0;
    m_options.address = isFixed ? order.staticAddress : m_dhcpAddress;
    m_options.netmask = isFixed ? order.netmask : m_dhcpNetmask;
    m_options.gateway = isFixed ? order.gateway : m_dhcpGateway;
}

std::string DeviceState::answer() const
{
    const DatagramOptions &shape = m_options.datagram;
    if (shape.raw) {
        return *shape.raw;
    }
    Datagram datagram;
    datagram.tag = *m_options.tag;
    datagram.variant = *m_options.variant;
    datagram.mac = *m_options.mac;
    datagram.address = address();
    datagram.netmask = *m_options.netmask;
    datagram.gateway = *m_options.gateway;
    datagram.staticAddress = m_options.staticAddress;
    datagram.nameArea =
        encodedNameArea(datagram.variant, *m_options.hostName, shape.extraText, shape.nameLength);
    std::string bytes = datagram.encoded();
    bytes.resize(shape.length.value_or(bytes.size()), '\xA5');
    return bytes;
}

bool DeviceState::losesNextRequest()
{
    const std::uint64_t bits = mixed(random(LossPurpose), ++m_requestCopies);
    return unitInterval(bits) * 100.0 < *m_options.lossPercent;
}

std::optional<std::string> DeviceState::logIn(const std::string &user, const std::string &password)
{
    const auto known = std::find_if(m_options.users.begin(), m_options.users.end(),
                                    [&](const User &candidate) { return candidate.name == user; });
    if (known == m_options.users.end() || password.empty() || known->password != password) {
        return std::nullopt;
    }
    if (m_sessions.size() >= maximalSessions) {
        m_sessions.erase(m_sessions.begin());
    }
    const std::string cookie = hexadecimal(mixed(random(SessionPurpose), ++m_logins));
    m_sessions[cookie] = user;
    return cookie;
}

const User *DeviceState::userOf(const std::string &cookie) const
{
    const auto session = m_sessions.find(cookie);
    if (session == m_sessions.end()) {
        return nullptr;
    }
    const auto user = std::find_if(m_options.users.begin(), m_options.users.end(),
                                   [&](const User &candidate) { return candidate.name == session->second; });
    return user == m_options.users.end() ? nullptr : &*user;
}

std::string DeviceState::configuration(Passwords passwords) const
{
    std::ostringstream document;
    if (m_options.configuration) {
        document << *m_options.configuration;
    } else {
        document << "[system]\r\nname=" << *m_options.hostName << "\r\nlocation=" << *m_options.location
                 << "\r\ncontact=" << *m_options.contact << "\r\n[users]\r\n";
        for (const User &user : m_options.users) {
            document << user.name << '=' << user.level << "\r\n";
        }
        document << "[history]\r\ninterval=60\r\n";
    }
    if (passwords == Passwords::With) {
        document << passwordsHeading << "\r\n";
        for (const User &user : m_options.users) {
            document << user.name << '=' << user.password << "\r\n";
        }
    }
    return document.str();
}

void DeviceState::loadConfiguration(std::string document)
{
    ++m_configurationUploads;
    std::istringstream lines(document);
    std::string group;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const std::size_t equals = line.find('=');
        const std::string key = line.substr(0, equals);
        const std::string text = equals == std::string::npos ? std::string() : line.substr(equals + 1);
        if (!line.empty() && line.front() == '[') {
            group = line;
        } else if (group == "[system]") {
            if (key == "name") {
                m_options.hostName = text;
            } else if (key == "location") {
                m_options.location = text;
            } else if (key == "contact") {
                m_options.contact = text;
            }
        } else if (group == passwordsHeading) {
            for (User &user : m_options.users) {
                if (user.name == key) {
                    user.password = text;
                }
            }
        }
    }
    // Passwords are kept with the users, so that a download without them never shows any.
    const std::size_t heading = document.find(passwordsHeading);
    if (heading == 0 || (heading != std::string::npos && document[heading - 1] == '\n')) {
        document.erase(heading);
    }
    m_options.configuration = std::move(document);
}

void DeviceState::storeFirmware(int buffer, const std::string &image)
{
    const auto slot = static_cast<std::size_t>(buffer - 1);
    m_bufferSizes[slot] = image.size();
    m_bufferVersions[slot] = imageVersion(image);
}

bool DeviceState::activateFirmware(int buffer)
{
    if (m_bufferSizes[static_cast<std::size_t>(buffer - 1)] == 0) {
        return false;
    }
    m_nextBuffer = buffer;
    return true;
}

double DeviceState::clock() const
{
    const auto now = std::chrono::system_clock::now() + m_options.clockOffset;
    return std::chrono::duration<double>(now.time_since_epoch()).count();
}

std::uint64_t DeviceState::sensorSalt(int row) const
{
    return mixed(random(SensorPurpose), static_cast<std::uint64_t>(row));
}

int DeviceState::rowCount(std::string_view table) const
{
    if (table == "sensortab") {
        return static_cast<int>(m_options.sensors->size());
    }
    if (table == "netiftab") {
        return static_cast<int>(m_options.interfaces->size());
    }
    return 0;
}

std::optional<std::string> DeviceState::value(std::string_view name, std::string_view table, int row) const
{
    const auto fixed = m_options.variables.find(std::string(name));
    if (fixed != m_options.variables.end()) {
        return fixed->second;
    }
    if (table == "sensortab") {
        return sensorValue(name, row);
    }
    if (table == "netiftab") {
        return interfaceValue(name, row);
    }
    if (std::optional<std::string> text = timeValue(name)) {
        return text;
    }
    return systemValue(name);
}

std::optional<std::string> DeviceState::sensorValue(std::string_view name, int row) const
{
    const Sensor &sensor = (*m_options.sensors)[static_cast<std::size_t>(row)];
    if (name == "sensortab_value") {
        return sensor.value.value_or(sensorText(sensor, sensorSalt(row), clock(), sensor.decimals));
    }
    if (name == "sensortab_value_ex" && *m_options.extendedValues) {
        if (sensor.extendedValue) {
            return sensor.extendedValue;
        }
        return sensor.value.value_or(sensorText(sensor, sensorSalt(row), clock(), sensor.decimals + 1));
    }
    if (name == "sensortab_unit") {
        return sensor.unit;
    }
    if (name == "sensortab_status") {
        return sensor.status;
    }
    return std::nullopt;
}

std::optional<std::string> DeviceState::interfaceValue(std::string_view name, int row) const
{
    const NetworkInterface &interface = (*m_options.interfaces)[static_cast<std::size_t>(row)];
    if (name == "netiftab_ip_addr") {
        return interface.address.empty() ? addressText(address()) : interface.address;
    }
    if (name == "wlan_name") {
        return interface.wlanName;
    }
    return std::nullopt;
}

std::optional<std::string> DeviceState::timeValue(std::string_view name) const
{
    if (name == "sysdate" || name == "systime") {
        return formattedTime(name == "sysdate" ? "date" : "time", clock());
    }
    if (name == "systimestamp") {
        return std::to_string(static_cast<std::int64_t>(clock()));
    }
    if (name == "histo_start") {
        return std::to_string(*m_options.historyStart);
    }
    const auto uptime =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - m_startedAt)
            .count();
    if (name == "uptime_d") {
        return std::to_string(uptime / 86400);
    }
    if (name == "uptime_h") {
        return std::to_string(uptime / 3600 % 24);
    }
    if (name == "uptime_m") {
        return std::to_string(uptime / 60 % 60);
    }
    if (name == "uptime_s") {
        return std::to_string(uptime % 60);
    }
    return std::nullopt;
}

std::optional<std::string> DeviceState::systemValue(std::string_view name) const
{
    if (name == "fw_manufacturer") {
        return "ostrel GmbH";
    }
    if (name == "fw_name") {
        return m_options.firmwareName;
    }
    if (name == "fw_version") {
        return m_options.firmwareVersion;
    }
    if (name == "syslocation") {
        return m_options.location;
    }
    if (name == "syscontact") {
        return m_options.contact;
    }
    if (name == "netif") {
        return m_options.interfaces->size() > 1 ? "WLAN" : "LAN";
    }
    if (name == "dev_type") {
        return m_options.deviceType;
    }
    if (name == "login_user") {
        return m_viewer ? m_viewer->name : std::string();
    }
    if (name == "login_group") {
        return std::to_string(m_viewer ? m_viewer->level : m_options.anonymousLevel);
    }
    if (name == "memusage") {
        const double drift = std::sin(clock() / 240.0 + static_cast<double>(m_index));
        return std::to_string(
                   static_cast<int>(40.0 + unitInterval(random(MemoryPurpose)) * 30.0 + 3.0 * drift)) +
               "%";
    }
    if (name == "histo_usage") {
        return std::to_string(random(HistoryPurpose) / 7 % 100) + "%";
    }
    return std::nullopt;
}

} // namespace simulator
