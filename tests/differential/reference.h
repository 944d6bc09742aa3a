#ifndef VESK_TESTS_DIFFERENTIAL_REFERENCE_H
#define VESK_TESTS_DIFFERENTIAL_REFERENCE_H

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/differential/host.h"
#include "tests/differential/request.h"
#include "tests/differential/schema.h"

namespace vesk::test::differential {

/**
 * What instances, collections and change sets are meant to be, in the plainest words: lists that
 * are searched from the front, and whole copies, made at once. Nothing is ever freed, so that
 * whatever was deleted can still be looked at, and no two texts ever have the same address.
 */
class reference {
  public:
    using base = reference;
    static constexpr bool follows_fates = true;

    struct changes;

    /** Who listens: a plug-in's listener by its number, a change set, or nobody. */
    struct hook {
        int plugin = 0;
        changes *set = nullptr;
    };

    struct value {
        const property_info *property;
        const std::string *text;
    };

    struct instance {
        const class_info *cls;
        std::optional<std::string> name;
        std::vector<value> values; // in the order in which they were last set
        hook listener;
    };

    /** Instances of one name; all of a class without names. */
    struct group {
        std::string name;
        std::vector<instance *> members;
    };

    struct store {
        const class_info *cls;
        std::vector<group> groups;
    };

    struct iterator;

    struct instances {
        std::vector<store> stores;
        hook listener;
        std::vector<iterator *> iterators;
    };

    /** Stands on the instance to be returned next. */
    struct iterator {
        instances *of = nullptr;
        const class_info *cls = nullptr; // whose store it is in; null: in none
        instance *current = nullptr;
        bool one_name = false;
        bool all_classes = false;
        const class_info *abstract = nullptr;
        size_t next_subclass = 0;
    };

    struct record {
        bool changed = false;
        instance *before = nullptr; // null for one that was inserted
        std::set<std::string> properties;
        hook outer; // what listened to the instance before
    };

    struct changes {
        instances *after, *before, *changed, *deleted;
        std::map<const instance *, record> records;
        hook outer; // what listened to after before
        bool incomplete = false;
        bool ended = false;

        record *find(const instance *instance)
        {
            const auto found = records.find(instance);
            return found == records.end() ? nullptr : &found->second;
        }
    };

    struct commit_info {
        instances *before, *after;
        changes *set;
    };

    explicit reference(std::string &trace) : trace_{trace} {}
    void serve(host<reference> *plugins) { plugins_ = plugins; }

    void set_log_level(int level)
    {
        log_level = level;
        log("Debug level is now " + std::to_string(level) + ".\n");
    }

    // Instances

    instance *make(const class_info &cls, const char *name)
    {
        return &instances_.emplace_back(
            instance{&cls, name ? std::optional<std::string>{name} : std::nullopt, {}, {}});
    }

    static const class_info &class_of(const instance *i) { return *i->cls; }

    static const char *name_of(const instance *i) { return i->name ? i->name->c_str() : nullptr; }

    static const char *value_of(const instance *i, const char *property)
    {
        for (const value &v : i->values)
            if (std::strcmp(v.property->name, property) == 0) return v.text->c_str();
        return nullptr;
    }

    int set_value(instance *i, const char *name, const char *text)
    {
        begin_busy();
        const int status = try_to_set(i, name, text);
        end_busy();
        return status;
    }

    static void listen(instance *i, int listener) { i->listener = {listener, nullptr}; }

    void print(const instance *i)
    {
        trace_ += "Instance name: " + i->name.value_or("n/a") + "\tclass: " + i->cls->name + "\n";
        for (const value &v : i->values)
            trace_.append("   ")
                .append(v.property->name)
                .append(" =\t")
                .append(*v.text)
                .append("\n");
    }

    static void free(instance *) {}

    // Collections

    instances *make_collection() { return &collections_.emplace_back(); }

