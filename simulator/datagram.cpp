#include "datagram.h"

#include <algorithm>

namespace simulator {

namespace {

void appendInteger(std::string &bytes, std::uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(static_cast<std::uint8_t>(value >> static_cast<unsigned>(shift)));
    }
}

std::uint32_t integerAt(std::string_view bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value = (value << 8U) | static_cast<std::uint8_t>(bytes[offset + i]);
    }
    return value;
}

} // namespace

std::string Datagram::encoded() const
{
    std::string bytes;
    bytes.reserve(size);
    appendInteger(bytes, static_cast<std::uint32_t>(tag));
    bytes += static_cast<char>(command);
    bytes += static_cast<char>(variant);
    for (const std::uint8_t byte : mac) {
        bytes += static_cast<char>(byte);
    }
    for (const Address field : {address, netmask, gateway, staticAddress}) {
        appendInteger(bytes, field);
    }
    bytes.append(nameArea, 0, nameAreaSize);
    bytes.resize(size, '\0');
    return bytes;
}

std::optional<Datagram> Datagram::decoded(std::string_view bytes)
{
    if (bytes.size() < size) {
        return std::nullopt;
    }
    Datagram datagram;
    datagram.tag = static_cast<std::int32_t>(integerAt(bytes, 0));
    datagram.command = static_cast<std::int8_t>(bytes[4]);
    datagram.variant = static_cast<std::int8_t>(bytes[5]);
    std::transform(bytes.begin() + 6, bytes.begin() + 12, datagram.mac.begin(),
                   [](char byte) { return static_cast<std::uint8_t>(byte); });
    datagram.address = integerAt(bytes, 12);
    datagram.netmask = integerAt(bytes, 16);
    datagram.gateway = integerAt(bytes, 20);
    datagram.staticAddress = integerAt(bytes, 24);
    datagram.nameArea = bytes.substr(28, nameAreaSize);
    return datagram;
}

std::string encodedNameArea(std::int8_t variant, std::string_view hostName, std::string_view extraText,
                            std::optional<std::uint8_t> nameLength)
{
    std::string area;
    if (variant == Datagram::terminatedNameVariant) {
        area = hostName.substr(0, Datagram::nameAreaSize);
    } else {
        const std::string_view name = hostName.substr(0, Datagram::nameAreaSize - 1);
        area += static_cast<char>(nameLength.value_or(static_cast<std::uint8_t>(name.size())));
        area += name;
        area += extraText;
    }
    area.resize(Datagram::nameAreaSize, '\0');
    return area;
}

} // namespace simulator
