#include "model/parking.h"

#include <utility>

#include "model/instance.h"
#include "model/instances.h"

namespace vesk {
namespace {

unsigned busy = 0;
vesk_instance *parked_instances = nullptr;
vesk_instances *parked_collections = nullptr;

/** Whoever takes the instances over may free them before the collection is. */
void give_up(vesk_instances &instances) noexcept
{
    for (const auto &[name, slot] : instances.classes)
        if (slot->store && !instances.has_given_up) give_up_all(*slot->store);
    instances.has_given_up = true;
}

} // namespace

busy_scope::busy_scope() noexcept
{
    ++busy;
}

busy_scope::~busy_scope()
{
    if (--busy > 0) return;
    // Collections first: one that owns no instances may still refer to parked ones.
    while (vesk_instances *instances = parked_collections) {
        parked_collections = instances->next_parked;
        free_instances(instances, instances->parked_with_instances);
    }
    while (vesk_instance *instance = parked_instances) {
        parked_instances = instance->next_parked;
        free_instance(instance);
    }
}

unsigned busy_scope::depth()
{
    return busy;
}

void free_at_once(vesk_instances *instances, bool with_instances) noexcept
{
    const unsigned under_way = std::exchange(busy, 0);
    free_instances(instances, with_instances);
    busy = under_way;
}

void empty_at_once(vesk_instances &instances, bool with_instances) noexcept
{
    const unsigned under_way = std::exchange(busy, 0);
    empty(instances, with_instances);
    busy = under_way;
}

void free_or_park(vesk_instance *instance) noexcept
{
    if (instance->is_guest) forget_guest(*instance);
    if (busy == 0) {
        free_instance(instance);
        return;
    }
    instance->next_parked = std::exchange(parked_instances, instance);
}

void free_or_park(vesk_instances *instances, bool with_instances) noexcept
{
    if (busy == 0) {
        free_instances(instances, with_instances);
        return;
    }
    if (!with_instances) give_up(*instances);
    instances->parked_with_instances = with_instances;
    instances->next_parked = std::exchange(parked_collections, instances);
}

} // namespace vesk
