#include "vesk/config.h"

#include "config/running.h"

#include <utility>

#include "config/paths.h"
#include "vesk/instances.h"

namespace {

vesk_instances *running = nullptr;

} // namespace

namespace vesk {

config_paths &paths()
{
    static auto &all = *new config_paths;
    return all;
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
    vesk_instances_delete_all(std::exchange(running, instances));
    return running;
}
