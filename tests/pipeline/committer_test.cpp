#include "vesk/committer.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "config/running.h"
#include "pipeline/changes.h"
#include "pipeline/committer.h"
#include "tests/support/model.h"
#include "vesk/commit_info.h"
#include "vesk/query.h"

namespace {

using vesk::test::set_level;

/** What was called, joined by ", ". */
std::string calls;

/** What the next callback does besides, once. */
std::function<void(vesk_instance *)> meanwhile;

void note(const std::string &call, vesk_instance *instance = nullptr)
{
    calls += (calls.empty() ? "" : ", ") + call;
    if (const auto action = std::exchange(meanwhile, nullptr)) action(instance);
}

std::string text(const char *value)
{
    return value ? value : "null";
}

/** The name, of a member of a group also its "mac"; "-" for none. */
std::string id(const vesk_instance *instance)
{
    if (!instance) return "null";
    const char *name = vesk_instance_get_name(instance);
    const char *mac = vesk_instance_get_value(instance, "mac");
    return (name ? name : "-") + (mac ? std::string{":"} + mac : "");
}

void prepare(vesk_commit_info *)
{
    note("pre");
}

void created(vesk_instance *instance)
{
    note("create " + id(instance), instance);
}

void deleted(vesk_instance *before, vesk_commit_info *)
{
    note("delete " + id(before));
}

void group_changed(vesk_instances *, const char *class_name, const char *name, vesk_commit_info *)
{
    note("group " + text(class_name) + " " + text(name));
}

void changed(vesk_instance *after, vesk_instance *before, vesk_commit_info *)
{
    note("change " + id(after) + " " + id(before), after);
}

void property_changed(vesk_instance *instance, const char *property, const char *value,
                      const char *old)
{
    note("property " + id(instance) + " " + text(property) + " " + text(value) + " " + text(old),
         instance);
}

/** The record of the last call that got one, and what else that call got. */
vesk_commit_info *record_seen;
vesk_instances *collection_seen;
vesk_instance *instance_seen;

/** A committer, and a collection whose changes are followed from follow() on. */
class committer_test : public vesk::test::fixture {
  protected:
    committer_test()
    {
        calls.clear();
        meanwhile = nullptr;
        record_seen = nullptr;
        collection_seen = nullptr;
        instance_seen = nullptr;
        add_class("system", VESK_CLASS_SINGLETON, {"hostname"});
        add_class("route", VESK_CLASS_ANONYMOUS, {"target"});
        add_class("vlan", VESK_CLASS_UNIQUE_NAMED, {"id", "status", "note"});
        add_class("acl", VESK_CLASS_GROUP_NAMED, {"mac", "comment"});
        add_class("filter", VESK_CLASS_GROUP_NAMED, {"rule"});
        add_abstract("interface", {"status"});
        add_subclass("wired", "interface", {"speed"});
        add_subclass("wireless", "interface", {"channel"});
        freeze();
    }

    ~committer_test() override
    {
        changes.reset();
        meanwhile = nullptr;
    }

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

    void follow() { changes.reset(vesk_changes_new(running.get())); }

    void commit_with(vesk_instances *before)
    {
        vesk_commit_info *info =
            vesk_commit_info_new(before, running.get(), changes.get(), nullptr, committer.get());
        calls.clear();
        vesk_committer_fn(info);
        vesk_commit_info_delete(info);
    }

    /** What is called in a commit of the changes since follow(). */
    std::string commit()
    {
        commit_with(vesk_changes_get_before(changes.get()));
        return calls;
    }

    /** Has all callbacks of a class with the property; without groups for other classes. */
    void watch(const char *class_name, const char *property, bool groups = false)
    {
        vesk_committer *all = committer.get();
        if (groups) {
            EXPECT_EQ(vesk_committer_set_group_change_fn(all, class_name, group_changed), 0);
        }
        EXPECT_EQ(vesk_committer_set_instance_create_fn(all, class_name, created), 0);
        EXPECT_EQ(vesk_committer_set_instance_delete_fn(all, class_name, deleted), 0);
        EXPECT_EQ(vesk_committer_set_instance_change_fn(all, class_name, changed, 1), 0);
        EXPECT_EQ(
            vesk_committer_set_property_change_fn(all, class_name, property, property_changed), 0);
    }

    vesk::full_instances_ptr running{vesk_instances_new()};
    vesk::changes_ptr changes;
    std::unique_ptr<vesk_committer> committer{vesk_committer_new()};

