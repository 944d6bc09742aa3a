#include "vesk/changes.h"

#include "pipeline/changes.h"

#include <algorithm>
#include <new>

#include "base/never_destroyed.h"
#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/classes.h"
#include "model/iterator.h"
#include "model/sharing.h"

// A change set takes nothing when it is made. It watches the collection, which tells it of every
// change before that is made, and its before is a shared copy, which keeps what is about to change.
// The collection has one listener besides. A change set that finds one there keeps it and puts it
// back at its end, so that change sets nest: while a request is being answered, a refresh may write
// values through a request of its own. What is added and removed meanwhile goes on to the outer
// one, which must know what there is and must not refer to what is gone; values do not.

namespace {

using vesk::instance_record;
using vesk::slot_id;

vesk::linked<vesk_changes> &live()
{
    static vesk::linked<vesk_changes> all;
    return all;
}

vesk_changes &changes_of(void *owner)
{
    return *static_cast<vesk_changes *>(owner);
}

/** The store of after that holds the instance, and its place there; null when none does. */
vesk::membership place_in_after(const vesk_changes &changes, const vesk_instance &instance)
{
    vesk::membership found{nullptr, vesk::no_place};
    vesk::for_each_membership(instance, [&](vesk_instances_class &store, uint32_t place) {
        if (store.collection == changes.after) found = {&store, place};
    });
    return found;
}

instance_record untouched_record()
{
    instance_record record;
    record.was_there = true;
    return record;
}

instance_record inserted_record()
{
    instance_record record;
    record.is_changed = record.all_values = true;
    return record;
}

const instance_record &implied_record(const vesk_changes &changes)
{
    static const vesk::never_destroyed<const instance_record> untouched{untouched_record()};
    static const vesk::never_destroyed<const instance_record> inserted{inserted_record()};
    return changes.all_inserted ? *inserted : *untouched;
}

/** What is recorded of an instance, by itself or implied; null when nothing is. */
const instance_record *find_record(const vesk_changes &changes, const vesk_instance &instance)
{
    if (const instance_record *own = changes.records.get(&instance))
        return own->is_known ? own : nullptr;
    return place_in_after(changes, instance).store ? &implied_record(changes) : nullptr;
}

/** A record of its own, with what was implied; of one that is not known, an unknown one. Throws. */
instance_record &own_record(vesk_changes &changes, const vesk_instance &instance)
{
    if (instance_record *own = changes.records.get(&instance)) return *own;
    auto fresh = std::make_unique<instance_record>();
    fresh->is_known = place_in_after(changes, instance).store != nullptr;
    if (fresh->is_known) *fresh = changes.all_inserted ? inserted_record() : untouched_record();
    instance_record &own = *fresh;
    if (!changes.records.insert(&instance, fresh)) throw std::bad_alloc{}; // never: it had none
    return own;
}

/** Before's instance at the place of one that was there from the beginning. Throws. */
vesk_instance *before_of(vesk_changes &changes, const vesk_instance &instance)
{
    const instance_record *own = changes.records.get(&instance);
    if (own && own->before) return own->before;
    const vesk::membership now = place_in_after(changes, instance);
    if (!now.store) return nullptr;
    auto *store = vesk::own_store_of(changes.before, instance.cls->name.c_str());
    return store && now.place < store->end() && store->at(now.place)
               ? &vesk::own_at(*store, now.place)
               : nullptr;
}

/** Whether everything that the collection holds was told of; else each needs its own record. */
void record_all_inserted(vesk_changes &changes)
{
    if (!changes.all_inserted) return;
    const bool done = vesk::or_on_oom(false, [&] {
        bool complete = true;
        vesk::for_each_instance(*changes.after, [&](vesk_instance &instance) {
            const instance_record &record = own_record(changes, instance);
            if (record.is_known && !vesk::add_instance(changes.changed, instance)) complete = false;
        });
        return complete;
    });
    if (done) {
        changes.all_inserted = false;
        return;
    }
    vesk::empty_at_once(changes.changed, false);
    changes.incomplete = true;
}

bool listens_to(const void *owner, const vesk_instance &instance)
{
    const instance_record *record =
        find_record(*static_cast<const vesk_changes *>(owner), instance);
    return record && record->was_there && !record->has_left;
}

void list_values(instance_record &record, const vesk_instance &instance)
{
    std::vector<slot_id> slots = record.slots;
    slots.insert(slots.end(), instance.slots(), instance.slots() + instance.count);
    record.slots = std::move(slots);
    record.all_values = false;
}

/** A property that gets its first value only now was not set when the instance was inserted. */
void before_set(void *owner, vesk_instance &instance, slot_id slot)
{
    vesk_changes &changes = changes_of(owner);
    const instance_record *record = find_record(changes, instance);
    if (record && record->all_values && !instance.value(slot))
        list_values(own_record(changes, instance), instance);
}

void before_adding(void *owner, vesk_instance &instance)
{
    vesk_changes &changes = changes_of(owner);
    if (!changes.all_inserted) own_record(changes, instance); // unknown until it is told of
}

void before_removal(void *owner, vesk_instance &instance) noexcept
{
    vesk_changes &changes = changes_of(owner);
    const bool done = vesk::or_on_oom(false, [&] {
        instance_record &record = own_record(changes, instance);
        if (record.is_known && record.was_there) record.before = before_of(changes, instance);
        if (record.all_values) list_values(record, instance); // what is set from now on is not told
        record.has_left = true;
        return true;
    });
    if (!done) changes.incomplete = true;
}

void before_disorder(void *owner) noexcept
{
    record_all_inserted(changes_of(owner));
}

void collection_gone(void *owner) noexcept
{
    vesk_changes &changes = changes_of(owner);
    record_all_inserted(changes);
    changes.after = nullptr;
}

void instance_set(vesk_instance *instance, const char *property, void *owner)
{
    vesk_changes &changes = changes_of(owner);
    if (vesk_changes_instance_updated(&changes, instance) != 0 ||
        vesk_changes_add_property(&changes, instance, property) != 0)
        changes.incomplete = true;
}

void collection_changed(vesk_instance *instance, int event, void *owner)
{
    vesk_changes &changes = changes_of(owner);
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

bool is_ours(const vesk::instances_hook &hook, const vesk_changes *changes)
{
    return hook.listener == collection_changed && hook.data == changes;
}

/** A collection that cannot be shared is copied, and every instance paired with its copy. */
void copy_before(vesk_changes &changes)
{
    vesk::copy_all(*changes.after, changes.before);
    std::vector<vesk_instance *> copies;
    vesk::for_each_instance(changes.before, [&](vesk_instance &copy) { copies.push_back(&copy); });
    size_t at = 0;
    vesk::for_each_instance(*changes.after, [&](const vesk_instance &instance) {
        auto record = std::make_unique<instance_record>(untouched_record());
        record->before = copies[at++];
        changes.records.insert(&instance, record);
    });
}

void copy_or_leave_nothing(vesk_changes &changes)
{
    try {
        copy_before(changes);
    } catch (...) {
        vesk::empty_at_once(changes.before, true);
        throw;
    }
}

void detach(vesk_changes &changes)
{
    live().unlink(&changes);
    for (vesk_changes *other = live().first; other; other = other->next)
        if (is_ours(other->outer, &changes)) other->outer = changes.outer;
    if (!changes.after) return;
    changes.after->watches.unlink(&changes.watch);
    if (is_ours(changes.after->hook, &changes)) changes.after->hook = changes.outer;
}

/** Records an instance as inserted that is not known yet. */
int record_inserted(vesk_changes &changes, vesk_instance &instance)
{
    const bool had_record = changes.records.get(&instance) != nullptr;
    instance_record &record = own_record(changes, instance);
    if (!vesk::or_on_oom(false, [&] { return vesk::add_instance(changes.changed, instance); })) {
        if (!had_record) changes.records.remove(&instance);
        return 1;
    }
    record = inserted_record();
    return 0;
}

void forget(vesk_changes &changes, const vesk_instance &instance)
{
    // One that is still in the collection must not be taken for one that was always there.
    if (instance_record *own = changes.records.get(&instance)) {
        *own = instance_record{};
        own->is_known = false;
    }
    if (!place_in_after(changes, instance).store) changes.records.remove(&instance);
}

/** With the property's slot, or no_slot. */
bool is_recorded(const instance_record &record, const vesk_instance &instance, const char *property,
                 unsigned slot)
{
    if (slot == vesk::no_slot) return record.names && record.names->contains(property);
    if (record.all_values && instance.value(slot)) return true;
    return std::find(record.slots.begin(), record.slots.end(), slot) != record.slots.end();
}

void record_property(instance_record &record, const char *property, unsigned slot)
{
    if (slot != vesk::no_slot) {
        record.slots.push_back(static_cast<slot_id>(slot));
        return;
    }
    if (!record.names) record.names = std::make_unique<vesk::name_set>(4);
    record.names->insert(property);
}

} // namespace

namespace vesk {

bool is_unobserved(const vesk_instances &instances)
{
    return !instances.hook.listener && !instances.watches.first && !has_seen_listeners();
}

} // namespace vesk

vesk_changes::vesk_changes(vesk_instances &observed)
    : after{&observed}, watch{instance_set,   listens_to,      before_set,      before_adding,
                              before_removal, before_disorder, collection_gone, this},
      outer{observed.hook}, all_inserted{observed.classes.size() == 0 && !observed.base}
{
    changed.refers = deleted.refers = true;
    if (vesk::can_be_shared(observed))
        vesk::begin_sharing(before, observed);
    else
        copy_or_leave_nothing(*this);
    watch.since = vesk::next_hook_time();
    observed.watches.append(&watch);
    observed.hook = {collection_changed, this};
    live().append(this);
}

vesk_changes::~vesk_changes()
{
    detach(*this);
    vesk::empty_at_once(deleted, false);
    vesk::empty_at_once(changed, false);
    vesk::empty_at_once(before, true);
}

vesk_changes *vesk_changes_new(vesk_instances *after)
{
    if (!after) {
        vesk_debug_printf("%s: Null after.\n", "vesk_changes_new");
        return nullptr;
    }
    return vesk::or_on_oom<vesk_changes *>(nullptr, [&] { return new vesk_changes{*after}; });
}

int vesk_changes_instance_updated(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return 1;
    const instance_record *known = find_record(*changes, *instance);
    if (!known || known->is_changed) return 0;
    return vesk::or_on_oom(1, [&] {
        instance_record &record = own_record(*changes, *instance);
        record.before = before_of(*changes, *instance);
        if (!vesk::add_instance(changes->changed, *instance)) return 1;
        record.is_changed = true;
        return 0;
    });
}

int vesk_changes_instance_inserted(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return 1;
    if (find_record(*changes, *instance)) return 0;
    record_all_inserted(*changes); // this one came by another way
    return vesk::or_on_oom(1, [&] { return record_inserted(*changes, *instance); });
}

int vesk_changes_instance_deleted(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return 1;
    if (!find_record(*changes, *instance)) return 0;
    return vesk::or_on_oom(1, [&] {
        if (place_in_after(*changes, *instance).store) record_all_inserted(*changes);
        instance_record &record = own_record(*changes, *instance);
        if (record.was_there) record.before = before_of(*changes, *instance);
        // What may fail comes first. One that was inserted meanwhile has no copy, which the log
        // notes.
        if (vesk_instances_add(&changes->deleted, record.before) != 0 && record.before) return 1;
        if (record.is_changed && !changes->all_inserted)
            vesk_instances_remove(&changes->changed, instance);
        forget(*changes, *instance);
        return 0;
    });
}

int vesk_changes_add_property(vesk_changes *changes, vesk_instance *instance, const char *property)
{
    if (!changes || !instance || !property) return 1;
    const instance_record *known = find_record(*changes, *instance);
    if (!known) return 0;
    const unsigned slot = vesk::find_slot(*instance->cls, property);
    if (is_recorded(*known, *instance, property, slot)) return 0;
    return vesk::or_on_oom(1, [&] {
        record_property(own_record(*changes, *instance), property, slot);
        return 0;
    });
}

vesk_instances *vesk_changes_get_before(vesk_changes *changes)
{
    return changes ? &changes->before : nullptr;
}

vesk_instances_iterator *vesk_changes_new_class_instances_iterator(vesk_changes *changes,
                                                                   const char *class_name)
{
    if (!changes) return nullptr;
    return vesk_instances_new_class_iterator(&changes->changed_instances(), class_name);
}

vesk_instances_iterator *vesk_changes_new_deleted_class_instances_iterator(vesk_changes *changes,
                                                                           const char *class_name)
{
    if (!changes) return nullptr;
    return vesk_instances_new_class_iterator(&changes->deleted, class_name);
}

vesk_instance *vesk_changes_get_instance_before(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return nullptr;
    const instance_record *record = find_record(*changes, *instance);
    if (!record || !record->was_there) return nullptr;
    return vesk::or_on_oom<vesk_instance *>(nullptr,
                                            [&] { return before_of(*changes, *instance); });
}

int vesk_changes_contains_class(vesk_changes *changes, const char *class_name)
{
    const vesk_class *cls = changes && class_name ? vesk_classes_get(class_name) : nullptr;
    if (!cls) return 0;
    bool found = false;
    const auto notice = [&](const vesk_instance &) { return !(found = true); };
    vesk::look_at(changes->changed_instances(), *cls, nullptr, notice);
    if (!found) vesk::look_at(changes->deleted, *cls, nullptr, notice);
    return found;
}

int vesk_changes_contains_instance(vesk_changes *changes, vesk_instance *instance)
{
    if (!changes || !instance) return 0;
    const instance_record *record = find_record(*changes, *instance);
    return record && record->is_changed;
}

int vesk_changes_contains_property(vesk_changes *changes, vesk_instance *instance,
                                   const char *property)
{
    if (!changes || !instance || !property) return 0;
    const instance_record *record = find_record(*changes, *instance);
    return record &&
           is_recorded(*record, *instance, property, vesk::find_slot(*instance->cls, property));
}

void vesk_changes_print(vesk_changes *changes, FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    if (!changes) {
        std::fputs("Null changes.\n", stream);
        return;
    }
    std::fputs("Changed (updated or inserted) instances:\n", stream);
    vesk_instances_print(&changes->changed_instances(), stream);
    std::fputs("\nDeleted instances:\n", stream);
    vesk_instances_print(&changes->deleted, stream);
    std::fputc('\n', stream);
}

void vesk_changes_delete(vesk_changes *changes)
{
    delete changes;
}
