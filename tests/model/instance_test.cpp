#include "vesk/instance.h"

#include <cstdlib>

#include "tests/support/owned.h"

namespace {

using namespace vesk::test;
using vesk::instance_ptr;

/** Classes of every type, and a hierarchy. */
class instance_fixture : public fixture {
  protected:
    instance_fixture()
    {
        add_class("clock", VESK_CLASS_SINGLETON, {"time", "zone", "status"});
        add_class("route", VESK_CLASS_ANONYMOUS, {"via"});
        add_class("user", VESK_CLASS_UNIQUE_NAMED, {"password"});
        add_class("server", VESK_CLASS_GROUP_NAMED, {"address"});
        add_class("marker", VESK_CLASS_SINGLETON);
        add_abstract("interface", {"mtu"});
        add_subclass("wireless", "interface", {"ssid"});
    }

    vesk_property *property(const char *class_name, const char *name)
    {
        return vesk_class_get_property(vesk_classes_get(class_name), name);
    }
    vesk_instance *make_new(const char *class_name, const char *name)
    {
        return vesk_instance_new(vesk_classes_get(class_name), name);
    }

    static std::string text_of(const instance_ptr &instance)
    {
        return printed([&](FILE *stream) { vesk_instance_print(instance.get(), stream); });
    }
};

using InstanceNew = instance_fixture;
using InstanceCopy = instance_fixture;
using InstanceDelete = instance_fixture;
using InstanceGetName = instance_fixture;
using InstanceGetValue = instance_fixture;
using InstanceSetValue = instance_fixture;
using InstanceGetStatus = instance_fixture;
using InstanceIsValid = instance_fixture;
using InstancePrint = instance_fixture;
using InstanceSetListener = instance_fixture;

/** What a listener heard: "property=value;" each. */
void note(vesk_instance *instance, const char *name, void *heard)
{
    *static_cast<std::string *>(heard) +=
        std::string{name} + '=' + vesk_instance_get_value(instance, name) + ';';
}

/** Only a clock that is up takes a time. */
int only_when_up(vesk_instance *instance, const char *)
{
    return vesk_instance_get_status(instance);
}

/** What vesk_instance_is_valid() says. */
std::string complaint_about(const vesk_instance *instance)
{
    char *message = nullptr;
    EXPECT_EQ(vesk_instance_is_valid(instance, &message), 0);
    const std::string text = message ? message : "(none)";
    std::free(message);
    return text;
}

TEST_F(InstanceNew, MakesAnInstanceOfEachType)
{
    freeze();
    const instance_ptr singleton{make_new("clock", nullptr)}, anonymous{make_new("route", nullptr)},
        unique{make_new("user", "ann")}, group{make_new("server", "dns")},
        subclass{make_new("wireless", "wlan0")};
    for (const auto *instance : {&singleton, &anonymous, &unique, &group, &subclass})
        EXPECT_TRUE(*instance);
    EXPECT_EQ(singleton->cls, vesk_classes_get("clock"));
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceNew, CopiesTheName)
{
    freeze();
    char name[] = "ann";
    const instance_ptr instance{make_new("user", name)};
    name[0] = 'X';
    EXPECT_STREQ(vesk_instance_get_name(instance.get()), "ann");
}

TEST_F(InstanceNew, RefusesANullClass)
{
    EXPECT_FALSE(vesk_instance_new(nullptr, "ann"));
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(InstanceNew, RefusesAnAbstractClassBeforeItLooksForAName)
{
    freeze();
    EXPECT_FALSE(make_new("interface", nullptr));
    EXPECT_EQ(logged(), "vesk: Cannot create instance of abstract class \"interface\".\n");
}

TEST_F(InstanceNew, RefusesAClassThatIsNotResolved)
{
    EXPECT_FALSE(make_new("clock", nullptr));
    EXPECT_EQ(logged(), "vesk: Cannot create instance of abstract class \"clock\".\n");
}

TEST_F(InstanceNew, RefusesAnUnknownTypeSilently)
{
    const class_ptr cls{vesk_class_new("radio")};
    vesk_class_set_abstract(cls.get(), 0);
    EXPECT_FALSE(vesk_instance_new(cls.get(), nullptr));
    EXPECT_FALSE(vesk_instance_new(cls.get(), "radio0"));
    cls->type = 5;
    EXPECT_FALSE(vesk_instance_new(cls.get(), nullptr));
    EXPECT_FALSE(vesk_instance_new(cls.get(), "radio0"));
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceNew, WantsANameForANamedClass)
{
    freeze();
    for (const char *name : {"user", "server", "wireless"}) {
        EXPECT_FALSE(make_new(name, nullptr));
        EXPECT_EQ(logged(),
                  "vesk: Instance of \"" + std::string{name} + "\" requires requires name.\n");
    }
}

TEST_F(InstanceNew, RefusesANameForAnUnnamedClassEvenAnEmptyOne)
{
    freeze();
    EXPECT_FALSE(make_new("clock", "c"));
    EXPECT_EQ(logged(), "vesk: Instance of \"clock\" may not have a name.\n");
    EXPECT_FALSE(make_new("route", ""));
    EXPECT_EQ(logged(), "vesk: Instance of \"route\" may not have a name.\n");
}

TEST_F(InstanceNew, TakesAnEmptyNameForANamedClass)
{
    freeze();
    const instance_ptr instance{make_new("user", "")};
    ASSERT_TRUE(instance);
    EXPECT_STREQ(vesk_instance_get_name(instance.get()), "");
}

TEST_F(InstanceNew, TakesAClassWithoutProperties)
{
    freeze();
    const instance_ptr instance{make_new("marker", nullptr)};
    ASSERT_TRUE(instance);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "12"), 1);
    EXPECT_EQ(vesk_instance_is_valid(instance.get(), nullptr), 1);
    const instance_ptr copy{vesk_instance_copy(instance.get())};
    EXPECT_EQ(text_of(copy), "Instance name: n/a\tclass: marker\n");
}

