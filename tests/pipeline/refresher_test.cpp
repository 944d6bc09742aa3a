#include "vesk/refresher.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "config/running.h"
#include "pipeline/changes.h"
#include "pipeline/refresh_info.h"
#include "pipeline/refresher.h"
#include "tests/support/model.h"
#include "vesk/query.h"

namespace {

using vesk::test::set_level;

/** What was called, joined by ", ". */
std::string calls;

/** What the next callback does besides, once. */
std::function<void(vesk_instance *)> meanwhile;

/** The records that the callbacks were given. */
std::vector<vesk_refresh_info *> records;

void note(const std::string &call, vesk_refresh_info *info, vesk_instance *instance = nullptr)
{
    calls += (calls.empty() ? "" : ", ") + call;
    records.push_back(info);
    if (const auto action = std::exchange(meanwhile, nullptr)) action(instance);
}

std::string id(const vesk_instance *instance)
{
    const char *name = vesk_instance_get_name(instance);
    return name ? name : "-";
}

void prepare(vesk_refresh_info *info)
{
    note("pre", info);
}

void visit(vesk_instance *instance, vesk_refresh_info *info)
{
    note("visit " + id(instance), info, instance);
}

/** The value is the number of the call, in a buffer that is used again. */
const char *value_of(vesk_instance *instance, const char *property, vesk_refresh_info *info)
{
    static int number;
    static char buffer[32];
    note(id(instance) + "." + property, info, instance);
    std::snprintf(buffer, sizeof buffer, "%d", ++number);
    return buffer;
}

const char *fixed(vesk_instance *instance, const char *property, vesk_refresh_info *info)
{
    note(id(instance) + "." + property, info, instance);
    return "fixed";
}

const char *nothing(vesk_instance *instance, const char *property, vesk_refresh_info *info)
{
    note(id(instance) + "." + property, info, instance);
    return nullptr;
}

const char *bad(vesk_instance *, const char *, vesk_refresh_info *)
{
    return "bad value";
}

/** A refresher of the class vlan, and a record of what is wanted in a collection. */
class refresher_test : public vesk::test::fixture {
  protected:
    refresher_test()
    {
        calls.clear();
        records.clear();
        meanwhile = nullptr;
        add_class("system", VESK_CLASS_SINGLETON, {"load"});
        add_class("route", VESK_CLASS_ANONYMOUS, {"metric"});
        add_class("vlan", VESK_CLASS_UNIQUE_NAMED, {"p", "q", "r"});
        add_class("acl", VESK_CLASS_GROUP_NAMED, {"hits"});
        add_abstract("interface", {"status"});
        add_subclass("wired", "interface", {"speed"});
        add_subclass("wireless", "interface", {"channel"});
        freeze();
    }

    ~refresher_test() override { meanwhile = nullptr; }

    vesk_instance *add(const char *class_name, const char *name,
                       std::initializer_list<std::pair<const char *, const char *>> values = {})
    {
        vesk_instance *instance = make(class_name, name, values).release();
        EXPECT_EQ(vesk_instances_add(running.get(), instance), 0) << logged();
        return instance;
    }

    void want(const char *class_name, const char *name, const char *property)
    {
        EXPECT_EQ(vesk_refresh_info_add_property(info.get(), class_name, name, property), 0);
    }

    void want_all(const char *class_name, const char *name = nullptr)
    {
        EXPECT_EQ(vesk_refresh_info_add_all_properties(info.get(), class_name, name), 0);
    }

    std::string refresh(vesk_refresher *which)
    {
        calls.clear();
        vesk_refresh_info_set_data(info.get(), which);
        vesk_refresher_fn(info.get());
        return calls;
    }
    std::string refresh() { return refresh(refresher.get()); }

    /** Functions for everything, the properties in the order q, p. */
    void watch(vesk_refresher *which)
    {
        EXPECT_EQ(vesk_refresher_set_pre_refresh_fn(which, prepare), 0);
        EXPECT_EQ(vesk_refresher_set_instance_fn(which, visit), 0);
        EXPECT_EQ(vesk_refresher_set_property_fn(which, "q", fixed), 0);
        EXPECT_EQ(vesk_refresher_set_property_fn(which, "p", fixed), 0);
    }
    void watch() { watch(refresher.get()); }

    static std::string value(const vesk_instance *instance, const char *property)
    {
        const char *value = vesk_instance_get_value(instance, property);
        return value ? value : "null";
    }

