/*
 * Classes whose values come from text tables, and a provider that commits and refreshes them.
 *
 * process, unique-named: note (saved); load, state: lines of the environment of the process that an
 *          instance is named after, /proc/NAME/environ
 * peer, unique-named: note (saved); signal, rate: lines of /tmp/peers/NAME/stats
 * lease, anonymous: mac, note (saved); age, host: /tmp/leases, a text table as it is
 *
 * Each reading of a table appends the name of its class to /tmp/fills. The callbacks of each commit
 * append lines to /tmp/calls: "create CLASS NAME", "delete CLASS NAME", "change CLASS NAME" and,
 * for note and the signal of a peer, "property CLASS NAME PROPERTY VALUE was OLD". "-" stands for
 * none.
 */
#include <stdio.h>
#include <string.h>

#include <vesk/vesk.h>

/* What the registries refuse stays with its maker, and there is no way to free it. */
static vesk_class *volatile classes[3];
static vesk_provider *volatile providers[3];
static vesk_refresher *volatile refreshers[3];
static vesk_committer *volatile committer;

static int is_anything(const char *value)
{
    return value != NULL;
}

static void append(const char *path, const char *line)
{
    FILE *file = fopen(path, "a");
    if (!file) return;
    fprintf(file, "%s\n", line);
    fclose(file);
}

/* ---- Tables ---------------------------------------------------------------------------------- */

static const char *process_columns[] = {"name", "load", "state", NULL};
static const char *peer_columns[] = {"*name", "signal", "#rate", NULL};
static const char *lease_columns[] = {"*mac", "age", "", "host", NULL};

static void fill_processes(void *names, char *buffer, int size)
{
    append("/tmp/fills", "process");
    vesk_util_dir_walk("/proc/*/environ", buffer, size, "", vesk_util_add_line_from_proc, names);
}

static void fill_peers(void *names, char *buffer, int size)
{
    append("/tmp/fills", "peer");
    vesk_util_dir_walk("/tmp/peers/*/stats", buffer, size, "", vesk_util_add_line_from_proc, names);
}

static void fill_leases(void *path, char *buffer, int size)
{
    FILE *file = fopen(path, "r");
    append("/tmp/fills", "lease");
    if (!file) return;
    buffer[fread(buffer, 1, (size_t)size - 1, file)] = '\0';
    fclose(file);
}

/* The columns behind the prefix are those of the file. */
static vesk_txt_table process_table = {
    0, fill_processes, process_columns + 1, vesk_util_put2object, "process", process_columns};
static vesk_txt_table peer_table = {0,      fill_peers,  peer_columns + 1, vesk_util_put2object,
                                    "peer", peer_columns};
static vesk_txt_table lease_table = {0,       fill_leases,  "/tmp/leases", vesk_util_put2object,
                                     "lease", lease_columns};

static vesk_txt_table *const process_tables[] = {&process_table, NULL};
static vesk_txt_table *const peer_tables[] = {&peer_table, NULL};
static vesk_txt_table *const lease_tables[] = {&lease_table, NULL};

static const char *process_value(vesk_instance *instance, const char *property,
                                 vesk_refresh_info *info)
{
    (void)info;
    return vesk_util_txt_tables_get_val(instance, process_tables, property);
}

static const char *peer_value(vesk_instance *instance, const char *property,
                              vesk_refresh_info *info)
{
    (void)info;
    return vesk_util_txt_tables_get_val(instance, peer_tables, property);
}

static const char *lease_value(vesk_instance *instance, const char *property,
                               vesk_refresh_info *info)
{
    (void)info;
    return vesk_util_txt_tables_get_val(instance, lease_tables, property);
}

/* ---- Commits --------------------------------------------------------------------------------- */

static const char *or_dash(const char *text)
{
    return text ? text : "-";
}

#define COMMIT_CALLBACKS(cls)                                                                      \
    static void create_##cls(vesk_instance *instance)                                              \
    {                                                                                              \
        call("create " #cls, instance);                                                            \
    }                                                                                              \
    static void delete_##cls(vesk_instance *before, vesk_commit_info *info)                        \
    {                                                                                              \
        (void)info;                                                                                \
        call("delete " #cls, before);                                                              \
    }                                                                                              \
    static void change_##cls(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)  \
    {                                                                                              \
        (void)before;                                                                              \
        (void)info;                                                                                \
        call("change " #cls, after);                                                               \
    }                                                                                              \
    static void property_##cls(vesk_instance *instance, const char *property, const char *value,   \
                               const char *old)                                                    \
    {                                                                                              \
        char line[512];                                                                            \
        snprintf(line, sizeof line, "property " #cls " %s %s %s was %s",                           \
                 or_dash(vesk_instance_get_name(instance)), property, or_dash(value),              \
                 or_dash(old));                                                                    \
        append("/tmp/calls", line);                                                                \
    }                                                                                              \
    static void watch_##cls(void)                                                                  \
    {                                                                                              \
        vesk_committer_set_property_change_fn(committer, #cls, "note", property_##cls);            \
        vesk_committer_set_instance_change_fn(committer, #cls, change_##cls, 0);                   \
        vesk_committer_set_instance_delete_fn(committer, #cls, delete_##cls);                      \
        vesk_committer_set_instance_create_fn(committer, #cls, create_##cls);                      \
    }

static void call(const char *what, vesk_instance *instance)
{
    char line[256];
    snprintf(line, sizeof line, "%s %s", what, or_dash(vesk_instance_get_name(instance)));
    append("/tmp/calls", line);
}

COMMIT_CALLBACKS(process)
COMMIT_CALLBACKS(peer)
COMMIT_CALLBACKS(lease)

/* ---- Start ----------------------------------------------------------------------------------- */

static void add_property(vesk_class *cls, const char *name)
{
    vesk_property *property = vesk_property_new(name);
    vesk_property_set_is_valid_fn(property, is_anything);
    vesk_class_add_property(cls, property);
}

static vesk_class *add_class(int index, const char *name, unsigned type)
{
    vesk_class *cls = vesk_class_new(name);
    vesk_class_set_type(cls, type);
    vesk_class_set_persistence(cls, 1);
    add_property(cls, "note");
    vesk_classes_add(cls);
    classes[index] = cls;
    return cls;
}

/* The first provider commits all classes; each refreshes one. */
static void add_provider(int index, const char *name, vesk_txt_table *const *tables,
                         vesk_refresher_property_fn value)
{
    vesk_provider *provider = vesk_provider_new(name);
    vesk_refresher *refresher = vesk_refresher_new(name);
    vesk_util_txt_tables_add_properties(tables, classes[index]);
    vesk_util_txt_tables_add_refresh(tables, refresher, value);
    vesk_provider_set_refresh_fn(provider, vesk_refresher_fn, refresher);
    if (index == 0) vesk_provider_set_commit_fn(provider, vesk_committer_fn, committer);
    vesk_providers_add(provider);
    refreshers[index] = refresher;
    providers[index] = provider;
}

void vesk_plugin_init(void)
{
    committer = vesk_committer_new();
    add_class(0, "process", VESK_CLASS_UNIQUE_NAMED);
    add_class(1, "peer", VESK_CLASS_UNIQUE_NAMED);
    add_property(add_class(2, "lease", VESK_CLASS_ANONYMOUS), "mac");
    watch_process();
    watch_peer();
    watch_lease();
    vesk_committer_set_property_change_fn(committer, "peer", "signal", property_peer);
    add_provider(0, "process", process_tables, process_value);
    add_provider(1, "peer", peer_tables, peer_value);
    add_provider(2, "lease", lease_tables, lease_value);
}
