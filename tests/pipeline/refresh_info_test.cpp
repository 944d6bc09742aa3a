#include "vesk/refresh_info.h"

#include <string>

#include <gtest/gtest.h>

#include "pipeline/refresh_info.h"
#include "tests/support/model.h"

namespace {

/** Classes of all kinds, and an empty record. */
class refresh_info_test : public vesk::test::fixture {
  protected:
    refresh_info_test()
    {
        add_class("system", VESK_CLASS_SINGLETON, {"uptime", "load"});
        add_class("route", VESK_CLASS_ANONYMOUS, {"target"});
        add_class("vlan", VESK_CLASS_UNIQUE_NAMED, {"id", "status"});
        add_class("acl", VESK_CLASS_GROUP_NAMED, {"mac"});
        add_abstract("interface", {"status"});
        add_subclass("wired", "interface", {"speed"});
        add_subclass("wireless", "interface", {"channel"});
        freeze();
    }

    std::string print(const vesk_refresh_info *record) const
    {
        return vesk::test::printed([=](FILE *stream) { vesk_refresh_info_print(record, stream); });
    }
    std::string print() const { return print(info.get()); }

    int contains(const vesk::instance_ptr &instance) const
    {
        return vesk_refresh_info_contains_instance(info.get(), instance.get());
    }
    int contains(const vesk::instance_ptr &instance, const char *property) const
    {
        return vesk_refresh_info_contains_property(info.get(), instance.get(), property);
    }

    vesk::full_instances_ptr running{vesk_instances_new()};
    vesk::refresh_info_ptr info{vesk_refresh_info_new(running.get())};
    int data = 0;
};

using RefreshInfoNew = refresh_info_test;
using RefreshInfoAddInstance = refresh_info_test;
using RefreshInfoAddAllProperties = refresh_info_test;
using RefreshInfoAddProperty = refresh_info_test;
using RefreshInfoContainsClass = refresh_info_test;
using RefreshInfoContainsInstance = refresh_info_test;
using RefreshInfoContainsProperty = refresh_info_test;
using RefreshInfoGetInstances = refresh_info_test;
using RefreshInfoSetData = refresh_info_test;
using RefreshInfoPrint = refresh_info_test;
using RefreshInfoDelete = refresh_info_test;

TEST_F(RefreshInfoNew, WantsNothing)
{
    ASSERT_TRUE(info);
    EXPECT_EQ(vesk_refresh_info_get_instances(info.get()), running.get());
    EXPECT_EQ(vesk_refresh_info_get_data(info.get()), nullptr);
    EXPECT_EQ(vesk_refresh_info_contains_class(info.get(), "vlan"), 0);
    EXPECT_EQ(contains(make("vlan", "v1")), 0);
}

TEST_F(RefreshInfoNew, TakesNullInstances)
{
    info.reset(vesk_refresh_info_new(nullptr));
    ASSERT_TRUE(info);
    EXPECT_EQ(vesk_refresh_info_get_instances(info.get()), nullptr);
}

TEST_F(RefreshInfoAddInstance, WantsOneInstanceWithoutProperties)
{
    EXPECT_EQ(vesk_refresh_info_add_instance(info.get(), "vlan", "v1"), 0);
    EXPECT_EQ(vesk_refresh_info_contains_class(info.get(), "vlan"), 1);
    EXPECT_EQ(contains(make("vlan", "v1")), 1);
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 0);
    EXPECT_EQ(contains(make("vlan", "v2")), 0);
    EXPECT_EQ(print(), "Refresh info:\n"
                       "  Class vlan:\n"
                       "    Named instances:\n"
                       "      Instance v1: Properties: None.\n");
}

TEST_F(RefreshInfoAddInstance, WantsEveryInstanceWithoutAName)
{
    EXPECT_EQ(vesk_refresh_info_add_instance(info.get(), "vlan", nullptr), 0);
    EXPECT_EQ(contains(make("vlan", "v1")), 1);
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 0);
    EXPECT_EQ(print(), "Refresh info:\n"
                       "  Class vlan:\n"
                       "    Every instance: Properties: None.\n");
}

TEST_F(RefreshInfoAddInstance, KeepsOneSelectionOfAnInstanceAddedTwice)
{
    vesk_refresh_info_add_property(info.get(), "vlan", "v1", "id");
    vesk_refresh_info_add_property(info.get(), "vlan", nullptr, "status");
    EXPECT_EQ(vesk_refresh_info_add_instance(info.get(), "vlan", "v1"), 0);
    EXPECT_EQ(vesk_refresh_info_add_instance(info.get(), "vlan", nullptr), 0);
    EXPECT_EQ(print(), "Refresh info:\n"
                       "  Class vlan:\n"
                       "    Named instances:\n"
                       "      Instance v1: Properties: id.\n"
                       "    Every instance: Properties: status.\n");
}