  private:
    std::vector<vesk::instance_ptr> removed_;
};

using CommitterNew = committer_test;
using CommitterSetPreCommitFn = committer_test;
using CommitterSetInstanceCreateFn = committer_test;
using CommitterSetInstanceDeleteFn = committer_test;
using CommitterSetGroupChangeFn = committer_test;
using CommitterSetInstanceChangeFn = committer_test;
using CommitterSetPropertyChangeFn = committer_test;
using CommitterFn = committer_test;

// ---- Setters ------------------------------------------------------------------------------------

TEST_F(CommitterNew, HasNoCallbacks)
{
    ASSERT_TRUE(committer);
    follow();
    add("vlan", "v1", {{"id", "1"}});
    EXPECT_EQ(commit(), "");
    EXPECT_EQ(logged(), "");
}

TEST_F(CommitterSetPreCommitFn, RefusesNulls)
{
    EXPECT_EQ(vesk_committer_set_pre_commit_fn(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null committer.\n");
    EXPECT_EQ(vesk_committer_set_pre_commit_fn(committer.get(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null pre_commit.\n");
}

TEST_F(CommitterSetPreCommitFn, ReplacesTheFunction)
{
    EXPECT_EQ(vesk_committer_set_pre_commit_fn(committer.get(), prepare), 0);
    EXPECT_EQ(vesk_committer_set_pre_commit_fn(committer.get(),
                                               [](vesk_commit_info *) { note("other"); }),
              0);
    follow();
    EXPECT_EQ(commit(), "other");
}

TEST_F(CommitterSetPreCommitFn, KeepsTheFunctionWhenItRefusesNull)
{
    vesk_committer_set_pre_commit_fn(committer.get(), prepare);
    vesk_committer_set_pre_commit_fn(committer.get(), nullptr);
    follow();
    EXPECT_EQ(commit(), "pre");
}

TEST_F(CommitterSetInstanceCreateFn, RefusesNulls)
{
    EXPECT_EQ(vesk_committer_set_instance_create_fn(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null committer.\n");
    EXPECT_EQ(vesk_committer_set_instance_create_fn(committer.get(), nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_EQ(vesk_committer_set_instance_create_fn(committer.get(), "vlan", nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance_create.\n");
}

TEST_F(CommitterSetInstanceCreateFn, ReplacesTheFunction)
{
    vesk_committer_set_instance_create_fn(committer.get(), "vlan", created);
    EXPECT_EQ(vesk_committer_set_instance_create_fn(committer.get(), "vlan",
                                                    [](vesk_instance *) { note("other"); }),
              0);
    follow();
    add("vlan", "v1");
    EXPECT_EQ(commit(), "other");
}

TEST_F(CommitterSetInstanceDeleteFn, RefusesNulls)
{
    EXPECT_EQ(vesk_committer_set_instance_delete_fn(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null committer.\n");
    EXPECT_EQ(vesk_committer_set_instance_delete_fn(committer.get(), nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_EQ(vesk_committer_set_instance_delete_fn(committer.get(), "vlan", nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance_delete.\n");
}

TEST_F(CommitterSetInstanceDeleteFn, ReplacesTheFunction)
{
    vesk_instance *vlan = add("vlan", "v1");
    vesk_committer_set_instance_delete_fn(committer.get(), "vlan", deleted);
    EXPECT_EQ(
        vesk_committer_set_instance_delete_fn(
            committer.get(), "vlan", [](vesk_instance *, vesk_commit_info *) { note("other"); }),
        0);
    follow();
    remove(vlan);
    EXPECT_EQ(commit(), "other");
}

TEST_F(CommitterSetGroupChangeFn, RefusesInTheOrderOfItsChecks)
{
    const auto set = vesk_committer_set_group_change_fn;
    EXPECT_EQ(set(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null committer.\n");
    EXPECT_EQ(set(committer.get(), nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_EQ(set(committer.get(), "unheard", nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Unknown class \"unheard\".\n");
    EXPECT_EQ(set(committer.get(), "acl", nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null group_change.\n");
}

TEST_F(CommitterSetGroupChangeFn, RefusesAClassThatIsNotGroupNamed)
{
    for (const std::string name : {"system", "route", "vlan", "interface", "wired"}) {
        EXPECT_EQ(vesk_committer_set_group_change_fn(committer.get(), name.c_str(), nullptr), 1);
        EXPECT_EQ(logged(), "vesk: Class \"" + name + "\" is not group-named.\n");
        EXPECT_EQ(vesk_committer_set_group_change_fn(committer.get(), name.c_str(), group_changed),
                  1);
        EXPECT_EQ(logged(), "vesk: Class \"" + name + "\" is not group-named.\n");
    }
    follow();
    add("vlan", "v1");
    EXPECT_EQ(commit(), "");
}

TEST_F(CommitterSetGroupChangeFn, ReplacesTheFunction)
{
    EXPECT_EQ(vesk_committer_set_group_change_fn(committer.get(), "acl", group_changed), 0);
    EXPECT_EQ(vesk_committer_set_group_change_fn(committer.get(), "acl",
                                                 [](vesk_instances *, const char *, const char *,
                                                    vesk_commit_info *) { note("other"); }),
              0);
    follow();
    add("acl", "guests", {{"mac", "a"}});
    EXPECT_EQ(commit(), "other");
}

TEST_F(CommitterSetInstanceChangeFn, RefusesNulls)
{
    EXPECT_EQ(vesk_committer_set_instance_change_fn(nullptr, nullptr, nullptr, 1), 1);
    EXPECT_EQ(logged(), "vesk: Null committer.\n");
    EXPECT_EQ(vesk_committer_set_instance_change_fn(committer.get(), nullptr, nullptr, 1), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_EQ(vesk_committer_set_instance_change_fn(committer.get(), "vlan", nullptr, 1), 1);
    EXPECT_EQ(logged(), "vesk: Null instance_change.\n");
}

TEST_F(CommitterSetInstanceChangeFn, ReplacesTheFunction)
{
    vesk_committer_set_instance_change_fn(committer.get(), "vlan", changed, 0);
    EXPECT_EQ(vesk_committer_set_instance_change_fn(
                  committer.get(), "vlan",
                  [](vesk_instance *, vesk_instance *, vesk_commit_info *) { note("other"); }, 0),
              0);
    follow();
    add("vlan", "v1");
    EXPECT_EQ(commit(), "other");
}

TEST_F(CommitterSetInstanceChangeFn, ReplacesTheFlagToo)
{
    vesk_instance *vlan = add("vlan", "v1");
    vesk_committer_set_instance_change_fn(committer.get(), "vlan", changed, 1);
    vesk_committer_set_instance_change_fn(committer.get(), "vlan", changed, 0);
    follow();
    remove(vlan);
    EXPECT_EQ(commit(), "");
    vesk_committer_set_instance_change_fn(committer.get(), "vlan", changed, 1);
    EXPECT_EQ(commit(), "change null v1");
}

TEST_F(CommitterSetInstanceChangeFn, TakesEveryFlagButZeroAsSet)
{
    vesk_instance *vlan = add("vlan", "v1");
    follow();
    remove(vlan);
    for (const int flag : {1, 2, -1}) {
        vesk_committer_set_instance_change_fn(committer.get(), "vlan", changed, flag);
        EXPECT_EQ(commit(), "change null v1") << flag;
    }
}

TEST_F(CommitterSetPropertyChangeFn, RefusesNulls)
{
    const auto set = vesk_committer_set_property_change_fn;
    EXPECT_EQ(set(nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null committer.\n");
    EXPECT_EQ(set(committer.get(), nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_EQ(set(committer.get(), "vlan", nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_EQ(set(committer.get(), nullptr, "id", property_changed), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_EQ(set(committer.get(), "vlan", "id", nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance_change.\n");
}

TEST_F(CommitterSetPropertyChangeFn, ReplacesTheFunctionAndKeepsItsPlace)
{
    vesk_committer *all = committer.get();
    vesk_committer_set_property_change_fn(all, "vlan", "status", property_changed);
    vesk_committer_set_property_change_fn(all, "vlan", "id", property_changed);
    EXPECT_EQ(vesk_committer_set_property_change_fn(
                  all, "vlan", "id",
                  [](vesk_instance *, const char *, const char *, const char *) { note("other"); }),
              0);
    follow();
    add("vlan", "v1", {{"id", "1"}, {"status", "up"}});
    EXPECT_EQ(commit(), "property v1 status up null, other");
}

TEST_F(CommitterFn, AcceptsClassesAndPropertiesThatNobodyRegistered)
{
    EXPECT_EQ(vesk_committer_set_instance_create_fn(committer.get(), "unheard", created), 0);
    EXPECT_EQ(vesk_committer_set_instance_delete_fn(committer.get(), "unheard", deleted), 0);
    EXPECT_EQ(vesk_committer_set_instance_change_fn(committer.get(), "unheard", changed, 1), 0);
    EXPECT_EQ(
        vesk_committer_set_property_change_fn(committer.get(), "unheard", "of", property_changed),
        0);
    EXPECT_EQ(
        vesk_committer_set_property_change_fn(committer.get(), "vlan", "unheard", property_changed),
        0);
    EXPECT_EQ(logged(), "");
    vesk_committer_set_instance_create_fn(committer.get(), "vlan", created);
    follow();
    add("vlan", "v1");
    EXPECT_EQ(commit(), "create v1") << "an unknown class keeps the others from nothing";
}

TEST_F(CommitterFn, CopiesTheNames)
{
    char class_name[] = "vlan", property[] = "id";
    vesk_committer_set_property_change_fn(committer.get(), class_name, property, property_changed);
    class_name[0] = property[0] = 'x';
    follow();
    add("vlan", "v1", {{"id", "1"}});
    EXPECT_EQ(commit(), "property v1 id 1 null");
}

// ---- Dispatch -----------------------------------------------------------------------------------

TEST_F(CommitterFn, ReportsAMissingCommitter)
{
    committer.reset();
    follow();
    EXPECT_EQ(commit(), "");
    EXPECT_EQ(logged(), "vesk: vesk_committer_fn called without committer as data.\n");
    vesk_committer_fn(nullptr);
    EXPECT_EQ(logged(), "vesk: vesk_committer_fn called without committer as data.\n");
}

TEST_F(CommitterFn, ReportsAMissingCommitterWithoutTracing)
{
    committer.reset();
    follow();
    set_level(5);
    commit();
    EXPECT_EQ(logged(), "vesk: vesk_committer_fn called without committer as data.\n");
}

TEST_F(CommitterFn, ToleratesARecordWithoutChanges)
{
    watch("vlan", "id");
    add("vlan", "v1");
    changes.reset();
    commit_with(running.get());
    EXPECT_EQ(calls, "");
}

TEST_F(CommitterFn, CallsPreCommitOnceBeforeAllClasses)
{
    watch("vlan", "id");
    watch("route", "target");
    vesk_committer_set_pre_commit_fn(committer.get(), prepare);
    follow();
    add("route", nullptr);
    add("vlan", "v1");
    EXPECT_EQ(commit(), "pre, create v1, change v1 null, create -, change - null");
}

TEST_F(CommitterFn, CallsPreCommitWithoutChangesToo)
{
    vesk_committer_set_pre_commit_fn(committer.get(), prepare);
    watch("vlan", "id");
    follow();
    EXPECT_EQ(commit(), "pre");
}

TEST_F(CommitterFn, GoesThroughTheClassesInTheOrderOfTheirFirstSetter)
{
    vesk_committer *all = committer.get();
    vesk_committer_set_property_change_fn(all, "route", "target", property_changed);
    vesk_committer_set_instance_create_fn(all, "vlan", created);
    vesk_committer_set_group_change_fn(all, "acl", group_changed);
    vesk_committer_set_instance_change_fn(all, "system", changed, 0);
    vesk_committer_set_instance_create_fn(all, "route", created);
    follow();
    add("system", nullptr, {{"hostname", "ap"}});
    add("acl", "guests", {{"mac", "a"}});
    add("vlan", "v1");
    add("route", nullptr, {{"target", "t"}});
    EXPECT_EQ(commit(),
              "create -, property - target t null, create v1, group acl guests, change - null");
}

TEST_F(CommitterFn, CallsOnceForAnInstanceAndOnceForEachOfItsProperties)
{
    vesk_instance *vlan = add("vlan", "v1", {{"id", "1"}, {"status", "up"}, {"note", "n"}});
    add("vlan", "v2", {{"id", "2"}});
    watch("vlan", "status");
    vesk_committer_set_property_change_fn(committer.get(), "vlan", "note", property_changed);
    vesk_committer_set_property_change_fn(committer.get(), "vlan", "id", property_changed);
    follow();
    set(vlan, "id", "3");
    set(vlan, "id", "4");
    set(vlan, "status", "down");
    EXPECT_EQ(commit(), "change v1 v1, property v1 status down up, property v1 id 4 1");
}

TEST_F(CommitterFn, CallsForAPropertyThatWasSetToItsOldValue)
{
    vesk_instance *vlan = add("vlan", "v1", {{"id", "1"}});
    watch("vlan", "id");
    follow();
    set(vlan, "id", "1");
    EXPECT_EQ(commit(), "change v1 v1, property v1 id 1 1");
}

TEST_F(CommitterFn, GivesANullOldValueWhereThereWasNone)
{
    vesk_instance *vlan = add("vlan", "v1");
    watch("vlan", "id");
    follow();
    set(vlan, "id", "");
    EXPECT_EQ(commit(), "change v1 v1, property v1 id  null");
}

TEST_F(CommitterFn, CallsForAnUpdateWithoutProperties)
{
    vesk_instance *vlan = add("vlan", "v1", {{"id", "1"}});
    watch("vlan", "id");
    follow();
    vesk_changes_instance_updated(changes.get(), vlan);
    EXPECT_EQ(commit(), "change v1 v1");
}

TEST_F(CommitterFn, CallsForAnInsertedInstanceAndEachOfItsValues)
{
    watch("vlan", "note");
    vesk_committer_set_property_change_fn(committer.get(), "vlan", "status", property_changed);
    vesk_committer_set_property_change_fn(committer.get(), "vlan", "id", property_changed);
    follow();
    add("vlan", "v1", {{"id", "1"}, {"note", "n"}});
    EXPECT_EQ(commit(),
              "create v1, change v1 null, property v1 note n null, property v1 id 1 null");
}

TEST_F(CommitterFn, CreatesNoInstanceThatWasThereBefore)
{
    vesk_instance *vlan = add("vlan", "v1");
    vesk_committer_set_instance_create_fn(committer.get(), "vlan", created);
    follow();
    set(vlan, "id", "1");
    EXPECT_EQ(commit(), "");
}

TEST_F(CommitterFn, TakesAllInstancesAsCreatedWithoutACollectionFromBefore)
{
    vesk_instance *vlan = add("vlan", "v1", {{"id", "1"}});
    watch("vlan", "id");
    follow();
    set(vlan, "id", "2");
    commit_with(nullptr);
    EXPECT_EQ(calls, "create v1, change v1 v1, property v1 id 2 1");
}

TEST_F(CommitterFn, VisitsDeletedInstancesFirst)
{
    vesk_instance *v1 = add("vlan", "v1", {{"id", "1"}});
    vesk_instance *v2 = add("vlan", "v2", {{"id", "2"}});
    vesk_instance *v3 = add("vlan", "v3", {{"id", "3"}});
    watch("vlan", "id");
    follow();
    set(v1, "id", "9");
    add("vlan", "v4");
    remove(v3);
    remove(v2);
    EXPECT_EQ(commit(), "delete v3, change null v3, delete v2, change null v2, "
                        "change v1 v1, property v1 id 9 1, create v4, change v4 null");
}

TEST_F(CommitterFn, CallsForADeletedInstanceWithWhatItWasLikeBefore)
{
    vesk_instance *vlan = add("vlan", "v1", {{"id", "1"}});
    vesk_committer_set_instance_delete_fn(
        committer.get(), "vlan", [](vesk_instance *before, vesk_commit_info *info) {
            note("delete " + text(vesk_instance_get_value(before, "id")));
            instance_seen = before;
            record_seen = info;
        });
    follow();
    set(vlan, "id", "2");
    remove(vlan);
    EXPECT_EQ(commit(), "delete 1");
    EXPECT_TRUE(record_seen);
    EXPECT_NE(instance_seen, vlan);
}

TEST_F(CommitterFn, CallsInstanceChangeForADeletedInstanceOnlyWithTheFlag)
{
    vesk_instance *vlan = add("vlan", "v1");
    vesk_committer_set_instance_change_fn(committer.get(), "vlan", changed, 0);
    vesk_committer_set_instance_delete_fn(committer.get(), "vlan", deleted);
    follow();
    remove(vlan);
    EXPECT_EQ(commit(), "delete v1");
    vesk_committer_set_instance_change_fn(committer.get(), "vlan", changed, 1);
    EXPECT_EQ(commit(), "delete v1, change null v1");
}

TEST_F(CommitterFn, IgnoresDeletedInstancesOfAClassWithPropertyFunctionsOnly)
{
    vesk_instance *vlan = add("vlan", "v1", {{"id", "1"}});
    vesk_committer_set_property_change_fn(committer.get(), "vlan", "id", property_changed);
    follow();
    set(vlan, "id", "2");
    remove(vlan);
    EXPECT_EQ(commit(), "");
}

TEST_F(CommitterFn, IgnoresAnInstanceThatCameAndWent)
{
    watch("vlan", "id");
    follow();
    remove(add("vlan", "v1", {{"id", "1"}}));
    EXPECT_EQ(commit(), "");
}

TEST_F(CommitterFn, IgnoresClassesWithoutCallbacks)
{
    watch("vlan", "id");
    follow();
    add("route", nullptr, {{"target", "t"}});
    EXPECT_EQ(commit(), "");
}

TEST_F(CommitterFn, CallsAnAbstractClassForTheInstancesOfItsSubclasses)
{
    vesk_instance *wired = add("wired", "eth0", {{"speed", "10"}});
    vesk_instance *wireless = add("wireless", "wlan0", {{"status", "up"}});
    watch("interface", "speed");
    follow();
    set(wired, "speed", "100");
    remove(wireless);
    set_level(5);
    EXPECT_EQ(commit(), "delete wlan0, change null wlan0, "
                        "change eth0 eth0, property eth0 speed 100 10");
    EXPECT_EQ(logged(), "vesk:  Committer called.\n"
                        "vesk:  Committing class interface, instance_delete.\n"
                        "vesk:  Committing class interface, instance_change.\n"
                        "vesk:  Committing class interface, instance_change.\n"
                        "vesk:  Committing class wired, property speed.\n");
}

TEST_F(CommitterFn, HandsTheRecordToTheCallbacksThatTakeIt)
{
    vesk_committer *all = committer.get();
    static std::vector<vesk_commit_info *> records;
    records.clear();
    vesk_committer_set_pre_commit_fn(all, [](vesk_commit_info *i) { records.push_back(i); });
    vesk_committer_set_instance_change_fn(
        all, "acl",
        [](vesk_instance *, vesk_instance *, vesk_commit_info *i) { records.push_back(i); }, 0);
    vesk_committer_set_group_change_fn(
        all, "acl", [](vesk_instances *after, const char *, const char *, vesk_commit_info *i) {
            records.push_back(i);
            collection_seen = after;
        });
    follow();
    add("acl", "guests", {{"mac", "a"}});
    vesk_commit_info *info = vesk_commit_info_new(vesk_changes_get_before(changes.get()),
                                                  running.get(), changes.get(), nullptr, all);
    vesk_committer_fn(info);
    EXPECT_EQ(records, (std::vector<vesk_commit_info *>{info, info, info}));
    EXPECT_EQ(collection_seen, running.get());
    vesk_commit_info_delete(info);
}

TEST_F(CommitterFn, HandsTheLiveInstanceAndItsCopyFromBefore)
{
    static std::pair<vesk_instance *, vesk_instance *> seen;
    seen = {};
    vesk_instance *vlan = add("vlan", "v1", {{"id", "1"}});
    vesk_committer_set_instance_change_fn(
        committer.get(), "vlan",
        [](vesk_instance *after, vesk_instance *before, vesk_commit_info *) {
            seen = {after, before};
        },
        0);
    follow();
    set(vlan, "id", "2");
    commit();
    EXPECT_EQ(seen.first, vlan);
    EXPECT_EQ(seen.second, vesk_changes_get_instance_before(changes.get(), vlan));
    EXPECT_STREQ(vesk_instance_get_value(seen.second, "id"), "1");
}

// ---- Groups -------------------------------------------------------------------------------------

TEST_F(CommitterFn, CallsOnceForAGroup)
{
    vesk_instance *first = add("acl", "guests", {{"mac", "a"}});
    vesk_instance *second = add("acl", "guests", {{"mac", "b"}});
    vesk_committer_set_group_change_fn(committer.get(), "acl", group_changed);
    follow();
    set(first, "comment", "c");
    set(second, "comment", "c");
    EXPECT_EQ(commit(), "group acl guests");
    EXPECT_EQ(commit(), "group acl guests") << "a second commit starts anew";
}

TEST_F(CommitterFn, CallsForAGroupBeforeItsFirstInstance)
{
    add("acl", "guests", {{"mac", "a"}});
    vesk_instance *b = add("acl", "guests", {{"mac", "b"}});
    vesk_instance *c = add("acl", "staff", {{"mac", "c"}});
    vesk_instance *d = add("acl", "staff", {{"mac", "d"}});
    watch("acl", "comment", true);
    follow();
    set(d, "comment", "x");
    set(b, "comment", "y");
    add("acl", "guests", {{"mac", "e"}});
    remove(c);
    EXPECT_EQ(commit(), "group acl staff, delete staff:c, change null staff:c, "
                        "change staff:d staff:d, property staff:d comment x null, "
                        "group acl guests, change guests:b guests:b, "
                        "property guests:b comment y null, "
                        "create guests:e, change guests:e null");
}

TEST_F(CommitterFn, CallsForAGroupThatIsGone)
{
    vesk_instance *a = add("acl", "guests", {{"mac", "a"}});
    vesk_instance *b = add("acl", "guests", {{"mac", "b"}});
    vesk_committer_set_group_change_fn(committer.get(), "acl", group_changed);
    follow();
    remove(a);
    remove(b);
    EXPECT_EQ(commit(), "group acl guests");
}

TEST_F(CommitterFn, CallsForEachOfTheGroupsOfAClass)
{
    vesk_instance *guests = add("acl", "guests", {{"mac", "a"}});
    vesk_instance *guest = add("acl", "guest", {{"mac", "b"}});
    vesk_committer_set_group_change_fn(committer.get(), "acl", group_changed);
    follow();
    set(guest, "comment", "1");
    set(guests, "comment", "1");
    EXPECT_EQ(commit(), "group acl guest, group acl guests");
}

TEST_F(CommitterFn, TellsGroupsOfTheSameNameInTwoClassesApart)
{
    vesk_committer_set_group_change_fn(committer.get(), "acl", group_changed);
    vesk_committer_set_group_change_fn(committer.get(), "filter", group_changed);
    follow();
    add("filter", "guests", {{"rule", "r"}});
    add("acl", "guests", {{"mac", "a"}});
    EXPECT_EQ(commit(), "group acl guests, group filter guests");
}

// ---- Traces -------------------------------------------------------------------------------------

class CommitterTrace : public committer_test {
  protected:
    CommitterTrace()
    {
        vesk_instance *old = add("acl", "guests", {{"mac", "a"}});
        vesk_committer_set_pre_commit_fn(committer.get(), prepare);
        watch("acl", "mac", true);
        follow();
        remove(old);
        add("acl", "guests", {{"mac", "b"}});
    }
};

TEST_F(CommitterTrace, NamesEachCallAtLevelFive)
{
    set_level(5);
    EXPECT_EQ(commit(), "pre, group acl guests, delete guests:a, change null guests:a, "
                        "create guests:b, change guests:b null, property guests:b mac b null");
    EXPECT_EQ(logged(), "vesk:  Committer called.\n"
                        "vesk:  Calling pre_commit.\n"
                        "vesk:  Committing class acl, group guests change.\n"
                        "vesk:  Committing class acl, instance_delete.\n"
                        "vesk:  Committing class acl, instance_change.\n"
                        "vesk:  Committing class acl, instance_create.\n"
                        "vesk:  Committing class acl, instance_change.\n"
                        "vesk:  Committing class acl, property mac.\n");
}

TEST_F(CommitterTrace, NamesTheCommitterAtLevelFour)
{
    set_level(4);
    commit();
    EXPECT_EQ(logged(), "vesk:  Committer called.\n");
}

TEST_F(CommitterTrace, IsSilentAtLevelThree)
{
    set_level(3);
    commit();
    EXPECT_EQ(logged(), "");
}

TEST_F(CommitterTrace, ComesBeforeTheCall)
{
    set_level(5);
    static std::string before_the_call;
    static std::function<std::string()> take;
    take = [this] { return logged(); };
    vesk_committer_set_pre_commit_fn(committer.get(),
                                     [](vesk_commit_info *) { before_the_call = take(); });
    commit();
    EXPECT_EQ(before_the_call, "vesk:  Committer called.\nvesk:  Calling pre_commit.\n");
}

// ---- Callbacks that change what is being dispatched ---------------------------------------------

/** Requests are committed by the committer; the class vlan, and acl, with all callbacks. */
class committer_in_request_test : public committer_test {
  protected:
    committer_in_request_test()
    {
        vesk_providers_init();
        vesk_provider_set_commit_fn(provider_.get(), vesk_committer_fn, committer.get());
        EXPECT_EQ(vesk_providers_add(provider_.get()), 0);
        EXPECT_EQ(vesk_providers_done_adding(), 0);
        for (const char *name : {"v1", "v2", "v3", "v4", "v5"})
            add("vlan", name, {{"id", "0"}, {"status", "up"}});
        add("acl", "guests", {{"mac", "a"}});
        add("acl", "guests", {{"mac", "b"}});
        add("acl", "staff", {{"mac", "c"}});
        vesk_committer_set_pre_commit_fn(committer.get(), prepare);
        watch("vlan", "id");
        vesk_committer_set_property_change_fn(committer.get(), "vlan", "status", property_changed);
        watch("acl", "comment", true);
        running_before_ = vesk::exchange_running(running.release());
    }

    ~committer_in_request_test() override
    {
        vesk_instances_delete_all(vesk::exchange_running(running_before_));
    }

    static vesk_instances *all() { return vesk_config_get_running(); }

    static vesk_instance *vlan(const char *name) { return vesk_instances_get(all(), "vlan", name); }

    /** Removes and frees an instance, if it is there. */
    static void erase(vesk_instance *instance)
    {
        if (instance && vesk_instances_remove(all(), instance) == 0) vesk_instance_delete(instance);
    }

    static void erase_class(const char *class_name)
    {
        vesk_instances_iterator *iterator = vesk_instances_new_class_iterator(all(), class_name);
        while (vesk_instances_iterator_has_next(iterator))
            erase(vesk_instances_iterator_next(iterator));
        vesk_instances_delete_iterator(iterator);
    }

    static void insert(const char *class_name, const char *name)
    {
        vesk_instance *instance = vesk_instance_new(vesk_classes_get(class_name), name);
        if (vesk_instances_add(all(), instance) != 0) vesk_instance_delete(instance);
    }

    static std::string eval(const std::string &operations)
    {
        char *answer = vesk_query_eval(("<lsql>" + operations + "</lsql>").c_str());
        std::string answered = text(answer);
        free(answer);
        return answered;
    }

    static std::string eval_passive(const std::string &operations)
    {
        char *answer = vesk_query_eval_passive(("<lsql>" + operations + "</lsql>").c_str());
        std::string answered = text(answer);
        free(answer);
        return answered;
    }

    /** What a request calls. */
    static std::string commit(const std::string &operations)
    {
        calls.clear();
        EXPECT_EQ(eval(operations).find("<error>"), std::string::npos);
        return calls;
    }

    static size_t count(const std::string &call)
    {
        size_t times = 0;
        for (size_t at = calls.find(call); at != std::string::npos; at = calls.find(call, at + 1))
            times++;
        return times;
    }

    /** The names of a class's instances in running. */
    static std::string names(const char *class_name)
    {
        return vesk::test::names_of(vesk_instances_new_class_iterator(all(), class_name));
    }

    static constexpr const char *update_all = "<update><vlan><id>1</id></vlan></update>";

  private:
    std::unique_ptr<vesk_provider> provider_{vesk_provider_new("watcher")};
    vesk_instances *running_before_;
};

using CommitterCallback = committer_in_request_test;

/** Passes the calls on until that one, then has action done in it. */
void at_call(const std::string &call, std::function<void(vesk_instance *)> action)
{
    meanwhile = [call, action = std::move(action)](vesk_instance *instance) {
        const size_t last = calls.rfind(", ");
        if (calls.compare(last == std::string::npos ? 0 : last + 2, call.size(), call) == 0)
            action(instance);
        else
            at_call(call, action);
    };
}

TEST_F(CommitterCallback, ReportsEveryInstanceWhenOneIsInserted)
{
    at_call("change v1", [](vesk_instance *) { insert("vlan", "v9"); });
    commit(update_all);
    for (const std::string name : {"v1", "v2", "v3", "v4", "v5"}) {
        EXPECT_EQ(count("change " + name + " " + name), 1u) << calls;
        EXPECT_EQ(count("property " + name + " id 1 0"), 1u) << calls;
    }
    EXPECT_EQ(names("vlan"), "v1 v2 v3 v4 v5 v9");
}

TEST_F(CommitterCallback, ReportsTheOthersWhenOneIsDeletedBeforeItsTurn)
{
    at_call("change v2", [](vesk_instance *) { erase(vlan("v3")); });
    EXPECT_EQ(commit(update_all),
              "pre, change v1 v1, property v1 id 1 0, change v2 v2, property v2 id 1 0, "
              "change v4 v4, property v4 id 1 0, change v5 v5, property v5 id 1 0");
    EXPECT_EQ(names("vlan"), "v1 v2 v4 v5");
}

TEST_F(CommitterCallback, ReportsTheOthersWhenTheInstanceItselfIsDeleted)
{
    at_call("change v2", erase);
    commit(update_all);
    for (const std::string name : {"v1", "v3", "v4", "v5"}) {
        EXPECT_EQ(count("change " + name + " " + name), 1u) << calls;
        EXPECT_EQ(count("property " + name + " id 1 0"), 1u) << calls;
    }
    EXPECT_EQ(names("vlan"), "v1 v3 v4 v5");
}

TEST_F(CommitterCallback, ReportsNoMoreOfAClassWhoseInstancesAreDeleted)
{
    at_call("property v1", [](vesk_instance *) { erase_class("vlan"); });
    EXPECT_EQ(commit(update_all), "pre, change v1 v1, property v1 id 1 0");
    EXPECT_EQ(names("vlan"), "");
}

TEST_F(CommitterCallback, MayDeleteTheWholeClassUnheard)
{
    at_call("change v2", [](vesk_instance *) { vesk_instances_delete_class(all(), "vlan"); });
    commit(update_all);
    EXPECT_EQ(names("vlan"), "");
}

TEST_F(CommitterCallback, MayDeleteAnotherInstanceInADelete)
{
    at_call("delete v1", [](vesk_instance *) {
        erase(vlan("v2"));
        erase(vlan("v5"));
    });
    commit("<delete><vlan name=\"v1\"/></delete>" + std::string{update_all});
    EXPECT_EQ(count("delete v1"), 1u) << calls;
    for (const std::string name : {"v3", "v4"})
        EXPECT_EQ(count("change " + name + " " + name), 1u) << calls;
    EXPECT_EQ(count("change v2 v2"), 0u) << calls;
    EXPECT_EQ(names("vlan"), "v3 v4");
}

TEST_F(CommitterCallback, MayPutADeletedInstanceBack)
{
    at_call("delete v1", [](vesk_instance *) { insert("vlan", "v1"); });
    commit("<delete><vlan name=\"v1\"/></delete>");
    EXPECT_EQ(count("delete v1"), 1u) << calls;
    EXPECT_EQ(names("vlan"), "v2 v3 v4 v5 v1");
}

TEST_F(CommitterCallback, MayEmptyAGroup)
{
    at_call("group acl guests", [](vesk_instance *) { erase_class("acl"); });
    commit("<update><acl><comment>x</comment></acl></update>");
    EXPECT_EQ(count("group acl guests"), 1u) << calls;
    EXPECT_EQ(names("acl"), "");
}

TEST_F(CommitterCallback, MaySetOtherPropertiesOfItsInstance)
{
    at_call("change v2", [](vesk_instance *instance) {
        EXPECT_EQ(vesk_instance_set_value(instance, "note", "seen"), 0);
    });
    EXPECT_EQ(commit("<update><vlan name=\"v2\"><id>1</id></vlan></update>"),
              "pre, change v2 v2, property v2 id 1 0");
    EXPECT_STREQ(vesk_instance_get_value(vlan("v2"), "note"), "seen");
}

TEST_F(CommitterCallback, MaySetThePropertyThatItIsToldOf)
{
    at_call("property v2 id", [](vesk_instance *instance) {
        EXPECT_EQ(vesk_instance_set_value(instance, "id", "corrected"), 0);
    });
    EXPECT_EQ(commit(update_all),
              "pre, change v1 v1, property v1 id 1 0, change v2 v2, property v2 id 1 0, "
              "change v3 v3, property v3 id 1 0, change v4 v4, property v4 id 1 0, "
              "change v5 v5, property v5 id 1 0");
    EXPECT_STREQ(vesk_instance_get_value(vlan("v2"), "id"), "corrected");
}

TEST_F(CommitterCallback, MayRunAPassiveRequest)
{
    at_call("change v2", [](vesk_instance *) {
        EXPECT_NE(eval_passive("<update><vlan><note>seen</note></vlan></update>").find("<rc>0"),
                  std::string::npos);
    });
    EXPECT_EQ(commit(update_all),
              "pre, change v1 v1, property v1 id 1 0, change v2 v2, property v2 id 1 0, "
              "change v3 v3, property v3 id 1 0, change v4 v4, property v4 id 1 0, "
              "change v5 v5, property v5 id 1 0");
    EXPECT_STREQ(vesk_instance_get_value(vlan("v5"), "note"), "seen");
}

TEST_F(CommitterCallback, MayRunAnActiveRequestThatIsCommittedWithinIt)
{
    at_call("property v1 id", [](vesk_instance *) {
        eval("<update><vlan name=\"v5\"><status>down</status></vlan></update>");
    });
    EXPECT_EQ(commit("<update><vlan name=\"v1\"><id>1</id><status>off</status></vlan></update>"
                     "<update><vlan name=\"v2\"><id>2</id></vlan></update>"),
              "pre, change v1 v1, property v1 id 1 0, "
              "pre, change v5 v5, property v5 status down up, "
              "property v1 status off up, change v2 v2, property v2 id 2 0");
}

TEST_F(CommitterCallback, StillReportsAGroupOnceAroundAnActiveRequest)
{
    at_call("group acl guests", [](vesk_instance *) {
        eval("<update><acl name=\"guests\"><comment>inner</comment></acl></update>");
    });
    commit("<update><acl name=\"guests\"><comment>outer</comment></acl></update>");
    EXPECT_EQ(calls.find("pre, group acl guests, pre, group acl guests, change guests:a"), 0u)
        << calls;
    EXPECT_EQ(count("group acl guests"), 2u) << calls;
}

TEST_F(CommitterCallback, MayDeleteWhatIsBeingDispatchedByAnActiveRequest)
{
    at_call("change v2", [](vesk_instance *) { eval("<delete><vlan/></delete>"); });
    commit(update_all);
    for (const std::string name : {"v1", "v2", "v3", "v4", "v5"})
        EXPECT_EQ(count("delete " + name), 1u) << calls;
    EXPECT_EQ(count("change v1 v1"), 1u) << calls;
    EXPECT_EQ(names("vlan"), "");
}

TEST_F(CommitterCallback, MayReplaceRunningByATransaction)
{
    at_call("change v2", [](vesk_instance *) {
        eval("<write-transaction><delete><vlan name=\"v3\"/></delete>"
             "<insert><vlan name=\"v9\"/></insert></write-transaction>");
    });
    commit(update_all);
    for (const std::string name : {"v1", "v2", "v4", "v5"})
        EXPECT_EQ(count("property " + name + " id 1 0"), 1u) << calls;
    EXPECT_EQ(count("delete v3"), 1u) << calls;
    EXPECT_EQ(count("create v9"), 1u) << calls;
    EXPECT_EQ(names("vlan"), "v1 v2 v4 v5 v9");
}

/** Whatever a callback does, in whichever callback: nothing that is freed is used. */
TEST_F(CommitterCallback, SurvivesEveryChangeInEveryCallback)
{
    const std::pair<const char *, std::function<void(vesk_instance *)>> actions[] = {
        {"insert", [](vesk_instance *) { insert("vlan", "v8"), insert("acl", "guests"); }},
        {"delete itself", erase},
        {"delete all", [](vesk_instance *) { erase_class("vlan"), erase_class("acl"); }},
        {"delete unheard",
         [](vesk_instance *) {
             vesk_instances_delete_class(all(), "vlan");
             vesk_instances_delete_class(all(), "acl");
         }},
        {"set", [](vesk_instance *i) { vesk_instance_set_value(i, "status", "set"); }},
        {"passive", [](vesk_instance *) { eval_passive("<delete><vlan/></delete>"); }},
        {"active",
         [](vesk_instance *) { eval("<delete><acl/></delete><delete><vlan/></delete>"); }},
        {"insert actively",
         [](vesk_instance *) {
             eval("<insert><vlan name=\"v8\"/><acl name=\"guests\"/></insert>");
         }},
        {"transaction",
         [](vesk_instance *) {
             eval("<write-transaction><delete><vlan/></delete></write-transaction>");
         }},
    };
    const char *const places[] = {"pre",         "delete v1",     "change null v1", "change v2",
                                  "property v2", "create v6",     "change v6",      "property v6",
                                  "group acl",   "delete guests", "change guests"};
    for (const auto &[name, action] : actions) {
        for (const char *place : places) {
            SCOPED_TRACE(std::string{name} + " in " + place);
            erase_class("vlan");
            erase_class("acl");
            for (const char *vlan_name : {"v1", "v2", "v3"})
                insert("vlan", vlan_name);
            for (const char *group : {"guests", "guests", "staff"})
                insert("acl", group);
            at_call(place, action);
            commit("<delete><vlan name=\"v1\"/></delete>"
                   "<update><vlan name=\"v2\"><id>1</id></vlan></update>"
                   "<insert><vlan name=\"v6\"><id>6</id></vlan></insert>"
                   "<update><acl><comment>x</comment></acl></update>"
                   "<delete><acl name=\"staff\"/></delete>");
            meanwhile = nullptr;
            EXPECT_NE(eval("<select><vlan properties=\"all\"/></select>").find("<rc>0</rc>"),
                      std::string::npos);
            logged();
        }
    }
}

} // namespace
