#include "clients/screen_text.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "clients/character_table.h"

namespace vesk::client {
namespace {

constexpr std::string_view ellipsis = "\u2026"; // one column
constexpr char32_t zero_width_joiner = 0x200D;

template <size_t Count> bool is_in(const character_range (&ranges)[Count], char32_t code)
{
    const auto *range =
        std::lower_bound(std::begin(ranges), std::end(ranges), code,
                         [](const character_range &r, char32_t wanted) { return r.last < wanted; });
    return range != std::end(ranges) && range->first <= code;
}

size_t columns_of(char32_t code)
{
    if (code < 0x80) return 1;
    if (is_in(combining_characters, code)) return 0;
    return is_in(wide_characters, code) ? 2 : 1;
}

std::string escape(const char *format, unsigned number)
{
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, format, number);
    return buffer;
}

std::string escaped(const character &c)
{
    switch (c.code) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    case '\\':
        return "\\\\";
    default:
        return escape(c.valid && c.code >= 0x80 ? "\\u{%x}" : "\\x%02x",
                      static_cast<unsigned>(c.code));
    }
}

/** A mark at the beginning of a text would be drawn over what stands before the text. */
bool is_drawable(const character &c, size_t at)
{
    if (!c.valid || c.code == '\\' || is_hidden(c.code)) return false;
    return at > 0 || columns_of(c.code) > 0;
}

/** What is drawn in one place: a character and the marks that follow it, or an escape. */
struct glyph {
    size_t length;
    size_t columns;
};

glyph escape_at(std::string_view text, size_t at)
{
    size_t length = 2;
    if (text.substr(at).starts_with("\\x")) length = 4;
    if (text.substr(at).starts_with("\\u")) length = text.find('}', at) - at + 1;
    return {length, length};
}

glyph glyph_at(std::string_view text, size_t at)
{
    if (text[at] == '\\') return escape_at(text, at);
    character c = character_at(text, at);
    glyph found{c.length, columns_of(c.code)};
    while (at + found.length < text.size()) {
        const bool joined = c.code == zero_width_joiner;
        c = character_at(text, at + found.length);
        if (columns_of(c.code) > 0 && !joined) break;
        found.columns += columns_of(c.code); // terminals differ about joined ones; this is safe
        found.length += c.length;
    }
    return found;
}

/** How many bytes of the text, from at on, fit into a width. */
size_t bytes_that_fit(std::string_view text, size_t at, size_t width)
{
    size_t end = at;
    while (end < text.size()) {
        const glyph next = glyph_at(text, end);
        if (next.columns > width) break;
        width -= next.columns;
        end += next.length;
    }
    return end - at;
}

/** How much of a line is left when it ends behind a blank, if there is one in its second half. */
size_t up_to_a_blank(std::string_view line)
{
    const size_t blank = line.rfind(' ');
    return blank == line.npos || blank < line.size() / 2 ? line.size() : blank + 1;
}

} // namespace

character character_at(std::string_view text, size_t at)
{
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
    const character ill_formed{byte(0), 1, false};
    if (byte(0) < 0x80) return {byte(0), 1, true};
    if (byte(0) < 0xC2 || byte(0) > 0xF4) return ill_formed;
    const size_t length = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (text.size() - at < length) return ill_formed;
    char32_t code = byte(0) & (0x7FU >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return ill_formed;
        code = code << 6 | (byte(i) & 0x3F);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < smallest[length] || code > 0x10FFFF || surrogate) return ill_formed;
    return {code, length, true};
}

bool is_well_formed(std::string_view text)
{
    for (size_t at = 0; at < text.size();) {
        const character c = character_at(text, at);
        if (!c.valid) return false;
        at += c.length;
    }
    return true;
}

void append_character(std::string &out, char32_t code)
{
    const auto byte = [&](char32_t bits) { out += static_cast<char>(bits); };
    if (code < 0x80) {
        byte(code);
        return;
    }
    if (code < 0x800) {
        byte(0xC0 | code >> 6);
    } else {
        if (code < 0x10000) {
            byte(0xE0 | code >> 12);
        } else {
            byte(0xF0 | code >> 18);
            byte(0x80 | (code >> 12 & 0x3F));
        }
        byte(0x80 | (code >> 6 & 0x3F));
    }
    byte(0x80 | (code & 0x3F));
}

bool is_hidden(char32_t code)
{
    return code < 0x20 || code == 0x7F || (code >= 0x80 && is_in(hidden_characters, code));
}

std::string visible(std::string_view text)
{
    std::string out;
    for (size_t at = 0; at < text.size();) {
        const character c = character_at(text, at);
        if (is_drawable(c, at))
            out += text.substr(at, c.length);
        else
            out += escaped(c);
        at += c.length;
    }
    return out;
}

size_t columns(std::string_view text)
{
    size_t sum = 0;
    for (size_t at = 0; at < text.size();) {
        const glyph next = glyph_at(text, at);
        sum += next.columns;
        at += next.length;
    }
    return sum;
}

std::string cut(const std::string &text, size_t width)
{
    if (columns(text) <= width) return text;
    return text.substr(0, bytes_that_fit(text, 0, width - 1)).append(ellipsis);
}

std::vector<std::string> wrapped(std::string_view text, size_t width)
{
    std::vector<std::string> lines;
    size_t at = 0;
    do {
        // A glyph that is wider than the whole line still goes somewhere.
        size_t length = bytes_that_fit(text, at, width);
        if (at + length < text.size()) length = up_to_a_blank(text.substr(at, length));
        if (length == 0 && at < text.size()) length = glyph_at(text, at).length;
        lines.emplace_back(text.substr(at, length));
        at += length;
    } while (at < text.size());
    return lines;
}

} // namespace vesk::client
