#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__)
#define NEMBRA_SEES_LEAKS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NEMBRA_SEES_LEAKS
#endif
#endif
#ifdef NEMBRA_SEES_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

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

/// As long as it exists, memory that is lost is nobody's fault of ours: Qt's JSON parser loses each array or
/// object whose name comes again.
class LeaksOfQt final
{
public:
#ifdef NEMBRA_SEES_LEAKS
    LeaksOfQt()
    {
        __lsan_disable();
    }
    ~LeaksOfQt()
    {
        __lsan_enable();
    }
#else
    LeaksOfQt() {}
    ~LeaksOfQt() {}
#endif
    LeaksOfQt(const LeaksOfQt &) = delete;
    LeaksOfQt &operator=(const LeaksOfQt &) = delete;
};
