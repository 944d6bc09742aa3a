#include "model/iterator.h"

#include "tests/support/collection.h"

namespace {

using namespace vesk::test;
using vesk::instance_ptr;
using vesk::iterator_ptr;

using InstancesNewIterator = collection_fixture;
using InstancesNewClassIterator = collection_fixture;
using InstancesNewGroupIterator = collection_fixture;
using InstancesIteratorNext = collection_fixture;
using InstancesDeleteIterator = collection_fixture;
using InstancesStoreIterator = collection_fixture;

/** Each test changes the collection in the middle of a walk. */
class InstancesDuringAWalk : public collection_fixture {
  protected:
    /** Steps until the instance of that id was returned. */
    static void pass(const iterator_ptr &iterator, const std::string &id)
    {
        for (std::string met; met != id && met != "end";)
            met = step(iterator);
    }
    vesk_instance *find(const std::string &id)
    {
        for (auto it = walk_all(); vesk_instances_iterator_has_next(it.get());) {
            auto *instance = vesk_instances_iterator_next(it.get());
            if (id == vesk_instance_get_value(instance, "id")) return instance;
        }
        return nullptr;
    }
    void remove(const std::string &id) { take(find(id)); }
};

TEST_F(InstancesNewIterator, HasNothingInAnEmptyCollection)
{
    const auto iterator = walk_all();
    ASSERT_TRUE(iterator);
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
    EXPECT_FALSE(vesk_instances_iterator_next(iterator.get()));
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewIterator, YieldsClassAfterClass)
{
    fill();
    EXPECT_EQ(rest_of(walk_all().get()), filled);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewIterator, PassesOverEmptyStores)
{
    auto *first = put("clock", nullptr, "c");
    put("user", "ann");
    auto *middle = put("server", "dns"), *other = put("route", nullptr, "r");
    put("system", nullptr, "sys");
    auto *last = put("wireless", "wlan0");
    for (auto *instance : {first, middle, other, last})
        take(instance);
    EXPECT_EQ(rest_of(walk_all().get()), "ann sys");
}

TEST_F(InstancesNewIterator, RefusesNull)
{
    EXPECT_FALSE(vesk_instances_new_iterator(nullptr));
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
}

TEST_F(InstancesNewClassIterator, YieldsTheInstancesOfEachKind)
{
    fill();
    EXPECT_EQ(rest_of(walk_class("system").get()), "sys");
    EXPECT_EQ(rest_of(walk_class("route").get()), "r1 r2");
    EXPECT_EQ(rest_of(walk_class("user").get()), "bob ann");
    EXPECT_EQ(rest_of(walk_class("wireless").get()), "wlan0 wlan1");
    EXPECT_EQ(rest_of(walk_class("server").get()), "dns.1 dns.2 ntp.1");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewClassIterator, WalksTheSubclassesInTheirOrderNotTheCollections)
{
    fill();
    put("ethernet", "eth1");
    EXPECT_EQ(rest_of(walk_class("interface").get()), "eth0 eth1 wlan0 wlan1");
}

TEST_F(InstancesNewClassIterator, PassesOverSubclassesWithoutInstances)
{
    put("wireless", "wlan0");
    EXPECT_EQ(rest_of(walk_class("interface").get()), "wlan0");
    put("ethernet", "eth0");
    take(vesk_instances_get(collection(), "interface", "wlan0"));
    EXPECT_EQ(rest_of(walk_class("interface").get()), "eth0");
}

TEST_F(InstancesNewClassIterator, HasNothingForAnAbstractClassWithoutInstances)
{
    put("user", "ann");
    const auto iterator = walk_class("interface");
    ASSERT_TRUE(iterator);
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
    EXPECT_FALSE(vesk_instances_iterator_next(iterator.get()));
    take(put("ethernet", "eth0"));
    EXPECT_EQ(rest_of(walk_class("interface").get()), "");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewClassIterator, HasNothingForAClassWithoutAStoreOrWithAnEmptyOne)
{
    put("user", "ann");
    for (auto [class_name, name] : {std::pair{"system", ""}, std::pair{"route", ""},
                                    std::pair{"ipip", "tun0"}, std::pair{"server", "dns"}}) {
        EXPECT_EQ(rest_of(walk_class(class_name).get()), "") << class_name;
        take(put(class_name, *name ? name : nullptr, "x"));
        EXPECT_EQ(rest_of(walk_class(class_name).get()), "") << class_name;
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewClassIterator, WalksAllForANullName)
{
    fill();
    EXPECT_EQ(rest_of(walk_class(nullptr).get()), filled);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewClassIterator, RefusesInOrder)
{
    EXPECT_FALSE(vesk_instances_new_class_iterator(nullptr, "colour"));
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_FALSE(vesk_instances_new_class_iterator(nullptr, nullptr));
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_FALSE(vesk_instances_new_class_iterator(collection(), "colour"));
    EXPECT_EQ(logged(), "vesk: Unknown class \"colour\".\n");
}

TEST_F(InstancesNewGroupIterator, YieldsTheOneInstanceOfAUniqueName)
{
    fill();
    EXPECT_EQ(rest_of(walk_name("user", "bob").get()), "bob");
    EXPECT_EQ(rest_of(walk_name("user", "ann").get()), "ann");
    EXPECT_EQ(rest_of(walk_name("user", "eve").get()), "");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewGroupIterator, YieldsTheOneGroupInTheOrderOfAdding)
{
    fill();
    EXPECT_EQ(rest_of(walk_name("server", "dns").get()), "dns.1 dns.2");
    EXPECT_EQ(rest_of(walk_name("server", "ntp").get()), "ntp.1");
    EXPECT_EQ(rest_of(walk_name("server", "www").get()), "");
    EXPECT_EQ(rest_of(walk_name("host", "dns").get()), "");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewGroupIterator, FindsTheSubclassThatHasTheName)
{
    fill();
    EXPECT_EQ(rest_of(walk_name("interface", "eth0").get()), "eth0");
    EXPECT_EQ(rest_of(walk_name("interface", "wlan1").get()), "wlan1");
    EXPECT_EQ(rest_of(walk_name("interface", "ann").get()), "");
    EXPECT_EQ(rest_of(walk_name("tunnel", "eth0").get()), "");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewGroupIterator, WalksTheClassForANullNameWhateverItsKind)
{
    fill();
    EXPECT_EQ(rest_of(walk_name("server", nullptr).get()), "dns.1 dns.2 ntp.1");
    EXPECT_EQ(rest_of(walk_name("interface", nullptr).get()), "eth0 wlan0 wlan1");
    EXPECT_EQ(rest_of(walk_name("route", nullptr).get()), "r1 r2");
    EXPECT_EQ(rest_of(walk_name("system", nullptr).get()), "sys");
    EXPECT_EQ(rest_of(walk_name(nullptr, nullptr).get()), filled);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesNewGroupIterator, RefusesInOrder)
{
    EXPECT_FALSE(vesk_instances_new_group_iterator(nullptr, nullptr, "dns"));
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_FALSE(vesk_instances_new_group_iterator(nullptr, nullptr, nullptr));
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_FALSE(vesk_instances_new_group_iterator(collection(), nullptr, "dns"));
    EXPECT_EQ(logged(), "vesk: group_name specified but class_name is null.\n");
    EXPECT_FALSE(vesk_instances_new_group_iterator(collection(), "colour", nullptr));
    EXPECT_EQ(logged(), "vesk: Unknown class \"colour\".\n");
    EXPECT_FALSE(vesk_instances_new_group_iterator(collection(), "colour", "dns"));
    EXPECT_EQ(logged(), "vesk: Unknown class \"colour\".\n");
    for (const char *name : {"route", "system"}) {
        EXPECT_FALSE(vesk_instances_new_group_iterator(collection(), name, "dns"));
        EXPECT_EQ(logged(), "vesk: Group iterators can only be used on named classes.\n");
    }
}

TEST_F(InstancesIteratorNext, HasNextUntilTheLastWasReturned)
{
    put("route", nullptr, "r1");
    put("route", nullptr, "r2");
    const auto iterator = walk_all();
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 1);
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 1);
    EXPECT_EQ(step(iterator), "r1");
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 1);
    EXPECT_EQ(step(iterator), "r2");
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
    EXPECT_EQ(step(iterator), "end");
    EXPECT_EQ(step(iterator), "end");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesIteratorNext, RefusesNull)
{
    EXPECT_EQ(vesk_instances_iterator_has_next(nullptr), 0);
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
    EXPECT_FALSE(vesk_instances_iterator_next(nullptr));
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
}

