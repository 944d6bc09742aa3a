#include "vesk/changes.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pipeline/changes.h"
#include "tests/support/model.h"

namespace {

using vesk::test::names_of;

/** A collection with instances of every kind, whose changes are followed from begin() on. */
class changes_test : public vesk::test::fixture {
  protected:
    changes_test()
    {
        add_class("system", VESK_CLASS_SINGLETON, {"hostname"});
        add_class("route", VESK_CLASS_ANONYMOUS, {"target", "gateway"});
        add_class("vlan", VESK_CLASS_UNIQUE_NAMED, {"id", "status"});
        add_class("acl", VESK_CLASS_GROUP_NAMED, {"mac"});
        add_abstract("interface", {"status"});
        add_subclass("wired", "interface", {"speed"});
        add_subclass("wireless", "interface", {"channel"});
        freeze();
        system = add("system", nullptr, {{"hostname", "ap"}});
        route = add("route", nullptr, {{"target", "10.0.0.0"}});
        vlan1 = add("vlan", "v1", {{"id", "1"}, {"status", "up"}});
        vlan2 = add("vlan", "v2", {{"id", "2"}});
        acl = add("acl", "guests", {{"mac", "a"}});
        wired = add("wired", "eth0", {{"type", "wired"}, {"speed", "100"}});
    }

    ~changes_test() override { changes.reset(); }

    vesk_instance *add(const char *class_name, const char *name,
                       std::initializer_list<std::pair<const char *, const char *>> values = {})
    {
        vesk_instance *instance = make(class_name, name, values).release();
        EXPECT_EQ(vesk_instances_add(running.get(), instance), 0) << logged();
        return instance;
    }

    /** Takes an instance out; the test keeps it to its end. */
    void remove(vesk_instance *instance)
    {
        EXPECT_EQ(vesk_instances_remove(running.get(), instance), 0);
        removed_.emplace_back(instance);
    }

    static void set(vesk_instance *instance, const char *property, const char *value)
    {
        EXPECT_EQ(vesk_instance_set_value(instance, property, value), 0);
    }

    vesk::changes_ptr follow() { return vesk::changes_ptr{vesk_changes_new(running.get())}; }

    static std::string changed(const vesk::changes_ptr &set, const char *class_name)
    {
        return names_of(vesk_changes_new_class_instances_iterator(set.get(), class_name));
    }
    static std::string deleted(const vesk::changes_ptr &set, const char *class_name)
    {
        return names_of(vesk_changes_new_deleted_class_instances_iterator(set.get(), class_name));
    }
    static int contains(const vesk::changes_ptr &set, vesk_instance *instance)
    {
        return vesk_changes_contains_instance(set.get(), instance);
    }
    static int contains(const vesk::changes_ptr &set, vesk_instance *instance, const char *property)
    {
        return vesk_changes_contains_property(set.get(), instance, property);
    }

    static std::string print(vesk_changes *set)
    {
        return vesk::test::printed([=](FILE *stream) { vesk_changes_print(set, stream); });
    }

    /** Whether anybody listens to the collection or to an instance of it. */
    bool is_followed() const
    {
        bool followed = running->hook.listener || running->hook.data;
        vesk::for_each_instance(*running, [&](const vesk_instance &instance) {
            followed = followed || instance.hook.listener || instance.hook.data;
        });
        return followed;
    }

    vesk::full_instances_ptr running{vesk_instances_new()};
    vesk_instance *system, *route, *vlan1, *vlan2, *acl, *wired;
    vesk::changes_ptr changes;

