#include "model/parking.h"

#include <optional>

#include "tests/support/collection.h"

namespace {

using namespace vesk::test;
using vesk::busy_scope;
using vesk::instance_ptr;

using BusyScope = collection_fixture;
using Parking = collection_fixture;

TEST_F(BusyScope, CountsHowManyAreUnderWay)
{
    const unsigned before = busy_scope::depth();
    EXPECT_EQ(before, 0u);
    {
        const busy_scope outer;
        EXPECT_EQ(busy_scope::depth(), 1u);
        {
            const busy_scope inner;
            EXPECT_EQ(busy_scope::depth(), 2u);
        }
        EXPECT_EQ(busy_scope::depth(), 1u);
    }
    EXPECT_EQ(busy_scope::depth(), 0u);
}

TEST_F(Parking, FreesAtOnceWhenNothingIsUnderWay)
{
    auto *instance = make_one("user", "ann").release();
    EXPECT_EQ(vesk_instance_delete(instance), 0);
    EXPECT_TRUE(may_be_freed(instance));
    auto *gone = collection_.release();
    vesk_instances_delete_all(gone);
    EXPECT_TRUE(may_be_freed(gone));
}

TEST_F(Parking, KeepsADeletedInstanceUntilTheScopeEnds)
{
    auto *instance = make_one("user", "ann").release();
    {
        const busy_scope busy;
        EXPECT_EQ(vesk_instance_delete(instance), 0);
        EXPECT_STREQ(vesk_instance_get_name(instance), "ann");
        EXPECT_EQ(vesk_instance_set_value(instance, "id", "still here"), 0);
        EXPECT_STREQ(vesk_instance_get_value(instance, "id"), "still here");
    }
    EXPECT_TRUE(may_be_freed(instance));
}

TEST_F(Parking, KeepsADeletedInstanceUntilTheOutermostScopeEnds)
{
    std::optional<busy_scope> outer{std::in_place};
    auto *instance = make_one("user", "ann").release();
    {
        const busy_scope middle;
        {
            const busy_scope inner;
            vesk_instance_delete(instance);
        }
        EXPECT_STREQ(vesk_instance_get_name(instance), "ann");
    }
    EXPECT_STREQ(vesk_instance_get_name(instance), "ann");
    EXPECT_TRUE(may_be_alive(instance));
    outer.reset();
    EXPECT_TRUE(may_be_freed(instance));
}

TEST_F(Parking, KeepsEveryInstanceThatIsDeleted)
{
    std::vector<vesk_instance *> instances;
    {
        const busy_scope busy;
        for (int i = 0; i < 100; ++i) {
            const std::string id = std::to_string(i);
            instances.push_back(make_one("route", nullptr, id.c_str()).release());
            vesk_instance_delete(instances.back());
        }
        for (size_t i = 0; i < instances.size(); ++i)
            EXPECT_EQ(vesk_instance_get_value(instances[i], "id"), std::to_string(i));
    }
    for (const auto *instance : instances)
        EXPECT_TRUE(may_be_freed(instance));
}

TEST_F(Parking, CopiesAnInstanceThatWasDeleted)
{
    instance_ptr copy;
    {
        const busy_scope busy;
        auto *instance = make_one("user", "ann").release();
        vesk_instance_delete(instance);
        copy.reset(vesk_instance_copy(instance));
    }
    EXPECT_STREQ(vesk_instance_get_value(copy.get(), "id"), "ann");
}

TEST_F(Parking, KeepsADeletedCollectionWholeUntilTheOutermostScopeEnds)
{
    fill();
    auto *gone = collection_.release();
    auto *ann = vesk_instances_get(gone, "user", "ann");
    {
        const busy_scope outer;
        {
            const busy_scope inner;
            vesk_instances_delete_all(gone);
        }
        EXPECT_EQ(order_of(gone), filled);
        EXPECT_EQ(vesk_instances_get(gone, "user", "ann"), ann);
        EXPECT_STREQ(vesk_instance_get_value(ann, "id"), "ann");
        EXPECT_TRUE(vesk_instances_get_singleton(gone, "system"));
        EXPECT_EQ(vesk_instances_is_empty(gone), 0);
    }
    EXPECT_TRUE(may_be_freed(gone));
    EXPECT_TRUE(may_be_freed(ann));
}

TEST_F(Parking, LeavesTheInstancesOfADeletedCollectionToTheirOwner)
{
    const instance_ptr ann{put("user", "ann")}, route{put("route", nullptr, "r1")};
    auto *gone = collection_.release();
    {
        const busy_scope busy;
        vesk_instances_delete(gone);
        EXPECT_EQ(order_of(gone), "ann r1");
    }
    EXPECT_TRUE(may_be_freed(gone));
    EXPECT_STREQ(vesk_instance_get_value(ann.get(), "id"), "ann");
    EXPECT_STREQ(vesk_instance_get_value(route.get(), "id"), "r1");
}

TEST_F(Parking, KeepsACollectionWhoseInstancesAreDeletedOneByOne)
{
    auto *ann = put("user", "ann"), *route = put("route", nullptr, "r1");
    auto *gone = collection_.release();
    {
        const busy_scope busy;
        vesk_instances_delete(gone);
        vesk_instance_delete(ann);
        vesk_instance_delete(route);
        EXPECT_EQ(order_of(gone), "ann r1");
    }
    EXPECT_TRUE(may_be_freed(ann));
    EXPECT_TRUE(may_be_freed(gone));
}

TEST_F(Parking, FreesInstancesThatWereDeletedBeforeTheirCollection)
{
    auto *ann = put("user", "ann");
    auto *gone = collection_.release();
    {
        const busy_scope busy;
        vesk_instance_delete(ann);
        vesk_instances_delete(gone);
        EXPECT_EQ(order_of(gone), "ann");
    }
    EXPECT_TRUE(may_be_freed(ann));
    EXPECT_TRUE(may_be_freed(gone));
}

TEST_F(Parking, LetsAWalkOverADeletedCollectionGoOn)
{
    fill();
    const auto all = walk_all(), group = walk_name("server", "dns");
    EXPECT_EQ(step(all), "dns.1");
    {
        const busy_scope busy;
        collection_.reset();
        EXPECT_EQ(step(all), "dns.2");
        EXPECT_EQ(step(all), "ntp.1");
        EXPECT_EQ(step(group), "dns.1");
    }
    EXPECT_EQ(vesk_instances_iterator_has_next(all.get()), 0);
    EXPECT_EQ(step(all), "end");
    EXPECT_EQ(step(group), "end");
}

TEST_F(Parking, LetsAWalkBeginAndEndOverADeletedCollection)
{
    fill();
    const busy_scope busy;
    auto *gone = collection_.release();
    vesk_instances_delete_all(gone);
    vesk::iterator_ptr iterator{vesk_instances_new_class_iterator(gone, "interface")};
    EXPECT_EQ(rest_of(iterator.get()), "eth0 wlan0 wlan1");
    iterator.reset();
    EXPECT_EQ(order_of(gone), filled);
}

TEST_F(Parking, CopiesADeletedCollection)
{
    fill();
    vesk::full_instances_ptr copy;
    {
        const busy_scope busy;
        auto *gone = collection_.release();
        vesk_instances_delete_all(gone);
        copy.reset(vesk_instances_copy(gone));
    }
    EXPECT_EQ(order_of(copy.get()), filled);
}

TEST_F(Parking, TakesChangesOfADeletedCollection)
{
    fill();
    auto *gone = collection_.release();
    auto *fresh = make_one("user", "eve").release();
    auto *bob = vesk_instances_get(gone, "user", "bob");
    {
        const busy_scope busy;
        vesk_instances_delete_all(gone);
        EXPECT_EQ(vesk_instances_add(gone, fresh), 0);
        EXPECT_EQ(vesk_instances_remove(gone, bob), 0);
        EXPECT_EQ(vesk_instances_delete_class(gone, "server"), 0);
        EXPECT_EQ(order_of(gone), "wlan0 wlan1 r1 r2 sys ann eve eth0");
    }
    EXPECT_TRUE(may_be_freed(fresh));
    EXPECT_STREQ(vesk_instance_get_value(bob, "id"), "bob");
    vesk_instance_delete(bob);
}

TEST_F(Parking, KeepsTheInstancesOfADeletedClass)
{
    fill();
    auto *ann = vesk_instances_get(collection(), "user", "ann");
    {
        const busy_scope busy;
        EXPECT_EQ(vesk_instances_delete_class(collection(), "user"), 0);
        EXPECT_FALSE(vesk_instances_get(collection(), "user", "ann"));
        EXPECT_STREQ(vesk_instance_get_value(ann, "id"), "ann");
    }
    EXPECT_TRUE(may_be_freed(ann));
    EXPECT_EQ(order(), "dns.1 dns.2 ntp.1 wlan0 wlan1 r1 r2 sys eth0");
}

TEST_F(Parking, LetsAWalkGoOnAfterADeletedClass)
{
    fill();
    const busy_scope busy;
    const auto iterator = walk_all();
    EXPECT_EQ(step(iterator), "dns.1");
    vesk_instances_delete_class(collection(), "server");
    EXPECT_EQ(step(iterator), "wlan0");
}

TEST_F(Parking, KeepsOneCollectionAfterTheOther)
{
    const busy_scope busy;
    std::vector<vesk_instances *> gone;
    for (const char *name : {"ann", "bob", "eve"}) {
        put("user", name);
        gone.push_back(collection_.release());
        vesk_instances_delete_all(gone.back());
        collection_.reset(vesk_instances_new());
    }
    EXPECT_EQ(order_of(gone[0]) + order_of(gone[1]) + order_of(gone[2]), "annbobeve");
}

TEST_F(Parking, BeginsAnewWithTheNextScope)
{
    for (int round = 0; round < 3; ++round) {
        auto *instance = make_one("user", "ann").release();
        auto *gone = vesk_instances_copy(collection());
        {
            const busy_scope busy;
            vesk_instance_delete(instance);
            vesk_instances_delete_all(gone);
            EXPECT_STREQ(vesk_instance_get_name(instance), "ann");
            EXPECT_EQ(vesk_instances_is_empty(gone), 1);
        }
        EXPECT_TRUE(may_be_freed(instance));
        EXPECT_TRUE(may_be_freed(gone));
    }
}

TEST_F(Parking, SparesWhatWasNotDeleted)
{
    fill();
    {
        const busy_scope busy;
        EXPECT_EQ(order(), filled);
    }
    EXPECT_EQ(order(), filled);
}

TEST_F(Parking, RefusesAndIgnoresNullsAsEver)
{
    const busy_scope busy;
    EXPECT_EQ(vesk_instance_delete(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instance_delete)\n");
    vesk_instances_delete(nullptr);
    vesk_instances_delete_all(nullptr);
    EXPECT_EQ(logged(), "");
}

} // namespace
