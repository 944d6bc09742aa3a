#include "vesk/classes.h"

#include "tests/support/owned.h"

namespace {

using namespace vesk::test;

using ClassesAdd = fixture;
using ClassesGet = fixture;
using ClassesIterator = fixture;
using ClassesPrint = fixture;
using ClassesDoneAdding = fixture;

std::string text_of_all()
{
    return printed([](FILE *stream) { vesk_classes_print(stream); });
}

TEST_F(ClassesAdd, EntersAClassUnderItsName)
{
    const class_ptr cls{vesk_class_new("radio")};
    EXPECT_EQ(vesk_classes_add(cls.get()), 0);
    EXPECT_EQ(vesk_classes_get("radio"), cls.get());
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassesAdd, RefusesANameThatIsTaken)
{
    auto *first = add_class("radio", VESK_CLASS_SINGLETON);
    const class_ptr second{vesk_class_new("radio")};
    EXPECT_EQ(vesk_classes_add(second.get()), 1);
    EXPECT_EQ(logged(), "vesk: Class with name \"radio\" already in classes.\n");
    EXPECT_EQ(vesk_classes_get("radio"), first);
}

TEST_F(ClassesAdd, RefusesNull)
{
    EXPECT_EQ(vesk_classes_add(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassesGet, IsNullForAnUnknownOrNullNameWithoutAMessage)
{
    EXPECT_FALSE(vesk_classes_get("radio"));
    add_class("radio", VESK_CLASS_SINGLETON);
    for (const char *name : {"", "radi", "radio1", "Radio"})
        EXPECT_FALSE(vesk_classes_get(name)) << name;
    EXPECT_FALSE(vesk_classes_get(nullptr));
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassesIterator, YieldsTheOrderOfAddingBeyondTheFirstSize)
{
    std::string expected, met;
    for (int i = 0; i < 200; ++i) {
        const std::string name = "c" + std::to_string(i * 7919 % 1009);
        add_class(name.c_str(), VESK_CLASS_SINGLETON);
        expected += name + ' ';
    }
    const classes_iterator_ptr iterator{vesk_classes_new_iterator()};
    while (vesk_classes_iterator_has_next(iterator.get()))
        met += vesk_classes_iterator_next(iterator.get())->name + ' ';
    EXPECT_EQ(met, expected);
    EXPECT_FALSE(vesk_classes_iterator_next(iterator.get()));
}

TEST_F(ClassesIterator, HasNoNextInAnEmptyRegistry)
{
    auto *iterator = vesk_classes_new_iterator();
    ASSERT_TRUE(iterator);
    EXPECT_EQ(vesk_classes_iterator_has_next(iterator), 0);
    EXPECT_FALSE(vesk_classes_iterator_next(iterator));
    EXPECT_EQ(vesk_classes_delete_iterator(iterator), 0);
    EXPECT_TRUE(may_be_freed(iterator));
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassesIterator, RefusesNull)
{
    EXPECT_EQ(vesk_classes_iterator_has_next(nullptr), 0);
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
    EXPECT_FALSE(vesk_classes_iterator_next(nullptr));
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
    EXPECT_EQ(vesk_classes_delete_iterator(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
}

TEST_F(ClassesPrint, PrintsEveryClassAndAnEmptyLine)
{
    add_class("radio", VESK_CLASS_ANONYMOUS, {"channel"}, 0);
    add_abstract("interface");
    add_subclass("wireless", "interface");
    freeze();
    EXPECT_EQ(text_of_all(), "Class: radio                Type: anonymous     Persistence: 0\n"
                             "  Property: channel                                       rw--\n"
                             "\n"
                             "Class: interface            Type: unique-named  Persistence: 1\n"
                             "Abstract class - subclass identifier: type\n"
                             "  Property: type                                          r-ip\n"
                             "\n"
                             "Class: wireless             Type: unique-named  Persistence: 1\n"
                             "Superclass: interface\n"
                             "\n");
}

TEST_F(ClassesPrint, PrintsNothingForAnEmptyRegistry)
{
    EXPECT_EQ(text_of_all(), "");
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassesPrint, SurvivesANullStream)
{
    add_class("radio", VESK_CLASS_SINGLETON, {"channel"});
    freeze();
    EXPECT_NO_CRASH(vesk_classes_print(nullptr));
}

TEST_F(ClassesDoneAdding, IsZeroForAnEmptyRegistry)
{
    EXPECT_EQ(vesk_classes_done_adding(), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassesDoneAdding, LinksAClassThatCameBeforeItsSuperclass)
{
    auto *wireless = add_subclass("wireless", "interface");
    auto *interface = add_abstract("interface");
    auto *ethernet = add_subclass("ethernet", "interface");
    EXPECT_EQ(vesk_classes_done_adding(), 0);
    EXPECT_EQ(wireless->superclass, interface);
    EXPECT_EQ(interface->subclasses.get("ethernet"), ethernet);
    EXPECT_EQ(interface->subclasses.size(), 2u);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassesDoneAdding, ResolvesAllBeforeItValidatesAnyAndGoesOnAfterAFailure)
{
    add_subclass("wireless", "interface");
    vesk_class_set_type(add_class("radio", VESK_CLASS_SINGLETON), VESK_CLASS_ANONYMOUS);
    vesk_property_set_persistence(
        vesk_class_get_property(add_class("clock", VESK_CLASS_SINGLETON, {"time"}, 0), "time"), 1);
    add_abstract("link");
    EXPECT_EQ(vesk_classes_done_adding(), 1);
    EXPECT_EQ(logged(), "vesk: Class \"wireless\" has a non-existent superclass \"interface\".\n"
                        "vesk: Class \"wireless\" is invalid.\n"
                        "vesk: Non-persistent class \"clock\" has a persistent property \"time\".\n"
                        "vesk: Class \"clock\" is invalid.\n"
                        "vesk: Class \"wireless\" is invalid.\n"
                        "vesk: Class \"link\" is abstract but does not have any subclasses.\n"
                        "vesk: Class \"link\" is invalid.\n");
    EXPECT_EQ(vesk_classes_get("radio")->abstract, 0);
}

TEST_F(ClassesDoneAdding, ReportsAClassWithoutType)
{
    const class_ptr cls{vesk_class_new("radio")};
    vesk_classes_add(cls.get());
    EXPECT_EQ(vesk_classes_done_adding(), 1);
    EXPECT_EQ(logged(), "vesk: Class \"radio\" has no type set.\n"
                        "vesk: Class \"radio\" is invalid.\n");
}

TEST_F(ClassesDoneAdding, ReportsASuperclassThatIsNotAbstract)
{
    add_class("interface", VESK_CLASS_UNIQUE_NAMED);
    add_subclass("wireless", "interface");
    EXPECT_EQ(vesk_classes_done_adding(), 1);
    EXPECT_EQ(logged(), "vesk: Class \"wireless\" has a non-abstract superclass \"interface\".\n"
                        "vesk: Class \"wireless\" is invalid.\n");
}

TEST_F(ClassesDoneAdding, IsSilentAtLevelZero)
{
    add_abstract("interface");
    set_level(0);
    EXPECT_EQ(vesk_classes_done_adding(), 1);
    EXPECT_EQ(logged(), "");
}

} // namespace