    instances *copy(const instances *from)
    {
        instances *to = make_collection();
        for (const store &there : from->stores) {
            store &here = to->stores.emplace_back(store{there.cls, {}});
            for (const group &g : there.groups) {
                group &same = here.groups.emplace_back(group{g.name, {}});
                for (const instance *i : g.members)
                    same.members.push_back(copy(i));
            }
        }
        return to;
    }
    instances *copy_whole(const instances *from) { return copy(from); }

    static void listen(instances *all, int listener) { all->listener = {listener, nullptr}; }

    int add(instances *all, instance *i)
    {
        store &there = find_or_make_store(*all, i->cls); // stays, even when i is refused
        const std::string name = i->name.value_or("");
        if (i->cls->type == VESK_CLASS_UNIQUE_NAMED &&
            get(all, i->cls->superclass ? *i->cls->superclass : *i->cls, name.c_str()))
            return 1;
        if (i->cls->type == VESK_CLASS_SINGLETON && !there.groups.empty())
            return fail("Singleton class may not have multiple instances.\n");
        find_or_make_group(there, name).members.push_back(i);
        tell(*all, i, 0);
        return 0;
    }

    int remove(instances *all, instance *i)
    {
        store *there = find_store(*all, i->cls);
        if (!there) return 1;
        for (group &g : there->groups) {
            const auto found = std::find(g.members.begin(), g.members.end(), i);
            if (found == g.members.end()) continue;
            for (iterator *it : all->iterators)
                if (it->current == i) step(*it);
            g.members.erase(found);
            std::erase_if(there->groups, [](const group &any) { return any.members.empty(); });
            leave(*all, i);
            tell(*all, i, 1);
            return 0;
        }
        return 1;
    }

    int remove_class(instances *all, const class_info &cls)
    {
        if (!find_store(*all, &cls)) return 0;
        for (iterator *it : all->iterators) {
            if (it->cls != &cls) continue;
            it->current = nullptr;
            find_instance(*it);
            if (!it->current) end(*it);
        }
        for_each(*find_store(*all, &cls), [&](instance *i) { leave(*all, i); });
        std::erase_if(all->stores, [&](const store &there) { return there.cls == &cls; });
        return 0;
    }
    int delete_class(instances *all, const class_info &cls) { return remove_class(all, cls); }

    /** Its iterators end when the memory is freed: while something is under way, that is later. */
    void delete_all(instances *all)
    {
        parked_.push_back(all);
        if (busy_ == 0) free_parked();
    }
    void delete_collection(instances *all) { delete_all(all); }

    void begin_busy() { ++busy_; }
    void end_busy()
    {
        if (--busy_ == 0) free_parked();
    }

    instance *get(const instances *all, const class_info &cls, const char *name)
    {
        for (const class_info *concrete : cls.concrete)
            if (const store *there = find_store(*all, concrete))
                for (const group &g : there->groups)
                    if (g.name == name) return g.members.front();
        return nullptr;
    }

    instance *get_singleton(const instances *all, const class_info &cls)
    {
        const store *there = find_store(*all, &cls);
        if (!there)
            fail("Singleton instance of class \"" + std::string{cls.name} + "\" is missing.\n");
        return there && !there->groups.empty() ? there->groups.front().members.front() : nullptr;
    }

    static int is_empty(const instances *all)
    {
        return std::all_of(all->stores.begin(), all->stores.end(),
                           [](const store &there) { return there.groups.empty(); });
    }

    void print(const instances *all)
    {
        for (const store &there : all->stores) {
            for_each(there, [&](const instance *i) {
                print(i);
                trace_ += '\n';
            });
            trace_ += '\n';
        }
    }

    /** The text of a file in which all would be saved. */
    void print_saved(const instances *all)
    {
        std::string body;
        for (const class_info &cls : classes_of_device()) {
            if (!cls.persistent || cls.superclass) continue;
            for (const class_info *concrete : cls.concrete)
                if (const store *there = find_store(*all, concrete))
                    for_each(*there, [&](const instance *i) { body += saved(cls, *i); });
        }
        trace_ += "<?xml version=\"1.0\"?>\n";
        trace_ += body.empty() ? "<config/>\n" : "<config>\n" + body + "</config>\n";
    }

