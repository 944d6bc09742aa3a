/*
 * The one object "system": host name, time zone and description, which are saved, and the uptime,
 * which is read from the kernel when a request asks for it.
 */
#include "common.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#define ZONES "/usr/share/zoneinfo/"

DEFINE_VALIDATOR(is_host_name, vesk_input_is_domain_label(value, length))
DEFINE_VALIDATOR(is_description, is_text(value, 64))

/** Whether the file is one that the C library can read a time zone from. */
static int is_zone_file(const char *path)
{
    char magic[4] = "";
    FILE *file = fopen(path, "r");
    if (!file) return 0;
    const size_t length = fread(magic, 1, sizeof magic, file);
    fclose(file);
    return length == sizeof magic && memcmp(magic, "TZif", sizeof magic) == 0;
}

static int is_time_zone(const char *value)
{
    char path[128];
    const int length = (int)strlen(value);
    if (length > 64 || !vesk_input_is_string_in_ranges(value, length, "azAZ09__++--//", 7))
        return 0;
    snprintf(path, sizeof path, ZONES "%s", value);
    return is_zone_file(path);
}

static void write_line(const char *path, const char *text)
{
    FILE *file = replacement_open(path, 0644);
    if (!file) return;
    fprintf(file, "%s\n", text);
    replacement_finish(file, path);
}

static void host_name_changed(vesk_instance *system, const char *property, const char *name,
                              const char *old_name)
{
    (void)system;
    (void)property;
    if (old_name && strcmp(old_name, name) == 0) return;
    write_line("/etc/hostname", name);
    if (!vesk_process_no_actions && sethostname(name, strlen(name)) != 0)
        vesk_debug_eprintf("Unable to set the host name: %s.\n", strerror(errno));
}

/* A link cannot be written over, but a new one can be moved over it. */
static void time_zone_changed(vesk_instance *system, const char *property, const char *zone,
                              const char *old_zone)
{
    char path[128];
    (void)system;
    (void)property;
    if (old_zone && strcmp(old_zone, zone) == 0) return;
    write_line("/etc/timezone", zone);
    snprintf(path, sizeof path, ZONES "%s", zone);
    unlink("/etc/localtime.new");
    if (symlink(path, "/etc/localtime.new") != 0 ||
        rename("/etc/localtime.new", "/etc/localtime") != 0)
        vesk_debug_eprintf("Unable to set the time zone: %s.\n", strerror(errno));
}

/* The kernel's file is a text table already: one line, its columns separated by spaces. */
static void read_uptime(void *path, char *buffer, int size)
{
    *buffer = '\0';
    FILE *file = fopen(path, "r");
    if (!file) return;
    if (!fgets(buffer, size, file)) *buffer = '\0';
    fclose(file);
}

static char uptime_file[] = "/proc/uptime";
static const char *uptime_columns[] = {"uptime", "", NULL};
static vesk_txt_table uptime = {0,        read_uptime,   uptime_file, vesk_util_put2object,
                                "system", uptime_columns};
static vesk_txt_table *const tables[] = {&uptime, NULL};

static const char *reading(vesk_instance *system, const char *property, vesk_refresh_info *info)
{
    (void)info;
    return vesk_util_txt_tables_get_val(system, tables, property);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *system = define_class("system", VESK_CLASS_SINGLETON);
    define_property(system, "hostname", is_host_name);
    define_property(system, "time_zone", is_time_zone);
    define_property(system, "description", is_description);
    vesk_util_txt_tables_add_properties(tables, system);
    vesk_classes_add(system);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_property_change_fn(committer, "system", "hostname", host_name_changed);
    vesk_committer_set_property_change_fn(committer, "system", "time_zone", time_zone_changed);
    vesk_refresher *refresher = vesk_refresher_new("system");
    vesk_util_txt_tables_add_refresh(tables, refresher, reading);
    define_provider("system", committer, refresher);
}
