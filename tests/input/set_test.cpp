#include "vesk/input.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using codes = std::vector<int32_t>;

struct free_set {
    void operator()(vesk_input_set *set) const { vesk_input_free_set(set); }
};
using set_ptr = std::unique_ptr<vesk_input_set, free_set>;

set_ptr string_set(const std::string &characters)
{
    return set_ptr{
        vesk_input_new_string_set(characters.data(), static_cast<int32_t>(characters.size()))};
}

set_ptr range(int low, int high, const vesk_input_set *previous = nullptr)
{
    return set_ptr{vesk_input_get_set_from_range(static_cast<signed char>(low),
                                                 static_cast<signed char>(high), previous)};
}

codes codes_of(const set_ptr &set)
{
    return {set->entries, set->entries + set->count};
}

codes rising(int32_t low, int32_t high)
{
    codes all;
    for (int32_t code = low; code <= high; ++code)
        all.push_back(code);
    return all;
}

TEST(InputNewStringSet, KeepsTheOrderAndRepetitions)
{
    EXPECT_EQ(codes_of(string_set("cabca")), (codes{'c', 'a', 'b', 'c', 'a'}));
}

TEST(InputNewStringSet, TakesAsManyCharactersAsItIsTold)
{
    const set_ptr set{vesk_input_new_string_set("abc", 2)};
    EXPECT_EQ(codes_of(set), (codes{'a', 'b'}));
}

TEST(InputNewStringSet, HoldsEveryCharacterAsASignedNumber)
{
    std::string all;
    codes expected;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
        expected.push_back(byte < 128 ? byte : byte - 256);
    }
    EXPECT_EQ(codes_of(string_set(all)), expected);
}

TEST(InputNewStringSet, MayBeEmpty)
{
    const auto set = string_set("");
    ASSERT_TRUE(set);
    EXPECT_EQ(set->count, 0);
}

TEST(InputNewStringSet, DoesNotBorrowTheCharacters)
{
    std::string characters = "ab";
    const auto set = string_set(characters);
    characters = "xy";
    EXPECT_EQ(codes_of(set), (codes{'a', 'b'}));
}

TEST(InputGetSetFromRange, HoldsEveryCodeInRisingOrder)
{
    EXPECT_EQ(codes_of(range('0', '9')), rising('0', '9'));
    EXPECT_EQ(codes_of(range('x', 'x')), codes{'x'});
    EXPECT_EQ(codes_of(range(-3, 2)), (codes{-3, -2, -1, 0, 1, 2}));
}

TEST(InputGetSetFromRange, EndsAtTheLastCode)
{
    EXPECT_EQ(codes_of(range(127, 127)), codes{127});
    EXPECT_EQ(codes_of(range(125, 127)), (codes{125, 126, 127}));
    EXPECT_EQ(codes_of(range(-128, -128)), codes{-128});
    EXPECT_EQ(codes_of(range(-128, 127)), rising(-128, 127));
}

TEST(InputGetSetFromRange, AddsNothingWhenLowIsAboveHigh)
{
    EXPECT_EQ(codes_of(range('b', 'a')), codes{});
    EXPECT_EQ(codes_of(range(127, -128)), codes{});
    const auto previous = string_set("zy");
    EXPECT_EQ(codes_of(range('b', 'a', previous.get())), (codes{'z', 'y'}));
}

TEST(InputGetSetFromRange, PutsThePreviousEntriesFirst)
{
    const auto previous = string_set("zb");
    EXPECT_EQ(codes_of(range('a', 'c', previous.get())), (codes{'z', 'b', 'a', 'b', 'c'}));
}

TEST(InputGetSetFromRange, AcceptsAnEmptyPreviousSet)
{
    const auto previous = string_set("");
    EXPECT_EQ(codes_of(range('a', 'b', previous.get())), (codes{'a', 'b'}));
}

TEST(InputGetSetFromRange, CopiesThePreviousSetAndLeavesItAlone)
{
    auto previous = string_set("z");
    const auto set = range('a', 'b', previous.get());
    EXPECT_EQ(codes_of(previous), codes{'z'});
    previous.reset();
    EXPECT_EQ(codes_of(set), (codes{'z', 'a', 'b'}));
}

TEST(InputGetSetFromRange, CopiesEntriesThatAreNoCharacters)
{
    codes wide = {INT32_MIN, 300, INT32_MAX};
    const vesk_input_set previous = {wide.data(), 3};
    EXPECT_EQ(codes_of(range('a', 'a', &previous)), (codes{INT32_MIN, 300, INT32_MAX, 'a'}));
}

TEST(InputGetSetFromRange, CanBeChainedOverAllPairsOfCodes)
{
    for (int low = -128; low < 128; low += 5)
        for (int high = -128; high < 128; high += 3) {
            const auto first = range(low, high);
            ASSERT_EQ(codes_of(first), rising(low, high));
            auto both = rising(low, high);
            both.push_back(high);
            ASSERT_EQ(codes_of(range(high, high, first.get())), both);
        }
}

TEST(InputFreeSet, IgnoresNull)
{
    vesk_input_free_set(nullptr);
}

} // namespace