    // Iterators: a null class stands for all, a null name for the whole class

    iterator *iterate(instances *all, const class_info *cls, const char *name)
    {
        if (name && cls && !cls->is_named()) {
            fail("Group iterators can only be used on named classes.\n");
            return nullptr;
        }
        iterator *it = &iterators_.emplace_back();
        it->of = all;
        all->iterators.push_back(it);
        if (name) {
            start_name(*it, *cls, name);
        } else if (cls && !cls->abstract) {
            enter(*it, cls);
        } else {
            it->abstract = cls;
            it->all_classes = !cls;
            if (!cls && !all->stores.empty()) enter(*it, all->stores.front().cls);
            find_instance(*it);
        }
        return it;
    }

    static int has_next(const iterator *it) { return it->current ? 1 : 0; }

    static instance *next(iterator *it)
    {
        instance *i = it->current;
        if (i) step(*it);
        return i;
    }

    static void delete_iterator(iterator *it)
    {
        if (it->of) std::erase(it->of->iterators, it);
    }

    // Change sets

    changes *follow(instances *after)
    {
        changes &set = sets_.emplace_back(
            changes{after, copy(after), make_collection(), make_collection(), {}, {}});
        std::vector<instance *> copies;
        for_each(*set.before, [&](instance *i) { copies.push_back(i); });
        auto copy = copies.begin();
        for_each(*after, [&](instance *i) {
            set.records[i] = {false, *copy++, {}, i->listener};
            i->listener = {0, &set};
        });
        set.outer = after->listener;
        after->listener = {0, &set};
        live_.push_back(&set);
        return &set;
    }

    int record_updated(changes *set, instance *i)
    {
        record *r = set->find(i);
        if (!r || r->changed) return 0;
        if (add(set->changed, i) != 0) return 1;
        r->changed = true;
        return 0;
    }

    int record_inserted(changes *set, instance *i)
    {
        if (set->find(i)) return 0;
        if (add(set->changed, i) != 0) return 1;
        record &r = set->records[i];
        r.changed = true;
        for (const value &v : i->values)
            r.properties.insert(v.property->name);
        return 0;
    }

    int record_deleted(changes *set, instance *i)
    {
        const record *r = set->find(i);
        if (!r) return 0;
        if (r->before)
            add(set->deleted, r->before);
        else
            fail("Null instance. (vesk_instances_add)\n");
        if (r->changed) remove(set->changed, i);
        if (i->listener.set == set) i->listener = r->outer;
        set->records.erase(i);
        return 0;
    }

    static int record_property(changes *set, instance *i, const char *property)
    {
        if (record *r = set->find(i)) r->properties.insert(property);
        return 0;
    }

    static bool is_incomplete(const changes *set) { return set->incomplete; }

    static instances *before_of(changes *set) { return set->before; }

    static instance *before_of(changes *set, const instance *i)
    {
        const record *r = set->find(i);
        return r ? r->before : nullptr;
    }

    static instances *before_of(const commit_info *info) { return info->before; }
    static instances *after_of(const commit_info *info) { return info->after; }
    static changes *changes_of(const commit_info *info) { return info->set; }

    iterator *iterate_changed(changes *set, const class_info &cls)
    {
        return iterate(set->changed, &cls, nullptr);
    }
    iterator *iterate_deleted(changes *set, const class_info &cls)
    {
        return iterate(set->deleted, &cls, nullptr);
    }

    static int contains(const changes *set, const class_info &cls)
    {
        for (const instances *all : {set->changed, set->deleted})
            for (const class_info *concrete : cls.concrete)
                if (const store *there = find_store(*all, concrete);
                    there && !there->groups.empty())
                    return 1;
        return 0;
    }
    static int contains(changes *set, const instance *i)
    {
        const record *r = set->find(i);
        return r && r->changed ? 1 : 0;
    }
    static int contains(changes *set, const instance *i, const char *property)
    {
        const record *r = set->find(i);
        return r && r->properties.contains(property) ? 1 : 0;
    }

