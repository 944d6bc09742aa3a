#include "base/xml_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace vesk {
namespace {

constexpr unsigned replacement_character = 0xFFFD;

bool is_xml_character(unsigned character)
{
    return character == '\t' || character == '\n' || character == '\r' ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) ||
           (character >= 0x10000 && character <= 0x10FFFF);
}

struct decoded {
    unsigned character; // replacement_character for what is no UTF-8
    size_t length;
    bool valid;
};

decoded decode(std::string_view text, size_t at)
{
    constexpr unsigned smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    constexpr decoded bad{replacement_character, 1, false};
    const auto lead = static_cast<unsigned char>(text[at]);
    size_t length = 1;
    unsigned character = lead;
    if (lead >= 0x80) {
        length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        if (lead < 0xC0 || lead > 0xF4 || at + length > text.size()) return bad;
        character = lead & (0x7Fu >> length);
        for (size_t i = 1; i < length; ++i) {
            const auto byte = static_cast<unsigned char>(text[at + i]);
            if ((byte & 0xC0) != 0x80) return bad;
            character = character << 6 | (byte & 0x3F);
        }
        if (character < smallest[length]) return bad;
    }
    if (!is_xml_character(character)) return {replacement_character, length, false};
    return {character, length, true};
}

void append_reference(std::string &out, unsigned character)
{
    char buffer[16];
    out.append(buffer,
               static_cast<size_t>(std::snprintf(buffer, sizeof buffer, "&#x%X;", character)));
}

/** What a byte stands for itself in: element text, attribute values. */
enum plain_in : unsigned char { plain_in_text = 1, plain_in_attribute = 2 };

constexpr std::array<unsigned char, 256> plain_bytes = [] {
    std::array<unsigned char, 256> table{};
    for (size_t byte = 0x20; byte < 0x80; ++byte)
        table[byte] = plain_in_text | plain_in_attribute;
    table['\t'] = table['\n'] = table['"'] = plain_in_text;
    table['<'] = table['>'] = table['&'] = 0;
    return table;
}();

/** As many bytes as are looked at in one step. */
using word = size_t;

word word_at(std::string_view text, size_t at)
{
    word bytes;
    std::memcpy(&bytes, text.data() + at, sizeof bytes);
    return bytes;
}

/** Whether all bytes stand for themselves wherever they are; false also for a few that do. */
bool is_plain(word bytes)
{
    constexpr word ones = ~word{0} / 0xFF;
    constexpr word tops = ones << 7;
    const auto below = [](word all, word limit) { return (all - ones * limit) & ~all; };
    const auto equal = [&](word all, word byte) { return below(all ^ ones * byte, 1); };
    static_assert(('<' | 2) == '>' && ('"' | 4) == '&');
    const word special =
        bytes | below(bytes, ' ') | equal(bytes | ones * 2, '>') | equal(bytes | ones * 4, '&');
    return !(special & tops);
}

/** How many bytes from the front on stand for themselves. */
size_t plain_length(std::string_view text, plain_in where)
{
    size_t length = 0;
    while (text.size() - length >= sizeof(word) && is_plain(word_at(text, length)))
        length += sizeof(word);
    if (length > 0 && text.size() - length < sizeof(word) &&
        is_plain(word_at(text, text.size() - sizeof(word))))
        return text.size();
    while (length < text.size() && plain_bytes[static_cast<unsigned char>(text[length])] & where)
        ++length;
    return length;
}

/** Of a character that is markup in texts and attributes alike; null for any other. */
const char *reference_of_markup(unsigned character)
{
    switch (character) {
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '&':
        return "&amp;";
    default:
        return nullptr;
    }
}

/** What the two kinds of text share; special gives what stands for a character below 0x80. */
template <typename Special>
bool append_escaped(std::string &out, std::string_view value, plain_in where, Special &&special)
{
    bool replaced = false;
    for (;;) {
        const size_t plain = plain_length(value, where);
        out.append(value, 0, plain);
        value.remove_prefix(plain);
        if (value.empty()) return replaced;
        const auto [character, length, valid] = decode(value, 0);
        if (character >= 0x80)
            append_reference(out, character);
        else
            out += special(character);
        replaced |= !valid;
        value.remove_prefix(length);
    }
}

/** Calls visit(piece) for what value reads back as, until it gives false: then false. */
template <typename Visit> bool for_each_readable(std::string_view value, Visit &&visit)
{
    while (!value.empty()) {
        size_t length = plain_length(value, plain_in_attribute);
        std::string_view piece = value.substr(0, length);
        if (length == 0) {
            const decoded next = decode(value, 0);
            length = next.length;
            piece = next.valid ? value.substr(0, length) : "\xEF\xBF\xBD";
        }
        if (!visit(piece)) return false;
        value.remove_prefix(length);
    }
    return true;
}

/** Writes one piece after the other into room that was made for all. */
class piece_writer {
  public:
    piece_writer(std::string &out, size_t length)
    {
        const size_t start = out.size();
        out.resize(start + length);
        next_ = out.data() + start;
    }

    piece_writer &operator<<(std::string_view piece)
    {
        next_ = std::copy(piece.begin(), piece.end(), next_);
        return *this;
    }

    piece_writer &operator<<(char c)
    {
        *next_++ = c;
        return *this;
    }

  private:
    char *next_;
};

/** An element whose value stands for itself. */
void append_plain_element(std::string &out, std::string_view name, std::string_view value,
                          const element_layout &layout)
{
    const size_t around = layout.before.size() + layout.behind.size() + name.size() + 3;
    if (value.empty()) {
        piece_writer{out, around} << layout.before << '<' << name << "/>" << layout.behind;
        return;
    }
    piece_writer{out, around + name.size() + value.size() + 2}
        << layout.before << '<' << name << '>' << value << "</" << name << '>' << layout.behind;
}

} // namespace

bool append_text(std::string &out, std::string_view value)
{
    return append_escaped(out, value, plain_in_text, [](unsigned character) {
        const char *markup = reference_of_markup(character);
        return markup ? markup : "&#xD;"; // nothing else is not plain
    });
}

bool append_attribute(std::string &out, std::string_view value)
{
    return append_escaped(out, value, plain_in_attribute, [](unsigned character) {
        if (const char *markup = reference_of_markup(character)) return markup;
        return character == '"'    ? "&quot;"
               : character == '\n' ? "&#10;"
               : character == '\r' ? "&#13;"
                                   : "&#9;"; // nothing else is not plain
    });
}

bool append_element(std::string &out, std::string_view name, std::string_view value,
                    const element_layout &layout)
{
    if (plain_length(value, plain_in_text) == value.size()) {
        append_plain_element(out, name, value, layout);
        return false;
    }
    out += layout.before;
    out += '<';
    out += name;
    out += '>';
    const bool replaced = append_text(out, value);
    out += "</";
    out += name;
    out += '>';
    out += layout.behind;
    return replaced;
}

bool reads_back_as(std::string_view value, std::string_view text)
{
    const bool same = for_each_readable(value, [&](std::string_view piece) {
        if (!text.starts_with(piece)) return false;
        text.remove_prefix(piece.size());
        return true;
    });
    return same && text.empty();
}

std::string readable_back(std::string_view value)
{
    std::string text;
    for_each_readable(value, [&](std::string_view piece) {
        text += piece;
        return true;
    });
    return text;
}

} // namespace vesk
