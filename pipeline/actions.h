#ifndef VESK_PIPELINE_ACTIONS_H
#define VESK_PIPELINE_ACTIONS_H

#include <memory>

#include "base/name_map.h"
#include "vesk/actions.h"

struct vesk_actions {
    vesk::name_set strings{8};
};

namespace vesk {

struct delete_actions {
    void operator()(vesk_actions *actions) const { vesk_actions_delete(actions); }
};
using actions_ptr = std::unique_ptr<vesk_actions, delete_actions>;

} // namespace vesk

#endif