TEST_F(InstanceCopy, CopiesClassNameAndValuesInTheirOrder)
{
    freeze();
    auto instance = make("wireless", "wlan0", {{"ssid", "home"}, {"mtu", "1500"}});
    const instance_ptr copy{vesk_instance_copy(instance.get())};
    instance.reset();
    EXPECT_EQ(copy->cls, vesk_classes_get("wireless"));
    EXPECT_EQ(text_of(copy), "Instance name: wlan0\tclass: wireless\n"
                             "   ssid =\thome\n"
                             "   mtu =\t1500\n");
}

TEST_F(InstanceCopy, HasNoListenerAndTellsNotThatOfItsSource)
{
    freeze();
    const auto instance = make("clock", nullptr);
    std::string heard;
    vesk_instance_set_listener(instance.get(), note, &heard);
    const instance_ptr copy{vesk_instance_copy(instance.get())};
    EXPECT_EQ(vesk_instance_set_value(copy.get(), "time", "12"), 0);
    EXPECT_EQ(heard, "");
    EXPECT_FALSE(copy->hook.listener);
    EXPECT_FALSE(copy->hook.data);
}

TEST_F(InstanceCopy, ChangesAlone)
{
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12"}, {"zone", "UTC"}});
    const instance_ptr copy{vesk_instance_copy(instance.get())};
    vesk_instance_set_value(copy.get(), "time", "13");
    vesk_instance_set_value(instance.get(), "zone", "CET");
    EXPECT_EQ(text_of(instance), "Instance name: n/a\tclass: clock\n"
                                 "   time =\t12\n"
                                 "   zone =\tCET\n");
    EXPECT_EQ(text_of(copy), "Instance name: n/a\tclass: clock\n"
                             "   zone =\tUTC\n"
                             "   time =\t13\n");
}

TEST_F(InstanceCopy, DoesNotAskTheValidatorsAgain)
{
    freeze();
    const auto instance = make("clock", nullptr, {{"status", "up"}, {"time", "12"}});
    vesk_property_set_is_instance_valid_fn(property("clock", "time"), only_when_up);
    vesk_instance_set_value(instance.get(), "status", "down");
    const instance_ptr copy{vesk_instance_copy(instance.get())};
    EXPECT_STREQ(vesk_instance_get_value(copy.get(), "time"), "12");
}

TEST_F(InstanceCopy, RefusesNull)
{
    EXPECT_FALSE(vesk_instance_copy(nullptr));
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instance_copy)\n");
}