TEST_F(RefreshInfoAddInstance, CopiesTheNames)
{
    char class_name[] = "vlan", name[] = "v1";
    vesk_refresh_info_add_instance(info.get(), class_name, name);
    class_name[0] = name[0] = 'x';
    EXPECT_EQ(contains(make("vlan", "v1")), 1);
}

TEST_F(RefreshInfoAddInstance, RefusesANullRecordOrClass)
{
    EXPECT_EQ(vesk_refresh_info_add_instance(nullptr, "vlan", "v1"), 1);
    EXPECT_EQ(vesk_refresh_info_add_instance(info.get(), nullptr, "v1"), 1);
    EXPECT_EQ(vesk_refresh_info_add_instance(info.get(), nullptr, nullptr), 1);
    EXPECT_EQ(print(), "Refresh info:\n");
    EXPECT_EQ(logged(), "");
}

TEST_F(RefreshInfoAddAllProperties, WantsAllOfOneInstance)
{
    EXPECT_EQ(vesk_refresh_info_add_all_properties(info.get(), "vlan", "v1"), 0);
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 1);
    EXPECT_EQ(contains(make("vlan", "v1"), "anything"), 1);
    EXPECT_EQ(contains(make("vlan", "v2"), "id"), 0);
}

TEST_F(RefreshInfoAddAllProperties, WantsAllOfEveryInstance)
{
    EXPECT_EQ(vesk_refresh_info_add_all_properties(info.get(), "system", nullptr), 0);
    EXPECT_EQ(contains(make("system", nullptr)), 1);
    EXPECT_EQ(contains(make("system", nullptr), "uptime"), 1);
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 0);
}

TEST_F(RefreshInfoAddAllProperties, WidensAnEarlierSelection)
{
    vesk_refresh_info_add_property(info.get(), "vlan", "v1", "id");
    EXPECT_EQ(vesk_refresh_info_add_all_properties(info.get(), "vlan", "v1"), 0);
    EXPECT_EQ(contains(make("vlan", "v1"), "status"), 1);
    EXPECT_EQ(print(), "Refresh info:\n"
                       "  Class vlan:\n"
                       "    Named instances:\n"
                       "      Instance v1: Properties: All.\n");
}

TEST_F(RefreshInfoAddAllProperties, RefusesANullRecordOrClass)
{
    EXPECT_EQ(vesk_refresh_info_add_all_properties(nullptr, "vlan", "v1"), 1);
    EXPECT_EQ(vesk_refresh_info_add_all_properties(info.get(), nullptr, "v1"), 1);
    EXPECT_EQ(vesk_refresh_info_add_all_properties(info.get(), nullptr, nullptr), 1);
    EXPECT_EQ(print(), "Refresh info:\n");
}

TEST_F(RefreshInfoAddProperty, WantsOnePropertyOfOneInstance)
{
    EXPECT_EQ(vesk_refresh_info_add_property(info.get(), "vlan", "v1", "id"), 0);
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 1);
    EXPECT_EQ(contains(make("vlan", "v1"), "status"), 0);
    EXPECT_EQ(contains(make("vlan", "v2"), "id"), 0);
}

TEST_F(RefreshInfoAddProperty, WantsOnePropertyOfEveryInstance)
{
    EXPECT_EQ(vesk_refresh_info_add_property(info.get(), "acl", nullptr, "mac"), 0);
    EXPECT_EQ(contains(make("acl", "guests"), "mac"), 1);
    EXPECT_EQ(contains(make("acl", "house"), "mac"), 1);
    EXPECT_EQ(contains(make("acl", "house"), "other"), 0);
}

TEST_F(RefreshInfoAddProperty, KeepsOneNameOfAPropertyAddedTwice)
{
    for (const char *property : {"status", "id", "status"}) {
        EXPECT_EQ(vesk_refresh_info_add_property(info.get(), "vlan", "v1", property), 0);
        EXPECT_EQ(vesk_refresh_info_add_property(info.get(), "vlan", nullptr, property), 0);
    }
    EXPECT_EQ(print(), "Refresh info:\n"
                       "  Class vlan:\n"
                       "    Named instances:\n"
                       "      Instance v1: Properties: status id.\n"
                       "    Every instance: Properties: status id.\n");
}

TEST_F(RefreshInfoAddProperty, RecordsNothingWhereAllOfEveryInstanceIsWanted)
{
    vesk_refresh_info_add_all_properties(info.get(), "vlan", nullptr);
    EXPECT_EQ(vesk_refresh_info_add_property(info.get(), "vlan", "v1", "id"), 0);
    EXPECT_EQ(vesk_refresh_info_add_property(info.get(), "vlan", nullptr, "id"), 0);
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 1);
    EXPECT_EQ(contains(make("vlan", "v1"), "anything"), 1);
    EXPECT_EQ(print(), "Refresh info:\n"
                       "  Class vlan:\n"
                       "    Named instances:\n"
                       "      Instance v1: Properties: None.\n"
                       "    Every instance: Properties: All.\n");
}

