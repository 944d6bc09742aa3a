/*
 * The DHCP server: a program that the daemon supervises. Whatever changes in a commit that concerns
 * it, and whoever asks for it, it is restarted once, and only with settings that it accepts.
 */
#include "common.h"

#include <arpa/inet.h>
#include <signal.h>
#include <time.h>

#define SERVICE "dnsmasq"
#define CONFIG_FILE "/etc/dnsmasq.conf"
#define WANTED_FILE "/etc/dnsmasq.conf.wanted"

DEFINE_VALIDATOR(is_switch, vesk_input_is_on_off(value, length))
DEFINE_VALIDATOR(is_interface, is_plain_name(value, 15))
DEFINE_VALIDATOR(is_lease_time, is_number(value, 120, 7 * 24 * 3600))
DEFINE_VALIDATOR(is_mac, vesk_input_is_mac(value, length))

static unsigned long position_of(const char *address)
{
    struct in_addr binary = {0};
    inet_pton(AF_INET, address, &binary);
    return ntohl(binary.s_addr);
}

/* The end of a range must not lie before its start, whichever of them is set. */
static int may_start(vesk_instance *dhcp, const char *start)
{
    const char *end = vesk_instance_get_value(dhcp, "range_end");
    return !end || position_of(start) <= position_of(end);
}

static int may_end(vesk_instance *dhcp, const char *end)
{
    const char *start = vesk_instance_get_value(dhcp, "range_start");
    return !start || position_of(start) <= position_of(end);
}

/* A host is told its name, so that has to be one. */
static int has_host_name(vesk_instance *host, const char *mac)
{
    const char *name = vesk_instance_get_name(host);
    (void)mac;
    return vesk_input_is_domain_label(name, (int)strlen(name));
}

/* ---------------------------------------------------------------------------------- The settings
 */

static void write_host(vesk_instance *host, void *file)
{
    fprintf(file, "dhcp-host=%s,%s,%s\n", value_of(host, "mac", ""), value_of(host, "address", ""),
            vesk_instance_get_name(host));
}

static void write_name_server(vesk_instance *server, void *file)
{
    const char *address = value_of(server, "address", "");
    if (is_ipv4(address)) fprintf(file, ",%s", address);
}

/** Whether there is all that a server needs. */
static int is_wanted(vesk_instance *dhcp)
{
    return is_on(dhcp, "state") && value_of(dhcp, "interface", NULL) &&
           value_of(dhcp, "range_start", NULL) && value_of(dhcp, "range_end", NULL);
}

/** Whether there is a user for the server to become; in some containers there is none but root. */
static int has_users(void)
{
    char line[80];
    FILE *file = fopen("/proc/self/uid_map", "r");
    if (!file) return 1;
    const char *count = fgets(line, sizeof line, file) ? strrchr(line, ' ') : NULL;
    fclose(file);
    return !count || number_of(count) != 1;
}

/** Writes the settings and has the server itself check them; 0 when they are in place. */
static int write_settings(vesk_instances *after, vesk_instance *dhcp)
{
    FILE *file = replacement_open(WANTED_FILE, 0644);
    if (!file) return 1;
    fprintf(file, "interface=%s\nbind-dynamic\nno-hosts\n", value_of(dhcp, "interface", ""));
    fprintf(file, "dhcp-range=%s,%s,%s\n", value_of(dhcp, "range_start", ""),
            value_of(dhcp, "range_end", ""), value_of(dhcp, "lease_time", "3600"));
    fprintf(file, "domain=%s\n", value_of(dhcp, "domain", "lan"));
    fputs("dhcp-option=option:dns-server,0.0.0.0", file); /* this device, then the others */
    for_each(after, "dns_server", write_name_server, file);
    fputc('\n', file);
    for_each(after, "dhcp_host", write_host, file);
    if (!has_users()) fputs("user=\ngroup=\n", file);
    fputs("dhcp-leasefile=/var/run/dnsmasq.leases\nlog-facility=/var/log/dnsmasq.log\npid-file=\n",
          file);
    return replacement_finish(file, WANTED_FILE) != 0 ||
           RUN("dnsmasq", "--test", "--conf-file=" WANTED_FILE) != 0 ||
           rename(WANTED_FILE, CONFIG_FILE) != 0;
}