  private:
    std::vector<vesk::instance_ptr> removed_;
};

using ChangesNew = changes_test;
using ChangesInstanceUpdated = changes_test;
using ChangesInstanceInserted = changes_test;
using ChangesInstanceDeleted = changes_test;
using ChangesAddProperty = changes_test;
using ChangesGetBefore = changes_test;
using ChangesGetInstanceBefore = changes_test;
using ChangesNewClassInstancesIterator = changes_test;
using ChangesNewDeletedClassInstancesIterator = changes_test;
using ChangesContainsClass = changes_test;
using ChangesContainsInstance = changes_test;
using ChangesContainsProperty = changes_test;
using ChangesPrint = changes_test;
using ChangesDelete = changes_test;
using NestedChanges = changes_test;

TEST_F(ChangesNew, RefusesNull)
{
    EXPECT_EQ(vesk_changes_new(nullptr), nullptr);
    EXPECT_EQ(logged(), "vesk: vesk_changes_new: Null after.\n");
}

TEST_F(ChangesNew, ReportsNullAtLevelZeroToo)
{
    vesk::test::set_level(0);
    EXPECT_EQ(vesk_changes_new(nullptr), nullptr);
    EXPECT_EQ(logged(), "vesk: vesk_changes_new: Null after.\n");
}

TEST_F(ChangesNew, CopiesEveryInstanceInOrder)
{
    changes = follow();
    vesk_instances *before = vesk_changes_get_before(changes.get());
    ASSERT_NE(before, running.get());
    EXPECT_EQ(
        vesk::test::printed([&](FILE *stream) { vesk_instances_print(before, stream); }),
        vesk::test::printed([&](FILE *stream) { vesk_instances_print(running.get(), stream); }));
    EXPECT_EQ(names_of(vesk_instances_new_iterator(before)), "- - v1 v2 guests eth0");
}

TEST_F(ChangesNew, BeginsWithoutAnyChange)
{
    changes = follow();
    for (vesk_instance *instance : {system, route, vlan1, vlan2, acl, wired})
        EXPECT_EQ(contains(changes, instance), 0);
    for (const char *name : {"system", "route", "vlan", "acl", "interface", "wired", "wireless"})
        EXPECT_EQ(vesk_changes_contains_class(changes.get(), name), 0) << name;
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesNew, FollowsAnEmptyCollection)
{
    vesk::full_instances_ptr empty{vesk_instances_new()};
    changes.reset(vesk_changes_new(empty.get()));
    vesk_instance *instance = make("vlan", "v1").release();
    vesk_instances_add(empty.get(), instance);
    EXPECT_EQ(contains(changes, instance), 1);
    EXPECT_EQ(vesk_instances_is_empty(vesk_changes_get_before(changes.get())), 1);
    changes.reset();
}

TEST_F(ChangesNew, RecordsAValueThatIsSet)
{
    changes = follow();
    set(vlan1, "id", "5");
    EXPECT_EQ(contains(changes, vlan1), 1);
    EXPECT_EQ(contains(changes, vlan1, "id"), 1);
    EXPECT_EQ(contains(changes, vlan1, "status"), 0);
    EXPECT_EQ(contains(changes, vlan2), 0);
    EXPECT_EQ(changed(changes, "vlan"), "v1");
}

TEST_F(ChangesNew, RecordsAValueThatStaysTheSame)
{
    changes = follow();
    set(vlan1, "id", "1");
    EXPECT_EQ(contains(changes, vlan1, "id"), 1);
}

TEST_F(ChangesNew, RecordsAPropertySetTwiceOnce)
{
    changes = follow();
    set(vlan1, "id", "5");
    set(vlan1, "id", "6");
    EXPECT_EQ(changed(changes, "vlan"), "v1");
    EXPECT_EQ(changes->records.get(vlan1)->slots.size(), 1u);
}

TEST_F(ChangesNew, RecordsNoValueThatIsRefused)
{
    changes = follow();
    EXPECT_EQ(vesk_instance_set_value(vlan1, "id", "bad"), 1);
    EXPECT_EQ(contains(changes, vlan1), 0);
}

TEST_F(ChangesNew, RecordsTheOrderOfFirstChanges)
{
    changes = follow();
    set(vlan2, "id", "5");
    set(vlan1, "id", "6");
    set(vlan2, "status", "up");
    EXPECT_EQ(changed(changes, "vlan"), "v2 v1");
}

TEST_F(ChangesNew, ReportsAnUnknownEventOfTheCollection)
{
    changes = follow();
    vesk::test::set_level(0);
    const vesk::instances_hook hook = running->hook;
    hook.listener(vlan1, 2, hook.data);
    EXPECT_EQ(logged(), "vesk: instances_changed() for vesk_changes: Unidentified action "
                        "request.\n");
    EXPECT_EQ(contains(changes, vlan1), 0);
}

TEST_F(ChangesInstanceUpdated, RefusesNull)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_instance_updated(nullptr, vlan1), 1);
    EXPECT_EQ(vesk_changes_instance_updated(changes.get(), nullptr), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesInstanceUpdated, EntersAnInstanceOnce)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_instance_updated(changes.get(), route), 0);
    EXPECT_EQ(vesk_changes_instance_updated(changes.get(), route), 0);
    EXPECT_EQ(contains(changes, route), 1);
    EXPECT_EQ(changed(changes, "route"), "-");
}

