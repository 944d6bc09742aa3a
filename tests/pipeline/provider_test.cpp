#include "vesk/provider.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "pipeline/actions.h"
#include "pipeline/changes.h"
#include "pipeline/provider.h"
#include "pipeline/refresh_info.h"
#include "tests/support/log.h"
#include "vesk/commit_info.h"

namespace {

/** What the functions were called with. */
struct {
    int commits, refreshes;
    vesk_instances *before, *after;
    vesk_changes *changes;
    vesk_actions *actions;
    void *data;
    vesk_refresh_info *refresh;
} seen;

void commit(vesk_commit_info *info)
{
    ++seen.commits;
    seen.before = vesk_commit_info_get_before(info);
    seen.after = vesk_commit_info_get_after(info);
    seen.changes = vesk_commit_info_get_changes(info);
    seen.actions = vesk_commit_info_get_actions(info);
    seen.data = vesk_commit_info_get_data(info);
}

void refresh(vesk_refresh_info *info)
{
    ++seen.refreshes;
    seen.refresh = info;
    seen.data = vesk_refresh_info_get_data(info);
}

/** A provider without functions; the log caught at level 1. */
class provider_test : public ::testing::Test {
  protected:
    provider_test() { seen = {}; }

    std::string logged() { return log_.take(); }

    std::unique_ptr<vesk_provider> provider{vesk_provider_new("bridge")};
    int data = 0;
    vesk::full_instances_ptr after{vesk_instances_new()};
    vesk::changes_ptr changes{vesk_changes_new(after.get())};
    vesk::actions_ptr actions{vesk_actions_new()};
    vesk::refresh_info_ptr info{vesk_refresh_info_new(after.get())};

