#include "query/origin.h"

#include <cstring>
#include <utility>

#include "vesk/query.h"

const char *vesk_query_origin = nullptr;

namespace vesk {
namespace {

std::unique_ptr<char[]> current; // what vesk_query_origin points to, unless that is an outer one

void publish(std::unique_ptr<char[]> text)
{
    current = std::move(text);
    vesk_query_origin = current.get();
}

} // namespace

void set_origin(const char *text)
{
    std::unique_ptr<char[]> fresh;
    if (text) {
        const size_t size = std::strlen(text) + 1;
        fresh.reset(new char[size]);
        std::memcpy(fresh.get(), text, size);
    }
    publish(std::move(fresh));
}

keep_origin::keep_origin() : outer_{std::move(current)} {}

keep_origin::~keep_origin()
{
    publish(std::move(outer_));
}

} // namespace vesk
