/*
 * The data model of a small access point, with a provider that writes down what it commits and
 * inform messages for what a plug-in may do.
 *
 * Classes, in the order of their registration (persistent but for "status" and "session"):
 *   radio        unique-named: state (up or down, required), ssid (up to 200 bytes), channel (1 to
 *                14), mode (ap or sta, no sta on channel 14), key (8 bytes or more, not readable),
 *                clients (read-only, not saved: the number of refreshes that asked for it), note
 *                (not saved)
 *   system       singleton: contact, load (read-only, not saved: refreshed as "load" by a passive
 *                update)
 *   status       singleton, not saved: message
 *   dns_server   anonymous: address (required, not empty)
 *   access_list  group-named: mac (required, not empty), comment
 *   session      unique-named, not saved: user
 *   interface    abstract, its subclasses told by kind: ethernet with mtu (digits), bridge with stp
 *                (on or off)
 *
 * Each commit appends one line to /tmp/commits: of each class in the order of registration, a
 * "created CLASS NAME PROPERTY..." or "changed CLASS NAME PROPERTY..." per instance and a
 * "deleted CLASS NAME" per deleted one, joined by "; ". "-" stands for no name.
 */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vesk/vesk.h>

/* What the registries refuse stays with its maker, and there is no way to free it. */
static vesk_class *volatile classes[9];
static vesk_provider *volatile provider;
static unsigned refreshes;

/* ---- Values ---------------------------------------------------------------------------------- */

static int is_anything(const char *value)
{
    return value != NULL;
}

static int is_not_empty(const char *value)
{
    return *value != '\0';
}

static int is_up_or_down(const char *value)
{
    return strcmp(value, "up") == 0 || strcmp(value, "down") == 0;
}

static int is_on_or_off(const char *value)
{
    return strcmp(value, "on") == 0 || strcmp(value, "off") == 0;
}

static int is_ssid(const char *value)
{
    return strlen(value) <= 200;
}

static int is_digits(const char *value)
{
    return *value != '\0' && value[strspn(value, "0123456789")] == '\0';
}

static int is_channel(const char *value)
{
    return is_digits(value) && strlen(value) <= 2 && atoi(value) >= 1 && atoi(value) <= 14;
}

static int is_mode(const char *value)
{
    return strcmp(value, "ap") == 0 || strcmp(value, "sta") == 0;
}

static int is_mode_of(vesk_instance *radio, const char *value)
{
    const char *channel = vesk_instance_get_value(radio, "channel");
    return strcmp(value, "sta") != 0 || channel == NULL || strcmp(channel, "14") != 0;
}

static int is_key(const char *value)
{
    return strlen(value) >= 8;
}

/* ---- Classes --------------------------------------------------------------------------------- */

static vesk_class *add_class(const char *name, unsigned type, int persistence)
{
    static unsigned count;
    vesk_class *cls = vesk_class_new(name);
    vesk_class_set_type(cls, type);
    vesk_class_set_persistence(cls, persistence);
    vesk_classes_add(cls);
    classes[count++] = cls;
    return cls;
}

static vesk_property *add_property(vesk_class *cls, const char *name,
                                   vesk_property_is_valid_fn is_valid)
{
    vesk_property *property = vesk_property_new(name);
    vesk_property_set_is_valid_fn(property, is_valid);
    vesk_class_add_property(cls, property);
    return property;
}

static void add_live_property(vesk_class *cls, const char *name)
{
    vesk_property *property = add_property(cls, name, is_anything);
    vesk_property_set_writable(property, 0);
    vesk_property_set_persistence(property, 0);
}

static void add_radio(void)
{
    vesk_class *radio = add_class("radio", VESK_CLASS_UNIQUE_NAMED, 1);
    vesk_property_set_required_on_insert(add_property(radio, "state", is_up_or_down), 1);
    add_property(radio, "ssid", is_ssid);
    add_property(radio, "channel", is_channel);
    vesk_property_set_is_instance_valid_fn(add_property(radio, "mode", is_mode), is_mode_of);
    vesk_property_set_readable(add_property(radio, "key", is_key), 0);
    add_live_property(radio, "clients");
    vesk_property_set_persistence(add_property(radio, "note", is_anything), 0);
}