  private:
    vesk::test::log_capture log_;
};

using ProviderNew = provider_test;
using ProviderSetCommitFn = provider_test;
using ProviderSetRefreshFn = provider_test;
using ProviderIsValid = provider_test;
using ProviderCommit = provider_test;
using ProviderRefresh = provider_test;

TEST_F(ProviderNew, CopiesTheNameAndHasNoFunctions)
{
    char name[] = "bridge";
    provider.reset(vesk_provider_new(name));
    name[0] = 'x';
    EXPECT_EQ(vesk_provider_is_valid(provider.get()), 0);
    EXPECT_EQ(logged(), "vesk: Provider \"bridge\" has no commit or refresh function.\n");
}

TEST_F(ProviderNew, RefusesANullName)
{
    EXPECT_EQ(vesk_provider_new(nullptr), nullptr);
}

TEST_F(ProviderSetCommitFn, RefusesANullProvider)
{
    EXPECT_EQ(vesk_provider_set_commit_fn(nullptr, commit, nullptr), 1);
}

TEST_F(ProviderSetCommitFn, TakesANullFunctionBack)
{
    EXPECT_EQ(vesk_provider_set_commit_fn(provider.get(), commit, nullptr), 0);
    EXPECT_EQ(vesk_provider_is_valid(provider.get()), 1);
    EXPECT_EQ(vesk_provider_set_commit_fn(provider.get(), nullptr, nullptr), 0);
    EXPECT_EQ(vesk_provider_is_valid(provider.get()), 0);
}

TEST_F(ProviderSetRefreshFn, RefusesANullProvider)
{
    EXPECT_EQ(vesk_provider_set_refresh_fn(nullptr, refresh, nullptr), 1);
}

TEST_F(ProviderIsValid, ReportsNull)
{
    EXPECT_EQ(vesk_provider_is_valid(nullptr), 0);
    EXPECT_EQ(logged(), "vesk: Null provider.\n");
}

TEST_F(ProviderIsValid, IsSatisfiedWithEitherFunction)
{
    vesk_provider_set_commit_fn(provider.get(), commit, nullptr);
    EXPECT_EQ(vesk_provider_is_valid(provider.get()), 1);
    provider.reset(vesk_provider_new("bridge"));
    vesk_provider_set_refresh_fn(provider.get(), refresh, nullptr);
    EXPECT_EQ(vesk_provider_is_valid(provider.get()), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ProviderIsValid, ReportsNothingAtLevelZero)
{
    vesk::test::set_level(0);
    EXPECT_EQ(vesk_provider_is_valid(provider.get()), 0);
    EXPECT_EQ(vesk_provider_is_valid(nullptr), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ProviderCommit, HandsEverythingToTheFunction)
{
    vesk_provider_set_commit_fn(provider.get(), commit, &data);
    vesk_provider_commit(provider.get(), after.get(), changes.get(), actions.get());
    EXPECT_EQ(seen.commits, 1);
    EXPECT_EQ(seen.before, vesk_changes_get_before(changes.get()));
    EXPECT_EQ(seen.after, after.get());
    EXPECT_EQ(seen.changes, changes.get());
    EXPECT_EQ(seen.actions, actions.get());
    EXPECT_EQ(seen.data, &data);
}

TEST_F(ProviderCommit, HasNoBeforeWithoutAChangeSet)
{
    vesk_provider_set_commit_fn(provider.get(), commit, &data);
    vesk_provider_commit(provider.get(), after.get(), nullptr, nullptr);
    EXPECT_EQ(seen.commits, 1);
    EXPECT_EQ(seen.before, nullptr);
    EXPECT_EQ(seen.changes, nullptr);
}

TEST_F(ProviderCommit, SkipsAProviderWithoutTheFunction)
{
    vesk_provider_set_refresh_fn(provider.get(), refresh, nullptr);
    vesk_provider_commit(provider.get(), after.get(), changes.get(), actions.get());
    EXPECT_EQ(seen.refreshes, 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ProviderCommit, ReportsNull)
{
    vesk_provider_commit(nullptr, after.get(), changes.get(), actions.get());
    EXPECT_EQ(logged(), "vesk: Null provider.\n");
}

TEST_F(ProviderRefresh, HandsRecordAndDataToTheFunction)
{
    vesk_provider_set_refresh_fn(provider.get(), refresh, &data);
    vesk_provider_refresh(provider.get(), info.get());
    EXPECT_EQ(seen.refreshes, 1);
    EXPECT_EQ(seen.refresh, info.get());
    EXPECT_EQ(seen.data, &data);
}

TEST_F(ProviderRefresh, ReplacesTheDataOfAnEarlierProvider)
{
    vesk_refresh_info_set_data(info.get(), &data);
    vesk_provider_set_refresh_fn(provider.get(), refresh, nullptr);
    vesk_provider_refresh(provider.get(), info.get());
    EXPECT_EQ(seen.refreshes, 1);
    EXPECT_EQ(seen.data, nullptr);
}

TEST_F(ProviderRefresh, KeepsTheTwoDataApart)
{
    int other = 0;
    vesk_provider_set_commit_fn(provider.get(), commit, &other);
    vesk_provider_set_refresh_fn(provider.get(), refresh, &data);
    vesk_provider_refresh(provider.get(), info.get());
    EXPECT_EQ(seen.data, &data);
    vesk_provider_commit(provider.get(), after.get(), changes.get(), actions.get());
    EXPECT_EQ(seen.data, &other);
}

TEST_F(ProviderRefresh, SkipsAProviderWithoutTheFunction)
{
    vesk_refresh_info_set_data(info.get(), &data);
    vesk_provider_set_commit_fn(provider.get(), commit, nullptr);
    vesk_provider_refresh(provider.get(), info.get());
    EXPECT_EQ(seen.commits, 0);
    EXPECT_EQ(vesk_refresh_info_get_data(info.get()), &data);
    EXPECT_EQ(logged(), "");
}

TEST_F(ProviderRefresh, TakesANullRecord)
{
    vesk_provider_set_refresh_fn(provider.get(), refresh, &data);
    vesk_provider_refresh(provider.get(), nullptr);
    EXPECT_EQ(seen.refreshes, 1);
    EXPECT_EQ(seen.refresh, nullptr);
}

TEST_F(ProviderRefresh, ReportsNull)
{
    vesk_provider_refresh(nullptr, info.get());
    EXPECT_EQ(logged(), "vesk: Null provider.\n");
}

} // namespace