TEST_F(ChangesInstanceUpdated, IgnoresAnInstanceOfAnotherCollection)
{
    changes = follow();
    const auto other = make("vlan", "v9");
    EXPECT_EQ(vesk_changes_instance_updated(changes.get(), other.get()), 0);
    EXPECT_EQ(contains(changes, other.get()), 0);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "vlan"), 0);
}

TEST_F(ChangesInstanceInserted, RefusesNull)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_instance_inserted(nullptr, vlan1), 1);
    EXPECT_EQ(vesk_changes_instance_inserted(changes.get(), nullptr), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesInstanceInserted, RecordsAnAddedInstanceWithItsValues)
{
    changes = follow();
    vesk_instance *instance = add("vlan", "v3", {{"id", "3"}});
    EXPECT_EQ(contains(changes, instance), 1);
    EXPECT_EQ(contains(changes, instance, "id"), 1);
    EXPECT_EQ(contains(changes, instance, "status"), 0);
    EXPECT_EQ(changed(changes, "vlan"), "v3");
    EXPECT_EQ(vesk_changes_get_instance_before(changes.get(), instance), nullptr);
}

TEST_F(ChangesInstanceInserted, RecordsThePropertiesOfTheSuperclassAndOfTheClass)
{
    changes = follow();
    vesk_instance *instance =
        add("wired", "eth1", {{"speed", "10"}, {"type", "wired"}, {"status", "up"}});
    std::string names;
    vesk::for_each_property(*instance->cls, [&](const vesk_property &property) {
        if (contains(changes, instance, property.name.c_str())) names += property.name + " ";
    });
    EXPECT_EQ(names, "status type speed ");
}

TEST_F(ChangesInstanceInserted, DoesNothingTheSecondTime)
{
    changes = follow();
    vesk_instance *instance = add("vlan", "v3", {{"id", "3"}});
    EXPECT_EQ(vesk_changes_instance_inserted(changes.get(), instance), 0);
    EXPECT_EQ(changed(changes, "vlan"), "v3");
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesInstanceInserted, DoesNothingForAnInstanceThatWasThere)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_instance_inserted(changes.get(), vlan1), 0);
    EXPECT_EQ(contains(changes, vlan1), 0);
    EXPECT_EQ(contains(changes, vlan1, "id"), 0);
}

TEST_F(ChangesInstanceInserted, LeavesLaterValuesUnrecorded)
{
    changes = follow();
    vesk_instance *instance = add("vlan", "v3", {{"id", "3"}});
    set(instance, "status", "up");
    EXPECT_EQ(contains(changes, instance), 1);
    EXPECT_EQ(contains(changes, instance, "status"), 0);
}

TEST_F(ChangesInstanceInserted, RecordsASecondInstanceOfAGroup)
{
    changes = follow();
    add("acl", "guests", {{"mac", "b"}});
    EXPECT_EQ(changed(changes, "acl"), "guests");
}

