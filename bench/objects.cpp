#include "bench/objects.h"

#include <algorithm>
#include <cstdio>

namespace vesk::bench {

object object_at(size_t position, size_t total)
{
    const size_t in_first = std::min(total / class_count, most_in_first_class);
    if (position < in_first) return {0, position};
    const size_t rest = position - in_first;
    return {1 + rest % (class_count - 1), rest / (class_count - 1)};
}

bool first_class_is_full(size_t total)
{
    return total / class_count >= most_in_first_class;
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

} // namespace vesk::bench