static void add_interfaces(void)
{
    vesk_class *interface = add_class("interface", VESK_CLASS_UNIQUE_NAMED, 1);
    vesk_class *ethernet = add_class("ethernet", VESK_CLASS_UNIQUE_NAMED, 1);
    vesk_class *bridge = add_class("bridge", VESK_CLASS_UNIQUE_NAMED, 1);
    vesk_class_set_abstract(interface, 1);
    vesk_class_set_subclass_identifier(interface, vesk_property_new("kind"));
    vesk_class_set_superclass(ethernet, "interface");
    add_property(ethernet, "mtu", is_digits);
    vesk_class_set_superclass(bridge, "interface");
    add_property(bridge, "stp", is_on_or_off);
}

static void add_classes(void)
{
    vesk_class *cls;
    add_radio();
    cls = add_class("system", VESK_CLASS_SINGLETON, 1);
    add_property(cls, "contact", is_anything);
    add_live_property(cls, "load");
    cls = add_class("status", VESK_CLASS_SINGLETON, 0);
    add_property(cls, "message", is_anything);
    cls = add_class("dns_server", VESK_CLASS_ANONYMOUS, 1);
    vesk_property_set_required_on_insert(add_property(cls, "address", is_not_empty), 1);
    cls = add_class("access_list", VESK_CLASS_GROUP_NAMED, 1);
    vesk_property_set_required_on_insert(add_property(cls, "mac", is_not_empty), 1);
    add_property(cls, "comment", is_anything);
    cls = add_class("session", VESK_CLASS_UNIQUE_NAMED, 0);
    add_property(cls, "user", is_anything);
    add_interfaces();
}

/* ---- The provider ---------------------------------------------------------------------------- */

static const char *name_of(const vesk_instance *instance)
{
    const char *name = vesk_instance_get_name(instance);
    return name ? name : "-";
}

static void write_properties(FILE *file, vesk_class *cls, vesk_changes *changes,
                             vesk_instance *instance)
{
    vesk_property_iterator *iterator = vesk_class_new_property_iterator(cls);
    while (vesk_class_property_iterator_has_next(iterator)) {
        /* The type is opaque: its printed line is "Property: NAME" and the flags. */
        char line[128] = "", name[64] = "";
        FILE *stream = fmemopen(line, sizeof line, "w");
        vesk_property_print(vesk_class_property_iterator_next(iterator), stream);
        fclose(stream);
        if (sscanf(line, "Property: %63s", name) == 1 &&
            vesk_changes_contains_property(changes, instance, name))
            fprintf(file, " %s", name);
    }
    vesk_class_delete_property_iterator(iterator);
}

static void write_changed(FILE *file, vesk_class *cls, const char *name, vesk_changes *changes,
                          const char **separator)
{
    vesk_instances_iterator *iterator = vesk_changes_new_class_instances_iterator(changes, name);
    while (vesk_instances_iterator_has_next(iterator)) {
        vesk_instance *instance = vesk_instances_iterator_next(iterator);
        const char *verb =
            vesk_changes_get_instance_before(changes, instance) ? "changed" : "created";
        fprintf(file, "%s%s %s %s", *separator, verb, name, name_of(instance));
        write_properties(file, cls, changes, instance);
        *separator = "; ";
    }
    vesk_instances_delete_iterator(iterator);
}

static void write_deleted(FILE *file, const char *name, vesk_changes *changes,
                          const char **separator)
{
    vesk_instances_iterator *iterator =
        vesk_changes_new_deleted_class_instances_iterator(changes, name);
    while (vesk_instances_iterator_has_next(iterator)) {
        fprintf(file, "%sdeleted %s %s", *separator, name,
                name_of(vesk_instances_iterator_next(iterator)));
        *separator = "; ";
    }
    vesk_instances_delete_iterator(iterator);
}

