#include "clients/shell_words.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "clients/failure.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

constexpr std::string_view blanks = " \t";

/** What a backslash and this letter stand for in $'...'; 0: nothing in particular. */
char simple_escape(char letter)
{
    constexpr std::string_view letters = "abeEfnrtv";
    constexpr std::string_view meanings = "\a\b\033\033\f\n\r\t\v";
    const size_t at = letters.find(letter);
    return at == letters.npos ? '\0' : meanings[at];
}

class splitter {
  public:
    explicit splitter(std::string_view text) : text_{text} {}

    std::vector<shell_line> run()
    {
        while (at_ < text_.size())
            step(text_[at_]);
        end_line();
        return std::move(lines_);
    }

    /** Whether the text ended inside of a quote, and where that began. */
    bool is_open() const { return open_; }
    char quote() const { return quote_; }
    size_t quote_line() const { return quote_line_; }
    /** Whether the text ended in a word, be it an empty one. */
    bool ended_in_word() const { return ended_in_word_; }

  private:
    bool is_at(std::string_view what) const { return text_.substr(at_).starts_with(what); }

    void step(char c)
    {
        if (c == '\n') {
            ++number_;
            ++at_;
            end_line();
        } else if (is_at("\r\n")) { // no part of a value unless it is quoted
            ++at_;
        } else if (blanks.find(c) != blanks.npos) {
            ++at_;
            end_word();
        } else if (c == '#' && !in_word_) {
            at_ = std::min(text_.find('\n', at_), text_.size());
        } else if (is_at("\\\n") || is_at("\\\r\n")) {
            ++number_;
            at_ = text_.find('\n', at_) + 1;
        } else {
            begin_word();
            read_piece(c);
        }
    }

    /** Something that belongs to a word: a quoted piece or one character. */
    void read_piece(char c)
    {
        if (c == '\'')
            read_quoted(1, c, [&] { take(); });
        else if (c == '"')
            read_quoted(1, c, [&] { take_in_double_quotes(); });
        else if (is_at("$'"))
            read_quoted(2, '\'', [&] { take_with_escapes(); });
        else if (c == '\\' && at_ + 1 < text_.size())
            take_after(1);
        else
            take();
    }

    template <typename Take> void read_quoted(size_t opening, char end, Take &&take_one)
    {
        quote_ = end;
        quote_line_ = number_;
        for (at_ += opening; at_ < text_.size() && text_[at_] != end;)
            take_one();
        open_ = at_ == text_.size();
        ++at_;
    }

    void take()
    {
        if (text_[at_] == '\n') ++number_;
        word_ += text_[at_++];
    }

    void take_after(size_t skipped)
    {
        at_ += skipped;
        take();
    }

    void take_in_double_quotes()
    {
        const bool escaped = text_[at_] == '\\' && at_ + 1 < text_.size() &&
                             std::strchr("\"\\$`\n", text_[at_ + 1]) != nullptr;
        if (is_at("\\\n")) {
            ++number_;
            at_ += 2;
        } else {
            take_after(escaped ? 1 : 0);
        }
    }

    void take_with_escapes()
    {
        if (text_[at_] != '\\' || at_ + 1 == text_.size()) {
            take();
            return;
        }
        const char letter = text_[++at_];
        if (const char meant = simple_escape(letter)) {
            word_ += meant;
            ++at_;
        } else if (letter == 'x') {
            word_ += static_cast<char>(take_number(1, 2, 16));
        } else if (letter == 'u' || letter == 'U') {
            append_character(word_, take_number(1, letter == 'u' ? 4 : 8, 16));
        } else if (letter >= '0' && letter <= '7') {
            word_ += static_cast<char>(take_number(0, 3, 8));
        } else {
            take();
        }
    }

    char32_t take_number(size_t skipped, size_t digits, int base)
    {
        const std::string text{text_.substr(std::min(at_ + skipped, text_.size()), digits)};
        char *end = nullptr;
        const auto number = std::strtoul(text.c_str(), &end, base);
        at_ += skipped + static_cast<size_t>(end - text.c_str());
        return static_cast<char32_t>(number);
    }

    void begin_word()
    {
        if (line_.words.empty() && !in_word_) line_.number = number_;
        in_word_ = true;
    }

    void end_word()
    {
        if (in_word_) line_.words.push_back(std::move(word_));
        word_.clear();
        in_word_ = false;
    }

    void end_line()
    {
        ended_in_word_ = in_word_;
        end_word();
        if (!line_.words.empty()) lines_.push_back(std::move(line_));
        line_ = {};
    }

    std::string_view text_;
    size_t at_ = 0;
    size_t number_ = 1;
    size_t quote_line_ = 1;
    char quote_ = '\0';
    bool open_ = false;
    bool in_word_ = false;
    bool ended_in_word_ = false;
    std::string word_;
    shell_line line_;
    std::vector<shell_line> lines_;
};

bool is_harmless(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) || std::strchr("_./:=@%+,-", c) != nullptr ||
           static_cast<unsigned char>(c) >= 0x80;
}

} // namespace

std::vector<shell_line> split_lines(std::string_view text)
{
    splitter it{text};
    auto lines = it.run();
    if (it.is_open()) misuse("line " + std::to_string(it.quote_line()) + ": a quote stays open");
    return lines;
}

unfinished_line split_unfinished(std::string_view text)
{
    splitter it{text};
    unfinished_line result;
    for (shell_line &line : it.run())
        std::move(line.words.begin(), line.words.end(), std::back_inserter(result.words));
    if (!it.ended_in_word()) result.words.emplace_back();
    if (it.is_open()) result.quote = it.quote();
    return result;
}

std::string shell_quoted(std::string_view word, char quote)
{
    if (quote == '\'') return std::string{word};
    std::string quoted;
    for (const char c : word) {
        const bool special = quote ? std::strchr("\"\\$`", c) != nullptr : !is_harmless(c);
        if (special) quoted += '\\';
        quoted += c;
    }
    return word.empty() && !quote ? "''" : quoted;
}

} // namespace vesk::client