TEST_F(RefreshInfoAddProperty, RecordsNothingWhereAllOfThatInstanceIsWanted)
{
    vesk_refresh_info_add_all_properties(info.get(), "vlan", "v1");
    EXPECT_EQ(vesk_refresh_info_add_property(info.get(), "vlan", "v1", "id"), 0);
    EXPECT_EQ(print(), "Refresh info:\n"
                       "  Class vlan:\n"
                       "    Named instances:\n"
                       "      Instance v1: Properties: All.\n");
}

TEST_F(RefreshInfoAddProperty, CopiesTheName)
{
    char property[] = "id";
    vesk_refresh_info_add_property(info.get(), "vlan", "v1", property);
    property[0] = 'x';
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 1);
}

TEST_F(RefreshInfoAddProperty, RefusesANullRecordOrProperty)
{
    EXPECT_EQ(vesk_refresh_info_add_property(nullptr, "vlan", "v1", "id"), 1);
    EXPECT_EQ(vesk_refresh_info_add_property(info.get(), "vlan", "v1", nullptr), 1);
    EXPECT_EQ(vesk_refresh_info_contains_class(info.get(), "vlan"), 0);
}

TEST_F(RefreshInfoAddProperty, RefusesANullClass)
{
    EXPECT_EQ(vesk_refresh_info_add_property(info.get(), nullptr, "v1", "id"), 1);
    EXPECT_EQ(vesk_refresh_info_add_property(info.get(), nullptr, nullptr, "id"), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(RefreshInfoContainsClass, AnswersOneForANullRecord)
{
    EXPECT_EQ(vesk_refresh_info_contains_class(nullptr, "vlan"), 1);
    EXPECT_EQ(vesk_refresh_info_contains_class(nullptr, nullptr), 1);
}

TEST_F(RefreshInfoContainsClass, LooksForTheVeryName)
{
    vesk_refresh_info_add_instance(info.get(), "interface", nullptr);
    EXPECT_EQ(vesk_refresh_info_contains_class(info.get(), "interface"), 1);
    EXPECT_EQ(vesk_refresh_info_contains_class(info.get(), "wired"), 0);
    EXPECT_EQ(vesk_refresh_info_contains_class(info.get(), nullptr), 0);
}

TEST_F(RefreshInfoContainsInstance, AnswersZeroForANullRecordOrInstance)
{
    vesk_refresh_info_add_instance(info.get(), "vlan", nullptr);
    EXPECT_EQ(vesk_refresh_info_contains_instance(nullptr, make("vlan", "v1").get()), 0);
    EXPECT_EQ(vesk_refresh_info_contains_instance(info.get(), nullptr), 0);
    EXPECT_EQ(vesk_refresh_info_contains_instance(nullptr, nullptr), 0);
}

TEST_F(RefreshInfoContainsInstance, FindsSubclassesUnderTheirSuperclass)
{
    vesk_refresh_info_add_instance(info.get(), "interface", "eth0");
    EXPECT_EQ(contains(make("wired", "eth0")), 1);
    EXPECT_EQ(contains(make("wireless", "eth0")), 1);
    EXPECT_EQ(contains(make("wired", "eth1")), 0);
}

TEST_F(RefreshInfoContainsInstance, DoesNotFindSubclassesUnderTheirOwnName)
{
    vesk_refresh_info_add_all_properties(info.get(), "wired", nullptr);
    EXPECT_EQ(contains(make("wired", "eth0")), 0);
    EXPECT_EQ(contains(make("wired", "eth0"), "speed"), 0);
}

TEST_F(RefreshInfoContainsInstance, FindsOneWithoutANameAmongEveryInstanceOnly)
{
    vesk_refresh_info_add_all_properties(info.get(), "route", "r1");
    EXPECT_EQ(contains(make("route", nullptr)), 0);
    EXPECT_EQ(contains(make("route", nullptr), "target"), 0);
    vesk_refresh_info_add_instance(info.get(), "route", nullptr);
    EXPECT_EQ(contains(make("route", nullptr)), 1);
    EXPECT_EQ(contains(make("route", nullptr), "target"), 0);
}

TEST_F(RefreshInfoContainsProperty, AnswersZeroForANullRecordOrInstance)
{
    vesk_refresh_info_add_all_properties(info.get(), "vlan", nullptr);
    EXPECT_EQ(vesk_refresh_info_contains_property(nullptr, make("vlan", "v1").get(), "id"), 0);
    EXPECT_EQ(vesk_refresh_info_contains_property(info.get(), nullptr, "id"), 0);
}

TEST_F(RefreshInfoContainsProperty, JoinsEveryInstanceAndTheNamedOne)
{
    vesk_refresh_info_add_property(info.get(), "vlan", nullptr, "status");
    vesk_refresh_info_add_property(info.get(), "vlan", "v1", "id");
    EXPECT_EQ(contains(make("vlan", "v1"), "status"), 1);
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 1);
    EXPECT_EQ(contains(make("vlan", "v2"), "status"), 1);
    EXPECT_EQ(contains(make("vlan", "v2"), "id"), 0);
}

TEST_F(RefreshInfoContainsProperty, AnswersZeroForAClassThatIsNotWanted)
{
    vesk_refresh_info_add_all_properties(info.get(), "vlan", nullptr);
    EXPECT_EQ(contains(make("acl", "guests"), "mac"), 0);
}

TEST_F(RefreshInfoContainsProperty, AnswersZeroWhereNothingIsNamed)
{
    vesk_refresh_info_add_instance(info.get(), "vlan", nullptr);
    EXPECT_EQ(contains(make("vlan", "v1"), "id"), 0);
}

TEST_F(RefreshInfoContainsProperty, FindsAPropertyOfTheSuperclass)
{
    vesk_refresh_info_add_property(info.get(), "interface", "eth0", "status");
    EXPECT_EQ(contains(make("wired", "eth0"), "status"), 1);
    EXPECT_EQ(contains(make("wired", "eth0"), "speed"), 0);
}

TEST_F(RefreshInfoGetInstances, GivesNullForANullRecord)
{
    EXPECT_EQ(vesk_refresh_info_get_instances(nullptr), nullptr);
    EXPECT_EQ(logged(), "");
}

TEST_F(RefreshInfoSetData, ReplacesTheData)
{
    vesk_refresh_info_set_data(info.get(), &data);
    EXPECT_EQ(vesk_refresh_info_get_data(info.get()), &data);
    vesk_refresh_info_set_data(info.get(), nullptr);
    EXPECT_EQ(vesk_refresh_info_get_data(info.get()), nullptr);
}

TEST_F(RefreshInfoSetData, IgnoresANullRecord)
{
    vesk_refresh_info_set_data(nullptr, &data);
    EXPECT_EQ(vesk_refresh_info_get_data(nullptr), nullptr);
}

TEST_F(RefreshInfoPrint, SaysThatThereIsNoRecord)
{
    EXPECT_EQ(print(nullptr), "Refresh info:\n  Null info.\n");
}

TEST_F(RefreshInfoPrint, ShowsNoClassOfANewRecord)
{
    EXPECT_EQ(print(), "Refresh info:\n");
}

TEST_F(RefreshInfoPrint, ShowsClassesInstancesAndPropertiesInTheOrderOfAdding)
{
    vesk_refresh_info_add_all_properties(info.get(), "vlan", nullptr);
    vesk_refresh_info_add_property(info.get(), "system", nullptr, "uptime");
    vesk_refresh_info_add_property(info.get(), "system", nullptr, "load");
    vesk_refresh_info_add_instance(info.get(), "interface", nullptr);
    vesk_refresh_info_add_property(info.get(), "interface", "wlan0", "status");
    vesk_refresh_info_add_all_properties(info.get(), "interface", "eth0");
    vesk_refresh_info_add_instance(info.get(), "interface", "br0");
    EXPECT_EQ(print(), "Refresh info:\n"
                       "  Class vlan:\n"
                       "    Every instance: Properties: All.\n"
                       "  Class system:\n"
                       "    Every instance: Properties: uptime load.\n"
                       "  Class interface:\n"
                       "    Named instances:\n"
                       "      Instance wlan0: Properties: status.\n"
                       "      Instance eth0: Properties: All.\n"
                       "      Instance br0: Properties: None.\n"
                       "    Every instance: Properties: None.\n");
}

TEST_F(RefreshInfoPrint, KeepsTheOrderOfManyNames)
{
    std::string expected = "Refresh info:\n  Class system:\n    Every instance: Properties:";
    for (int i = 0; i < 200; ++i) {
        const std::string property = "p" + std::to_string(i);
        vesk_refresh_info_add_property(info.get(), "system", nullptr, property.c_str());
        expected += " " + property;
    }
    EXPECT_EQ(print(), expected + ".\n");
}

TEST_F(RefreshInfoDelete, LeavesTheCollectionAlone)
{
    vesk_refresh_info_add_property(info.get(), "vlan", "v1", "id");
    info.reset();
    EXPECT_EQ(vesk_instances_is_empty(running.get()), 1);
}

TEST_F(RefreshInfoDelete, IgnoresNull)
{
    vesk_refresh_info_delete(nullptr);
    EXPECT_EQ(logged(), "");
}

} // namespace