TEST_F(InstanceDelete, FreesTheInstance)
{
    freeze();
    vesk_instance *instance = make("clock", nullptr, {{"time", "12"}}).release();
    EXPECT_EQ(vesk_instance_delete(instance), 0);
    EXPECT_TRUE(may_be_freed(instance));
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceDelete, RefusesNull)
{
    EXPECT_EQ(vesk_instance_delete(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instance_delete)\n");
}

TEST_F(InstanceGetName, IsNullWithoutAName)
{
    freeze();
    EXPECT_FALSE(vesk_instance_get_name(make("clock", nullptr).get()));
    EXPECT_STREQ(vesk_instance_get_name(make("server", "dns").get()), "dns");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceGetName, RefusesNull)
{
    EXPECT_FALSE(vesk_instance_get_name(nullptr));
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instance_get_name)\n");
}

TEST_F(InstanceGetValue, IsNullWithoutAValueWhateverTheClassKnows)
{
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12"}});
    EXPECT_STREQ(vesk_instance_get_value(instance.get(), "time"), "12");
    for (const char *name : {"zone", "colour", "tim", "time2", "Time", ""})
        EXPECT_FALSE(vesk_instance_get_value(instance.get(), name)) << name;
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceGetValue, StaysWhereItIsWhileOthersAreSet)
{
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12"}});
    const char *time = vesk_instance_get_value(instance.get(), "time");
    vesk_instance_set_value(instance.get(), "zone", "UTC");
    vesk_instance_set_value(instance.get(), "zone", "CET");
    EXPECT_EQ(vesk_instance_get_value(instance.get(), "time"), time);
    EXPECT_STREQ(time, "12");
}

TEST_F(InstanceGetValue, RefusesNullsInOrder)
{
    freeze();
    const auto instance = make("clock", nullptr);
    EXPECT_FALSE(vesk_instance_get_value(nullptr, nullptr));
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instance_get_value)\n");
    EXPECT_FALSE(vesk_instance_get_value(instance.get(), nullptr));
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(InstanceSetValue, StoresACopy)
{
    freeze();
    const auto instance = make("clock", nullptr);
    char name[] = "time", value[] = "12:00";
    EXPECT_EQ(vesk_instance_set_value(instance.get(), name, value), 0);
    name[0] = value[0] = 'X';
    EXPECT_STREQ(vesk_instance_get_value(instance.get(), "time"), "12:00");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceSetValue, RefusesNullsInOrder)
{
    freeze();
    const auto instance = make("clock", nullptr);
    EXPECT_EQ(vesk_instance_set_value(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null instance. (vesk_instance_set_value)\n");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "colour", nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null value.\n");
}

TEST_F(InstanceSetValue, RefusesAPropertyThatTheClassDoesNotKnow)
{
    freeze();
    const auto instance = make("wireless", "wlan0");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "colour", "red"), 1);
    EXPECT_EQ(logged(),
              "vesk: Property \"colour\" not in class \"wireless\" (or its superclasses).\n");
    EXPECT_EQ(text_of(instance), "Instance name: wlan0\tclass: wireless\n");
}

TEST_F(InstanceSetValue, TakesAPropertyOfTheSuperclass)
{
    freeze();
    const auto instance = make("wireless", "wlan0");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "mtu", "1500"), 0);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "type", "wireless"), 0);
    EXPECT_STREQ(vesk_instance_get_value(instance.get(), "mtu"), "1500");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceSetValue, RefusesWhatTheValidatorRefuses)
{
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12"}});
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "bad time"), 1);
    EXPECT_EQ(logged(),
              "vesk: Value \"bad time\" is not valid for property \"time\" of class \"clock\".\n");
    EXPECT_STREQ(vesk_instance_get_value(instance.get(), "time"), "12");
}

TEST_F(InstanceSetValue, NamesTheClassOfTheInstanceNotTheSuperclass)
{
    freeze();
    const auto instance = make("wireless", "wlan0");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "mtu", "bad"), 1);
    EXPECT_EQ(logged(),
              "vesk: Value \"bad\" is not valid for property \"mtu\" of class \"wireless\".\n");
}

TEST_F(InstanceSetValue, AsksTheInstanceValidatorWithTheOldValuesInPlace)
{
    freeze();
    vesk_property_set_is_instance_valid_fn(property("clock", "time"), only_when_up);
    const auto instance = make("clock", nullptr);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "12"), 1);
    EXPECT_EQ(logged(),
              "vesk: Value \"12\" is not valid for property \"time\" of class \"clock\".\n");
    EXPECT_FALSE(vesk_instance_get_value(instance.get(), "time"));
    vesk_instance_set_value(instance.get(), "status", "up");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "12"), 0);
    EXPECT_STREQ(vesk_instance_get_value(instance.get(), "time"), "12");
}