    void print(const changes *set)
    {
        trace_ += "Changed (updated or inserted) instances:\n";
        print(set->changed);
        trace_ += "\nDeleted instances:\n";
        print(set->deleted);
        trace_ += '\n';
    }

    /** What the set found listening listens again, or is kept by a set that was made later. */
    void unfollow(changes *set)
    {
        set->ended = true;
        std::erase(live_, set);
        const auto outer_of = [&](const instance *i) {
            const record *r = set->find(i);
            return r ? r->outer : hook{};
        };
        for_each(*set->after, [&](instance *i) {
            if (i->listener.set == set) i->listener = outer_of(i);
        });
        if (set->after->listener.set == set) set->after->listener = set->outer;
        for (changes *other : live_) {
            if (other->after != set->after) continue;
            if (other->outer.set == set) other->outer = set->outer;
            for_each(*set->after, [&](const instance *i) {
                if (record *r = other->find(i); r && r->outer.set == set) r->outer = outer_of(i);
            });
        }
        for (instances *own : {set->before, set->changed, set->deleted})
            end_iterators(*own);
    }

  protected:
    int fail(const std::string &message)
    {
        if (log_level > 0) log(message);
        return 1;
    }
    void log(const std::string &message) { trace_ += "vesk: " + message; }

    std::string &trace_;
    int log_level = 1;
    host<reference> *plugins_ = nullptr;

  private:
    /** A change set follows an instance as long as that is in its collection. */
    static void leave(const instances &all, instance *i)
    {
        while (i->listener.set && i->listener.set->after == &all) {
            const record *r = i->listener.set->find(i);
            i->listener = r ? r->outer : hook{};
        }
    }

    int try_to_set(instance *i, const char *name, const char *text)
    {
        const property_info *property = find_property(*i->cls, name);
        if (!property)
            return fail("Property \"" + std::string{name} + "\" not in class \"" + i->cls->name +
                        "\" (or its superclasses).\n");
        if (!plugins_->is_valid(text) ||
            (property->asks_instance && !plugins_->is_valid_for(i, text)))
            return fail("Value \"" + std::string{text} + "\" is not valid for property \"" + name +
                        "\" of class \"" + i->cls->name + "\".\n");
        const value fresh{property, keep(text)};
        std::erase_if(i->values, [&](const value &v) { return v.property == property; });
        i->values.push_back(fresh);
        const hook told = i->listener;
        if (told.plugin) plugins_->value_set(told.plugin, i, name);
        if (told.set && told.set->ended) trace_ += "*** what listens has ended ***";
        if (told.set) value_recorded(*told.set, i, name);
        return 0;
    }

    const std::string *keep(const std::string &text) { return &texts_.emplace_back(text); }

    instance *copy(const instance *from)
    {
        instance *to = &instances_.emplace_back(instance{from->cls, from->name, {}, {}});
        for (const value &v : from->values)
            to->values.push_back({v.property, keep(*v.text)});
        return to;
    }

    template <typename Visit> static void for_each(const store &there, Visit &&visit)
    {
        for (const group &g : there.groups)
            for (instance *i : g.members)
                visit(i);
    }
    template <typename Visit> static void for_each(const instances &all, Visit &&visit)
    {
        for (const store &there : all.stores)
            for_each(there, visit);
    }

    static const store *find_store(const instances &all, const class_info *cls)
    {
        for (const store &there : all.stores)
            if (there.cls == cls) return &there;
        return nullptr;
    }
    static store *find_store(instances &all, const class_info *cls)
    {
        return const_cast<store *>(find_store(std::as_const(all), cls));
    }
    static store &find_or_make_store(instances &all, const class_info *cls)
    {
        store *found = find_store(all, cls);
        return found ? *found : all.stores.emplace_back(store{cls, {}});
    }
    static group &find_or_make_group(store &there, const std::string &name)
    {
        for (group &g : there.groups)
            if (g.name == name) return g;
        return there.groups.emplace_back(group{name, {}});
    }

