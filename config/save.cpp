#include "vesk/config.h"

#include "config/save.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <vector>

#include "base/file.h"
#include "base/or_on_oom.h"
#include "base/xml_file.h"
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

/** Written in one step; a file is never in memory as a whole. */
constexpr size_t piece_size = size_t{16} * 1024;

/** Walks over what is saved, in the order of the file. Nothing may change meanwhile. */
class saved_walk {
  public:
    /** Throws std::bad_alloc. */
    explicit saved_walk(const vesk_instances &instances);

    /** The next instance, null at the end. */
    const vesk_instance *next();

    /** The class whose name the instance's element bears: of a subclass, the abstract one. */
    const vesk_class &its_class() const { return *stores_[at_].cls; }

  private:
    struct saved_store {
        const vesk_class *cls;
        const vesk_instances_class *store;
    };

    void add(const vesk_class &cls, const vesk_instances_class *store);

    std::vector<saved_store> stores_;
    size_t at_ = 0;
    uint32_t place_ = vesk::no_place; // of the instance before, in the store at_
};

saved_walk::saved_walk(const vesk_instances &instances)
{
    for (const auto &entry : vesk::classes()) {
        const vesk_class &cls = *entry.value;
        if (!cls.persistence || cls.superclass_name) continue;
        if (cls.abstract != 1) add(cls, vesk::store_of(instances, entry.name));
        for (const auto &subclass : cls.subclasses)
            add(cls, vesk::store_of(instances, subclass.name));
    }
}

void saved_walk::add(const vesk_class &cls, const vesk_instances_class *store)
{
    if (store) stores_.push_back({&cls, store});
}

const vesk_instance *saved_walk::next()
{
    for (; at_ < stores_.size(); ++at_) {
        const vesk_instances_class &store = *stores_[at_].store;
        place_ =
            place_ == vesk::no_place ? vesk::first_place(store) : vesk::next_place(store, place_);
        if (place_ != vesk::no_place) return store.at(place_);
    }
    return nullptr;
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

bool holds_instance(const vesk::config_contents &contents, const instance_element &element,
                    const vesk_class &cls, const vesk_instance &instance)
{
    if (cls.name != contents.name_of(element.class_name) || !holds_name(element, instance))
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

/** Compares a file, as it is read, with what was to be saved. */
class comparison final : public vesk::xml_receiver {
  public:
    explicit comparison(const vesk_instances &instances) : saved_{instances} {}

    void begin_element(const char *name, const char *name_attribute) override
    {
        contents_.begin_element(name, name_attribute);
    }

    void end_element() override
    {
        contents_.end_element();
        while (contents_.take(element_))
            compare(saved_.next());
    }

    void text(std::string_view piece) override { contents_.text(piece); }
    void cdata(std::string_view piece) override { contents_.cdata(piece); }
    void other_node() override { contents_.other_node(); }

    /** At the end of a file: whether it was all that was to be saved. */
    bool is_same() { return same_ && contents_.root() == "config" && !saved_.next(); }

  private:
    void compare(const vesk_instance *instance)
    {
        same_ =
            same_ && instance && holds_instance(contents_, element_, saved_.its_class(), *instance);
    }

    saved_walk saved_;
    vesk::config_contents contents_;
    instance_element element_;
    bool same_ = true;
};

/** Hands the text of a configuration's file to emit(piece), until it gives false: then false. */
template <typename Emit> bool write_config(const vesk_instances &instances, Emit &&emit)
{
    saved_walk saved{instances};
    std::string piece = "<?xml version=\"1.0\"?>\n";
    const vesk_instance *instance = saved.next();
    piece += instance ? "<config>\n" : "<config/>\n";
    const char *ending = instance ? "</config>\n" : "";
    for (; instance; instance = saved.next()) {
        write_instance(piece, saved.its_class(), *instance);
        if (piece.size() < piece_size) continue;
        if (!emit(std::string_view{piece})) return false;
        piece.clear();
    }
    piece += ending;
    return emit(std::string_view{piece});
}

/** The contents of a configuration's file. */
class saved_contents final : public vesk::file_contents {
  public:
    explicit saved_contents(const vesk_instances &instances) : instances_{instances} {}

    int write(int fd) const override
    {
        int failed = 0;
        write_config(instances_, [&](std::string_view piece) {
            failed = vesk::write_all(fd, piece);
            return failed == 0;
        });
        return failed;
    }

    vesk::replace_failure verify(const char *path) const override
    {
        vesk::xml_file file{path};
        if (file.failed()) return {"read back", file.failed()};
        const bool is_held = vesk::holds_config(file, instances_);
        if (file.failed()) return {"read back", file.failed()};
        return is_held ? vesk::replace_failure{} : vesk::replace_failure{"check", 0};
    }

  private:
    const vesk_instances &instances_;
};

} // namespace

namespace vesk {

std::string config_text(const vesk_instances &instances)
{
    std::string text;
    write_config(instances, [&](std::string_view piece) {
        text += piece;
        return true;
    });
    return text;
}

bool holds_config(xml_source_text &file, const vesk_instances &instances)
{
    comparison found{instances};
    return stream_own_xml(file, found) == stream_end::complete && found.is_same();
}

bool save_config(const char *path, const vesk_instances &instances)
{
    const auto failure = or_on_oom(replace_failure{"memory", ENOMEM},
                                   [&] { return replace_file(path, saved_contents{instances}); });
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
