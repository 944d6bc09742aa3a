#include "clients/screen_text.h"

#include <gtest/gtest.h>

namespace {

using namespace vesk::client;
using lines = std::vector<std::string>;

TEST(Visible, LeavesPlainTextAlone)
{
    EXPECT_EQ(visible("Caf\u00e9 & Bar \"\u65e5\u672c\" \U0001F4F6"),
              "Caf\u00e9 & Bar \"\u65e5\u672c\" \U0001F4F6");
}

TEST(Visible, ShowsWhatATerminalWouldObey)
{
    EXPECT_EQ(visible("a\nb\r\tc\\"), "a\\nb\\r\\tc\\\\");
    EXPECT_EQ(visible("\033[31m\x7f\x01"), "\\x1b[31m\\x7f\\x01");
    EXPECT_EQ(visible("\u009b31m"), "\\u{9b}31m");
    EXPECT_EQ(visible("a\u2028b\ufeff"), "a\\u{2028}b\\u{feff}");
    std::string reversed;
    append_character(reversed, 0x202E);
    EXPECT_EQ(visible(reversed), "\\u{202e}");
}

TEST(Visible, ShowsBytesThatAreNoText)
{
    EXPECT_EQ(visible("a\xff\xc3"), "a\\xff\\xc3");
    EXPECT_EQ(visible("\xc0\xaf"), "\\xc0\\xaf");          // too long a form
    EXPECT_EQ(visible("\xed\xa0\x80"), "\\xed\\xa0\\x80"); // a surrogate
    EXPECT_EQ(visible("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
    EXPECT_EQ(visible("\xe2\x82"), "\\xe2\\x82");
}

TEST(IsWellFormed, IsTrueOfUtf8Alone)
{
    EXPECT_TRUE(is_well_formed(""));
    EXPECT_TRUE(is_well_formed("Caf\u00e9 \U0001F4F6\n"));
    for (const char *bytes : {"a\xff", "\xc3", "\xc0\xaf", "\xed\xa0\x80"})
        EXPECT_FALSE(is_well_formed(bytes));
}

TEST(Visible, ShowsAMarkThatHasNothingBelow)
{
    EXPECT_EQ(visible("\u0301a"), "\\u{301}a");
    EXPECT_EQ(visible("a\u0301"), "a\u0301");
}

TEST(Columns, CountsWhatIsSeen)
{
    EXPECT_EQ(columns(""), 0U);
    EXPECT_EQ(columns("caf\u00e9"), 4U);
    EXPECT_EQ(columns("cafe\u0301"), 4U);
    EXPECT_EQ(columns("\u65e5\u672c\u8a9e"), 6U);
    EXPECT_EQ(columns("\uff21"), 2U);
    EXPECT_EQ(columns("\U0001F4F6"), 2U);
    EXPECT_EQ(columns("\u1112\u1161\u11ab"), 2U); // a Hangul syllable of parts
}

TEST(Cut, LeavesAnEllipsis)
{
    EXPECT_EQ(cut("abcdef", 6), "abcdef");
    EXPECT_EQ(cut("abcdef", 5), "abcd\u2026");
    EXPECT_EQ(cut("abcdef", 1), "\u2026");
}

TEST(Cut, CutsBetweenGlyphs)
{
    EXPECT_EQ(cut("\u65e5\u672c\u8a9e", 5), "\u65e5\u672c\u2026");
    EXPECT_EQ(cut("\u65e5\u672c\u8a9e", 4), "\u65e5\u2026");
    EXPECT_EQ(cut("a\\u{202e}b", 9), "a\u2026");
    EXPECT_EQ(cut("a\\x1bbc", 6), "a\\x1b\u2026");
    EXPECT_EQ(cut("ae\u0301\u0302bc", 3), "ae\u0301\u0302\u2026");
}

TEST(Wrapped, SplitsBetweenGlyphs)
{
    EXPECT_EQ(wrapped("abcdef", 3), (lines{"abc", "def"}));
    EXPECT_EQ(wrapped("abcdefg", 3), (lines{"abc", "def", "g"}));
    EXPECT_EQ(wrapped("", 3), (lines{""}));
    EXPECT_EQ(wrapped("\u65e5\u672c\u8a9e", 3), (lines{"\u65e5", "\u672c", "\u8a9e"}));
    EXPECT_EQ(wrapped("\u65e5\u672c", 1), (lines{"\u65e5", "\u672c"}));
    EXPECT_EQ(wrapped("one two three", 9), (lines{"one two ", "three"}));
    EXPECT_EQ(wrapped("a bcdefgh", 5), (lines{"a bcd", "efgh"}));
    EXPECT_EQ(wrapped("ab\\n\\\\c", 3), (lines{"ab", "\\n", "\\\\c"}));
    EXPECT_EQ(wrapped("abe\u0301\u0302c", 3), (lines{"abe\u0301\u0302", "c"}));
}

TEST(AppendCharacter, IsReadBack)
{
    for (const char32_t code :
         std::u32string{0x41, 0x7F, 0x80, 0x7FF, 0x800, 0xFFFD, 0x10000, 0x10FFFF}) {
        std::string text;
        append_character(text, code);
        const character read = character_at(text, 0);
        EXPECT_TRUE(read.valid);
        EXPECT_EQ(read.code, code);
        EXPECT_EQ(read.length, text.size());
    }
}

} // namespace
