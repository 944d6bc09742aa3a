/*
 * A small data model: the persistent classes "radio" (unique-named, with the property "state", up
 * or down) and "system" (a singleton, with the property "contact"), and a provider that logs each
 * commit. Inform messages: object=save saves running; object=change&name=NAME&state=STATE notifies
 * of a radio.
 */
#include <string.h>

#include <vesk/vesk.h>

/* What the registries refuse stays with its maker, and there is no way to free it. */
static vesk_class *volatile classes[2];
static vesk_provider *volatile providers[1];

static int is_up_or_down(const char *value)
{
    return strcmp(value, "up") == 0 || strcmp(value, "down") == 0;
}

static int is_anything(const char *value)
{
    return value != NULL;
}

static vesk_class *add_class(const char *name, unsigned type, const char *property_name,
                             vesk_property_is_valid_fn is_valid)
{
    vesk_class *cls = vesk_class_new(name);
    vesk_property *property = vesk_property_new(property_name);
    vesk_property_set_is_valid_fn(property, is_valid);
    vesk_class_set_type(cls, type);
    vesk_class_set_persistence(cls, 1);
    vesk_class_add_property(cls, property);
    vesk_classes_add(cls);
    return cls;
}

static void commit(vesk_commit_info *info)
{
    (void)info;
    vesk_debug_printf("Commit.\n");
}

static int save(void)
{
    return vesk_config_copy_running_to_startup();
}

static int change(void)
{
    vesk_notify_object_change(vesk_inform_get_value("origin"), "radio",
                              vesk_inform_get_value("name"), "state",
                              vesk_inform_get_value("state"));
    return 0;
}

void vesk_plugin_init(void)
{
    vesk_provider *provider = vesk_provider_new("radio");
    classes[0] = add_class("radio", VESK_CLASS_UNIQUE_NAMED, "state", is_up_or_down);
    classes[1] = add_class("system", VESK_CLASS_SINGLETON, "contact", is_anything);
    vesk_provider_set_commit_fn(provider, commit, NULL);
    vesk_providers_add(provider);
    providers[0] = provider;
    vesk_inform_fn_add("save", save);
    vesk_inform_fn_add("change", change);
}
