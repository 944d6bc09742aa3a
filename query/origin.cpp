#include "query/origin.h"

#include <utility>

#include "vesk/query.h"

const char *vesk_query_origin = nullptr;

namespace vesk {
namespace {

std::optional<std::string> &current()
{
    static auto &text = *new std::optional<std::string>;
    return text;
}

void publish()
{
    vesk_query_origin = current() ? current()->c_str() : nullptr;
}

} // namespace

const std::optional<std::string> &origin()
{
    return current();
}

void set_origin(const char *text)
{
    std::optional<std::string> fresh;
    if (text) fresh = text;
    current() = std::move(fresh);
    publish();
}

keep_origin::keep_origin() : outer_{current()} {}

keep_origin::~keep_origin()
{
    current() = std::move(outer_);
    publish();
}

} // namespace vesk
