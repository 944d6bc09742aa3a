#include "base/text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace vesk {

void cut_text(std::string &text, size_t length)
{
    if (text.size() <= length) return;
    const auto continues = [&](size_t at) {
        return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
    };
    // A character has at most three continuation bytes: text that is no UTF-8 is cut where it is.
    size_t end = length;
    while (end > 0 && length - end < 3 && continues(end))
        --end;
    text.resize(continues(end) ? length : end);
}

std::string format_text(size_t length, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int needed = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text;
    if (needed > 0) {
        text.resize(static_cast<size_t>(needed));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    cut_text(text, length);
    return text;
}

char *malloc_copy(std::string_view text)
{
    auto *copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (!copy) throw std::bad_alloc{};
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

} // namespace vesk
