#include "tests/oom/device.h"

#include "base/or_on_oom.h"
#include "base/text.h"
#include "model/iterator.h"

// The objects of the model: each operation happens, or nothing has changed.

namespace vesk::test {
namespace {

using class_ptr = std::unique_ptr<vesk_class>;

class OomModel : public device {};

constexpr const char *long_name = "a name that is too long for a string to keep within itself";

TEST_F(OomModel, PropertyNew)
{
    expect_whole_or_null<property_ptr>([] { return vesk_property_new(long_name); },
                                       [](vesk_property &p) { return text_of(p); });
}

TEST_F(OomModel, PropertyClone)
{
    const property_ptr original{vesk_property_new(long_name)};
    expect_whole_or_null<property_ptr>([&] { return vesk_property_clone(original.get()); },
                                       [](vesk_property &p) { return text_of(p); });
}

TEST_F(OomModel, ClassNew)
{
    expect_whole_or_null<class_ptr>([] { return vesk_class_new(long_name); },
                                    [](vesk_class &c) { return text_of(c); });
}

TEST_F(OomModel, ClassClone)
{
    const vesk_class *radio = vesk_classes_get("radio");
    expect_whole_or_null<class_ptr>([&] { return vesk_class_clone(radio, long_name); },
                                    [](vesk_class &c) { return text_of(c); });
}

TEST_F(OomModel, ClassSetSuperclass)
{
    expect_all_or_nothing(
        [] { return class_ptr{vesk_class_new("x")}; },
        [](class_ptr &c) { return vesk_class_set_superclass(c.get(), long_name); },
        [](class_ptr &c) { return text_of(*c); });
}

/** A class and a property that is to become its own. */
struct class_and_property {
    class_ptr cls{vesk_class_new("x")};
    property_ptr property{vesk_property_new("y")};

    int keep(int status)
    {
        if (status == 0) static_cast<void>(property.release());
        return status;
    }
};

std::string shown(const class_and_property &both)
{
    return text_of(*both.cls) + (both.property ? text_of(*both.property) : "");
}

TEST_F(OomModel, ClassAddProperty)
{
    expect_all_or_nothing(
        [] {
            class_and_property both;
            vesk_property_set_writable(both.property.get(), 0);
            return both;
        },
        [](class_and_property &both) {
            return both.keep(vesk_class_add_property(both.cls.get(), both.property.get()));
        },
        [](const class_and_property &both) { return shown(both); });
}

TEST_F(OomModel, ClassAddManyProperties)
{
    std::vector<std::string> names;
    for (int i = 0; i < 40; ++i)
        names.push_back("p" + std::to_string(i));
    for_each_failure(
        [] { return class_ptr{vesk_class_new("x")}; },
        [&](class_ptr &cls) {
            for (const std::string &name : names) {
                property_ptr property{vesk_property_new(name.c_str())};
                if (!property) return 1;
                vesk_property_set_writable(property.get(), 0);
                if (vesk_class_add_property(cls.get(), property.get()) != 0) return 1;
                static_cast<void>(property.release());
            }
            return 0;
        },
        [&](class_ptr &cls, int result) {
            if (result == 0) {
                EXPECT_EQ(vesk_class_get_properties(cls.get()), names.size());
            }
            for (unsigned i = 0; i < vesk_class_get_properties(cls.get()); ++i)
                EXPECT_NE(vesk_class_get_property(cls.get(), names[i].c_str()), nullptr) << i;
        });
}

/** What becomes of the flags of a property that is refused in the end is left open. */
TEST_F(OomModel, ClassSetSubclassIdentifier)
{
    expect_all_or_nothing(
        [] {
            class_and_property both;
            vesk_class_set_abstract(both.cls.get(), 1);
            return both;
        },
        [](class_and_property &both) {
            return both.keep(
                vesk_class_set_subclass_identifier(both.cls.get(), both.property.get()));
        },
        [](const class_and_property &both) { return text_of(*both.cls); });
}

TEST_F(OomModel, ClassNewPropertyIterator)
{
    using owner =
        std::unique_ptr<vesk_property_iterator, delete_with<vesk_class_delete_property_iterator>>;
    const vesk_class *wired = vesk_classes_get("wired");
    expect_whole_or_null<owner>([&] { return vesk_class_new_property_iterator(wired); },
                                [](vesk_property_iterator &iterator) {
                                    std::string names;
                                    while (vesk_class_property_iterator_has_next(&iterator))
                                        names +=
                                            text_of(*vesk_class_property_iterator_next(&iterator));
                                    return names;
                                });
}

/** A registry of its own with classes that are still to be resolved. */
class OomClasses : public fixture {};

std::string registry_text()
{
    return printed(vesk_classes_print);
}

/** Empties the registry of classes at its end. */
struct own_registry {
    struct clearing {
        ~clearing() { classes() = class_registry{}; }
    };
    std::unique_ptr<clearing> at_end = std::make_unique<clearing>();
};

struct registration : own_registry {
    class_ptr cls{vesk_class_new("x")};
};

TEST_F(OomClasses, Add)
{
    expect_all_or_nothing([] { return registration{}; },
                          [](registration &r) { return vesk_classes_add(r.cls.get()); },
                          [](const registration &) { return registry_text(); });
}

TEST_F(OomClasses, NewIterator)
{
    using owner = std::unique_ptr<vesk_classes_iterator, delete_with<vesk_classes_delete_iterator>>;
    add_class("x", VESK_CLASS_SINGLETON);
    expect_whole_or_null<owner>(
        [] { return vesk_classes_new_iterator(); },
        [](vesk_classes_iterator &i) { return text_of(*vesk_classes_iterator_next(&i)); });
}

struct hierarchy : own_registry {
    class_ptr top{vesk_class_new("top")};
    class_ptr bottom{vesk_class_new("bottom")};

