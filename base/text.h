#ifndef VESK_BASE_TEXT_H
#define VESK_BASE_TEXT_H

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace vesk {

/** Cuts text to at most length bytes, at a whole UTF-8 character. */
void cut_text(std::string &text, size_t length);

/** printf into a string of at most length bytes, cut at a whole character. */
std::string format_text(size_t length, const char *format, ...)
    __attribute__((__format__(__printf__, 2, 3)));

/** As long as it takes. */
constexpr size_t any_length = static_cast<size_t>(-1);

struct free_c_string {
    void operator()(char *string) const { std::free(string); }
};
/** Owns a string that was allocated with malloc. */
using c_string = std::unique_ptr<char, free_c_string>;

/** Allocates with malloc a NUL-ended copy, for a caller in C who frees it. */
char *malloc_copy(std::string_view text);

} // namespace vesk

#endif
