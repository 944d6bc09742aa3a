#ifndef VESK_TESTS_SUPPORT_COLLECTION_H
#define VESK_TESTS_SUPPORT_COLLECTION_H

#include <string>

#include "model/iterator.h"
#include "tests/support/owned.h"

namespace vesk::test {

/** A collection, and classes of all kinds whose instances are told apart by their value "id". */
class collection_fixture : public fixture {
  protected:
    collection_fixture()
    {
        add_class("system", VESK_CLASS_SINGLETON, {"id"});
        add_class("clock", VESK_CLASS_SINGLETON, {"id"});
        add_class("route", VESK_CLASS_ANONYMOUS, {"id"});
        add_class("rule", VESK_CLASS_ANONYMOUS, {"id"});
        add_class("user", VESK_CLASS_UNIQUE_NAMED, {"id"});
        add_abstract("interface", {"id"});
        add_subclass("ethernet", "interface");
        add_subclass("wireless", "interface");
        add_abstract("tunnel", {"id"});
        add_subclass("ipip", "tunnel");
        add_class("server", VESK_CLASS_GROUP_NAMED, {"id"});
        add_class("host", VESK_CLASS_GROUP_NAMED, {"id"});
        freeze();
    }

    vesk_instances *collection() { return collection_.get(); }

    /** A new instance; its id is its name unless one is given. */
    instance_ptr make_one(const char *class_name, const char *name, const char *id = nullptr)
    {
        return make(class_name, name, {{"id", id ? id : name}});
    }

    /** The same, added to the collection (borrowed). */
    vesk_instance *put(const char *class_name, const char *name, const char *id = nullptr)
    {
        vesk_instance *instance = make_one(class_name, name, id).release();
        EXPECT_EQ(vesk_instances_add(collection(), instance), 0) << logged();
        return instance;
    }

    /** Takes an instance out of the collection, which owned it. */
    instance_ptr take(vesk_instance *instance)
    {
        EXPECT_EQ(vesk_instances_remove(collection(), instance), 0) << logged();
        return instance_ptr{instance};
    }

    /** An instance or two of every concrete class, classes not in the order of their registration.
     */
    void fill()
    {
        put("server", "dns", "dns.1");
        put("wireless", "wlan0");
        put("route", nullptr, "r1");
        put("system", nullptr, "sys");
        put("server", "ntp", "ntp.1");
        put("user", "bob");
        put("user", "ann");
        put("route", nullptr, "r2");
        put("server", "dns", "dns.2");
        put("ethernet", "eth0");
        put("wireless", "wlan1");
    }
    static constexpr const char *filled = "dns.1 dns.2 ntp.1 wlan0 wlan1 r1 r2 sys bob ann eth0";

    /** The ids of what an iterator has left, joined by blanks. */
    static std::string rest_of(vesk_instances_iterator *iterator)
    {
        std::string ids;
        while (vesk_instances_iterator_has_next(iterator) == 1) {
            if (!ids.empty()) ids += ' ';
            ids += vesk_instance_get_value(vesk_instances_iterator_next(iterator), "id");
        }
        EXPECT_FALSE(vesk_instances_iterator_next(iterator));
        return ids;
    }

    static std::string order_of(const vesk_instances *instances)
    {
        return rest_of(iterator_ptr{vesk_instances_new_iterator(instances)}.get());
    }
    std::string order() { return order_of(collection()); }

    iterator_ptr walk_all() { return iterator_ptr{vesk_instances_new_iterator(collection())}; }
    iterator_ptr walk_class(const char *class_name)
    {
        return iterator_ptr{vesk_instances_new_class_iterator(collection(), class_name)};
    }
    iterator_ptr walk_name(const char *class_name, const char *name)
    {
        return iterator_ptr{vesk_instances_new_group_iterator(collection(), class_name, name)};
    }

    /** The id of the next instance, or "end". */
    static std::string step(const iterator_ptr &iterator)
    {
        const vesk_instance *instance = vesk_instances_iterator_next(iterator.get());
        return instance ? vesk_instance_get_value(instance, "id") : "end";
    }

    static std::string text_of(const vesk_instances *instances)
    {
        return printed([&](FILE *stream) { vesk_instances_print(instances, stream); });
    }

    full_instances_ptr collection_{vesk_instances_new()};
};

} // namespace vesk::test

#endif
