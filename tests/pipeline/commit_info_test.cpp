#include "vesk/commit_info.h"

#include <memory>

#include <gtest/gtest.h>

#include "model/instances.h"
#include "pipeline/actions.h"
#include "pipeline/changes.h"
#include "tests/support/log.h"

namespace {

struct delete_info {
    void operator()(vesk_commit_info *info) const { vesk_commit_info_delete(info); }
};

/** A record of two collections, a change set, actions and data. */
class commit_info_test : public ::testing::Test {
  protected:
    vesk::full_instances_ptr before{vesk_instances_new()};
    vesk::full_instances_ptr after{vesk_instances_new()};
    vesk::changes_ptr changes{vesk_changes_new(after.get())};
    vesk::actions_ptr actions{vesk_actions_new()};
    int data = 0, other_data = 0;
    std::unique_ptr<vesk_commit_info, delete_info> info{
        vesk_commit_info_new(before.get(), after.get(), changes.get(), actions.get(), &data)};
    vesk::test::log_capture log;
};

using CommitInfoNew = commit_info_test;
using CommitInfoGet = commit_info_test;
using CommitInfoSetData = commit_info_test;
using CommitInfoDelete = commit_info_test;

TEST_F(CommitInfoNew, StoresItsMembers)
{
    EXPECT_EQ(vesk_commit_info_get_before(info.get()), before.get());
    EXPECT_EQ(vesk_commit_info_get_after(info.get()), after.get());
    EXPECT_EQ(vesk_commit_info_get_changes(info.get()), changes.get());
    EXPECT_EQ(vesk_commit_info_get_actions(info.get()), actions.get());
    EXPECT_EQ(vesk_commit_info_get_data(info.get()), &data);
}

TEST_F(CommitInfoNew, TakesNullMembers)
{
    info.reset(vesk_commit_info_new(nullptr, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(info);
    EXPECT_EQ(vesk_commit_info_get_before(info.get()), nullptr);
    EXPECT_EQ(vesk_commit_info_get_after(info.get()), nullptr);
    EXPECT_EQ(vesk_commit_info_get_changes(info.get()), nullptr);
    EXPECT_EQ(vesk_commit_info_get_actions(info.get()), nullptr);
    EXPECT_EQ(vesk_commit_info_get_data(info.get()), nullptr);
}

TEST_F(CommitInfoGet, GivesNullForANullRecord)
{
    EXPECT_EQ(vesk_commit_info_get_before(nullptr), nullptr);
    EXPECT_EQ(vesk_commit_info_get_after(nullptr), nullptr);
    EXPECT_EQ(vesk_commit_info_get_changes(nullptr), nullptr);
    EXPECT_EQ(vesk_commit_info_get_actions(nullptr), nullptr);
    EXPECT_EQ(vesk_commit_info_get_data(nullptr), nullptr);
    EXPECT_EQ(log.take(), "");
}

TEST_F(CommitInfoSetData, ReplacesTheDataOnly)
{
    vesk_commit_info_set_data(info.get(), &other_data);
    EXPECT_EQ(vesk_commit_info_get_data(info.get()), &other_data);
    EXPECT_EQ(vesk_commit_info_get_after(info.get()), after.get());
    vesk_commit_info_set_data(info.get(), nullptr);
    EXPECT_EQ(vesk_commit_info_get_data(info.get()), nullptr);
}

TEST_F(CommitInfoSetData, IgnoresANullRecord)
{
    vesk_commit_info_set_data(nullptr, &data);
    EXPECT_EQ(log.take(), "");
}

TEST_F(CommitInfoDelete, LeavesTheMembersAlone)
{
    info.reset();
    EXPECT_EQ(vesk_instances_is_empty(before.get()), 1);
    EXPECT_EQ(vesk_instances_is_empty(after.get()), 1);
    EXPECT_NE(vesk_changes_get_before(changes.get()), nullptr);
    EXPECT_EQ(vesk_actions_add(actions.get(), "a", "b", nullptr, nullptr), 0);
}

TEST_F(CommitInfoDelete, IgnoresANullRecord)
{
    vesk_commit_info_delete(nullptr);
    EXPECT_EQ(log.take(), "");
}

} // namespace