    vesk::full_instances_ptr running{vesk_instances_new()};
    vesk::refresh_info_ptr info{vesk_refresh_info_new(running.get())};
    std::unique_ptr<vesk_refresher> refresher{vesk_refresher_new("vlan")};
};

using RefresherNew = refresher_test;
using RefresherSetPreRefreshFn = refresher_test;
using RefresherSetInstanceFn = refresher_test;
using RefresherSetPropertyFn = refresher_test;
using RefresherFn = refresher_test;

// ---- Setters ------------------------------------------------------------------------------------

TEST_F(RefresherNew, RefusesANullNameSilently)
{
    EXPECT_EQ(vesk_refresher_new(nullptr), nullptr);
    EXPECT_EQ(logged(), "");
}

TEST_F(RefresherNew, AcceptsAnyClassName)
{
    refresher.reset(vesk_refresher_new("unheard"));
    ASSERT_TRUE(refresher);
    watch();
    want_all("unheard");
    EXPECT_EQ(refresh(), "pre");
}

TEST_F(RefresherNew, KeepsTheNameItWasGiven)
{
    char name[] = "vlan";
    refresher.reset(vesk_refresher_new(name));
    watch();
    add("acl", "guests");
    want_all("acl");
    std::copy_n("acl", 4, name);
    EXPECT_EQ(refresh(), "pre, visit guests, guests.q, guests.p");
}

TEST_F(RefresherNew, HasNoFunctions)
{
    vesk_instance *vlan = add("vlan", "x", {{"p", "1"}});
    want_all("vlan");
    EXPECT_EQ(refresh(), "");
    EXPECT_EQ(value(vlan, "p"), "1");
    EXPECT_EQ(logged(), "");
}

TEST_F(RefresherSetPreRefreshFn, RefusesNulls)
{
    EXPECT_EQ(vesk_refresher_set_pre_refresh_fn(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null refresher.\n");
    EXPECT_EQ(vesk_refresher_set_pre_refresh_fn(refresher.get(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null pre_refresh.\n");
}

TEST_F(RefresherSetPreRefreshFn, ReplacesTheFunction)
{
    vesk_refresher_set_pre_refresh_fn(refresher.get(), prepare);
    EXPECT_EQ(vesk_refresher_set_pre_refresh_fn(
                  refresher.get(), [](vesk_refresh_info *record) { note("other", record); }),
              0);
    want_all("vlan");
    EXPECT_EQ(refresh(), "other");
}

TEST_F(RefresherSetInstanceFn, RefusesNulls)
{
    EXPECT_EQ(vesk_refresher_set_instance_fn(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null refresher.\n");
    EXPECT_EQ(vesk_refresher_set_instance_fn(refresher.get(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance_fn.\n");
}

TEST_F(RefresherSetInstanceFn, ReplacesTheFunction)
{
    add("vlan", "x");
    vesk_refresher_set_instance_fn(refresher.get(), visit);
    EXPECT_EQ(vesk_refresher_set_instance_fn(
                  refresher.get(),
                  [](vesk_instance *, vesk_refresh_info *record) { note("other", record); }),
              0);
    want_all("vlan");
    EXPECT_EQ(refresh(), "other");
}

TEST_F(RefresherSetPropertyFn, RefusesNulls)
{
    EXPECT_EQ(vesk_refresher_set_property_fn(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null refresher.\n");
    EXPECT_EQ(vesk_refresher_set_property_fn(refresher.get(), nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
    EXPECT_EQ(vesk_refresher_set_property_fn(refresher.get(), "p", nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null property_fn.\n");
}

TEST_F(RefresherSetPropertyFn, RefusesASecondFunctionSilently)
{
    vesk_instance *vlan = add("vlan", "x");
    EXPECT_EQ(vesk_refresher_set_property_fn(refresher.get(), "p", fixed), 0);
    EXPECT_EQ(vesk_refresher_set_property_fn(refresher.get(), "p", nothing), 1);
    EXPECT_EQ(vesk_refresher_set_property_fn(refresher.get(), "p", fixed), 1);
    EXPECT_EQ(logged(), "");
    want("vlan", "x", "p");
    EXPECT_EQ(refresh(), "x.p");
    EXPECT_EQ(value(vlan, "p"), "fixed");
}

TEST_F(RefresherSetPropertyFn, CopiesTheName)
{
    add("vlan", "x");
    char name[] = "p";
    vesk_refresher_set_property_fn(refresher.get(), name, fixed);
    name[0] = 'q';
    want_all("vlan");
    EXPECT_EQ(refresh(), "x.p");
}

// ---- Refreshing ---------------------------------------------------------------------------------

TEST_F(RefresherFn, ReportsAMissingRefresher)
{
    want_all("vlan");
    EXPECT_EQ(refresh(nullptr), "");
    EXPECT_EQ(logged(), "vesk: vesk_refresher_fn called without refresher as data.\n");
    vesk_refresher_fn(nullptr);
    EXPECT_EQ(logged(), "vesk: vesk_refresher_fn called without refresher as data.\n");
}

TEST_F(RefresherFn, IsSilentWhenItsClassIsNotWanted)
{
    add("vlan", "x");
    watch();
    want_all("acl");
    want_all("system");
    set_level(6);
    EXPECT_EQ(refresh(), "");
    EXPECT_EQ(logged(), "");
}

TEST_F(RefresherFn, CallsPreRefreshOnlyWhenNothingOfTheClassIsThere)
{
    watch();
    want_all("vlan");
    EXPECT_EQ(refresh(), "pre");
}

TEST_F(RefresherFn, CallsPreRefreshOnlyWhenNoInstanceThatIsThereIsWanted)
{
    add("vlan", "x");
    add("vlan", "y");
    watch();
    want("vlan", "z", "p");
    EXPECT_EQ(refresh(), "pre");
}

TEST_F(RefresherFn, CallsForAnInstanceThatIsWantedWithoutProperties)
{
    add("vlan", "x");
    add("vlan", "y");
    watch();
    vesk_refresh_info_add_instance(info.get(), "vlan", "x");
    EXPECT_EQ(refresh(), "pre, visit x");
}

TEST_F(RefresherFn, CallsForTheWantedPropertiesOfTheWantedInstance)
{
    add("vlan", "w");
    add("vlan", "x");
    add("vlan", "y");
    watch();
    vesk_refresher_set_property_fn(refresher.get(), "r", fixed);
    want("vlan", "x", "p");
    want("vlan", "x", "q");
    EXPECT_EQ(refresh(), "pre, visit x, x.q, x.p");
}

TEST_F(RefresherFn, CallsForEveryInstanceInTheOrderOfTheCollection)
{
    for (const char *name : {"z", "a", "m"})
        add("vlan", name);
    watch();
    want_all("vlan");
    EXPECT_EQ(refresh(), "pre, visit z, z.q, z.p, visit a, a.q, a.p, visit m, m.q, m.p");
}

TEST_F(RefresherFn, CallsForWhatIsWantedOfEachInstance)
{
    for (const char *name : {"x", "y", "z"})
        add("vlan", name);
    watch();
    want("vlan", nullptr, "q");
    want("vlan", "y", "p");
    EXPECT_EQ(refresh(), "pre, visit x, x.q, visit y, y.q, y.p, visit z, z.q");
}

TEST_F(RefresherFn, SkipsWantedPropertiesWithoutAFunction)
{
    vesk_instance *vlan = add("vlan", "x", {{"r", "1"}});
    watch();
    want("vlan", "x", "r");
    EXPECT_EQ(refresh(), "pre, visit x");
    EXPECT_EQ(value(vlan, "r"), "1");
}

TEST_F(RefresherFn, CallsForInstancesWithoutAName)
{
    add("route", nullptr);
    add("route", nullptr);
    refresher.reset(vesk_refresher_new("route"));
    vesk_refresher_set_instance_fn(refresher.get(), visit);
    vesk_refresher_set_property_fn(refresher.get(), "metric", fixed);
    want("route", nullptr, "metric");
    EXPECT_EQ(refresh(), "visit -, -.metric, visit -, -.metric");
}

TEST_F(RefresherFn, CallsAnAbstractClassForTheInstancesOfItsSubclasses)
{
    add("wireless", "wlan0");
    add("wired", "eth0");
    refresher.reset(vesk_refresher_new("interface"));
    vesk_refresher_set_instance_fn(refresher.get(), visit);
    vesk_refresher_set_property_fn(refresher.get(), "status", fixed);
    want("interface", nullptr, "status");
    EXPECT_EQ(refresh(), "visit eth0, eth0.status, visit wlan0, wlan0.status");
}

TEST_F(RefresherFn, DoesNotTakeASubclassForWantedWhenItsSuperclassIs)
{
    add("wired", "eth0");
    refresher.reset(vesk_refresher_new("wired"));
    watch();
    want_all("interface");
    EXPECT_EQ(refresh(), "");
}

TEST_F(RefresherFn, HandsItsRecordToAllFunctions)
{
    add("vlan", "x");
    watch();
    want_all("vlan");
    refresh();
    vesk_refresh_info *record = info.get();
    EXPECT_EQ(records, (std::vector<vesk_refresh_info *>{record, record, record, record}));
}

TEST_F(RefresherFn, ToleratesARecordWithoutACollection)
{
    info.reset(vesk_refresh_info_new(nullptr));
    vesk_refresher_set_instance_fn(refresher.get(), visit);
    want_all("vlan");
    EXPECT_EQ(refresh(), "");
}

// ---- Values -------------------------------------------------------------------------------------

TEST_F(RefresherFn, StoresCopiesOfTheValues)
{
    vesk_instance *x = add("vlan", "x"), *y = add("vlan", "y");
    vesk_refresher_set_property_fn(refresher.get(), "p", value_of);
    vesk_refresher_set_property_fn(refresher.get(), "q", value_of);
    want_all("vlan");
    refresh();
    const int first = std::stoi(value(x, "p"));
    EXPECT_EQ(value(x, "q"), std::to_string(first + 1));
    EXPECT_EQ(value(y, "p"), std::to_string(first + 2));
    EXPECT_EQ(value(y, "q"), std::to_string(first + 3));
}

TEST_F(RefresherFn, LeavesTheOldValueForANullResult)
{
    vesk_instance *vlan = add("vlan", "x", {{"p", "old"}});
    vesk_refresher_set_property_fn(refresher.get(), "p", nothing);
    vesk_refresher_set_property_fn(refresher.get(), "q", fixed);
    want_all("vlan");
    EXPECT_EQ(refresh(), "x.p, x.q");
    EXPECT_EQ(logged(), "vesk: Null value.\n");
    EXPECT_EQ(value(vlan, "p"), "old");
    EXPECT_EQ(value(vlan, "q"), "fixed");
}

TEST_F(RefresherFn, LeavesTheOldValueForOneThatIsRefused)
{
    vesk_instance *vlan = add("vlan", "x", {{"p", "old"}});
    vesk_refresher_set_property_fn(refresher.get(), "p", bad);
    vesk_refresher_set_property_fn(refresher.get(), "q", fixed);
    want_all("vlan");
    EXPECT_EQ(refresh(), "x.q");
    EXPECT_EQ(value(vlan, "p"), "old");
    EXPECT_EQ(value(vlan, "q"), "fixed");
}

TEST_F(RefresherFn, GoesOnAfterAPropertyThatTheClassDoesNotHave)
{
    vesk_instance *vlan = add("vlan", "x");
    vesk_refresher_set_property_fn(refresher.get(), "unheard", fixed);
    vesk_refresher_set_property_fn(refresher.get(), "p", fixed);
    want_all("vlan");
    EXPECT_EQ(refresh(), "x.unheard, x.p");
    EXPECT_EQ(value(vlan, "p"), "fixed");
}

TEST_F(RefresherFn, IsRecordedByAChangeSetOfTheCollection)
{
    vesk_instance *x = add("vlan", "x"), *y = add("vlan", "y");
    watch();
    want("vlan", "x", "p");
    const vesk::changes_ptr changes{vesk_changes_new(running.get())};
    refresh();
    EXPECT_EQ(vesk_changes_contains_property(changes.get(), x, "p"), 1);
    EXPECT_EQ(vesk_changes_contains_property(changes.get(), x, "q"), 0);
    EXPECT_EQ(vesk_changes_contains_instance(changes.get(), y), 0);
}

// ---- Traces -------------------------------------------------------------------------------------

TEST_F(RefresherFn, NamesClassAndPropertiesAtLevelFour)
{
    add("vlan", "x");
    add("vlan", "y");
    watch();
    want("vlan", "x", "p");
    want("vlan", "y", "q");
    set_level(4);
    refresh();
    EXPECT_EQ(logged(), "vesk: Refreshing class vlan.\n"
                        "vesk:   Refreshing property p.\n"
                        "vesk:   Refreshing property q.\n");
    set_level(3);
    refresh();
    EXPECT_EQ(logged(), "");
}

TEST_F(RefresherFn, TracesBeforeItCalls)
{
    static std::string before_pre, before_property;
    static std::function<std::string()> take;
    take = [this] { return logged(); };
    add("vlan", "x");
    vesk_refresher_set_pre_refresh_fn(refresher.get(),
                                      [](vesk_refresh_info *) { before_pre = take(); });
    vesk_refresher_set_property_fn(refresher.get(), "p",
                                   [](vesk_instance *, const char *, vesk_refresh_info *) {
                                       before_property = take();
                                       return "1";
                                   });
    want_all("vlan");
    set_level(4);
    refresh();
    EXPECT_EQ(before_pre, "vesk: Refreshing class vlan.\n");
    EXPECT_EQ(before_property, "vesk:   Refreshing property p.\n");
}

// ---- Callbacks that change what is being refreshed ----------------------------------------------

/** Selects of the class vlan are refreshed by the refresher. */
class refresher_in_request_test : public refresher_test {
  protected:
    refresher_in_request_test()
    {
        vesk_providers_init();
        vesk_provider_set_refresh_fn(provider_.get(), vesk_refresher_fn, refresher.get());
        EXPECT_EQ(vesk_providers_add(provider_.get()), 0);
        EXPECT_EQ(vesk_providers_done_adding(), 0);
        for (const char *name : {"v1", "v2", "v3", "v4"})
            add("vlan", name, {{"p", "0"}});
        watch();
        info.reset();
        running_before_ = vesk::exchange_running(running.release());
    }

    ~refresher_in_request_test() override
    {
        vesk_instances_delete_all(vesk::exchange_running(running_before_));
    }

    static vesk_instances *all() { return vesk_config_get_running(); }

    static vesk_instance *vlan(const char *name) { return vesk_instances_get(all(), "vlan", name); }

    static void erase(vesk_instance *instance)
    {
        if (instance && vesk_instances_remove(all(), instance) == 0) vesk_instance_delete(instance);
    }

    static void erase_all()
    {
        vesk_instances_iterator *iterator = vesk_instances_new_class_iterator(all(), "vlan");
        while (vesk_instances_iterator_has_next(iterator))
            erase(vesk_instances_iterator_next(iterator));
        vesk_instances_delete_iterator(iterator);
    }

    static void insert(const char *name)
    {
        vesk_instance *instance = vesk_instance_new(vesk_classes_get("vlan"), name);
        if (vesk_instances_add(all(), instance) != 0) vesk_instance_delete(instance);
    }

    static std::string owned(char *answer)
    {
        std::string text = answer ? answer : "null";
        free(answer);
        return text;
    }
    static std::string eval(const std::string &operations)
    {
        return owned(vesk_query_eval(("<lsql>" + operations + "</lsql>").c_str()));
    }
    static std::string eval_passive(const std::string &operations)
    {
        return owned(vesk_query_eval_passive(("<lsql>" + operations + "</lsql>").c_str()));
    }

    /** What a request for p and q calls; the answer is in answer. */
    std::string select()
    {
        calls.clear();
        answer = eval("<select><vlan><p/><q/></vlan></select>");
        return calls;
    }

    static std::string element(const std::string &name)
    {
        return "<vlan name=\"" + name + "\"><p>fixed</p><q>fixed</q></vlan>";
    }

    static std::string dataset(const std::string &instances, int count)
    {
        return "<?xml version=\"1.0\"?>\n<lsql_result><dataset>" + instances +
               "</dataset><rc>0</rc><counter>" + std::to_string(count) +
               "</counter></lsql_result>\n";
    }

    std::string answer;

  private:
    std::unique_ptr<vesk_provider> provider_{vesk_provider_new("watcher")};
    vesk_instances *running_before_;
};

using RefresherCallback = refresher_in_request_test;

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

TEST_F(RefresherCallback, RefreshesWhatASelectAsksFor)
{
    EXPECT_EQ(select(), "pre, visit v1, v1.q, v1.p, visit v2, v2.q, v2.p, "
                        "visit v3, v3.q, v3.p, visit v4, v4.q, v4.p");
    EXPECT_EQ(answer, dataset(element("v1") + element("v2") + element("v3") + element("v4"), 4));
}

TEST_F(RefresherCallback, MayAddAndRemoveInstancesBeforeTheyAreWalked)
{
    at_call("pre", [](vesk_instance *) {
        erase(vlan("v1"));
        erase(vlan("v3"));
        insert("v9");
    });
    EXPECT_EQ(select(), "pre, visit v2, v2.q, v2.p, visit v4, v4.q, v4.p, visit v9, v9.q, v9.p");
    EXPECT_EQ(answer, dataset(element("v2") + element("v4") + element("v9"), 3));
}

TEST_F(RefresherCallback, MayRemoveOtherInstances)
{
    at_call("visit v2", [](vesk_instance *) {
        erase(vlan("v1"));
        erase(vlan("v3"));
    });
    EXPECT_EQ(select(), "pre, visit v1, v1.q, v1.p, visit v2, v2.q, v2.p, visit v4, v4.q, v4.p");
    EXPECT_EQ(answer, dataset(element("v2") + element("v4"), 2));
}

TEST_F(RefresherCallback, MayRemoveTheInstanceItself)
{
    for (const char *place : {"visit v2", "v3.q", "v4.p"}) {
        at_call(place, erase);
        select();
        EXPECT_EQ(meanwhile, nullptr) << place;
    }
    EXPECT_EQ(answer, dataset(element("v1"), 1));
}

TEST_F(RefresherCallback, MayRunAPassiveRequest)
{
    at_call("v2.q",
            [](vesk_instance *) { eval_passive("<update><vlan><r>passive</r></vlan></update>"); });
    EXPECT_EQ(select(), "pre, visit v1, v1.q, v1.p, visit v2, v2.q, v2.p, "
                        "visit v3, v3.q, v3.p, visit v4, v4.q, v4.p");
    EXPECT_EQ(value(vlan("v1"), "r"), "passive");
    EXPECT_EQ(value(vlan("v4"), "r"), "passive");
}

TEST_F(RefresherCallback, MayRunAnActiveRequest)
{
    at_call("v2.q", [](vesk_instance *) {
        EXPECT_EQ(eval("<select><vlan name=\"v3\"><p/></vlan></select>"),
                  dataset("<vlan name=\"v3\"><p>fixed</p></vlan>", 1));
    });
    EXPECT_EQ(select(), "pre, visit v1, v1.q, v1.p, visit v2, v2.q, pre, visit v3, v3.p, v2.p, "
                        "visit v3, v3.q, v3.p, visit v4, v4.q, v4.p");
    EXPECT_EQ(answer, dataset(element("v1") + element("v2") + element("v3") + element("v4"), 4));
}

TEST_F(RefresherCallback, MayDeleteEverythingByAnActiveRequest)
{
    at_call("v2.q", [](vesk_instance *) { eval("<delete><vlan/></delete>"); });
    select();
    EXPECT_EQ(answer, "<?xml version=\"1.0\"?>\n<lsql_result><dataset/><rc>0</rc><counter>0"
                      "</counter></lsql_result>\n");
}

/** Whatever a callback does, in whichever callback: nothing that is freed is used. */
TEST_F(RefresherCallback, SurvivesEveryChangeInEveryCallback)
{
    const std::pair<const char *, std::function<void(vesk_instance *)>> actions[] = {
        {"insert", [](vesk_instance *) { insert("v8"); }},
        {"delete itself", erase},
        {"delete all", [](vesk_instance *) { erase_all(); }},
        {"delete unheard", [](vesk_instance *) { vesk_instances_delete_class(all(), "vlan"); }},
        {"set", [](vesk_instance *i) { vesk_instance_set_value(i, "p", "set"); }},
        {"passive", [](vesk_instance *) { eval_passive("<delete><vlan/></delete>"); }},
        {"active", [](vesk_instance *) { eval("<delete><vlan/></delete>"); }},
        {"insert actively", [](vesk_instance *) { eval("<insert><vlan name=\"v8\"/></insert>"); }},
        {"transaction",
         [](vesk_instance *) {
             eval("<write-transaction><delete><vlan/></delete></write-transaction>");
         }},
    };
    for (const auto &[name, action] : actions) {
        for (const char *place : {"pre", "visit v1", "v1.q", "visit v3", "v3.p"}) {
            for (const bool in_transaction : {false, true}) {
                SCOPED_TRACE(std::string{name} + " in " + place);
                erase_all();
                for (const char *instance : {"v1", "v2", "v3"})
                    insert(instance);
                at_call(place, action);
                const std::string operations = "<select><vlan><p/><q/></vlan></select>"
                                               "<update><vlan><r>1</r></vlan></update>";
                eval(in_transaction ? "<write-transaction>" + operations + "</write-transaction>"
                                    : operations);
                meanwhile = nullptr;
                select();
                EXPECT_NE(answer.find("<rc>0</rc>"), std::string::npos) << answer;
                logged();
            }
        }
    }
}

} // namespace
