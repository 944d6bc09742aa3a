#include "vesk/input.h"

#include <array>
#include <cctype>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/validator.h"

namespace {

using namespace vesk::test;

/** What is asked of every set of characters: it accepts some of these texts, and refuses others. */
const texts any_texts = {
    "0",          "9",      "a",       "f",        "g",      "z",     "A",        "F",     "G",
    "Z",          "/",      ":",       "@",        "[",      "`",     "{",        " ",     "~",
    "0123456789", "abcdef", "ABCDEF",  "deadBEEF", "afraid", "zebra", "a-b",      "x",     "xx",
    "xax",        "\x7f",   "\x80",    "\x81",     "\xfe",   "\xff",  "\x80\xff", "a\xff", "\x01",
    "\0"s,        "a\0a"s,  "\0\0\0"s, "\x1f",     "mm",     "nano",  "za",       "-",     "--",
    "'",          "0-9",    "09az",    "  ",       "a ",     " a",    "aaaa\x80"};

const std::string all_bytes = [] {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    return all;
}();

int code_of(char c)
{
    const int byte = static_cast<unsigned char>(c);
    return byte < 128 ? byte : byte - 256;
}

/** The tables of a subject whose rule depends on a parameter. */
void expect_rule_over(const subject &subject, const texts &all, std::string_view alphabet)
{
    texts accepted, refused;
    for (const std::string &text : all)
        (subject.rule(text) ? accepted : refused).push_back(text);
    expect_rule(subject, accepted, refused, alphabet);
}

subject in_set(std::vector<int32_t> &entries)
{
    const std::set<int32_t> codes{entries.begin(), entries.end()};
    return {
        .valid =
            [&entries](const char *value, int32_t length) {
                const vesk_input_set set = {entries.data(), static_cast<int32_t>(entries.size())};
                return vesk_input_is_string_in_set(value, length, &set);
            },
        .rule =
            [codes](const std::string &text) {
                std::set<int32_t> used;
                for (const char c : text)
                    used.insert(code_of(c));
                return std::includes(codes.begin(), codes.end(), used.begin(), used.end());
            }};
}

TEST(InputIsStringInSet, FollowsItsRule)
{
    std::vector<std::vector<int32_t>> sets = {
        {'a', 'b', 'f', 'x'}, {'a', 'a', 'a'},         {0}, {-128, -1}, {127, -127, 'a', 0},
        {' ', '~', '-'},      {-1, 'm', 'n', 'a', 'o'}};
    for (auto &entries : sets)
        expect_rule_over(in_set(entries), any_texts, "abfx\x80\xff mno");
}

TEST(InputIsStringInSet, AcceptsOnlyTheEmptyTextForAnEmptySet)
{
    std::vector<int32_t> none;
    expect_rule(in_set(none), {""}, any_texts, "a");
}

TEST(InputIsStringInSet, ComparesBytesAsSignedNumbers)
{
    std::vector<int32_t> unsigned_codes = {0x80, 0xff, 256 + 'a'};
    expect_rule(in_set(unsigned_codes), {""}, any_texts, "a\x80\xff");
}

TEST(InputIsStringInSet, SearchesAsManyEntriesAsTheSetCounts)
{
    std::vector<int32_t> entries = {'a', 'b'};
    const vesk_input_set set = {entries.data(), 1};
    EXPECT_EQ(vesk_input_is_string_in_set("a", 1, &set), 1);
    EXPECT_EQ(vesk_input_is_string_in_set("b", 1, &set), 0);
}

TEST(InputIsStringInSet, AcceptsWhatTheSetWasMadeOf)
{
    const std::unique_ptr<vesk_input_set, void (*)(vesk_input_set *)> set{
        vesk_input_new_string_set("\x80z\0", 3), vesk_input_free_set};
    EXPECT_EQ(vesk_input_is_string_in_set("z\0\x80\x80", 4, set.get()), 1);
    EXPECT_EQ(vesk_input_is_string_in_set("z\x81", 2, set.get()), 0);
}

TEST(InputIsStringInRange, FollowsItsRule)
{
    const std::vector<std::array<int, 2>> ranges = {
        {'a', 'f'}, {'f', 'a'}, {'m', 'm'}, {0, 127},     {-128, 127}, {-128, -1},
        {-1, 0},    {' ', '~'}, {127, 127}, {-128, -128}, {127, -128}, {-1, 'a'}};
    for (const auto &[low, high] : ranges) {
        const auto first = static_cast<signed char>(low), last = static_cast<signed char>(high);
        SCOPED_TRACE(std::to_string(low) + " to " + std::to_string(high));
        const subject subject = {
            .valid =
                [=](const char *value, int32_t length) {
                    return vesk_input_is_string_in_range(value, length, first, last);
                },
            .rule =
                [=](const std::string &text) {
                    int lowest = 127, highest = -128;
                    for (const char c : text) {
                        lowest = std::min(lowest, code_of(c));
                        highest = std::max(highest, code_of(c));
                    }
                    return text.empty() || (lowest >= first && highest <= last);
                }};
        expect_rule_over(subject, any_texts, "afm\x80\xff\x7f ");
    }
}

subject in_ranges(const std::string &pairs)
{
    std::array<bool, 256> allowed{};
    for (size_t i = 0; i + 1 < pairs.size(); i += 2)
        for (int code = code_of(pairs[i]); code <= code_of(pairs[i + 1]); ++code)
            allowed[static_cast<size_t>(code + 128)] = true;
    return {.valid =
                [pairs](const char *value, int32_t length) {
                    // No NUL behind the pairs: no more than count of them may be read.
                    return vesk_input_is_string_in_ranges(value, length, exact_copy(pairs).get(),
                                                          static_cast<int32_t>(pairs.size() / 2));
                },
            .rule =
                [allowed](const std::string &text) {
                    return std::all_of(text.begin(), text.end(), [&](char c) {
                        return allowed[static_cast<size_t>(code_of(c) + 128)];
                    });
                }};
}

TEST(InputIsStringInRanges, FollowsItsRule)
{
    const texts lists = {"09AFaf", "09AZaz--''", "zaAZ",      "mmnnaa",   "azaz",     "afkz__",
                         "\0\0"s,  "\x80\xff",   "\xff\0aa"s, "\x7f\x7f", "\xff\x80", "\x80\x7f"};
    for (const std::string &pairs : lists) {
        SCOPED_TRACE(::testing::PrintToString(pairs));
        expect_rule_over(in_ranges(pairs), any_texts, "09afmzAF-\x80\xff");
    }
}

TEST(InputIsStringInRanges, AcceptsOnlyTheEmptyTextWithoutPairs)
{
    expect_rule(in_ranges(""), {""}, any_texts, "az");
    EXPECT_EQ(vesk_input_is_string_in_ranges("", 0, "az", 0), 1);
    EXPECT_EQ(vesk_input_is_string_in_ranges("a", 1, "az", 0), 0);
}

TEST(InputIsStringInRanges, ReadsAsManyPairsAsItIsTold)
{
    EXPECT_EQ(vesk_input_is_string_in_ranges("5", 1, "09az", 1), 1);
    EXPECT_EQ(vesk_input_is_string_in_ranges("b", 1, "09az", 1), 0);
    EXPECT_EQ(vesk_input_is_string_in_ranges("b", 1, "09az", 2), 1);
}

TEST(InputIsWord, FollowsItsRule)
{
    const subject subject = {vesk_input_is_word, [](const std::string &text) {
                                 return std::all_of(text.begin(), text.end(), [](unsigned char c) {
                                     return (c < 128 && std::isalnum(c)) || c == '-' || c == '\'';
                                 });
                             }};
    const texts accepted = {
        "",   "a",  "z",  "A",   "Z",      "0",     "9",         "-",      "'",
        "''", "--", "-'", "a-b", "O'Hara", "word1", "123456789", "AZaz09", std::string(1000, 'w')};
    const texts refused = {
        "/",     ":",        "@",       "[",    "`",   "{",     "&",
        "(",     ",",        ".",       "_",    "a_b", "a.b",   " a",
        "a ",    "a\t",      "a\n",     "a\0"s, "\0"s, "a\0b"s, "\x80",
        "a\xff", "\xc3\xa9", "caf\xe9", "\"",   "a+b", "\x7f",  std::string(1000, 'w') + "."};
    expect_rule(subject, accepted, refused, "azAZ09-'");
    expect_rule_over(subject, any_texts, all_bytes);
}

TEST(InputIsWord, AcceptsAnApostropheAndAHyphenAndTheEmptyText)
{
    EXPECT_EQ(vesk_input_is_word("it's-ok", 7), 1);
    EXPECT_EQ(vesk_input_is_word("", 0), 1);
}

TEST(InputIsWord, RefusesASpaceAndAnyByteOf0x80AndAbove)
{
    EXPECT_EQ(vesk_input_is_word("a b", 3), 0);
    for (int byte = 0x80; byte < 0x100; ++byte)
        EXPECT_EQ(vesk_input_is_word(("ok"s + static_cast<char>(byte)).data(), 3), 0) << byte;
}

TEST(InputIsPhrase, FollowsItsRule)
{
    const subject subject = {vesk_input_is_phrase, is_printable};
    const texts accepted = words("~ ! <&> 100% }|{ 1+1=2? @home [#$^*_`]",
                                 {"", " ", "  ", "a b", "it's \"quoted\"", "a\\b", " ~ ~ ",
                                  std::string(1000, ' '), std::string(1000, '~')});
    const texts refused = {
        "\x1f", "\x7f",  "\n",       "a\n",      "\ta",     "a\0"s,
        "\0"s,  "a\0b"s, "\x80",     "caf\xe9",  "\xff ok", " \x9f",
        "\x01", "\r\n",  "a\x1b[0m", "\xc2\xa0", "ok\x7f",  std::string(1000, ' ') + "\n"};
    expect_rule(subject, accepted, refused, "az 09~!\x1f\x7f");
}

TEST(InputIsPassphrase, FollowsItsRule)
{
    const subject subject = {vesk_input_is_passphrase, matches("(?:[ -~]{8,63})?")};
    const texts accepted = {
        "",           "12345678",          "        ",           "~~~~~~~~",          "pass phrase",
        "a\"b'c<d>&", std::string(9, 'x'), std::string(62, ' '), std::string(63, '~')};
    const texts refused =
        words("1 1234567",
              {std::string(6, '~'), std::string(64, ' '), std::string(64, 'a'),
               std::string(65, 'a'), std::string(1000, 'a'), "1234567\x80", "\xff"s + "12345678",
               "1234567\0"s, "\0"s + "12345678", "12345678\0"s, "\t12345678", "12345678\n",
               "1234567\x7f", std::string(62, 'a') + "\x1f", std::string(63, '\xe9')});
    expect_rule(subject, accepted, refused, "abc 123~");
}

TEST(InputIsPassphrase, Accepts8To63CharactersOrNone)
{
    for (size_t length = 0; length < 70; ++length)
        EXPECT_EQ(
            vesk_input_is_passphrase(std::string(length, 'p').data(), static_cast<int32_t>(length)),
            length == 0 || (length >= 8 && length <= 63))
            << length;
    EXPECT_EQ(vesk_input_is_passphrase("12345678", -1), 0);
}

subject in_array(const texts &entries)
{
    return {.valid =
                [entries](const char *value, int32_t length) {
                    std::vector<const char *> list;
                    for (const std::string &entry : entries)
                        list.push_back(entry.c_str());
                    list.push_back(nullptr);
                    return vesk_input_is_string_in_array(value, length, list.data());
                },
            .rule =
                [entries](const std::string &text) {
                    return std::find(entries.begin(), entries.end(), text) != entries.end();
                }};
}

TEST(InputIsStringInArray, FollowsItsRule)
{
    const texts near = {"auto",  "aut",          "autos",    "Auto",       "AUTO", " auto",
                        "auto ", "auto\0"s,      "au\0o"s,   "a",          "full", "full-duplex",
                        "full-", "full-duplex2", "b",        "c",          "half", "\xe9t\xe9",
                        "\xe9t", "\xe9",         "autofull", "auto\nfull", "0",    "10"};
    for (const texts &entries : {texts{"auto", "full", "full-duplex", "a", "\xe9t\xe9"},
                                 texts{"full-duplex", "full"}, texts{"", "b", "b"}, texts{""}}) {
        SCOPED_TRACE(::testing::PrintToString(entries));
        expect_rule_over(in_array(entries), near, "autofl-\xe9");
    }
}

TEST(InputIsStringInArray, RefusesEveryTextWithoutEntriesOrList)
{
    const char *const none[] = {nullptr};
    for (const std::string &text : any_texts)
        for (const char *const *list : {&none[0], static_cast<const char *const *>(nullptr)})
            EXPECT_EQ(
                vesk_input_is_string_in_array(text.data(), static_cast<int32_t>(text.size()), list),
                0);
    EXPECT_EQ(vesk_input_is_string_in_array("", 0, none), 0);
    EXPECT_EQ(vesk_input_is_string_in_array(nullptr, 0, nullptr), 0);
}

TEST(InputIsStringInArray, EndsAtTheNull)
{
    const char *const list[] = {"one", nullptr, "two", nullptr};
    EXPECT_EQ(vesk_input_is_string_in_array("one", 3, list), 1);
    EXPECT_EQ(vesk_input_is_string_in_array("two", 3, list), 0);
}

TEST(InputIsStringInArray, RefusesALengthBelow0)
{
    const char *const list[] = {"", "a", nullptr};
    EXPECT_EQ(vesk_input_is_string_in_array("a", 0, list), 1);
    EXPECT_EQ(vesk_input_is_string_in_array("a", -1, list), 0);
}

/** A validator of one or other of two words, and what is nearly one. */
void expect_words(int (*valid)(const char *, int32_t), const std::string &one,
                  const std::string &other)
{
    texts refused = {"", one + other, one + " " + other};
    for (const std::string &word : {one, other}) {
        std::string capital = word, capitals;
        capital[0] = static_cast<char>(std::toupper(word[0]));
        for (const char c : word)
            capitals += static_cast<char>(std::toupper(c));
        for (const std::string &text :
             {capital, capitals, word + " ", " " + word, word + '\0', word + word, word + "\n",
              word + "\xff", "\x80" + word, '\0' + word, word.substr(1), word + word.back(),
              word.substr(0, word.size() - 1), word + ".", "\"" + word + "\""})
            refused.push_back(text);
    }
    for (const char *text : {"true", "false", "1", "0", "enabled", "none", "y", "n", "u", "d"})
        refused.emplace_back(text);
    expect_rule({valid, [=](const std::string &text) { return text == one || text == other; }},
                {one, other}, refused, one + other + "YO");
}

TEST(InputIsYesNo, FollowsItsRule)
{
    expect_words(vesk_input_is_yes_no, "yes", "no");
}
TEST(InputIsOnOff, FollowsItsRule)
{
    expect_words(vesk_input_is_on_off, "on", "off");
}
TEST(InputIsUpDown, FollowsItsRule)
{
    expect_words(vesk_input_is_up_down, "up", "down");
}

TEST(InputIsYesNo, RefusesACapitalAndATrailingSpace)
{
    EXPECT_EQ(vesk_input_is_yes_no("Yes", 3), 0);
    EXPECT_EQ(vesk_input_is_yes_no("yes ", 4), 0);
    EXPECT_EQ(vesk_input_is_yes_no("yes ", 3), 1);
    EXPECT_EQ(vesk_input_is_yes_no("yes", 2), 0);
}

TEST(InputIsInterface, FollowsItsRule)
{
    const subject subject = {vesk_input_is_interface,
                             [](const std::string &text) { return text.size() <= 16; }};
    const texts accepted =
        words("eth0 wlan0 br-lan eth0.100 0123456789abcdef /../ %n%n%n%n",
              {"", "a b", "\xff\xfe", "\0\0"s, std::string(15, 'x'), std::string(16, 'x'),
               std::string(16, '\0'), std::string(16, '\x80'), "  "});
    const texts refused = {std::string(17, 'x'),   std::string(18, 'x'),   std::string(17, '\0'),
                           std::string(255, 'x'),  std::string(1000, ' '), "0123456789abcdefg",
                           "eth0\0 0123456789ab"s, std::string(17, '\xff')};
    expect_rule(subject, accepted, refused, "eth0wlan\xff");
}

TEST(InputIsInterface, LooksAtTheLengthAlone)
{
    EXPECT_EQ(vesk_input_is_interface("x", 16), 1);
    EXPECT_EQ(vesk_input_is_interface("x", 17), 0);
    EXPECT_EQ(vesk_input_is_interface("x", INT32_MAX), 0);
    EXPECT_EQ(vesk_input_is_interface("x", -1), 1);
}

} // namespace
