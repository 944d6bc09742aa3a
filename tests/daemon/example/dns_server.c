/* Name servers: objects without names, in the order in which they are asked. Writes resolv.conf. */
#include <stdio.h>

#include "define.h"

DEFINE_VALIDATOR(is_address, vesk_input_is_ip)

static void write_servers(vesk_commit_info *info)
{
    if (!vesk_changes_contains_class(vesk_commit_info_get_changes(info), "dns_server")) return;
    FILE *file = fopen("/etc/resolv.conf", "w");
    if (!file) {
        vesk_debug_perror("dns_server fopen");
        return;
    }
    vesk_instances_iterator *servers =
        vesk_instances_new_class_iterator(vesk_commit_info_get_after(info), "dns_server");
    while (vesk_instances_iterator_has_next(servers)) {
        vesk_instance *server = vesk_instances_iterator_next(servers);
        fprintf(file, "nameserver %s\n", vesk_instance_get_value(server, "address"));
    }
    vesk_instances_delete_iterator(servers);
    fclose(file);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *dns_server = define_class("dns_server", VESK_CLASS_ANONYMOUS);
    vesk_property_set_required_on_insert(define_property(dns_server, "address", is_address), 1);
    vesk_classes_add(dns_server);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_pre_commit_fn(committer, write_servers);
    define_provider("dns_server", committer, NULL);
}
