// The audit file: one line for each object that a commit changed, with the time, who asked for it
// and what changed. Secrets are masked. It comes last in the order, when everything is applied, and
// never grows beyond its limit: the older half goes into a second file, the one before is dropped.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common.h"
#include "model.h"

namespace {

constexpr auto audit_file = "/var/log/audit.log";
constexpr auto older_file = "/var/log/audit.log.1";
constexpr auto default_limit = "65536"; // bytes of each of the two

DEFINE_VALIDATOR(is_switch, vesk_input_is_on_off(value, length))
DEFINE_VALIDATOR(is_limit, is_number(value, 1024, 1024 * 1024))

/** In double quotes, so that no text that a client chose can end the line or pass for more of it.
 */
std::string quoted(const char *text)
{
    std::string result = "\"";
    for (; *text; ++text) {
        char escaped[5];
        if (static_cast<unsigned char>(*text) < 0x20 || *text == 0x7f)
            std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(*text));
        else
            std::snprintf(escaped, sizeof escaped, strchr("\"\\", *text) ? "\\%c" : "%c", *text);
        result += escaped;
    }
    return result + '"';
}

/** The concrete persistent classes: what a client sets is there, all else are readings. */
const std::vector<class_facts> &audited_classes()
{
    static const std::vector<class_facts> found = [] {
        std::map<std::string, std::vector<property_facts>> properties;
        std::vector<class_facts> audited;
        for (class_facts &cls : registered_classes()) {
            properties[cls.name] = cls.properties;
            if (cls.persistent && !cls.abstract()) audited.push_back(cls);
        }
        for (class_facts &cls : audited) {
            const std::vector<property_facts> &inherited = properties[cls.superclass];
            cls.properties.insert(cls.properties.begin(), inherited.begin(), inherited.end());
        }
        return audited;
    }();
    return found;
}

/** What is new in an object; or all of one that was inserted or deleted. */
std::string differences(const class_facts &cls, const vesk_instance *before,
                        const vesk_instance *after)
{
    std::string result;
    for (const property_facts &property : cls.properties) {
        const char *old_value = value_of(before, property.name.c_str(), "");
        const char *new_value = value_of(after, property.name.c_str(), "");
        if (!property.persistent || strcmp(old_value, new_value) == 0) continue;
        result += ' ' + property.name + '=';
        if (!property.readable)
            result += "***";
        else if (before && after)
            result += quoted(old_value) + "->" + quoted(new_value);
        else
            result += quoted(after ? new_value : old_value);
    }
    return result;
}

std::string line_start()
{
    char stamp[32];
    tm utc{};
    const time_t now = time(nullptr);
    gmtime_r(&now, &utc);
    strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return std::string{stamp} + " origin=" + (vesk_query_origin ? quoted(vesk_query_origin) : "-");
}

class audit {
  public:
    explicit audit(size_t limit) : limit_{limit} {}

    void note(const class_facts &cls, const vesk_instance *before, const vesk_instance *after)
    {
        const std::string changed = differences(cls, before, after);
        if (before && after && changed.empty()) return;
        const char *name = vesk_instance_get_name(after ? after : before);
        write(line_start() +
              (!before  ? " insert "
               : !after ? " delete "
                        : " update ") +
              cls.name + (name ? ' ' + quoted(name) : "") + changed);
    }

    void write(std::string line)
    {
        struct stat status {};
        line.resize(std::min(line.size(), limit_ - 1));
        line += '\n';
        if (stat(audit_file, &status) == 0 &&
            static_cast<size_t>(status.st_size) + line.size() > limit_)
            rename(audit_file, older_file);
        const int fd =
            open(audit_file, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0 || ::write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            vesk_debug_eprintf("Unable to write %s: %s.\n", audit_file, strerror(errno));
        if (fd >= 0) close(fd);
    }

  private:
    size_t limit_;
};

void note_class(audit &file, const class_facts &cls, vesk_changes *changes)
{
    const char *name = cls.name.c_str();
    vesk_instances_iterator *each =
        vesk_changes_new_deleted_class_instances_iterator(changes, name);
    while (vesk_instances_iterator_has_next(each))
        file.note(cls, vesk_instances_iterator_next(each), nullptr);
    vesk_instances_delete_iterator(each);
    each = vesk_changes_new_class_instances_iterator(changes, name);
    while (vesk_instances_iterator_has_next(each)) {
        vesk_instance *after = vesk_instances_iterator_next(each);
        file.note(cls, vesk_changes_get_instance_before(changes, after), after);
    }
    vesk_instances_delete_iterator(each);
}

/** The start inserts every object there is: one line says so. Nothing was asked for until then. */
void note_all(vesk_commit_info *info)
{
    const vesk_instance *settings =
        vesk_instances_get_singleton(vesk_commit_info_get_after(info), "audit");
    if (strcmp(value_of(settings, "state", "on"), "on") != 0) return;
    audit file{std::stoul(value_of(settings, "limit", default_limit))};
    if (vesk_query_transaction_number == 0) return file.write(line_start() + " start");
    for (const class_facts &cls : audited_classes())
        note_class(file, cls, vesk_commit_info_get_changes(info));
}

/** No exception may pass into the daemon. */
void commit(vesk_commit_info *info)
{
    try {
        note_all(info);
    } catch (const std::bad_alloc &) {
        vesk_debug_eprintf("No memory for the audit.\n");
    }
}

} // namespace

void vesk_plugin_init()
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *cls = define_class("audit", VESK_CLASS_SINGLETON);
    define_property(cls, "state", is_switch);
    define_property(cls, "limit", is_limit);
    vesk_classes_add(cls);

    vesk_provider *provider = vesk_provider_new("audit");
    vesk_provider_set_commit_fn(provider, commit, nullptr);
    vesk_providers_add(provider);
    for (const char *earlier : {"system", "user", "interface", "radio", "ssid", "mac_filter",
                                "dns_server", "dhcp", "radio-write", "dhcp-restart", "schema"})
        vesk_providers_order(earlier, "audit");
}
