/*
 * The one object "system": host name and description, which are saved, and the time since boot, which
 * is read from the kernel before each request that asks for it. Its inform handler saves.
 */
#include <stdio.h>

#include "define.h"

static int is_host_name(const char *value)
{
    if (!*value || strlen(value) > 63) return 0;
    for (; *value; ++value)
        if (!isalnum((unsigned char)*value) && *value != '-') return 0;
    return 1;
}

static void commit(vesk_commit_info *info)
{
    vesk_instance *before =
        vesk_instances_get_singleton(vesk_commit_info_get_before(info), "system");
    vesk_instance *after = vesk_instances_get_singleton(vesk_commit_info_get_after(info), "system");
    const char *old_name = before ? vesk_instance_get_value(before, "hostname") : NULL;
    const char *name = after ? vesk_instance_get_value(after, "hostname") : NULL;
    if (!name || (old_name && strcmp(old_name, name) == 0)) return;
    FILE *file = fopen("/etc/hostname", "w");
    if (!file) return;
    fprintf(file, "%s\n", name);
    fclose(file);
}

static void refresh(vesk_refresh_info *info)
{
    vesk_instance *system =
        vesk_instances_get_singleton(vesk_refresh_info_get_instances(info), "system");
    if (!vesk_refresh_info_contains_property(info, system, "uptime")) return;
    FILE *file = fopen("/proc/uptime", "r");
    if (!file) return;
    char seconds[32];
    if (fscanf(file, "%31[0-9]", seconds) == 1) vesk_instance_set_value(system, "uptime", seconds);
    fclose(file);
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
    define_property(system, "description", is_text);
    define_reading(system, "uptime");
    vesk_classes_add(system);

    vesk_provider *provider = vesk_provider_new("system");
    vesk_provider_set_commit_fn(provider, commit, NULL);
    vesk_provider_set_refresh_fn(provider, refresh, NULL);
    vesk_providers_add(provider);
    vesk_inform_fn_add("save", save);
}