TEST_F(ChangesInstanceDeleted, RefusesNull)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_instance_deleted(nullptr, vlan1), 1);
    EXPECT_EQ(vesk_changes_instance_deleted(changes.get(), nullptr), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesInstanceDeleted, KeepsTheValuesFromTheBeginning)
{
    changes = follow();
    set(vlan1, "id", "5");
    remove(vlan1);
    EXPECT_EQ(changed(changes, "vlan"), "");
    EXPECT_EQ(deleted(changes, "vlan"), "v1");
    vesk_instances_iterator *iterator =
        vesk_changes_new_deleted_class_instances_iterator(changes.get(), "vlan");
    vesk_instance *copy = vesk_instances_iterator_next(iterator);
    vesk_instances_delete_iterator(iterator);
    EXPECT_NE(copy, vlan1);
    EXPECT_STREQ(vesk_instance_get_value(copy, "id"), "1");
    EXPECT_EQ(copy, vesk_instances_get(vesk_changes_get_before(changes.get()), "vlan", "v1"));
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesInstanceDeleted, ForgetsTheInstance)
{
    changes = follow();
    set(vlan1, "id", "5");
    remove(vlan1);
    EXPECT_EQ(contains(changes, vlan1), 0);
    EXPECT_EQ(contains(changes, vlan1, "id"), 0);
    EXPECT_EQ(vesk_changes_get_instance_before(changes.get(), vlan1), nullptr);
}

TEST_F(ChangesInstanceDeleted, RecordsEveryKindOfClass)
{
    changes = follow();
    for (vesk_instance *instance : {system, route, vlan2, acl, wired})
        remove(instance);
    EXPECT_EQ(deleted(changes, "system"), "-");
    EXPECT_EQ(deleted(changes, "route"), "-");
    EXPECT_EQ(deleted(changes, "vlan"), "v2");
    EXPECT_EQ(deleted(changes, "acl"), "guests");
    EXPECT_EQ(deleted(changes, "interface"), "eth0");
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesInstanceDeleted, LeavesNoTraceOfAnInstanceInsertedBefore)
{
    changes = follow();
    vesk_instance *instance = add("vlan", "v3", {{"id", "3"}});
    remove(instance);
    EXPECT_EQ(changed(changes, "vlan"), "");
    EXPECT_EQ(deleted(changes, "vlan"), "");
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "vlan"), 0);
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instances_add)\n");
}

TEST_F(ChangesInstanceDeleted, DoesNothingForAnUnknownInstance)
{
    changes = follow();
    const auto other = make("vlan", "v1");
    EXPECT_EQ(vesk_changes_instance_deleted(changes.get(), other.get()), 0);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "vlan"), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesInstanceDeleted, DoesNothingTheSecondTime)
{
    changes = follow();
    remove(vlan1);
    EXPECT_EQ(vesk_changes_instance_deleted(changes.get(), vlan1), 0);
    EXPECT_EQ(deleted(changes, "vlan"), "v1");
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesInstanceDeleted, TellsAReplacedInstanceFromItsPredecessor)
{
    changes = follow();
    remove(system);
    vesk_instance *instance = add("system", nullptr, {{"hostname", "new"}});
    EXPECT_EQ(contains(changes, instance), 1);
    EXPECT_EQ(changed(changes, "system"), "-");
    EXPECT_EQ(deleted(changes, "system"), "-");
    EXPECT_EQ(vesk_changes_get_instance_before(changes.get(), instance), nullptr);
}

TEST_F(ChangesInstanceDeleted, LetsARemovedInstanceBeChanged)
{
    changes = follow();
    remove(vlan1);
    set(vlan1, "id", "5");
    EXPECT_EQ(contains(changes, vlan1), 0);
    EXPECT_EQ(changed(changes, "vlan"), "");
}

TEST_F(ChangesInstanceDeleted, TakesAnInstanceBackAsInserted)
{
    changes = follow();
    ASSERT_EQ(vesk_instances_remove(running.get(), vlan1), 0);
    ASSERT_EQ(vesk_instances_add(running.get(), vlan1), 0);
    EXPECT_EQ(changed(changes, "vlan"), "v1");
    EXPECT_EQ(deleted(changes, "vlan"), "v1");
    EXPECT_EQ(contains(changes, vlan1, "id"), 1);
    EXPECT_EQ(vesk_changes_get_instance_before(changes.get(), vlan1), nullptr);
}

