#include "vesk/input.h"

#include <algorithm>
#include <string_view>

#include "input/bytes.h"

namespace {

using std::string_view;
using vesk::bytes_of;

constexpr string_view word_characters = "09AZaz--''";
constexpr string_view yes_no[] = {"yes", "no"};
constexpr string_view on_off[] = {"on", "off"};
constexpr string_view up_down[] = {"up", "down"};
constexpr int32_t longest_interface = 16;

int is_in_ranges(const char *value, int32_t length, string_view pairs)
{
    return value && vesk::is_in_ranges(bytes_of(value, length), pairs);
}

template <typename Table> int is_one_of(const char *value, int32_t length, const Table &table)
{
    return value && vesk::is_one_of(bytes_of(value, length), table);
}

bool contains(const vesk_input_set &set, int32_t entry)
{
    const int32_t *end = set.entries + set.count;
    return std::find(static_cast<const int32_t *>(set.entries), end, entry) != end;
}

} // namespace

int vesk_input_is_string_in_set(const char *value, int32_t length, const vesk_input_set *set)
{
    if (!value || !set) return 0;
    for (const char byte : bytes_of(value, length))
        if (!contains(*set, static_cast<signed char>(byte))) return 0;
    return 1;
}

int vesk_input_is_string_in_range(const char *value, int32_t length, signed char low,
                                  signed char high)
{
    const char pair[] = {static_cast<char>(low), static_cast<char>(high)};
    return is_in_ranges(value, length, {pair, sizeof pair});
}

int vesk_input_is_string_in_ranges(const char *value, int32_t length, const char *pairs,
                                   int32_t count)
{
    const size_t pair_count = pairs && count > 0 ? static_cast<size_t>(count) : 0;
    return is_in_ranges(value, length, {pairs, 2 * pair_count});
}

int vesk_input_is_word(const char *value, int32_t length)
{
    return is_in_ranges(value, length, word_characters);
}

int vesk_input_is_phrase(const char *value, int32_t length)
{
    return is_in_ranges(value, length, vesk::printable);
}

int vesk_input_is_passphrase(const char *value, int32_t length)
{
    return length == 0 ? value != nullptr : vesk_input_is_wpa_psk_key(value, length);
}

int vesk_input_is_string_in_array(const char *value, int32_t length, const char *const *texts)
{
    if (!value || !texts || length < 0) return 0;
    for (; *texts; ++texts)
        if (bytes_of(value, length) == *texts) return 1;
    return 0;
}

int vesk_input_is_yes_no(const char *value, int32_t length)
{
    return is_one_of(value, length, yes_no);
}

int vesk_input_is_on_off(const char *value, int32_t length)
{
    return is_one_of(value, length, on_off);
}

int vesk_input_is_up_down(const char *value, int32_t length)
{
    return is_one_of(value, length, up_down);
}

int vesk_input_is_interface(const char *value, int32_t length)
{
    return value && length <= longest_interface;
}