TEST_F(InstanceSetValue, DoesNotAskTheInstanceValidatorAboutABadValue)
{
    freeze();
    static int asked;
    asked = 0;
    vesk_property_set_is_instance_valid_fn(property("clock", "time"),
                                           [](vesk_instance *, const char *) { return ++asked; });
    const auto instance = make("clock", nullptr);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "bad"), 1);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "12"), 0);
    EXPECT_EQ(asked, 1);
}

TEST_F(InstanceSetValue, TakesAnyAnswerButZeroForAcceptance)
{
    freeze();
    vesk_property_set_is_valid_fn(property("clock", "time"), [](const char *) { return -1; });
    vesk_property_set_is_instance_valid_fn(property("clock", "time"),
                                           [](vesk_instance *, const char *) { return 256; });
    const auto instance = make("clock", nullptr);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "12"), 0);
}

TEST_F(InstanceSetValue, MentionsAMissingValidatorFromLevelFive)
{
    freeze();
    const auto instance = make("wireless", "wlan0");
    set_level(4);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "type", "bad"), 0);
    EXPECT_EQ(logged(), "");
    set_level(5);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "type", "wireless"), 0);
    EXPECT_EQ(
        logged(),
        "vesk: Property \"type\" of class \"wireless\" does not have an is_valid function.\n");
}

TEST_F(InstanceSetValue, AsksTheInstanceValidatorWhereThereIsNoOther)
{
    freeze();
    vesk_property_set_is_instance_valid_fn(property("wireless", "type"),
                                           [](vesk_instance *, const char *) { return 0; });
    const auto instance = make("wireless", "wlan0");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "type", "x"), 1);
    EXPECT_EQ(logged(),
              "vesk: Value \"x\" is not valid for property \"type\" of class \"wireless\".\n");
}

TEST_F(InstanceSetValue, DoesNotLookAtTheFlags)
{
    freeze();
    vesk_property_set_readable(property("clock", "time"), 0);
    vesk_property_set_writable(property("clock", "time"), 0);
    const auto instance = make("clock", nullptr);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "12"), 0);
}

TEST_F(InstanceSetValue, MovesAReplacedValueToTheEnd)
{
    freeze();
    const auto instance =
        make("clock", nullptr, {{"time", "12"}, {"zone", "UTC"}, {"status", "up"}});
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "13"), 0);
    EXPECT_EQ(text_of(instance), "Instance name: n/a\tclass: clock\n"
                                 "   zone =\tUTC\n"
                                 "   status =\tup\n"
                                 "   time =\t13\n");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "14"), 0);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "status", "down"), 0);
    EXPECT_EQ(text_of(instance), "Instance name: n/a\tclass: clock\n"
                                 "   zone =\tUTC\n"
                                 "   time =\t14\n"
                                 "   status =\tdown\n");
}

TEST_F(InstanceSetValue, KeepsTheOrderWhenItRefuses)
{
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12"}, {"zone", "UTC"}});
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "bad"), 1);
    EXPECT_EQ(text_of(instance), "Instance name: n/a\tclass: clock\n"
                                 "   time =\t12\n"
                                 "   zone =\tUTC\n");
}

TEST_F(InstanceSetValue, TakesItsOwnOldValue)
{
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12:34:56"}});
    const char *old = vesk_instance_get_value(instance.get(), "time");
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", old + 3), 0);
    EXPECT_STREQ(vesk_instance_get_value(instance.get(), "time"), "34:56");
}

TEST_F(InstanceSetValue, TakesEmptyAndLongValuesAndAnyBytes)
{
    freeze();
    const auto instance = make("clock", nullptr);
    const std::string all(100000, '\xff');
    for (const char *value : {"", all.c_str(), "<&>\"'\n\t%s", "\x01"}) {
        EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", value), 0);
        EXPECT_STREQ(vesk_instance_get_value(instance.get(), "time"), value);
    }
}

