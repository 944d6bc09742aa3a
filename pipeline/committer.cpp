#include "vesk/committer.h"

#include "pipeline/committer.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/classes.h"
#include "model/iterator.h"
#include "model/parking.h"
#include "pipeline/changes.h"
#include "vesk/commit_info.h"

// Callbacks may insert, remove and change instances of the very class being dispatched, also
// through requests of their own: iterators move on by themselves, and what is deleted stays until
// the commit ends. An instance that a callback deleted is not dispatched further.

namespace {

using vesk::committed_class;

/** The entry of a class, made when there is none, once fill(entry) succeeded on it. 1 without
 * memory. */
template <typename Fill> int fill_entry(vesk_committer &committer, const char *name, Fill &&fill)
{
    return vesk::or_on_oom(1, [&] {
        if (committed_class *known = committer.classes.get(name)) {
            fill(*known);
            return 0;
        }
        auto fresh = std::make_unique<committed_class>();
        fill(*fresh);
        committer.classes.insert(name, fresh);
        return 0;
    });
}

/** The dispatch of one class in one commit. */
struct dispatch {
    vesk_commit_info *info;
    vesk_changes *changes;
    const char *class_name;
    const committed_class &entry;
    vesk::name_set reported_groups{4};

    void report_group(const vesk_instance &instance);
    void dispatch_deleted(vesk_instance &before);
    void dispatch_changed(vesk_instance &instance);
    void dispatch_properties(vesk_instance &instance);
    bool wants_deleted() const
    {
        return entry.change_on_delete || entry.instance_delete || entry.group_change;
    }
    void run();
};

void dispatch::report_group(const vesk_instance &instance)
{
    const char *group = instance.name;
    if (!entry.group_change || !group || reported_groups.contains(group)) return;
    // Without memory to remember it, a group is better reported again than not at all.
    vesk::or_on_oom(0, [&] {
        reported_groups.insert(group);
        return 0;
    });
    vesk_debug_lprintf(5, " Committing class %s, group %s change.\n", class_name, group);
    entry.group_change(vesk_commit_info_get_after(info), class_name, group, info);
}

void dispatch::dispatch_deleted(vesk_instance &before)
{
    report_group(before);
    if (entry.instance_delete) {
        vesk_debug_lprintf(5, " Committing class %s, instance_delete.\n", class_name);
        entry.instance_delete(&before, info);
    }
    if (entry.change_on_delete && entry.instance_change) {
        vesk_debug_lprintf(5, " Committing class %s, instance_change.\n", class_name);
        entry.instance_change(nullptr, &before, info);
    }
}

void dispatch::dispatch_changed(vesk_instance &instance)
{
    report_group(instance);
    if (!vesk_changes_contains_instance(changes, &instance)) return;
    vesk_instance *before = vesk_changes_get_instance_before(changes, &instance);
    if (entry.instance_create && (!vesk_commit_info_get_before(info) || !before)) {
        vesk_debug_lprintf(5, " Committing class %s, instance_create.\n", class_name);
        entry.instance_create(&instance);
    }
    if (!vesk_changes_contains_instance(changes, &instance)) return;
    if (entry.instance_change) {
        vesk_debug_lprintf(5, " Committing class %s, instance_change.\n", class_name);
        entry.instance_change(&instance, before, info);
    }
    dispatch_properties(instance);
}

void dispatch::dispatch_properties(vesk_instance &instance)
{
    for (const auto &change : entry.property_changes) {
        if (!vesk_changes_contains_property(changes, &instance, change.name)) continue;
        vesk_instance *before = vesk_changes_get_instance_before(changes, &instance);
        vesk_debug_lprintf(5, " Committing class %s, property %s.\n", instance.cls->name.c_str(),
                           change.name);
        change.value->call(&instance, change.name, vesk_instance_get_value(&instance, change.name),
                           before ? vesk_instance_get_value(before, change.name) : nullptr);
    }
}

void dispatch::run()
{
    if (wants_deleted()) {
        vesk::instances_walk deleted{&changes->deleted, class_name};
        while (vesk_instance *before = deleted.next())
            dispatch_deleted(*before);
    }
    vesk::instances_walk changed{&changes->changed_instances(), class_name};
    while (vesk_instance *instance = changed.next())
        dispatch_changed(*instance);
}

} // namespace

