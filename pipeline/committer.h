#ifndef VESK_PIPELINE_COMMITTER_H
#define VESK_PIPELINE_COMMITTER_H

#include "base/name_map.h"
#include "vesk/committer.h"

namespace vesk {

struct property_change {
    vesk_committer_property_change_fn call;
};

/** The callbacks of one class; each may be missing. */
struct committed_class {
    vesk_committer_instance_create_fn instance_create = nullptr;
    vesk_committer_instance_delete_fn instance_delete = nullptr;
    bool change_on_delete = false;
    vesk_committer_group_change_fn group_change = nullptr;
    vesk_committer_instance_change_fn instance_change = nullptr;
    owned_map<property_change> property_changes{1};
};

} // namespace vesk

struct vesk_committer {
    vesk_committer_pre_commit_fn pre_commit = nullptr;
    vesk::owned_map<vesk::committed_class> classes{1};
};

#endif
