#include "vesk/config.h"

#include "config/running.h"

#include <utility>

#include "base/never_destroyed.h"
#include "base/or_on_oom.h"
#include "config/paths.h"
#include "core/log.h"
#include "model/sharing.h"
#include "vesk/instances.h"

namespace {

vesk_instances *running = nullptr;
bool loading = false;

/** Makes a collection that shares with another one stand alone. False without memory. */
bool is_independent(vesk_instances &instances)
{
    return vesk::or_on_oom(false, [&] {
        if (instances.base && instances.base == running)
            vesk::take_over_base(instances);
        else if (instances.base)
            vesk::detach_all(instances);
        return true;
    });
}

} // namespace

namespace vesk {

config_paths &paths()
{
    static never_destroyed<config_paths> all;
    return *all;
}

bool is_loading()
{
    return loading;
}

void set_loading(bool now)
{
    loading = now;
}

vesk_instances *exchange_running(vesk_instances *instances)
{
    return std::exchange(running, instances);
}

} // namespace vesk

vesk_instances *vesk_config_get_running(void)
{
    return running;
}

vesk_instances *vesk_config_replace_running(vesk_instances *instances)
{
    if (!instances || instances == running) return running;
    if (loading) {
        vesk_debug_eprintf("Configuration is being loaded: not replacing it.\n");
        vesk_instances_delete_all(instances); // it was handed over
        return running;
    }
    if (!is_independent(*instances)) {
        vesk_debug_eprintf("No memory to replace the running configuration.\n");
        vesk_instances_delete_all(instances);
        return running;
    }
    vesk_instances_delete_all(std::exchange(running, instances));
    return running;
}
