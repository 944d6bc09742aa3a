#ifndef VESK_MODEL_CLASSES_H
#define VESK_MODEL_CLASSES_H

#include "model/class.h"
#include "vesk/classes.h"

namespace vesk {

/** The classes by name, in the order in which they were added. It refers to them only. */
class class_registry : public name_map<vesk_class> {
  public:
    class_registry() : name_map{64} {}
};

/** The process-wide registry; never destroyed. */
class_registry &classes();

/** Resolves, then validates every class of the registry. */
int done_adding(const class_registry &registry);

} // namespace vesk

struct vesk_classes_iterator {
    vesk::class_registry::iterator next;
};

#endif