TEST_F(InstanceGetStatus, IsOneForExactlyUp)
{
    freeze();
    const auto instance = make("clock", nullptr);
    EXPECT_EQ(vesk_instance_get_status(instance.get()), 0);
    vesk_instance_set_value(instance.get(), "status", "up");
    EXPECT_EQ(vesk_instance_get_status(instance.get()), 1);
    for (const char *value : {"UP", "Up", "up ", " up", "u", "upp", "", "down"}) {
        vesk_instance_set_value(instance.get(), "status", value);
        EXPECT_EQ(vesk_instance_get_status(instance.get()), 0) << value;
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceGetStatus, IsZeroWithoutSuchAProperty)
{
    freeze();
    EXPECT_EQ(vesk_instance_get_status(make("route", nullptr).get()), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceGetStatus, IsZeroForNullWithAMessage)
{
    EXPECT_EQ(vesk_instance_get_status(nullptr), 0);
    EXPECT_EQ(logged().rfind("vesk: Null instance. (vesk_instance_get_", 0), 0u);
}

TEST_F(InstanceIsValid, IsOneWhenAllThatIsRequiredIsThere)
{
    vesk_property_set_required_on_insert(property("clock", "zone"), 1);
    freeze();
    const auto instance = make("clock", nullptr, {{"zone", ""}});
    char untouched[] = "untouched";
    char *message = untouched;
    EXPECT_EQ(vesk_instance_is_valid(instance.get(), &message), 1);
    EXPECT_EQ(message, untouched);
    EXPECT_EQ(vesk_instance_is_valid(instance.get(), nullptr), 1);
}

TEST_F(InstanceIsValid, NamesTheFirstPropertyThatIsMissing)
{
    vesk_property_set_required_on_insert(property("clock", "zone"), 1);
    vesk_property_set_required_on_insert(property("clock", "status"), 1);
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12"}});
    EXPECT_EQ(complaint_about(instance.get()),
              "Property \"zone\" of class \"clock\" is required on insert but not set.");
    vesk_instance_set_value(instance.get(), "zone", "UTC");
    EXPECT_EQ(complaint_about(instance.get()),
              "Property \"status\" of class \"clock\" is required on insert but not set.");
    EXPECT_EQ(vesk_instance_is_valid(instance.get(), nullptr), 0);
}

TEST_F(InstanceIsValid, NamesThePropertiesOfTheSuperclassFirst)
{
    vesk_property_set_required_on_insert(property("wireless", "ssid"), 1);
    freeze();
    const auto instance = make("wireless", "wlan0");
    EXPECT_EQ(complaint_about(instance.get()),
              "Property \"type\" of class \"wireless\" is required on insert but not set.");
    vesk_instance_set_value(instance.get(), "type", "wireless");
    EXPECT_EQ(complaint_about(instance.get()),
              "Property \"ssid\" of class \"wireless\" is required on insert but not set.");
}

TEST_F(InstanceIsValid, TestsPresenceOnly)
{
    vesk_property_set_required_on_insert(property("clock", "time"), 1);
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12"}});
    vesk_property_set_is_instance_valid_fn(property("clock", "time"), only_when_up);
    EXPECT_EQ(vesk_instance_is_valid(instance.get(), nullptr), 1);
}

TEST_F(InstanceIsValid, IsZeroForNull)
{
    EXPECT_EQ(complaint_about(nullptr), "Null instance.");
    EXPECT_EQ(vesk_instance_is_valid(nullptr, nullptr), 0);
}

TEST_F(InstancePrint, PrintsNameClassAndValues)
{
    freeze();
    const auto instance = make("user", "ann", {{"password", "%s <tab>\t"}});
    EXPECT_EQ(text_of(instance), "Instance name: ann\tclass: user\n"
                                 "   password =\t%s <tab>\t\n");
}

TEST_F(InstancePrint, PrintsNotAvailableForAnInstanceWithoutName)
{
    freeze();
    EXPECT_EQ(text_of(make("clock", nullptr, {{"zone", ""}, {"time", "12"}})),
              "Instance name: n/a\tclass: clock\n"
              "   zone =\t\n"
              "   time =\t12\n");
}

TEST_F(InstancePrint, RefusesNull)
{
    EXPECT_EQ(text_of(nullptr), "");
    EXPECT_EQ(logged(), "vesk: Instance is null.\n");
}

TEST_F(InstancePrint, SurvivesANullStream)
{
    freeze();
    const auto instance = make("clock", nullptr, {{"time", "12"}});
    EXPECT_NO_CRASH(vesk_instance_print(instance.get(), nullptr));
}

TEST_F(InstanceSetListener, IsToldOfEverySuccessfulSetEvenOfTheSameValue)
{
    freeze();
    const auto instance = make("clock", nullptr);
    std::string heard;
    EXPECT_EQ(vesk_instance_set_listener(instance.get(), note, &heard), 0);
    vesk_instance_set_value(instance.get(), "time", "12");
    vesk_instance_set_value(instance.get(), "time", "12");
    vesk_instance_set_value(instance.get(), "zone", "UTC");
    EXPECT_EQ(heard, "time=12;time=12;zone=UTC;");
    EXPECT_EQ(logged(), "");
}

TEST_F(InstanceSetListener, IsNotToldOfAFailure)
{
    freeze();
    const auto instance = make("clock", nullptr);
    std::string heard;
    vesk_instance_set_listener(instance.get(), note, &heard);
    vesk_instance_set_value(instance.get(), "time", "bad");
    vesk_instance_set_value(instance.get(), "colour", "red");
    vesk_instance_set_value(instance.get(), "time", nullptr);
    EXPECT_EQ(heard, "");
}

TEST_F(InstanceSetListener, GetsTheInstanceAndTheStringOfTheCaller)
{
    freeze();
    const auto instance = make("clock", nullptr);
    struct call {
        vesk_instance *instance;
        const char *property;
    } call{};
    vesk_instance_set_listener(
        instance.get(),
        [](vesk_instance *i, const char *name, void *data) {
            *static_cast<struct call *>(data) = {i, name};
        },
        &call);
    const char name[] = "time";
    vesk_instance_set_value(instance.get(), name, "12");
    EXPECT_EQ(call.instance, instance.get());
    EXPECT_EQ(call.property, name);
}

TEST_F(InstanceSetListener, MaySetValuesItself)
{
    freeze();
    const auto instance = make("clock", nullptr);
    vesk_instance_set_listener(
        instance.get(),
        [](vesk_instance *i, const char *name, void *) {
            if (std::string{name} == "time") vesk_instance_set_value(i, "zone", "UTC");
            if (std::string{name} == "zone") vesk_instance_set_value(i, "status", "up");
        },
        nullptr);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "12"), 0);
    EXPECT_EQ(text_of(instance), "Instance name: n/a\tclass: clock\n"
                                 "   time =\t12\n"
                                 "   zone =\tUTC\n"
                                 "   status =\tup\n");
}

