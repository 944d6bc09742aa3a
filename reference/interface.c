/*
 * Interfaces: an abstract class whose property "type" says which of its subclasses an object is of.
 * Settings are applied with ip(8); what the kernel knows is read when a request asks for it.
 */
#include "common.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#define LINK(...) RUN("ip", "link", __VA_ARGS__)
#define ADDRESS(...) RUN("ip", "address", __VA_ARGS__)

DEFINE_VALIDATOR(is_prefix, is_number(value, 1, 32))
DEFINE_VALIDATOR(is_mtu, is_number(value, 576, 9000))
DEFINE_VALIDATOR(is_state, vesk_input_is_up_down(value, length))
DEFINE_VALIDATOR(is_switch, vesk_input_is_on_off(value, length))

/* An empty value takes the address away: a request cannot remove a value, only replace it. */
DEFINE_VALIDATOR(is_own_address,
                 !*value || (is_ipv4(value) && *value != '0' && strncmp(value, "127.", 4) != 0 &&
                             number_of(value) < 224))
DEFINE_VALIDATOR(is_bridge, !*value || is_plain_name(value, IFNAMSIZ - 1))

/* The kernel takes names of 15 characters. "all" and "default" are folders of its settings. */
static int has_good_name(vesk_instance *interface, const char *type)
{
    static const char *const reserved[] = {"all", "default", "lo", NULL};
    const char *name = vesk_instance_get_name(interface);
    (void)type;
    return is_plain_name(name, IFNAMSIZ - 1) && !is_one_of(name, reserved);
}

/** Address and prefix of an interface as ip(8) takes them; empty where it has none. */
static void write_network(const vesk_instance *interface, char *buffer, size_t size)
{
    const char *address = value_of(interface, "address", "");
    *buffer = '\0';
    if (*address) snprintf(buffer, size, "%s/%s", address, value_of(interface, "prefix", "24"));
}

static void apply_address(const char *name, const vesk_instance *after, const vesk_instance *before)
{
    char new_network[32];
    char old_network[32];
    write_network(after, new_network, sizeof new_network);
    write_network(before, old_network, sizeof old_network);
    if (!before) ADDRESS("flush", "dev", name, "scope", "global");
    if (strcmp(new_network, old_network) == 0) return;
    if (*old_network) ADDRESS("delete", old_network, "dev", name);
    if (*new_network) ADDRESS("replace", new_network, "dev", name);
}

static void apply_bridge(const char *name, const vesk_instance *after)
{
    const char *bridge = value_of(after, "bridge", "");
    if (*bridge)
        LINK("set", "dev", name, "master", bridge);
    else
        LINK("set", "dev", name, "nomaster");
}

static void apply(const vesk_instance *after, const vesk_instance *before)
{
    const char *name = vesk_instance_get_name(after);
    if (differs(after, before, "mtu")) LINK("set", "dev", name, "mtu", value_of(after, "mtu", ""));
    if (differs(after, before, "bridge")) apply_bridge(name, after);
    if (differs(after, before, "stp"))
        LINK("set", "dev", name, "type", "bridge", "stp_state", is_on(after, "stp") ? "1" : "0");
    apply_address(name, after, before);
    if (differs(after, before, "state")) LINK("set", "dev", name, value_of(after, "state", ""));
}

/** The hardware stays when its object goes; it is left without settings. */
static void release(const vesk_instance *before)
{
    const char *name = vesk_instance_get_name(before);
    ADDRESS("flush", "dev", name, "scope", "global");
    LINK("set", "dev", name, "nomaster", "down");
}

static void interface_changed(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)
{
    (void)info;
    if (after && !vesk_process_no_actions && if_nametoindex(vesk_instance_get_name(after)) == 0)
        vesk_debug_eprintf("There is no interface %s.\n", vesk_instance_get_name(after));
    else if (after)
        apply(after, before);
    else if (strcmp(value_of(before, "type", ""), "bridge") != 0)
        release(before);
}

/* Bridges are ours to make, and come before the interfaces that are to be their ports. */
static void bridge_created(vesk_instance *bridge)
{
    const char *name = vesk_instance_get_name(bridge);
    if (if_nametoindex(name) == 0) LINK("add", "dev", name, "type", "bridge");
}

static void bridge_deleted(vesk_instance *before, vesk_commit_info *info)
{
    (void)info;
    LINK("delete", "dev", vesk_instance_get_name(before), "type", "bridge");
}

