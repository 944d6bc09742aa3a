#ifndef VESK_PIPELINE_REFRESHER_H
#define VESK_PIPELINE_REFRESHER_H

#include "base/name_map.h"
#include "vesk/refresher.h"

namespace vesk {

struct refreshed_property {
    vesk_refresher_property_fn call;
};

} // namespace vesk

struct vesk_refresher {
    const char *class_name;
    vesk_refresher_pre_refresh_fn pre_refresh = nullptr;
    vesk_refresher_instance_fn instance_fn = nullptr;
    vesk::owned_map<vesk::refreshed_property> property_fns{4};
};

#endif
