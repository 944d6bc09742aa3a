/*
 * Access lists: entries that share a name form one list. Writes a file for each list that changed and
 * removes that of a list which has no entry left.
 */
#include <stdio.h>
#include <unistd.h>

#include "define.h"

static int is_mac(const char *value)
{
    for (int i = 0; i < 17; ++i)
        if (i % 3 == 2 ? value[i] != ':' : !isxdigit((unsigned char)value[i])) return 0;
    return value[17] == '\0';
}

static int is_policy(const char *value)
{
    static const char *const policies[] = {"allow", "deny", NULL};
    return is_one_of(value, policies);
}

static void write_list(vesk_instances *after, const char *name)
{
    char path[128];
    snprintf(path, sizeof path, "/etc/access-%s.conf", name);
    vesk_instances_iterator *entries =
        vesk_instances_new_group_iterator(after, "access_list", name);
    if (!vesk_instances_iterator_has_next(entries)) unlink(path);
    FILE *file = vesk_instances_iterator_has_next(entries) ? fopen(path, "w") : NULL;
    while (file && vesk_instances_iterator_has_next(entries)) {
        vesk_instance *entry = vesk_instances_iterator_next(entries);
        const char *policy = vesk_instance_get_value(entry, "policy");
        fprintf(file, "%s %s\n", policy ? policy : "allow", vesk_instance_get_value(entry, "mac"));
    }
    if (file) fclose(file);
    vesk_instances_delete_iterator(entries);
}

static void write_lists_of(vesk_instances_iterator *entries, vesk_instances *after)
{
    while (vesk_instances_iterator_has_next(entries))
        write_list(after, vesk_instance_get_name(vesk_instances_iterator_next(entries)));
    vesk_instances_delete_iterator(entries);
}

static void commit(vesk_commit_info *info)
{
    vesk_changes *changes = vesk_commit_info_get_changes(info);
    vesk_instances *after = vesk_commit_info_get_after(info);
    write_lists_of(vesk_changes_new_class_instances_iterator(changes, "access_list"), after);
    write_lists_of(vesk_changes_new_deleted_class_instances_iterator(changes, "access_list"),
                   after);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *access_list = define_class("access_list", VESK_CLASS_GROUP_NAMED);
    vesk_property_set_required_on_insert(define_property(access_list, "mac", is_mac), 1);
    define_property(access_list, "policy", is_policy);
    vesk_classes_add(access_list);

    vesk_provider *provider = vesk_provider_new("access_list");
    vesk_provider_set_commit_fn(provider, commit, NULL);
    vesk_providers_add(provider);
}
