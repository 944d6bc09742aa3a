#include "query/result.h"

#include <algorithm>
#include <charconv>
#include <new>

#include "base/xml_text.h"
#include "core/log.h"
#include "core/unwritable.h"
#include "query/limits.h"

namespace vesk {
namespace {

constexpr std::string_view declaration = "<?xml version=\"1.0\"?>\n";
constexpr std::string_view root_opening = "<lsql_result>";
constexpr std::string_view root_closing = "</lsql_result>\n";
constexpr std::string_view root_empty = "<lsql_result/>\n";

} // namespace

result::result(std::string &out) : out_{out}, start_{out.size()}
{
    out_ += declaration;
    out_ += root_opening;
    body_ = out_.size();
}

void result::restart()
{
    out_.resize(body_);
}

void result::error(std::string_view message)
{
    element("error", message);
}

void result::counts(unsigned errors, unsigned touched)
{
    char text[64];
    char *end = text;
    const auto add = [&](std::string_view piece) {
        end = std::copy(piece.begin(), piece.end(), end);
    };
    add("<rc>");
    end = std::to_chars(end, std::end(text), errors).ptr;
    add("</rc><counter>");
    end = std::to_chars(end, std::end(text), touched).ptr;
    add("</counter>");
    opened_ = 0; // whatever encloses it is not empty
    out_.append(text, static_cast<size_t>(end - text));
    check_size();
}

void result::begin_dataset()
{
    open("dataset");
}

void result::end_dataset()
{
    close("dataset");
}

void result::begin_instance(std::string_view class_name, const char *name)
{
    if (!name) return open(class_name);
    out_ += '<';
    out_ += class_name;
    out_ += " name=\"";
    if (append_attribute(out_, name)) report_unwritable(std::string{class_name}, "name");
    out_ += "\">";
    opened_ = out_.size();
}

void result::end_instance(std::string_view class_name)
{
    close(class_name);
    check_size();
}

void result::property(std::string_view class_name, std::string_view name, const char *value)
{
    opened_ = 0; // whatever encloses it is not empty
    if (append_element(out_, name, value ? value : ""))
        report_unwritable(std::string{class_name}, std::string{name}.c_str());
    check_size();
}

void result::finish()
{
    if (out_.size() > body_) {
        out_ += root_closing;
    } else {
        out_.resize(body_ - root_opening.size());
        out_ += root_empty;
    }
    out_.reserve(out_.size() + 1);
}

void result::open(std::string_view name)
{
    out_ += '<';
    out_ += name;
    out_ += '>';
    opened_ = out_.size();
}

/** An element that stayed empty is written as one tag. */
void result::close(std::string_view name)
{
    if (opened_ == out_.size()) {
        out_.back() = '/';
        out_ += '>';
    } else {
        out_ += "</";
        out_ += name;
        out_ += '>';
    }
    opened_ = 0; // whatever encloses it is not empty
}

void result::element(std::string_view name, std::string_view content)
{
    opened_ = 0; // whatever encloses it is not empty
    append_element(out_, name, content);
    check_size();
}

void result::check_size() const
{
    if (out_.size() - start_ <= max_result) return;
    vesk_debug_eprintf("LSQL result is longer than %zu bytes.\n", max_result);
    throw std::bad_alloc{}; // to the client the same: no answer
}

} // namespace vesk