vesk_committer *vesk_committer_new(void)
{
    return vesk::or_on_oom<vesk_committer *>(nullptr, [] { return new vesk_committer; });
}

int vesk_committer_set_pre_commit_fn(vesk_committer *committer,
                                     vesk_committer_pre_commit_fn pre_commit)
{
    if (!committer) return vesk::fail("Null committer.\n");
    if (!pre_commit) return vesk::fail("Null pre_commit.\n");
    committer->pre_commit = pre_commit;
    return 0;
}

int vesk_committer_set_instance_create_fn(vesk_committer *committer, const char *class_name,
                                          vesk_committer_instance_create_fn instance_create)
{
    if (!committer) return vesk::fail("Null committer.\n");
    if (!class_name) return vesk::fail("Null class.\n");
    if (!instance_create) return vesk::fail("Null instance_create.\n");
    return fill_entry(*committer, class_name,
                      [&](committed_class &entry) { entry.instance_create = instance_create; });
}

int vesk_committer_set_instance_delete_fn(vesk_committer *committer, const char *class_name,
                                          vesk_committer_instance_delete_fn instance_delete)
{
    if (!committer) return vesk::fail("Null committer.\n");
    if (!class_name) return vesk::fail("Null class.\n");
    if (!instance_delete) return vesk::fail("Null instance_delete.\n");
    return fill_entry(*committer, class_name,
                      [&](committed_class &entry) { entry.instance_delete = instance_delete; });
}

int vesk_committer_set_group_change_fn(vesk_committer *committer, const char *class_name,
                                       vesk_committer_group_change_fn group_change)
{
    if (!committer) return vesk::fail("Null committer.\n");
    if (!class_name) return vesk::fail("Null class.\n");
    const vesk_class *cls = vesk_classes_get(class_name);
    if (!cls) return vesk::fail("Unknown class \"%s\".\n", class_name);
    if (cls->type != VESK_CLASS_GROUP_NAMED)
        return vesk::fail("Class \"%s\" is not group-named.\n", class_name);
    if (!group_change) return vesk::fail("Null group_change.\n");
    return fill_entry(*committer, class_name,
                      [&](committed_class &entry) { entry.group_change = group_change; });
}

int vesk_committer_set_instance_change_fn(vesk_committer *committer, const char *class_name,
                                          vesk_committer_instance_change_fn instance_change,
                                          int change_on_delete)
{
    if (!committer) return vesk::fail("Null committer.\n");
    if (!class_name) return vesk::fail("Null class.\n");
    if (!instance_change) return vesk::fail("Null instance_change.\n");
    return fill_entry(*committer, class_name, [&](committed_class &entry) {
        entry.instance_change = instance_change;
        entry.change_on_delete = change_on_delete != 0;
    });
}

int vesk_committer_set_property_change_fn(vesk_committer *committer, const char *class_name,
                                          const char *property,
                                          vesk_committer_property_change_fn property_change)
{
    if (!committer) return vesk::fail("Null committer.\n");
    if (!class_name || !property) return vesk::fail("Null class.\n");
    if (!property_change) return vesk::fail("Null instance_change.\n");
    return fill_entry(*committer, class_name, [&](committed_class &entry) {
        if (vesk::property_change *known = entry.property_changes.get(property)) {
            known->call = property_change;
            return;
        }
        auto fresh =
            std::make_unique<vesk::property_change>(vesk::property_change{property_change});
        entry.property_changes.insert(property, fresh);
    });
}

void vesk_committer_fn(vesk_commit_info *info)
{
    auto *committer = static_cast<vesk_committer *>(vesk_commit_info_get_data(info));
    if (!committer) {
        vesk::fail("vesk_committer_fn called without committer as data.\n");
        return;
    }
    const vesk::busy_scope busy;
    vesk_debug_lprintf(4, " Committer called.\n");
    if (committer->pre_commit) {
        vesk_debug_lprintf(5, " Calling pre_commit.\n");
        committer->pre_commit(info);
    }
    vesk_changes *changes = vesk_commit_info_get_changes(info);
    if (!changes) return;
    for (const auto &entry : committer->classes)
        dispatch{info, changes, entry.name, *entry.value}.run();
}
