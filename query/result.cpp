#include "query/result.h"

#include <new>

#include "base/xml.h"
#include "core/log.h"
#include "core/unwritable.h"
#include "query/limits.h"

namespace vesk {

void result::error(std::string_view message)
{
    element("error", message);
}

void result::counts(unsigned errors, unsigned touched)
{
    element("rc", std::to_string(errors));
    element("counter", std::to_string(touched));
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
    body_ += '<';
    body_ += class_name;
    if (name) {
        body_ += " name=\"";
        if (append_attribute(body_, name)) report_unwritable(std::string{class_name}, "name");
        body_ += '"';
    }
    body_ += '>';
    opened_ = body_.size();
}

void result::end_instance(std::string_view class_name)
{
    close(class_name);
    check_size();
}

void result::property(std::string_view class_name, const char *name, const char *value)
{
    open(name);
    if (value && append_text(body_, value)) report_unwritable(std::string{class_name}, name);
    close(name);
    check_size();
}

std::string result::text() const
{
    constexpr std::string_view declaration = "<?xml version=\"1.0\"?>\n";
    std::string document{declaration};
    if (body_.empty()) return document + "<lsql_result/>\n";
    document.reserve(declaration.size() + body_.size() + 32);
    return document.append("<lsql_result>").append(body_).append("</lsql_result>\n");
}

void result::open(std::string_view name)
{
    body_ += '<';
    body_ += name;
    body_ += '>';
    opened_ = body_.size();
}

/** An element that stayed empty is written as one tag. */
void result::close(std::string_view name)
{
    if (opened_ == body_.size() && body_.ends_with('>')) {
        body_.back() = '/';
        body_ += '>';
    } else {
        body_ += "</";
        body_ += name;
        body_ += '>';
    }
    opened_ = 0; // whatever encloses it is not empty
}

void result::element(std::string_view name, std::string_view content)
{
    open(name);
    append_text(body_, content);
    close(name);
    check_size();
}

void result::check_size() const
{
    if (body_.size() <= max_result) return;
    vesk_debug_eprintf("LSQL result is longer than %zu bytes.\n", max_result);
    throw std::bad_alloc{}; // to the client the same: no answer
}

} // namespace vesk