TEST_F(ChangesAddProperty, RefusesNull)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_add_property(nullptr, vlan1, "id"), 1);
    EXPECT_EQ(vesk_changes_add_property(changes.get(), nullptr, "id"), 1);
    EXPECT_EQ(vesk_changes_add_property(changes.get(), vlan1, nullptr), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesAddProperty, RecordsAPropertyOnceAndNothingElse)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_add_property(changes.get(), vlan1, "id"), 0);
    EXPECT_EQ(vesk_changes_add_property(changes.get(), vlan1, "id"), 0);
    EXPECT_EQ(contains(changes, vlan1, "id"), 1);
    EXPECT_EQ(contains(changes, vlan1), 0);
    EXPECT_EQ(changed(changes, "vlan"), "");
}

TEST_F(ChangesAddProperty, CopiesTheName)
{
    changes = follow();
    char property[] = "id";
    vesk_changes_add_property(changes.get(), vlan1, property);
    property[0] = 'x';
    EXPECT_EQ(contains(changes, vlan1, "id"), 1);
}

TEST_F(ChangesAddProperty, IgnoresAnUnrecordedInstance)
{
    changes = follow();
    const auto other = make("vlan", "v9");
    EXPECT_EQ(vesk_changes_add_property(changes.get(), other.get(), "id"), 0);
    EXPECT_EQ(contains(changes, other.get(), "id"), 0);
}

TEST_F(ChangesGetBefore, GivesNullForNull)
{
    EXPECT_EQ(vesk_changes_get_before(nullptr), nullptr);
}

TEST_F(ChangesGetBefore, KeepsTheValuesFromTheBeginning)
{
    changes = follow();
    set(system, "hostname", "new");
    add("vlan", "v3");
    remove(vlan2);
    vesk_instances *before = vesk_changes_get_before(changes.get());
    EXPECT_EQ(names_of(vesk_instances_new_iterator(before)), "- - v1 v2 guests eth0");
    EXPECT_STREQ(
        vesk_instance_get_value(vesk_instances_get_singleton(before, "system"), "hostname"), "ap");
}

TEST_F(ChangesGetInstanceBefore, GivesTheCopyAlsoAfterAChange)
{
    changes = follow();
    vesk_instance *before = vesk_changes_get_instance_before(changes.get(), vlan1);
    ASSERT_TRUE(before);
    set(vlan1, "id", "5");
    EXPECT_EQ(vesk_changes_get_instance_before(changes.get(), vlan1), before);
    EXPECT_STREQ(vesk_instance_get_name(before), "v1");
    EXPECT_STREQ(vesk_instance_get_value(before, "id"), "1");
}

TEST_F(ChangesGetInstanceBefore, GivesNullForNullAndUnknownOnes)
{
    changes = follow();
    const auto other = make("vlan", "v1");
    EXPECT_EQ(vesk_changes_get_instance_before(nullptr, vlan1), nullptr);
    EXPECT_EQ(vesk_changes_get_instance_before(changes.get(), nullptr), nullptr);
    EXPECT_EQ(vesk_changes_get_instance_before(changes.get(), other.get()), nullptr);
}

TEST_F(ChangesNewClassInstancesIterator, GivesNullForNullAndUnknownClasses)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_new_class_instances_iterator(nullptr, "vlan"), nullptr);
    logged();
    EXPECT_EQ(vesk_changes_new_class_instances_iterator(changes.get(), "none"), nullptr);
    EXPECT_EQ(logged(), "vesk: Unknown class \"none\".\n");
}

TEST_F(ChangesNewClassInstancesIterator, WalksTheSubclassesOfAnAbstractClass)
{
    changes = follow();
    add("wireless", "wlan0");
    set(wired, "speed", "10");
    EXPECT_EQ(changed(changes, "interface"), "eth0 wlan0");
    EXPECT_EQ(changed(changes, "wireless"), "wlan0");
}

TEST_F(ChangesNewClassInstancesIterator, GivesTheLiveInstances)
{
    changes = follow();
    set(vlan1, "id", "5");
    vesk_instances_iterator *iterator =
        vesk_changes_new_class_instances_iterator(changes.get(), "vlan");
    EXPECT_EQ(vesk_instances_iterator_next(iterator), vlan1);
    vesk_instances_delete_iterator(iterator);
}

