#include "vesk/config.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "base/file.h"
#include "base/or_on_oom.h"
#include "base/text.h"
#include "base/xml.h"
#include "base/xml_file.h"
#include "config/class_name.h"
#include "config/contents.h"
#include "config/paths.h"
#include "config/running.h"
#include "core/log.h"
#include "model/classes.h"
#include "model/instances.h"
#include "model/parking.h"
#include "pipeline/changes.h"
#include "vesk/providers.h"

namespace {

using vesk::config_contents;
using vesk::instance_element;
using vesk::instance_ptr;

constexpr int read_attempts = 3;
constexpr timespec attempt_pause = {0, 100'000'000};

/** Reads a file through a tree. The same answers as read_contents(). */
int read_through_tree(const char *path, config_contents &contents, bool &is_good)
{
    std::string text;
    if (const int failed = vesk::read_file(path, text)) return failed;
    const vesk::xml_doc document = vesk::parse_xml(text, vesk::xml_source::file);
    is_good = document && xmlDocGetRootElement(document.get());
    if (is_good) vesk::stream_tree(*document, contents);
    return 0;
}

/** Reads a file to its end. 0, ENOENT, or another errno; is_good says whether it is well-formed. */
int read_contents(const char *path, config_contents &contents, bool &is_good)
{
    contents.clear();
    is_good = false;
    vesk::xml_file source{path};
    if (source.failed()) return source.failed();
    const auto end = vesk::stream_xml(source, contents);
    if (source.failed()) return source.failed();
    is_good = end == vesk::stream_end::complete;
    if (end != vesk::stream_end::needs_a_tree) return 0;
    contents.clear();
    return read_through_tree(path, contents, is_good);
}

/** The same; what may pass, an I/O error or want of memory, is tried again. */
int read_patiently(const char *path, config_contents &contents, bool &is_good)
{
    int failed = 0;
    for (int attempt = 0; attempt < read_attempts; ++attempt) {
        if (attempt > 0) nanosleep(&attempt_pause, nullptr);
        failed = vesk::or_on_oom(ENOMEM, [&] { return read_contents(path, contents, is_good); });
        if (failed == 0 || failed == ENOENT) break;
    }
    return failed;
}

/** Reads a configuration file and checks its root; false, with a message, for any other. */
bool read_config(const char *path, config_contents &contents)
{
    const auto refused = [](int) { return false; };
    if (!path) return refused(vesk::error("Config filename is null.\n"));
    bool is_good = false;
    // A file must not be taken for a bad one, and be replaced, because memory was short.
    if (read_patiently(path, contents, is_good) == ENOMEM) throw std::bad_alloc{};
    if (!is_good) return refused(vesk::error("Config not parsed successfully.\n"));
    if (contents.root().empty()) return refused(vesk::error("Empty document.\n"));
    if (contents.root() != "config")
        return refused(
            vesk::error("Document of the wrong type: root node is not \"%s\".", "config"));
    return true;
}

/** The first free name of beside, beside.1, ... beside.9; the last when all are taken. */
std::string free_name(const char *beside)
{
    std::string name = beside;
    for (char digit = '1'; digit <= '9' && access(name.c_str(), F_OK) == 0; ++digit)
        name = std::string{beside} + "." + digit;
    return name;
}

/** Keeps a startup file that could not be read beside the one that is to replace it. */
bool keep_unreadable(const char *path, const char *beside)
{
    if (access(path, F_OK) != 0 && errno == ENOENT) return true;
    const std::string name = free_name(beside);
    unlink(name.c_str());
    if (link(path, name.c_str()) == 0) return true;
    struct stat found;
    const bool is_file = stat(path, &found) == 0 && S_ISREG(found.st_mode);
    if (is_file && rename(path, name.c_str()) == 0) return true;
    vesk_debug_eprintf("Can't keep %s as %s.\n", path, name.c_str());
    return false;
}

/** The value elements of an instance that was read. */
class read_children final : public vesk::element_children {
  public:
    read_children(const config_contents &contents, const instance_element &element)
        : contents_{contents}, element_{element}
    {
    }

    bool find(const char *name, const char *&text) const override
    {
        for (const vesk::value_element &value : element_.values) {
            if (std::strcmp(contents_.name_of(value.name), name) != 0) continue;
            text = value.text;
            return true;
        }
        return false;
    }

  private:
    const config_contents &contents_;
    const instance_element &element_;
};

/** Makes instances of what was read; what the names mean is looked up once in a row. */
class instance_maker {
  public:
    explicit instance_maker(const config_contents &contents) : contents_{contents} {}

    /** The instance of an element, null with a message when it is refused. */
    instance_ptr make(const instance_element &element);

  private:
    struct known_property {
        uint32_t name;
        const vesk_property *property;
    };

    vesk_class *find_class(const instance_element &element);
    const vesk_property *find_property(size_t at, uint32_t name);
    void set(vesk_instance &instance, const vesk_property *property, const char *name,
             const char *value);

