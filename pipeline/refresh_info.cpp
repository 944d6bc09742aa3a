#include "vesk/refresh_info.h"

#include "pipeline/refresh_info.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/instance.h"

namespace {

using vesk::class_selection;
using vesk::property_selection;

/**
 * Has what(selection) say what is wanted of an instance. What is new is built aside and entered
 * last, so that nothing has changed when memory runs out: then std::bad_alloc.
 */
template <typename What>
void want(vesk_refresh_info &info, const char *class_name, const char *instance_name, What &&what)
{
    class_selection *entry = info.classes.get(class_name);
    if (property_selection *known = entry ? entry->find(instance_name) : nullptr) {
        what(*known);
        return;
    }
    property_selection selection;
    what(selection);
    class_selection new_entry;
    class_selection &target = entry ? *entry : new_entry;
    if (instance_name)
        target.named.insert(instance_name, std::move(selection));
    else
        target.every = std::move(selection);
    if (!entry) info.classes.insert(class_name, std::move(new_entry));
}

void want_property(property_selection &selection, const char *property)
{
    if (!selection.all) selection.names.insert(property);
}

/** The entry that covers an instance: a selection of an abstract class covers its subclasses. */
const class_selection *entry_of(const vesk_refresh_info &info, const vesk_instance &instance)
{
    const vesk_class *cls = instance.cls;
    if (cls->superclass_name) return info.classes.get(cls->superclass_name->c_str());
    return info.classes.get(cls->name.c_str());
}

void print_selection(const property_selection &selection, FILE *stream)
{
    std::fputs("Properties:", stream);
    if (selection.all) {
        std::fputs(" All.\n", stream);
    } else if (selection.names.size() > 0) {
        for (auto [name, mark] : selection.names)
            std::fprintf(stream, " %s", name);
        std::fputs(".\n", stream);
    } else {
        std::fputs(" None.\n", stream);
    }
}

} // namespace

vesk_refresh_info *vesk_refresh_info_new(vesk_instances *instances)
{
    return vesk::or_on_oom<vesk_refresh_info *>(nullptr,
                                                [&] { return new vesk_refresh_info{instances}; });
}

int vesk_refresh_info_add_instance(vesk_refresh_info *info, const char *class_name,
                                   const char *instance_name)
{
    if (!info || !class_name) return 1;
    return vesk::or_on_oom(1, [&] {
        want(*info, class_name, instance_name, [](property_selection &) {});
        return 0;
    });
}

int vesk_refresh_info_add_all_properties(vesk_refresh_info *info, const char *class_name,
                                         const char *instance_name)
{
    if (!info || !class_name) return 1;
    return vesk::or_on_oom(1, [&] {
        want(*info, class_name, instance_name, [](property_selection &s) { s.all = true; });
        return 0;
    });
}

int vesk_refresh_info_add_property(vesk_refresh_info *info, const char *class_name,
                                   const char *instance_name, const char *property)
{
    if (!info || !class_name || !property) return 1;
    return vesk::or_on_oom(1, [&] {
        const class_selection *entry = info->classes.get(class_name);
        const bool everything = entry && entry->every && entry->every->all;
        want(*info, class_name, instance_name, [&](property_selection &selection) {
            if (!everything) want_property(selection, property);
        });
        return 0;
    });
}

int vesk_refresh_info_contains_class(const vesk_refresh_info *info, const char *class_name)
{
    if (!info) return 1;
    return class_name && info->classes.get(class_name) != nullptr;
}

int vesk_refresh_info_contains_instance(const vesk_refresh_info *info,
                                        const vesk_instance *instance)
{
    if (!info || !instance) return 0;
    const class_selection *entry = entry_of(*info, *instance);
    if (!entry) return 0;
    return entry->every || (instance->name && entry->named.get(instance->name));
}

int vesk_refresh_info_contains_property(const vesk_refresh_info *info,
                                        const vesk_instance *instance, const char *property)
{
    if (!info || !instance || !property) return 0;
    const class_selection *entry = entry_of(*info, *instance);
    if (!entry) return 0;
    if (entry->every && entry->every->contains(property)) return 1;
    const property_selection *own = instance->name ? entry->find(instance->name) : nullptr;
    return own && own->contains(property);
}

vesk_instances *vesk_refresh_info_get_instances(const vesk_refresh_info *info)
{
    return info ? info->instances : nullptr;
}

void *vesk_refresh_info_get_data(const vesk_refresh_info *info)
{
    return info ? info->data : nullptr;
}

void vesk_refresh_info_set_data(vesk_refresh_info *info, void *data)
{
    if (info) info->data = data;
}

void vesk_refresh_info_print(const vesk_refresh_info *info, FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    std::fputs("Refresh info:\n", stream);
    if (!info) {
        std::fputs("  Null info.\n", stream);
        return;
    }
    info->classes.for_each([&](const char *class_name, const class_selection &entry) {
        std::fprintf(stream, "  Class %s:\n", class_name);
        if (entry.named.size() > 0) {
            std::fputs("    Named instances:\n", stream);
            entry.named.for_each([&](const char *name, const property_selection &selection) {
                std::fprintf(stream, "      Instance %s: ", name);
                print_selection(selection, stream);
            });
        }
        if (entry.every) {
            std::fputs("    Every instance: ", stream);
            print_selection(*entry.every, stream);
        }
    });
}

void vesk_refresh_info_delete(vesk_refresh_info *info)
{
    delete info;
}
