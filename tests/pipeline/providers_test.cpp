#include "vesk/providers.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pipeline/actions.h"
#include "pipeline/changes.h"
#include "pipeline/refresh_info.h"
#include "tests/support/model.h"
#include "vesk/commit_info.h"
#include "vesk/debug.h"

namespace {

using vesk::test::set_level;

/** What ran, as the names of the providers. */
std::string ran;
std::vector<vesk_actions *> actions_seen;

void commit(vesk_commit_info *info)
{
    ran += static_cast<const char *>(vesk_commit_info_get_data(info));
    actions_seen.push_back(vesk_commit_info_get_actions(info));
}

void refresh(vesk_refresh_info *info)
{
    ran += static_cast<const char *>(vesk_refresh_info_get_data(info));
}

/** The side effect of whoever comes first. */
void restart_once(vesk_commit_info *info)
{
    vesk_actions *actions = vesk_commit_info_get_actions(info);
    if (vesk_actions_exists(actions, "shared", "restart", nullptr, nullptr)) return;
    ran += static_cast<const char *>(vesk_commit_info_get_data(info));
    vesk_actions_add(actions, "shared", "restart", nullptr, nullptr);
}

/** An empty registry, a class, a collection and its change set. */
class providers_test : public vesk::test::fixture {
  protected:
    providers_test()
    {
        ran.clear();
        actions_seen.clear();
        vesk_providers_init();
        add_class("vlan", VESK_CLASS_UNIQUE_NAMED, {"id"});
        freeze();
    }

    vesk_provider *make_provider(const char *name)
    {
        return made_.emplace_back(vesk_provider_new(name)).get();
    }

    vesk_provider *add(const char *name, vesk_provider_commit_fn function = commit)
    {
        vesk_provider *provider = make_provider(name);
        vesk_provider_set_commit_fn(provider, function, const_cast<char *>(name));
        EXPECT_EQ(vesk_providers_add(provider), 0);
        return provider;
    }

    vesk_provider *add_refreshing(const char *name)
    {
        vesk_provider *provider = make_provider(name);
        vesk_provider_set_refresh_fn(provider, refresh, const_cast<char *>(name));
        EXPECT_EQ(vesk_providers_add(provider), 0);
        return provider;
    }

    static void order(const char *first, const char *second)
    {
        EXPECT_EQ(vesk_providers_order(first, second), 0);
    }

    static std::string print() { return vesk::test::printed(vesk_providers_print); }

    /** Builds the order and gives its names, each with its mark. */
    std::string ordered()
    {
        EXPECT_EQ(vesk_providers_done_adding(), 0);
        EXPECT_EQ(logged(), "");
        std::string names;
        for (const std::string &name : vesk::providers().order)
            names += (names.empty() ? "" : " ") + name;
        return names;
    }

    void commit_all() { vesk_providers_commit(after.get(), changes.get(), nullptr); }

    vesk::full_instances_ptr after{vesk_instances_new()};
    vesk::changes_ptr changes{vesk_changes_new(after.get())};
    vesk::refresh_info_ptr info{vesk_refresh_info_new(after.get())};

