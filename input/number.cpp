#include "vesk/input.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "base/or_on_oom.h"
#include "input/bytes.h"

// The integer parser gives what a 32-bit strtol() would, on machines with a wider long too: it
// clamps to 32 bits and sets ERANGE there.

namespace {

constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();
constexpr std::string_view white_space = " \t\n\v\f\r";

bool is_digit(char character)
{
    return character >= '0' && character <= '9';
}

/** The number of a row of digits, clamped. */
int32_t clamped(std::string_view digits, bool negative)
{
    const int64_t limit = negative ? -int64_t{lowest} : int64_t{highest};
    int64_t number = 0;
    for (const char digit : digits) {
        number = number * 10 + (digit - '0');
        if (number <= limit) continue;
        errno = ERANGE;
        return negative ? lowest : highest;
    }
    return static_cast<int32_t>(negative ? -number : number);
}

/** strtod() of a text that need not end in NUL; the whole of it must be taken. */
bool parse_double(const char *value, int32_t length, double &number)
{
    const size_t most = length > 0 ? static_cast<size_t>(length) : 0;
    const std::string copy{value, strnlen(value, most)};
    char *end = nullptr;
    number = std::strtod(copy.c_str(), &end);
    if (end - copy.c_str() < length) return false;
    const bool is_extreme = number < std::numeric_limits<double>::lowest() ||
                            number > std::numeric_limits<double>::max() || number == 0.0;
    return !is_extreme || errno != ERANGE;
}

} // namespace

namespace vesk {

bool parse_integer(const char *value, int32_t length, int32_t &number)
{
    const std::string_view text = bytes_of(value, length);
    size_t start = std::min(text.find_first_not_of(white_space), text.size());
    const bool has_sign = start < text.size() && (text[start] == '-' || text[start] == '+');
    const bool negative = has_sign && text[start] == '-';
    start += has_sign;
    size_t end = start;
    while (end < text.size() && is_digit(text[end]))
        ++end;
    if (end == start) return false;
    number = clamped(text.substr(start, end - start), negative);
    if (end != text.size()) return false;
    return (number != lowest && number != highest) || errno != ERANGE;
}

} // namespace vesk

int vesk_input_is_int(const char *value, int32_t length)
{
    int32_t number;
    return vesk::parse_integer(value, length, number);
}

int vesk_input_is_int_in_set(const char *value, int32_t length, const vesk_input_set *set)
{
    int32_t number;
    if (!set || !vesk::parse_integer(value, length, number)) return 0;
    for (int32_t i = 0; i < set->count; ++i)
        if (set->entries[i] == number) return 1;
    return 0;
}

int vesk_input_is_positive_int(const char *value, int32_t length)
{
    return vesk_input_is_int_in_range(value, length, 1, highest);
}

int vesk_input_is_zero(const char *value, int32_t length)
{
    return vesk_input_is_int_in_range(value, length, 0, 0);
}

int vesk_input_is_non_negative_int(const char *value, int32_t length)
{
    return vesk_input_is_int_in_range(value, length, 0, highest);
}

int vesk_input_is_negative_int(const char *value, int32_t length)
{
    return value && !vesk_input_is_non_negative_int(value, length);
}

int vesk_input_is_int_in_range(const char *value, int32_t length, int32_t minimum, int32_t maximum)
{
    int32_t number;
    return vesk::parse_integer(value, length, number) && minimum <= number && number <= maximum;
}

int vesk_input_is_percent(const char *value, int32_t length)
{
    return vesk_input_is_int_in_range(value, length, 0, 100);
}

int vesk_input_is_even(const char *value, int32_t length)
{
    int32_t number;
    return vesk::parse_integer(value, length, number) && number % 2 == 0;
}

int vesk_input_is_double_in_range(const char *value, int32_t length, double minimum, double maximum)
{
    if (!value) return 0;
    double number = 0;
    const bool parsed = vesk::or_on_oom(false, [&] { return parse_double(value, length, number); });
    return parsed && number <= maximum && number >= minimum;
}
