/*
 * Networks: what a radio sends under a name. Keys can be set, never read. The radio's plug-in
 * writes them into its file; this one only says that it has to.
 */
#include "common.h"

DEFINE_VALIDATOR(is_ssid, vesk_input_is_ssid(value, length))
DEFINE_VALIDATOR(is_passphrase, vesk_input_is_wpa_psk_key(value, length))
DEFINE_VALIDATOR(is_name, is_plain_name(value, 32))
DEFINE_VALIDATOR(is_interface, is_plain_name(value, 15))
DEFINE_VALIDATOR(is_switch, vesk_input_is_on_off(value, length))
DEFINE_VALIDATOR(is_key_length, vesk_input_is_wep_key_length(value, length))

static int is_security(const char *value)
{
    static const char *const kinds[] = {"open", "wep", "wpa", NULL};
    return is_one_of(value, kinds);
}

/** Whether a WEP key, as text or in hexadecimal digits, has so many bits. */
static int has_bits(const char *key, int bits)
{
    const int length = (int)strlen(key);
    return vesk_input_is_wep_key(key, length, bits, 1) ||
           vesk_input_is_wep_key(key, length, bits, 0);
}

DEFINE_VALIDATOR(is_wep_key, has_bits(value, 40) || has_bits(value, 104) || has_bits(value, 128))

/* Key and length must fit, whichever of them comes first. */
static int may_have_key(vesk_instance *ssid, const char *key)
{
    const char *bits = vesk_instance_get_value(ssid, "wep_key_length");
    return !bits || has_bits(key, number_of(bits));
}

static int may_have_length(vesk_instance *ssid, const char *bits)
{
    const char *key = vesk_instance_get_value(ssid, "wep_key");
    return !key || has_bits(key, number_of(bits));
}

static void ssid_changed(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)
{
    (void)after;
    (void)before;
    ask_for(info, "radio", "write");
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *ssid = define_class("ssid", VESK_CLASS_UNIQUE_NAMED);
    vesk_property *text = define_required(ssid, "ssid", is_ssid);
    vesk_property_set_is_instance_valid_fn(text, has_plain_name);
    define_required(ssid, "radio", is_name);
    define_required(ssid, "security", is_security);
    define_secret(ssid, "passphrase", is_passphrase);
    vesk_property *key = define_secret(ssid, "wep_key", is_wep_key);
    vesk_property *bits = define_property(ssid, "wep_key_length", is_key_length);
    vesk_property_set_is_instance_valid_fn(key, may_have_key);
    vesk_property_set_is_instance_valid_fn(bits, may_have_length);
    define_property(ssid, "state", is_switch);
    define_property(ssid, "hidden", is_switch);
    define_property(ssid, "bridge", is_interface);
    define_property(ssid, "filter", is_name);
    vesk_classes_add(ssid);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_instance_change_fn(committer, "ssid", ssid_changed, 1);
    define_provider("ssid", committer, NULL);
}
