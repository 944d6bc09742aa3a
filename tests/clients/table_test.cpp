#include "clients/table.h"

#include <gtest/gtest.h>

#include "clients/screen_text.h"

namespace {

using namespace vesk::client;
using namespace std::string_literals;

const table radios{{"NAME", "ssid", "note"},
                   {{"r0", "lobby", ""}, {"r1", "\u65e5\u672c", "x"}, {"r2", "e\u0301", "y\nz"}}};

std::string laid_out(const table &shown, const screen &on)
{
    std::string text;
    return append_table(text, shown, on) ? text : "too narrow";
}

std::string recorded(const table &shown, const screen &on, empty_cells which = empty_cells::shown)
{
    std::string text;
    append_records(text, shown, on, which);
    return text;
}

TEST(AppendTable, AlignsByWhatIsSeen)
{
    EXPECT_EQ(laid_out(radios, {}), "NAME  ssid   note\n"
                                    "r0    lobby\n"
                                    "r1    \u65e5\u672c   x\n"
                                    "r2    e\u0301      y\\nz\n");
}

TEST(AppendTable, CutsTheWidestColumnsOfANarrowScreen)
{
    const table wide{{"a", "b", "c"},
                     {{"1234", std::string(30, 'x'), std::string(12, 'y')},
                      {"1", "x", "\u65e5\u672c\u8a9e\u65e5\u672c\u8a9e"}}};
    EXPECT_EQ(laid_out(wide, {.terminal = true, .width = 28, .colour = false}),
              "a     b           c\n"
              "1234  xxxxxxxxx\u2026  yyyyyyyyy\u2026\n"
              "1     x           \u65e5\u672c\u8a9e\u65e5\u2026\n");
    EXPECT_EQ(laid_out(wide, {.terminal = true, .width = 23, .colour = false}), "too narrow");
}

TEST(AppendTable, LeavesOutEmptyColumnsOfANarrowScreen)
{
    const table sparse{{"a", "empty", "c"}, {{"1", "", "2"}, {"3", "", ""}}};
    EXPECT_EQ(laid_out(sparse, {.terminal = true, .width = 11, .colour = false}),
              "a  empty  c\n1         2\n3\n");
    EXPECT_EQ(laid_out(sparse, {.terminal = true, .width = 10, .colour = false}),
              "a  c\n1  2\n3\n");
}

TEST(AppendTable, CutsHeadersBeforeValues)
{
    const table headed{{"a rather long header", "b"}, {{"1234567", "abcdefghij"}}};
    EXPECT_EQ(laid_out(headed, {.terminal = true, .width = 25, .colour = false}),
              "a rather lon\u2026  b\n1234567        abcdefghij\n");
    EXPECT_EQ(laid_out(headed, {.terminal = true, .width = 20, .colour = false}),
              "a rathe\u2026  b\n1234567   abcdefghij\n");
    EXPECT_EQ(laid_out(headed, {.terminal = true, .width = 19, .colour = false}),
              "a rath\u2026  b\n1234567  abcdefghij\n");
    EXPECT_EQ(laid_out(headed, {.terminal = true, .width = 18, .colour = false}),
              "a rathe\u2026  b\n1234567   abcdefg\u2026\n");
}

TEST(AppendTable, CutsKeysLast)
{
    table keyed{{"NAME", "b"}, {{"0123456789", "abcdefghijkl"}}, 1};
    EXPECT_EQ(laid_out(keyed, {.terminal = true, .width = 20, .colour = false}),
              "NAME        b\n0123456789  abcdefg\u2026\n");
    EXPECT_EQ(laid_out(keyed, {.terminal = true, .width = 18, .colour = false}),
              "NAME      b\n0123456\u2026  abcdefg\u2026\n");
}

TEST(AppendTable, FoldsWhatHasManyColumns)
{
    const table many{{"NAME", "first", "second", "third"},
                     {{"r0", "123456789", "abcdefghi", "x"}, {"r1", "1", "", "y"}},
                     1};
    EXPECT_EQ(laid_out(many, {.terminal = true, .width = 24, .colour = true}),
              "\033[1mNAME  first\033[0m\nr0    123456789\nr1    1\n\n"
              "\033[1mNAME  second     third\033[0m\nr0    abcdefghi  x\nr1               y\n");
    EXPECT_EQ(laid_out(many, {.terminal = true, .width = 14, .colour = false}), "too narrow");
}

TEST(AppendTable, FoldsOnlyWhereAKeyTellsTheRows)
{
    const screen narrow{.terminal = true, .width = 12, .colour = false};
    const std::vector<std::vector<std::string>> rows{{"0123456789", "x", "0123456789"},
                                                     {"1", "y", "z"}};
    EXPECT_EQ(laid_out({{"a", "b", "c"}, rows}, narrow), "too narrow");
    EXPECT_EQ(laid_out({{"k", "b", "c"}, {{"r0", "0123456", "0123456"}}, 1}, narrow), "too narrow");
    EXPECT_EQ(
        laid_out({{"k", "b", "c"}, {{"r0", "0123456", "0123456"}, {"r1"s, "", ""}}, 1}, narrow),
        "k   b\nr0  0123456\nr1\n\nk   c\nr0  0123456\nr1\n");
}

TEST(AppendTable, FoldsIntoFewTables)
{
    std::vector<std::string> cells(4, std::string(10, 'x'));
    table many{{"k", "a", "b", "c"}, {cells, cells}, 1};
    many.rows[0][0] = many.rows[1][0] = "r";
    const screen narrow{.terminal = true, .width = 13, .colour = false};
    EXPECT_NE(laid_out(many, narrow), "too narrow");
    many.headers.emplace_back("d");
    for (auto &row : many.rows)
        row.emplace_back(10, 'x');
    EXPECT_EQ(laid_out(many, narrow), "too narrow");
}

TEST(AppendTable, NeverExceedsTheScreen)
{
    const table mixed{
        {"name", "value"},
        {{"\u65e5\u672c\u8a9e\u65e5\u672c", std::string(50, 'e') + "\u0301"},
         {"\U0001F4F6\U0001F4F6\U0001F4F6\U0001F4F6\U0001F4F6", "\u65e5\u672c\u8a9e"}}};
    for (size_t width = 18; width < 70; ++width) {
        std::string text = laid_out(mixed, {.terminal = true, .width = width, .colour = false});
        ASSERT_NE(text, "too narrow") << width;
        for (size_t end; (end = text.find('\n')) != text.npos; text.erase(0, end + 1))
            EXPECT_LE(columns(text.substr(0, end)), width);
    }
}

TEST(AppendTable, ColoursTheHeaderOnly)
{
    EXPECT_EQ(laid_out({{"a"}, {{"b"}}}, {.terminal = true, .width = 80, .colour = true}),
              "\033[1ma\033[0m\nb\n");
}

TEST(AppendRecords, PutsEachCellOnALine)
{
    EXPECT_EQ(recorded(radios, {.terminal = true, .width = 80, .colour = false}),
              "NAME  r0\nssid  lobby\nnote\n\nNAME  r1\nssid  \u65e5\u672c\nnote  x\n\n"
              "NAME  r2\nssid  e\u0301\nnote  y\\nz\n");
}

TEST(AppendRecords, CanLeaveOutEmptyCells)
{
    EXPECT_EQ(
        recorded(radios, {.terminal = true, .width = 80, .colour = false}, empty_cells::left_out)
            .substr(0, 24),
        "NAME  r0\nssid  lobby\n\nNA");
}

TEST(AppendRecords, ContinuesLongCells)
{
    const table one{{"k"}, {{"0123456789abcdef"}}};
    EXPECT_EQ(recorded(one, {.terminal = true, .width = 13, .colour = false}),
              "k  0123456789\n   abcdef\n");
    EXPECT_EQ(recorded(one, {}), "k  0123456789abcdef\n");
}

} // namespace
