/*
 * Radios, each with a name: the settings of a wireless interface. The provider writes them into the
 * file from which the access-point software would read them.
 */
#include <stdio.h>

#include "define.h"

#define RADIO_FILE "/etc/radios.conf"

static int is_mode(const char *value)
{
    static const char *const modes[] = {"ap", "station", "monitor", NULL};
    return is_one_of(value, modes);
}

static int is_channel(const char *value)
{
    return is_number_in(value, 1, 165);
}

static int is_ssid(const char *value)
{
    return *value && strlen(value) <= 32;
}

static void write_radio(FILE *file, vesk_instance *radio)
{
    static const char *const settings[] = {"ssid", "mode", "channel", "state", NULL};
    fprintf(file, "[%s]\n", vesk_instance_get_name(radio));
    for (const char *const *setting = settings; *setting; ++setting) {
        const char *value = vesk_instance_get_value(radio, *setting);
        if (value) fprintf(file, "%s=%s\n", *setting, value);
    }
}

/* Tells subscribers which radios have another state now. */
static void report_state(vesk_changes *changes)
{
    vesk_instances_iterator *radios = vesk_changes_new_class_instances_iterator(changes, "radio");
    while (vesk_instances_iterator_has_next(radios)) {
        vesk_instance *radio = vesk_instances_iterator_next(radios);
        const char *state = vesk_instance_get_value(radio, "state");
        if (state && vesk_changes_contains_property(changes, radio, "state"))
            vesk_notify_object_change(vesk_query_origin, "radio", vesk_instance_get_name(radio),
                                      "state", state);
    }
    vesk_instances_delete_iterator(radios);
}

static void commit(vesk_commit_info *info)
{
    vesk_changes *changes = vesk_commit_info_get_changes(info);
    if (!vesk_changes_contains_class(changes, "radio")) return;
    FILE *file = fopen(RADIO_FILE ".new", "w");
    if (!file) {
        vesk_debug_perror("radio fopen");
        return;
    }
    vesk_instances_iterator *radios =
        vesk_instances_new_class_iterator(vesk_commit_info_get_after(info), "radio");
    while (vesk_instances_iterator_has_next(radios))
        write_radio(file, vesk_instances_iterator_next(radios));
    vesk_instances_delete_iterator(radios);
    if (fclose(file) != 0 || rename(RADIO_FILE ".new", RADIO_FILE) != 0)
        vesk_debug_perror("radio rename");
    report_state(changes);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *radio = define_class("radio", VESK_CLASS_UNIQUE_NAMED);
    define_property(radio, "mode", is_mode);
    define_property(radio, "channel", is_channel);
    define_property(radio, "state", is_switch);
    vesk_property_set_required_on_insert(define_property(radio, "ssid", is_ssid), 1);
    vesk_property_set_readable(define_property(radio, "passphrase", is_text), 0);
    vesk_classes_add(radio);

    vesk_provider *provider = vesk_provider_new("radio");
    vesk_provider_set_commit_fn(provider, commit, NULL);
    vesk_providers_add(provider);
    vesk_providers_order("interface", "radio");
}
