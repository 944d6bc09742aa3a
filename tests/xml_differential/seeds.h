#ifndef VESK_TESTS_XML_DIFFERENTIAL_SEEDS_H
#define VESK_TESTS_XML_DIFFERENTIAL_SEEDS_H

#include <cstdint>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/xml_differential/dice.h"

namespace vesk::test {

/** VESK_SEED repeats one seed alone; VESK_SEEDS asks for another number of them. */
inline const char *only_seed()
{
    return std::getenv("VESK_SEED");
}

inline std::string how_to_repeat(std::uint64_t seed)
{
    const auto *info = ::testing::UnitTest::GetInstance()->current_test_info();
    return "again alone: VESK_SEED=" + std::to_string(seed) +
           " build/vesk_xml_differential_tests --gtest_filter=" + info->test_suite_name() + "." +
           info->name();
}

/** Calls work(dice) for each seed until one fails, and says how that one is repeated. */
template <typename Work> void for_each_seed(std::uint64_t count, Work &&work)
{
    std::uint64_t first = 1;
    if (const char *other = std::getenv("VESK_SEEDS")) count = std::strtoull(other, nullptr, 10);
    if (only_seed()) first = count = std::strtoull(only_seed(), nullptr, 10);
    for (std::uint64_t seed = first; seed <= count; ++seed) {
        dice die{seed};
        work(die);
        if (::testing::Test::HasFailure()) {
            ADD_FAILURE() << how_to_repeat(seed);
            return;
        }
    }
}

} // namespace vesk::test

#endif
