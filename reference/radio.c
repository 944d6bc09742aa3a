/*
 * Radios, and the file for each of them from which the access-point software reads its settings and
 * those of the networks that it sends. The plug-in of the networks asks for these files too.
 */
#include "common.h"

#include <unistd.h>

#define DOMAINS 3

DEFINE_VALIDATOR(is_domain_index, is_number(value, 0, DOMAINS - 1))
DEFINE_VALIDATOR(is_mode, vesk_input_is_mode(value, length))
DEFINE_VALIDATOR(is_interface, is_plain_name(value, 15))
DEFINE_VALIDATOR(is_power, is_number(value, 0, 100))
DEFINE_VALIDATOR(is_switch, vesk_input_is_on_off(value, length))
DEFINE_VALIDATOR(is_channel, strcmp(value, "auto") == 0 || is_number(value, 1, 255))
DEFINE_VALIDATOR(is_rate, strcmp(value, "auto") == 0 || vesk_input_is_g_rate(value, length) ||
                              vesk_input_is_a_rate(value, length))

/*
 * Channel and rate must be of the mode's band, and the channel one of the regulatory domain. A
 * value is tried with the others that the radio has at that moment; what it does not have yet fits.
 * That holds in whatever order the values come, from a request or a file: a radio that was accepted
 * as a whole is accepted value by value. To change the band, set channel and rate to "auto" first.
 */

static int sends_in(const char *mode, const char *band)
{
    if (!mode) return 1;
    const int is_a =
        strcmp(mode, "a") == 0 || strcmp(mode, "a-n") == 0 || strcmp(mode, "n-only-a") == 0;
    return is_a == (strcmp(band, "a") == 0);
}

static int is_channel_of(const char *channel, const char *band, const char *domain)
{
    const int length = (int)strlen(channel);
    if (domain) return vesk_input_is_channel(channel, length, band, number_of(domain));
    for (int any = 0; any < DOMAINS; ++any)
        if (vesk_input_is_channel(channel, length, band, any)) return 1;
    return 0;
}

static int is_rate_of(const char *rate, const char *band)
{
    const int length = (int)strlen(rate);
    return *band == 'a' ? vesk_input_is_a_rate(rate, length) : vesk_input_is_g_rate(rate, length);
}

/** Whether all four fit, as far as they are set. */
static int fit(const char *mode, const char *domain, const char *channel, const char *rate)
{
    static const char *const bands[] = {"a", "g"};
    for (int i = 0; i < 2; ++i) {
        if (!sends_in(mode, bands[i])) continue;
        if (channel && strcmp(channel, "auto") != 0 && !is_channel_of(channel, bands[i], domain))
            continue;
        if (rate && strcmp(rate, "auto") != 0 && !is_rate_of(rate, bands[i])) continue;
        return 1;
    }
    return 0;
}

static const char *now(vesk_instance *radio, const char *property)
{
    return vesk_instance_get_value(radio, property);
}

static int may_have_mode(vesk_instance *radio, const char *mode)
{
    return has_plain_name(radio, mode) &&
           fit(mode, now(radio, "domain"), now(radio, "channel"), now(radio, "rate"));
}

static int may_have_domain(vesk_instance *radio, const char *domain)
{
    return fit(now(radio, "mode"), domain, now(radio, "channel"), now(radio, "rate"));
}

static int may_have_channel(vesk_instance *radio, const char *channel)
{
    return fit(now(radio, "mode"), now(radio, "domain"), channel, now(radio, "rate"));
}

static int may_have_rate(vesk_instance *radio, const char *rate)
{
    return fit(now(radio, "mode"), now(radio, "domain"), now(radio, "channel"), rate);
}

/* ------------------------------------------------------------------------------------- The files
 */

struct target {
    FILE *file;
    const char *radio;
};

static void write_value(FILE *file, const vesk_instance *instance, const char *property)
{
    const char *value = value_of(instance, property, "");
    if (*value) fprintf(file, "%s=%s\n", property, value);
}

