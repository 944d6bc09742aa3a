#ifndef VESK_PIPELINE_CHANGES_H
#define VESK_PIPELINE_CHANGES_H

#include "model/instances.h"
#include "vesk/changes.h"

namespace vesk {

/** What is known of one instance of the observed collection. */
struct instance_record {
    bool changed = false;            // updated or inserted
    vesk_instance *before = nullptr; // its copy; null for an inserted one
    std::unique_ptr<name_set> properties;
    instance_hook outer; // what listened to it before
};

} // namespace vesk

struct vesk_changes {
    vesk::own_full_instances_ptr before;
    vesk::own_instances_ptr changed; // refers to instances of after
    vesk::own_instances_ptr deleted; // refers to copies in before
    vesk_instances *after = nullptr;
    vesk::address_map<vesk::instance_record> records{64};
    vesk::instances_hook outer;   // what listened to after before
    bool incomplete = false;      // memory ran out in a listener: the recording misses something
    vesk_changes *next = nullptr; // all change sets that follow a collection
    vesk_changes *previous = nullptr;
};

namespace vesk {

struct delete_changes {
    void operator()(vesk_changes *changes) const { vesk_changes_delete(changes); }
};
using changes_ptr = std::unique_ptr<vesk_changes, delete_changes>;

} // namespace vesk

#endif
