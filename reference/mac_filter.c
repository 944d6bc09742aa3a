/*
 * MAC filters: objects that share a name form one list. Each list is a file, which a network names;
 * the file goes with the last entry.
 */
#include "common.h"

#include <unistd.h>

DEFINE_VALIDATOR(is_mac, vesk_input_is_mac(value, length))
DEFINE_VALIDATOR(is_comment, is_text(value, 40))

static int is_policy(const char *value)
{
    static const char *const policies[] = {"allow", "deny", NULL};
    return is_one_of(value, policies);
}

static void write_entries(FILE *file, vesk_instances_iterator *entries)
{
    while (vesk_instances_iterator_has_next(entries)) {
        const vesk_instance *entry = vesk_instances_iterator_next(entries);
        fprintf(file, "%s %s\n", value_of(entry, "policy", "allow"), value_of(entry, "mac", ""));
    }
}

static void list_changed(vesk_instances *after, const char *class_name, const char *list,
                         vesk_commit_info *info)
{
    (void)info;
    char path[80];
    snprintf(path, sizeof path, "/etc/access-point/%s.macs", list);
    vesk_instances_iterator *entries = vesk_instances_new_group_iterator(after, class_name, list);
    if (!vesk_instances_iterator_has_next(entries)) {
        unlink(path);
    } else {
        FILE *file = replacement_open(path, 0644);
        if (file) write_entries(file, entries);
        if (file) replacement_finish(file, path);
    }
    vesk_instances_delete_iterator(entries);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *mac_filter = define_class("mac_filter", VESK_CLASS_GROUP_NAMED);
    vesk_property *mac = define_required(mac_filter, "mac", is_mac);
    vesk_property_set_is_instance_valid_fn(mac, has_plain_name);
    define_property(mac_filter, "policy", is_policy);
    define_property(mac_filter, "comment", is_comment);
    vesk_classes_add(mac_filter);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_group_change_fn(committer, "mac_filter", list_changed);
    define_provider("mac_filter", committer, NULL);
}