    /** Sets nest: what comes and goes is told to those further out, too. */
    void tell(instances &all, instance *i, int event)
    {
        const hook told = all.listener;
        if (told.plugin) plugins_->membership_changed(told.plugin, i, event);
        for (changes *set = told.set; set; set = set->outer.set)
            if ((event == 0 ? record_inserted(set, i) : record_deleted(set, i)) != 0)
                set->incomplete = true;
    }

    void value_recorded(changes &set, instance *i, const char *property)
    {
        if (record_updated(&set, i) != 0)
            set.incomplete = true;
        else
            record_property(&set, i, property);
    }

    // Iterators

    static void enter(iterator &it, const class_info *cls)
    {
        const store *there = cls ? find_store(*it.of, cls) : nullptr;
        it.cls = there ? cls : nullptr;
        const bool is_empty = !there || there->groups.empty();
        it.current = is_empty ? nullptr : there->groups.front().members.front();
    }

    static void end(iterator &it)
    {
        it.all_classes = false;
        it.abstract = nullptr;
        enter(it, nullptr);
    }

    void start_name(iterator &it, const class_info &cls, const char *name)
    {
        it.one_name = true;
        it.current = get(it.of, cls, name);
        it.cls = it.current ? it.current->cls : cls.abstract ? nullptr : &cls;
        if (it.cls && !find_store(*it.of, it.cls)) it.cls = nullptr;
    }

    static void find_instance(iterator &it)
    {
        while (!it.current) {
            if (it.all_classes && it.cls) {
                const auto &stores = it.of->stores;
                auto at = std::find_if(stores.begin(), stores.end(),
                                       [&](const store &there) { return there.cls == it.cls; });
                ++at;
                enter(it, at == stores.end() ? nullptr : at->cls);
                if (!it.cls) return;
            } else if (it.abstract && it.next_subclass < it.abstract->subclasses.size()) {
                enter(it, it.abstract->subclasses[it.next_subclass++]);
            } else {
                return;
            }
        }
    }

    static void step(iterator &it)
    {
        instance *before = nullptr, *after = nullptr;
        for_each(*find_store(*it.of, it.cls), [&](instance *i) {
            if (before == it.current) after = i;
            before = i;
        });
        if (it.one_name && after && after->name != it.current->name) after = nullptr;
        it.current = after;
        if (!it.one_name) find_instance(it);
    }

    static void end_iterators(instances &all)
    {
        for (iterator *it : std::exchange(all.iterators, {})) {
            end(*it);
            it->of = nullptr;
        }
    }

    void free_parked()
    {
        for (instances *all : std::exchange(parked_, {}))
            end_iterators(*all);
    }

    static std::string saved(const class_info &cls, const instance &i)
    {
        std::string values;
        for (const value &v : i.values) {
            if (!v.property->persistent) continue;
            const std::string name = v.property->name;
            values += v.text->empty()
                          ? "    <" + name + "/>\n"
                          : "    <" + name + ">" + escaped(*v.text) + "</" + name + ">\n";
        }
        const std::string name = cls.name;
        const std::string start =
            "  <" + name + (i.name ? " name=\"" + *i.name + "\"" : std::string{});
        return values.empty() ? start + "/>\n" : start + ">\n" + values + "  </" + name + ">\n";
    }

    std::deque<std::string> texts_;
    std::deque<instance> instances_;
    std::deque<instances> collections_;
    std::deque<iterator> iterators_;
    std::deque<changes> sets_;
    std::vector<changes *> live_;
    std::vector<instances *> parked_;
    unsigned busy_ = 0;
};

} // namespace vesk::test::differential

#endif
