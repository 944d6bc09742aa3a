#ifndef VESK_MODEL_ITERATOR_H
#define VESK_MODEL_ITERATOR_H

#include <memory>

#include "model/instances.h"

/**
 * Stands on the instance to be returned next; no instance is left when current is null. It is known
 * to its collection, which moves it on before that instance or its class goes away.
 */
struct vesk_instances_iterator {
    const vesk_instances *collection = nullptr;
    vesk_instances_class *store = nullptr; // of the class being walked
    vesk_instance *current = nullptr;
    vesk::instance_node *node = nullptr;   // current's, unless it is a singleton
    vesk::instance_group *group = nullptr; // current's, while all groups are walked
    bool one_name = false;                 // confined to one name of one class
    bool all_classes = false;
    const vesk_class *abstract_class = nullptr; // whose subclasses are being walked
    vesk::name_map<vesk_class>::iterator next_subclass;
    vesk_instances_iterator *next = nullptr;
    vesk_instances_iterator *previous = nullptr;
};

namespace vesk {

/** The checks of the exported storage operations; each logs what is missing. */
bool is_given(const vesk_instances_class *store);
bool are_given(const vesk_instances_class *store, const vesk_instance *instance,
               const char *function);
bool can_copy(const vesk_instances_class *from, const vesk_instances_class *to);
bool is_walking(const vesk_instances_iterator *iterator);

inline void stand_on(vesk_instances_iterator &iterator, instance_node *node)
{
    iterator.node = node;
    iterator.current = node ? node->instance : nullptr;
}

/** Moves every iterator that stands on this place (no node: a singleton's) on to the next one. */
void leave_place(const vesk_instances_class &store, const instance_node *node);

/**
 * The place of an instance in a list, null when it is not there. Those that iterators of the store
 * have just left are looked at first, and the ends of the list: whoever deletes while walking finds
 * each at once, however long the list is.
 */
instance_node *find_node(const vesk_instances_class &store, const linked<instance_node> &list,
                         const vesk_instance *instance);

/** Moves every iterator that walks this store on to the next class. */
void leave_store(const vesk_instances_class &store);

/** Ends every iterator of a collection that goes away. */
void leave_collection(const vesk_instances &instances);

struct delete_iterator {
    void operator()(vesk_instances_iterator *i) const { vesk_instances_delete_iterator(i); }
};
using iterator_ptr = std::unique_ptr<vesk_instances_iterator, delete_iterator>;

/** vesk_instances_new_group_iterator() that throws std::bad_alloc; null when it is refused. */
iterator_ptr group_iterator(const vesk_instances *instances, const char *class_name,
                            const char *group_name);

/** A class iterator that needs no memory; an unknown class has no instances. */
class class_walk {
  public:
    class_walk(const vesk_instances *instances, const char *class_name);
    ~class_walk();
    class_walk(const class_walk &) = delete;
    class_walk &operator=(const class_walk &) = delete;

    /** The next instance, null at the end. */
    vesk_instance *next();
    bool is_at_end() const { return !iterator_.current; }

  private:
    vesk_instances_iterator iterator_;
};

/** Calls visit(instance) for what is left; a null iterator has nothing. */
template <typename Visit> void walk(const iterator_ptr &iterator, Visit &&visit)
{
    while (iterator && iterator->current)
        visit(*vesk_instances_iterator_next(iterator.get()));
}

} // namespace vesk

#endif
