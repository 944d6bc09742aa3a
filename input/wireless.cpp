#include "vesk/input.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "input/bytes.h"

namespace {

using std::string_view;
using vesk::bytes_of;

constexpr string_view modes[] = {"a", "bg", "a-n", "bg-n", "n-only-a", "n-only-g"};
constexpr string_view b_rates[] = {"1", "2", "5.5", "11"};
constexpr string_view g_rates[] = {"1",  "2",  "5.5", "6",  "9",  "11",
                                   "12", "18", "24",  "36", "48", "54"};
constexpr int32_t a_rates[] = {6, 9, 12, 18, 24, 36, 48, 54};
constexpr string_view wep_key_lengths[] = {"40", "104", "128"};
constexpr int32_t wep_key_bits[] = {40, 104, 128};

constexpr int32_t a_channels_0[] = {36, 40, 44, 48, 52, 56, 60, 64, 149, 153, 157, 161, 165};
constexpr int32_t a_channels_1[] = {36,  40,  44,  48,  52,  56,  60,  64,  100, 104,
                                    108, 112, 116, 120, 124, 128, 132, 136, 140};
constexpr int32_t a_channels_2[] = {8, 12, 16, 34, 38, 42, 46, 240, 244, 248, 252};
constexpr int32_t b_channel_counts[] = {11, 13, 14}; // of each domain, from 1 on

constexpr int32_t longest_ssid = 32;
constexpr int32_t shortest_psk = 8;
constexpr int32_t longest_psk = 63;

template <size_t Size>
int is_int_of(const char *value, int32_t length, const int32_t (&numbers)[Size])
{
    int32_t number;
    return vesk::parse_integer(value, length, number) &&
           std::find(std::begin(numbers), std::end(numbers), number) != std::end(numbers);
}

template <typename Table> int is_one_of(const char *value, int32_t length, const Table &table)
{
    return value && vesk::is_one_of(bytes_of(value, length), table);
}

} // namespace

int vesk_input_is_ssid(const char *value, int32_t length)
{
    return value && length >= 1 && length <= longest_ssid;
}

int vesk_input_is_mode(const char *value, int32_t length)
{
    return is_one_of(value, length, modes);
}

int vesk_input_is_a_channel(const char *value, int32_t length, int32_t domain)
{
    switch (domain) {
    case 0:
        return is_int_of(value, length, a_channels_0);
    case 1:
        return is_int_of(value, length, a_channels_1);
    case 2:
        return is_int_of(value, length, a_channels_2);
    default:
        return 0;
    }
}

int vesk_input_is_b_channel(const char *value, int32_t length, int32_t domain)
{
    if (domain < 0 || domain >= static_cast<int32_t>(std::size(b_channel_counts))) return 0;
    return vesk_input_is_int_in_range(value, length, 1, b_channel_counts[domain]);
}

int vesk_input_is_g_channel(const char *value, int32_t length, int32_t domain)
{
    return vesk_input_is_b_channel(value, length, domain);
}

int vesk_input_is_channel(const char *value, int32_t length, const char *band, int32_t domain)
{
    if (!band) return 0;
    if (std::strcmp(band, "a") == 0) return vesk_input_is_a_channel(value, length, domain);
    if (std::strcmp(band, "b") == 0) return vesk_input_is_b_channel(value, length, domain);
    if (std::strcmp(band, "g") == 0) return vesk_input_is_g_channel(value, length, domain);
    return 0;
}

int vesk_input_is_a_rate(const char *value, int32_t length)
{
    return is_int_of(value, length, a_rates);
}

int vesk_input_is_b_rate(const char *value, int32_t length)
{
    return is_one_of(value, length, b_rates);
}

int vesk_input_is_g_rate(const char *value, int32_t length)
{
    return is_one_of(value, length, g_rates);
}

int vesk_input_is_wpa_psk_key(const char *value, int32_t length)
{
    if (length < shortest_psk || length > longest_psk) return 0;
    return vesk_input_is_phrase(value, length);
}

int vesk_input_is_wep_key(const char *value, int32_t length, int32_t bits, int32_t text)
{
    const bool is_size =
        std::find(std::begin(wep_key_bits), std::end(wep_key_bits), bits) != std::end(wep_key_bits);
    if (!value || !is_size || length != bits / (text ? 8 : 4)) return 0;
    return vesk::is_in_ranges(bytes_of(value, length), text ? vesk::printable : vesk::hexadecimal);
}

int vesk_input_is_wep_key_length(const char *value, int32_t length)
{
    return is_one_of(value, length, wep_key_lengths);
}
