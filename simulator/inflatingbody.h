#pragma once

#include <string>

namespace simulator {

/// A gzip stream of about a thousandth of `inflatedBytes`, which inflates to so many blanks (rounded up to
/// MiB).
[[nodiscard]] std::string gzipOfBlanks(std::size_t inflatedBytes);

} // namespace simulator
