#include "vesk/changes.h"

#include "pipeline/changes.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/iterator.h"

// A collection and an instance have one listener each. A change set that finds one there keeps it
// and puts it back at its end, so that change sets nest: while a request is being answered, a
// refresh may write values through a request of its own. What is added and removed meanwhile goes
// on to the outer one, which must know what there is and must not refer to what is gone; values do
// not.

namespace {

using vesk::instance_record;

vesk::linked<vesk_changes> &live()
{
    static vesk::linked<vesk_changes> all;
    return all;
}

void instance_set(vesk_instance *instance, const char *property, void *data)
{
    auto &changes = *static_cast<vesk_changes *>(data);
    if (vesk_changes_instance_updated(&changes, instance) != 0 ||
        vesk_changes_add_property(&changes, instance, property) != 0)
        changes.incomplete = true;
}

void collection_changed(vesk_instance *instance, int event, void *data)
{
    auto &changes = *static_cast<vesk_changes *>(data);
    switch (event) {
    case 0:
        if (vesk_changes_instance_inserted(&changes, instance) != 0) changes.incomplete = true;
        break;
    case 1:
        if (vesk_changes_instance_deleted(&changes, instance) != 0) changes.incomplete = true;
        break;
    default:
        vesk_debug_eprintf("instances_changed() for vesk_changes: Unidentified action request.\n");
        return;
    }
    if (changes.outer.listener == collection_changed)
        changes.outer.listener(instance, event, changes.outer.data);
}

bool is_ours(const vesk::instance_hook &hook, const vesk_changes *changes)
{
    return hook.listener == instance_set && hook.data == changes;
}

bool is_ours(const vesk::instances_hook &hook, const vesk_changes *changes)
{
    return hook.listener == collection_changed && hook.data == changes;
}

/** Pairs every instance with its copy: both collections are in the same order. */
void record_all(vesk_changes &changes)
{
    const vesk::iterator_ptr copies{vesk_instances_new_iterator(changes.before.get())};
    if (!copies) throw std::bad_alloc{};
    vesk::for_each_instance(*changes.after, [&](const vesk_instance &instance) {
        auto record = std::make_unique<instance_record>();
        record->before = vesk_instances_iterator_next(copies.get());
        record->outer = instance.hook;
        changes.records.insert(&instance, record);
    });
}

/** From here on nothing can fail. */
void attach(vesk_changes &changes)
{
    vesk::for_each_instance(*changes.after, [&](vesk_instance &instance) {
        vesk_instance_set_listener(&instance, instance_set, &changes);
    });
    changes.outer = changes.after->hook;
    vesk_instances_set_listener(changes.after, collection_changed, &changes);
    live().append(&changes);
}

/** A change set that was made later keeps what is put back now, instead of what goes away. */
void hand_over_to(vesk_changes &later, vesk_changes &ending)
{
    if (is_ours(later.outer, &ending)) later.outer = ending.outer;
    vesk::for_each_instance(*later.after, [&](vesk_instance &instance) {
        instance_record *record = later.records.get(&instance);
        if (!record || !is_ours(record->outer, &ending)) return;
        const instance_record *kept = ending.records.get(&instance);
        record->outer = kept ? kept->outer : vesk::instance_hook{};
    });
}

void detach(vesk_changes &changes)
{
    if (!changes.after) return;
    live().unlink(&changes);
    vesk::for_each_instance(*changes.after, [&](vesk_instance &instance) {
        if (!is_ours(instance.hook, &changes)) return;
        const instance_record *record = changes.records.get(&instance);
        instance.hook = record ? record->outer : vesk::instance_hook{};
    });
    if (is_ours(changes.after->hook, &changes)) changes.after->hook = changes.outer;
    for (vesk_changes *other = live().first; other; other = other->next)
        if (other->after == changes.after) hand_over_to(*other, changes);
}

/** Records every property that has a value as set. Throws std::bad_alloc. */
void record_values(instance_record &record, const vesk_instance &instance)
{
    vesk::for_each_property(*instance.cls, [&](const vesk_property &property) {
        if (!instance.values.get(property.name.c_str())) return;
        if (!record.properties) record.properties = std::make_unique<vesk::name_set>(4);
        record.properties->insert(property.name.c_str());
    });
}

} // namespace

