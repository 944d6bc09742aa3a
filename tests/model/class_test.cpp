#include "vesk/class.h"

#include "tests/support/owned.h"

namespace {

using namespace vesk::test;

using ClassNew = fixture;
using ClassClone = fixture;
using ClassSetSuperclass = fixture;
using ClassSetAbstract = fixture;
using ClassSetSubclassIdentifier = fixture;
using ClassSetPersistence = fixture;
using ClassSetType = fixture;
using ClassAddProperty = fixture;
using ClassGetProperty = fixture;
using ClassGetProperties = fixture;
using ClassPropertyIterator = fixture;
using ClassPrint = fixture;
using ClassResolve = fixture;
using ClassValidate = fixture;

class_ptr make_class(const char *name)
{
    return class_ptr{vesk_class_new(name)};
}

class_ptr make_abstract(const char *name)
{
    auto cls = make_class(name);
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 1), 0);
    EXPECT_EQ(vesk_class_set_type(cls.get(), VESK_CLASS_UNIQUE_NAMED), 0);
    return cls;
}

std::string text_of(const vesk_class *cls)
{
    return printed([&](FILE *stream) { vesk_class_print(cls, stream); });
}

/** The names that a property iterator yields, joined by blanks. */
std::string properties_of(const vesk_class *cls)
{
    std::string names;
    const property_iterator_ptr iterator{vesk_class_new_property_iterator(cls)};
    while (vesk_class_property_iterator_has_next(iterator.get())) {
        if (!names.empty()) names += ' ';
        names += vesk_class_property_iterator_next(iterator.get())->name;
    }
    EXPECT_FALSE(vesk_class_property_iterator_next(iterator.get()));
    return names;
}

TEST_F(ClassNew, MakesAClassWithoutTypeAndProperties)
{
    const auto cls = make_class("radio");
    EXPECT_EQ(cls->name, "radio");
    EXPECT_FALSE(cls->superclass_name);
    EXPECT_FALSE(cls->superclass);
    EXPECT_EQ(cls->abstract, -1);
    EXPECT_FALSE(cls->subclass_identifier);
    EXPECT_EQ(cls->persistence, 0);
    EXPECT_EQ(cls->type, 0u);
    EXPECT_EQ(vesk_class_get_properties(cls.get()), 0u);
}

TEST_F(ClassNew, CopiesTheName)
{
    char name[] = "radio";
    const auto cls = make_class(name);
    name[0] = 'X';
    EXPECT_EQ(cls->name, "radio");
}

TEST_F(ClassNew, RefusesANullName)
{
    EXPECT_FALSE(vesk_class_new(nullptr));
    EXPECT_EQ(logged(), "vesk: Null name.\n");
}

TEST_F(ClassClone, CopiesTypePersistenceAndProperties)
{
    const auto *cls = add_class("radio", VESK_CLASS_GROUP_NAMED, {"channel", "rate", "mode"}, 3);
    const class_ptr clone{vesk_class_clone(cls, "radio2")};
    EXPECT_EQ(clone->name, "radio2");
    EXPECT_EQ(clone->type, 4u);
    EXPECT_EQ(clone->persistence, 3);
    EXPECT_EQ(properties_of(clone.get()), "channel rate mode");
    EXPECT_NE(vesk_class_get_property(clone.get(), "rate"), vesk_class_get_property(cls, "rate"));
}

TEST_F(ClassClone, TakesAClassWithoutProperties)
{
    const auto cls = make_class("radio");
    const class_ptr clone{vesk_class_clone(cls.get(), "radio2")};
    give(*clone, make_property("channel"));
    EXPECT_EQ(properties_of(clone.get()), "channel");
    EXPECT_EQ(properties_of(cls.get()), "");
}

TEST_F(ClassClone, OfAnAbstractClassIsUndecidedButHasItsIdentifierAsAMember)
{
    auto *cls = add_abstract("interface", {"mtu"});
    add_subclass("wireless", "interface");
    freeze();
    const class_ptr clone{vesk_class_clone(cls, "link")};
    EXPECT_EQ(clone->abstract, -1);
    EXPECT_FALSE(clone->subclass_identifier);
    EXPECT_EQ(clone->subclasses.size(), 0u);
    EXPECT_EQ(properties_of(clone.get()), "mtu type");
    EXPECT_EQ(vesk_class_get_property(clone.get(), "type")->subclass_identifier, 1);
}

