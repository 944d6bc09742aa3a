#include "bench/requests.h"

#include <algorithm>
#include <random>

namespace vesk::bench {
namespace {

// Names that no configuration of this size has.
constexpr size_t first_inserted_number = 50'000'000;
constexpr size_t inserted_class = 1;

std::string element(const std::string &name, const std::string &content)
{
    return "<" + name + ">" + content + "</" + name + ">";
}

std::string named(const object &which, const std::string &content)
{
    const std::string name = class_name(which);
    return "<" + name + " name=\"" + object_name(which) + "\">" + content + "</" + name + ">";
}

std::string select_class(size_t cls)
{
    return element("select", "<" + class_name({cls, 0}) + " properties=\"all\"/>");
}

std::string where_equal(size_t property, const std::string &value)
{
    return element("where", element("eq", element("property", property_name(property)) +
                                              element("value", value)));
}

std::string new_object(size_t position)
{
    const object which = inserted_at(position);
    std::string values;
    for (size_t p = 0; p < property_count; ++p)
        values += element(property_name(p), value_text(which.number * property_count + p));
    return named(which, values);
}

} // namespace

std::string select_one(const object &which)
{
    return as_request("<select><" + class_name(which) + " name=\"" + object_name(which) +
                      "\" properties=\"all\"/></select>");
}

std::string select_first_class()
{
    return as_request(select_class(0));
}

size_t asked_property(size_t cls)
{
    return cls * property_count / class_count;
}

std::string select_where(const class_texts &values)
{
    std::string operations;
    for (size_t cls = 0; cls < class_count; ++cls)
        operations += select_class(cls) + where_equal(asked_property(cls), values[cls]);
    return as_request(operations);
}

std::string select_none()
{
    class_texts values;
    values.fill("00000000000x"); // begins as they all do
    return select_where(values);
}

std::string update_one(const object &which, const std::string &value)
{
    return element("update", named(which, element("p0", value)));
}

std::vector<std::string> updates(size_t total, size_t first_value, unsigned seed, wrapper wrap)
{
    const std::vector<object> objects = random_objects(variants / 2, total, seed);
    std::vector<std::string> all;
    for (size_t i = 0; i < variants; ++i)
        all.push_back(wrap(update_one(objects[i % objects.size()], value_text(first_value + i))));
    return all;
}

object inserted_at(size_t position)
{
    return {inserted_class, first_inserted_number + position};
}

std::string insert_one(size_t position)
{
    return as_request(element("insert", new_object(position)));
}

std::string insert_thousand()
{
    std::string objects;
    for (size_t i = 0; i < 1000; ++i)
        objects += new_object(i);
    return in_transaction(element("insert", objects));
}

std::string delete_one(const object &which)
{
    return as_request(
        element("delete", "<" + class_name(which) + " name=\"" + object_name(which) + "\"/>"));
}

std::string in_transaction(const std::string &operations)
{
    return as_request(element("write-transaction", operations));
}

std::string as_request(const std::string &operations)
{
    return element("lsql", operations);
}

std::vector<object> random_objects(size_t count, size_t total, unsigned seed)
{
    std::mt19937 random{seed};
    std::vector<object> chosen;
    for (size_t i = 0; i < count; ++i)
        chosen.push_back(object_at(random() % total, total));
    return chosen;
}

std::vector<object> shuffled_objects(size_t total, unsigned seed)
{
    std::vector<object> all;
    for (size_t position = 0; position < total; ++position)
        all.push_back(object_at(position, total));
    std::shuffle(all.begin(), all.end(), std::mt19937{seed});
    return all;
}

} // namespace vesk::bench
