#ifndef VESK_TESTS_SUPPORT_REFERENCE_COLLECTION_H
#define VESK_TESTS_SUPPORT_REFERENCE_COLLECTION_H

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "model/class.h"
#include "model/instance.h"

namespace vesk::test {

/** What a collection is meant to be, in the plainest words: every operation searches everything. */
class reference_collection {
  public:
    using list = std::vector<vesk_instance *>;

    bool add(vesk_instance *instance)
    {
        store &there = store_of(instance->cls); // stays, even when the instance is refused
        const std::string name = instance->name ? instance->name : "";
        switch (instance->cls->type) {
        case VESK_CLASS_SINGLETON:
            if (!there.groups.empty()) return false;
            break;
        case VESK_CLASS_UNIQUE_NAMED:
            if (find_among_siblings(instance->cls, name)) return false;
        }
        // One list for the classes without names, one list of one for each unique name.
        for (auto &[group, members] : there.groups)
            if (group == name) return members.push_back(instance), true;
        there.groups.push_back({name, {instance}});
        return true;
    }

    bool remove(vesk_instance *instance)
    {
        for (store &there : stores_)
            for (auto group = there.groups.begin(); group != there.groups.end(); ++group) {
                auto &members = group->second;
                const auto found = std::find(members.begin(), members.end(), instance);
                if (found == members.end()) continue;
                members.erase(found);
                if (members.empty()) there.groups.erase(group);
                return true;
            }
        return false;
    }

    /** Takes the class out and hands back what was in it. */
    list remove_class(const vesk_class *cls)
    {
        const list gone = of_class(cls);
        std::erase_if(stores_, [&](const store &there) { return there.cls == cls; });
        return gone;
    }

    vesk_instance *get(const vesk_class *cls, const std::string &name) const
    {
        const list found = of_name(cls, name);
        return found.empty() ? nullptr : found.front();
    }

    list all() const
    {
        list instances;
        for (const store &there : stores_)
            append(instances, there);
        return instances;
    }

    list of_class(const vesk_class *cls) const
    {
        list instances;
        for (const vesk_class *concrete : concrete_classes(cls))
            for (const store &there : stores_)
                if (there.cls == concrete) append(instances, there);
        return instances;
    }

    list of_name(const vesk_class *cls, const std::string &name) const
    {
        list instances = of_class(cls);
        std::erase_if(instances, [&](const vesk_instance *i) { return name != i->name; });
        return instances;
    }

    bool contains(const vesk_instance *instance) const
    {
        const list instances = all();
        return std::find(instances.begin(), instances.end(), instance) != instances.end();
    }

    /** Puts others in the places of the instances, in order. */
    void replace_all(const list &others)
    {
        auto next = others.begin();
        for (store &there : stores_)
            for (auto &[name, members] : there.groups)
                for (vesk_instance *&instance : members)
                    instance = *next++;
    }

  private:
    struct store {
        const vesk_class *cls;
        std::vector<std::pair<std::string, list>> groups;
    };

    store &store_of(const vesk_class *cls)
    {
        for (store &there : stores_)
            if (there.cls == cls) return there;
        return stores_.emplace_back(store{cls, {}});
    }

    static std::vector<const vesk_class *> concrete_classes(const vesk_class *cls)
    {
        if (cls->abstract != 1) return {cls};
        std::vector<const vesk_class *> classes;
        for (auto [name, subclass] : cls->subclasses)
            classes.push_back(subclass);
        return classes;
    }

    vesk_instance *find_among_siblings(const vesk_class *cls, const std::string &name) const
    {
        return get(cls->superclass ? cls->superclass : cls, name);
    }

    static void append(list &instances, const store &there)
    {
        for (const auto &[name, members] : there.groups)
            instances.insert(instances.end(), members.begin(), members.end());
    }

    std::vector<store> stores_;
};

} // namespace vesk::test

#endif
