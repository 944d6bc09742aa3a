#include "vesk/instances.h"

#include "tests/support/collection.h"
#include "tests/support/random_collection.h"

namespace {

using namespace vesk::test;
using vesk::full_instances_ptr;
using vesk::instance_ptr;

using InstancesNew = collection_fixture;
using InstancesGetSingleton = collection_fixture;
using InstancesGet = collection_fixture;
using InstancesAdd = collection_fixture;
using InstancesRemove = collection_fixture;
using InstancesRemoveClass = collection_fixture;
using InstancesDeleteClass = collection_fixture;
using InstancesDelete = collection_fixture;
using InstancesDeleteAll = collection_fixture;
using InstancesCopy = collection_fixture;
using InstancesIsEmpty = collection_fixture;
using InstancesPrint = collection_fixture;
using InstancesSetListener = collection_fixture;
using InstancesStore = collection_fixture;

/** What a listener heard: "+id " or "-id " each. */
void note(vesk_instance *instance, int event, void *heard)
{
    auto &text = *static_cast<std::string *>(heard);
    text += event == 0 ? '+' : event == 1 ? '-' : '?';
    text += std::string{vesk_instance_get_value(instance, "id")} + ' ';
}

TEST_F(InstancesNew, MakesAnEmptyCollection)
{
    EXPECT_EQ(vesk_instances_is_empty(collection()), 1);
    EXPECT_EQ(text_of(collection()), "");
    EXPECT_FALSE(collection()->hook.listener);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesGetSingleton, FindsTheInstance)
{
    auto *instance = put("system", nullptr, "sys");
    EXPECT_EQ(vesk_instances_get_singleton(collection(), "system"), instance);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesGetSingleton, RefusesInOrder)
{
    EXPECT_FALSE(vesk_instances_get_singleton(nullptr, nullptr));
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_FALSE(vesk_instances_get_singleton(collection(), nullptr));
    EXPECT_EQ(logged(), "vesk: Null class_name.\n");
    EXPECT_FALSE(vesk_instances_get_singleton(collection(), "colour"));
    EXPECT_EQ(logged(), "vesk: Unknown class \"colour\".\n");
    for (const char *name : {"route", "user", "interface", "server"}) {
        EXPECT_FALSE(vesk_instances_get_singleton(collection(), name));
        EXPECT_EQ(logged(), "vesk: Class \"" + std::string{name} + "\" is not a singleton.\n");
    }
    EXPECT_FALSE(vesk_instances_get_singleton(collection(), "system"));
    EXPECT_EQ(logged(), "vesk: Singleton instance of class \"system\" is missing.\n");
}

TEST_F(InstancesGetSingleton, IsSilentOnceTheInstanceWasRemoved)
{
    take(put("system", nullptr, "sys"));
    EXPECT_FALSE(vesk_instances_get_singleton(collection(), "system"));
    EXPECT_EQ(logged(), "");
    EXPECT_EQ(vesk_instances_remove_class(collection(), "system"), 0);
    EXPECT_FALSE(vesk_instances_get_singleton(collection(), "system"));
    EXPECT_EQ(logged(), "vesk: Singleton instance of class \"system\" is missing.\n");
}

TEST_F(InstancesGet, FindsTheInstanceByTheWholeName)
{
    auto *instance = put("user", "ann");
    EXPECT_EQ(vesk_instances_get(collection(), "user", "ann"), instance);
    for (const char *name : {"an", "anna", "Ann", ""})
        EXPECT_FALSE(vesk_instances_get(collection(), "user", name)) << name;
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesGet, FindsAnEmptyName)
{
    auto *instance = put("user", "");
    EXPECT_EQ(vesk_instances_get(collection(), "user", ""), instance);
}

TEST_F(InstancesGet, FindsInWhicheverSubclassHoldsIt)
{
    auto *ethernet = put("ethernet", "eth0"), *wireless = put("wireless", "wlan0");
    EXPECT_EQ(vesk_instances_get(collection(), "interface", "eth0"), ethernet);
    EXPECT_EQ(vesk_instances_get(collection(), "interface", "wlan0"), wireless);
    EXPECT_EQ(vesk_instances_get(collection(), "wireless", "wlan0"), wireless);
    EXPECT_FALSE(vesk_instances_get(collection(), "ethernet", "wlan0"));
    EXPECT_FALSE(vesk_instances_get(collection(), "interface", "ppp0"));
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesGet, IsSilentWithoutAStore)
{
    EXPECT_FALSE(vesk_instances_get(collection(), "user", "ann"));
    EXPECT_FALSE(vesk_instances_get(collection(), "interface", "eth0"));
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesGet, RefusesInOrder)
{
    EXPECT_FALSE(vesk_instances_get(nullptr, nullptr, nullptr));
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_FALSE(vesk_instances_get(collection(), nullptr, nullptr));
    EXPECT_EQ(logged(), "vesk: Null class_name.\n");
    EXPECT_FALSE(vesk_instances_get(collection(), "colour", nullptr));
    EXPECT_EQ(logged(), "vesk: Unknown class \"colour\".\n");
    for (const char *name : {"system", "route", "server"}) {
        EXPECT_FALSE(vesk_instances_get(collection(), name, nullptr));
        EXPECT_EQ(logged(), "vesk: Class \"" + std::string{name} + "\" is not unique named.\n");
    }
    for (const char *name : {"user", "interface"}) {
        EXPECT_FALSE(vesk_instances_get(collection(), name, nullptr));
        EXPECT_EQ(logged(), "vesk: Null instance_name.\n");
    }
}

TEST_F(InstancesAdd, RefusesNullsInOrder)
{
    EXPECT_EQ(vesk_instances_add(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_EQ(vesk_instances_add(collection(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instances_add)\n");
}

TEST_F(InstancesAdd, KeepsClassesInTheOrderInWhichTheyFirstCame)
{
    fill();
    EXPECT_EQ(order(), filled);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesAdd, TakesOneInstanceOfASingletonClass)
{
    auto *first = put("system", nullptr, "first");
    const auto second = make_one("system", nullptr, "second");
    EXPECT_EQ(vesk_instances_add(collection(), second.get()), 1);
    EXPECT_EQ(logged(), "vesk: Singleton class may not have multiple instances.\n");
    EXPECT_EQ(order(), "first");
    take(first);
    EXPECT_EQ(vesk_instances_add(collection(), second.get()), 0);
    EXPECT_EQ(order(), "second");
    take(second.get()).release();
}

TEST_F(InstancesAdd, RefusesANamedSingleton)
{
    auto *cls = vesk_classes_get("user");
    const auto named = make_one("user", "ann");
    vesk_class_set_type(cls, VESK_CLASS_SINGLETON);
    EXPECT_EQ(vesk_instances_add(collection(), named.get()), 1);
    EXPECT_EQ(logged(), "vesk: Singleton instance may not have a name.\n");
    put("user", nullptr, "unnamed");
    EXPECT_EQ(vesk_instances_add(collection(), named.get()), 1);
    EXPECT_EQ(logged(), "vesk: Singleton class may not have multiple instances.\n");
}

TEST_F(InstancesAdd, RefusesANamedAnonymousInstance)
{
    const auto named = make_one("user", "ann");
    vesk_class_set_type(vesk_classes_get("user"), VESK_CLASS_ANONYMOUS);
    EXPECT_EQ(vesk_instances_add(collection(), named.get()), 1);
    EXPECT_EQ(logged(), "vesk: Anonymous instance may not have a name.\n");
    EXPECT_EQ(order(), "");
}

TEST_F(InstancesAdd, RefusesAUniqueNamedInstanceWithoutName)
{
    const auto unnamed = make_one("route", nullptr, "r");
    vesk_class_set_type(vesk_classes_get("route"), VESK_CLASS_UNIQUE_NAMED);
    EXPECT_EQ(vesk_instances_add(collection(), unnamed.get()), 1);
    EXPECT_EQ(logged(), "vesk: Unique-named instance must have a name.\n");
    EXPECT_EQ(order(), "");
}

TEST_F(InstancesAdd, MissesTheNameOfASubclassBeforeItAsksTheSiblings)
{
    auto *cls = vesk_classes_get("wireless");
    vesk_class_set_type(cls, VESK_CLASS_ANONYMOUS);
    const auto unnamed = make_one("wireless", nullptr, "w");
    vesk_class_set_type(cls, VESK_CLASS_UNIQUE_NAMED);
    EXPECT_EQ(vesk_instances_add(collection(), unnamed.get()), 1);
    EXPECT_EQ(logged(), "vesk: Unique-named instance must have a name.\n");
}

TEST_F(InstancesAdd, RefusesAGroupNamedInstanceWithoutName)
{
    const auto unnamed = make_one("route", nullptr, "r");
    vesk_class_set_type(vesk_classes_get("route"), VESK_CLASS_GROUP_NAMED);
    EXPECT_EQ(vesk_instances_add(collection(), unnamed.get()), 1);
    EXPECT_EQ(logged(), "vesk: Group-named instance must have a name.\n");
    EXPECT_EQ(order(), "");
}

TEST_F(InstancesAdd, LeavesTheStoreBehindWhenItFails)
{
    const auto named = make_one("user", "ann");
    vesk_class_set_type(vesk_classes_get("user"), VESK_CLASS_SINGLETON);
    EXPECT_EQ(vesk_instances_add(collection(), named.get()), 1);
    put("system", nullptr, "sys");
    logged();
    EXPECT_FALSE(vesk_instances_get_singleton(collection(), "user"));
    EXPECT_EQ(logged(), "");
    EXPECT_EQ(text_of(collection()), "\n"
                                     "Instance name: n/a\tclass: system\n"
                                     "   id =\tsys\n"
                                     "\n"
                                     "\n");
}

TEST_F(InstancesAdd, AppendsAnonymousInstances)
{
    put("route", nullptr, "c");
    put("route", nullptr, "a");
    put("route", nullptr, "b");
    EXPECT_EQ(order(), "c a b");
}

TEST_F(InstancesAdd, RefusesATakenNameSilently)
{
    auto *first = put("user", "ann", "first");
    const auto second = make_one("user", "ann", "second");
    EXPECT_EQ(vesk_instances_add(collection(), second.get()), 1);
    EXPECT_EQ(vesk_instances_add(collection(), first), 1);
    EXPECT_EQ(vesk_instances_get(collection(), "user", "ann"), first);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesAdd, RefusesTheNameOfASiblingSilently)
{
    auto *first = put("ethernet", "if0");
    const auto second = make_one("wireless", "if0");
    EXPECT_EQ(vesk_instances_add(collection(), second.get()), 1);
    EXPECT_EQ(vesk_instances_get(collection(), "interface", "if0"), first);
    EXPECT_EQ(logged(), "");
    take(first);
    EXPECT_EQ(vesk_instances_add(collection(), second.get()), 0);
    EXPECT_EQ(vesk_instances_get(collection(), "interface", "if0"), second.get());
    take(second.get()).release();
}

TEST_F(InstancesAdd, AcceptsTheSameNameInAnUnrelatedClass)
{
    put("ethernet", "if0", "e");
    put("user", "if0", "u");
    put("ipip", "if0", "t");
    put("server", "if0", "s");
    EXPECT_EQ(order(), "e u t s");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesAdd, LooksForSiblingsInThisCollectionOnly)
{
    const full_instances_ptr other{vesk_instances_new()};
    put("ethernet", "if0");
    EXPECT_EQ(vesk_instances_add(other.get(), make_one("wireless", "if0").release()), 0);
}

TEST_F(InstancesAdd, GathersTheMembersOfAGroup)
{
    put("server", "dns", "dns.1");
    put("server", "ntp", "ntp.1");
    put("server", "dns", "dns.2");
    put("server", "", "nameless");
    EXPECT_EQ(order(), "dns.1 dns.2 ntp.1 nameless");
    EXPECT_EQ(rest_of(walk_name("server", "dns").get()), "dns.1 dns.2");
}

TEST_F(InstancesAdd, TakesMoreThanTheFirstSizesOfItsMaps)
{
    std::string users, servers;
    for (int i = 0; i < 500; ++i) {
        const std::string name = std::to_string(i * 7919 % 1009);
        put("user", name.c_str());
        put("server", name.c_str());
        users += name + ' ';
        servers += (i ? " " : "") + name;
    }
    EXPECT_EQ(order(), users + servers);
    EXPECT_EQ(vesk_instances_get(collection(), "user", "7919"), nullptr);
    EXPECT_TRUE(vesk_instances_get(collection(), "user", "856"));
}

TEST_F(InstancesRemove, RefusesNullsInOrder)
{
    EXPECT_EQ(vesk_instances_remove(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_EQ(vesk_instances_remove(collection(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instances_remove)\n");
}

TEST_F(InstancesRemove, GivesUpAnInstanceOfEachKindWithoutFreeingIt)
{
    fill();
    std::vector<vesk_instance *> instances;
    for (auto it = walk_all(); vesk_instances_iterator_has_next(it.get());)
        instances.push_back(vesk_instances_iterator_next(it.get()));
    for (auto *instance : instances) {
        const auto taken = take(instance);
        EXPECT_TRUE(vesk_instance_get_value(taken.get(), "id"));
        EXPECT_EQ(vesk_instances_remove(collection(), instance), 1);
    }
    EXPECT_EQ(order(), "");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesRemove, RefusesAnotherObjectOfTheSameKindAndName)
{
    fill();
    for (auto [class_name, name] :
         {std::pair{"system", ""}, std::pair{"route", ""}, std::pair{"user", "ann"},
          std::pair{"wireless", "wlan0"}, std::pair{"server", "dns"}}) {
        const auto other = make_one(class_name, *name ? name : nullptr, "other");
        EXPECT_EQ(vesk_instances_remove(collection(), other.get()), 1) << class_name;
    }
    EXPECT_EQ(order(), filled);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesRemove, RefusesAnInstanceOfAClassOrNameOrGroupThatIsNotThere)
{
    fill();
    for (auto [class_name, name] :
         {std::pair{"clock", ""}, std::pair{"rule", ""}, std::pair{"user", "eve"},
          std::pair{"ipip", "tun0"}, std::pair{"server", "www"}, std::pair{"host", "dns"}}) {
        const auto other = make_one(class_name, *name ? name : nullptr, "other");
        EXPECT_EQ(vesk_instances_remove(collection(), other.get()), 1) << class_name;
    }
    EXPECT_EQ(order(), filled);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesRemove, ClosesTheGapAtEveryPlaceOfAList)
{
    for (const char *id : {"a", "b", "c", "d"})
        put("route", nullptr, id);
    const auto node = [&](int index) {
        const auto it = walk_class("route");
        for (int i = 0; i < index; ++i)
            vesk_instances_iterator_next(it.get());
        return vesk_instances_iterator_next(it.get());
    };
    take(node(1));
    EXPECT_EQ(order(), "a c d");
    take(node(2));
    EXPECT_EQ(order(), "a c");
    take(node(0));
    EXPECT_EQ(order(), "c");
    take(node(0));
    put("route", nullptr, "e");
    EXPECT_EQ(order(), "e");
}

TEST_F(InstancesRemove, RemovesAGroupWithItsLastMember)
{
    auto *first = put("server", "dns", "dns.1");
    put("server", "ntp", "ntp.1");
    auto *second = put("server", "dns", "dns.2");
    take(first);
    EXPECT_EQ(order(), "dns.2 ntp.1");
    take(second);
    EXPECT_EQ(rest_of(walk_name("server", "dns").get()), "");
    put("server", "dns", "dns.3");
    EXPECT_EQ(order(), "ntp.1 dns.3");
}

TEST_F(InstancesRemove, LetsAUniqueNameComeBackAtTheEnd)
{
    auto *ann = put("user", "ann");
    put("user", "bob");
    auto taken = take(ann);
    EXPECT_FALSE(vesk_instances_get(collection(), "user", "ann"));
    EXPECT_EQ(vesk_instances_add(collection(), taken.release()), 0);
    EXPECT_EQ(order(), "bob ann");
}

TEST_F(InstancesRemoveClass, GivesUpTheInstancesAndForgetsThePlaceOfTheClass)
{
    put("user", "ann");
    auto *route = put("route", nullptr, "r1");
    put("system", nullptr, "sys");
    EXPECT_EQ(vesk_instances_remove_class(collection(), "route"), 0);
    EXPECT_EQ(order(), "ann sys");
    EXPECT_EQ(vesk_instances_remove(collection(), route), 1);
    EXPECT_EQ(vesk_instances_add(collection(), route), 0);
    EXPECT_EQ(order(), "ann sys r1");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesRemoveClass, TakesEveryKind)
{
    fill();
    std::vector<instance_ptr> owned;
    for (auto it = walk_all(); vesk_instances_iterator_has_next(it.get());)
        owned.emplace_back(vesk_instances_iterator_next(it.get()));
    for (const char *name : {"system", "route", "user", "wireless", "ethernet", "server"})
        EXPECT_EQ(vesk_instances_remove_class(collection(), name), 0) << name;
    EXPECT_EQ(text_of(collection()), "");
    for (const auto &instance : owned)
        EXPECT_TRUE(vesk_instance_get_value(instance.get(), "id"));
}

TEST_F(InstancesRemoveClass, IsFineWithoutAStoreAndLeavesSubclassesAlone)
{
    put("ethernet", "eth0");
    EXPECT_EQ(vesk_instances_remove_class(collection(), "user"), 0);
    EXPECT_EQ(vesk_instances_remove_class(collection(), "interface"), 0);
    EXPECT_EQ(order(), "eth0");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesRemoveClass, RefusesInOrder)
{
    EXPECT_EQ(vesk_instances_remove_class(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_EQ(vesk_instances_remove_class(collection(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class_name.\n");
    EXPECT_EQ(vesk_instances_remove_class(collection(), "colour"), 1);
    EXPECT_EQ(logged(), "vesk: Unknown class \"colour\".\n");
}

TEST_F(InstancesDeleteClass, FreesTheInstancesOfEveryKind)
{
    fill();
    std::vector<vesk_instance *> instances;
    for (auto it = walk_all(); vesk_instances_iterator_has_next(it.get());)
        instances.push_back(vesk_instances_iterator_next(it.get()));
    for (const char *name : {"system", "route", "user", "wireless", "ethernet", "server"})
        EXPECT_EQ(vesk_instances_delete_class(collection(), name), 0) << name;
    EXPECT_EQ(text_of(collection()), "");
    for (const auto *instance : instances)
        EXPECT_TRUE(may_be_freed(instance));
    fill();
    EXPECT_EQ(order(), filled);
}

TEST_F(InstancesDeleteClass, IsFineWithoutAStore)
{
    EXPECT_EQ(vesk_instances_delete_class(collection(), "user"), 0);
    EXPECT_EQ(vesk_instances_delete_class(collection(), "interface"), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesDeleteClass, RefusesInOrder)
{
    EXPECT_EQ(vesk_instances_delete_class(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
    EXPECT_EQ(vesk_instances_delete_class(collection(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class_name.\n");
    EXPECT_EQ(vesk_instances_delete_class(collection(), "colour"), 1);
    EXPECT_EQ(logged(), "vesk: Unknown class \"colour\".\n");
}

TEST_F(InstancesDelete, LeavesTheInstancesUsable)
{
    fill();
    std::vector<instance_ptr> owned;
    for (auto it = walk_all(); vesk_instances_iterator_has_next(it.get());)
        owned.emplace_back(vesk_instances_iterator_next(it.get()));
    auto *gone = collection_.release();
    vesk_instances_delete(gone);
    EXPECT_TRUE(may_be_freed(gone));
    for (const auto &instance : owned)
        EXPECT_EQ(vesk_instance_set_value(instance.get(), "id", "still here"), 0);
}

TEST_F(InstancesDelete, IgnoresNull)
{
    vesk_instances_delete(nullptr);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesDeleteAll, FreesTheInstances)
{
    fill();
    std::vector<vesk_instance *> instances;
    for (auto it = walk_all(); vesk_instances_iterator_has_next(it.get());)
        instances.push_back(vesk_instances_iterator_next(it.get()));
    auto *gone = collection_.release();
    vesk_instances_delete_all(gone);
    EXPECT_TRUE(may_be_freed(gone));
    for (const auto *instance : instances)
        EXPECT_TRUE(may_be_freed(instance));
}

TEST_F(InstancesDeleteAll, IgnoresNull)
{
    vesk_instances_delete_all(nullptr);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesCopy, CopiesEveryKindInItsOrder)
{
    fill();
    const full_instances_ptr copy{vesk_instances_copy(collection())};
    EXPECT_EQ(order_of(copy.get()), filled);
    EXPECT_EQ(text_of(copy.get()), text_of(collection()));
    EXPECT_NE(vesk_instances_get(copy.get(), "user", "ann"),
              vesk_instances_get(collection(), "user", "ann"));
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesCopy, ChangesAlone)
{
    fill();
    const full_instances_ptr copy{vesk_instances_copy(collection())};
    auto *ann = vesk_instances_get(copy.get(), "user", "ann");
    vesk_instance_set_value(ann, "id", "ANN");
    vesk_instances_delete_class(copy.get(), "route");
    vesk_instances_delete_class(collection(), "server");
    EXPECT_EQ(order(), "wlan0 wlan1 r1 r2 sys bob ann eth0");
    EXPECT_EQ(order_of(copy.get()), "dns.1 dns.2 ntp.1 wlan0 wlan1 sys bob ANN eth0");
}

TEST_F(InstancesCopy, OutlivesItsSource)
{
    fill();
    const full_instances_ptr copy{vesk_instances_copy(collection())};
    collection_.reset();
    EXPECT_EQ(order_of(copy.get()), filled);
    EXPECT_TRUE(vesk_instances_get(copy.get(), "interface", "wlan1"));
}

TEST_F(InstancesCopy, KeepsTheRulesOfNames)
{
    put("ethernet", "if0");
    put("system", nullptr, "sys");
    const full_instances_ptr copy{vesk_instances_copy(collection())};
    EXPECT_EQ(vesk_instances_add(copy.get(), make_one("wireless", "if0").get()), 1);
    EXPECT_EQ(vesk_instances_add(copy.get(), make_one("ethernet", "if0").get()), 1);
    EXPECT_EQ(logged(), "");
    EXPECT_EQ(vesk_instances_add(copy.get(), make_one("system", nullptr, "x").get()), 1);
    EXPECT_EQ(logged(), "vesk: Singleton class may not have multiple instances.\n");
}

TEST_F(InstancesCopy, CopiesEmptyStoresToo)
{
    take(put("system", nullptr, "sys"));
    take(put("server", "dns"));
    put("user", "ann");
    const full_instances_ptr copy{vesk_instances_copy(collection())};
    EXPECT_EQ(text_of(copy.get()), "\n\nInstance name: ann\tclass: user\n   id =\tann\n\n\n");
    EXPECT_FALSE(vesk_instances_get_singleton(copy.get(), "system"));
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesCopy, TellsNoListenerAndHasNone)
{
    std::string heard;
    vesk_instances_set_listener(collection(), note, &heard);
    put("user", "ann");
    heard.clear();
    const full_instances_ptr copy{vesk_instances_copy(collection())};
    EXPECT_EQ(vesk_instances_add(copy.get(), make_one("user", "bob").release()), 0);
    EXPECT_EQ(heard, "");
}

TEST_F(InstancesCopy, HasInstancesWithoutListeners)
{
    std::string heard;
    vesk_instance_set_listener(
        put("user", "ann"),
        [](vesk_instance *, const char *name, void *text) {
            *static_cast<std::string *>(text) += name;
        },
        &heard);
    const full_instances_ptr copy{vesk_instances_copy(collection())};
    vesk_instance_set_value(vesk_instances_get(copy.get(), "user", "ann"), "id", "x");
    EXPECT_EQ(heard, "");
}

TEST_F(InstancesCopy, OfAnEmptyCollectionIsEmpty)
{
    const full_instances_ptr copy{vesk_instances_copy(collection())};
    ASSERT_TRUE(copy);
    EXPECT_EQ(vesk_instances_is_empty(copy.get()), 1);
}

TEST_F(InstancesCopy, RefusesNull)
{
    EXPECT_FALSE(vesk_instances_copy(nullptr));
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
}

TEST_F(InstancesIsEmpty, IsOneWhenAllInstancesWereRemoved)
{
    for (auto [class_name, name] : {std::pair{"system", ""}, std::pair{"route", ""},
                                    std::pair{"user", "ann"}, std::pair{"server", "dns"}}) {
        auto *instance = put(class_name, *name ? name : nullptr, "x");
        EXPECT_EQ(vesk_instances_is_empty(collection()), 0) << class_name;
        take(instance);
        EXPECT_EQ(vesk_instances_is_empty(collection()), 1) << class_name;
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesIsEmpty, ReportsNull)
{
    vesk_instances_is_empty(nullptr);
    EXPECT_EQ(logged().rfind("vesk: Null instances.\n", 0), 0u);
}

TEST_F(InstancesPrint, PrintsInstancesAndClassesEachWithAnEmptyLine)
{
    put("server", "dns", "1");
    put("route", nullptr, "r");
    put("server", "dns", "2");
    EXPECT_EQ(text_of(collection()), "Instance name: dns\tclass: server\n"
                                     "   id =\t1\n"
                                     "\n"
                                     "Instance name: dns\tclass: server\n"
                                     "   id =\t2\n"
                                     "\n"
                                     "\n"
                                     "Instance name: n/a\tclass: route\n"
                                     "   id =\tr\n"
                                     "\n"
                                     "\n");
}

TEST_F(InstancesPrint, PrintsAnEmptyLineForAnEmptyStore)
{
    take(put("route", nullptr, "r"));
    EXPECT_EQ(text_of(collection()), "\n");
}

TEST_F(InstancesPrint, ReportsNull)
{
    EXPECT_EQ(text_of(nullptr), "");
    EXPECT_EQ(logged(), "vesk: Null instances.\n");
}

TEST_F(InstancesPrint, SurvivesANullStream)
{
    fill();
    EXPECT_NO_CRASH(vesk_instances_print(collection(), nullptr));
}

TEST_F(InstancesSetListener, IsToldOfEachAddAndRemove)
{
    std::string heard;
    EXPECT_EQ(vesk_instances_set_listener(collection(), note, &heard), 0);
    fill();
    EXPECT_EQ(heard, "+dns.1 +wlan0 +r1 +sys +ntp.1 +bob +ann +r2 +dns.2 +eth0 +wlan1 ");
    heard.clear();
    take(vesk_instances_get(collection(), "user", "bob"));
    take(vesk_instances_get_singleton(collection(), "system"));
    take(vesk_instances_iterator_next(walk_class("route").get()));
    take(vesk_instances_iterator_next(walk_name("server", "dns").get()));
    EXPECT_EQ(heard, "-bob -sys -r1 -dns.1 ");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesSetListener, IsNotToldOfAFailure)
{
    put("user", "ann");
    std::string heard;
    vesk_instances_set_listener(collection(), note, &heard);
    const auto other = make_one("user", "ann");
    EXPECT_EQ(vesk_instances_add(collection(), other.get()), 1);
    EXPECT_EQ(vesk_instances_remove(collection(), other.get()), 1);
    EXPECT_EQ(heard, "");
}

TEST_F(InstancesSetListener, IsNotToldOfWholeClassesAndCollections)
{
    fill();
    std::string heard;
    vesk_instances_set_listener(collection(), note, &heard);
    instance_ptr route{put("rule", nullptr, "x")};
    heard.clear();
    vesk_instances_remove_class(collection(), "rule");
    vesk_instances_delete_class(collection(), "server");
    collection_.reset();
    EXPECT_EQ(heard, "");
}

TEST_F(InstancesSetListener, SeesTheCollectionAsItIsAfterTheEvent)
{
    static std::string seen;
    seen.clear();
    vesk_instances_set_listener(
        collection(),
        [](vesk_instance *, int event, void *data) {
            auto *instances = static_cast<vesk_instances *>(data);
            seen +=
                std::to_string(event) + (vesk_instances_get(instances, "user", "ann") ? "+" : "-");
        },
        collection());
    take(put("user", "ann"));
    EXPECT_EQ(seen, "0+1-");
}

TEST_F(InstancesSetListener, ReplacesTheOneBefore)
{
    std::string first, second;
    vesk_instances_set_listener(collection(), note, &first);
    vesk_instances_set_listener(collection(), note, &second);
    put("user", "ann");
    EXPECT_EQ(first, "");
    EXPECT_EQ(second, "+ann ");
}

TEST_F(InstancesSetListener, ClearsFunctionAndDataForANullFunction)
{
    std::string heard;
    vesk_instances_set_listener(collection(), note, &heard);
    EXPECT_EQ(vesk_instances_set_listener(collection(), nullptr, &heard), 0);
    EXPECT_FALSE(collection()->hook.data);
    put("user", "ann");
    EXPECT_EQ(heard, "");
}

TEST_F(InstancesSetListener, RefusesNullSilently)
{
    EXPECT_EQ(vesk_instances_set_listener(nullptr, note, nullptr), 1);
    EXPECT_EQ(logged(), "");
}

// The storage of one class, by class type.

struct storage {
    const char *class_name;
    const char *name;
    int (*add)(vesk_instances_class *, vesk_instance *);
    int (*remove)(vesk_instances_class *, vesk_instance *);
    void (*remove_all)(vesk_instances_class *);
    void (*delete_all)(vesk_instances_class *);
    int (*copy)(const vesk_instances_class *, vesk_instances_class *);
};

const storage storages[] = {
    {"system", nullptr, vesk_instances_singleton_add, vesk_instances_singleton_remove,
     vesk_instances_singleton_remove_all, vesk_instances_singleton_delete_all, nullptr},
    {"route", nullptr, vesk_instances_anonymous_add, vesk_instances_anonymous_remove,
     vesk_instances_anonymous_remove_all, vesk_instances_anonymous_delete_all,
     vesk_instances_anonymous_copy},
    {"user", "ann", vesk_instances_unique_named_add, vesk_instances_unique_named_remove,
     vesk_instances_unique_named_remove_all, vesk_instances_unique_named_delete_all,
     vesk_instances_unique_named_copy},
    {"server", "dns", vesk_instances_group_named_add, vesk_instances_group_named_remove,
     vesk_instances_group_named_remove_all, vesk_instances_group_named_delete_all,
     vesk_instances_group_named_copy},
};

TEST_F(InstancesStore, AddsAndRemovesWithoutTellingTheListener)
{
    for (const storage &kind : storages) {
        take(put(kind.class_name, kind.name, "first"));
        auto *store = collection()->classes.get(kind.class_name)->store.get();
        std::string heard;
        vesk_instances_set_listener(collection(), note, &heard);
        const auto instance = make_one(kind.class_name, kind.name, "second");
        EXPECT_EQ(kind.add(store, instance.get()), 0);
        EXPECT_EQ(order(), "second");
        EXPECT_EQ(kind.remove(store, instance.get()), 0);
        EXPECT_EQ(kind.remove(store, instance.get()), 1);
        EXPECT_EQ(heard, "");
        vesk_instances_set_listener(collection(), nullptr, nullptr);
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(InstancesStore, RefusesAsTheCollectionDoes)
{
    fill();
    const auto store = [&](const char *name) {
        return collection()->classes.get(name)->store.get();
    };
    const auto ann = make_one("user", "ann"), unnamed = make_one("route", nullptr, "x");
    EXPECT_EQ(vesk_instances_singleton_add(store("system"), unnamed.get()), 1);
    EXPECT_EQ(logged(), "vesk: Singleton class may not have multiple instances.\n");
    EXPECT_EQ(vesk_instances_anonymous_add(store("route"), ann.get()), 1);
    EXPECT_EQ(logged(), "vesk: Anonymous instance may not have a name.\n");
    EXPECT_EQ(vesk_instances_unique_named_add(store("user"), unnamed.get()), 1);
    EXPECT_EQ(logged(), "vesk: Unique-named instance must have a name.\n");
    EXPECT_EQ(vesk_instances_group_named_add(store("server"), unnamed.get()), 1);
    EXPECT_EQ(logged(), "vesk: Group-named instance must have a name.\n");
    EXPECT_EQ(vesk_instances_unique_named_add(store("user"), ann.get()), 1);
    EXPECT_EQ(logged(), "");
    EXPECT_EQ(order(), filled);
}

TEST_F(InstancesStore, EmptiesAListOrGroupsWithoutFreeingTheInstances)
{
    for (const storage &kind : {storages[1], storages[3]}) {
        const instance_ptr first{put(kind.class_name, kind.name, "first")};
        const instance_ptr second{put(kind.class_name, kind.name, "second")};
        kind.remove_all(collection()->classes.get(kind.class_name)->store.get());
        EXPECT_EQ(order(), "");
        EXPECT_STREQ(vesk_instance_get_value(second.get(), "id"), "second");
        EXPECT_EQ(kind.add(collection()->classes.get(kind.class_name)->store.get(), first.get()),
                  0);
        EXPECT_EQ(order(), "first");
        take(first.get()).release();
    }
}

TEST_F(InstancesStore, FreesAllInstancesOfTheStore)
{
    for (const storage &kind : storages) {
        auto *instance = put(kind.class_name, kind.name, "first");
        kind.delete_all(collection()->classes.get(kind.class_name)->store.get());
        EXPECT_TRUE(may_be_freed(instance)) << kind.class_name;
        EXPECT_EQ(order(), "") << kind.class_name;
        put(kind.class_name, kind.name, "second");
        EXPECT_EQ(order(), "second") << kind.class_name;
        EXPECT_EQ(vesk_instances_delete_class(collection(), kind.class_name), 0);
    }
}

TEST_F(InstancesStore, AppendsCopiesToAnotherStore)
{
    fill();
    for (const storage &kind : storages) {
        if (!kind.copy) continue;
        full_instances_ptr other{vesk_instances_new()};
        auto *only = make_one(kind.class_name, kind.name ? "zoe" : nullptr, "zoe").release();
        EXPECT_EQ(vesk_instances_add(other.get(), only), 0);
        EXPECT_EQ(kind.copy(collection()->classes.get(kind.class_name)->store.get(),
                            other->classes.get(kind.class_name)->store.get()),
                  0);
        EXPECT_EQ(order_of(other.get()), "zoe " + rest_of(walk_class(kind.class_name).get()));
    }
    EXPECT_EQ(order(), filled);
}

TEST_F(InstancesStore, MovesIteratorsOnBeforeItIsEmptied)
{
    fill();
    for (const storage &kind : storages) {
        SCOPED_TRACE(kind.class_name);
        auto *store = collection()->classes.get(kind.class_name)->store.get();
        const auto iterator = walk_class(kind.class_name);
        EXPECT_ANSWER((kind.remove_all(store), step(iterator) == "end"), 1);
    }
}

TEST_F(InstancesStore, MovesIteratorsOnBeforeItsInstancesAreFreed)
{
    fill();
    for (const storage &kind : storages) {
        SCOPED_TRACE(kind.class_name);
        auto *store = collection()->classes.get(kind.class_name)->store.get();
        const auto iterator = walk_class(kind.class_name);
        EXPECT_ANSWER((kind.delete_all(store), step(iterator) == "end"), 1);
    }
}

TEST_F(InstancesStore, SurvivesNulls)
{
    fill();
    for (const storage &kind : storages) {
        SCOPED_TRACE(kind.class_name);
        auto *store = collection()->classes.get(kind.class_name)->store.get();
        EXPECT_ANSWER(kind.add(nullptr, nullptr), 1);
        EXPECT_ANSWER(kind.add(store, nullptr), 1);
        EXPECT_ANSWER(kind.remove(nullptr, nullptr), 1);
        EXPECT_ANSWER(kind.remove(store, nullptr), 1);
        EXPECT_NO_CRASH(kind.remove_all(nullptr));
        EXPECT_NO_CRASH(kind.delete_all(nullptr));
        if (!kind.copy) continue;
        EXPECT_ANSWER(kind.copy(nullptr, nullptr), 1);
        EXPECT_ANSWER(kind.copy(store, nullptr), 1);
        EXPECT_ANSWER(kind.copy(nullptr, store), 1);
    }
}

TEST_F(InstancesStore, DoesNotRemoveASingletonThatIsNotThere)
{
    take(put("system", nullptr, "sys"));
    EXPECT_EQ(vesk_instances_singleton_remove(collection()->classes.get("system")->store.get(),
                                              make_one("system", nullptr, "other").get()),
              1);
}

using InstancesInRandomUse = random_collection_fixture;

TEST_P(InstancesInRandomUse, AreWhatTheirModelIs)
{
    for (int step = 0; step < 20000; ++step) {
        SCOPED_TRACE(step);
        ASSERT_NO_FATAL_FAILURE(take_step());
        logged();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, InstancesInRandomUse, ::testing::Values(1u, 2u, 3u, 20260u));

} // namespace
