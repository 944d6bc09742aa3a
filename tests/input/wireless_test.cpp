#include "vesk/input.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/validator.h"

namespace {

using namespace vesk::test;

constexpr int32_t no_domains[] = {-1, 3, 4, 100, INT32_MAX, INT32_MIN};
const texts no_numbers =
    words("x 0x24 0x1 3.6 1e0 36a a36 -36 -1 +-1 36,40 auto 4294967332 "
          "4294967297 18446744073709551652 2147483647 -2147483648 999",
          {"", " ", "36 ", "1 ", "36\0"s, "1\0"s, "\0001"s, "36\xff", "\2636", "36 40"});

/** Some numbers, all of -20 to 300 tried, each in several forms. */
void expect_numbers(const std::function<int(const char *, int32_t)> &valid,
                    const std::function<bool(int32_t)> &accepts)
{
    const subject subject = {valid, [&](const std::string &text) {
                                 const auto number = integer_of(text);
                                 return number && accepts(*number);
                             }};
    texts accepted, refused = no_numbers;
    for (int number = -20; number <= 300; ++number) {
        const std::string text = std::to_string(number);
        if (!accepts(number)) {
            refused.push_back(text);
            continue;
        }
        for (const char *before : {"", "+", "0", " ", "\t+00"})
            accepted.push_back(before + text);
    }
    expect_rule(subject, accepted, refused, "0123456789+ ");
}

bool is_in_steps_of_4(int32_t number, int32_t first, int32_t last)
{
    return number >= first && number <= last && (number - first) % 4 == 0;
}

bool is_a_channel(int32_t number, int32_t domain)
{
    const auto in = [number](int32_t first, int32_t last) {
        return is_in_steps_of_4(number, first, last);
    };
    switch (domain) {
    case 0:
        return in(36, 64) || in(149, 165);
    case 1:
        return in(36, 64) || in(100, 140);
    case 2:
        return in(8, 16) || in(34, 46) || in(240, 252);
    default:
        return false;
    }
}

bool is_b_channel(int32_t number, int32_t domain)
{
    const int32_t last[] = {11, 13, 14};
    return domain >= 0 && domain <= 2 && number >= 1 && number <= last[domain];
}

using channel_validator = int (*)(const char *, int32_t, int32_t);
using channel_rule = bool (*)(int32_t, int32_t);

void expect_channels(channel_validator valid, channel_rule is_channel)
{
    for (int32_t domain = 0; domain < 3; ++domain) {
        SCOPED_TRACE(domain);
        expect_numbers(
            [=](const char *value, int32_t length) { return valid(value, length, domain); },
            [=](int32_t number) { return is_channel(number, domain); });
    }
    for (const int32_t domain : no_domains)
        for (int number = -1; number < 300; ++number) {
            const std::string text = std::to_string(number);
            EXPECT_EQ(valid(text.c_str(), static_cast<int32_t>(text.size()), domain), 0)
                << text << " in " << domain;
        }
}

/** How many of the numbers to 1000 are channels. */
int channels(channel_validator valid, int32_t domain)
{
    int count = 0;
    for (int number = 0; number <= 1000; ++number) {
        const std::string text = std::to_string(number);
        count += valid(text.c_str(), static_cast<int32_t>(text.size()), domain);
    }
    return count;
}

/** Asks about one of some texts, and what is nearly one. */
void expect_one_of(int (*valid)(const char *, int32_t), const texts &all, texts refused,
                   std::string_view alphabet)
{
    const std::set<std::string> exact{all.begin(), all.end()};
    for (const std::string &text : all)
        for (const std::string &near :
             {text + " ", " " + text, text + '\0', '\0' + text, "0" + text, "+" + text,
              text + "\xff", text + ".0", text + text + text})
            refused.push_back(near);
    expect_rule({valid, [&](const std::string &text) { return exact.count(text) == 1; }}, all,
                refused, alphabet);
}

TEST(InputIsSsid, FollowsItsRule)
{
    const subject subject = {vesk_input_is_ssid, [](const std::string &text) {
                                 return !text.empty() && text.size() <= 32;
                             }};
    const texts accepted = {"a",
                            " ",
                            "home",
                            "caf\xe9",
                            "\0"s,
                            "\0\0\0"s,
                            "\xff",
                            "a\0b"s,
                            "my net",
                            "\n",
                            "\"quoted\"",
                            "<&>",
                            "%s",
                            std::string(31, 'x'),
                            std::string(32, 'x'),
                            std::string(32, '\0'),
                            std::string(32, '\xff'),
                            std::string(32, ' ')};
    const texts refused = {"",
                           std::string(33, 'x'),
                           std::string(33, '\0'),
                           std::string(33, '\xff'),
                           std::string(34, ' '),
                           std::string(64, 'x'),
                           std::string(1000, 'x')};
    expect_rule(subject, accepted, refused, "net \xff");
}

TEST(InputIsSsid, Accepts1To32BytesOfAnything)
{
    EXPECT_EQ(vesk_input_is_ssid("\x01\xff\0 xxxxxxxxxxxxxxxxxxxxxxxxxxxxx", 32), 1);
    EXPECT_EQ(vesk_input_is_ssid("", 0), 0);
    EXPECT_EQ(vesk_input_is_ssid("x", -1), 0);
    EXPECT_EQ(vesk_input_is_ssid("x", 33), 0);
    EXPECT_EQ(vesk_input_is_ssid("x", INT32_MAX), 0);
    EXPECT_EQ(vesk_input_is_ssid("x", INT32_MIN), 0);
}

TEST(InputIsMode, FollowsItsRule)
{
    expect_one_of(vesk_input_is_mode, {"a", "bg", "a-n", "bg-n", "n-only-a", "n-only-g"},
                  {"",         "b",         "g",        "n",        "A",
                   "BG",       "a-",        "-n",       "a-N",      "bgn",
                   "b-n",      "g-n",       "gb",       "n-only",   "n-only-",
                   "n-only-b", "n-only-bg", "N-only-a", "n only a", "n-only-a\n",
                   "ac",       "a-n-a",     "bg_n",     "\xe1",     "abg"},
                  "abgn-only");
}

TEST(InputIsAChannel, FollowsItsRule)
{
    expect_channels(vesk_input_is_a_channel, is_a_channel);
}
TEST(InputIsBChannel, FollowsItsRule)
{
    expect_channels(vesk_input_is_b_channel, is_b_channel);
}
TEST(InputIsGChannel, FollowsItsRule)
{
    expect_channels(vesk_input_is_g_channel, is_b_channel);
}

TEST(InputIsAChannel, AcceptsAsManyAsEachDomainHas)
{
    EXPECT_EQ(channels(vesk_input_is_a_channel, 0), 13);
    EXPECT_EQ(channels(vesk_input_is_a_channel, 1), 19);
    EXPECT_EQ(channels(vesk_input_is_a_channel, 2), 11);
}

TEST(InputIsBChannel, AcceptsAsManyAsEachDomainHas)
{
    EXPECT_EQ(channels(vesk_input_is_b_channel, 0), 11);
    EXPECT_EQ(channels(vesk_input_is_b_channel, 1), 13);
    EXPECT_EQ(channels(vesk_input_is_b_channel, 2), 14);
}

TEST(InputIsChannel, FollowsItsRule)
{
    const std::pair<const char *, channel_rule> bands[] = {
        {"a", is_a_channel}, {"b", is_b_channel}, {"g", is_b_channel}};
    for (const auto &[band, is_channel] : bands)
        for (int32_t domain = 0; domain < 3; ++domain) {
            SCOPED_TRACE(band + " in "s + std::to_string(domain));
            expect_numbers(
                [name = band, domain](const char *value, int32_t length) {
                    return vesk_input_is_channel(value, length, name, domain);
                },
                [rule = is_channel, domain](int32_t number) { return rule(number, domain); });
        }
}

/** Some channels, which every band and domain has one of. */
void expect_no_channel(const char *band, int32_t domain)
{
    for (const std::string text : {"1", "8", "11", "36", "100"})
        EXPECT_EQ(
            vesk_input_is_channel(text.c_str(), static_cast<int32_t>(text.size()), band, domain), 0)
            << text << " of " << band << " in " << domain;
}

TEST(InputIsChannel, RefusesEveryOtherBand)
{
    for (const char *band :
         {"", "A", "B", "G", "n", "bg", "ab", "a ", " a", "a-n", "\xe1", "aa", "gg"})
        for (int32_t domain = 0; domain < 3; ++domain)
            expect_no_channel(band, domain);
}

TEST(InputIsChannel, RefusesEveryOtherDomain)
{
    for (const char *band : {"a", "b", "g"})
        for (const int32_t domain : no_domains)
            expect_no_channel(band, domain);
}

TEST(InputIsChannel, ComparesTheBandAsTextThatEndsInNul)
{
    EXPECT_EQ(vesk_input_is_channel("36", 2, "a\0b", 0), 1);
    EXPECT_EQ(vesk_input_is_channel("1", 1, "g\0a", 0), 1);
}

TEST(InputIsChannel, DependsOnBandAndDomain)
{
    EXPECT_EQ(vesk_input_is_channel("100", 3, "a", 1), 1);
    EXPECT_EQ(vesk_input_is_channel("100", 3, "a", 0), 0);
    EXPECT_EQ(vesk_input_is_channel("14", 2, "g", 2), 1);
    EXPECT_EQ(vesk_input_is_channel("14", 2, "g", 1), 0);
}

TEST(InputIsARate, FollowsItsRule)
{
    expect_numbers(vesk_input_is_a_rate, [](int32_t number) {
        // 1/2 or 3/4 of 12, 24 and 48; 2/3 or 3/4 of 72.
        for (const int32_t raw : {12, 24, 48})
            if (number == raw / 2 || number == raw / 4 * 3) return true;
        return number == 48 || number == 54;
    });
}

TEST(InputIsARate, TakesIntegersOnly)
{
    EXPECT_EQ(vesk_input_is_a_rate("54", 2), 1);
    EXPECT_EQ(vesk_input_is_a_rate("+054", 4), 1);
    EXPECT_EQ(vesk_input_is_a_rate("5.5", 3), 0);
}

TEST(InputIsBRate, FollowsItsRule)
{
    expect_one_of(vesk_input_is_b_rate, {"1", "2", "5.5", "11"},
                  {"", "0", "3", "5", "5.", ".5", "5,5", "5.50", "6", "9", "12", "54", "111", "1e0",
                   "55", "5 5", "1.0", "-1", "\xb1"},
                  "125.0");
}

TEST(InputIsBRate, ComparesTexts)
{
    EXPECT_EQ(vesk_input_is_b_rate("5.5", 3), 1);
    EXPECT_EQ(vesk_input_is_b_rate("5", 1), 0);
    EXPECT_EQ(vesk_input_is_b_rate("01", 2), 0);
    EXPECT_EQ(vesk_input_is_b_rate("5.5", 1), 0);
    EXPECT_EQ(vesk_input_is_b_rate("11", 1), 1);
}

TEST(InputIsGRate, FollowsItsRule)
{
    expect_one_of(vesk_input_is_g_rate,
                  {"1", "2", "5.5", "6", "9", "11", "12", "18", "24", "36", "48", "54"},
                  {"",   "0",  "3",  "4",  "5",  "7",  "8",   "10", "13",  "19",  "22", "33",
                   "35", "37", "47", "53", "55", "72", "108", "5.", "6.0", "5,5", "-6", "\xb6"},
                  "124568.3");
}

/** Printable texts and hexadecimal digits of these lengths. */
texts keys(const std::vector<size_t> &lengths)
{
    texts all;
    for (const size_t length : lengths) {
        for (const char c : {' ', '~', '0', 'f'})
            all.emplace_back(length, c);
        std::string digits;
        while (digits.size() < length)
            digits += "0123456789abcdefABCDEF";
        all.push_back(digits.substr(0, length));
    }
    return all;
}

/** Each of the texts with one byte of it wrong. */
texts spoilt(const texts &all, const std::string &wrong)
{
    texts result;
    for (size_t i = 0; i < all.size(); ++i)
        for (const char c : wrong) {
            result.push_back(all[i]);
            result.back()[(i * 7) % all[i].size()] = c;
            result.push_back(all[i]);
            result.back().back() = c;
        }
    return result;
}

TEST(InputIsWpaPskKey, FollowsItsRule)
{
    const texts accepted = keys({8, 9, 20, 62, 63});
    texts refused = spoilt(accepted, "\0\x1f\x7f\x80\xff\n"s);
    for (const std::string &text : keys({1, 6, 7, 64, 65, 128}))
        refused.push_back(text);
    refused.emplace_back();
    expect_rule({vesk_input_is_wpa_psk_key, matches("[ -~]{8,63}")}, accepted, refused,
                "09afAF ~key");
}

TEST(InputIsWpaPskKey, Accepts8To63Characters)
{
    for (int32_t length = -1; length < 70; ++length)
        EXPECT_EQ(vesk_input_is_wpa_psk_key(std::string(70, 'f').c_str(), length),
                  length >= 8 && length <= 63)
            << length;
}

TEST(InputIsWepKey, FollowsItsRule)
{
    const struct {
        int32_t bits, text;
        const char *rule;
        size_t length;
    } forms[] = {{40, 1, "[ -~]{5}", 5},          {104, 1, "[ -~]{13}", 13},
                 {128, 1, "[ -~]{16}", 16},       {40, 0, "[0-9a-fA-F]{10}", 10},
                 {104, 0, "[0-9a-fA-F]{26}", 26}, {128, 0, "[0-9a-fA-F]{32}", 32}};
    for (const auto &form : forms) {
        SCOPED_TRACE(std::to_string(form.bits) + (form.text ? " as text" : " as digits"));
        const subject subject = {[&](const char *value, int32_t length) {
                                     return vesk_input_is_wep_key(value, length, form.bits,
                                                                  form.text);
                                 },
                                 matches(form.rule)};
        texts accepted, refused = {""};
        for (const std::string &text : keys({form.length}))
            (subject.rule(text) ? accepted : refused).push_back(text);
        EXPECT_EQ(accepted.size(), form.text ? 5u : 3u);
        for (const std::string &text :
             spoilt(accepted, form.text ? "\0\x1f\x7f\x80\xff\n"s : "\0/:@G`g xX-\x80\xb0\xff"s))
            refused.push_back(text);
        for (const std::string &text :
             keys({1, form.length - 1, form.length + 1, form.length * 2, 8, 64}))
            refused.push_back(text);
        expect_rule(subject, accepted, refused, "0123456789abcdefABCDEF");
    }
}

TEST(InputIsWepKey, TakesTheLengthOfItsFormAlone)
{
    const std::string digits(100, 'a');
    for (const auto &[bits, characters] : {std::pair{40, 5}, {104, 13}, {128, 16}})
        for (int32_t length = -1; length <= 100; ++length) {
            EXPECT_EQ(vesk_input_is_wep_key(digits.c_str(), length, bits, 1), length == characters);
            EXPECT_EQ(vesk_input_is_wep_key(digits.c_str(), length, bits, 0),
                      length == characters * 2);
        }
}

TEST(InputIsWepKey, Takes104BitsInBothForms)
{
    EXPECT_EQ(vesk_input_is_wep_key("0123456789abcdefABCDEF0123", 26, 104, 0), 1);
    EXPECT_EQ(vesk_input_is_wep_key("thirteen char", 13, 104, 1), 1);
    EXPECT_EQ(vesk_input_is_wep_key("thirteen char", 13, 104, 0), 0);
}

TEST(InputIsWepKey, TakesEveryFlagButZeroForText)
{
    for (const int32_t text : {1, 2, -1, 256, 65536, INT32_MAX, INT32_MIN})
        EXPECT_EQ(vesk_input_is_wep_key("a key", 5, 40, text), 1) << text;
}

TEST(InputIsWepKey, RefusesEveryOtherNumberOfBits)
{
    const std::string digits(256, 'a');
    for (const int32_t bits : {0,   1,   4,   8,   39,  41,  44,   48,   64,        103,      105,
                               127, 129, 152, 256, 296, -40, -104, -128, INT32_MAX, INT32_MIN})
        for (const int32_t text : {0, 1})
            for (int32_t length = 0; length <= 256; ++length)
                EXPECT_EQ(vesk_input_is_wep_key(digits.c_str(), length, bits, text), 0)
                    << bits << " bits, " << length << " bytes";
}

TEST(InputIsWepKeyLength, FollowsItsRule)
{
    expect_one_of(vesk_input_is_wep_key_length, {"40", "104", "128"},
                  {"", "0", "4", "04", "40.0", "64", "10", "12", "127", "129", "256", "4 0",
                   "40bits", "0x28", "-40", "1040", "\2640"},
                  "012480");
}

} // namespace