TEST_F(InstancesDeleteIterator, FreesItHalfwayOrAtTheEnd)
{
    fill();
    for (const int steps : {0, 5, 20}) {
        auto *iterator = vesk_instances_new_iterator(collection());
        for (int i = 0; i < steps; ++i)
            vesk_instances_iterator_next(iterator);
        EXPECT_EQ(vesk_instances_delete_iterator(iterator), 0);
        EXPECT_TRUE(may_be_freed(iterator));
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesDeleteIterator, LeavesTheOthersOnTheirWay)
{
    fill();
    auto first = walk_all(), second = walk_all(), third = walk_class("route");
    EXPECT_EQ(step(second), "dns.1");
    first.reset();
    take(vesk_instances_iterator_next(walk_class("route").get()));
    third.reset();
    EXPECT_EQ(step(second), "dns.2");
    take(vesk_instances_get(collection(), "user", "bob"));
    EXPECT_EQ(rest_of(second.get()), "ntp.1 wlan0 wlan1 r2 sys ann eth0");
}

TEST_F(InstancesDeleteIterator, RefusesNull)
{
    EXPECT_EQ(vesk_instances_delete_iterator(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
}

TEST_F(InstancesDuringAWalk, MayLoseTheInstanceThatWasReturned)
{
    fill();
    const auto iterator = walk_all();
    std::string met;
    while (auto *instance = vesk_instances_iterator_next(iterator.get()))
        met += std::string{vesk_instance_get_value(take(instance).get(), "id")} + ' ';
    EXPECT_EQ(met, std::string{filled} + ' ');
    EXPECT_EQ(vesk_instances_is_empty(collection()), 1);
}

TEST_F(InstancesDuringAWalk, MayLoseTheNextInstanceOfEveryKind)
{
    fill();
    const auto iterator = walk_all();
    EXPECT_EQ(step(iterator), "dns.1");
    remove("dns.2");
    EXPECT_EQ(step(iterator), "ntp.1");
    remove("wlan0");
    EXPECT_EQ(step(iterator), "wlan1");
    remove("r1");
    EXPECT_EQ(step(iterator), "r2");
    remove("sys");
    EXPECT_EQ(step(iterator), "bob");
    remove("ann");
    EXPECT_EQ(step(iterator), "eth0");
    EXPECT_EQ(step(iterator), "end");
}

TEST_F(InstancesDuringAWalk, MayLoseTheFirstInstanceBeforeItWasReturned)
{
    fill();
    const auto iterator = walk_all();
    remove("dns.1");
    remove("dns.2");
    remove("ntp.1");
    EXPECT_EQ(rest_of(iterator.get()), "wlan0 wlan1 r1 r2 sys bob ann eth0");
}

TEST_F(InstancesDuringAWalk, MayLoseTheLastInstance)
{
    fill();
    const auto iterator = walk_all();
    pass(iterator, "ann");
    remove("eth0");
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
    EXPECT_EQ(step(iterator), "end");
}

TEST_F(InstancesDuringAWalk, MayLoseEverythingThatIsLeft)
{
    fill();
    const auto iterator = walk_all();
    pass(iterator, "wlan0");
    for (const char *id : {"r2", "sys", "wlan1", "eth0", "ann", "r1", "bob"})
        remove(id);
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
    EXPECT_EQ(order(), "dns.1 dns.2 ntp.1 wlan0");
}

TEST_F(InstancesDuringAWalk, MayLoseTheNextInstanceOfOneClass)
{
    for (const auto &[class_name, named] :
         {std::pair{"route", false}, std::pair{"user", true}, std::pair{"server", true}}) {
        for (const char *id : {"a", "b", "c", "d"})
            put(class_name, named ? id : nullptr, id);
        const auto iterator = walk_class(class_name);
        EXPECT_EQ(step(iterator), "a");
        remove("b");
        remove("c");
        EXPECT_EQ(step(iterator), "d") << class_name;
        EXPECT_EQ(step(iterator), "end") << class_name;
        vesk_instances_delete_class(collection(), class_name);
    }
}

TEST_F(InstancesDuringAWalk, MayLoseTheNextSubclass)
{
    fill();
    const auto iterator = walk_class("interface");
    remove("eth0");
    EXPECT_EQ(step(iterator), "wlan0");
    remove("wlan1");
    EXPECT_EQ(step(iterator), "end");
}

TEST_F(InstancesDuringAWalk, StaysWithinOneNameWhenTheNextGoes)
{
    fill();
    const auto group = walk_name("server", "dns");
    const auto unique = walk_name("user", "bob");
    const auto subclass = walk_name("interface", "wlan0");
    EXPECT_EQ(step(group), "dns.1");
    remove("dns.2");
    remove("bob");
    remove("wlan0");
    EXPECT_EQ(step(group), "end");
    EXPECT_EQ(step(unique), "end");
    EXPECT_EQ(step(subclass), "end");
}

TEST_F(InstancesDuringAWalk, MovesOnWithinAGroupOfOneName)
{
    put("server", "dns", "1");
    put("server", "ntp", "n");
    put("server", "dns", "2");
    put("server", "dns", "3");
    const auto iterator = walk_name("server", "dns");
    remove("1");
    EXPECT_EQ(step(iterator), "2");
    remove("2");
    EXPECT_EQ(step(iterator), "3");
    remove("3");
    EXPECT_EQ(step(iterator), "end");
}

TEST_F(InstancesDuringAWalk, MayLoseAWholeGroup)
{
    fill();
    put("server", "www", "www.1");
    const auto iterator = walk_class("server");
    EXPECT_EQ(step(iterator), "dns.1");
    remove("dns.1");
    remove("dns.2");
    remove("ntp.1");
    EXPECT_EQ(step(iterator), "www.1");
    EXPECT_EQ(step(iterator), "end");
}

TEST_F(InstancesDuringAWalk, MovesEveryIteratorThatStandsOnTheInstance)
{
    fill();
    const auto all = walk_all(), one_class = walk_class("user"), one = walk_name("user", "bob"),
               elsewhere = walk_class("route");
    pass(all, "sys");
    remove("bob");
    EXPECT_EQ(step(all), "ann");
    EXPECT_EQ(step(one_class), "ann");
    EXPECT_EQ(step(one), "end");
    EXPECT_EQ(step(elsewhere), "r1");
}

TEST_F(InstancesDuringAWalk, IsLeftAloneByAnotherCollectionWithTheSameNames)
{
    fill();
    const vesk::full_instances_ptr copy{vesk_instances_copy(collection())};
    const auto iterator = walk_all();
    vesk_instances_delete_class(copy.get(), "server");
    EXPECT_EQ(rest_of(iterator.get()), filled);
}

TEST_F(InstancesDuringAWalk, MayLoseTheClassThatIsNext)
{
    fill();
    const auto iterator = walk_all();
    pass(iterator, "ntp.1");
    EXPECT_EQ(vesk_instances_delete_class(collection(), "wireless"), 0);
    EXPECT_EQ(step(iterator), "r1");
}

TEST_F(InstancesDuringAWalk, MayLoseTheClassInWhichItIs)
{
    fill();
    const auto iterator = walk_all(), one_class = walk_class("wireless"),
               one = walk_name("wireless", "wlan1"), abstract = walk_class("interface");
    pass(iterator, "wlan0");
    EXPECT_EQ(step(one_class), "wlan0");
    EXPECT_EQ(step(abstract), "eth0");
    EXPECT_EQ(vesk_instances_delete_class(collection(), "wireless"), 0);
    EXPECT_EQ(step(iterator), "r1");
    EXPECT_EQ(step(one_class), "end");
    EXPECT_EQ(step(one), "end");
    EXPECT_EQ(step(abstract), "end");
}

TEST_F(InstancesDuringAWalk, MayHaveAClassRemovedOfEveryKind)
{
    fill();
    std::vector<instance_ptr> owned;
    const auto iterator = walk_all();
    std::string met;
    while (auto *instance = vesk_instances_iterator_next(iterator.get())) {
        met += std::string{vesk_instance_get_value(instance, "id")} + ' ';
        const char *class_name = instance->cls->name.c_str();
        for (auto it = walk_class(class_name); vesk_instances_iterator_has_next(it.get());)
            owned.emplace_back(vesk_instances_iterator_next(it.get()));
        EXPECT_EQ(vesk_instances_remove_class(collection(), class_name), 0);
    }
    EXPECT_EQ(met, "dns.1 wlan0 r1 sys bob eth0 ");
    EXPECT_EQ(vesk_instances_is_empty(collection()), 1);
}

TEST_F(InstancesDuringAWalk, MayLoseAClassThatWasWalked)
{
    fill();
    const auto iterator = walk_all();
    pass(iterator, "r1");
    vesk_instances_delete_class(collection(), "server");
    vesk_instances_delete_class(collection(), "wireless");
    EXPECT_EQ(rest_of(iterator.get()), "r2 sys bob ann eth0");
}

TEST_F(InstancesDuringAWalk, MayLoseTheLastClass)
{
    fill();
    const auto iterator = walk_all();
    pass(iterator, "ann");
    vesk_instances_delete_class(collection(), "ethernet");
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
}

TEST_F(InstancesDuringAWalk, MayLoseTheNextOfTheSubclasses)
{
    fill();
    const auto iterator = walk_class("interface");
    EXPECT_EQ(vesk_instances_delete_class(collection(), "ethernet"), 0);
    EXPECT_EQ(rest_of(iterator.get()), "wlan0 wlan1");
}

TEST_F(InstancesDuringAWalk, EndsWhenTheWholeCollectionGoes)
{
    fill();
    const auto all = walk_all(), fresh = walk_all(), one_class = walk_class("route"),
               abstract = walk_class("interface"), one = walk_name("server", "dns"),
               at_end = walk_name("user", "eve");
    pass(all, "wlan0");
    collection_.reset();
    for (const auto *iterator : {&all, &fresh, &one_class, &abstract, &one, &at_end}) {
        EXPECT_EQ(vesk_instances_iterator_has_next(iterator->get()), 0);
        EXPECT_FALSE(vesk_instances_iterator_next(iterator->get()));
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesDuringAWalk, EndsWhenTheCollectionGivesItsInstancesUp)
{
    const instance_ptr ann{put("user", "ann")}, bob{put("user", "bob")};
    const auto iterator = walk_all();
    EXPECT_EQ(step(iterator), "ann");
    vesk_instances_delete(collection_.release());
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
    EXPECT_EQ(step(iterator), "end");
    EXPECT_STREQ(vesk_instance_get_value(bob.get(), "id"), "bob");
}

TEST_F(InstancesDuringAWalk, StillMeetsWhatWasThereWhenOthersAreAdded)
{
    fill();
    const auto iterator = walk_all();
    std::string met;
    for (int i = 0; vesk_instances_iterator_has_next(iterator.get()) && i < 200; ++i) {
        met += step(iterator) + ' ';
        if (i >= 40) continue;
        const std::string name = "new" + std::to_string(i);
        put("host", name.c_str());
        put("user", name.c_str());
    }
    for (const char *id : {"dns.1 dns.2 ntp.1 wlan0 wlan1 r1 r2 sys bob ann ", " eth0 "})
        EXPECT_NE((' ' + met).find(id), std::string::npos) << met;
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
}

TEST_F(InstancesDuringAWalk, MayHaveAnInstanceTakenOutAndPutBack)
{
    fill();
    const auto iterator = walk_class("route");
    EXPECT_EQ(step(iterator), "r1");
    auto *r2 = take(find("r2")).release();
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
    EXPECT_EQ(vesk_instances_add(collection(), r2), 0);
    EXPECT_EQ(rest_of(walk_class("route").get()), "r1 r2");
    take(find("r2"));
    rest_of(iterator.get());
}

// The operations of one class type on an iterator whose current store is set.

struct steps {
    const char *class_name;
    void (*init)(vesk_instances_iterator *);
    void (*next)(vesk_instances_iterator *);
    const char *first, *second; // ids
};

const steps all_steps[] = {
    {"system", vesk_instances_singleton_init_iterator, vesk_instances_singleton_iterator_next,
     "sys", "end"},
    {"route", vesk_instances_anonymous_init_iterator, vesk_instances_anonymous_iterator_next, "r1",
     "r2"},
    {"user", vesk_instances_unique_named_init_iterator, vesk_instances_unique_named_iterator_next,
     "bob", "ann"},
    {"server", vesk_instances_group_named_init_iterator, vesk_instances_group_named_iterator_next,
     "dns.1", "dns.2"},
};

TEST_F(InstancesStoreIterator, StandsOnTheFirstInstanceAgain)
{
    fill();
    for (const steps &kind : all_steps) {
        const auto iterator = walk_class(kind.class_name);
        EXPECT_EQ(step(iterator), kind.first);
        kind.init(iterator.get());
        EXPECT_EQ(step(iterator), kind.first);
    }
}

TEST_F(InstancesStoreIterator, MovesOnByOne)
{
    fill();
    for (const steps &kind : all_steps) {
        const auto iterator = walk_class(kind.class_name);
        kind.next(iterator.get());
        EXPECT_EQ(step(iterator), kind.second);
    }
}

TEST_F(InstancesStoreIterator, GoesFromGroupToGroupAndEnds)
{
    fill();
    const auto iterator = walk_class("server");
    vesk_instances_group_named_iterator_next(iterator.get());
    vesk_instances_group_named_iterator_next(iterator.get());
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 1);
    vesk_instances_group_named_iterator_next(iterator.get());
    EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0);
}

TEST_F(InstancesStoreIterator, StandsOnOneName)
{
    fill();
    const auto unique = walk_class("user"), group = walk_class("server");
    vesk_instances_unique_named_init_group_iterator(unique.get(), "ann");
    EXPECT_EQ(step(unique), "ann");
    vesk_instances_group_named_init_group_iterator(group.get(), "ntp");
    EXPECT_EQ(rest_of(group.get()), "ntp.1");
    vesk_instances_unique_named_init_group_iterator(unique.get(), "eve");
    EXPECT_EQ(step(unique), "end");
    vesk_instances_group_named_init_group_iterator(group.get(), "www");
    EXPECT_EQ(step(group), "end");
}

TEST_F(InstancesStoreIterator, HasNothingInAnEmptyStore)
{
    for (const steps &kind : all_steps) {
        const auto *cls = vesk_classes_get(kind.class_name);
        take(put(kind.class_name, cls->type > 2 ? "x" : nullptr, "x"));
        const auto iterator = walk_class(kind.class_name);
        kind.init(iterator.get());
        EXPECT_EQ(vesk_instances_iterator_has_next(iterator.get()), 0) << kind.class_name;
    }
}

TEST_F(InstancesStoreIterator, SurvivesNulls)
{
    for (const steps &kind : all_steps) {
        SCOPED_TRACE(kind.class_name);
        EXPECT_NO_CRASH(kind.init(nullptr));
        EXPECT_NO_CRASH(kind.next(nullptr));
    }
    EXPECT_NO_CRASH(vesk_instances_unique_named_init_group_iterator(nullptr, "ann"));
    EXPECT_NO_CRASH(vesk_instances_group_named_init_group_iterator(nullptr, "dns"));
    fill();
    const auto unique = walk_class("user"), group = walk_class("server");
    EXPECT_NO_CRASH(vesk_instances_unique_named_init_group_iterator(unique.get(), nullptr));
    EXPECT_NO_CRASH(vesk_instances_group_named_init_group_iterator(group.get(), nullptr));
}

} // namespace
