#pragma once

#include <cstdint>

namespace simulator {

/// Mixes its arguments into 64 evenly spread bits. The same arguments give the same bits everywhere, so that
/// what a device is and loses depends on the seed and on nothing else, not even on the order of events.
[[nodiscard]] constexpr std::uint64_t mixed(std::uint64_t a, std::uint64_t b = 0, std::uint64_t c = 0)
{
    std::uint64_t x = a * 0x9E3779B97F4A7C15U + b * 0xC2B2AE3D27D4EB4FU + c * 0x165667B19E3779F9U;
    x ^= x >> 30U;
    x *= 0xBF58476D1CE4E5B9U;
    x ^= x >> 27U;
    x *= 0x94D049BB133111EBU;
    x ^= x >> 31U;
    return x;
}

/// In 0 (included) to 1 (excluded).
[[nodiscard]] constexpr double unitInterval(std::uint64_t bits)
{
    return static_cast<double>(bits >> 11U) / 9007199254740992.0;
}

} // namespace simulator
