/*
 * Interfaces: an abstract class whose property "type" says which of its subclasses an object is of.
 * A name is unique among all of them. Logs what changed, the least that a provider can do.
 */
#include "define.h"

DEFINE_VALIDATOR(is_address, vesk_input_is_ip)
DEFINE_VALIDATOR(is_state, vesk_input_is_on_off)
DEFINE_VALIDATOR(is_mtu, vesk_input_is_int_in_range, 68, 9000)

static void changed(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)
{
    (void)info;
    vesk_debug_1printf("Interface %s is %s.\n", vesk_instance_get_name(after ? after : before),
                       !after    ? "gone"
                       : !before ? "new"
                                 : "changed");
}

static vesk_class *define_subclass(const char *name)
{
    vesk_class *cls = define_class(name, VESK_CLASS_UNIQUE_NAMED);
    vesk_class_set_superclass(cls, "interface");
    return cls;
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *interface = define_class("interface", VESK_CLASS_UNIQUE_NAMED);
    vesk_class_set_abstract(interface, 1);
    vesk_class_set_subclass_identifier(interface, vesk_property_new("type"));
    define_property(interface, "address", is_address);
    define_property(interface, "state", is_state);
    vesk_classes_add(interface);

    vesk_class *ethernet = define_subclass("ethernet");
    define_property(ethernet, "mtu", is_mtu);
    vesk_classes_add(ethernet);

    vesk_class *bridge = define_subclass("bridge");
    define_property(bridge, "stp", is_state);
    vesk_classes_add(bridge);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_instance_change_fn(committer, "interface", changed, 1);
    define_provider("interface", committer, NULL);
}