TEST_F(InstanceSetListener, MayReplaceTheValueThatWasSet)
{
    freeze();
    const auto instance = make("clock", nullptr);
    vesk_instance_set_listener(
        instance.get(),
        [](vesk_instance *i, const char *name, void *) {
            vesk_instance_set_listener(i, nullptr, nullptr);
            vesk_instance_set_value(i, name, "13");
        },
        nullptr);
    EXPECT_EQ(vesk_instance_set_value(instance.get(), "time", "12"), 0);
    EXPECT_STREQ(vesk_instance_get_value(instance.get(), "time"), "13");
}

TEST_F(InstanceSetListener, ReplacesTheOneBefore)
{
    freeze();
    const auto instance = make("clock", nullptr);
    std::string first, second;
    vesk_instance_set_listener(instance.get(), note, &first);
    vesk_instance_set_listener(instance.get(), note, &second);
    vesk_instance_set_value(instance.get(), "time", "12");
    EXPECT_EQ(first, "");
    EXPECT_EQ(second, "time=12;");
}

TEST_F(InstanceSetListener, ClearsFunctionAndDataForANullFunction)
{
    freeze();
    const auto instance = make("clock", nullptr);
    std::string heard;
    vesk_instance_set_listener(instance.get(), note, &heard);
    EXPECT_EQ(vesk_instance_set_listener(instance.get(), nullptr, &heard), 0);
    EXPECT_FALSE(instance->hook.data);
    vesk_instance_set_value(instance.get(), "time", "12");
    EXPECT_EQ(heard, "");
}

TEST_F(InstanceSetListener, RefusesNullSilently)
{
    EXPECT_EQ(vesk_instance_set_listener(nullptr, note, nullptr), 1);
    EXPECT_EQ(logged(), "");
}

} // namespace
