#ifndef VESK_TESTS_SUPPORT_VALIDATOR_H
#define VESK_TESTS_SUPPORT_VALIDATOR_H

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/log.h"
#include "vesk/debug.h"

namespace vesk::test {

using namespace std::string_literals;
using texts = std::vector<std::string>;

/** The words of line, with a blank between, and more texts. */
inline texts words(const std::string &line, const texts &more = {})
{
    std::istringstream rest{line};
    texts all;
    for (std::string word; rest >> word;)
        all.push_back(word);
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

/** A validator, and its rule in other words. */
struct subject {
    std::function<int(const char *, int32_t)> valid;
    std::function<bool(const std::string &)> rule;

    /** What may stand behind the text: nothing, so that the sanitizer sees who reads on, or more.
     */
    texts behind = {"", "\0"s, "1a-.: \0"s, "\xff"};

    /** The values of errno to start with. */
    std::vector<int> errno_before = {0};

    /** The rule also says what errno is afterwards. */
    bool says_errno = false;

    /** Only the first length bytes count. */
    bool uses_length = true;
};

inline std::unique_ptr<char[]> exact_copy(const std::string &bytes)
{
    auto copy = std::make_unique<char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
}

/** The answer about the first length bytes in a block that ends with bytes. */
inline int ask(const subject &subject, const std::string &bytes, size_t length)
{
    return subject.valid(exact_copy(bytes).get(), static_cast<int32_t>(length));
}

/** The answer is 1 or 0 as the rule wants it, whatever stands behind text; hands back which. */
inline bool expect_verdict(const subject &subject, const std::string &text)
{
    bool verdict = false;
    for (const int before : subject.errno_before) {
        errno = before;
        const int expected = subject.rule(text) ? 1 : 0;
        const int errno_expected = errno;
        for (const std::string &behind : subject.behind) {
            const auto block = exact_copy(text + behind);
            errno = before;
            const int answer = subject.valid(block.get(), static_cast<int32_t>(text.size()));
            const int errno_after = errno;
            EXPECT_EQ(answer, expected) << ::testing::PrintToString(text) << " before "
                                        << ::testing::PrintToString(behind) << ", errno " << before;
            if (subject.says_errno) {
                EXPECT_EQ(errno_after, errno_expected) << ::testing::PrintToString(text);
            }
        }
        if (before == 0) verdict = expected == 1;
    }
    return verdict;
}

/** Texts that somebody forgets. */
inline texts awkward_texts()
{
    texts all =
        words("%s%n 1.2.3.4 0x10 1e3 - -- +-1 it's under_score 100% yes Off 00:11:22 :: a.b "
              "ab.cd 2147483648 abcdefgh 12345678901234",
              {"\0"s, "\0\0"s, "a\0b"s, "a\0"s, "\0a"s, "yes\0"s, "7\0"s, "\xc3\xa9", "caf\xe9",
               "\x80 ok", "12\xff", "\t7", "7\n", "two words", " up", "down "});
    for (const size_t length : {16, 63, 300})
        all.emplace_back(length, '0');
    for (int byte = 0; byte < 256; ++byte)
        all.emplace_back(1, static_cast<char>(byte));
    return all;
}

/** Small changes of the texts of a table. */
class text_changer {
  public:
    text_changer(const texts &accepted, const texts &refused, std::string_view alphabet)
        : accepted_{accepted}, refused_{refused}, alphabet_{alphabet}
    {
    }

    std::string next()
    {
        std::string text = from_table();
        for (size_t changes = below(4); changes > 0; --changes)
            change(text);
        return text;
    }

  private:
    size_t below(size_t limit) { return random_() % limit; }
    char byte()
    {
        return below(8) == 0 ? static_cast<char>(below(256)) : alphabet_[below(alphabet_.size())];
    }
    std::string from_table()
    {
        const texts &table = below(2) == 0 ? accepted_ : refused_;
        if (!table.empty() && below(4) > 0) return table[below(table.size())];
        std::string text(below(20), '\0');
        for (char &c : text)
            c = alphabet_[below(alphabet_.size())];
        return text;
    }
    void change(std::string &text)
    {
        const size_t at = below(text.size() + 1);
        switch (below(3)) {
        case 0:
            text.insert(at, 1, byte());
            break;
        case 1:
            text.replace(at, 1, 1, byte());
            break;
        default:
            text.erase(at, 1);
            break;
        }
    }

    const texts &accepted_, &refused_;
    std::string alphabet_;
    std::mt19937 random_{20240229};
};

/**
 * Asks about the tables, the beginnings of their texts, the awkward texts and 2000 changed ones:
 * made of the alphabet, mostly.
 */
inline void expect_rule(const subject &subject, const texts &accepted, const texts &refused,
                        std::string_view alphabet)
{
    log_capture log{VESK_DEBUG_MAX};
    std::set<std::string> asked;
    for (const std::string &text : accepted)
        EXPECT_TRUE(expect_verdict(subject, text)) << ::testing::PrintToString(text);
    for (const std::string &text : refused)
        EXPECT_FALSE(expect_verdict(subject, text)) << ::testing::PrintToString(text);
    asked.insert(accepted.begin(), accepted.end());
    asked.insert(refused.begin(), refused.end());
    if (subject.uses_length)
        for (const std::string &text : asked)
            for (size_t length = 0; length < text.size(); ++length) {
                errno = 0;
                const int expected = subject.rule(text.substr(0, length)) ? 1 : 0;
                errno = 0;
                EXPECT_EQ(ask(subject, text + '\0', length), expected)
                    << length << " bytes of " << ::testing::PrintToString(text);
            }
    for (const std::string &text : awkward_texts())
        expect_verdict(subject, text);

    int taken = 0, left = 0;
    text_changer changer{accepted, refused, alphabet};
    for (int i = 0; i < 2000 && !::testing::Test::HasFailure(); ++i)
        ++(expect_verdict(subject, changer.next()) ? taken : left);
    EXPECT_TRUE(taken > 100 || accepted.size() < 2 || ::testing::Test::HasFailure()) << taken;
    EXPECT_TRUE(left > 100 || refused.size() < 2 || ::testing::Test::HasFailure()) << left;
    for (const int32_t length : {0, 1, 8})
        EXPECT_EQ(subject.valid(nullptr, length), 0) << "for null";
    EXPECT_EQ(log.take(), "");
}

/**
 * The number that strtol() would read from the beginning of text if long had 32 bits, when it is
 * the whole text and not an extreme one while errno holds ERANGE. Reads in 64 bits, and sets errno.
 */
inline std::optional<int32_t> integer_of(const std::string &text)
{
    static const std::regex form{"[ \\t\\n\\v\\f\\r]*([+-]?)0*([0-9]*)"};
    static const std::regex digit{"[ \\t\\n\\v\\f\\r]*[+-]?[0-9]"};
    const auto here = std::regex_constants::match_continuous;
    std::smatch match;
    if (!std::regex_search(text, digit, here)) return std::nullopt;
    std::regex_search(text, match, form, here);

    using limits = std::numeric_limits<int32_t>;
    const std::string digits = match[2].str().substr(0, 12);
    int64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (match[1] == "-") number = -number;
    const int64_t near = std::clamp<int64_t>(number, limits::min(), limits::max());
    if (near != number) errno = ERANGE;

    const bool is_extreme = near == limits::min() || near == limits::max();
    if (match.length() != static_cast<std::ptrdiff_t>(text.size())) return std::nullopt;
    if (is_extreme && errno == ERANGE) return std::nullopt;
    return static_cast<int32_t>(near);
}

inline bool is_printable(const std::string &text)
{
    return std::all_of(text.begin(), text.end(), [](char c) {
        const auto code = static_cast<unsigned char>(c);
        return code > 31 && code < 127;
    });
}

/** A rule that a regular expression says; bytes of 0x80 and above match none that is used here. */
inline std::function<bool(const std::string &)> matches(const char *expression)
{
    return [regex = std::regex{expression}](const std::string &text) {
        return std::regex_match(text, regex);
    };
}

} // namespace vesk::test

#endif
