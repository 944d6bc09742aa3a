#ifndef VESK_MODEL_CLASS_H
#define VESK_MODEL_CLASS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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
    std::vector<vesk_property *> in_order;     // the same
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
        for (const vesk_property *property : cls.superclass->in_order)
            visit(*property);
    for (const vesk_property *property : cls.in_order)
        visit(*property);
}

/** How many for_each_property() visits. */
inline size_t count_properties(const vesk_class &cls)
{
    return cls.in_order.size() + (cls.superclass ? cls.superclass->in_order.size() : 0);
}

/** vesk_class_get_property() without checks. */
const vesk_property *find_property(const vesk_class &cls, const char *name);

/**
 * A property's number for the instances of one class, by which they keep their values: its
 * position, and in the lowest bit whether it is the class's own. It stays the same whatever is
 * added later.
 */
using slot_id = uint16_t;
constexpr unsigned no_slot = 0x10000;
constexpr size_t max_properties = 0x8000; // of a class, its superclass's not counted

/** The slot of a property that find_property() gave for the class. */
inline slot_id slot_of(const vesk_class &cls, const vesk_property &property)
{
    const bool is_own =
        property.position < cls.in_order.size() && cls.in_order[property.position] == &property;
    return static_cast<slot_id>(property.position << 1 | (is_own ? 1 : 0));
}

/** The slot of the property of that name, or no_slot. */
unsigned find_slot(const vesk_class &cls, const char *name);

inline const vesk_property &property_at(const vesk_class &cls, slot_id slot)
{
    return *(slot & 1 ? cls : *cls.superclass).in_order[slot >> 1];
}

} // namespace vesk

#endif