static void commit(vesk_commit_info *info)
{
    static const char *const names[] = {"radio",       "system",  "status",   "dns_server",
                                        "access_list", "session", "ethernet", "bridge"};
    vesk_changes *changes = vesk_commit_info_get_changes(info);
    const char *separator = "";
    FILE *file = fopen("/tmp/commits", "a");
    if (!file) return;
    for (size_t i = 0; i < sizeof names / sizeof *names; i++) {
        write_changed(file, vesk_classes_get(names[i]), names[i], changes, &separator);
        write_deleted(file, names[i], changes, &separator);
    }
    fputc('\n', file);
    fclose(file);
}

static int refresh_clients(vesk_refresh_info *info)
{
    vesk_instances_iterator *iterator;
    char value[16];
    int wanted = 0;
    snprintf(value, sizeof value, "%u", refreshes + 1);
    iterator = vesk_instances_new_class_iterator(vesk_refresh_info_get_instances(info), "radio");
    while (vesk_instances_iterator_has_next(iterator)) {
        vesk_instance *radio = vesk_instances_iterator_next(iterator);
        if (!vesk_refresh_info_contains_property(info, radio, "clients")) continue;
        vesk_instance_set_value(radio, "clients", value);
        wanted = 1;
    }
    vesk_instances_delete_iterator(iterator);
    return wanted;
}

static void refresh_load(vesk_refresh_info *info)
{
    vesk_instance *system =
        vesk_instances_get_singleton(vesk_refresh_info_get_instances(info), "system");
    if (!system || !vesk_refresh_info_contains_property(info, system, "load")) return;
    free(vesk_query_eval_passive(
        "<lsql><update><system><load>load</load></system></update></lsql>"));
}

static void refresh(vesk_refresh_info *info)
{
    if (refresh_clients(info)) refreshes++;
    refresh_load(info);
}

/* ---- Inform messages ------------------------------------------------------------------------- */

/* Replaces a file by a text, "(null)" for none. */
static void write_file(const char *path, const char *text)
{
    FILE *file = fopen(path, "w");
    if (!file) return;
    fputs(text ? text : "(null)", file);
    fclose(file);
}

/* object=radio: writes the parameter "state" to /tmp/state. */
static int radio(void)
{
    write_file("/tmp/state", vesk_inform_get_value("state"));
    return 0;
}

static int fail(void)
{
    return 1;
}

static int two(void)
{
    return 2;
}

/* object=change: notifies of a change of an object that the parameters name. */
static int change(void)
{
    vesk_notify_object_change(vesk_inform_get_value("origin"), vesk_inform_get_value("class"),
                              vesk_inform_get_value("name"), vesk_inform_get_value("property"),
                              vesk_inform_get_value("value"));
    return 0;
}

/* object=set: sets a value of a radio as a plug-in may, past all XML. */
static int set(void)
{
    return vesk_instance_set_value(
        vesk_instances_get(vesk_config_get_running(), "radio", vesk_inform_get_value("name")),
        vesk_inform_get_value("property"), vesk_inform_get_value("value"));
}

/* object=register: registers the handler "two" under the name in the parameter "name". */
static int register_handler(void)
{
    return vesk_inform_fn_add(vesk_inform_get_value("name"),
                              vesk_inform_get_value("null") ? NULL : two);
}

/* object=eval, object=passive: evaluate the parameter "request"; the result goes to /tmp/result. */
static int eval(void)
{
    char *result = vesk_query_eval(vesk_inform_get_value("request"));
    write_file("/tmp/result", result);
    free(result);
    return 0;
}

static int passive(void)
{
    char *result = vesk_query_eval_passive(vesk_inform_get_value("request"));
    write_file("/tmp/result", result);
    free(result);
    return 0;
}

