#include "vesk/config.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "base/file.h"
#include "base/or_on_oom.h"
#include "base/text.h"
#include "base/xml.h"
#include "config/paths.h"
#include "config/running.h"
#include "core/log.h"
#include "model/classes.h"
#include "model/instances.h"
#include "model/parking.h"
#include "pipeline/changes.h"
#include "vesk/providers.h"

namespace {

using vesk::instance_ptr;
using vesk::xml_doc;

constexpr int read_attempts = 3;
constexpr timespec attempt_pause = {0, 100'000'000};

/** Reads and parses a file. 0, ENOENT, or another errno; document stays null for bad XML. */
int read_document(const char *path, xml_doc &document)
{
    std::string text;
    if (const int failed = vesk::read_file(path, text)) return failed;
    document = vesk::parse_xml(text, vesk::xml_source::file);
    return 0;
}

/** The same; what may pass, an I/O error or want of memory, is tried again. */
int read_patiently(const char *path, xml_doc &document)
{
    int failed = 0;
    for (int attempt = 0; attempt < read_attempts; ++attempt) {
        if (attempt > 0) nanosleep(&attempt_pause, nullptr);
        failed = vesk::or_on_oom(ENOMEM, [&] { return read_document(path, document); });
        if (failed == 0 || failed == ENOENT) break;
    }
    return failed;
}

/** Parses a configuration file and checks its root; null, with a message, for any other. */
xml_doc parse_config(const char *path)
{
    const auto refused = [](int) { return nullptr; };
    if (!path) return refused(vesk::error("Config filename is null.\n"));
    xml_doc document;
    // A file must not be taken for a bad one, and be replaced, because memory was short.
    if (read_patiently(path, document) == ENOMEM) throw std::bad_alloc{};
    if (!document) return refused(vesk::error("Config not parsed successfully.\n"));
    const xmlNode *root = xmlDocGetRootElement(document.get());
    if (!root) return refused(vesk::error("Empty document.\n"));
    if (!xmlStrEqual(root->name, reinterpret_cast<const xmlChar *>("config")))
        return refused(
            vesk::error("Document of the wrong type: root node is not \"%s\".", "config"));
    return document;
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

void set_property(vesk_instance &instance, const xmlNode &node)
{
    const char *name = vesk::name_of(&node);
    const char *text = vesk::content_of(&node);
    const char *value = text ? text : "";
    const char *class_name = instance.cls->name.c_str();
    if (!vesk::find_property(*instance.cls, name))
        vesk_debug_eprintf("Property \"%s\" is not valid for class \"%s\" - skipping.\n", name,
                           class_name);
    else if (!vesk::set_value(instance, name, value))
        vesk_debug_eprintf(
            "Value \"%s\" is not valid for property \"%s\" of class \"%s\" - skipping.\n", value,
            name, class_name);
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
        const char *name = instance->name.get();
        vesk_debug_eprintf("Couldn't add instance \"%s\" of class \"%s\". Skipping instance.\n",
                           name ? name : "(null)", instance->cls->name.c_str());
        return;
    }
    record_inserted(changes, *instance.release());
}

void load_instance(const xmlDoc &document, const xmlNode &element, vesk_instances &running,
                   vesk_changes &changes)
{
    const char *class_name = vesk_config_get_class_name(&document, &element);
    vesk_class *cls = class_name ? vesk_classes_get(class_name) : nullptr;
    if (!cls) return;
    const char *name = vesk::attribute_of(&element, "name");
    instance_ptr instance{vesk::make_instance(*cls, name)};
    if (!instance) {
        vesk_debug_eprintf("Bad instance name \"%s\" of class \"%s\"- skipping.\n",
                           name ? name : "(null)", class_name);
        return;
    }
    for (const xmlNode *child = element.children; child; child = child->next)
        if (vesk::is_element(child)) set_property(*instance, *child);
    if (is_complete(*instance)) add_to_running(running, changes, std::move(instance));
}

/** Consumes the document: what has been loaded is freed, so that it is not in memory twice. */
void load_instances(xmlDoc &document, vesk_instances &running, vesk_changes &changes)
{
    xmlNode *root = xmlDocGetRootElement(&document);
    while (xmlNode *node = root->children) {
        if (vesk::is_element(node)) load_instance(document, *node, running, changes);
        xmlUnlinkNode(node);
        xmlFreeNode(node);
    }
}

/** Every singleton class has its instance; one that is not persistent starts empty. */
void complete_singletons(vesk_instances &running, vesk_changes &changes)
{
    for (auto [name, cls] : vesk::classes()) {
        if (cls->type != VESK_CLASS_SINGLETON) continue;
        const vesk_instances_class *store = running.classes.get(name);
        vesk_instance *loaded = store ? store->singleton : nullptr;
        if (loaded && cls->persistence) continue;
        if (loaded) {
            vesk_instances_remove(&running, loaded);
            vesk_instance_delete(loaded);
        }
        instance_ptr fresh{vesk::make_instance(*cls, nullptr)};
        if (fresh) add_to_running(running, changes, std::move(fresh));
    }
}

/** Loads the document as running and commits it. Without memory running stays what it was:
 * std::bad_alloc. */
void load(xmlDoc &document)
{
    const vesk::busy_scope busy;
    vesk::full_instances_ptr fresh{vesk_instances_new()};
    const vesk::changes_ptr changes{fresh ? vesk_changes_new(fresh.get()) : nullptr};
    if (!changes) throw std::bad_alloc{};
    vesk_instances *old = vesk::exchange_running(fresh.get()); // validators may look at it already
    vesk::set_loading(true);
    try {
        load_instances(document, *fresh, *changes);
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
    xml_doc document = parse_config(files.startup);
    if (!document) {
        vesk_debug_eprintf("Unable to parse startup config - resetting to default.\n");
        if (keep_unreadable(files.startup, files.startup_bad)) {
            vesk_config_copy_default_to_startup();
            document = parse_config(files.startup);
        }
    }
    if (!document) return vesk::error("Unable to read the default either.");
    load(*document);
    return 0;
}

} // namespace

int vesk_config_copy_startup_to_running(void)
{
    return vesk::or_on_oom(1, [] { return copy_startup_to_running(vesk::paths()); });
}
