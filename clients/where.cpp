#include "clients/where.h"

#include <algorithm>
#include <cstdlib>

#include "clients/failure.h"
#include "clients/request.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

constexpr unsigned max_depth = 100; // the daemon's parser takes about 250 elements in each other

enum class kind { end, open, close, equal, unequal, word, quoted };

struct token {
    kind is = kind::end;
    std::string text;
    size_t at = 0; // in the condition
};

[[noreturn]] void complain(size_t at, const std::string &what)
{
    misuse("condition, character " + std::to_string(at + 1) + ": " + what);
}

/** Cuts a condition into tokens. */
class lexer {
  public:
    explicit lexer(std::string_view text) : text_{text} {}

    token next()
    {
        at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size());
        if (at_ == text_.size()) return {kind::end, {}, at_};
        const size_t start = at_;
        switch (text_[at_]) {
        case '(':
            return sign(kind::open, 1);
        case ')':
            return sign(kind::close, 1);
        case '=':
            return sign(kind::equal, 1);
        case '!':
            if (!text_.substr(at_).starts_with("!=")) complain(start, "\"!\" without \"=\"");
            return sign(kind::unequal, 2);
        case '"':
        case '\'':
            return {kind::quoted, quoted(text_[at_]), start};
        default:
            at_ = std::min(text_.find_first_of(" \t\r\n()=!\"'", at_), text_.size());
            return {kind::word, std::string{text_.substr(start, at_ - start)}, start};
        }
    }

  private:
    token sign(kind is, size_t length)
    {
        at_ += length;
        return {is, std::string{text_.substr(at_ - length, length)}, at_ - length};
    }

    std::string quoted(char quote)
    {
        const size_t start = at_++;
        std::string value;
        while (at_ < text_.size() && text_[at_] != quote) {
            if (text_[at_] == '\\')
                append_escape(value);
            else
                value += text_[at_++];
        }
        if (at_ == text_.size()) complain(start, "the quote stays open");
        ++at_;
        return value;
    }

    void append_escape(std::string &value)
    {
        const size_t start = at_++;
        const char letter = at_ < text_.size() ? text_[at_++] : '\0';
        switch (letter) {
        case 'n':
            value += '\n';
            break;
        case 'r':
            value += '\r';
            break;
        case 't':
            value += '\t';
            break;
        case 'u':
            append_numbered(value, start);
            break;
        case '\\':
        case '"':
        case '\'':
            value += letter;
            break;
        default:
            complain(start, R"(after a backslash stands n, r, t, u{HEX}, \, " or ')");
        }
    }

    void append_numbered(std::string &value, size_t start)
    {
        const size_t end = text_.find('}', at_);
        if (end == text_.npos || text_[at_] != '{') complain(start, R"(write \u{HEX})");
        const std::string digits{text_.substr(at_ + 1, end - at_ - 1)};
        const bool hexadecimal = digits.find_first_not_of("0123456789abcdefABCDEF") == digits.npos;
        if (digits.empty() || digits.size() > 6 || !hexadecimal)
            complain(start, R"(write \u{HEX})");
        append_character(value, static_cast<char32_t>(std::strtoul(digits.c_str(), nullptr, 16)));
        at_ = end + 1;
    }

    std::string_view text_;
    size_t at_ = 0;
};

class compiler {
  public:
    explicit compiler(std::string_view text) : lexer_{text}, token_{lexer_.next()} {}

    condition run()
    {
        std::string xml = either();
        if (token_.is != kind::end) complain(token_.at, "\"" + token_.text + "\" is too much");
        return {std::move(xml), std::move(properties_)};
    }

  private:
    bool is_word(const char *word) const { return token_.is == kind::word && token_.text == word; }

    token take()
    {
        token taken = std::move(token_);
        token_ = lexer_.next();
        return taken;
    }

    std::string either()
    {
        return joined("or", [&] { return both(); });
    }
    std::string both()
    {
        return joined("and", [&] { return one(); });
    }

    template <typename Part> std::string joined(const char *word, Part &&part)
    {
        std::string all = part();
        bool several = false;
        while (is_word(word)) {
            take();
            all += part();
            several = true;
        }
        return several ? element(word, all) : all;
    }

    std::string one()
    {
        if (++depth_ > max_depth) complain(token_.at, "too many conditions in each other");
        std::string xml = is_word("not")            ? negated()
                          : token_.is == kind::open ? in_parentheses()
                                                    : comparison();
        --depth_;
        return xml;
    }

    std::string negated()
    {
        take();
        return element("not", one());
    }

    std::string in_parentheses()
    {
        const size_t start = take().at;
        std::string xml = either();
        if (token_.is != kind::close) complain(start, "the parenthesis stays open");
        take();
        return xml;
    }

    std::string comparison()
    {
        const token left = take();
        if (left.is == kind::quoted) complain(left.at, "a property stands on the left");
        if (left.is != kind::word || left.text == "and" || left.text == "or")
            complain(left.at, left.is == kind::end ? "something is missing at the end"
                                                   : "a property is missing");
        std::string what = subject(left);
        if (token_.is != kind::equal && token_.is != kind::unequal) return what;
        const bool equal = take().is == kind::equal;
        const token right = take();
        if (right.is != kind::word && right.is != kind::quoted)
            complain(right.at, "a value is missing");
        // No literal equals an empty value, so that the nearest there is: no value at all.
        if (right.is == kind::quoted && right.text.empty())
            return equal ? element("not", what) : what;
        const std::string same = element("eq", what + compared(right));
        return equal ? same : element("not", same);
    }

    /** The property, or the name of the instance. */
    std::string subject(const token &word)
    {
        if (word.text == "name") return element("metadata", "name");
        std::string property = word.text.substr(word.text.starts_with('.') ? 1 : 0);
        check_name(property, "property");
        properties_.push_back(property);
        return element("property", property);
    }

    std::string compared(const token &right)
    {
        if (right.is == kind::word && right.text.starts_with('.')) return subject(right);
        return element("value", escaped(right.text));
    }

    lexer lexer_;
    token token_;
    std::vector<std::string> properties_;
    unsigned depth_ = 0;
};

} // namespace

condition compile_where(std::string_view text)
{
    return compiler{text}.run();
}

} // namespace vesk::client
