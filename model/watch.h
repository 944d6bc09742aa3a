#ifndef VESK_MODEL_WATCH_H
#define VESK_MODEL_WATCH_H

#include <cstdint>

#include "model/instance.h"

namespace vesk {

/**
 * Follows a collection without touching its instances. It stands for a listener on each instance
 * that the collection held when it began: one that was set on an instance later counts instead of
 * it, one that was set before does not until the watch has ended. What is told before a change may
 * throw std::bad_alloc where it says so; then the change is not made.
 */
struct instances_watch {
    vesk_instance_listener listener; // with owner as its data
    bool (*listens_to)(const void *owner, const vesk_instance &instance);
    void (*before_set)(void *owner, vesk_instance &instance, slot_id slot); // throws
    void (*before_adding)(void *owner, vesk_instance &instance);            // throws
    void (*before_removal)(void *owner, vesk_instance &instance) noexcept;
    void (*before_disorder)(void *owner) noexcept; // of something that these calls do not tell
    void (*collection_gone)(void *owner) noexcept;
    void *owner;
    uint64_t since = 0;
    instances_watch *next = nullptr;
    instances_watch *previous = nullptr;
};

/** The order in which listeners were set and watches began. */
uint64_t next_hook_time();

/** Whether any instance was ever given a listener. */
bool has_seen_listeners();

} // namespace vesk

#endif
