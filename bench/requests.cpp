#include "bench/requests.h"

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

std::string select_class(size_t cls, const std::string &where)
{
    return element("select", "<" + class_name({cls, 0}) + " properties=\"all\"/>") + where;
}

std::string select_all_classes(const std::string &where)
{
    std::string selects;
    for (size_t cls = 0; cls < class_count; ++cls)
        selects += select_class(cls, where);
    return selects;
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

std::string select_thousand(size_t total)
{
    return as_request(first_class_is_full(total) ? select_class(0, "") : select_all_classes(""));
}

std::string select_none()
{
    return as_request(select_all_classes(
        "<where><eq><property>p0</property><value>none has this</value></eq></where>"));
}

std::string update_one(const object &which, const std::string &value)
{
    return element("update", named(which, element("p0", value)));
}

std::string insert_one()
{
    return as_request(element("insert", new_object(0)));
}

std::string insert_thousand()
{
    std::string objects;
    for (size_t i = 0; i < 1000; ++i)
        objects += new_object(i);
    return as_request(element("insert", objects));
}

object inserted_at(size_t position)
{
    return {inserted_class, first_inserted_number + position};
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

std::vector<object> random_objects(size_t count, size_t total)
{
    std::mt19937 random{42};
    std::vector<object> chosen;
    for (size_t i = 0; i < count; ++i)
        chosen.push_back(object_at(random() % total, total));
    return chosen;
}

} // namespace vesk::bench