    hierarchy()
    {
        vesk_class_set_type(top.get(), VESK_CLASS_UNIQUE_NAMED);
        vesk_class_set_abstract(top.get(), 1);
        vesk_class_set_subclass_identifier(top.get(), vesk_property_new("type"));
        vesk_class_set_type(bottom.get(), VESK_CLASS_UNIQUE_NAMED);
        vesk_class_set_superclass(bottom.get(), "top");
        vesk_classes_add(bottom.get());
        vesk_classes_add(top.get());
    }
};

TEST_F(OomClasses, Resolve)
{
    expect_all_or_nothing([] { return hierarchy{}; },
                          [](hierarchy &h) { return vesk_class_resolve(h.bottom.get()); },
                          [](const hierarchy &) { return registry_text(); });
}

TEST_F(OomClasses, DoneAddingSucceedsWhenTriedAgain)
{
    for_each_failure([] { return hierarchy{}; },
                     [](hierarchy &) { return vesk_classes_done_adding(); },
                     [](hierarchy &, int) { EXPECT_EQ(vesk_classes_done_adding(), 0); });
}

TEST_F(OomModel, InstanceNew)
{
    vesk_class *radio = vesk_classes_get("radio");
    expect_whole_or_null<instance_ptr>([&] { return vesk_instance_new(radio, long_name); },
                                       [](vesk_instance &i) { return text_of(i); });
}

TEST_F(OomModel, InstanceCopy)
{
    const auto original = make("radio", "wlan0", {{"channel", "1"}, {"ssid", long_name}});
    expect_whole_or_null<instance_ptr>([&] { return vesk_instance_copy(original.get()); },
                                       [](vesk_instance &i) { return text_of(i); });
}

TEST_F(OomModel, InstanceSetValue)
{
    for (const char *property : {"channel", "ssid"})
        expect_all_or_nothing(
            [&] {
                return make("radio", "wlan0", {{"channel", "1"}});
            },
            [&](instance_ptr &i) { return vesk_instance_set_value(i.get(), property, long_name); },
            [](instance_ptr &i) { return text_of(*i); });
}

TEST_F(OomModel, InstanceSetValueTellsNobodyOfAFailure)
{
    static int told;
    for_each_failure(
        [&] {
            told = 0;
            auto instance = make("radio", "wlan0");
            const auto listener = [](vesk_instance *, const char *, void *) { ++told; };
            vesk_instance_set_listener(instance.get(), listener, nullptr);
            return instance;
        },
        [](instance_ptr &i) { return vesk_instance_set_value(i.get(), "channel", "1"); },
        [](instance_ptr &, int result) { EXPECT_EQ(told, result == 0 ? 1 : 0); });
}

TEST_F(OomModel, InstanceIsValid)
{
    for_each_failure([&] { return make("wired", "eth0"); },
                     [](instance_ptr &i) {
                         char *message = nullptr;
                         EXPECT_EQ(vesk_instance_is_valid(i.get(), &message), 0);
                         return std::unique_ptr<char, free_c_string>{message};
                     },
                     [](instance_ptr &, const auto &message) {
                         if (message) {
                             EXPECT_STREQ(message.get(), "Property \"type\" of class \"wired\" is "
                                                         "required on insert but not set.");
                         }
                     });
}

TEST_F(OomModel, InstanceIsValidWithoutAnInstance)
{
    for_each_failure([] { return 0; },
                     [](int) {
                         char *message = nullptr;
                         EXPECT_EQ(vesk_instance_is_valid(nullptr, &message), 0);
                         return std::unique_ptr<char, free_c_string>{message};
                     },
                     [](int, const auto &message) {
                         if (message) {
                             EXPECT_STREQ(message.get(), "Null instance.");
                         }
                     });
}

TEST_F(OomModel, InstancesNew)
{
    expect_whole_or_null<full_instances_ptr>([] { return vesk_instances_new(); },
                                             [](vesk_instances &all) { return text_of(all); });
}

/** A collection, empty or not, and an instance that is to be added. */
struct addition {
    full_instances_ptr all;
    instance_ptr instance;

