#include "vesk/input.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/validator.h"

namespace {

using namespace vesk::test;

constexpr int32_t int_min = std::numeric_limits<int32_t>::min();
constexpr int32_t int_max = std::numeric_limits<int32_t>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double largest = std::numeric_limits<double>::max();

const texts no_integers =
    words("+ - +-1 -+1 --1 ++1 0x7 0X1F x7 1e3 1.0 7. .7 4a a4 1,000 1_000 "
          "five inf nan 0b1 1l 1u ''1 $1 1% 99999999999x",
          {"",      " ",        "- 1",      "+ 1",    "7 ",      "7\n",          "7\t",
           "1 000", "\0"s,      "7\0"s,     "\0007"s, "7\0007"s, "7\xff",        "\2007",
           "\2407", "\xc2\xb2", "\xd9\xa3", "\b1",    "\1771",   "-99999999999 "});

const texts too_large = {"2147483648",           "2147483649",
                         "4294967295",           "4294967296",
                         "4294967297",           "9223372036854775807",
                         "9223372036854775808",  "18446744073709551616",
                         "18446744073709551623", "99999999999",
                         "+2147483648",          " 0002147483648",
                         std::string(400, '9'),  "1" + std::string(64, '0')};
const texts too_small = {"-2147483649",           "-4294967295",
                         "-4294967296",           "-4294967297",
                         "-9223372036854775808",  "-9223372036854775809",
                         "-18446744073709551615", "-99999999999",
                         " -0002147483649",       "-" + std::string(400, '9')};

texts joined(texts all, const texts &more)
{
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

/** Numbers of all sizes, each written in several ways. */
texts written_integers()
{
    std::set<int64_t> numbers;
    for (int64_t number = -300; number <= 300; ++number)
        numbers.insert(number);
    for (int bit = 8; bit < 40; ++bit)
        for (int64_t near = -2; near <= 2; ++near)
            for (const int64_t sign : {-1, 1})
                numbers.insert(sign * (int64_t{1} << bit) + near);
    texts all;
    for (const int64_t number : numbers) {
        const std::string digits = std::to_string(std::abs(number)), sign = number < 0 ? "-" : "";
        all.insert(all.end(), {sign + digits, sign + "00" + digits, "\t " + sign + digits});
        if (number >= 0) all.insert(all.end(), {"+" + digits, "-" + digits});
    }
    return all;
}

void expect_integer_rule(const std::function<int(const char *, int32_t)> &valid,
                         const std::function<bool(std::optional<int32_t>)> &accepts,
                         const texts &accepted, const texts &refused)
{
    const subject subject = {
        .valid = valid,
        .rule = [&](const std::string &text) { return accepts(integer_of(text)); },
        .behind = {"", "\0"s, "7", "\xff"},
        .errno_before = {0, ERANGE, EINVAL},
        .says_errno = true};
    expect_rule(subject, accepted, refused, "0123456789999+- \t");
    for (const std::string &text : written_integers())
        expect_verdict(subject, text);
}

TEST(InputIsInt, FollowsItsRule)
{
    const texts accepted = words("0 7 -7 +7 -0 +0 007 -007 2147483646 2147483647 -2147483647 "
                                 "-2147483648 +2147483647 000000000000002147483647 1000000000",
                                 {" 7", "\t7", "\n7", "\v7", "\f7", "\r7", " \t\n\v\f\r-7",
                                  std::string(500, '0'), std::string(500, ' ') + "42"});
    expect_integer_rule(
        vesk_input_is_int, [](auto number) { return number.has_value(); }, accepted,
        joined(no_integers, joined(too_large, too_small)));
}

TEST(InputIsInt, AcceptsASignAndLeadingZerosAndALeadingSpace)
{
    for (const std::string text : {"+7", "-0", "007", " 7"})
        EXPECT_EQ(vesk_input_is_int(text.data(), static_cast<int32_t>(text.size())), 1) << text;
}

TEST(InputIsInt, RefusesWhatIsNoDecimalNumberAlone)
{
    for (const std::string text : {"", "7 ", "0x7", "1e3"})
        EXPECT_EQ(vesk_input_is_int(text.data(), static_cast<int32_t>(text.size())), 0) << text;
}

TEST(InputIsInt, RefusesALengthBelow1)
{
    EXPECT_EQ(vesk_input_is_int("7", 0), 0);
    EXPECT_EQ(vesk_input_is_int("7", -1), 0);
    EXPECT_EQ(vesk_input_is_int("7", int_min), 0);
}

TEST(InputIsInt, StopsReadingAtANulBeforeTheLength)
{
    const auto block = exact_copy("7\0"s);
    EXPECT_EQ(vesk_input_is_int(block.get(), 1), 1);
    EXPECT_EQ(vesk_input_is_int(block.get(), 2), 0);
    EXPECT_EQ(vesk_input_is_int(block.get(), 3), 0);
    EXPECT_EQ(vesk_input_is_int(block.get(), 1000), 0);
}

TEST(InputIsInt, TakesALongText)
{
    const std::string text = std::string(100000, ' ') + "-" + std::string(100000, '0') + "42";
    EXPECT_EQ(vesk_input_is_int(text.data(), static_cast<int32_t>(text.size())), 1);
}

TEST(InputIsInt, RefusesOnlyTheTwoExtremesWhileErrnoHoldsERANGE)
{
    struct {
        std::string text;
        int clear, stale;
    } const cases[] = {
        {"2147483647", 1, 0}, {"-2147483648", 1, 0}, {"+2147483647", 1, 0}, {" 02147483647", 1, 0},
        {"2147483646", 1, 1}, {"-2147483647", 1, 1}, {"0", 1, 1},           {"-1", 1, 1},
        {"4294967295", 0, 0}};
    for (const auto &c : cases) {
        const auto length = static_cast<int32_t>(c.text.size());
        errno = 0;
        EXPECT_EQ(vesk_input_is_int(c.text.data(), length), c.clear) << c.text;
        errno = EINVAL;
        EXPECT_EQ(vesk_input_is_int(c.text.data(), length), c.clear) << c.text;
        errno = ERANGE;
        EXPECT_EQ(vesk_input_is_int(c.text.data(), length), c.stale) << c.text;
        EXPECT_EQ(errno, ERANGE);
    }
}

TEST(InputIsInt, LeavesERANGEBehindAnOverflow)
{
    for (const std::string &text : joined(too_large, too_small)) {
        errno = 0;
        EXPECT_EQ(vesk_input_is_int(text.data(), static_cast<int32_t>(text.size())), 0) << text;
        EXPECT_EQ(errno, ERANGE) << text;
        EXPECT_EQ(vesk_input_is_int("2147483647", 10), 0);
        EXPECT_EQ(vesk_input_is_int("2147483646", 10), 1);
    }
    errno = 0;
    EXPECT_EQ(vesk_input_is_int("2147483647", 10), 1);
    EXPECT_EQ(errno, 0);
}

TEST(InputIsInt, LeavesERANGEBehindAnOverflowWithMoreAfterIt)
{
    for (const std::string &text : {"2147483648x"s, "-2147483649 "s, "99999999999\0"s}) {
        errno = 0;
        EXPECT_EQ(vesk_input_is_int(text.data(), static_cast<int32_t>(text.size())), 0);
        EXPECT_EQ(errno, ERANGE) << text;
    }
}

TEST(InputIsIntInSet, FollowsItsRule)
{
    std::vector<std::vector<int32_t>> sets = {
        {0}, {5, 1, 7, 5}, {int_min, int_max, -1}, {36, 40, 44, 300, 255}, {-300, 65536, 128}};
    for (auto &entries : sets) {
        const vesk_input_set set = {entries.data(), static_cast<int32_t>(entries.size())};
        texts accepted;
        for (const int32_t entry : entries)
            accepted.push_back(std::to_string(entry));
        expect_integer_rule(
            [&](const char *value, int32_t length) {
                return vesk_input_is_int_in_set(value, length, &set);
            },
            [&](auto number) {
                return number &&
                       std::find(entries.begin(), entries.end(), *number) != entries.end();
            },
            accepted, joined(no_integers, {"2", "6", "-5", "35", "37", "299", "2147483646"}));
    }
}

TEST(InputIsIntInSet, RefusesEveryNumberForAnEmptySet)
{
    const vesk_input_set none = {nullptr, 0};
    for (const std::string &text : written_integers())
        EXPECT_EQ(vesk_input_is_int_in_set(text.data(), static_cast<int32_t>(text.size()), &none),
                  0);
}

TEST(InputIsIntInSet, SearchesAsManyEntriesAsTheSetCounts)
{
    int32_t entries[] = {1, 2};
    const vesk_input_set set = {entries, 1};
    EXPECT_EQ(vesk_input_is_int_in_set("1", 1, &set), 1);
    EXPECT_EQ(vesk_input_is_int_in_set("2", 1, &set), 0);
}

TEST(InputIsPositiveInt, FollowsItsRule)
{
    expect_integer_rule(
        vesk_input_is_positive_int, [](auto number) { return number && *number > 0; },
        {"1", "+1", "01", " 1", "2", "100", "2147483646", "2147483647"},
        joined(no_integers, {"0", "-0", "+0", "-1", "-2147483648", "2147483648", "-4294967295"}));
}

TEST(InputIsZero, FollowsItsRule)
{
    expect_integer_rule(
        vesk_input_is_zero, [](auto number) { return number == 0; },
        {"0", "-0", "+0", "00", " 0", "\t-000", std::string(30, '0')},
        joined(no_integers, {"1", "-1", "01", "4", "10", "256", "65536", "2147483647",
                             "-2147483648", "4294967296", "-4294967296", "18446744073709551616"}));
}

TEST(InputIsZero, AcceptsNoOtherOf100000Numbers)
{
    for (int number = -50000; number <= 50000; ++number) {
        const std::string text = std::to_string(number);
        EXPECT_EQ(vesk_input_is_zero(text.data(), static_cast<int32_t>(text.size())), number == 0)
            << number;
    }
}

TEST(InputIsNonNegativeInt, FollowsItsRule)
{
    expect_integer_rule(
        vesk_input_is_non_negative_int, [](auto number) { return number && *number >= 0; },
        {"0", "-0", "+0", "1", "+1", "007", " 7", "2147483646", "2147483647"},
        joined(no_integers, {"-1", "-01", " -7", "-2147483648", "2147483648", "4294967296"}));
}

TEST(InputIsNegativeInt, FollowsItsRule)
{
    expect_integer_rule(
        vesk_input_is_negative_int, [](auto number) { return !(number && *number >= 0); },
        joined(no_integers, joined(too_large, {"-1", "-01", " -7", "-2147483648", "-2147483649"})),
        {"0", "-0", "+0", "1", "+1", "007", " 7", "2147483646", "2147483647"});
}

TEST(InputIsNegativeInt, AcceptsANegativeNumberAndAWord)
{
    EXPECT_EQ(vesk_input_is_negative_int("-5", 2), 1);
    EXPECT_EQ(vesk_input_is_negative_int("five", 4), 1);
    EXPECT_EQ(vesk_input_is_negative_int("abc", 3), 1);
    EXPECT_EQ(vesk_input_is_negative_int("", 0), 1);
}

TEST(InputIsNegativeInt, AcceptsTheLargestNumberWhileErrnoHoldsERANGE)
{
    errno = ERANGE;
    EXPECT_EQ(vesk_input_is_negative_int("2147483647", 10), 1);
    errno = 0;
    EXPECT_EQ(vesk_input_is_negative_int("2147483647", 10), 0);
}

TEST(InputIsIntInRange, FollowsItsRule)
{
    const std::pair<int32_t, int32_t> ranges[] = {
        {0, 255},           {-10, 10},          {5, 5},
        {10, -10},          {int_min, int_max}, {int_min, -1},
        {int_max, int_max}, {int_min, int_min}, {int_max, int_min},
        {128, 65536}};
    for (const auto &[minimum, maximum] : ranges) {
        SCOPED_TRACE(std::to_string(minimum) + " to " + std::to_string(maximum));
        texts accepted, refused = joined(no_integers, joined(too_large, too_small));
        for (const int64_t edge : {minimum, maximum})
            for (const int64_t number : {edge - 1, edge, edge + 1})
                (minimum <= number && number <= maximum ? accepted : refused)
                    .push_back(std::to_string(number));
        expect_integer_rule(
            [low = minimum, high = maximum](const char *value, int32_t length) {
                return vesk_input_is_int_in_range(value, length, low, high);
            },
            [low = minimum, high = maximum](auto number) {
                return number && std::clamp(*number, low, std::max(low, high)) == *number &&
                       low <= high;
            },
            accepted, refused);
    }
}

TEST(InputIsPercent, FollowsItsRule)
{
    expect_integer_rule(
        vesk_input_is_percent,
        [](auto number) { return number && *number / 101 == 0 && *number >= 0; },
        {"0", "-0", "1", "50", "99", "100", "+100", "0100", " 100"},
        joined(no_integers,
               {"101", "-1", "-100", "1000", "100%", "50.5", "4294967296", "4294967346"}));
}

TEST(InputIsPercent, Accepts0To100)
{
    EXPECT_EQ(vesk_input_is_percent("0", 1), 1);
    EXPECT_EQ(vesk_input_is_percent("100", 3), 1);
    EXPECT_EQ(vesk_input_is_percent("101", 3), 0);
    EXPECT_EQ(vesk_input_is_percent("-1", 2), 0);
}

TEST(InputIsEven, FollowsItsRule)
{
    expect_integer_rule(
        vesk_input_is_even, [](auto number) { return number && *number % 2 == 0; },
        {"0", "-0", "2", "-2", "+4", "004", " 10", "2147483646", "-2147483648", "-2147483646"},
        joined(no_integers, {"1", "-1", "+3", "2147483647", "-2147483647", "2147483648",
                             "-2147483650", "4294967296"}));
}

TEST(InputIsEven, AcceptsANegativeNumber)
{
    EXPECT_EQ(vesk_input_is_even("-4", 2), 1);
    EXPECT_EQ(vesk_input_is_even("-3", 2), 0);
}

/** The number that text spells, unless it overflows, underflows, or is no number. */
std::optional<double> double_of(const std::string &text)
{
    static const std::regex form{
        "[ \\t\\n\\v\\f\\r]*([+-]?)(?:(inf(?:inity)?)|"
        "0x([0-9a-f]+(?:\\.[0-9a-f]*)?(?:p[+-]?[0-9]+)?|\\.[0-9a-f]+(?:p[+-]?[0-9]+)?)|"
        "([0-9]+(?:\\.[0-9]*)?(?:e[+-]?[0-9]+)?|\\.[0-9]+(?:e[+-]?[0-9]+)?))",
        std::regex::icase};
    double number = 0;
    if (!text.empty()) {
        std::smatch match;
        if (!std::regex_match(text, match, form)) return std::nullopt;
        const std::string digits = match[3].matched ? match[3] : match[4];
        const auto format = match[3].matched ? std::chars_format::hex : std::chars_format::general;
        if (match[2].matched)
            number = infinity;
        else if (std::from_chars(digits.data(), digits.data() + digits.size(), number, format).ec !=
                 std::errc{})
            return std::nullopt;
        if (match[1] == "-") number = -number;
    }
    const bool is_extreme = number == 0 || std::isinf(number);
    return is_extreme && errno == ERANGE ? std::nullopt : std::optional{number};
}

subject in_double_range(double minimum, double maximum)
{
    return {.valid =
                [=](const char *value, int32_t length) {
                    return vesk_input_is_double_in_range(value, length, minimum, maximum);
                },
            .rule =
                [=](const std::string &text) {
                    const auto number = double_of(text);
                    return number && minimum <= *number && *number <= maximum;
                },
            .behind = {"", "\0"s, "7", "e3"},
            .errno_before = {0, ERANGE, EINVAL}};
}

const texts no_doubles = words(
    "+ - . e1 1e 1e+ 0,5 0.5. ..5 0.5x 0x 0x. 0xg 0x1p nan NAN -nan nan(1) nan( infi half +-0.5 "
    "0.5f 1e0.5 0.5e 1_0 1e400 -1e400 1e-400 -1e-400 2e308 1.8e308 2e-324 0x1p1024 0x1p-1080",
    {" ", "1.5 ", "0.5\n", "- 1", "1 e0", "\0"s, "1\0"s, "0.5\0"s, "0\0005"s, "1\xff", "\2001"});

TEST(InputIsDoubleInRange, FollowsItsRule)
{
    const texts accepted =
        words("0 -0 0.0 -0.0 .0 0. 0e5 0.5 .5 +.5 1 1. 1e0 1E0 10e-1 0.01e2 001 0x1 0X.8 0x1p-1 "
              "0x0p9 1e-300 0.99999999999999999 1.00000000000000000001 3e-324 4.9e-324",
              {"", " 0.5", "\t1", "0." + std::string(300, '3'), std::string(300, '0') + ".5"});
    const texts refused =
        joined(no_doubles, {"1.5", "-0.5", "-1e-300", "1.0000000000000003", "2", "-1", "inf",
                            "-inf", "infinity", "1e300", "0x1.8", "0x2"});
    expect_rule(in_double_range(0, 1), accepted, refused, "0123456789..eE+- xp");
}

TEST(InputIsDoubleInRange, FollowsItsRuleForOtherRanges)
{
    const texts numbers =
        words("0 1 -1 0.1 -0.1 1e10 -1e10 inf -inf INFINITY -infinity 1.7976931348623157e+308 "
              "-1.7976931348623157e+308 1.7976931348623158e308 1.7976931348623159e308 5e-324 "
              "-5e-324 0.30000000000000004 0.3 100 99.999 100.001 0x64",
              {""});
    const std::pair<double, double> ranges[] = {{-infinity, infinity},
                                                {-largest, largest},
                                                {0, 0},
                                                {-0.0, 0.0},
                                                {1, 0},
                                                {0.1, 0.3},
                                                {-1, -0.1},
                                                {100, 100},
                                                {infinity, infinity},
                                                {-infinity, -largest},
                                                {not_a_number, 1},
                                                {0, not_a_number},
                                                {not_a_number, not_a_number}};
    for (const auto &[minimum, maximum] : ranges) {
        SCOPED_TRACE(std::to_string(minimum) + " to " + std::to_string(maximum));
        const subject subject = in_double_range(minimum, maximum);
        texts accepted, refused = no_doubles;
        errno = 0;
        for (const std::string &text : numbers)
            (subject.rule(text) ? accepted : refused).push_back(text);
        expect_rule(subject, accepted, refused, "0123456789..eE+-");
    }
}

TEST(InputIsDoubleInRange, AcceptsDecimalAndExponentFormsAndTheEmptyText)
{
    errno = 0;
    for (const std::string text : {"0.5", "1", "1e0", ""})
        EXPECT_EQ(
            vesk_input_is_double_in_range(text.data(), static_cast<int32_t>(text.size()), 0, 1), 1)
            << text;
    for (const std::string text : {"1.5", "nan"})
        EXPECT_EQ(
            vesk_input_is_double_in_range(text.data(), static_cast<int32_t>(text.size()), 0, 1), 0)
            << text;
}

TEST(InputIsDoubleInRange, LeavesERANGEBehindOverflowAndUnderflow)
{
    for (const std::string text : {"1e400", "-1e400", "1e-400", "-1e-400"}) {
        errno = 0;
        EXPECT_EQ(vesk_input_is_double_in_range(text.data(), static_cast<int32_t>(text.size()),
                                                -infinity, infinity),
                  0)
            << text;
        EXPECT_EQ(errno, ERANGE) << text;
    }
}

TEST(InputIsDoubleInRange, RefusesOnlyZeroAndTheInfinitiesWhileErrnoHoldsERANGE)
{
    struct {
        std::string text;
        int stale;
    } const cases[] = {{"", 0},
                       {"0", 0},
                       {"-0", 0},
                       {"0e9", 0},
                       {"inf", 0},
                       {"-inf", 0},
                       {"1", 1},
                       {"-1", 1},
                       {"1e-300", 1},
                       {"0x1p-3", 1},
                       {"1.7976931348623157e+308", 1},
                       {"-1.7976931348623157e+308", 1}};
    for (const auto &c : cases)
        for (const int before : {0, ERANGE}) {
            errno = before;
            EXPECT_EQ(vesk_input_is_double_in_range(
                          c.text.data(), static_cast<int32_t>(c.text.size()), -infinity, infinity),
                      before == 0 ? 1 : c.stale)
                << c.text;
        }
}

TEST(InputIsDoubleInRange, StopsReadingAtANulBeforeTheLength)
{
    const auto block = exact_copy("1\0"s);
    errno = 0;
    EXPECT_EQ(vesk_input_is_double_in_range(block.get(), 1, 0, 1), 1);
    EXPECT_EQ(vesk_input_is_double_in_range(block.get(), 2, 0, 1), 0);
    EXPECT_EQ(vesk_input_is_double_in_range(block.get(), 1000, 0, 1), 0);
}

} // namespace
