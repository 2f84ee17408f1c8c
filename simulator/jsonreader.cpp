#include "jsonreader.h"

#include "scenario.h"

namespace simulator {

namespace {

[[noreturn]] void fail(const std::string &place, const std::string &expected)
{
    throw ScenarioError(place + ": " + expected);
}

std::string fromHex(const std::string &digits, const std::string &place)
{
    std::string bytes;
    if (digits.size() % 2 != 0 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        fail(place, "\"hex\" must be pairs of hexadecimal digits");
    }
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::string toLatin1(const std::string &text, const std::string &place)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned first = static_cast<unsigned char>(text[i]);
        if (first < 0x80) {
            bytes += text[i];
        } else if ((first & 0xFCU) == 0xC0 && i + 1 < text.size()) {
            const unsigned second = static_cast<unsigned char>(text[++i]);
            bytes += static_cast<char>(static_cast<std::uint8_t>(((first & 3U) << 6U) | (second & 0x3FU)));
        } else {
            fail(place, "\"latin1\" holds a character that Latin-1 doesn't have");
        }
    }
    return bytes;
}

} // namespace

JsonReader::JsonReader(const Json &object, std::string place)
    : m_object(object)
    , m_place(std::move(place))
{
    if (!object.is_object()) {
        fail(m_place, "must be an object");
    }
}

const Json *JsonReader::find(const char *key)
{
    m_known.insert(key);
    const auto found = m_object.find(key);
    return found == m_object.end() ? nullptr : &*found;
}

std::string JsonReader::placeOf(const char *key) const
{
    return m_place + "." + key;
}

void JsonReader::refuseUnknownKeys() const
{
    for (const auto &item : m_object.items()) {
        if (m_known.count(item.key()) == 0) {
            fail(m_place, "unknown key \"" + item.key() + "\"");
        }
    }
}

void JsonReader::read(const char *key, bool &target)
{
    const Json *value = find(key);
    if (value && !value->is_boolean()) {
        fail(placeOf(key), "must be true or false");
    }
    if (value) {
        target = value->get<bool>();
    }
}

void JsonReader::read(const char *key, double &target)
{
    const Json *value = find(key);
    if (value && !value->is_number()) {
        fail(placeOf(key), "must be a number");
    }
    if (value) {
        target = value->get<double>();
    }
}

void JsonReader::read(const char *key, std::string &target)
{
    if (const Json *value = find(key)) {
        target = bytes(*value, placeOf(key));
    }
}

void JsonReader::read(const char *key, MacAddress &target)
{
    const Json *value = find(key);
    if (!value) {
        return;
    }
    const std::optional<MacAddress> mac = macFromText(value->is_string() ? value->get<std::string>() : "");
    if (!mac) {
        fail(placeOf(key), R"(must be a MAC address like "0E:5A:11:00:1F:A2")");
    }
    target = *mac;
}

void JsonReader::read(const char *key, TlsMode &target)
{
    const Json *value = find(key);
    if (!value) {
        return;
    }
    static const std::map<std::string, TlsMode> modes{
        {"modern", TlsMode::Modern},       {"tls1.0", TlsMode::Tls10Only}, {"tls1.1", TlsMode::Tls11Only},
        {"rsa1024", TlsMode::Rsa1024},     {"rsa512", TlsMode::Rsa512},    {"expired", TlsMode::Expired},
        {"other-name", TlsMode::OtherName}};
    const auto mode = modes.find(value->is_string() ? value->get<std::string>() : "");
    if (mode == modes.end()) {
        fail(placeOf(key),
             R"(must be one of "modern", "tls1.0", "tls1.1", "rsa1024", "rsa512", "expired", "other-name")");
    }
    target = mode->second;
}

void JsonReader::read(const char *key, std::chrono::milliseconds &target)
{
    if (const Json *value = find(key)) {
        target = std::chrono::milliseconds(integer(*value, placeOf(key), 0, 86400000));
    }
}

void JsonReader::read(const char *key, std::chrono::seconds &target)
{
    if (const Json *value = find(key)) {
        target =
            std::chrono::seconds(integer(*value, placeOf(key), -100LL * 366 * 86400, 100ULL * 366 * 86400));
    }
}

void JsonReader::readAddress(const char *key, Address &target)
{
    const Json *value = find(key);
    if (!value) {
        return;
    }
    const std::optional<Address> address =
        addressFromText(value->is_string() ? value->get<std::string>() : "");
    if (!address) {
        fail(placeOf(key), R"(must be an IPv4 address like "10.77.128.1")");
    }
    target = *address;
}

void JsonReader::readAddress(const char *key, std::optional<Address> &target)
{
    if (!find(key)) {
        return;
    }
    Address address = 0;
    readAddress(key, address);
    target = address;
}

std::string JsonReader::bytes(const Json &value, const std::string &place)
{
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_object() && value.size() == 1 && value.begin()->is_string()) {
        const std::string text = value.begin()->get<std::string>();
        if (value.begin().key() == "hex") {
            return fromHex(text, place);
        }
        if (value.begin().key() == "latin1") {
            return toLatin1(text, place);
        }
    }
    fail(place, R"(must be a text, {"latin1": text} or {"hex": digits})");
}

std::int64_t JsonReader::integer(const Json &value, const std::string &place, std::int64_t smallest,
                                 std::uint64_t biggest)
{
    const bool isBig = value.is_number_unsigned() && value.get<std::uint64_t>() > biggest;
    const bool isSmall =
        value.is_number_integer() && !value.is_number_unsigned() && value.get<std::int64_t>() < smallest;
    if (!value.is_number_integer() || isBig || isSmall) {
        fail(place,
             "must be a whole number from " + std::to_string(smallest) + " to " + std::to_string(biggest));
    }
    return value.get<std::int64_t>();
}

} // namespace simulator
