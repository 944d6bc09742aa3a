#include "tests/xml_differential/texts.h"

namespace vesk::test {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view markup[] = {"<",    ">",         "&",     "\"",    "'",         "]]>",
                                       "--",   "<!--",      "&amp;", "&#38;", "&lt;",      "<a>",
                                       "</a>", "<![CDATA[", "?>",    "%",     "&nothing;", "\\"};

constexpr std::string_view not_in_xml[] = {"\x01"sv,
                                           "\x08"sv,
                                           "\x0B"sv,
                                           "\x0C"sv,
                                           "\x0E"sv,
                                           "\x1B"sv,
                                           "\x1F"sv, // control bytes
                                           "\xC0\x80"sv,
                                           "\xC1\xBF"sv,
                                           "\xE0\x80\xAF"sv,
                                           "\xE0\x9F\xBF"sv, // longer than need be
                                           "\xF0\x80\x80\xAF"sv,
                                           "\xF0\x8F\xBF\xBF"sv,
                                           "\xC0\xBC"sv, // the same
                                           "\xC3"sv,
                                           "\xE2\x82"sv,
                                           "\xF0\x9F\x98"sv,
                                           "\xF0\x9F"sv,
                                           "\xE2"sv, // cut off
                                           "\xED\xA0\x80"sv,
                                           "\xED\xBF\xBF"sv,
                                           "\xED\xA0\xBD\xED\xB8\x80"sv, // surrogates
                                           "\xEF\xBF\xBE"sv,
                                           "\xEF\xBF\xBF"sv, // U+FFFE and U+FFFF
                                           "\x80"sv,
                                           "\xBF"sv,
                                           "\x80\x80\x80\x80\x80"sv, // continuation alone
                                           "\xF4\x90\x80\x80"sv,
                                           "\xF5\x80\x80\x80"sv,
                                           "\xF8\x88\x80\x80\x80"sv, // above U+10FFFF
                                           "\xFE"sv,
                                           "\xFF"sv,
                                           "\xFE\xFF"sv,
                                           "\xFF\xFE<"sv,
                                           "\xC3<"sv,
                                           "\xE2\x82&"sv};

constexpr std::string_view spaces[] = {"\r", "\n", "\t", " ", "\r\n", "\n\n", "  "};

constexpr unsigned edges[] = {
    '<',    '>',    '&',        '"',     '\'',    '\t',     '\n',    '\r',    ' ', 0x7F,
    0x80,   0x85,   0xA0,       0xE4,    0xFF,    0x7FF,    0x800,   0x2028,  ']', 0xD7FF,
    0xE000, 0xFEFF, 0xFFFC,     0xFFFD,  ';',     '#',      '%',     '-',     '/', '=',
    0xFFF,  0x1000, 0xFFFF - 2, 0x10000, 0x1F600, 0x10FFFF, 0xFFFFF, 0x100000};

void append_ascii(std::string &out, dice &die)
{
    for (unsigned left = die.between(1, 20); left > 0; --left)
        out += static_cast<char>(die.between(0x20, 0x7E));
}

void append_piece(std::string &out, dice &die)
{
    switch (die.below(9)) {
    case 0:
    case 1:
    case 2:
        return append_ascii(out, die);
    case 3:
        out += die.among(markup);
        return;
    case 4:
        out += die.among(spaces);
        return;
    case 5:
        out += die.among(not_in_xml);
        return;
    case 6:
        out += static_cast<char>(die.between(1, 0xFF));
        return;
    default:
        return append_utf8(out, random_character(die));
    }
}

/** Runs that are longer than what a parser or a writer takes at once. */
std::string long_bytes(dice &die)
{
    std::string text(die.percent(10) ? die.below(20000) : die.below(1500), 'x');
    for (unsigned left = die.below(4); left > 0 && !text.empty(); --left) {
        std::string piece;
        append_piece(piece, die);
        text.insert(die.below(text.size()), piece);
    }
    return text;
}

bool is_in_xml(unsigned character)
{
    if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
    if (character >= 0xD800 && character <= 0xDFFF) return false;
    return character != 0xFFFE && character != 0xFFFF && character <= last_character;
}

/** The character of a sequence as long as its first byte says, or a wrong one for no sequence. */
unsigned sum_of(std::string_view sequence)
{
    constexpr unsigned char lead_bits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    unsigned character = static_cast<unsigned char>(sequence[0]) & lead_bits[sequence.size()];
    for (const char byte : sequence.substr(1))
        character = character * 64 + (static_cast<unsigned char>(byte) & 0x3F);
    return character;
}

/** How long a sequence is that begins with lead. */
size_t length_of(unsigned char lead)
{
    if (lead >= 0xC0 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    if (lead >= 0xF0 && lead < 0xF5) return 4;
    return 1;
}

} // namespace

void append_utf8(std::string &out, unsigned character)
{
    const auto continued = [&](unsigned shift) {
        out += static_cast<char>(0x80 | (character >> shift & 0x3F));
    };
    if (character < 0x80) {
        out += static_cast<char>(character);
    } else if (character < 0x800) {
        out += static_cast<char>(0xC0 | character >> 6);
        continued(0);
    } else if (character < 0x10000) {
        out += static_cast<char>(0xE0 | character >> 12);
        continued(6);
        continued(0);
    } else {
        out += static_cast<char>(0xF0 | character >> 18);
        continued(12);
        continued(6);
        continued(0);
    }
}

std::string random_bytes(dice &die)
{
    const unsigned kind = die.below(20);
    if (kind == 0) return {};
    if (kind == 1) return long_bytes(die);
    std::string text;
    for (unsigned left = die.between(1, kind < 10 ? 3 : 9); left > 0; --left)
        append_piece(text, die);
    return text;
}

unsigned random_character(dice &die, unsigned largest)
{
    unsigned character = 0;
    do
        switch (die.below(5)) {
        case 0:
            character = die.among(edges);
            break;
        case 1:
            character = die.between(0x80, 0x7FF);
            break;
        case 2:
            character = die.between(0x800, 0xFFFF);
            break;
        case 3:
            character = die.between(0x10000, last_character);
            break;
        default:
            character = die.between(0x20, 0x7E);
        }
    while (character > largest || !is_in_xml(character));
    return character;
}

std::string random_characters(dice &die, unsigned largest)
{
    std::string text;
    for (unsigned left = die.below(die.percent(5) ? 60 : 8); left > 0; --left)
        append_utf8(text, random_character(die, largest));
    return text;
}

std::string readable(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty()) {
        const auto sequence = bytes.substr(0, length_of(static_cast<unsigned char>(bytes[0])));
        // What is written again and comes out the same was UTF-8, and no longer than need be.
        std::string again;
        append_utf8(again, sum_of(sequence));
        const bool is_utf8 = again == sequence;
        if (is_utf8 && is_in_xml(sum_of(sequence)))
            text += sequence;
        else
            append_utf8(text, 0xFFFD);
        bytes.remove_prefix(is_utf8 ? sequence.size() : 1);
    }
    return text;
}

} // namespace vesk::test
