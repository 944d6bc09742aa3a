#include "vesk/config.h"

#include "config/save.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "base/file.h"
#include "base/or_on_oom.h"
#include "base/xml_stream.h"
#include "base/xml_text.h"
#include "config/contents.h"
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

using vesk::instance_element;

/** Calls visit(class, instance) for what is saved, in the order of the file. */
template <typename Visit> void for_each_saved(const vesk_instances &instances, Visit &&visit)
{
    for (const auto &entry : vesk::classes()) {
        const vesk_class &cls = *entry.value;
        if (!cls.persistence || cls.superclass_name) continue;
        vesk::look_at(instances, cls, nullptr, [&](const vesk_instance &instance) {
            visit(cls, instance);
            return true;
        });
    }
}

template <typename Visit> void for_each_saved_value(const vesk_instance &instance, Visit &&visit)
{
    vesk::for_each_value(instance, [&](const vesk_property &property, const char *text) {
        if (property.persistence) visit(property.name, text);
    });
}

void write_value(std::string &out, const vesk_instance &instance, const std::string &property,
                 const char *value)
{
    if (vesk::append_element(out, property, value, {"    ", "\n"}))
        vesk::report_unwritable(instance.cls->name, property.c_str());
}

void write_instance(std::string &out, const vesk_class &cls, const vesk_instance &instance)
{
    out += "  <";
    out += cls.name;
    if (instance.name) {
        out += " name=\"";
        if (vesk::append_attribute(out, instance.name)) vesk::report_unwritable(cls.name, "name");
        out += '"';
    }
    const size_t before_values = out.size();
    out += ">\n";
    const size_t empty = out.size();
    for_each_saved_value(instance, [&](const std::string &property, const char *value) {
        write_value(out, instance, property, value);
    });
    if (out.size() == empty) {
        out.resize(before_values);
        out += "/>\n";
    } else {
        out += "  </";
        out += cls.name;
        out += ">\n";
    }
}

bool holds_name(const instance_element &element, const vesk_instance &instance)
{
    if (!instance.name || !element.name) return !instance.name == !element.name;
    return vesk::reads_back_as(instance.name, element.name);
}

/** Takes the next instance element, which is to be the one that was written. */
bool holds_instance(vesk::config_contents &contents, instance_element &element,
                    const vesk_class &cls, const vesk_instance &instance)
{
    if (!contents.take(element) || cls.name != contents.name_of(element.class_name) ||
        !holds_name(element, instance))
        return false;
    size_t at = 0;
    bool same = true;
    for_each_saved_value(instance, [&](const std::string &property, const char *value) {
        if (!same) return;
        same = at < element.values.size() &&
               property == contents.name_of(element.values[at].name) &&
               vesk::reads_back_as(value, element.values[at].text ? element.values[at].text : "");
        ++at;
    });
    return same && at == element.values.size();
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
    config_contents contents;
    if (stream_xml(text, contents) != stream_end::complete || contents.root() != "config")
        return false;
    instance_element element;
    bool same = true;
    for_each_saved(instances, [&](const vesk_class &cls, const vesk_instance &instance) {
        same = same && holds_instance(contents, element, cls, instance);
    });
    return same && !contents.take(element);
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
