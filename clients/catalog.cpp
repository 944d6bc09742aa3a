#include "clients/catalog.h"

#include <algorithm>

#include "clients/failure.h"
#include "clients/request.h"

namespace vesk::client {
namespace {

constexpr const char *class_class = "schema_class";
constexpr const char *property_class = "schema_property";

bool is_true(std::string_view value)
{
    return !value.empty() && value != "0" && value != "no" && value != "false" && value != "off";
}

/** Appends what is not there yet, in order. */
void append_new(std::vector<property_facts> &all, property_facts more)
{
    if (!contains(all, more.name)) all.push_back(std::move(more));
}

std::vector<property_facts> properties_in(const std::vector<instance> &instances)
{
    std::vector<property_facts> all;
    for (const instance &one : instances)
        for (const field &value : one.fields)
            append_new(all, {value.property});
    return all;
}

} // namespace

bool contains(const std::vector<property_facts> &properties, const std::string &name)
{
    return std::any_of(properties.begin(), properties.end(),
                       [&](const property_facts &p) { return p.name == name; });
}

void catalog::read_schema()
{
    if (asked_) return;
    asked_ = true;
    schema_ = parse_answer(daemon_.ask(
        request(select({class_class, {}, ""}, {"superclass"}) +
                    select({property_class, {}, ""}, {"property", "writable", "required"}),
                "")));
    if (schema_.has_errors() || schema_.outcomes.size() != 2) {
        schema_.outcomes.assign(2, {});
        return;
    }
    for (const instance &one : schema_.outcomes[0].instances)
        if (one.name) classes_.push_back({one.name, one.value("superclass")});
}

const xmlNode *catalog::startup()
{
    if (!startup_) {
        startup_ = parse_document(daemon_.ask("<get_conf/>"), "the startup configuration");
        expect_startup(*startup_);
    }
    return xmlDocGetRootElement(startup_.get());
}

const std::vector<class_facts> &catalog::classes()
{
    read_schema();
    if (!classes_.empty()) return classes_;
    for (const instance &one : instances_in(startup())) {
        const auto is_it = [&](const class_facts &c) { return c.name == one.class_name; };
        if (std::none_of(classes_.begin(), classes_.end(), is_it))
            classes_.push_back({one.class_name, ""});
    }
    return classes_;
}

/** Whether the other class is this one, its superclass or one of its subclasses. */
bool catalog::is_family(const std::string &class_name, const std::string &other)
{
    return std::any_of(classes_.begin(), classes_.end(), [&](const class_facts &c) {
        return (c.name == class_name && (other == c.name || other == c.superclass)) ||
               (c.name == other && c.superclass == class_name);
    });
}

std::vector<property_facts> catalog::properties_declared(const std::string &class_name)
{
    read_schema();
    std::vector<property_facts> all;
    for (const instance &one : schema_.outcomes[1].instances)
        if (one.name && is_family(class_name, one.name))
            append_new(all, {one.value("property"), is_true(one.value("writable")),
                             is_true(one.value("required"))});
    return all;
}

std::vector<property_facts> catalog::properties_saved(const std::string &class_name)
{
    std::vector<instance> instances = instances_in(startup());
    std::erase_if(instances, [&](const instance &one) { return one.class_name != class_name; });
    return properties_in(instances);
}

std::vector<property_facts> catalog::properties_running(const std::string &class_name) const
{
    const answer running = parse_answer(daemon_.ask(request(select_all({class_name, {}, ""}), "")));
    if (running.outcomes.empty()) return {};
    return properties_in(running.outcomes[0].instances);
}

const std::vector<property_facts> &catalog::properties(const std::string &class_name)
{
    const auto [entry, is_new] = properties_.try_emplace(class_name);
    if (is_new) entry->second = properties_declared(class_name);
    if (is_new && entry->second.empty()) entry->second = properties_running(class_name);
    return entry->second;
}

void catalog::expect_properties(const std::string &class_name,
                                const std::vector<std::string> &expected)
{
    if (expected.empty()) return;
    const auto &known = properties(class_name);
    if (known.empty()) return;
    for (const std::string &name : expected)
        if (!contains(known, name))
            refuse(std::string{"class \""}.append(class_name).append("\" has no property \"") +
                   name + '"');
}

} // namespace vesk::client
