#include "scenario.h"

#include "jsonreader.h"

#include <fstream>
#include <iterator>

namespace simulator {

namespace {

constexpr int maximalCount = 32000;

template <typename Function>
void forEach(JsonReader &reader, const char *key, Function function)
{
    const Json *list = reader.find(key);
    if (!list) {
        return;
    }
    const std::string place = reader.placeOf(key);
    if (!list->is_array()) {
        throw ScenarioError(place + ": must be a list");
    }
    std::size_t number = 0;
    for (const Json &item : *list) {
        function(item, place + "[" + std::to_string(number++) + "]");
    }
}

FleetOptions fleetOptions(const Json &object, const std::string &place, int &madeUpDevices)
{
    FleetOptions options;
    JsonReader reader(object, place);
    reader.read("devices", madeUpDevices);
    if (madeUpDevices < 0 || madeUpDevices > maximalCount) {
        throw ScenarioError(reader.placeOf("devices") + ": must be from 0 to " +
                            std::to_string(maximalCount));
    }
    reader.read("seed", options.seed);
    reader.readAddress("base_address", options.baseAddress);
    reader.read("http_port", options.httpPort);
    reader.read("https_port", options.httpsPort);
    reader.read("discovery_port", options.discoveryPort);
    reader.readAddress("broadcast_address", options.broadcastAddress);
    reader.readAddress("netmask", options.netmask);
    reader.readAddress("gateway", options.gateway);
    reader.read("delay_ms", options.delay);
    reader.read("spread_ms", options.spread);
    reader.read("loss_percent", options.lossPercent);
    reader.read("answer_copies", options.answerCopies);
    reader.read("broadcast_answers", options.broadcastAnswers);
    reader.read("https_share_percent", options.httpsSharePercent);
    reader.read("restart_ms", options.restartTime);
    reader.read("listener_per_device_limit", options.listenerPerDeviceLimit);
    reader.read("journal", options.journalFile);
    reader.read("journal_limit", options.journalLimit);
    reader.read("journal_body_limit", options.journalBodyLimit);
    reader.refuseUnknownKeys();
    return options;
}

Sensor sensor(const Json &object, const std::string &place)
{
    Sensor result;
    JsonReader reader(object, place);
    reader.read("base", result.base);
    reader.read("amplitude", result.amplitude);
    reader.read("period_s", result.periodSeconds);
    reader.read("decimals", result.decimals);
    reader.read("unit", result.unit);
    reader.read("status", result.status);
    reader.read("value", result.value);
    reader.read("extended_value", result.extendedValue);
    reader.refuseUnknownKeys();
    return result;
}

NetworkInterface networkInterface(const Json &object, const std::string &place)
{
    NetworkInterface result;
    JsonReader reader(object, place);
    reader.read("address", result.address);
    reader.read("wlan_name", result.wlanName);
    reader.refuseUnknownKeys();
    return result;
}

User user(const Json &object, const std::string &place)
{
    User result;
    JsonReader reader(object, place);
    reader.read("name", result.name);
    reader.read("password", result.password);
    reader.read("level", result.level);
    reader.refuseUnknownKeys();
    return result;
}

DatagramOptions datagramOptions(const Json &object, const std::string &place)
{
    DatagramOptions result;
    JsonReader reader(object, place);
    reader.read("length", result.length);
    if (result.length.value_or(0) > 60000) {
        throw ScenarioError(reader.placeOf("length") + ": must be at most 60000");
    }
    reader.read("name_length", result.nameLength);
    reader.read("raw", result.raw);
    reader.read("extra_text", result.extraText);
    reader.refuseUnknownKeys();
    return result;
}

void readIdentity(JsonReader &reader, DeviceOptions &options)
{
    reader.readAddress("address", options.address);
    reader.read("mac", options.mac);
    reader.read("host_name", options.hostName);
    reader.read("variant", options.variant);
    reader.read("tag", options.tag);
    reader.readAddress("netmask", options.netmask);
    reader.readAddress("gateway", options.gateway);
    reader.readAddress("static_address", options.staticAddress);
    reader.read("loss_percent", options.lossPercent);
    reader.read("answer_copies", options.answerCopies);
    reader.read("silent", options.silent);
    if (const Json *shape = reader.find("datagram")) {
        options.datagram = datagramOptions(*shape, reader.placeOf("datagram"));
    }
}

void readWeb(JsonReader &reader, DeviceOptions &options)
{
    reader.read("redirect_to_https", options.redirectToHttps);
    reader.read("serves_https", options.servesHttps);
    reader.read("tls", options.tls);
    reader.read("keep_alive", options.keepAlive);
    reader.read("answers_once", options.answersOnce);
    reader.read("restart_ms", options.restartTime);
    reader.read("anonymous_level", options.anonymousLevel);
    reader.read("information_needs_login", options.informationNeedsLogin);
    if (reader.find("users")) {
        options.users.clear();
    }
    forEach(reader, "users",
            [&](const Json &item, const std::string &place) { options.users.push_back(user(item, place)); });
}

void readData(JsonReader &reader, DeviceOptions &options)
{
    if (reader.find("sensors")) {
        options.sensors.emplace();
    }
    forEach(reader, "sensors", [&](const Json &item, const std::string &place) {
        options.sensors->push_back(sensor(item, place));
    });
    if (reader.find("interfaces")) {
        options.interfaces.emplace();
    }
    forEach(reader, "interfaces", [&](const Json &item, const std::string &place) {
        options.interfaces->push_back(networkInterface(item, place));
    });
    reader.read("extended_values", options.extendedValues);
    reader.read("location", options.location);
    reader.read("contact", options.contact);
    reader.read("firmware_name", options.firmwareName);
    reader.read("firmware_version", options.firmwareVersion);
    reader.read("device_type", options.deviceType);
    reader.read("history_start", options.historyStart);
    reader.read("uptime_s", options.uptime);
    reader.read("clock_offset_s", options.clockOffset);
    reader.read("configuration", options.configuration);
    const Json *variables = reader.find("variables");
    if (!variables) {
        return;
    }
    if (!variables->is_object()) {
        throw ScenarioError(reader.placeOf("variables") + ": must be an object");
    }
    for (const auto &item : variables->items()) {
        options.variables[item.key()] =
            JsonReader::bytes(item.value(), reader.placeOf("variables") + "." + item.key());
    }
}

void readDevice(JsonReader &reader, DeviceOptions &options)
{
    readIdentity(reader, options);
    readWeb(reader, options);
    readData(reader, options);
}

/// "{n}" in the name stands for the number within the group, with four digits.
std::string numberedName(std::string name, int number)
{
    const std::string digits = std::to_string(10000 + number).substr(1);
    const std::size_t mark = name.find("{n}");
    return mark == std::string::npos ? name : name.replace(mark, 3, digits);
}

void addMac(MacAddress &mac, int step)
{
    std::uint32_t low = (std::uint32_t{mac[3]} << 16U) | (std::uint32_t{mac[4]} << 8U) | mac[5];
    low += static_cast<std::uint32_t>(step);
    mac[3] = static_cast<std::uint8_t>(low >> 16U);
    mac[4] = static_cast<std::uint8_t>(low >> 8U);
    mac[5] = static_cast<std::uint8_t>(low);
}

void addGroup(const Json &object, const std::string &place, Scenario &scenario)
{
    JsonReader reader(object, place);
    int count = 1;
    reader.read("count", count);
    if (count < 0 || count > maximalCount) {
        throw ScenarioError(reader.placeOf("count") + ": must be from 0 to " + std::to_string(maximalCount));
    }
    DeviceOptions common = scenario.defaults;
    readDevice(reader, common);
    reader.refuseUnknownKeys();
    for (int i = 0; i < count; ++i) {
        DeviceOptions options = common;
        if (options.hostName) {
            options.hostName = numberedName(*options.hostName, i + 1);
        }
        if (options.address) {
            *options.address += static_cast<Address>(i);
        }
        if (options.staticAddress != 0) {
            options.staticAddress += static_cast<Address>(i);
        }
        if (options.mac) {
            addMac(*options.mac, i);
        }
        scenario.devices.push_back(std::move(options));
    }
}

struct FaultName
{
    const char *name;
    Fault::Kind kind;
};

constexpr std::array<FaultName, 22> faultNames{{
    {"refuse", Fault::Kind::Refuse},
    {"hang", Fault::Kind::Hang},
    {"delay", Fault::Kind::Delay},
    {"drip", Fault::Kind::Drip},
    {"cut", Fault::Kind::Cut},
    {"close", Fault::Kind::CloseWithoutAnswer},
    {"reset", Fault::Kind::Reset},
    {"status", Fault::Kind::Status},
    {"garbage", Fault::Kind::Garbage},
    {"invalid-json", Fault::Kind::InvalidJson},
    {"body", Fault::Kind::Body},
    {"extra", Fault::Kind::Extra},
    {"verbatim", Fault::Kind::Verbatim},
    {"unasked", Fault::Kind::Unasked},
    {"inflating-body", Fault::Kind::InflatingBody},
    {"endless-body", Fault::Kind::EndlessBody},
    {"endless-chunk-size", Fault::Kind::EndlessChunkSize},
    {"endless-headers", Fault::Kind::EndlessHeaders},
    {"tls-garbage", Fault::Kind::TlsGarbage},
    {"tls-hang", Fault::Kind::TlsHang},
    {"tls-alert", Fault::Kind::TlsAlert},
    {"forget-session", Fault::Kind::ForgetSession},
}};

Fault::Kind faultKind(const std::string &name, const std::string &place)
{
    std::string known;
    for (const FaultName &entry : faultNames) {
        if (name == entry.name) {
            return entry.kind;
        }
        known += std::string(known.empty() ? "" : ", ") + entry.name;
    }
    throw ScenarioError(place + ": must be one of " + known);
}

Fault::Scheme faultScheme(const std::string &name, const std::string &place)
{
    if (name == "any") {
        return Fault::Scheme::Any;
    }
    if (name == "http") {
        return Fault::Scheme::Http;
    }
    if (name == "https") {
        return Fault::Scheme::Https;
    }
    throw ScenarioError(place + ": must be any, http or https");
}

Fault::Place faultPlace(const std::string &name, const std::string &place)
{
    if (name == "start") {
        return Fault::Place::Start;
    }
    if (name == "head") {
        return Fault::Place::Head;
    }
    if (name == "body") {
        return Fault::Place::Body;
    }
    if (name == "end") {
        return Fault::Place::End;
    }
    throw ScenarioError(place + ": must be start, head, body or end");
}

std::pair<int, Fault> fault(const Json &object, const std::string &place, int deviceCount)
{
    JsonReader reader(object, place);
    int device = -1;
    reader.read("device", device);
    if (device < -1 || device >= deviceCount) {
        throw ScenarioError(reader.placeOf("device") + ": there is no device " + std::to_string(device));
    }
    Fault result;
    std::string kind;
    std::string scheme = "any";
    reader.read("kind", kind);
    result.kind = faultKind(kind, reader.placeOf("kind"));
    reader.read("scheme", scheme);
    result.scheme = faultScheme(scheme, reader.placeOf("scheme"));
    reader.read("path", result.path);
    reader.read("exact", result.exactPath);
    reader.read("requests", result.requests);
    reader.read("after", result.spared);
    std::string at = "start";
    reader.read("place", at);
    result.place = faultPlace(at, reader.placeOf("place"));
    reader.read("ms", result.delay);
    // What a gzip bomb should inflate to, and the size of a drop.
    result.bytes = result.kind == Fault::Kind::InflatingBody ? 400U << 20U : 1U;
    reader.read("bytes", result.bytes);
    reader.read("status", result.statusCode);
    reader.read("reason", result.reason);
    reader.read("location", result.location);
    reader.read("body", result.body);
    const Json *headers = reader.find("headers");
    if (headers) {
        if (!headers->is_object()) {
            throw ScenarioError(reader.placeOf("headers") + ": must be an object");
        }
        for (const auto &item : headers->items()) {
            result.headers.emplace_back(item.key(),
                                        JsonReader::bytes(item.value(), reader.placeOf("headers")));
        }
    }
    reader.refuseUnknownKeys();
    return {device, std::move(result)};
}

SyslogOptions syslogOptions(const Json &object, const std::string &place)
{
    SyslogOptions options;
    JsonReader reader(object, place);
    reader.readAddress("address", options.address);
    reader.read("port", options.port);
    reader.read("rate", options.rate);
    if (options.rate <= 0) {
        throw ScenarioError(reader.placeOf("rate") + ": must be above 0");
    }
    reader.read("count", options.count);
    forEach(reader, "lines", [&](const Json &item, const std::string &itemPlace) {
        options.lines.push_back(JsonReader::bytes(item, itemPlace));
    });
    reader.refuseUnknownKeys();
    return options;
}

Json parsed(std::string_view text)
{
    try {
        return Json::parse(text);
    } catch (const Json::parse_error &error) {
        throw ScenarioError(std::string("the scenario isn't JSON: ") + error.what());
    }
}

} // namespace

Scenario Scenario::fromJson(std::string_view text)
{
    const Json root = parsed(text);
    Scenario scenario;
    JsonReader reader(root, "scenario");
    if (const Json *fleet = reader.find("fleet")) {
        scenario.fleet = fleetOptions(*fleet, reader.placeOf("fleet"), scenario.madeUpDevices);
    }
    if (const Json *defaults = reader.find("defaults")) {
        JsonReader defaultsReader(*defaults, reader.placeOf("defaults"));
        readDevice(defaultsReader, scenario.defaults);
        defaultsReader.refuseUnknownKeys();
    }
    forEach(reader, "groups",
            [&](const Json &item, const std::string &place) { addGroup(item, place, scenario); });
    forEach(reader, "devices", [&](const Json &item, const std::string &place) {
        DeviceOptions options = scenario.defaults;
        JsonReader deviceReader(item, place);
        readDevice(deviceReader, options);
        deviceReader.refuseUnknownKeys();
        scenario.devices.push_back(std::move(options));
    });
    const int count = scenario.madeUpDevices + static_cast<int>(scenario.devices.size());
    forEach(reader, "faults", [&](const Json &item, const std::string &place) {
        scenario.faults.push_back(fault(item, place, count));
    });
    forEach(reader, "syslog", [&](const Json &item, const std::string &place) {
        scenario.syslog.push_back(syslogOptions(item, place));
    });
    reader.refuseUnknownKeys();
    return scenario;
}

Scenario Scenario::fromFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw ScenarioError("can't read the scenario " + path);
    }
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return fromJson(text);
}

void Scenario::addTo(Fleet &fleetToFill) const
{
    fleetToFill.addDevices(madeUpDevices, defaults);
    for (const DeviceOptions &options : devices) {
        fleetToFill.addDevice(options);
    }
    for (const auto &[device, fault] : faults) {
        if (device < 0) {
            fleetToFill.addFault(fault);
        } else {
            fleetToFill.addFault(device, fault);
        }
    }
}

} // namespace simulator
