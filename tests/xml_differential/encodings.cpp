#include "tests/xml_differential/encodings.h"

#include "tests/xml_differential/texts.h"

namespace vesk::test {
namespace {

/** Takes the first character from valid UTF-8; a byte that is none of a character is one. */
unsigned take_character(std::string_view &utf8)
{
    const auto lead = static_cast<unsigned char>(utf8[0]);
    const size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 1 || utf8.size() < length) {
        utf8.remove_prefix(1);
        return lead;
    }
    unsigned character = lead & (0x7FU >> length);
    for (size_t i = 1; i < length; ++i)
        character = character << 6 | (static_cast<unsigned char>(utf8[i]) & 0x3F);
    utf8.remove_prefix(length);
    return character;
}

void append_unit(std::string &out, unsigned unit, size_t bytes, bool little)
{
    for (size_t i = 0; i < bytes; ++i)
        out += static_cast<char>(unit >> 8 * (little ? i : bytes - 1 - i));
}

void append_utf16(std::string &out, unsigned character, bool little)
{
    if (character < 0x10000) return append_unit(out, character, 2, little);
    append_unit(out, 0xD800 + (character - 0x10000) / 0x400, 2, little);
    append_unit(out, 0xDC00 + (character - 0x10000) % 0x400, 2, little);
}

template <typename Append> std::string each_character(std::string_view utf8, Append &&append)
{
    std::string out;
    while (!utf8.empty())
        append(out, take_character(utf8));
    return out;
}

std::string utf16(std::string_view utf8, bool little)
{
    return each_character(
        utf8, [=](std::string &out, unsigned character) { append_utf16(out, character, little); });
}

} // namespace

encoding random_encoding(dice &die)
{
    return static_cast<encoding>(die.below(static_cast<unsigned>(encoding::mistaken) + 1));
}

unsigned largest_in(encoding in)
{
    if (in == encoding::ascii) return 0x7F;
    return in == encoding::latin1 ? 0xFF : last_character;
}

std::string declared_name(dice &die, encoding in)
{
    constexpr const char *mistakes[] = {"ISO-8859-1", "US-ASCII",    "UTF-16",   "x-nothing",
                                        "KOI8-R",     "ISO-8859-15", "UTF-16LE", "windows-1252",
                                        "Shift_JIS",  "IBM037",      "",         "UTF-7"};
    switch (in) {
    case encoding::unsaid:
        return "";
    case encoding::utf8:
        return die.percent(80) ? "UTF-8" : "utf-8";
    case encoding::utf8_marked:
        return die.percent(50) ? "UTF-8" : "";
    case encoding::ascii:
        return die.percent(80) ? "US-ASCII" : "ascii";
    case encoding::latin1:
        return die.percent(80) ? "ISO-8859-1" : "latin1";
    case encoding::utf16_little:
    case encoding::utf16_big:
    case encoding::utf16_little_unmarked:
    case encoding::utf16_big_unmarked:
        return die.percent(80) ? "UTF-16" : "";
    case encoding::ucs4_big:
        return die.percent(50) ? "UCS-4" : "";
    case encoding::mistaken:
        return die.among(mistakes);
    }
    return "";
}

std::string encoded(std::string_view utf8, encoding in)
{
    switch (in) {
    case encoding::unsaid:
    case encoding::utf8:
    case encoding::mistaken:
        return std::string{utf8};
    case encoding::utf8_marked:
        return "\xEF\xBB\xBF" + std::string{utf8};
    case encoding::ascii:
    case encoding::latin1:
        return each_character(utf8, [&](std::string &out, unsigned character) {
            out += character <= largest_in(in) ? static_cast<char>(character) : '?';
        });
    case encoding::utf16_little:
        return "\xFF\xFE" + utf16(utf8, true);
    case encoding::utf16_big:
        return "\xFE\xFF" + utf16(utf8, false);
    case encoding::utf16_little_unmarked:
        return utf16(utf8, true);
    case encoding::utf16_big_unmarked:
        return utf16(utf8, false);
    case encoding::ucs4_big:
        return each_character(utf8, [](std::string &out, unsigned character) {
            append_unit(out, character, 4, false);
        });
    }
    return {};
}

} // namespace vesk::test