/** Makes of a line of the kernel's file one of a text table: columns separated by single spaces. */
static size_t write_row(char *row, size_t size, char *line)
{
    size_t length = 0;
    char *colon = strchr(line, ':');
    if (!colon) return 0; /* a heading */
    *colon = ' ';
    for (char *word = strtok(line, " \n"); word && length < size; word = strtok(NULL, " \n"))
        length += (size_t)snprintf(row + length, size - length, length ? " %s" : "%s", word);
    return length;
}

static void read_counters(void *path, char *buffer, int size)
{
    char line[256];
    char row[256];
    size_t left = (size_t)size;
    FILE *file = fopen(path, "r");
    *buffer = '\0';
    while (file && fgets(line, sizeof line, file)) {
        const size_t length = write_row(row, sizeof row, line);
        if (length == 0 || length + 1 > left) continue;
        snprintf(buffer + ((size_t)size - left), left + 1, "%s\n", row);
        left -= length + 1;
    }
    if (file) fclose(file);
}

static char counter_file[] = "/proc/net/dev";
static const char *columns[] = {"*name",      "rx_bytes",  "rx_packets", "rx_errors", "rx_dropped",
                                "",           "",          "",           "",          "tx_bytes",
                                "tx_packets", "tx_errors", "tx_dropped", NULL};
static vesk_txt_table counters = {0,           read_counters, counter_file, vesk_util_put2object,
                                  "interface", columns};
static vesk_txt_table *const tables[] = {&counters, NULL};

static const char *counter(vesk_instance *interface, const char *property, vesk_refresh_info *info)
{
    (void)info;
    return vesk_util_txt_tables_get_val(interface, tables, property);
}

/** "up" when the interface is switched on and its cable is plugged in. */
static const char *status(vesk_instance *interface, const char *property, vesk_refresh_info *info)
{
    struct ifreq request;
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    (void)property;
    (void)info;
    memset(&request, 0, sizeof request);
    snprintf(request.ifr_name, IFNAMSIZ, "%s", vesk_instance_get_name(interface));
    const int known = fd >= 0 && ioctl(fd, SIOCGIFFLAGS, &request) == 0;
    if (fd >= 0) close(fd);
    return known && request.ifr_flags & IFF_UP && request.ifr_flags & IFF_RUNNING ? "up" : "down";
}

static vesk_class *define_subclass(const char *name)
{
    vesk_class *cls = define_class(name, VESK_CLASS_UNIQUE_NAMED);
    vesk_class_set_superclass(cls, "interface");
    return cls;
}

static void define_classes(void)
{
    vesk_class *interface = define_class("interface", VESK_CLASS_UNIQUE_NAMED);
    vesk_property *type = vesk_property_new("type");
    vesk_property_set_is_instance_valid_fn(type, has_good_name);
    vesk_class_set_abstract(interface, 1);
    vesk_class_set_subclass_identifier(interface, type);
    define_property(interface, "address", is_own_address);
    define_property(interface, "prefix", is_prefix);
    define_property(interface, "mtu", is_mtu);
    define_property(interface, "state", is_state);
    vesk_util_txt_tables_add_properties(tables, interface);
    vesk_property *reading = vesk_property_new("status");
    vesk_property_set_writable(reading, 0);
    vesk_property_set_persistence(reading, 0);
    vesk_class_add_property(interface, reading);
    vesk_classes_add(interface);

    vesk_class *ethernet = define_subclass("ethernet");
    define_property(ethernet, "bridge", is_bridge);
    vesk_classes_add(ethernet);
    vesk_class *wireless = define_subclass("wireless");
    define_property(wireless, "bridge", is_bridge);
    vesk_classes_add(wireless);
    vesk_class *bridge = define_subclass("bridge");
    define_property(bridge, "stp", is_switch);
    vesk_classes_add(bridge);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    define_classes();

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_instance_create_fn(committer, "bridge", bridge_created);
    vesk_committer_set_instance_delete_fn(committer, "bridge", bridge_deleted);
    vesk_committer_set_instance_change_fn(committer, "interface", interface_changed, 1);
    vesk_refresher *refresher = vesk_refresher_new("interface");
    vesk_util_txt_tables_add_refresh(tables, refresher, counter);
    vesk_refresher_set_property_fn(refresher, "status", status);
    define_provider("interface", committer, refresher);
}
