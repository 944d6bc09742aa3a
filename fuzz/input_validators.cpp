#include <algorithm>
#include <cerrno>
#include <cmath>
#include <memory>
#include <vector>

#include "fuzz/target.h"
#include "vesk/input.h"

// Four bytes that choose the parameters, then the value. A validator answers 1 or 0, the same
// whatever stands behind the value, and the validators agree with one another.

namespace {

using vesk::fuzz::require;

struct parameters {
    signed char low, high;
    int32_t domain, bits, minimum, maximum;
};

parameters parameters_of(std::string_view bytes)
{
    const auto low = static_cast<signed char>(bytes[0]), high = static_cast<signed char>(bytes[1]);
    const int32_t bits[] = {40, 104, 128, 0, -40};
    return {low,
            high,
            static_cast<unsigned char>(bytes[2]) % 5 - 1,
            bits[static_cast<unsigned char>(bytes[3]) % 5],
            low * 1000,
            high * 1000};
}

std::vector<int> answers(const char *value, int32_t length, const parameters &with)
{
    using validator = int (*)(const char *, int32_t);
    const validator plain[] = {
        vesk_input_is_word,         vesk_input_is_phrase,        vesk_input_is_passphrase,
        vesk_input_is_yes_no,       vesk_input_is_on_off,        vesk_input_is_up_down,
        vesk_input_is_interface,    vesk_input_is_int,           vesk_input_is_positive_int,
        vesk_input_is_zero,         vesk_input_is_percent,       vesk_input_is_non_negative_int,
        vesk_input_is_negative_int, vesk_input_is_even,          vesk_input_is_mac,
        vesk_input_is_domain_label, vesk_input_is_ssid,          vesk_input_is_mode,
        vesk_input_is_a_rate,       vesk_input_is_b_rate,        vesk_input_is_g_rate,
        vesk_input_is_wpa_psk_key,  vesk_input_is_wep_key_length};
    std::vector<int> all;
    for (const validator valid : plain) {
        errno = 0;
        all.push_back(valid(value, length));
    }
    errno = 0;
    all.push_back(vesk_input_is_int_in_range(value, length, with.minimum, with.maximum));
    errno = 0;
    all.push_back(vesk_input_is_double_in_range(value, length, with.minimum, with.maximum));
    errno = 0;
    all.push_back(vesk_input_is_string_in_range(value, length, with.low, with.high));
    all.push_back(vesk_input_is_a_channel(value, length, with.domain));
    all.push_back(vesk_input_is_b_channel(value, length, with.domain));
    all.push_back(vesk_input_is_wep_key(value, length, with.bits, 0));
    all.push_back(vesk_input_is_wep_key(value, length, with.bits, 1));
    return all;
}

/** Those that need a NUL behind the value. */
std::vector<int> answers_with_nul(const char *value, int32_t length)
{
    errno = 0;
    return {vesk_input_is_ip(value, length), vesk_input_is_domain_name(value, length),
            vesk_input_is_ip_or_domain_name(value, length)};
}

std::unique_ptr<char[]> block_of(std::string_view value, std::string_view behind)
{
    auto block = std::make_unique<char[]>(value.size() + behind.size());
    std::copy(behind.begin(), behind.end(), std::copy(value.begin(), value.end(), block.get()));
    return block;
}

bool are_answers(const std::vector<int> &all)
{
    return std::all_of(all.begin(), all.end(),
                       [](int answer) { return answer == 0 || answer == 1; });
}

void compare_sets(const char *value, int32_t length, const parameters &with)
{
    vesk_input_set *set = vesk_input_get_set_from_range(with.low, with.high, nullptr);
    vesk_input_set *longer = vesk_input_get_set_from_range('0', '9', set);
    const char pairs[] = {static_cast<char>(with.low), static_cast<char>(with.high), '0', '9'};
    require(vesk_input_is_string_in_set(value, length, set) ==
                vesk_input_is_string_in_range(value, length, with.low, with.high),
            "a range is its set");
    require(vesk_input_is_string_in_set(value, length, longer) ==
                vesk_input_is_string_in_ranges(value, length, pairs, 2),
            "ranges are their set");
    errno = 0;
    const int in_set = vesk_input_is_int_in_set(value, length, set);
    errno = 0;
    require(in_set == vesk_input_is_int_in_range(value, length, with.low, with.high),
            "numbers of a range are its set");
    vesk_input_free_set(longer);
    vesk_input_free_set(set);
}

void compare_validators(const char *value, int32_t length, const parameters &with)
{
    errno = 0;
    const bool is_int = vesk_input_is_int(value, length) == 1;
    const bool is_positive = vesk_input_is_positive_int(value, length) == 1;
    const bool is_zero = vesk_input_is_zero(value, length) == 1;
    const bool is_natural = vesk_input_is_non_negative_int(value, length) == 1;
    require(is_natural == (is_positive || is_zero), "zero and above are not negative");
    require(is_natural != (vesk_input_is_negative_int(value, length) == 1), "the rest is negative");
    require(is_int || (!is_natural && !vesk_input_is_even(value, length)), "a number is a number");
    require(!is_int || vesk_input_is_double_in_range(value, length, -HUGE_VAL, HUGE_VAL),
            "an integer is a number");
    require(!vesk_input_is_word(value, length) || vesk_input_is_phrase(value, length),
            "a word is a phrase");
    require(vesk_input_is_passphrase(value, length) ==
                (length == 0 || vesk_input_is_wpa_psk_key(value, length)),
            "a passphrase is a key or none");
    require(!vesk_input_is_b_rate(value, length) || vesk_input_is_g_rate(value, length),
            "a b rate is a g rate");
    require(vesk_input_is_channel(value, length, "g", with.domain) ==
                vesk_input_is_b_channel(value, length, with.domain),
            "g has the channels of b");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 4) return 0;
    const std::string_view bytes = vesk::fuzz::text_of(data, size);
    const parameters with = parameters_of(bytes);
    const std::string_view value = bytes.substr(4);
    const auto length = static_cast<int32_t>(value.size());
    const auto bare = block_of(value, ""), ended = block_of(value, {"\0", 1}),
               longer = block_of(value, {"1.a:\0", 5});

    const std::vector<int> all = answers(bare.get(), length, with);
    require(are_answers(all), "an answer is 0 or 1");
    require(all == answers(longer.get(), length, with), "what follows the value does not count");
    const std::vector<int> others = answers_with_nul(ended.get(), length);
    require(are_answers(others), "an answer is 0 or 1");
    require(others == answers_with_nul(longer.get(), length),
            "what follows the name does not count");
    require(others[2] == (others[0] || others[1]), "a host is an address or a name");
    require(vesk_input_is_ipv6(ended.get(), length) == vesk_input_is_ipv6(ended.get(), 0),
            "an address of 16 bytes has no length");
    compare_sets(bare.get(), length, with);
    compare_validators(bare.get(), length, with);
    return 0;
}