vesk_changes *vesk_changes_new(vesk_instances *after)
{
    if (!after) {
        vesk_debug_printf("%s: Null after.\n", "vesk_changes_new");
        return nullptr;
    }
    return vesk::or_on_oom<vesk_changes *>(nullptr, [&] {
        auto changes = std::make_unique<vesk_changes>();
        changes->before.reset(vesk::copy_whole(*after));
        changes->changed.reset(new vesk_instances);
        changes->deleted.reset(new vesk_instances);
        changes->after = after;
        record_all(*changes);
        attach(*changes);
        return changes.release();
    });
}

int vesk_changes_instance_updated(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return 1;
    instance_record *record = changes->records.get(instance);
    if (!record || record->changed) return 0;
    if (vesk_instances_add(changes->changed.get(), instance) != 0) return 1;
    record->changed = true;
    return 0;
}

int vesk_changes_instance_inserted(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return 1;
    if (changes->records.get(instance)) return 0;
    return vesk::or_on_oom(1, [&] {
        auto record = std::make_unique<instance_record>();
        record->changed = true;
        record_values(*record, *instance);
        if (vesk_instances_add(changes->changed.get(), instance) != 0) return 1;
        try {
            changes->records.insert(instance, record);
        } catch (...) {
            vesk_instances_remove(changes->changed.get(), instance);
            throw;
        }
        return 0;
    });
}

int vesk_changes_instance_deleted(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return 1;
    const instance_record *record = changes->records.get(instance);
    if (!record) return 0;
    // What may fail comes first. One that was inserted meanwhile has no copy, which the log notes.
    if (vesk_instances_add(changes->deleted.get(), record->before) != 0 && record->before) return 1;
    if (record->changed) vesk_instances_remove(changes->changed.get(), instance);
    if (is_ours(instance->hook, changes)) instance->hook = record->outer;
    changes->records.remove(instance);
    return 0;
}

int vesk_changes_add_property(vesk_changes *changes, vesk_instance *instance, const char *property)
{
    if (!changes || !instance || !property) return 1;
    instance_record *record = changes->records.get(instance);
    if (!record) return 0;
    return vesk::or_on_oom(1, [&] {
        if (!record->properties) record->properties = std::make_unique<vesk::name_set>(4);
        record->properties->insert(property);
        return 0;
    });
}

vesk_instances *vesk_changes_get_before(vesk_changes *changes)
{
    return changes ? changes->before.get() : nullptr;
}

vesk_instances_iterator *vesk_changes_new_class_instances_iterator(vesk_changes *changes,
                                                                   const char *class_name)
{
    if (!changes) return nullptr;
    return vesk_instances_new_class_iterator(changes->changed.get(), class_name);
}

vesk_instances_iterator *vesk_changes_new_deleted_class_instances_iterator(vesk_changes *changes,
                                                                           const char *class_name)
{
    if (!changes) return nullptr;
    return vesk_instances_new_class_iterator(changes->deleted.get(), class_name);
}

vesk_instance *vesk_changes_get_instance_before(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return nullptr;
    const instance_record *record = changes->records.get(instance);
    return record ? record->before : nullptr;
}

int vesk_changes_contains_class(vesk_changes *changes, const char *class_name)
{
    if (!changes || !class_name) return 0;
    return !vesk::class_walk{changes->changed.get(), class_name}.is_at_end() ||
           !vesk::class_walk{changes->deleted.get(), class_name}.is_at_end();
}

int vesk_changes_contains_instance(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return 0;
    const instance_record *record = changes->records.get(instance);
    return record && record->changed;
}

int vesk_changes_contains_property(vesk_changes *changes, vesk_instance *instance,
                                   const char *property)
{
    if (!changes || !instance || !property) return 0;
    const instance_record *record = changes->records.get(instance);
    return record && record->properties && record->properties->contains(property);
}

void vesk_changes_print(vesk_changes *changes, FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    if (!changes) {
        std::fputs("Null changes.\n", stream);
        return;
    }
    std::fputs("Changed (updated or inserted) instances:\n", stream);
    vesk_instances_print(changes->changed.get(), stream);
    std::fputs("\nDeleted instances:\n", stream);
    vesk_instances_print(changes->deleted.get(), stream);
    std::fputc('\n', stream);
}

void vesk_changes_delete(vesk_changes *changes)
{
    if (!changes) return;
    detach(*changes);
    delete changes;
}
