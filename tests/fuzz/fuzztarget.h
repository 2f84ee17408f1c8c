#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// The decoder under test. The fuzzer calls it with inputs of its own making, the replay with the corpus.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/// Stops where a decoder broke a promise; the fuzzer then keeps the input.
inline void require(bool holds, const char *promise)
{
    if (!holds) {
        std::fprintf(stderr, "Broken promise: %s\n", promise);
        std::abort();
    }
}
