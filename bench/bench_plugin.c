/*
 * The data model of the benchmarks: five unique-named, persistent classes obj0 to obj4 with the
 * properties p0 to p9, which take anything, and one provider with a committer that is told of every
 * instance and does nothing. The inform message "object=trim" gives free memory back to the system,
 * so that what is resident is what is in use.
 */
#include <malloc.h>
#include <stdio.h>

#include <vesk/vesk.h>

enum { class_count = 5, property_count = 10 };

/* What the registries keep is theirs; the record of the plug-in is ours. */
static vesk_plugin *volatile self;
static vesk_committer *committer;

static int is_anything(const char *value)
{
    return value != NULL;
}

static void add_property(vesk_class *cls, int number)
{
    char name[16];
    vesk_property *property;
    snprintf(name, sizeof name, "p%d", number);
    property = vesk_property_new(name);
    vesk_property_set_is_valid_fn(property, is_anything);
    vesk_class_add_property(cls, property);
}

static void instance_change(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)
{
    (void)after;
    (void)before;
    (void)info;
}

static void add_class(int number)
{
    char name[16];
    vesk_class *cls;
    int i;
    snprintf(name, sizeof name, "obj%d", number);
    cls = vesk_class_new(name);
    vesk_class_set_type(cls, VESK_CLASS_UNIQUE_NAMED);
    vesk_class_set_persistence(cls, 1);
    for (i = 0; i < property_count; i++)
        add_property(cls, i);
    vesk_classes_add(cls);
    vesk_committer_set_instance_change_fn(committer, name, instance_change, 1);
}

static int trim(void)
{
    malloc_trim(0);
    return 0;
}

void vesk_plugin_init(void)
{
    vesk_provider *provider = vesk_provider_new("bench");
    int i;
    self = vesk_plugin_new(VESK_PLUGIN_VERSION);
    committer = vesk_committer_new();
    for (i = 0; i < class_count; i++)
        add_class(i);
    vesk_provider_set_commit_fn(provider, vesk_committer_fn, committer);
    vesk_providers_add(provider);
    vesk_inform_fn_add("trim", trim);
}