/* ----------------------------------------------------------------------------------- The service
 */

static void exited(void *data);

/* The callback goes with a service that was stopped, so it is set again with each start. */
static void start(void)
{
    vesk_service_set_exited_fn(SERVICE, exited, NULL);
    vesk_service_execl(SERVICE, "dnsmasq", "--keep-in-foreground", "--conf-file=" CONFIG_FILE,
                       (char *)NULL);
}

static void stop(void)
{
    if (vesk_service_stop(SERVICE, SIGTERM, 2000000) < 0)
        vesk_service_stop(SERVICE, SIGKILL, 1000000);
}

/* A server that was left behind when the daemon was killed would answer beside the new one. */
static void end_leftover(void)
{
    const struct timespec moment = {0, 10000000};
    const int pid = vesk_util_findpid("(dnsmasq)");
    if (pid <= 1 || vesk_process_no_actions || kill(pid, SIGTERM) != 0) return;
    for (int i = 0; i < 100 && kill(pid, 0) == 0; ++i)
        nanosleep(&moment, NULL);
}

/* Also called for one that was stopped on purpose. */
static void exited(void *data)
{
    (void)data;
    if (vesk_service_is_running(SERVICE)) return;
    if (is_wanted(vesk_instances_get_singleton(vesk_config_get_running(), "dhcp"))) start();
}

static void changed(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)
{
    (void)after;
    (void)before;
    ask_for(info, "dhcp", "restart");
}

/* A provider of its own, which comes after all that may ask. */
static void restart_if_asked(vesk_commit_info *info)
{
    vesk_instances *after = vesk_commit_info_get_after(info);
    if (!is_asked_for(info, "dhcp", "restart")) return;
    vesk_instance *dhcp = vesk_instances_get_singleton(after, "dhcp");
    if (is_wanted(dhcp) && write_settings(after, dhcp) != 0) return; /* the old ones stay in use */
    if (vesk_query_transaction_number == 0) end_leftover();          /* the start of the daemon */
    stop();
    if (is_wanted(dhcp)) start();
}

static void define_classes(void)
{
    vesk_class *dhcp = define_class("dhcp", VESK_CLASS_SINGLETON);
    define_property(dhcp, "state", is_switch);
    define_property(dhcp, "interface", is_interface);
    define_property(dhcp, "lease_time", is_lease_time);
    define_property(dhcp, "domain", is_domain);
    vesk_property *range_start = define_property(dhcp, "range_start", is_ipv4);
    vesk_property *range_end = define_property(dhcp, "range_end", is_ipv4);
    vesk_property_set_is_instance_valid_fn(range_start, may_start);
    vesk_property_set_is_instance_valid_fn(range_end, may_end);
    vesk_classes_add(dhcp);

    vesk_class *dhcp_host = define_class("dhcp_host", VESK_CLASS_UNIQUE_NAMED);
    vesk_property *mac = define_required(dhcp_host, "mac", is_mac);
    vesk_property_set_is_instance_valid_fn(mac, has_host_name);
    define_required(dhcp_host, "address", is_ipv4);
    vesk_classes_add(dhcp_host);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    define_classes();
    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_instance_change_fn(committer, "dhcp", changed, 0);
    vesk_committer_set_instance_change_fn(committer, "dhcp_host", changed, 1);
    define_provider("dhcp", committer, NULL);

    vesk_provider *restarter = vesk_provider_new("dhcp-restart");
    vesk_provider_set_commit_fn(restarter, restart_if_asked, NULL);
    vesk_providers_add(restarter);
    vesk_providers_order("interface", "dhcp-restart");
    vesk_providers_order("dns_server", "dhcp-restart");
    vesk_providers_order("dhcp", "dhcp-restart");
}