/* object=number: the transaction number, to /tmp/number. */
static int number(void)
{
    char text[16];
    snprintf(text, sizeof text, "%u", vesk_query_transaction_number);
    write_file("/tmp/number", text);
    return 0;
}

/* object=action: a commit without changes. */
static int action(void)
{
    vesk_query_action("access_point", "restart", "radio", "r0");
    return 0;
}

static int disable(void)
{
    vesk_query_disable_external_updates();
    return 0;
}

/* object=startup: the startup file as a text, to /tmp/startup. */
static int startup(void)
{
    char *text = vesk_config_get_startup_as_xml();
    write_file("/tmp/startup", text);
    free(text);
    return 0;
}

/* object=copy: copies the file in the parameter "from" to that in "to". */
static int copy(void)
{
    vesk_config_cp(vesk_inform_get_value("from"), vesk_inform_get_value("to"));
    return 0;
}

/*
 * object=save_loop: forks a child that saves without end, the contact of the system now "old", now
 * "new", and after each save writes a byte to /tmp/saves. Its process id goes to
 * /tmp/saver. With do=reset or do=rescue the child makes the default or the rescue file the startup
 * file, in turn with a save.
 */
static void close_sockets(void)
{
    struct stat status;
    for (int fd = 0; fd < 1024; fd++)
        if (fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode)) close(fd);
}

static void save_for_ever(const char *what)
{
    vesk_instance *system = vesk_instances_get_singleton(vesk_config_get_running(), "system");
    FILE *saves = fopen("/tmp/saves", "a");
    for (unsigned turn = 0;; turn++) {
        vesk_instance_set_value(system, "contact", turn % 2 ? "old" : "new");
        if (turn % 2 && strcmp(what, "reset") == 0)
            vesk_config_copy_default_to_startup();
        else if (turn % 2 && strcmp(what, "rescue") == 0)
            vesk_config_copy_rescue_to_startup();
        else
            vesk_config_copy_running_to_startup();
        if (saves) fputc('.', saves), fflush(saves);
    }
}

static int save_loop(void)
{
    const char *what = vesk_inform_get_value("do");
    char text[16];
    pid_t pid = fork();
    if (pid == 0) {
        close_sockets(); /* the client waits for the daemon alone to close its connection */
        save_for_ever(what ? what : "save");
    }
    snprintf(text, sizeof text, "%ld", (long)pid);
    write_file("/tmp/saver", text);
    return pid < 0;
}

static void add_handlers(void)
{
    vesk_inform_fn_add("radio", radio);
    vesk_inform_fn_add("fail", fail);
    vesk_inform_fn_add("two", two);
    vesk_inform_fn_add("change", change);
    vesk_inform_fn_add("set", set);
    vesk_inform_fn_add("register", register_handler);
    vesk_inform_fn_add("eval", eval);
    vesk_inform_fn_add("passive", passive);
    vesk_inform_fn_add("number", number);
    vesk_inform_fn_add("action", action);
    vesk_inform_fn_add("disable", disable);
    vesk_inform_fn_add("startup", startup);
    vesk_inform_fn_add("copy", copy);
    vesk_inform_fn_add("save_loop", save_loop);
    /* Running to startup, running to default, default to startup, rescue to startup and to default.
     */
    vesk_inform_fn_add("save", vesk_config_copy_running_to_startup);
    vesk_inform_fn_add("default", vesk_config_copy_running_to_default);
    vesk_inform_fn_add("reset", vesk_config_copy_default_to_startup);
    vesk_inform_fn_add("rescue", vesk_config_copy_rescue_to_startup);
    vesk_inform_fn_add("forget", vesk_config_copy_rescue_to_default);
}

void vesk_plugin_init(void)
{
    add_classes();
    provider = vesk_provider_new("access_point");
    vesk_provider_set_commit_fn(provider, commit, NULL);
    vesk_provider_set_refresh_fn(provider, refresh, NULL);
    vesk_providers_add(provider);
    add_handlers();
}
