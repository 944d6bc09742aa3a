#include "vesk/input.h"

#include <arpa/inet.h>
#include <cstring>
#include <string_view>

#include "input/bytes.h"

namespace {

using std::string_view;
using vesk::bytes_of;
using vesk::is_in_ranges;

constexpr int32_t mac_length = 17;
constexpr int32_t shortest_ip = 7;
constexpr int32_t longest_ip = 15;
constexpr size_t longest_label = 63;
constexpr int32_t name_limit = 256;

/** Where the next "." of a NUL-ended text lies, from start on; -1 for none before the end. */
int32_t next_dot(const char *value, int32_t start, int32_t end)
{
    const char *dot = std::strchr(value + start, '.');
    return dot && dot - value < end ? static_cast<int32_t>(dot - value) : -1;
}

bool is_octet(const char *value, int32_t start, int32_t end)
{
    return vesk_input_is_int_in_range(value + start, end - start, 0, 255);
}

/** Loopback, link-local, multicast, compatible, mapped, and one more address that is never used. */
bool is_refused(const in6_addr &address)
{
    uint32_t words[4];
    for (size_t i = 0; i < 4; ++i) {
        uint32_t word;
        std::memcpy(&word, address.s6_addr + 4 * i, sizeof word);
        words[i] = ntohl(word);
    }
    const bool begins_zero = words[0] == 0 && words[1] == 0;
    return (words[0] == 255 && words[1] == 255 && words[2] == 255 && words[3] == 255) ||
           (begins_zero && words[2] == 0 && words[3] != 0) || words[0] >> 22 == 0xFE80 >> 6 ||
           words[0] >> 24 == 0xFF || (begins_zero && words[2] == 0x0000FFFF);
}

} // namespace

int vesk_input_is_mac(const char *value, int32_t length)
{
    if (!value || length != mac_length) return 0;
    const string_view text = bytes_of(value, length);
    for (size_t pair = 0; pair < text.size(); pair += 3) {
        if (!is_in_ranges(text.substr(pair, 2), vesk::hexadecimal)) return 0;
        if (pair + 2 < text.size() && text[pair + 2] != ':') return 0;
    }
    return 1;
}

int vesk_input_is_ip(const char *value, int32_t length)
{
    if (!value || length < shortest_ip || length > longest_ip) return 0;
    int32_t start = 0;
    for (int part = 0; part < 3; ++part) {
        const int32_t dot = next_dot(value, start, length);
        if (dot < 0 || !is_octet(value, start, dot)) return 0;
        start = dot + 1;
    }
    return is_octet(value, start, length);
}

int vesk_input_is_ipv6(const char *value, int32_t)
{
    in6_addr address;
    return value && inet_pton(AF_INET6, value, &address) == 1 && !is_refused(address);
}

int vesk_input_is_domain_label(const char *value, int32_t length)
{
    const string_view label = bytes_of(value, length);
    if (label.empty() || label.size() > longest_label) return 0;
    if (label.size() <= 2) return is_in_ranges(label, vesk::alphanumeric);
    return is_in_ranges(label.substr(0, 1), vesk::alphanumeric) &&
           is_in_ranges(label.substr(label.size() - 1), vesk::alphanumeric) &&
           is_in_ranges(label, "09AZaz--");
}

int vesk_input_is_domain_name(const char *value, int32_t length)
{
    if (!value || length < 1) return 0;
    int32_t end = length;
    if (value[end - 1] == '.') --end;
    if (end < 1) return 0;
    int32_t total = 0;
    for (int32_t start = 0; start <= end;) {
        const int32_t dot = next_dot(value, start, end);
        const int32_t label_end = dot < 0 ? end : dot;
        // The last character of a label is left untested, which makes one of a single character
        // bad.
        if (!vesk_input_is_domain_label(value + start, label_end - start - 1)) return 0;
        total += label_end - start + 1;
        start = label_end + 1;
    }
    return total + 1 < name_limit;
}

int vesk_input_is_ip_or_domain_name(const char *value, int32_t length)
{
    return vesk_input_is_ip(value, length) || vesk_input_is_domain_name(value, length);
}
