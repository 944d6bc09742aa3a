#ifndef VESK_MODEL_INSTANCE_H
#define VESK_MODEL_INSTANCE_H

#include <memory>

#include "model/class.h"
#include "model/values.h"
#include "vesk/instance.h"

namespace vesk {

/** A listener and its data, stored and replaced together. */
struct instance_hook {
    vesk_instance_listener listener = nullptr;
    void *data = nullptr;
};

} // namespace vesk

struct vesk_instance {
    vesk_instance(vesk_class *its_class, const char *its_name);
    vesk_instance(const vesk_instance &other); // without the listener

    vesk_class *cls;
    std::unique_ptr<char[]> name; // null: none
    vesk::value_list values;
    vesk::instance_hook hook;
    vesk_instance *next_parked = nullptr;
};

namespace vesk {

/**
 * The exported operations, with exhausted memory told apart from a refusal: std::bad_alloc. A
 * loader or an evaluation that cannot go on must not mistake it for bad input.
 */
vesk_instance *make_instance(vesk_class &cls, const char *name);              // null: refused
bool set_value(vesk_instance &instance, const char *name, const char *value); // false: refused

struct delete_instance {
    void operator()(vesk_instance *instance) const { vesk_instance_delete(instance); }
};
using instance_ptr = std::unique_ptr<vesk_instance, delete_instance>;

} // namespace vesk

#endif
