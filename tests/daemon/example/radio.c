/*
 * Radios, each with a name: the settings of a wireless interface. Writes them into the file from
 * which the access-point software would read them, and reports a radio that goes up or down.
 */
#include <stdio.h>
#include <unistd.h>

#include "define.h"

#define RADIO_FILE "/etc/radios.conf"
#define DOMAIN 1 /* the regulatory domain that the device was made for */

DEFINE_VALIDATOR(is_ssid, vesk_input_is_ssid)
DEFINE_VALIDATOR(is_band, vesk_input_is_mode)
DEFINE_VALIDATOR(is_state, vesk_input_is_on_off)
DEFINE_VALIDATOR(is_channel, vesk_input_is_positive_int)
DEFINE_VALIDATOR(is_passphrase, vesk_input_is_passphrase)
DEFINE_VALIDATOR(is_power, vesk_input_is_percent)

static int is_mode(const char *value)
{
    static const char *const modes[] = {"ap", "station", "monitor", NULL};
    return vesk_input_is_string_in_array(value, (int)strlen(value), modes);
}

static int is_rate(const char *value)
{
    const int length = (int)strlen(value);
    return vesk_input_is_g_rate(value, length) || vesk_input_is_a_rate(value, length);
}

/* A channel must be one of the radio's band; before the band is set, of any. */
static int may_have_channel(vesk_instance *radio, const char *value)
{
    const char *band = vesk_instance_get_value(radio, "band");
    const int length = (int)strlen(value);
    if (!band)
        return vesk_input_is_a_channel(value, length, DOMAIN) ||
               vesk_input_is_g_channel(value, length, DOMAIN);
    return vesk_input_is_channel(value, length, strncmp(band, "bg", 2) == 0 ? "g" : "a", DOMAIN);
}

static void write_radio(FILE *file, vesk_instance *radio)
{
    static const char *const settings[] = {"ssid", "mode",  "band",  "channel",
                                           "rate", "power", "state", NULL};
    fprintf(file, "[%s]\n", vesk_instance_get_name(radio));
    for (const char *const *setting = settings; *setting; ++setting) {
        const char *value = vesk_instance_get_value(radio, *setting);
        if (value) fprintf(file, "%s=%s\n", *setting, value);
    }
}

static void write_radios(vesk_instances *after)
{
    FILE *file = fopen(RADIO_FILE ".new", "w");
    if (!file) {
        vesk_debug_perror("radio fopen");
        return;
    }
    vesk_instances_iterator *radios = vesk_instances_new_class_iterator(after, "radio");
    while (vesk_instances_iterator_has_next(radios))
        write_radio(file, vesk_instances_iterator_next(radios));
    vesk_instances_delete_iterator(radios);
    if (fclose(file) != 0 || rename(RADIO_FILE ".new", RADIO_FILE) != 0)
        vesk_debug_perror("radio rename");
}

/* However many radios a commit changes, the file is written once. */
static void radio_changed(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)
{
    (void)after;
    (void)before;
    vesk_actions *actions = vesk_commit_info_get_actions(info);
    if (vesk_actions_exists(actions, "radio", "write", NULL, NULL)) return;
    vesk_actions_add(actions, "radio", "write", NULL, NULL);
    write_radios(vesk_commit_info_get_after(info));
}

static void radio_created(vesk_instance *radio)
{
    vesk_debug_1printf("Radio %s is new.\n", vesk_instance_get_name(radio));
}

static void radio_deleted(vesk_instance *before, vesk_commit_info *info)
{
    (void)info;
    vesk_debug_1printf("Radio %s is gone.\n", vesk_instance_get_name(before));
}

static void state_changed(vesk_instance *radio, const char *property, const char *state,
                          const char *old_state)
{
    if (old_state && strcmp(old_state, state) == 0) return;
    vesk_notify_object_change(vesk_query_origin, "radio", vesk_instance_get_name(radio), property,
                              state);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *radio = define_class("radio", VESK_CLASS_UNIQUE_NAMED);
    define_property(radio, "mode", is_mode);
    define_property(radio, "band", is_band);
    define_property(radio, "rate", is_rate);
    define_property(radio, "power", is_power);
    define_property(radio, "state", is_state);
    vesk_property *channel = define_property(radio, "channel", is_channel);
    vesk_property_set_is_instance_valid_fn(channel, may_have_channel);
    vesk_property_set_required_on_insert(define_property(radio, "ssid", is_ssid), 1);
    vesk_property_set_readable(define_property(radio, "passphrase", is_passphrase), 0);
    vesk_classes_add(radio);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_instance_create_fn(committer, "radio", radio_created);
    vesk_committer_set_instance_delete_fn(committer, "radio", radio_deleted);
    vesk_committer_set_instance_change_fn(committer, "radio", radio_changed, 1);
    vesk_committer_set_property_change_fn(committer, "radio", "state", state_changed);
    define_provider("radio", committer, NULL);
    vesk_providers_order("interface", "radio");
}
