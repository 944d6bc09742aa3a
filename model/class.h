#ifndef VESK_MODEL_CLASS_H
#define VESK_MODEL_CLASS_H

#include <optional>
#include <string>

#include "base/name_map.h"
#include "model/property.h"
#include "vesk/class.h"

struct vesk_class {
    explicit vesk_class(const char *class_name, unsigned properties_hint = 8)
        : name{class_name}, properties{properties_hint}
    {
    }

    std::string name;
    std::optional<std::string> superclass_name;
    vesk_class *superclass = nullptr;
    int abstract = -1; // -1 not decided, 0 concrete, 1 abstract
    vesk_property *subclass_identifier = nullptr;
    vesk::name_map<vesk_class> subclasses{16}; // of an abstract class
    int persistence = 0;
    unsigned type = 0;                         // 0 not set, else VESK_CLASS_...
    vesk::owned_map<vesk_property> properties; // its own only
};

struct vesk_property_iterator {
    vesk::name_map<vesk_property>::iterator next;
    const vesk_class *subclass = nullptr; // whose own properties are still to come
};

namespace vesk {

class class_registry;

/** vesk_class_resolve() with the registry in which the superclass is looked up. */
int resolve(vesk_class &cls, const class_registry &registry);

/** Calls visit(property) for the superclass's properties, then the class's own. */
template <typename Visit> void for_each_property(const vesk_class &cls, Visit &&visit)
{
    if (cls.superclass)
        for (auto [name, property] : cls.superclass->properties)
            visit(*property);
    for (auto [name, property] : cls.properties)
        visit(*property);
}

/** vesk_class_get_property() without checks. */
const vesk_property *find_property(const vesk_class &cls, const char *name);

} // namespace vesk

#endif
