#ifndef VESK_MODEL_PARKING_H
#define VESK_MODEL_PARKING_H

#include "vesk/types.h"

namespace vesk {

/**
 * An evaluation or commit is under way: what is deleted meanwhile is kept until the outermost one
 * ends, so that whoever further out still holds an instance or walks a collection finds it whole. A
 * provider may well evaluate requests of its own that replace the very configuration being
 * committed.
 */
class busy_scope {
  public:
    busy_scope() noexcept;
    ~busy_scope();
    busy_scope(const busy_scope &) = delete;
    busy_scope &operator=(const busy_scope &) = delete;

    /** How many are under way, this one included. */
    static unsigned depth();
};

/** Frees a collection that nobody but its owner can hold, even while something is under way. */
void free_at_once(vesk_instances *instances, bool with_instances) noexcept;

/** The same for one that is part of its owner. */
void empty_at_once(vesk_instances &instances, bool with_instances) noexcept;

/** Frees now, or keeps until the outermost busy_scope ends. Never allocates. */
void free_or_park(vesk_instance *instance) noexcept;
void free_or_park(vesk_instances *instances, bool with_instances) noexcept;

} // namespace vesk

#endif
