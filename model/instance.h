#ifndef VESK_MODEL_INSTANCE_H
#define VESK_MODEL_INSTANCE_H

#include <cstdint>
#include <memory>

#include "model/class.h"
#include "vesk/instance.h"

namespace vesk {

/** A listener and its data, stored and replaced together. */
struct instance_hook {
    vesk_instance_listener listener = nullptr;
    void *data = nullptr;
};

/** What an instance needs room for when it is made; more can come later. */
struct instance_room {
    size_t values = 0;
    size_t text_bytes = 0; // of all values, each with its NUL
};

} // namespace vesk

/**
 * One block holds the instance, a table of its values in the order in which they were last set, its
 * name and the texts. A text never moves: what does not fit, or outgrows the text that it replaces,
 * is a block of its own, and only the table is ever made anew.
 */
struct vesk_instance {
    vesk_class *cls = nullptr;
    vesk_instances_class *home = nullptr; // the store that holds it, if any; see model/store.h
    char *name = nullptr;                 // null: none
    char **texts = nullptr;               // of the values; their slots stand behind the last place
    vesk::instance_hook hook;
    uint64_t hooked_at =
        0;                 // which of the listeners that concern it was set last: see model/watch.h
    uint32_t place = 0;    // in home
    uint32_t size = 0;     // of the block
    uint32_t used = 0;     // of the block
    uint16_t count = 0;    // of values
    uint16_t capacity = 0; // of the table
    bool is_guest = false; // in other collections as well
    vesk_instance *next_parked = nullptr;

    vesk_instance() = default;
    vesk_instance(const vesk_instance &) = delete;
    vesk_instance &operator=(const vesk_instance &) = delete;

    vesk::slot_id *slots() const { return reinterpret_cast<vesk::slot_id *>(texts + capacity); }

    /** Where in the table a slot's value is; count when it has none. */
    unsigned find(unsigned slot) const
    {
        const vesk::slot_id *all = slots();
        unsigned at = 0;
        while (at < count && all[at] != slot)
            ++at;
        return at;
    }

    /** The text of a slot's value, or null. */
    const char *value(unsigned slot) const
    {
        unsigned at = 0;
        return value_near(slot, at);
    }

    /** The same; at is where it probably is in the table, and then where it was found. */
    const char *value_near(unsigned slot, unsigned &at) const
    {
        if (at >= count || slots()[at] != slot) at = find(slot);
        return at < count ? texts[at] : nullptr;
    }
};

namespace vesk {

/** A new instance of a fitting class, without any check. Throws std::bad_alloc. */
vesk_instance *new_instance(vesk_class &cls, const char *name, instance_room room);

/** A copy with everything in one block and without the listener. Throws std::bad_alloc. */
vesk_instance *new_copy(const vesk_instance &original);

/** Frees an instance at once. */
void free_instance(vesk_instance *instance) noexcept;

/** Copies text, which may be the old value or part of it, and puts it last. Strong guarantee. */
void put_value(vesk_instance &instance, slot_id slot, const char *text);

/** The text of the value of the property of that name, or null. */
inline const char *value_of(const vesk_instance &instance, const char *property)
{
    return instance.value(find_slot(*instance.cls, property));
}

/** Calls visit(property, text) for the values in order; it must not set any. */
template <typename Visit> void for_each_value(const vesk_instance &instance, Visit &&visit)
{
    for (unsigned i = 0; i < instance.count; ++i)
        visit(property_at(*instance.cls, instance.slots()[i]),
              static_cast<const char *>(instance.texts[i]));
}

/**
 * The exported operations, with exhausted memory told apart from a refusal: std::bad_alloc. A
 * loader or an evaluation that cannot go on must not mistake it for bad input. Who knows what the
 * instance is to hold says so, and spares it blocks of their own.
 */
vesk_instance *make_instance(vesk_class &cls, const char *name); // null: refused
vesk_instance *make_instance(vesk_class &cls, const char *name, instance_room room);
bool set_value(vesk_instance &instance, const char *name, const char *value); // false: refused

/** The same for a property that was found already; name is what it was looked up by. */
bool set_found_value(vesk_instance &instance, const vesk_property &property, const char *name,
                     const char *value);

/** The first property that is required on insert and has no value, or null. */
const vesk_property *missing_property(const vesk_instance &instance);

struct delete_instance {
    void operator()(vesk_instance *instance) const { vesk_instance_delete(instance); }
};
using instance_ptr = std::unique_ptr<vesk_instance, delete_instance>;

} // namespace vesk

#endif