    int keep(int status)
    {
        if (status == 0) static_cast<void>(instance.release());
        return status;
    }
};

std::string shown(const addition &a)
{
    return instances_of(*a.all) + (a.instance ? text_of(*a.instance) : "");
}

struct named_class {
    const char *cls;
    const char *name;
};

constexpr named_class kinds[] = {{"system", nullptr}, {"user", nullptr}, {"radio", "wlan7"},
                                 {"acl", "others"},   {"acl", "guests"}, {"wired", "eth7"},
                                 {"wireless", "ath7"}};

TEST_F(OomModel, InstancesAddToAnEmptyCollection)
{
    for (const auto &[cls, name] : kinds) {
        SCOPED_TRACE(cls);
        expect_all_or_nothing(
            [&] {
                return addition{full_instances_ptr{vesk_instances_new()}, make(cls, name)};
            },
            [](addition &a) { return a.keep(vesk_instances_add(a.all.get(), a.instance.get())); },
            [](const addition &a) { return shown(a); });
    }
}

TEST_F(OomModel, InstancesAddToAFilledCollection)
{
    for (const auto &[cls, name] : kinds) {
        SCOPED_TRACE(cls);
        if (std::string{"system"} == cls) continue; // there can be one only
        expect_all_or_nothing(
            [&] {
                return addition{configuration(), make(cls, name)};
            },
            [](addition &a) { return a.keep(vesk_instances_add(a.all.get(), a.instance.get())); },
            [](const addition &a) { return shown(a); });
    }
}

TEST_F(OomModel, InstancesAddIsDoneWhenTriedAgain)
{
    for (const auto &[cls, name] : kinds)
        for_each_failure(
            [&] {
                return addition{full_instances_ptr{vesk_instances_new()}, make(cls, name)};
            },
            [](addition &a) { return a.keep(vesk_instances_add(a.all.get(), a.instance.get())); },
            [](addition &a, int result) {
                if (result != 0) result = a.keep(vesk_instances_add(a.all.get(), a.instance.get()));
                EXPECT_EQ(result, 0);
                EXPECT_EQ(vesk_instances_is_empty(a.all.get()), 0);
            });
}

TEST_F(OomModel, InstancesAddTellsNobodyOfAFailure)
{
    static int told;
    for_each_failure(
        [&] {
            told = 0;
            addition a{configuration(), make("radio", "wlan7")};
            const auto listener = [](vesk_instance *, int, void *) { ++told; };
            vesk_instances_set_listener(a.all.get(), listener, nullptr);
            return a;
        },
        [](addition &a) { return a.keep(vesk_instances_add(a.all.get(), a.instance.get())); },
        [](addition &, int result) { EXPECT_EQ(told, result == 0 ? 1 : 0); });
}

TEST_F(OomModel, InstancesAddManyOfOneClass)
{
    constexpr int many = 300;
    const auto name_of = [](int i) { return "wlan" + std::to_string(i); };
    for_each_failure(
        [&] {
            auto all = configuration();
            for (int i = 10; i < 120; ++i)
                vesk_instances_add(all.get(), make("radio", name_of(i).c_str()).release());
            return all;
        },
        [&](full_instances_ptr &all) {
            int added = 0;
            for (int i = 120; i < many; ++i) {
                char name[16];
                std::snprintf(name, sizeof name, "wlan%d", i);
                instance_ptr instance{vesk_instance_new(vesk_classes_get("radio"), name)};
                if (!instance || vesk_instances_add(all.get(), instance.get()) != 0) continue;
                static_cast<void>(instance.release());
                ++added;
            }
            return added;
        },
        [&](full_instances_ptr &all, int added) {
            int found = 0;
            for (int i = 120; i < many; ++i)
                found += vesk_instances_get(all.get(), "radio", name_of(i).c_str()) != nullptr;
            EXPECT_EQ(found, added);
        });
}

TEST_F(OomModel, InstancesRemoveAndDeleteNeedNoMemory)
{
    for_each_failure([&] { return configuration(); },
                     [](full_instances_ptr &all) {
                         vesk_instance *radio = vesk_instances_get(all.get(), "radio", "wlan0");
                         int result = vesk_instances_remove(all.get(), radio);
                         result |= vesk_instance_delete(radio);
                         for (const char *cls : {"system", "user", "radio", "acl", "wired"})
                             result |= vesk_instances_delete_class(all.get(), cls);
                         return result;
                     },
                     [](full_instances_ptr &all, int result) {
                         EXPECT_EQ(result, 0);
                         EXPECT_EQ(vesk_instances_is_empty(all.get()), 1);
                     });
}

/** A copy may lack instances for which memory ran out; each that is there is whole. */
TEST_F(OomModel, InstancesCopy)
{
    const auto original = configuration();
    const std::string whole = text_of(*original);
    for_each_failure([] { return 0; },
                     [&](int) { return full_instances_ptr{vesk_instances_copy(original.get())}; },
                     [&](int, full_instances_ptr &copy) {
                         EXPECT_EQ(text_of(*original), whole);
                         if (!copy) return;
                         for_each_instance(*copy, [&](const vesk_instance &instance) {
                             EXPECT_NE(whole.find(text_of(instance)), whole.npos)
                                 << text_of(instance);
                         });
                     });
    const full_instances_ptr copy{vesk_instances_copy(original.get())};
    EXPECT_EQ(text_of(*copy), whole);
}

TEST_F(OomModel, CopyWholeIsWholeOrThrows)
{
    const auto original = configuration();
    const std::string whole = text_of(*original);
    for_each_failure([] { return 0; },
                     [&](int) {
                         return or_on_oom(full_instances_ptr{}, [&] {
                             return full_instances_ptr{copy_whole(*original)};
                         });
                     },
                     [&](int, full_instances_ptr &copy) {
                         if (copy) {
                             EXPECT_EQ(text_of(*copy), whole);
                         }
                     });
}

TEST_F(OomModel, InstancesIterators)
{
    using maker = vesk_instances_iterator *(*)(const vesk_instances *);
    constexpr maker makers[] = {
        vesk_instances_new_iterator,
        [](const vesk_instances *all) { return vesk_instances_new_class_iterator(all, "acl"); },
        [](const vesk_instances *all) { return vesk_instances_new_class_iterator(all, "port"); },
        [](const vesk_instances *all) {
            return vesk_instances_new_group_iterator(all, "acl", "guests");
        },
        [](const vesk_instances *all) {
            return vesk_instances_new_group_iterator(all, "port", "eth0");
        }};
    const auto all = configuration();
    for (const maker make_iterator : makers)
        expect_whole_or_null<iterator_ptr>([&] { return make_iterator(all.get()); },
                                           [](vesk_instances_iterator &i) {
                                               std::string text;
                                               while (vesk_instances_iterator_has_next(&i))
                                                   text +=
                                                       text_of(*vesk_instances_iterator_next(&i));
                                               return text;
                                           });
}

/** The exported storage operations: a store with one instance of a class in an empty collection. */
struct store_and_instance {
    full_instances_ptr all{vesk_instances_new()};
    instance_ptr instance;
    vesk_instances_class *store = nullptr;
};

using store_add = int (*)(vesk_instances_class *, vesk_instance *);

TEST_F(OomModel, StorageAdd)
{
    const struct {
        named_class what;
        store_add add;
    } all[] = {{{"user", nullptr}, vesk_instances_anonymous_add},
               {{"radio", "wlan7"}, vesk_instances_unique_named_add},
               {{"acl", "others"}, vesk_instances_group_named_add}};
    for (const auto &[what, add] : all)
        expect_all_or_nothing(
            [&, w = what] {
                store_and_instance s;
                s.instance = make(w.cls, w.name);
                vesk_instances_add(s.all.get(), make(w.cls, w.name ? "first" : nullptr).release());
                s.store = s.all->class_order.first->store.get();
                return s;
            },
            [&, f = add](store_and_instance &s) {
                const int status = f(s.store, s.instance.get());
                if (status == 0) static_cast<void>(s.instance.release());
                return status;
            },
            [](const store_and_instance &s) { return instances_of(*s.all); });
}

using store_copy = int (*)(const vesk_instances_class *, vesk_instances_class *);

/** The anonymous stop at the first for which memory runs out; of the others that one is missing. */
TEST_F(OomModel, StorageCopy)
{
    const struct {
        const char *cls;
        store_copy copy;
        bool stops;
    } all[] = {{"user", vesk_instances_anonymous_copy, true},
               {"radio", vesk_instances_unique_named_copy, false},
               {"acl", vesk_instances_group_named_copy, false}};
    const auto from = configuration();
    for (const auto &[cls, copy, stops] : all) {
        SCOPED_TRACE(cls);
        const vesk_instances_class *source = from->classes.get(cls)->store.get();
        const std::string whole = instances_of(*source);
        struct target {
            full_instances_ptr all{vesk_instances_new()};
            vesk_instances_class *store = nullptr;
        };
        for_each_failure(
            [&, c = cls] {
                // The place of a class stays when its last instance goes.
                target to;
                const auto visitor =
                    make(c, source->cls->type < VESK_CLASS_UNIQUE_NAMED ? nullptr : "visitor");
                vesk_instances_add(to.all.get(), visitor.get());
                vesk_instances_remove(to.all.get(), visitor.get());
                to.store = to.all->classes.get(c)->store.get();
                return to;
            },
            [&, f = copy](target &to) { return f(source, to.store); },
            [&, stops_at_first = stops](target &to, int result) {
                const std::string copied = instances_of(*to.store);
                EXPECT_EQ(copied == whole, result == 0);
                if (stops_at_first) {
                    EXPECT_TRUE(whole.starts_with(copied)) << copied;
                }
                for_each_instance(*to.store, [&](const vesk_instance &instance) {
                    EXPECT_NE(whole.find(text_of(instance)), whole.npos) << text_of(instance);
                });
            });
    }
}

} // namespace
} // namespace vesk::test
