#ifndef VESK_INPUT_BYTES_H
#define VESK_INPUT_BYTES_H

#include <cstdint>
#include <string_view>

namespace vesk {

/** The bytes that a validator may look at; a null value is told apart by its data(). */
inline std::string_view bytes_of(const char *value, int32_t length)
{
    return {value, value && length > 0 ? static_cast<size_t>(length) : 0};
}

/** Whether every byte lies in one of the ranges, given as "09AZ": low, high, low, high. */
constexpr bool is_in_ranges(std::string_view bytes, std::string_view pairs)
{
    for (const char byte : bytes) {
        bool found = false;
        for (size_t i = 0; i + 1 < pairs.size() && !found; i += 2)
            found = static_cast<signed char>(pairs[i]) <= static_cast<signed char>(byte) &&
                    static_cast<signed char>(byte) <= static_cast<signed char>(pairs[i + 1]);
        if (!found) return false;
    }
    return true;
}

/** Whether bytes are one of the texts of a table. */
template <typename Table> bool is_one_of(std::string_view bytes, const Table &table)
{
    for (const std::string_view text : table)
        if (text == bytes) return true;
    return false;
}

constexpr std::string_view printable = " ~";
constexpr std::string_view alphanumeric = "09AZaz";
constexpr std::string_view hexadecimal = "09AFaf";

/** Parses an integer; false when there is none. number is set whenever there were digits. */
bool parse_integer(const char *value, int32_t length, int32_t &number);

} // namespace vesk

#endif
