#ifndef VESK_FUZZ_TARGET_H
#define VESK_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/*
 * A target is one function of some bytes, which ends the process when it finds a fault. The fuzzer
 * calls it with bytes that it makes up, replay.cpp with those of files.
 */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace vesk::fuzz {

inline std::string_view text_of(const uint8_t *data, size_t size)
{
    return {reinterpret_cast<const char *>(data), size};
}

/** Ends the process when condition does not hold. */
inline void require(bool condition, const char *what)
{
    if (condition) return;
    std::fprintf(stderr, "Not so: %s\n", what);
    std::abort();
}

} // namespace vesk::fuzz

#endif