TEST_F(ChangesNewDeletedClassInstancesIterator, GivesNullForNullAndUnknownClasses)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_new_deleted_class_instances_iterator(nullptr, "vlan"), nullptr);
    logged();
    EXPECT_EQ(vesk_changes_new_deleted_class_instances_iterator(changes.get(), "none"), nullptr);
    EXPECT_EQ(logged(), "vesk: Unknown class \"none\".\n");
}

TEST_F(ChangesContainsClass, AnswersZeroForNull)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_contains_class(nullptr, "vlan"), 0);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), nullptr), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesContainsClass, AnswersZeroForAnUnknownClass)
{
    changes = follow();
    set(vlan1, "id", "5");
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "none"), 0);
}

TEST_F(ChangesContainsClass, SeesUpdatesAndInsertions)
{
    changes = follow();
    set(vlan1, "id", "5");
    add("wireless", "wlan0");
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "vlan"), 1);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "wireless"), 1);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "interface"), 1);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "wired"), 0);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "acl"), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesContainsClass, SeesADeletionAlsoOfTheLastInstance)
{
    changes = follow();
    remove(wired);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "wired"), 1);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "interface"), 1);
    EXPECT_EQ(vesk_changes_contains_class(changes.get(), "wireless"), 0);
}

TEST_F(ChangesContainsInstance, AnswersZeroForNull)
{
    changes = follow();
    EXPECT_EQ(vesk_changes_contains_instance(nullptr, vlan1), 0);
    EXPECT_EQ(vesk_changes_contains_instance(changes.get(), nullptr), 0);
}

TEST_F(ChangesContainsInstance, TellsObjectsOfTheSameNameApart)
{
    changes = follow();
    set(vlan1, "id", "5");
    const auto other = make("vlan", "v1", {{"id", "5"}});
    EXPECT_EQ(contains(changes, other.get()), 0);
}

TEST_F(ChangesContainsProperty, AnswersZeroForNull)
{
    changes = follow();
    set(vlan1, "id", "5");
    EXPECT_EQ(vesk_changes_contains_property(nullptr, vlan1, "id"), 0);
    EXPECT_EQ(vesk_changes_contains_property(changes.get(), nullptr, "id"), 0);
    EXPECT_EQ(vesk_changes_contains_property(changes.get(), vlan1, nullptr), 0);
}

TEST_F(ChangesContainsProperty, SeesAPropertyOfTheSuperclass)
{
    changes = follow();
    set(wired, "status", "up");
    EXPECT_EQ(contains(changes, wired, "status"), 1);
    EXPECT_EQ(contains(changes, wired, "speed"), 0);
}

TEST_F(ChangesPrint, SaysThatThereIsNoChangeSet)
{
    EXPECT_EQ(print(nullptr), "Null changes.\n");
}

TEST_F(ChangesPrint, ShowsHeadersWithoutChanges)
{
    changes = follow();
    EXPECT_EQ(print(changes.get()), "Changed (updated or inserted) instances:\n"
                                    "\n"
                                    "Deleted instances:\n"
                                    "\n");
}

TEST_F(ChangesPrint, ShowsNewAndOldValues)
{
    changes = follow();
    set(vlan1, "id", "5");
    add("vlan", "v3", {{"id", "3"}});
    set(system, "hostname", "new");
    set(wired, "speed", "10");
    remove(vlan2);
    remove(wired);
    EXPECT_EQ(print(changes.get()), "Changed (updated or inserted) instances:\n"
                                    "Instance name: v1\tclass: vlan\n"
                                    "   status =\tup\n"
                                    "   id =\t5\n"
                                    "\n"
                                    "Instance name: v3\tclass: vlan\n"
                                    "   id =\t3\n"
                                    "\n"
                                    "\n"
                                    "Instance name: n/a\tclass: system\n"
                                    "   hostname =\tnew\n"
                                    "\n"
                                    "\n"
                                    "\n"
                                    "\n"
                                    "Deleted instances:\n"
                                    "Instance name: v2\tclass: vlan\n"
                                    "   id =\t2\n"
                                    "\n"
                                    "\n"
                                    "Instance name: eth0\tclass: wired\n"
                                    "   type =\twired\n"
                                    "   speed =\t100\n"
                                    "\n"
                                    "\n"
                                    "\n");
}