TEST_F(ClassClone, OfASubclassHasNoSuperclass)
{
    add_abstract("interface");
    auto *cls = add_subclass("wireless", "interface", {"ssid"});
    freeze();
    const class_ptr clone{vesk_class_clone(cls, "wireless2")};
    EXPECT_FALSE(clone->superclass_name);
    EXPECT_FALSE(clone->superclass);
    EXPECT_EQ(clone->abstract, -1);
    EXPECT_EQ(properties_of(clone.get()), "ssid");
}

TEST_F(ClassClone, RefusesANullName)
{
    const auto cls = make_class("radio");
    EXPECT_FALSE(vesk_class_clone(cls.get(), nullptr));
    EXPECT_EQ(logged(), "vesk: Null name.\n");
}

TEST_F(ClassClone, RefusesANullClass)
{
    EXPECT_FALSE(vesk_class_clone(nullptr, "radio"));
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassSetSuperclass, StoresACopyOfTheName)
{
    const auto cls = make_class("wireless");
    char name[] = "interface";
    EXPECT_EQ(vesk_class_set_superclass(cls.get(), name), 0);
    name[0] = 'X';
    EXPECT_EQ(cls->superclass_name, "interface");
    EXPECT_FALSE(cls->superclass);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassSetSuperclass, RefusesANullClassFirst)
{
    EXPECT_EQ(vesk_class_set_superclass(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassSetSuperclass, RefusesANullNameBeforeItLooksAtTheClass)
{
    const auto cls = make_class("wireless");
    vesk_class_set_superclass(cls.get(), "interface");
    EXPECT_EQ(vesk_class_set_superclass(cls.get(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null superclass name.\n");
}

TEST_F(ClassSetSuperclass, RefusesASecondName)
{
    const auto cls = make_class("wireless");
    vesk_class_set_superclass(cls.get(), "interface");
    cls->abstract = 1;
    EXPECT_EQ(vesk_class_set_superclass(cls.get(), "link"), 1);
    EXPECT_EQ(logged(), "vesk: Superclass name has already been set.\n");
    EXPECT_EQ(cls->superclass_name, "interface");
}

TEST_F(ClassSetSuperclass, RefusesAnAbstractClass)
{
    const auto cls = make_abstract("interface");
    EXPECT_EQ(vesk_class_set_superclass(cls.get(), "link"), 1);
    EXPECT_EQ(logged(), "vesk: An abstract class may not have a superclass.\n");
    EXPECT_FALSE(cls->superclass_name);
}

TEST_F(ClassSetSuperclass, TakesAClassThatIsDecidedConcrete)
{
    const auto cls = make_class("wireless");
    vesk_class_set_abstract(cls.get(), 0);
    EXPECT_EQ(vesk_class_set_superclass(cls.get(), "interface"), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassSetAbstract, MakesAClassAbstractOrConcrete)
{
    const auto abstract = make_class("interface");
    EXPECT_EQ(vesk_class_set_abstract(abstract.get(), 1), 0);
    EXPECT_EQ(abstract->abstract, 1);
    const auto concrete = make_class("radio");
    EXPECT_EQ(vesk_class_set_abstract(concrete.get(), 0), 0);
    EXPECT_EQ(concrete->abstract, 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassSetAbstract, RefusesANullClassBeforeTheValue)
{
    EXPECT_EQ(vesk_class_set_abstract(nullptr, 2), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassSetAbstract, RefusesAnyOtherValueBeforeItLooksAtTheClass)
{
    const auto cls = make_class("wireless");
    vesk_class_set_superclass(cls.get(), "interface");
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 2), 1);
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), -1), 1);
    EXPECT_EQ(logged(), "vesk: Bad abstract value.\nvesk: Bad abstract value.\n");
    EXPECT_EQ(cls->abstract, -1);
}

TEST_F(ClassSetAbstract, RefusesAClassWithASuperclassEitherWay)
{
    const auto cls = make_class("wireless");
    vesk_class_set_superclass(cls.get(), "interface");
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 1), 1);
    EXPECT_EQ(logged(), "vesk: An class with a superclass may not be abstract.\n");
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 0), 1);
    EXPECT_EQ(logged(), "vesk: An class with a superclass may not be abstract.\n");
    EXPECT_EQ(cls->abstract, -1);
}

