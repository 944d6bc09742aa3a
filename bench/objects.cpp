#include "bench/objects.h"

#include <algorithm>
#include <cstdio>

namespace vesk::bench {
namespace {

size_t first_class_size(size_t total)
{
    return std::min(total / class_count, most_in_first_class);
}

} // namespace

object object_at(size_t position, size_t total)
{
    const size_t in_first = first_class_size(total);
    if (position < in_first) return {0, position};
    const size_t rest = position - in_first;
    return {1 + rest % (class_count - 1), rest / (class_count - 1)};
}

size_t file_position(const object &which, size_t total)
{
    if (which.cls == 0) return which.number;
    const size_t in_first = first_class_size(total);
    const size_t in_others = (total - in_first) / (class_count - 1);
    return in_first + (which.cls - 1) * in_others + which.number;
}

std::string class_name(const object &which)
{
    return "obj" + std::to_string(which.cls);
}

std::string object_name(const object &which)
{
    return "n" + std::to_string(which.number);
}

std::string property_name(size_t number)
{
    return "p" + std::to_string(number);
}

std::string value_text(size_t seed)
{
    char text[32];
    std::snprintf(text, sizeof text, "%012zu", seed % 1'000'000'000'000);
    return text;
}

std::string value_in_file(size_t position, size_t property)
{
    return value_text(position * property_count + property);
}

} // namespace vesk::bench
