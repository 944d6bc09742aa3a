#include "tests/xml_differential/random_configuration.h"

#include <algorithm>

#include "model/iterator.h"
#include "tests/xml_differential/texts.h"

namespace vesk::test {
namespace {

const class_spec &spec_named(const std::string &name)
{
    return *std::find_if(class_specs().begin(), class_specs().end(),
                         [&](const class_spec &spec) { return spec.name == name; });
}

bool is_named(const class_spec &spec)
{
    return spec.type == VESK_CLASS_UNIQUE_NAMED || spec.type == VESK_CLASS_GROUP_NAMED;
}

/** The properties of a class and of its superclass, but for the subclass identifier. */
std::vector<property_spec> properties_of(const class_spec &spec)
{
    std::vector<property_spec> all = spec.properties;
    if (!spec.superclass) return all;
    const auto &inherited = spec_named(spec.superclass).properties;
    all.insert(all.end(), inherited.begin(), inherited.end());
    return all;
}

std::string random_value(dice &die, const property_spec &property)
{
    if (property.values == takes::number) return std::to_string(die.below(100000));
    std::string value = random_bytes(die);
    if (value.starts_with("bad")) value.insert(0, "not ");
    return value;
}

/** In the order of the registry. */
template <typename Visit> void for_each_class(Visit &&visit)
{
    const classes_iterator_ptr walk{vesk_classes_new_iterator()};
    while (const vesk_class *cls = vesk_classes_iterator_next(walk.get()))
        visit(spec_named(cls->name));
}

vesk_instance *make_empty(const class_spec &spec, const std::optional<std::string> &name)
{
    return vesk_instance_new(vesk_classes_get(spec.name), name ? name->c_str() : nullptr);
}

} // namespace

random_configuration::random_configuration(dice &die)
{
    for (unsigned left = die.below(die.percent(5) ? 40 : 8); left > 0; --left) {
        const class_spec &spec = die.among(class_specs());
        if (!spec.identifier) add(die, spec);
    }
}

void random_configuration::add(dice &die, const class_spec &spec)
{
    std::optional<std::string> name;
    // What cannot be written becomes the same character: only the rest tells names apart then.
    if (is_named(spec)) name = random_bytes(die) + "." + std::to_string(memories_.size());
    if (spec.type == VESK_CLASS_GROUP_NAMED && die.percent(60)) name = "guests & staff";
    instance_ptr instance{make_empty(spec, name)};
    memory remembered{&spec, name, {}};
    if (spec.superclass)
        set(*instance, remembered.set, spec_named(spec.superclass).identifier, spec.name);
    for (const property_spec &property : properties_of(spec)) {
        const bool may_be = property.values != takes::known_radio;
        if (may_be && (property.required || die.percent(65)))
            set(*instance, remembered.set, property.name, random_value(die, property));
    }
    const auto properties = properties_of(spec);
    const property_spec &again = die.among(properties);
    if (again.values == takes::all_but_bad && die.percent(10)) // it goes to the end
        set(*instance, remembered.set, again.name, random_value(die, again));
    if (vesk_instances_add(all_.get(), instance.get()) == 0)
        memories_.emplace(instance.release(), std::move(remembered));
}

void random_configuration::set(vesk_instance &instance, values &remembered, const char *property,
                               const std::string &value)
{
    if (vesk_instance_set_value(&instance, property, value.c_str()) != 0) return; // its mode is off
    std::erase_if(remembered, [&](const auto &each) { return each.first == property; });
    remembered.emplace_back(property, value);
}

bool random_configuration::is_saved(const class_spec &spec, const std::string &property) const
{
    for (const property_spec &each : properties_of(spec))
        if (each.name == property) return each.saved;
    return true; // the subclass identifier
}

/** Calls visit(element name, memory) in the order of the file. */
template <typename Visit> void random_configuration::for_each_saved(Visit &&visit) const
{
    for_each_class([&](const class_spec &spec) {
        if (!spec.saved || spec.superclass) return;
        const iterator_ptr walk{vesk_instances_new_class_iterator(all_.get(), spec.name)};
        while (const vesk_instance *instance = vesk_instances_iterator_next(walk.get()))
            visit(spec.name, memories_.at(instance));
    });
}

tree random_configuration::saved() const
{
    tree document{"config"};
    for_each_saved([&](const char *element_name, const memory &instance) {
        xmlNode *element = tree::add(document.root(), element_name);
        if (instance.name) tree::set_attribute(element, "name", *instance.name);
        for (const auto &[property, value] : instance.set)
            if (is_saved(*instance.spec, property)) tree::add(element, property, value);
    });
    return document;
}

full_instances_ptr random_configuration::loaded_back() const
{
    full_instances_ptr back{vesk_instances_new()};
    for_each_saved([&](const char *, const memory &instance) {
        std::optional<std::string> name;
        if (instance.name) name = readable(*instance.name);
        instance_ptr fresh{make_empty(*instance.spec, name)};
        for (const auto &[property, value] : instance.set)
            if (is_saved(*instance.spec, property))
                vesk_instance_set_value(fresh.get(), property.c_str(), readable(value).c_str());
        if (vesk_instances_add(back.get(), fresh.get()) == 0) static_cast<void>(fresh.release());
    });
    for_each_class([&](const class_spec &spec) {
        if (spec.type != VESK_CLASS_SINGLETON) return;
        instance_ptr fresh{make_empty(spec, std::nullopt)};
        if (vesk_instances_add(back.get(), fresh.get()) == 0) static_cast<void>(fresh.release());
    });
    return back;
}

} // namespace vesk::test