TEST_F(ChangesDelete, IgnoresNull)
{
    vesk_changes_delete(nullptr);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesDelete, EndsTheFollowing)
{
    changes = follow();
    EXPECT_TRUE(is_followed());
    vesk_instance *instance = add("vlan", "v3");
    remove(vlan2);
    changes.reset();
    EXPECT_FALSE(is_followed());
    set(vlan1, "id", "5");
    set(instance, "id", "5");
    remove(instance);
    EXPECT_EQ(logged(), "");
}

TEST_F(ChangesDelete, LeavesTheLiveInstancesAlone)
{
    changes = follow();
    set(vlan1, "id", "5");
    changes.reset();
    EXPECT_EQ(names_of(vesk_instances_new_iterator(running.get())), "- - v1 v2 guests eth0");
    EXPECT_STREQ(vesk_instance_get_value(vlan1, "id"), "5");
}

TEST_F(ChangesDelete, LeavesARemovedInstanceUsable)
{
    changes = follow();
    remove(vlan1);
    changes.reset();
    ASSERT_EQ(vlan1->hook.listener, nullptr);
    set(vlan1, "id", "5");
    EXPECT_STREQ(vesk_instance_get_value(vlan1, "id"), "5");
}

TEST_F(ChangesDelete, LetsAnotherChangeSetBegin)
{
    changes = follow();
    set(vlan1, "id", "5");
    changes.reset();
    changes = follow();
    EXPECT_EQ(contains(changes, vlan1), 0);
    EXPECT_STREQ(
        vesk_instance_get_value(vesk_changes_get_instance_before(changes.get(), vlan1), "id"), "5");
    set(vlan1, "id", "6");
    EXPECT_EQ(contains(changes, vlan1), 1);
}

TEST_F(NestedChanges, KeepAValueSetFromTheOuterOne)
{
    changes = follow();
    auto inner = follow();
    set(vlan1, "id", "5");
    EXPECT_EQ(contains(inner, vlan1, "id"), 1);
    EXPECT_EQ(contains(changes, vlan1), 0);
    inner.reset();
    EXPECT_EQ(contains(changes, vlan1), 0);
}

TEST_F(NestedChanges, LetTheOuterOneRecordAgainAfterwards)
{
    changes = follow();
    set(vlan1, "id", "5");
    auto inner = follow();
    set(vlan2, "id", "6");
    inner.reset();
    set(vlan2, "status", "up");
    vesk_instance *instance = add("vlan", "v3");
    remove(acl);
    EXPECT_EQ(contains(changes, vlan1, "id"), 1);
    EXPECT_EQ(contains(changes, vlan2, "status"), 1);
    EXPECT_EQ(contains(changes, vlan2, "id"), 0);
    EXPECT_EQ(contains(changes, instance), 1);
    EXPECT_EQ(deleted(changes, "acl"), "guests");
}

TEST_F(NestedChanges, TellTheOuterOneOfARemoval)
{
    changes = follow();
    set(vlan1, "id", "5");
    auto inner = follow();
    remove(vlan1);
    remove(vlan2);
    EXPECT_EQ(deleted(inner, "vlan"), "v1 v2");
    EXPECT_EQ(deleted(changes, "vlan"), "v1 v2");
    EXPECT_EQ(changed(changes, "vlan"), "");
    inner.reset();
    EXPECT_EQ(deleted(changes, "vlan"), "v1 v2");
    EXPECT_STREQ(
        vesk_instance_get_value(
            vesk_instances_get(vesk_changes_get_before(changes.get()), "vlan", "v1"), "id"),
        "1");
}

