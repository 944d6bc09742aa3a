#ifndef VESK_MODEL_SHARING_H
#define VESK_MODEL_SHARING_H

#include "model/instances.h"

namespace vesk {

// A shared copy is a deep copy of a collection, its base, that takes an instance when one of the
// two sides changes it, or when it hands it out. It costs what is touched, whatever there is. The
// base is never a shared copy itself. When memory runs out where it cannot be told, the copy is
// marked as broken.

/** Begins a shared copy of instances, which must be untouched if it is one itself. */
void begin_sharing(vesk_instances &copy, vesk_instances &instances);

/** Whether a collection can be shared: it is no shared copy, or one that is untouched. */
bool can_be_shared(const vesk_instances &instances);

/** Ends it; the copy is to be empty. */
void end_sharing(vesk_instances &copy) noexcept;

/** The copy's own store for a store of its base. Throws. */
vesk_instances_class &copy_of_store(vesk_instances &copy, vesk_instances_class &base);

/** The copy's own slots for all classes, in their order. Throws. */
void own_class_order(vesk_instances &copy);

/** Makes a store of a copy, or all of it, independent of its base. Throws. */
void detach(vesk_instances_class &store);
void detach_all(vesk_instances &copy);

// What is called before a collection changes, so that its shared copies keep what was. The first
// ones throw; then the change must not be made. A removal cannot be refused, since who removes an
// instance goes on to free it: a copy for which memory does not suffice is broken then.

void before_value(vesk_instances_class &store, uint32_t place);
void before_addition(vesk_instances_class &store);
void before_new_class(vesk_instances &instances);
void before_removal(vesk_instances_class &store, uint32_t place) noexcept;
void before_emptying(vesk_instances_class &store) noexcept;

/**
 * Makes a shared copy the owner of everything, and leaves its base with what the copy had replaced
 * or removed, to be freed. Throws before anything has changed.
 */
void take_over_base(vesk_instances &copy);

} // namespace vesk

#endif
