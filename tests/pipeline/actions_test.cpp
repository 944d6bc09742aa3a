#include "vesk/actions.h"

#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "pipeline/actions.h"
#include "tests/support/log.h"

namespace {

/** The text of an action, or "(null)". */
std::string action(const char *provider, const char *name, const char *class_name = nullptr,
                   const char *instance_name = nullptr)
{
    const std::unique_ptr<char, decltype(&std::free)> text{
        vesk_actions_get_string(provider, name, class_name, instance_name), &std::free};
    return text ? text.get() : "(null)";
}

/** An empty set; the log caught at level 1. */
class actions_test : public ::testing::Test {
  protected:
    std::string logged() { return log_.take(); }

    vesk::actions_ptr actions{vesk_actions_new()};

  private:
    vesk::test::log_capture log_;
};

using ActionsNew = actions_test;
using ActionsGetString = actions_test;
using ActionsAdd = actions_test;
using ActionsExists = actions_test;
using ActionsDelete = actions_test;

TEST_F(ActionsNew, GivesAnEmptySet)
{
    ASSERT_TRUE(actions);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", nullptr, nullptr), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ActionsGetString, JoinsWhatIsGiven)
{
    EXPECT_EQ(action("a", "b"), "a-b");
    EXPECT_EQ(action("a", "b", "c"), "a-b-c");
    EXPECT_EQ(action("a", "b", "c", "d"), "a-b-c-d");
    EXPECT_EQ(action("hostapd", "restart", "radio", "wlan0"), "hostapd-restart-radio-wlan0");
    EXPECT_EQ(logged(), "");
}

TEST_F(ActionsGetString, TakesEmptyAndLongTexts)
{
    const std::string name(5000, 'n');
    EXPECT_EQ(action("", ""), "-");
    EXPECT_EQ(action("a", "b", ""), "a-b-");
    EXPECT_EQ(action("a", "b", "", ""), "a-b--");
    EXPECT_EQ(action("a", "b", "c", name.c_str()), "a-b-c-" + name);
}

TEST_F(ActionsGetString, RefusesANullProvider)
{
    EXPECT_EQ(action(nullptr, "b"), "(null)");
    EXPECT_EQ(logged(), "vesk: No provider.\n");
}

TEST_F(ActionsGetString, RefusesANullAction)
{
    EXPECT_EQ(action("a", nullptr), "(null)");
    EXPECT_EQ(logged(), "vesk: No action.\n");
}

TEST_F(ActionsGetString, RefusesAnInstanceWithoutAClass)
{
    EXPECT_EQ(action("a", "b", nullptr, "d"), "(null)");
    EXPECT_EQ(logged(), "vesk: Instance, but no class.\n");
}

TEST_F(ActionsGetString, ReportsTheFirstOfSeveralFaults)
{
    EXPECT_EQ(action(nullptr, nullptr, nullptr, "d"), "(null)");
    EXPECT_EQ(logged(), "vesk: No provider.\n");
    EXPECT_EQ(action("a", nullptr, nullptr, "d"), "(null)");
    EXPECT_EQ(logged(), "vesk: No action.\n");
}

TEST_F(ActionsGetString, ReportsNothingAtLevelZero)
{
    vesk::test::set_level(0);
    EXPECT_EQ(action(nullptr, "b"), "(null)");
    EXPECT_EQ(action("a", nullptr), "(null)");
    EXPECT_EQ(action("a", "b", nullptr, "d"), "(null)");
    EXPECT_EQ(vesk_actions_add(nullptr, "a", "b", nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ActionsAdd, EntersWhatThenExists)
{
    EXPECT_EQ(vesk_actions_add(actions.get(), "a", "b", "c", "d"), 0);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", "c", "d"), 1);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", "c", nullptr), 0);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", nullptr, nullptr), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ActionsAdd, AcceptsADuplicate)
{
    EXPECT_EQ(vesk_actions_add(actions.get(), "a", "b", nullptr, nullptr), 0);
    EXPECT_EQ(vesk_actions_add(actions.get(), "a", "b", nullptr, nullptr), 0);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ActionsAdd, CopiesTheTexts)
{
    char provider[] = "dhcp";
    EXPECT_EQ(vesk_actions_add(actions.get(), provider, "restart", nullptr, nullptr), 0);
    provider[0] = 'x';
    EXPECT_EQ(vesk_actions_exists(actions.get(), "dhcp", "restart", nullptr, nullptr), 1);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "xhcp", "restart", nullptr, nullptr), 0);
}

TEST_F(ActionsAdd, TakesMoreThanTheFirstSizeOfTheSet)
{
    for (int i = 0; i < 500; ++i)
        EXPECT_EQ(vesk_actions_add(actions.get(), "a", "b", "c", std::to_string(i).c_str()), 0);
    for (int i = 0; i < 500; ++i)
        EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", "c", std::to_string(i).c_str()), 1);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", "c", "500"), 0);
}

TEST_F(ActionsAdd, RefusesANullSet)
{
    EXPECT_EQ(vesk_actions_add(nullptr, "a", "b", nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: No actions.\n");
}

TEST_F(ActionsAdd, LooksAtTheSetFirst)
{
    EXPECT_EQ(vesk_actions_add(nullptr, nullptr, nullptr, nullptr, "d"), 1);
    EXPECT_EQ(logged(), "vesk: No actions.\n");
}

TEST_F(ActionsAdd, RefusesWhatMakesNoText)
{
    EXPECT_EQ(vesk_actions_add(actions.get(), nullptr, "b", nullptr, nullptr), 1);
    EXPECT_EQ(vesk_actions_add(actions.get(), "a", nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(vesk_actions_add(actions.get(), "a", "b", nullptr, "d"), 1);
    EXPECT_EQ(logged(), "vesk: No provider.\nvesk: No action.\nvesk: Instance, but no class.\n");
}

TEST_F(ActionsExists, AnswersOneForANullSet)
{
    EXPECT_EQ(vesk_actions_exists(nullptr, "a", "b", nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: No actions.\n");
}

TEST_F(ActionsExists, AnswersOneForWhatMakesNoText)
{
    EXPECT_EQ(vesk_actions_exists(actions.get(), nullptr, "b", nullptr, nullptr), 1);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", nullptr, "d"), 1);
    EXPECT_EQ(logged(), "vesk: No provider.\nvesk: No action.\nvesk: Instance, but no class.\n");
}

TEST_F(ActionsExists, ComparesTheWholeText)
{
    vesk_actions_add(actions.get(), "a", "b-c", nullptr, nullptr);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b", "c", nullptr), 1);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "a", "b-", nullptr, nullptr), 0);
    EXPECT_EQ(vesk_actions_exists(actions.get(), "A", "b-c", nullptr, nullptr), 0);
}

TEST_F(ActionsDelete, ReportsANullSet)
{
    vesk_actions_delete(nullptr);
    EXPECT_EQ(logged(), "vesk: No actions.\n");
}

} // namespace