TEST_F(NestedChanges, ForgetAnInstanceOfTheOuterOneThatIsRemoved)
{
    changes = follow();
    vesk_instance *instance = add("vlan", "v3");
    auto inner = follow();
    remove(instance);
    inner.reset();
    EXPECT_EQ(changed(changes, "vlan"), "");
    EXPECT_EQ(deleted(changes, "vlan"), "");
}

TEST_F(NestedChanges, BeginWithTheValuesOfTheirTime)
{
    changes = follow();
    set(vlan1, "id", "5");
    auto inner = follow();
    set(vlan1, "id", "6");
    EXPECT_STREQ(
        vesk_instance_get_value(vesk_changes_get_instance_before(inner.get(), vlan1), "id"), "5");
    EXPECT_STREQ(
        vesk_instance_get_value(vesk_changes_get_instance_before(changes.get(), vlan1), "id"), "1");
}

TEST_F(NestedChanges, LeaveNobodyListeningInTheEnd)
{
    changes = follow();
    auto inner = follow();
    add("vlan", "v3");
    remove(vlan1);
    inner.reset();
    EXPECT_TRUE(is_followed());
    changes.reset();
    EXPECT_FALSE(is_followed());
    set(vlan2, "id", "5");
}

TEST_F(NestedChanges, LeaveARemovedInstanceUsable)
{
    changes = follow();
    auto inner = follow();
    remove(vlan1);
    inner.reset();
    changes.reset();
    ASSERT_EQ(vlan1->hook.listener, nullptr);
    set(vlan1, "id", "5");
}

TEST_F(NestedChanges, LeaveNobodyListeningWhenDeletedInTheWrongOrder)
{
    changes = follow();
    auto inner = follow();
    changes.reset();
    set(vlan1, "id", "5");
    remove(vlan2);
    vesk_instance *instance = add("vlan", "v3");
    EXPECT_EQ(contains(inner, vlan1, "id"), 1);
    EXPECT_EQ(contains(inner, instance), 1);
    EXPECT_EQ(deleted(inner, "vlan"), "v2");
    inner.reset();
    EXPECT_FALSE(is_followed());
    set(vlan1, "id", "6");
    set(instance, "id", "6");
}

TEST_F(NestedChanges, MayBeThreeOfWhichTheMiddleOneEndsFirst)
{
    changes = follow();
    auto middle = follow();
    auto inner = follow();
    middle.reset();
    set(vlan1, "id", "5");
    EXPECT_EQ(contains(inner, vlan1, "id"), 1);
    inner.reset();
    set(vlan1, "status", "down");
    EXPECT_EQ(contains(changes, vlan1, "status"), 1);
    EXPECT_EQ(contains(changes, vlan1, "id"), 0);
    changes.reset();
    EXPECT_FALSE(is_followed());
}

TEST_F(NestedChanges, MayBeThreeOfWhichTheOutermostEndsFirst)
{
    changes = follow();
    auto middle = follow();
    auto inner = follow();
    changes.reset();
    remove(vlan2);
    inner.reset();
    set(vlan1, "id", "5");
    EXPECT_EQ(contains(middle, vlan1, "id"), 1);
    EXPECT_EQ(deleted(middle, "vlan"), "v2");
    middle.reset();
    EXPECT_FALSE(is_followed());
}

TEST_F(NestedChanges, TellEveryOuterOneOfARemoval)
{
    changes = follow();
    auto middle = follow();
    auto inner = follow();
    remove(vlan1);
    for (const auto *set : {&changes, &middle, &inner})
        EXPECT_EQ(deleted(*set, "vlan"), "v1");
}

TEST_F(NestedChanges, DoNotMixUpTwoCollections)
{
    const vesk::full_instances_ptr other{vesk_instances_copy(running.get())};
    changes = follow();
    vesk::changes_ptr second{vesk_changes_new(other.get())};
    set(vlan1, "id", "5");
    remove(vlan2);
    EXPECT_EQ(contains(changes, vlan1, "id"), 1);
    EXPECT_EQ(vesk_changes_contains_class(second.get(), "vlan"), 0);
    second.reset();
    set(vlan1, "status", "down");
    EXPECT_EQ(contains(changes, vlan1, "status"), 1);
}

} // namespace