  private:
    std::vector<std::unique_ptr<vesk_provider>> made_;
};

using ProvidersInit = providers_test;
using ProvidersAdd = providers_test;
using ProvidersGet = providers_test;
using ProvidersOrder = providers_test;
using ProvidersDoneAdding = providers_test;
using ProvidersPrint = providers_test;
using ProvidersCommit = providers_test;
using ProvidersRefresh = providers_test;

TEST_F(ProvidersInit, Succeeds)
{
    EXPECT_EQ(vesk_providers_init(), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ProvidersAdd, EntersAProviderUnderItsName)
{
    vesk_provider *provider = add("bridge");
    EXPECT_EQ(vesk_providers_get("bridge"), provider);
    EXPECT_EQ(logged(), "");
}

TEST_F(ProvidersAdd, RefusesNull)
{
    EXPECT_EQ(vesk_providers_add(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null provider.\n");
}

TEST_F(ProvidersAdd, RefusesAProviderWithoutFunctions)
{
    EXPECT_EQ(vesk_providers_add(make_provider("bridge")), 1);
    EXPECT_EQ(logged(), "vesk: Provider \"bridge\" has no commit or refresh function.\n"
                        "vesk: Provider is invalid.\n");
    EXPECT_EQ(vesk_providers_get("bridge"), nullptr);
    EXPECT_EQ(ordered(), "");
}

TEST_F(ProvidersAdd, KeepsTheFirstOfAName)
{
    vesk_provider *first = add("bridge");
    vesk_provider *second = make_provider("bridge");
    vesk_provider_set_commit_fn(second, commit, nullptr);
    EXPECT_EQ(vesk_providers_add(second), 1);
    EXPECT_EQ(logged(), "vesk: Provider with name \"bridge\" already in providers.\n");
    EXPECT_EQ(vesk_providers_get("bridge"), first);
    EXPECT_EQ(ordered(), "bridge");
}

TEST_F(ProvidersAdd, ReportsNothingAtLevelZero)
{
    add("bridge");
    set_level(0);
    EXPECT_EQ(vesk_providers_add(nullptr), 1);
    EXPECT_EQ(vesk_providers_add(make_provider("dhcp")), 1);
    EXPECT_EQ(vesk_providers_order(nullptr, "a"), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ProvidersAdd, IsRefusedOnceTheOrderIsBuilt)
{
    add("a");
    EXPECT_EQ(ordered(), "a");
    vesk_provider *late = make_provider("b");
    vesk_provider_set_commit_fn(late, commit, nullptr);
    EXPECT_EQ(vesk_providers_add(late), 1);
    EXPECT_EQ(vesk_providers_get("b"), nullptr);
    EXPECT_EQ(vesk_providers_add(nullptr), 1);
}

TEST_F(ProvidersGet, GivesNullForAnUnknownOrNullName)
{
    add("bridge");
    EXPECT_EQ(vesk_providers_get("dhcp"), nullptr);
    EXPECT_EQ(vesk_providers_get("bridg"), nullptr);
    EXPECT_EQ(vesk_providers_get(nullptr), nullptr);
}

TEST_F(ProvidersGet, DoesNotFindWhatIsOnlyOrdered)
{
    order("a", "b");
    EXPECT_EQ(vesk_providers_get("a"), nullptr);
}

TEST_F(ProvidersOrder, RefusesNullNames)
{
    EXPECT_EQ(vesk_providers_order(nullptr, "b"), 1);
    EXPECT_EQ(vesk_providers_order("a", nullptr), 1);
    EXPECT_EQ(vesk_providers_order(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null name.\nvesk: Null name.\nvesk: Null name.\n");
    EXPECT_EQ(ordered(), "");
}

TEST_F(ProvidersOrder, TakesADeclarationTwice)
{
    order("b", "a");
    order("b", "a");
    EXPECT_EQ(ordered(), "b a");
}

TEST_F(ProvidersOrder, IsRefusedOnceTheOrderIsBuilt)
{
    add("a");
    add("b");
    EXPECT_EQ(ordered(), "a b");
    EXPECT_EQ(vesk_providers_order("b", "a"), 1);
    EXPECT_EQ(print(), "Providers, in order (*** = not present):\n"
                       "     a\n"
                       "     b\n");
}

TEST_F(ProvidersDoneAdding, KeepsTheOrderOfAddingWithoutConstraints)
{
    for (const char *name : {"c", "a", "b"})
        add(name);
    EXPECT_EQ(ordered(), "c a b");
}

TEST_F(ProvidersDoneAdding, PutsAProviderBehindWhatMustComeBefore)
{
    add("a");
    add("b");
    order("b", "a");
    EXPECT_EQ(ordered(), "b a");
}

TEST_F(ProvidersDoneAdding, OrdersNamesThatNobodyAddedToo)
{
    order("x", "y");
    order("p", "q");
    EXPECT_EQ(ordered(), "x y p q");
    EXPECT_EQ(print(), "Providers, in order (*** = not present):\n"
                       " *** x\n"
                       " *** y\n"
                       " *** p\n"
                       " *** q\n");
}

TEST_F(ProvidersDoneAdding, VisitsPredecessorsInTheOrderOfDeclaration)
{
    order("y", "z");
    order("x", "z");
    order("w", "z");
    EXPECT_EQ(ordered(), "y x w z");
}

TEST_F(ProvidersDoneAdding, FollowsAChainToItsEnd)
{
    for (const char *name : {"a", "b", "c", "d"})
        add(name);
    order("d", "c");
    order("c", "b");
    order("b", "a");
    EXPECT_EQ(ordered(), "d c b a");
}

TEST_F(ProvidersDoneAdding, PlacesACommonPredecessorOnce)
{
    for (const char *name : {"top", "left", "right", "base"})
        add(name);
    order("left", "top");
    order("right", "top");
    order("base", "left");
    order("base", "right");
    EXPECT_EQ(ordered(), "base left right top");
}

TEST_F(ProvidersDoneAdding, BuildsAnEmptyOrder)
{
    EXPECT_EQ(ordered(), "");
    EXPECT_EQ(vesk_providers_done_adding(), 0);
}

TEST_F(ProvidersDoneAdding, ChangesNothingTheSecondTime)
{
    add("a");
    order("b", "a");
    EXPECT_EQ(ordered(), "b a");
    EXPECT_EQ(ordered(), "b a");
}

TEST_F(ProvidersDoneAdding, ReportsALoopOfTwo)
{
    order("a", "b");
    order("b", "a");
    EXPECT_EQ(vesk_providers_done_adding(), 1);
    EXPECT_EQ(logged(), "vesk: Loop detected in providers order: b, a, b.\n");
}

TEST_F(ProvidersDoneAdding, ReportsALoopOfThree)
{
    order("a", "b");
    order("b", "c");
    order("c", "a");
    EXPECT_EQ(vesk_providers_done_adding(), 1);
    EXPECT_EQ(logged(), "vesk: Loop detected in providers order: b, c, a, b.\n");
}

TEST_F(ProvidersDoneAdding, ReportsALoopOfProviders)
{
    add("a");
    add("b");
    order("a", "b");
    order("b", "a");
    EXPECT_EQ(vesk_providers_done_adding(), 1);
    EXPECT_EQ(logged(), "vesk: Loop detected in providers order: a, b, a.\n");
}

TEST_F(ProvidersDoneAdding, ReportsANameBeforeItself)
{
    order("a", "a");
    EXPECT_EQ(vesk_providers_done_adding(), 1);
    EXPECT_EQ(logged(), "vesk: Loop detected in providers order: a, a.\n");
}

TEST_F(ProvidersDoneAdding, ReportsTheWayBackToWhereTheVisitBegan)
{
    order("a", "start");
    order("b", "a");
    order("a", "b");
    EXPECT_EQ(vesk_providers_done_adding(), 1);
    EXPECT_EQ(logged(), "vesk: Loop detected in providers order: a, b, a, start.\n");
}

TEST_F(ProvidersDoneAdding, ReportsALoopInOneLineWithOneTime)
{
    vesk_debug_set_timestamp(1);
    order("a", "a");
    EXPECT_EQ(vesk_providers_done_adding(), 1);
    vesk_debug_set_timestamp(0);
    const std::string line = logged();
    EXPECT_EQ(line.substr(0, 7), "vesk: [");
    EXPECT_EQ(line.substr(31), "] Loop detected in providers order: a, a.\n");
}

TEST_F(ProvidersDoneAdding, ReportsALoopSilentlyAtLevelZero)
{
    set_level(0);
    order("a", "a");
    EXPECT_EQ(vesk_providers_done_adding(), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ProvidersDoneAdding, KeepsWhatWasPlacedBeforeALoop)
{
    add("first");
    order("a", "b");
    order("b", "a");
    add("last");
    EXPECT_EQ(vesk_providers_done_adding(), 1);
    EXPECT_EQ(print(), "Providers, in order (*** = not present):\n"
                       "     first\n");
    commit_all();
    EXPECT_EQ(ran, "first");
}

TEST_F(ProvidersPrint, ShowsTheHeaderOnlyBeforeTheOrderIsBuilt)
{
    add("a");
    EXPECT_EQ(print(), "Providers, in order (*** = not present):\n");
}

TEST_F(ProvidersPrint, MarksNamesThatNoProviderHas)
{
    add("a");
    add("b");
    order("b", "a");
    order("x", "a");
    EXPECT_EQ(ordered(), "b x a");
    EXPECT_EQ(print(), "Providers, in order (*** = not present):\n"
                       "     b\n"
                       " *** x\n"
                       "     a\n");
}

TEST_F(ProvidersCommit, CallsEachProviderOnceInOrder)
{
    for (const char *name : {"c", "a", "b"})
        add(name);
    order("a", "c");
    ordered();
    commit_all();
    EXPECT_EQ(ran, "acb");
    EXPECT_EQ(logged(), "");
}

TEST_F(ProvidersCommit, SkipsNamesThatNoProviderHas)
{
    add("a");
    add("b");
    order("x", "b");
    ordered();
    commit_all();
    EXPECT_EQ(ran, "ab");
}

TEST_F(ProvidersCommit, SkipsAProviderThatOnlyRefreshes)
{
    add("a");
    add_refreshing("b");
    add("c");
    ordered();
    commit_all();
    EXPECT_EQ(ran, "ac");
}

TEST_F(ProvidersCommit, CallsNobodyBeforeTheOrderIsBuilt)
{
    add("a");
    commit_all();
    EXPECT_EQ(ran, "");
}

TEST_F(ProvidersCommit, MakesOneSetOfActionsForAll)
{
    add("a");
    add("b");
    ordered();
    commit_all();
    ASSERT_EQ(actions_seen.size(), 2u);
    EXPECT_NE(actions_seen[0], nullptr);
    EXPECT_EQ(actions_seen[0], actions_seen[1]);
}

TEST_F(ProvidersCommit, HandsOverTheGivenActions)
{
    add("a");
    ordered();
    vesk_actions *actions = vesk_actions_new();
    vesk_providers_commit(after.get(), changes.get(), actions);
    EXPECT_EQ(actions_seen, std::vector{actions});
}

TEST_F(ProvidersCommit, LetsProvidersShareASideEffect)
{
    for (const char *name : {"a", "b", "c"})
        add(name, restart_once);
    ordered();
    commit_all();
    EXPECT_EQ(ran, "a");
    commit_all();
    EXPECT_EQ(ran, "aa");
    vesk_actions *actions = vesk_actions_new();
    vesk_actions_add(actions, "shared", "restart", nullptr, nullptr);
    vesk_providers_commit(after.get(), changes.get(), actions);
    EXPECT_EQ(ran, "aa");
}

TEST_F(ProvidersCommit, TracesEachProviderFromLevelThree)
{
    add("a");
    add_refreshing("b");
    order("x", "b");
    ordered();
    set_level(2);
    commit_all();
    EXPECT_EQ(logged(), "");
    set_level(3);
    commit_all();
    EXPECT_EQ(logged(), "vesk: Committing provider a...\n"
                        "vesk: Committing provider b...\n");
}

TEST_F(ProvidersCommit, PrintsWhatIsCommittedFromLevelFour)
{
    add("a");
    ordered();
    vesk_instances_add(after.get(), make("vlan", "v1", {{"id", "7"}}).release());
    set_level(4);
    commit_all();
    EXPECT_EQ(logged(), "vesk: Committing with these after instances:\n"
                        "Instance name: v1\tclass: vlan\n"
                        "   id =\t7\n"
                        "\n"
                        "\n"
                        "vesk: Committing with these changes:\n"
                        "Changed (updated or inserted) instances:\n"
                        "Instance name: v1\tclass: vlan\n"
                        "   id =\t7\n"
                        "\n"
                        "\n"
                        "\n"
                        "Deleted instances:\n"
                        "\n"
                        "vesk: Committing provider a...\n");
}

TEST_F(ProvidersCommit, PrintsAMissingChangeSet)
{
    ordered();
    set_level(4);
    vesk_providers_commit(after.get(), nullptr, nullptr);
    EXPECT_EQ(logged(), "vesk: Committing with these after instances:\n"
                        "vesk: Committing with these changes:\n"
                        "Null changes.\n");
}

TEST_F(ProvidersRefresh, CallsEachProviderOnceInOrder)
{
    for (const char *name : {"c", "a", "b"})
        add_refreshing(name);
    order("a", "c");
    order("x", "c");
    ordered();
    vesk_providers_refresh(info.get());
    EXPECT_EQ(ran, "acb");
    EXPECT_EQ(logged(), "");
}

TEST_F(ProvidersRefresh, SkipsAProviderThatOnlyCommits)
{
    add("a");
    add_refreshing("b");
    ordered();
    vesk_providers_refresh(info.get());
    EXPECT_EQ(ran, "b");
}

TEST_F(ProvidersRefresh, PrintsAndTracesFromLevelThree)
{
    add("a");
    add_refreshing("b");
    ordered();
    vesk_refresh_info_add_property(info.get(), "vlan", "v1", "id");
    set_level(2);
    vesk_providers_refresh(info.get());
    EXPECT_EQ(logged(), "");
    set_level(3);
    vesk_providers_refresh(info.get());
    EXPECT_EQ(logged(), "vesk: Refreshing providers with:\n"
                        "Refresh info:\n"
                        "  Class vlan:\n"
                        "    Named instances:\n"
                        "      Instance v1: Properties: id.\n"
                        "vesk: Refreshing provider a...\n"
                        "vesk: Refreshing provider b...\n");
}

TEST_F(ProvidersRefresh, PrintsAMissingRecord)
{
    ordered();
    set_level(3);
    vesk_providers_refresh(nullptr);
    EXPECT_EQ(logged(), "vesk: Refreshing providers with:\n"
                        "Refresh info:\n"
                        "  Null info.\n");
}

} // namespace