TEST_F(ClassSetAbstract, ComplainsOfTheSuperclassBeforeASecondDecision)
{
    const auto cls = make_class("wireless");
    vesk_class_set_abstract(cls.get(), 0);
    vesk_class_set_superclass(cls.get(), "interface");
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 0), 1);
    EXPECT_EQ(logged(), "vesk: An class with a superclass may not be abstract.\n");
}

TEST_F(ClassSetAbstract, RefusesASecondDecision)
{
    const auto cls = make_class("radio");
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 0), 0);
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 0), 1);
    EXPECT_EQ(logged(), "vesk: Class is already abstract.\n");
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 1), 1);
    EXPECT_EQ(logged(), "vesk: Class is already abstract.\n");
    EXPECT_EQ(cls->abstract, 0);
}

TEST_F(ClassSetSubclassIdentifier, TakesAPropertyWithoutValidatorAndFixesItsFlags)
{
    const auto cls = make_abstract("interface");
    vesk_property *property = vesk_property_new("kind");
    EXPECT_EQ(vesk_class_set_subclass_identifier(cls.get(), property), 0);
    EXPECT_EQ(cls->subclass_identifier, property);
    EXPECT_EQ(vesk_class_get_property(cls.get(), "kind"), property);
    EXPECT_EQ(property->writable, 0);
    EXPECT_EQ(property->required_on_insert, 1);
    EXPECT_EQ(property->subclass_identifier, 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassSetSubclassIdentifier, RefusesANullClassFirst)
{
    EXPECT_EQ(vesk_class_set_subclass_identifier(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassSetSubclassIdentifier, RefusesANullPropertyBeforeItLooksAtTheClass)
{
    const auto cls = make_class("radio");
    EXPECT_EQ(vesk_class_set_subclass_identifier(cls.get(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(ClassSetSubclassIdentifier, RefusesAClassThatIsNotAbstract)
{
    const auto undecided = make_class("radio");
    const auto concrete = make_class("clock");
    vesk_class_set_abstract(concrete.get(), 0);
    const auto property = make_property("kind");
    EXPECT_EQ(vesk_class_set_subclass_identifier(undecided.get(), property.get()), 1);
    EXPECT_EQ(logged(), "vesk: Class is not abstract.\n");
    EXPECT_EQ(vesk_class_set_subclass_identifier(concrete.get(), property.get()), 1);
    EXPECT_EQ(logged(), "vesk: Class is not abstract.\n");
    EXPECT_EQ(property->writable, 1);
}

TEST_F(ClassSetSubclassIdentifier, RefusesASecondOneEvenOfTheSameName)
{
    const auto cls = make_abstract("interface");
    vesk_class_set_subclass_identifier(cls.get(), vesk_property_new("kind"));
    const auto property = make_property("kind");
    EXPECT_EQ(vesk_class_set_subclass_identifier(cls.get(), property.get()), 1);
    EXPECT_EQ(logged(), "vesk: Class already has subclass_identifier.\n");
    EXPECT_NE(cls->subclass_identifier, property.get());
}

TEST_F(ClassSetSubclassIdentifier, RefusesTheNameOfAPropertyOfTheClassAndLeavesTheFlags)
{
    const auto cls = make_abstract("interface");
    give(*cls, make_property("kind"));
    const auto property = make_property("kind");
    EXPECT_EQ(vesk_class_set_subclass_identifier(cls.get(), property.get()), 1);
    EXPECT_EQ(logged(), "vesk: A property with the same name as the subclass identifier property "
                        "is in the class.\n");
    EXPECT_EQ(property->writable, 1);
    EXPECT_EQ(property->required_on_insert, 0);
    EXPECT_EQ(property->subclass_identifier, 0);
    EXPECT_FALSE(cls->subclass_identifier);
}

TEST_F(ClassSetPersistence, StoresAnyValue)
{
    const auto cls = make_class("radio");
    for (const int persistence : {1, 0, 2, -5}) {
        EXPECT_EQ(vesk_class_set_persistence(cls.get(), persistence), 0);
        EXPECT_EQ(cls->persistence, persistence);
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassSetPersistence, RefusesNull)
{
    EXPECT_EQ(vesk_class_set_persistence(nullptr, 1), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassSetType, StoresOneToFour)
{
    const auto cls = make_class("radio");
    for (const unsigned type : {1u, 2u, 3u, 4u}) {
        EXPECT_EQ(vesk_class_set_type(cls.get(), type), 0);
        EXPECT_EQ(cls->type, type);
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassSetType, RefusesAnyOtherType)
{
    const auto cls = make_class("radio");
    vesk_class_set_type(cls.get(), VESK_CLASS_ANONYMOUS);
    for (const unsigned type : {0u, 5u, ~0u}) {
        EXPECT_EQ(vesk_class_set_type(cls.get(), type), 1);
        EXPECT_EQ(logged(), "vesk: Bad type.\n");
    }
    EXPECT_EQ(cls->type, 2u);
}

TEST_F(ClassSetType, RefusesNull)
{
    EXPECT_EQ(vesk_class_set_type(nullptr, VESK_CLASS_SINGLETON), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassAddProperty, EntersThePropertyUnderItsName)
{
    const auto cls = make_class("radio");
    auto property = make_property("channel");
    EXPECT_EQ(vesk_class_add_property(cls.get(), property.get()), 0);
    EXPECT_EQ(vesk_class_get_property(cls.get(), "channel"), property.release());
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassAddProperty, RefusesANullClassFirst)
{
    EXPECT_EQ(vesk_class_add_property(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassAddProperty, RefusesANullProperty)
{
    const auto cls = make_class("radio");
    EXPECT_EQ(vesk_class_add_property(cls.get(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(ClassAddProperty, RefusesAWritablePropertyWithoutValidator)
{
    const auto cls = make_class("radio");
    const property_ptr property{vesk_property_new("channel")};
    EXPECT_EQ(vesk_class_add_property(cls.get(), property.get()), 1);
    EXPECT_EQ(logged(), "vesk: Property channel is writable but has no is_valid fn.\n"
                        "vesk: Property channel of class radio is not valid.\n");
    EXPECT_EQ(vesk_class_get_properties(cls.get()), 0u);
}

TEST_F(ClassAddProperty, TakesAReadOnlyPropertyWithoutValidatorUnlessItIsRequired)
{
    const auto cls = make_class("radio");
    property_ptr property{vesk_property_new("channel")};
    vesk_property_set_writable(property.get(), 0);
    vesk_property_set_required_on_insert(property.get(), 1);
    EXPECT_EQ(vesk_class_add_property(cls.get(), property.get()), 1);
    EXPECT_EQ(logged(), "vesk: Property channel is required on insert but has no is_valid fn.\n"
                        "vesk: Property channel of class radio is not valid.\n");
    vesk_property_set_required_on_insert(property.get(), 0);
    give(*cls, std::move(property));
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassAddProperty, RefusesANameThatIsTakenSilently)
{
    const auto cls = make_class("radio");
    auto *first = give(*cls, make_property("channel"));
    const auto second = make_property("channel");
    EXPECT_EQ(vesk_class_add_property(cls.get(), second.get()), 1);
    EXPECT_EQ(vesk_class_get_property(cls.get(), "channel"), first);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassAddProperty, ComplainsOfAnInvalidPropertyBeforeATakenName)
{
    const auto cls = make_class("radio");
    give(*cls, make_property("channel"));
    const property_ptr property{vesk_property_new("channel")};
    EXPECT_EQ(vesk_class_add_property(cls.get(), property.get()), 1);
    EXPECT_EQ(logged(), "vesk: Property channel is writable but has no is_valid fn.\n"
                        "vesk: Property channel of class radio is not valid.\n");
}

TEST_F(ClassGetProperty, FindsOwnPropertiesByTheWholeName)
{
    const auto cls = make_class("radio");
    auto *property = give(*cls, make_property("channel"));
    EXPECT_EQ(vesk_class_get_property(cls.get(), "channel"), property);
    for (const char *name : {"chan", "channel2", "Channel", ""})
        EXPECT_FALSE(vesk_class_get_property(cls.get(), name)) << name;
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassGetProperty, FindsTheSubclassIdentifierOfTheSuperclass)
{
    auto *interface = add_abstract("interface");
    auto *wireless = add_subclass("wireless", "interface");
    EXPECT_FALSE(vesk_class_get_property(wireless, "type"));
    freeze();
    EXPECT_EQ(vesk_class_get_property(wireless, "type"), interface->subclass_identifier);
}

TEST_F(ClassGetProperty, PrefersTheOwnProperty)
{
    auto *interface = add_abstract("interface", {"mtu"});
    auto *wireless = add_subclass("wireless", "interface", {"mtu"});
    freeze();
    EXPECT_EQ(vesk_class_get_property(wireless, "mtu"), wireless->properties.get("mtu"));
    EXPECT_NE(vesk_class_get_property(wireless, "mtu"), vesk_class_get_property(interface, "mtu"));
}

TEST_F(ClassGetProperty, RefusesNullsInOrder)
{
    const auto cls = make_class("radio");
    EXPECT_FALSE(vesk_class_get_property(nullptr, nullptr));
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_FALSE(vesk_class_get_property(cls.get(), nullptr));
    EXPECT_EQ(logged(), "vesk: Null name.\n");
}

TEST_F(ClassGetProperties, CountsOwnPropertiesOnly)
{
    auto *interface = add_abstract("interface", {"mtu", "address"});
    auto *wireless = add_subclass("wireless", "interface", {"ssid"});
    freeze();
    EXPECT_EQ(vesk_class_get_properties(interface), 3u);
    EXPECT_EQ(vesk_class_get_properties(wireless), 1u);
}

TEST_F(ClassGetProperties, IsZeroForNull)
{
    EXPECT_EQ(vesk_class_get_properties(nullptr), 0u);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassPropertyIterator, YieldsTheOrderOfAdding)
{
    const auto cls = make_class("radio");
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        const std::string name = "p" + std::to_string(i * 7919 % 1009);
        give(*cls, make_property(name.c_str()));
        expected += (i ? " " : "") + name;
    }
    EXPECT_EQ(properties_of(cls.get()), expected);
}

TEST_F(ClassPropertyIterator, YieldsTheSuperclassFirst)
{
    add_abstract("interface", {"mtu", "address"});
    auto *wireless = add_subclass("wireless", "interface", {"ssid", "key"});
    freeze();
    EXPECT_EQ(properties_of(wireless), "mtu address type ssid key");
    EXPECT_EQ(properties_of(wireless->superclass), "mtu address type");
}

TEST_F(ClassPropertyIterator, HasNoNextAtTheEndOfASuperclassWhenTheSubclassHasNone)
{
    add_abstract("interface");
    auto *wireless = add_subclass("wireless", "interface");
    freeze();
    const property_iterator_ptr iterator{vesk_class_new_property_iterator(wireless)};
    EXPECT_EQ(vesk_class_property_iterator_has_next(iterator.get()), 1);
    EXPECT_EQ(vesk_class_property_iterator_next(iterator.get())->name, "type");
    EXPECT_EQ(vesk_class_property_iterator_has_next(iterator.get()), 0);
    EXPECT_FALSE(vesk_class_property_iterator_next(iterator.get()));
}

TEST_F(ClassPropertyIterator, PassesOverAnEmptySuperclassAtOnce)
{
    add_class("interface", VESK_CLASS_UNIQUE_NAMED);
    auto *wireless = add_subclass("wireless", "interface", {"ssid"});
    EXPECT_EQ(vesk_class_resolve(wireless), 0);
    const property_iterator_ptr iterator{vesk_class_new_property_iterator(wireless)};
    EXPECT_EQ(vesk_class_property_iterator_has_next(iterator.get()), 1);
    EXPECT_EQ(vesk_class_property_iterator_next(iterator.get())->name, "ssid");
    EXPECT_EQ(vesk_class_property_iterator_has_next(iterator.get()), 0);
}

TEST_F(ClassPropertyIterator, HasNoNextAtOnceForAClassWithoutProperties)
{
    const auto cls = make_class("radio");
    const property_iterator_ptr iterator{vesk_class_new_property_iterator(cls.get())};
    ASSERT_TRUE(iterator);
    EXPECT_EQ(vesk_class_property_iterator_has_next(iterator.get()), 0);
    EXPECT_FALSE(vesk_class_property_iterator_next(iterator.get()));
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassPropertyIterator, IsDeletedHalfway)
{
    const auto *cls = add_class("radio", VESK_CLASS_SINGLETON, {"channel", "rate"});
    auto *iterator = vesk_class_new_property_iterator(cls);
    vesk_class_property_iterator_next(iterator);
    EXPECT_EQ(vesk_class_delete_property_iterator(iterator), 0);
    EXPECT_TRUE(may_be_freed(iterator));
}

TEST_F(ClassPropertyIterator, RefusesNulls)
{
    EXPECT_FALSE(vesk_class_new_property_iterator(nullptr));
    EXPECT_EQ(logged(), "vesk: Null class.\n");
    EXPECT_EQ(vesk_class_property_iterator_has_next(nullptr), 0);
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
    EXPECT_FALSE(vesk_class_property_iterator_next(nullptr));
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
    EXPECT_EQ(vesk_class_delete_property_iterator(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null iterator.\n");
}

TEST_F(ClassPrint, PrintsTheClassAndItsOwnProperties)
{
    auto *cls = add_class("radio", VESK_CLASS_SINGLETON, {"rate", "channel"});
    freeze();
    EXPECT_EQ(text_of(cls), "Class: radio                Type: singleton     Persistence: 1\n"
                            "  Property: rate                                          rw-p\n"
                            "  Property: channel                                       rw-p\n");
}

TEST_F(ClassPrint, PrintsTheNameOfEveryType)
{
    const auto cls = make_class("a");
    cls->abstract = 0;
    EXPECT_EQ(text_of(cls.get()),
              "Class: a                    Type: invalid       Persistence: 0\n");
    cls->type = 1;
    EXPECT_EQ(text_of(cls.get()),
              "Class: a                    Type: singleton     Persistence: 0\n");
    cls->type = 2;
    EXPECT_EQ(text_of(cls.get()),
              "Class: a                    Type: anonymous     Persistence: 0\n");
    cls->type = 3;
    EXPECT_EQ(text_of(cls.get()),
              "Class: a                    Type: unique-named  Persistence: 0\n");
    cls->type = 4;
    EXPECT_EQ(text_of(cls.get()),
              "Class: a                    Type: group-named   Persistence: 0\n");
    cls->type = 5;
    EXPECT_EQ(text_of(cls.get()),
              "Class: a                    Type: unknown       Persistence: 0\n");
}

TEST_F(ClassPrint, PrintsTheHierarchy)
{
    auto *interface = add_abstract("interface", {"mtu"});
    auto *wireless = add_subclass("wireless", "interface", {"ssid"}, 0);
    freeze();
    EXPECT_EQ(text_of(interface),
              "Class: interface            Type: unique-named  Persistence: 1\n"
              "Abstract class - subclass identifier: type\n"
              "  Property: mtu                                           rw-p\n"
              "  Property: type                                          r-ip\n");
    EXPECT_EQ(text_of(wireless),
              "Class: wireless             Type: unique-named  Persistence: 0\n"
              "Superclass: interface\n"
              "  Property: ssid                                          rw--\n");
}

TEST_F(ClassPrint, PrintsAnyPersistenceAndALongName)
{
    const auto cls = make_class("a_class_with_a_name_beyond_twenty");
    vesk_class_set_persistence(cls.get(), -12);
    vesk_class_resolve(cls.get());
    EXPECT_EQ(text_of(cls.get()),
              "Class: a_class_with_a_name_beyond_twenty Type: invalid       Persistence: -12\n");
}

TEST_F(ClassPrint, SurvivesAClassThatIsNotResolved)
{
    const auto cls = make_class("radio");
    EXPECT_EQ(text_of(cls.get()).rfind(
                  "Class: radio                Type: invalid       Persistence: 0\n", 0),
              0u);
}

TEST_F(ClassPrint, RefusesNull)
{
    EXPECT_EQ(text_of(nullptr), "");
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassPrint, SurvivesANullStream)
{
    const auto *cls = add_class("radio", VESK_CLASS_SINGLETON, {"channel"});
    freeze();
    EXPECT_NO_CRASH(vesk_class_print(cls, nullptr));
}

TEST_F(ClassResolve, RefusesNull)
{
    EXPECT_EQ(vesk_class_resolve(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassResolve, MakesAnUndecidedClassConcrete)
{
    const auto cls = make_class("radio");
    EXPECT_EQ(vesk_class_resolve(cls.get()), 0);
    EXPECT_EQ(cls->abstract, 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassResolve, LinksASubclassToItsSuperclassAndBack)
{
    auto *interface = add_abstract("interface");
    auto *wireless = add_subclass("wireless", "interface");
    EXPECT_EQ(vesk_class_resolve(wireless), 0);
    EXPECT_EQ(wireless->superclass, interface);
    EXPECT_EQ(interface->subclasses.get("wireless"), wireless);
    EXPECT_EQ(interface->abstract, 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassResolve, RefusesASuperclassThatDoesNotExist)
{
    auto *cls = add_subclass("wireless", "interface");
    EXPECT_EQ(vesk_class_resolve(cls), 1);
    EXPECT_EQ(logged(), "vesk: Class \"wireless\" has a non-existent superclass \"interface\".\n");
    EXPECT_EQ(cls->abstract, 0);
}

TEST_F(ClassResolve, LooksForTheSuperclassBeforeTheProperties)
{
    auto *cls = add_subclass("wireless", "interface", {"ssid"}, 0);
    vesk_property_set_persistence(vesk_class_get_property(cls, "ssid"), 1);
    EXPECT_EQ(vesk_class_resolve(cls), 1);
    EXPECT_EQ(logged(), "vesk: Class \"wireless\" has a non-existent superclass \"interface\".\n");
}

TEST_F(ClassResolve, LeavesASuperclassThatIsNotAbstractToValidation)
{
    auto *interface = add_class("interface", VESK_CLASS_UNIQUE_NAMED);
    auto *wireless = add_subclass("wireless", "interface");
    EXPECT_EQ(vesk_class_resolve(interface), 0);
    EXPECT_EQ(vesk_class_resolve(wireless), 0);
    EXPECT_EQ(logged(), "");
    EXPECT_EQ(vesk_class_validate(wireless), 1);
    EXPECT_EQ(logged(), "vesk: Class \"wireless\" has a non-abstract superclass \"interface\".\n");
}

TEST_F(ClassResolve, GivesUndecidedPropertiesThePersistenceOfTheClass)
{
    const auto cls = make_class("radio");
    vesk_class_set_persistence(cls.get(), 7);
    auto *undecided = give(*cls, make_property("channel"));
    auto *decided = give(*cls, make_property("rate"));
    vesk_property_set_persistence(decided, 0);
    EXPECT_EQ(vesk_class_resolve(cls.get()), 0);
    EXPECT_EQ(undecided->persistence, 7);
    EXPECT_EQ(decided->persistence, 0);
}

TEST_F(ClassResolve, RefusesAPersistentPropertyOfANonPersistentClassAtOnce)
{
    const auto cls = make_class("radio");
    auto *before = give(*cls, make_property("channel"));
    vesk_property_set_persistence(give(*cls, make_property("rate")), 1);
    auto *after = give(*cls, make_property("mode"));
    EXPECT_EQ(vesk_class_resolve(cls.get()), 1);
    EXPECT_EQ(logged(),
              "vesk: Non-persistent class \"radio\" has a persistent property \"rate\".\n");
    EXPECT_EQ(before->persistence, 0);
    EXPECT_EQ(after->persistence, -1);
}

TEST_F(ClassResolve, AcceptsPersistenceTwoInANonPersistentClass)
{
    const auto cls = make_class("radio");
    auto *property = give(*cls, make_property("rate"));
    vesk_property_set_persistence(property, 2);
    EXPECT_EQ(vesk_class_resolve(cls.get()), 0);
    EXPECT_EQ(property->persistence, 2);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassValidate, RefusesNull)
{
    EXPECT_EQ(vesk_class_validate(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null class.\n");
}

TEST_F(ClassValidate, AcceptsEveryTypeWithoutAHierarchy)
{
    const auto cls = make_class("radio");
    vesk_class_resolve(cls.get());
    for (const unsigned type : {1u, 2u, 3u, 4u}) {
        vesk_class_set_type(cls.get(), type);
        EXPECT_EQ(vesk_class_validate(cls.get()), 0);
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassValidate, AcceptsASuperclassWithItsSubclass)
{
    auto *interface = add_abstract("interface");
    auto *wireless = add_subclass("wireless", "interface");
    freeze();
    EXPECT_EQ(vesk_class_validate(interface), 0);
    EXPECT_EQ(vesk_class_validate(wireless), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassValidate, ComplainsOfAMissingTypeBeforeAllElse)
{
    const auto cls = make_class("interface");
    vesk_class_set_abstract(cls.get(), 1);
    EXPECT_EQ(vesk_class_validate(cls.get()), 1);
    EXPECT_EQ(logged(), "vesk: Class \"interface\" has no type set.\n");
}

TEST_F(ClassValidate, WantsASubclassIdentifierFirstOfAnAbstractClass)
{
    const auto cls = make_class("interface");
    vesk_class_set_abstract(cls.get(), 1);
    vesk_class_set_type(cls.get(), VESK_CLASS_ANONYMOUS);
    EXPECT_EQ(vesk_class_validate(cls.get()), 1);
    EXPECT_EQ(logged(),
              "vesk: Class \"interface\" is abstract but does not have a subclass identifier.\n");
}

TEST_F(ClassValidate, WantsAnAbstractClassUniqueNamed)
{
    auto *cls = add_abstract("interface");
    for (const unsigned type : {1u, 2u, 4u}) {
        vesk_class_set_type(cls, type);
        EXPECT_EQ(vesk_class_validate(cls), 1);
        EXPECT_EQ(logged(), "vesk: Class \"interface\" is abstract but is not unique-named.\n");
    }
}

TEST_F(ClassValidate, WantsASubclassOfAnAbstractClass)
{
    auto *cls = add_abstract("interface");
    cls->superclass_name = "link";
    EXPECT_EQ(vesk_class_validate(cls), 1);
    EXPECT_EQ(logged(),
              "vesk: Class \"interface\" is abstract but does not have any subclasses.\n");
}

TEST_F(ClassValidate, RefusesAnAbstractClassWithASuperclass)
{
    auto *cls = add_abstract("interface");
    add_subclass("wireless", "interface");
    freeze();
    cls->superclass_name = "link";
    EXPECT_EQ(vesk_class_validate(cls), 1);
    EXPECT_EQ(logged(), "vesk: Class \"interface\" is abstract,but it has a superclass.\n");
}

TEST_F(ClassValidate, WantsASubclassUniqueNamed)
{
    add_abstract("interface");
    auto *cls = add_subclass("wireless", "interface");
    freeze();
    for (const unsigned type : {1u, 2u, 4u}) {
        vesk_class_set_type(cls, type);
        EXPECT_EQ(vesk_class_validate(cls), 1);
        EXPECT_EQ(logged(), "vesk: Class \"wireless\" is a subclassbut is not unique-named.\n");
    }
}

TEST_F(ClassValidate, RefusesASubclassThatWasNotResolvedSilently)
{
    add_abstract("interface");
    auto *cls = add_subclass("wireless", "interface");
    EXPECT_EQ(vesk_class_validate(cls), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(ClassValidate, RefusesASuperclassThatIsConcrete)
{
    auto *interface = add_class("interface", VESK_CLASS_UNIQUE_NAMED);
    auto *wireless = add_subclass("wireless", "interface");
    vesk_class_set_abstract(interface, 0);
    EXPECT_EQ(vesk_class_resolve(wireless), 0);
    EXPECT_EQ(vesk_class_validate(wireless), 1);
    EXPECT_EQ(logged(), "vesk: Class \"wireless\" has a non-abstract superclass \"interface\".\n");
}

} // namespace