    const config_contents &contents_;
    uint32_t class_name_ = ~0U; // of class_, while it is concrete
    vesk_class *class_ = nullptr;
    vesk_class *properties_of_ = nullptr;
    std::vector<known_property> properties_; // in the order of the last instance
};

vesk_class *instance_maker::find_class(const instance_element &element)
{
    if (class_ && class_name_ == element.class_name) return class_;
    const char *element_name = contents_.name_of(element.class_name);
    const char *name = vesk::concrete_class_name(element_name, read_children{contents_, element});
    vesk_class *cls = name ? vesk_classes_get(name) : nullptr;
    class_ = name == element_name ? cls : nullptr;
    class_name_ = element.class_name;
    return cls;
}

const vesk_property *instance_maker::find_property(size_t at, uint32_t name)
{
    if (at < properties_.size() && properties_[at].name == name) return properties_[at].property;
    properties_.resize(at);
    properties_.push_back({name, vesk::find_property(*properties_of_, contents_.name_of(name))});
    return properties_.back().property;
}

void instance_maker::set(vesk_instance &instance, const vesk_property *property, const char *name,
                         const char *value)
{
    const char *class_name = instance.cls->name.c_str();
    if (!property)
        vesk_debug_eprintf("Property \"%s\" is not valid for class \"%s\" - skipping.\n", name,
                           class_name);
    else if (!vesk::set_found_value(instance, *property, name, value))
        vesk_debug_eprintf(
            "Value \"%s\" is not valid for property \"%s\" of class \"%s\" - skipping.\n", value,
            name, class_name);
}

instance_ptr instance_maker::make(const instance_element &element)
{
    vesk_class *cls = find_class(element);
    if (!cls) return nullptr;
    instance_ptr instance{
        vesk::make_instance(*cls, element.name, {element.values.size(), element.text_bytes})};
    if (!instance) {
        vesk_debug_eprintf("Bad instance name \"%s\" of class \"%s\"- skipping.\n",
                           element.name ? element.name : "(null)", cls->name.c_str());
        return nullptr;
    }
    if (properties_of_ != cls) properties_.clear();
    properties_of_ = cls;
    for (size_t at = 0; at < element.values.size(); ++at) {
        const vesk::value_element &value = element.values[at];
        set(*instance, find_property(at, value.name), contents_.name_of(value.name),
            value.text ? value.text : "");
    }
    return instance;
}

bool is_complete(const vesk_instance &instance)
{
    char *message = nullptr;
    if (vesk_instance_is_valid(&instance, &message)) return true;
    const vesk::c_string owned{message};
    if (!message) throw std::bad_alloc{};
    vesk_debug_eprintf("Instance is invalid: %s Skipping instance.", message);
    return false;
}

/** Records as inserted what the collection's listener may not have recorded. */
void record_inserted(vesk_changes &changes, vesk_instance &instance)
{
    if (vesk_changes_instance_inserted(&changes, &instance) != 0) throw std::bad_alloc{};
}

void add_to_running(vesk_instances &running, vesk_changes &changes, instance_ptr instance)
{
    if (!vesk::add_instance(running, *instance)) {
        const char *name = instance->name;
        vesk_debug_eprintf("Couldn't add instance \"%s\" of class \"%s\". Skipping instance.\n",
                           name ? name : "(null)", instance->cls->name.c_str());
        return;
    }
    record_inserted(changes, *instance.release());
}

void load_instances(config_contents &contents, vesk_instances &running, vesk_changes &changes)
{
    instance_maker maker{contents};
    instance_element element;
    while (contents.take(element)) {
        instance_ptr instance = maker.make(element);
        if (instance && is_complete(*instance))
            add_to_running(running, changes, std::move(instance));
    }
}

/** Every singleton class has its instance; one that is not persistent starts empty. */
void complete_singletons(vesk_instances &running, vesk_changes &changes)
{
    for (auto [name, cls] : vesk::classes()) {
        if (cls->type != VESK_CLASS_SINGLETON) continue;
        const vesk_instances_class *store = vesk::store_of(running, name);
        vesk_instance *loaded =
            store && store->live ? store->at(vesk::first_place(*store)) : nullptr;
        if (loaded && cls->persistence) continue;
        if (loaded) {
            vesk_instances_remove(&running, loaded);
            vesk_instance_delete(loaded);
        }
        instance_ptr fresh{vesk::make_instance(*cls, nullptr)};
        if (fresh) add_to_running(running, changes, std::move(fresh));
    }
}

/** Makes what was read running and commits it. Without memory running stays what it was:
 * std::bad_alloc. */
void load(config_contents &contents)
{
    const vesk::busy_scope busy;
    vesk::full_instances_ptr fresh{vesk_instances_new()};
    const vesk::changes_ptr changes{fresh ? vesk_changes_new(fresh.get()) : nullptr};
    if (!changes) throw std::bad_alloc{};
    vesk_instances *old = vesk::exchange_running(fresh.get()); // validators may look at it already
    vesk::set_loading(true);
    try {
        load_instances(contents, *fresh, *changes);
        complete_singletons(*fresh, *changes);
        if (changes->incomplete) throw std::bad_alloc{};
    } catch (...) {
        vesk::set_loading(false);
        vesk::exchange_running(old);
        throw;
    }
    vesk::set_loading(false);
    vesk_instances_delete_all(old);
    vesk_providers_commit(fresh.release(), changes.get(), nullptr);
}

int copy_startup_to_running(const vesk::config_paths &files)
{
    config_contents contents;
    bool is_read = read_config(files.startup, contents);
    if (!is_read) {
        vesk_debug_eprintf("Unable to parse startup config - resetting to default.\n");
        if (keep_unreadable(files.startup, files.startup_bad)) {
            vesk_config_copy_default_to_startup();
            is_read = read_config(files.startup, contents);
        }
    }
    if (!is_read) return vesk::error("Unable to read the default either.");
    load(contents);
    return 0;
}

} // namespace

int vesk_config_copy_startup_to_running(void)
{
    return vesk::or_on_oom(1, [] { return copy_startup_to_running(vesk::paths()); });
}
