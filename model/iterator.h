#ifndef VESK_MODEL_ITERATOR_H
#define VESK_MODEL_ITERATOR_H

#include <memory>

#include "model/instances.h"

/**
 * Stands on the place of the instance to be returned next; no instance is left when that is
 * no_place. It is known to its collection, which moves it on before that instance or its class goes
 * away.
 */
struct vesk_instances_iterator {
    vesk_instances *collection = nullptr;
    vesk_instances_class *store = nullptr; // of the class being walked
    uint32_t place = vesk::no_place;
    bool one_name = false; // confined to one name of one class
    bool all_classes = false;
    vesk::class_slot *slot = nullptr;           // of store, while all classes are walked
    const vesk_class *abstract_class = nullptr; // whose subclasses are being walked
    vesk::name_map<vesk_class>::iterator next_subclass;
    vesk_instances_iterator *next = nullptr;
    vesk_instances_iterator *previous = nullptr;

    bool is_at_end() const { return place == vesk::no_place; }

    /** What it stands on, to be looked at only: a shared copy need not own it. */
    const vesk_instance &current() const { return *store->at(place); }
};

namespace vesk {

/** The checks of the exported storage operations; each logs what is missing. */
bool is_given(const vesk_instances_class *store);
bool are_given(const vesk_instances_class *store, const vesk_instance *instance,
               const char *function);
bool can_copy(const vesk_instances_class *from, const vesk_instances_class *to);
bool is_walking(const vesk_instances_iterator *iterator);

/** Moves every iterator that stands on this place on to the next one. */
void leave_place(const vesk_instances_class &store, uint32_t place);

/** Moves every iterator that walks this store on to the next class. */
void leave_store(const vesk_instances_class &store);

/** Ends every iterator of a collection that goes away. */
void leave_collection(const vesk_instances &instances);

struct delete_iterator {
    void operator()(vesk_instances_iterator *i) const { vesk_instances_delete_iterator(i); }
};
using iterator_ptr = std::unique_ptr<vesk_instances_iterator, delete_iterator>;

/** An iterator that needs no memory; what is unknown or unfit has no instances. */
class instances_walk {
  public:
    /** Over the instances of a class, or of one name of it. */
    instances_walk(vesk_instances *instances, const char *class_name, const char *name = nullptr);
    ~instances_walk();
    instances_walk(const instances_walk &) = delete;
    instances_walk &operator=(const instances_walk &) = delete;

    bool is_at_end() const { return iterator_.is_at_end(); }

    /** What next() would give, to be looked at only. */
    const vesk_instance &current() const { return iterator_.current(); }

    /** The next instance, null at the end. */
    vesk_instance *next();

    void skip();

  private:
    vesk_instances_iterator iterator_;
};

/**
 * Calls visit(instance) for the instances of a class, or of one name of it, until it gives false.
 * It must not change anything; a shared copy need not own what is visited.
 */
template <typename Visit>
bool look_at_store(const vesk_instances_class *store, const char *name, Visit &&visit)
{
    if (!store) return true;
    uint32_t place = name ? first_of_name(*store, name) : first_place(*store);
    for (; place != no_place;
         place = name ? next_of_name(*store, place) : next_place(*store, place))
        if (!visit(static_cast<const vesk_instance &>(*store->at(place)))) return false;
    return true;
}

template <typename Visit>
void look_at(const vesk_instances &instances, const vesk_class &cls, const char *name,
             Visit &&visit)
{
    if (cls.abstract != 1) {
        look_at_store(store_of(instances, cls.name.c_str()), name, visit);
        return;
    }
    // A name is unique among the subclasses: there is no second one.
    for (auto [subclass_name, subclass] : cls.subclasses)
        if (!look_at_store(store_of(instances, subclass_name), name, visit)) return;
}

} // namespace vesk

#endif
