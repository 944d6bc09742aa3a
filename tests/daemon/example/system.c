/*
 * The one object "system": host name and description, which are saved, and the load of the device,
 * which is read from the kernel when a request asks for it. Other programs tell it to save.
 */
#include <stdio.h>

#include "define.h"

DEFINE_VALIDATOR(is_host_name, vesk_input_is_domain_label)

static int is_description(const char *value)
{
    return strlen(value) <= 64;
}

static void host_name_changed(vesk_instance *system, const char *property, const char *name,
                              const char *old_name)
{
    (void)system;
    (void)property;
    if (old_name && strcmp(old_name, name) == 0) return;
    FILE *file = fopen("/etc/hostname", "w");
    if (!file) return;
    fprintf(file, "%s\n", name);
    fclose(file);
}

/* The kernel's file is a text table already: one line, its columns separated by spaces. */
static void read_load(void *path, char *buffer, int size)
{
    FILE *file = fopen(path, "r");
    if (!file) return;
    if (!fgets(buffer, size, file)) *buffer = '\0';
    fclose(file);
}

static const char *load_columns[] = {"load1", "load5", "load15", "tasks", "", NULL};
static vesk_txt_table load = {0,        read_load,   "/proc/loadavg", vesk_util_put2object,
                              "system", load_columns};
static vesk_txt_table *const tables[] = {&load, NULL};

static const char *reading(vesk_instance *system, const char *property, vesk_refresh_info *info)
{
    (void)info;
    return vesk_util_txt_tables_get_val(system, tables, property);
}

static int save(void)
{
    return vesk_config_copy_running_to_startup();
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *system = define_class("system", VESK_CLASS_SINGLETON);
    define_property(system, "hostname", is_host_name);
    define_property(system, "description", is_description);
    vesk_util_txt_tables_add_properties(tables, system);
    vesk_classes_add(system);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_property_change_fn(committer, "system", "hostname", host_name_changed);
    vesk_refresher *refresher = vesk_refresher_new("system");
    vesk_util_txt_tables_add_refresh(tables, refresher, reading);
    define_provider("system", committer, refresher);
    vesk_inform_fn_add("save", save);
}
