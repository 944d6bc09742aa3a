#ifndef VESK_PIPELINE_CHANGES_H
#define VESK_PIPELINE_CHANGES_H

#include <vector>

#include "model/instances.h"
#include "vesk/changes.h"

namespace vesk {

/**
 * What is known of one instance. One without a record of its own that is in the observed collection
 * was there from the beginning and is unchanged or, while everything is inserted, was inserted.
 */
struct instance_record {
    bool is_known = true;    // else it counts as not recorded
    bool was_there = false;  // when the change set was made
    bool has_left = false;   // the collection, if only for a while: its listener is its own again
    bool is_changed = false; // updated or inserted
    bool all_values = false; // what is set are the properties that have a value, and those below
    vesk_instance *before = nullptr; // of one that was there: its copy, once it is needed
    std::vector<slot_id> slots;      // properties that were set
    std::unique_ptr<name_set> names; // names given as such that are none of its class's
};

} // namespace vesk

struct vesk_changes {
    explicit vesk_changes(vesk_instances &observed);
    ~vesk_changes();
    vesk_changes(const vesk_changes &) = delete;
    vesk_changes &operator=(const vesk_changes &) = delete;

    vesk_instances before{8};  // a shared copy of after
    vesk_instances changed{8}; // refers to instances of after; unused while everything is inserted
    vesk_instances deleted{8}; // refers to copies in before
    vesk_instances *after;     // null once it has gone
    vesk::address_map<vesk::instance_record> records{8};
    vesk::instances_watch watch;
    vesk::instances_hook outer;   // what listened to after before
    bool all_inserted;            // after was empty at first, and whatever it holds was inserted
    bool incomplete = false;      // memory ran out in a listener: the recording misses something
    vesk_changes *next = nullptr; // all change sets that follow a collection
    vesk_changes *previous = nullptr;

    /** The updated and inserted instances. */
    vesk_instances &changed_instances() { return all_inserted ? *after : changed; }
};

namespace vesk {

/** Whether nobody listens to a collection, so that a change set that does could not be told from
 * none by anyone but its owner. */
bool is_unobserved(const vesk_instances &instances);

struct delete_changes {
    void operator()(vesk_changes *changes) const { vesk_changes_delete(changes); }
};
using changes_ptr = std::unique_ptr<vesk_changes, delete_changes>;

} // namespace vesk

#endif
