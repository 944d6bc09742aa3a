/*
 * Access lists: entries that share a name form one list. Writes a file for each list that changed
 * and removes that of a list which has no entry left.
 */
#include <stdio.h>
#include <unistd.h>

#include "define.h"

DEFINE_VALIDATOR(is_mac, vesk_input_is_mac)

static int is_policy(const char *value)
{
    static const char *const policies[] = {"allow", "deny", NULL};
    return vesk_input_is_string_in_array(value, (int)strlen(value), policies);
}

static void write_list(vesk_instances *after, const char *class_name, const char *list,
                       vesk_commit_info *info)
{
    (void)info;
    char path[128];
    snprintf(path, sizeof path, "/etc/access-%s.conf", list);
    vesk_instances_iterator *entries = vesk_instances_new_group_iterator(after, class_name, list);
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

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *access_list = define_class("access_list", VESK_CLASS_GROUP_NAMED);
    vesk_property_set_required_on_insert(define_property(access_list, "mac", is_mac), 1);
    define_property(access_list, "policy", is_policy);
    vesk_classes_add(access_list);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_group_change_fn(committer, "access_list", write_list);
    define_provider("access_list", committer, NULL);
}
