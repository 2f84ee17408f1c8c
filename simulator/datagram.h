#pragma once

#include "deviceoptions.h"

#include <optional>
#include <string>
#include <string_view>

namespace simulator {

/// The layout that request, answer and configuration order share on the wire: 128 bytes, big-endian.
struct Datagram
{
    enum Command : std::int8_t { Request = 0, Answer = 1, Configure = 2 };
    static constexpr std::size_t size = 128;
    static constexpr std::size_t nameAreaSize = 100;
    /// The variant whose name stands without a length byte and ends at a zero byte.
    static constexpr std::int8_t terminatedNameVariant = 16;

    std::int32_t tag = 0;
    std::int8_t command = Answer;
    std::int8_t variant = 0;
    MacAddress mac{};
    Address address = 0;
    Address netmask = 0;
    Address gateway = 0;
    Address staticAddress = 0;
    /// At most 100 bytes; filled up with zeros.
    std::string nameArea;

    [[nodiscard]] std::string encoded() const;
    /// Only whole datagrams are understood; a device doesn't guess.
    [[nodiscard]] static std::optional<Datagram> decoded(std::string_view bytes);
};

/// The name area as a device fills it. `nameLength` replaces the true length byte.
[[nodiscard]] std::string encodedNameArea(std::int8_t variant, std::string_view hostName,
                                          std::string_view extraText, std::optional<std::uint8_t> nameLength);

} // namespace simulator