static void write_text(FILE *file, const vesk_instance *instance, const char *property)
{
    fprintf(file, "%s=", property);
    write_quoted(file, value_of(instance, property, ""));
    fputc('\n', file);
}

static void write_network(vesk_instance *ssid, void *data)
{
    static const char *const values[] = {"security", "hidden", "bridge", "filter"};
    const struct target *target = data;
    if (strcmp(value_of(ssid, "radio", ""), target->radio) != 0 || !is_on(ssid, "state")) return;
    const char *security = value_of(ssid, "security", "");
    const char *key = strcmp(security, "wep") == 0   ? "wep_key"
                      : strcmp(security, "wpa") == 0 ? "passphrase"
                                                     : NULL;
    if (key && !vesk_instance_get_value(ssid, key)) {
        vesk_debug_eprintf("Network %s has no %s and stays off.\n", vesk_instance_get_name(ssid),
                           key);
        return;
    }
    fprintf(target->file, "\n[network %s]\n", vesk_instance_get_name(ssid));
    write_text(target->file, ssid, "ssid");
    for (size_t i = 0; i < sizeof values / sizeof *values; ++i)
        write_value(target->file, ssid, values[i]);
    if (key) write_text(target->file, ssid, key);
}

static const char *path_of(const vesk_instance *radio)
{
    static char path[80];
    snprintf(path, sizeof path, "/etc/access-point/%s.conf", vesk_instance_get_name(radio));
    return path;
}

static void write_radio(vesk_instance *radio, void *after)
{
    static const char *const values[] = {"interface", "mode",  "domain", "channel",
                                         "rate",      "power", "state"};
    const char *path = path_of(radio);
    struct target target = {replacement_open(path, 0600), vesk_instance_get_name(radio)};
    if (!target.file) return;
    fputs("# Written by vesk from its configuration.\n", target.file);
    for (size_t i = 0; i < sizeof values / sizeof *values; ++i)
        write_value(target.file, radio, values[i]);
    for_each(after, "ssid", write_network, &target);
    replacement_finish(target.file, path);
}

static void radio_changed(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)
{
    if (!after) unlink(path_of(before));
    ask_for(info, "radio", "write");
}

/* Comes behind all that may ask: however many objects a commit changes, the files are written once.
 */
static void write_if_asked(vesk_commit_info *info)
{
    vesk_instances *after = vesk_commit_info_get_after(info);
    if (!is_asked_for(info, "radio", "write")) return;
    for_each(after, "radio", write_radio, after);
}

static void define_radio(void)
{
    vesk_class *radio = define_class("radio", VESK_CLASS_UNIQUE_NAMED);
    define_property(radio, "interface", is_interface);
    define_property(radio, "power", is_power);
    define_property(radio, "state", is_switch);
    vesk_property *mode = define_required(radio, "mode", is_mode);
    vesk_property *domain = define_required(radio, "domain", is_domain_index);
    vesk_property *channel = define_property(radio, "channel", is_channel);
    vesk_property *rate = define_property(radio, "rate", is_rate);
    vesk_property_set_is_instance_valid_fn(mode, may_have_mode);
    vesk_property_set_is_instance_valid_fn(domain, may_have_domain);
    vesk_property_set_is_instance_valid_fn(channel, may_have_channel);
    vesk_property_set_is_instance_valid_fn(rate, may_have_rate);
    vesk_classes_add(radio);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    define_radio();
    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_instance_change_fn(committer, "radio", radio_changed, 1);
    define_provider("radio", committer, NULL);

    vesk_provider *writer = vesk_provider_new("radio-write");
    vesk_provider_set_commit_fn(writer, write_if_asked, NULL);
    vesk_providers_add(writer);
    vesk_providers_order("radio", "radio-write");
    vesk_providers_order("ssid", "radio-write");
    vesk_providers_order("interface", "radio");
}
