#include "vesk/config.h"

#include "config/save.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "base/file.h"
#include "base/or_on_oom.h"
#include "base/xml.h"
#include "config/paths.h"
#include "config/running.h"
#include "core/log.h"
#include "core/unwritable.h"
#include "model/classes.h"
#include "model/instances.h"
#include "model/iterator.h"
#include "vesk/notify.h"
#include "vesk/query.h"

// The writer and the check of the written file walk the same sequence of what is saved.

namespace {

/** Calls visit(class, instance) for what is saved, in the order of the file. */
template <typename Visit> void for_each_saved(const vesk_instances &instances, Visit &&visit)
{
    for (const auto &entry : vesk::classes()) {
        const vesk_class &cls = *entry.value;
        if (!cls.persistence || cls.superclass_name) continue;
        const vesk::iterator_ptr iterator{
            vesk_instances_new_class_iterator(&instances, cls.name.c_str())};
        if (!iterator) throw std::bad_alloc{};
        vesk::walk(iterator, [&](const vesk_instance &instance) { visit(cls, instance); });
    }
}

template <typename Visit> void for_each_saved_value(const vesk_instance &instance, Visit &&visit)
{
    for (const auto &value : instance.values)
        if (value.property->persistence) visit(value.property->name.c_str(), value.text());
}

void write_value(std::string &out, const vesk_instance &instance, const char *property,
                 const char *value)
{
    out += "    <";
    out += property;
    if (!*value) {
        out += "/>\n";
        return;
    }
    out += '>';
    if (vesk::append_text(out, value)) vesk::report_unwritable(instance.cls->name, property);
    out += "</";
    out += property;
    out += ">\n";
}

void write_instance(std::string &out, const vesk_class &cls, const vesk_instance &instance)
{
    out += "  <" + cls.name;
    if (instance.name) {
        out += " name=\"";
        if (vesk::append_attribute(out, instance.name.get()))
            vesk::report_unwritable(cls.name, "name");
        out += '"';
    }
    const size_t before_values = out.size();
    out += ">\n";
    const size_t empty = out.size();
    for_each_saved_value(instance, [&](const char *property, const char *value) {
        write_value(out, instance, property, value);
    });
    if (out.size() == empty) {
        out.resize(before_values);
        out += "/>\n";
    } else {
        out += "  </" + cls.name + ">\n";
    }
}

/** The next sibling that is an element, the node itself included. */
const xmlNode *element_from(const xmlNode *node)
{
    while (node && !vesk::is_element(node))
        node = node->next;
    return node;
}

bool is_named(const xmlNode &element, const std::string &name)
{
    return name == vesk::name_of(&element);
}

bool holds_instance(const xmlNode &element, const vesk_class &cls, const vesk_instance &instance)
{
    const char *name = vesk::attribute_of(&element, "name");
    if (!is_named(element, cls.name) || !name != !instance.name) return false;
    if (name && vesk::readable_back(instance.name.get()) != name) return false;
    const xmlNode *child = element_from(element.children);
    bool same = true;
    for_each_saved_value(instance, [&](const char *property, const char *value) {
        if (!same) return;
        const char *text = child ? vesk::content_of(child) : nullptr;
        same =
            child && is_named(*child, property) && vesk::readable_back(value) == (text ? text : "");
        if (same) child = element_from(child->next);
    });
    return same && !child;
}

} // namespace

namespace vesk {

std::string config_text(const vesk_instances &instances)
{
    std::string out = "<?xml version=\"1.0\"?>\n<config>\n";
    const size_t empty = out.size();
    for_each_saved(instances, [&](const vesk_class &cls, const vesk_instance &instance) {
        write_instance(out, cls, instance);
    });
    if (out.size() == empty)
        out.replace(empty - 2, 2, "/>\n");
    else
        out += "</config>\n";
    return out;
}

bool holds_config(const std::string &text, const vesk_instances &instances)
{
    const xml_doc document = parse_xml(text, xml_source::file);
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (!root || !is_named(*root, "config")) return false;
    const xmlNode *element = element_from(root->children);
    bool same = true;
    for_each_saved(instances, [&](const vesk_class &cls, const vesk_instance &instance) {
        same = same && element && holds_instance(*element, cls, instance);
        if (same) element = element_from(element->next);
    });
    return same && !element;
}

bool save_config(const char *path, const vesk_instances &instances)
{
    const auto failure = or_on_oom(replace_failure{"memory", ENOMEM}, [&] {
        return replace_file(path, config_text(instances), [&](const std::string &written) {
            return holds_config(written, instances);
        });
    });
    if (!failure) return true;
    error("Can't save %s: %s%s%s.\n", path, failure.step, failure.error ? ": " : "",
          failure.error ? std::strerror(failure.error) : "");
    return false;
}

} // namespace vesk

int vesk_config_copy_running_to_startup(void)
{
    const vesk_instances *running = vesk_config_get_running();
    if (vesk::is_loading()) {
        vesk_debug_eprintf("Configuration is being loaded: not saving it.\n");
        return 0;
    }
    if (!running) {
        vesk_debug_eprintf("Nothing was loaded: not saving over the startup file.\n");
        return 0;
    }
    if (!vesk::save_config(vesk::paths().startup, *running)) return 0;
    sync();
    vesk_notify_conf_change(vesk_query_origin);
    return 0;
}
