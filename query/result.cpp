#include "query/result.h"

#include <charconv>
#include <new>

#include "base/xml.h"
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

result_element::result_element(std::string_view its_name)
    : name{its_name}, opening{"<" + name + ">"}, closing{"</" + name + ">"}, empty{"<" + name +
                                                                                   "/>"}
{
}

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
    char digits[16];
    const auto text = [&](unsigned number) {
        return std::string_view{digits, std::to_chars(digits, std::end(digits), number).ptr};
    };
    element("rc", text(errors));
    element("counter", text(touched));
}

void result::begin_dataset()
{
    open("dataset");
}

void result::end_dataset()
{
    close("dataset");
}

void result::begin_instance(const result_element &class_element, const char *name)
{
    if (name) {
        out_ += '<';
        out_ += class_element.name;
        out_ += " name=\"";
        if (append_attribute(out_, name)) report_unwritable(class_element.name, "name");
        out_ += "\">";
    } else {
        out_ += class_element.opening;
    }
    opened_ = out_.size();
}

void result::end_instance(const result_element &class_element)
{
    close(class_element.name);
    check_size();
}

void result::property(std::string_view class_name, const result_element &element, const char *value)
{
    opened_ = 0; // whatever encloses it is not empty
    if (!value || !*value) {
        out_ += element.empty;
    } else {
        out_ += element.opening;
        if (append_text(out_, value))
            report_unwritable(std::string{class_name}, element.name.c_str());
        out_ += element.closing;
    }
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
    open(name);
    append_text(out_, content);
    close(name);
    check_size();
}

void result::check_size() const
{
    if (out_.size() - start_ <= max_result) return;
    vesk_debug_eprintf("LSQL result is longer than %zu bytes.\n", max_result);
    throw std::bad_alloc{}; // to the client the same: no answer
}

} // namespace vesk
