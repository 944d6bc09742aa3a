#include "clients/shell_words.h"

#include <gtest/gtest.h>

#include "clients/failure.h"

namespace {

using namespace vesk::client;
using words = std::vector<std::string>;

words one_line(const std::string &text)
{
    const auto lines = split_lines(text);
    EXPECT_EQ(lines.size(), 1U) << text;
    return lines.empty() ? words{} : lines[0].words;
}

TEST(SplitLines, CutsAtBlanks)
{
    EXPECT_EQ(one_line("set  radio\tr0 ssid=lab "), (words{"set", "radio", "r0", "ssid=lab"}));
    EXPECT_TRUE(split_lines("").empty());
    EXPECT_TRUE(split_lines(" \n\t\n").empty());
}

TEST(SplitLines, UnderstandsQuotes)
{
    EXPECT_EQ(one_line(R"(a 'b  c' "d \"e\" \n \\" f\ g 'h'"i")"),
              (words{"a", "b  c", R"(d "e" \n \)", "f g", "hi"}));
    EXPECT_EQ(one_line("a '' \"\""), (words{"a", "", ""}));
    EXPECT_EQ(one_line(R"($'a\n\t\'\x41\101\u00e9\\' $x)"), (words{"a\n\t'AA\u00e9\\", "$x"}));
    EXPECT_EQ(one_line("a='b\nc' d"), (words{"a=b\nc", "d"}));
}

TEST(SplitLines, SkipsComments)
{
    EXPECT_EQ(one_line("# one\na b#c # two\n#three"), (words{"a", "b#c"}));
}

TEST(SplitLines, ContinuesALine)
{
    EXPECT_EQ(one_line("a \\\n b\\\nc \"d\\\ne\""), (words{"a", "bc", "de"}));
}

TEST(SplitLines, LeavesOutTheCarriageReturnOfALineEnd)
{
    EXPECT_EQ(one_line("set a=b\r\n"), (words{"set", "a=b"}));
    EXPECT_EQ(one_line("set \\\r\n a=b\r\n\r\n# c\r\n"), (words{"set", "a=b"}));
    EXPECT_EQ(one_line("a\rb 'c\r\nd' $'\\r'\r\n"), (words{"a\rb", "c\r\nd", "\r"}));
}

TEST(SplitLines, NumbersTheLines)
{
    const auto lines = split_lines("\na 'b\nc'\n\nd\\\ne\nf\n\"g\\\nh\"\ni");
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0].number, 2U);
    EXPECT_EQ(lines[1].number, 5U);
    EXPECT_EQ(lines[2].number, 7U);
    EXPECT_EQ(lines[3].number, 8U);
    EXPECT_EQ(lines[4].number, 10U);
}

TEST(SplitLines, RefusesAQuoteThatStaysOpen)
{
    for (const char *text : {"a\nb 'c\nd", "a\nb \"c\nd", "a\nb $'c\nd", "a\nb $'\\"}) {
        try {
            split_lines(text);
            FAIL() << text;
        } catch (const failure &why) {
            EXPECT_EQ(why.message, "line 2: a quote stays open") << text;
        }
    }
}

TEST(SplitUnfinished, EndsWithTheWordAtTheCursor)
{
    EXPECT_EQ(split_unfinished("veskctl show ra").words, (words{"veskctl", "show", "ra"}));
    EXPECT_EQ(split_unfinished("veskctl show ").words, (words{"veskctl", "show", ""}));
    EXPECT_EQ(split_unfinished("veskctl show r\\ 0").words, (words{"veskctl", "show", "r 0"}));
    EXPECT_EQ(split_unfinished("").words, (words{""}));
    EXPECT_EQ(split_unfinished("a '").words, (words{"a", ""}));
}

TEST(SplitUnfinished, SaysInWhichQuoteTheWordStands)
{
    EXPECT_EQ(split_unfinished("show 'r ").quote, '\'');
    EXPECT_EQ(split_unfinished("show \"r ").quote, '"');
    EXPECT_EQ(split_unfinished("show 'r' ").quote, '\0');
    EXPECT_EQ(split_unfinished("show 'r ").words, (words{"show", "r "}));
}

TEST(ShellQuoted, IsTakenBackAsTheSameWord)
{
    for (const char *word : {"plain", "two words", "a'b\"c", "$x`y`\\", "caf\u00e9", "",
                             "a&b|c;d<e>(f)", "~", "*?[a]{b}", "!x", "#a"}) {
        EXPECT_EQ(one_line("x " + shell_quoted(word, '\0')), (words{"x", word}));
        EXPECT_EQ(one_line("x \"" + shell_quoted(word, '"') + "\""), (words{"x", word}));
    }
    EXPECT_EQ(shell_quoted("ssid=", '\0'), "ssid=");
    EXPECT_EQ(shell_quoted("two words", '\0'), "two\\ words");
    EXPECT_EQ(shell_quoted("two words", '\''), "two words");
}

} // namespace
