/*
 * Name servers: objects without names, in the order in which they are asked. Writes resolv.conf,
 * and asks for a restart of the DHCP server, which tells them to its clients.
 */
#include "common.h"

/* The library's check of IPv6 addresses keeps out those that no name server can have. */
DEFINE_VALIDATOR(is_server, is_ipv4(value) || vesk_input_is_ipv6(value, length))

static void write_server(vesk_instance *server, void *file)
{
    fprintf(file, "nameserver %s\n", value_of(server, "address", ""));
}

static void write_servers(vesk_commit_info *info)
{
    static const char *const path = "/etc/resolv.conf";
    if (!vesk_changes_contains_class(vesk_commit_info_get_changes(info), "dns_server")) return;
    ask_for(info, "dhcp", "restart");
    FILE *file = replacement_open(path, 0644);
    if (!file) return;
    for_each(vesk_commit_info_get_after(info), "dns_server", write_server, file);
    replacement_finish(file, path);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *dns_server = define_class("dns_server", VESK_CLASS_ANONYMOUS);
    define_required(dns_server, "address", is_server);
    vesk_classes_add(dns_server);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_pre_commit_fn(committer, write_servers);
    define_provider("dns_server", committer, NULL);
}
