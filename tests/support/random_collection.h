#ifndef VESK_TESTS_SUPPORT_RANDOM_COLLECTION_H
#define VESK_TESTS_SUPPORT_RANDOM_COLLECTION_H

#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/collection.h"
#include "tests/support/reference_collection.h"

namespace vesk::test {

/** Random operations on a collection and on its plainest model, compared at every step. */
class random_collection_fixture : public collection_fixture,
                                  public ::testing::WithParamInterface<unsigned> {
  protected:
    using list = reference_collection::list;

    unsigned below(size_t limit) { return static_cast<unsigned>(random_() % limit); }

    vesk_class *random_class(bool with_abstract)
    {
        static const char *const names[] = {"system", "clock",  "route",  "rule",      "user",
                                            "ipip",   "server", "host",   "ethernet",  "wireless",
                                            "route",  "server", "tunnel", "interface", "interface"};
        return vesk_classes_get(names[below(with_abstract ? std::size(names) : 12)]);
    }
    std::string random_name() { return "n" + std::to_string(below(14)); }
    static bool is_named(const vesk_class *cls) { return cls->type >= VESK_CLASS_UNIQUE_NAMED; }

    /** One that the collection holds, or null. */
    vesk_instance *random_instance()
    {
        const list all = model_.all();
        return all.empty() ? nullptr : all[below(all.size())];
    }

    void add(instance_ptr instance)
    {
        const bool fits = model_.add(instance.get());
        ASSERT_EQ(vesk_instances_add(collection(), instance.get()), fits ? 0 : 1);
        if (fits) static_cast<void>(instance.release());
    }

    void add_new()
    {
        const auto *cls = random_class(false);
        const std::string name = random_name(), id = std::to_string(++ids_);
        add(make_one(cls->name.c_str(), is_named(cls) ? name.c_str() : nullptr, id.c_str()));
    }

    void add_again()
    {
        if (spare_.empty()) return;
        std::swap(spare_[below(spare_.size())], spare_.back());
        auto instance = std::move(spare_.back());
        spare_.pop_back();
        add(std::move(instance));
    }

    void remove()
    {
        auto *instance = random_instance();
        if (!instance) return;
        ASSERT_TRUE(model_.remove(instance));
        ASSERT_EQ(vesk_instances_remove(collection(), instance), 0);
        forget(instance);
        instance_ptr taken{instance};
        if (spare_.size() < 30) spare_.push_back(std::move(taken));
    }

    void remove_what_is_not_there()
    {
        if (spare_.empty()) return;
        auto *instance = spare_[below(spare_.size())].get();
        ASSERT_EQ(vesk_instances_remove(collection(), instance), 1);
    }

    void remove_or_delete_class()
    {
        const auto *cls = random_class(true);
        const list gone = cls->abstract ? list{} : model_.remove_class(cls);
        for (const auto *instance : gone)
            forget(instance);
        if (below(2)) {
            ASSERT_EQ(vesk_instances_delete_class(collection(), cls->name.c_str()), 0);
            return;
        }
        ASSERT_EQ(vesk_instances_remove_class(collection(), cls->name.c_str()), 0);
        for (auto *instance : gone)
            instance_ptr{instance}.reset();
    }

    void look_up()
    {
        const auto *cls = random_class(true);
        const std::string name = random_name();
        if (cls->type == VESK_CLASS_UNIQUE_NAMED) {
            ASSERT_EQ(vesk_instances_get(collection(), cls->name.c_str(), name.c_str()),
                      model_.get(cls, name));
        } else if (cls->type == VESK_CLASS_SINGLETON) {
            const list one = model_.of_class(cls);
            ASSERT_EQ(vesk_instances_get_singleton(collection(), cls->name.c_str()),
                      one.empty() ? nullptr : one.front());
        }
    }

    static list rest_of(vesk_instances_iterator *iterator)
    {
        list met;
        while (vesk_instances_iterator_has_next(iterator))
            met.push_back(vesk_instances_iterator_next(iterator));
        vesk_instances_delete_iterator(iterator);
        return met;
    }

    void compare_orders()
    {
        const auto *cls = random_class(true);
        const std::string name = random_name();
        ASSERT_EQ(rest_of(vesk_instances_new_iterator(collection())), model_.all());
        ASSERT_EQ(rest_of(vesk_instances_new_class_iterator(collection(), cls->name.c_str())),
                  model_.of_class(cls));
        ASSERT_EQ(vesk_instances_is_empty(collection()), model_.all().empty() ? 1 : 0);
        if (!is_named(cls)) return;
        ASSERT_EQ(rest_of(vesk_instances_new_group_iterator(collection(), cls->name.c_str(),
                                                            name.c_str())),
                  model_.of_name(cls, name));
    }

    /** Goes on with a copy in the place of the collection. */
    void copy()
    {
        full_instances_ptr fresh{vesk_instances_copy(collection())};
        ASSERT_EQ(text_of(fresh.get()), text_of(collection()));
        model_.replace_all(rest_of(vesk_instances_new_iterator(fresh.get())));
        collection_ = std::move(fresh);
        ASSERT_EQ(vesk_instances_iterator_has_next(walk_.get()), 0);
        walk_.reset();
    }

    // A walk that goes on while all this happens must meet what stays, once, and nothing that went.

    void start_walk()
    {
        const auto *cls = random_class(true);
        const unsigned kind = below(3);
        const std::string name = random_name();
        if (kind == 0) {
            walk_.reset(vesk_instances_new_iterator(collection()));
            remember(model_.all());
        } else if (kind == 1 || !is_named(cls)) {
            walk_.reset(vesk_instances_new_class_iterator(collection(), cls->name.c_str()));
            remember(model_.of_class(cls));
        } else {
            walk_.reset(
                vesk_instances_new_group_iterator(collection(), cls->name.c_str(), name.c_str()));
            remember(model_.of_name(cls, name));
        }
    }

    void remember(const list &instances)
    {
        to_meet_ = {instances.begin(), instances.end()};
        met_.clear();
    }

    void forget(const vesk_instance *instance)
    {
        to_meet_.erase(instance);
        met_.erase(instance);
    }

    void go_on_with_walk()
    {
        if (!walk_) return start_walk();
        if (!vesk_instances_iterator_has_next(walk_.get())) {
            ASSERT_FALSE(vesk_instances_iterator_next(walk_.get()));
            ASSERT_TRUE(to_meet_.empty());
            return walk_.reset();
        }
        const auto *instance = vesk_instances_iterator_next(walk_.get());
        ASSERT_TRUE(model_.contains(instance));
        ASSERT_TRUE(met_.insert(instance).second);
        to_meet_.erase(instance);
    }

    void take_step()
    {
        const unsigned choice = below(200);
        if (choice < 60) return add_new();
        if (choice < 70) return add_again();
        if (choice < 115) return remove();
        if (choice < 120) return remove_what_is_not_there();
        if (choice < 140) return look_up();
        if (choice < 155) return compare_orders();
        if (choice < 198) return go_on_with_walk();
        if (choice < 199) return remove_or_delete_class();
        if (below(4) == 0) copy();
    }

    std::mt19937 random_{GetParam()};
    int ids_ = 0;
    reference_collection model_;
    std::vector<instance_ptr> spare_;
    iterator_ptr walk_;
    std::set<const vesk_instance *> to_meet_, met_;
};

} // namespace vesk::test

#endif
