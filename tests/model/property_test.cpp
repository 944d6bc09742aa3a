#include "vesk/property.h"

#include "tests/support/owned.h"

namespace {

using namespace vesk::test;

using PropertyNew = fixture;
using PropertyClone = fixture;
using PropertySetReadable = fixture;
using PropertySetWritable = fixture;
using PropertySetRequiredOnInsert = fixture;
using PropertySetIsValidFn = fixture;
using PropertySetIsInstanceValidFn = fixture;
using PropertySetPersistence = fixture;
using PropertyIsValid = fixture;
using PropertyPrint = fixture;
using PropertyDelete = fixture;

int fits(vesk_instance *, const char *)
{
    return 1;
}

std::string line_of(const vesk_property *property)
{
    return printed([&](FILE *stream) { vesk_property_print(property, stream); });
}

/** The flags alone: "rwip". */
std::string flags_of(const property_ptr &property)
{
    const std::string line = line_of(property.get());
    return line.substr(line.size() - 4);
}

/** An abstract class with its subclass identifier "kind". */
class_ptr class_with_identifier()
{
    class_ptr cls{vesk_class_new("interface")};
    EXPECT_EQ(vesk_class_set_abstract(cls.get(), 1), 0);
    EXPECT_EQ(vesk_class_set_subclass_identifier(cls.get(), vesk_property_new("kind")), 0);
    return cls;
}

TEST_F(PropertyNew, MakesAReadableWritablePropertyWithoutValidators)
{
    const property_ptr property{vesk_property_new("channel")};
    EXPECT_EQ(line_of(property.get()),
              "Property: channel                                       rw-p");
    EXPECT_EQ(property->persistence, -1);
    EXPECT_EQ(property->subclass_identifier, 0);
    EXPECT_FALSE(property->is_valid);
    EXPECT_FALSE(property->is_instance_valid);
}

TEST_F(PropertyNew, CopiesTheName)
{
    char name[] = "channel";
    const property_ptr property{vesk_property_new(name)};
    name[0] = 'X';
    EXPECT_EQ(property->name, "channel");
}

TEST_F(PropertyNew, RefusesANullName)
{
    EXPECT_FALSE(vesk_property_new(nullptr));
    EXPECT_EQ(logged(), "vesk: Null name.\n");
}

TEST_F(PropertyClone, CopiesEveryField)
{
    const auto property = make_property("channel");
    vesk_property_set_readable(property.get(), 0);
    vesk_property_set_writable(property.get(), 0);
    vesk_property_set_required_on_insert(property.get(), 1);
    vesk_property_set_is_instance_valid_fn(property.get(), fits);
    vesk_property_set_persistence(property.get(), 0);
    const property_ptr clone{vesk_property_clone(property.get())};
    EXPECT_EQ(line_of(clone.get()), "Property: channel                                       --i-");
    EXPECT_EQ(clone->is_valid, accepts_all_but_bad);
    EXPECT_EQ(clone->is_instance_valid, fits);
    EXPECT_EQ(clone->persistence, 0);
}

TEST_F(PropertyClone, OutlivesItsSourceAndChangesAlone)
{
    auto property = make_property("channel");
    const property_ptr clone{vesk_property_clone(property.get())};
    vesk_property_set_readable(clone.get(), 0);
    EXPECT_EQ(flags_of(property), "rw-p");
    property.reset();
    EXPECT_EQ(line_of(clone.get()), "Property: channel                                       -w-p");
}

TEST_F(PropertyClone, KeepsTheMarkOfASubclassIdentifier)
{
    const auto cls = class_with_identifier();
    const property_ptr clone{vesk_property_clone(cls->subclass_identifier)};
    EXPECT_EQ(clone->subclass_identifier, 1);
    EXPECT_EQ(vesk_property_set_writable(clone.get(), 1), 1);
}

TEST_F(PropertyClone, RefusesNull)
{
    EXPECT_FALSE(vesk_property_clone(nullptr));
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertySetReadable, StoresTheFlag)
{
    const auto property = make_property("channel");
    EXPECT_EQ(vesk_property_set_readable(property.get(), 0), 0);
    EXPECT_EQ(flags_of(property), "-w-p");
    EXPECT_EQ(vesk_property_set_readable(property.get(), 1), 0);
    EXPECT_EQ(flags_of(property), "rw-p");
}

TEST_F(PropertySetReadable, RefusesNull)
{
    EXPECT_EQ(vesk_property_set_readable(nullptr, 1), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertySetWritable, StoresTheFlag)
{
    const auto property = make_property("channel");
    EXPECT_EQ(vesk_property_set_writable(property.get(), 0), 0);
    EXPECT_EQ(flags_of(property), "r--p");
    EXPECT_EQ(vesk_property_set_writable(property.get(), 1), 0);
    EXPECT_EQ(flags_of(property), "rw-p");
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertySetWritable, RefusesASubclassIdentifierAtEveryLevel)
{
    const auto cls = class_with_identifier();
    set_level(0);
    EXPECT_EQ(vesk_property_set_writable(cls->subclass_identifier, 1), 1);
    EXPECT_EQ(logged(), "vesk: Subclass identifiers must be non-writable.\n");
    EXPECT_EQ(cls->subclass_identifier->writable, 0);
}

TEST_F(PropertySetWritable, LeavesASubclassIdentifierNonWritableWithoutComplaint)
{
    const auto cls = class_with_identifier();
    EXPECT_EQ(vesk_property_set_writable(cls->subclass_identifier, 0), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertySetWritable, RefusesNull)
{
    EXPECT_EQ(vesk_property_set_writable(nullptr, 1), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertySetRequiredOnInsert, StoresTheFlag)
{
    const auto property = make_property("channel");
    EXPECT_EQ(vesk_property_set_required_on_insert(property.get(), 1), 0);
    EXPECT_EQ(flags_of(property), "rwip");
    EXPECT_EQ(vesk_property_set_required_on_insert(property.get(), 0), 0);
    EXPECT_EQ(flags_of(property), "rw-p");
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertySetRequiredOnInsert, RefusesToReleaseASubclassIdentifierAtEveryLevel)
{
    const auto cls = class_with_identifier();
    set_level(0);
    EXPECT_EQ(vesk_property_set_required_on_insert(cls->subclass_identifier, 0), 1);
    EXPECT_EQ(logged(), "vesk: Subclass identifiers must be required on insert.\n");
    EXPECT_EQ(cls->subclass_identifier->required_on_insert, 1);
}

TEST_F(PropertySetRequiredOnInsert, LeavesASubclassIdentifierRequiredWithoutComplaint)
{
    const auto cls = class_with_identifier();
    EXPECT_EQ(vesk_property_set_required_on_insert(cls->subclass_identifier, 1), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertySetRequiredOnInsert, RefusesNull)
{
    EXPECT_EQ(vesk_property_set_required_on_insert(nullptr, 0), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertySetIsValidFn, StoresTheFunction)
{
    const property_ptr property{vesk_property_new("channel")};
    EXPECT_EQ(vesk_property_set_is_valid_fn(property.get(), accepts_all_but_bad), 0);
    EXPECT_EQ(property->is_valid, accepts_all_but_bad);
}

TEST_F(PropertySetIsValidFn, RefusesANullPropertyFirst)
{
    EXPECT_EQ(vesk_property_set_is_valid_fn(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertySetIsValidFn, RefusesANullFunctionAndKeepsTheOldOne)
{
    const auto property = make_property("channel");
    EXPECT_EQ(vesk_property_set_is_valid_fn(property.get(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null is_valid fn.\n");
    EXPECT_EQ(property->is_valid, accepts_all_but_bad);
}

TEST_F(PropertySetIsInstanceValidFn, StoresTheFunction)
{
    const property_ptr property{vesk_property_new("channel")};
    EXPECT_EQ(vesk_property_set_is_instance_valid_fn(property.get(), fits), 0);
    EXPECT_EQ(property->is_instance_valid, fits);
}

TEST_F(PropertySetIsInstanceValidFn, RefusesANullPropertyFirst)
{
    EXPECT_EQ(vesk_property_set_is_instance_valid_fn(nullptr, nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertySetIsInstanceValidFn, RefusesANullFunctionInTheSameWords)
{
    const property_ptr property{vesk_property_new("channel")};
    EXPECT_EQ(vesk_property_set_is_instance_valid_fn(property.get(), nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null is_valid fn.\n");
}

TEST_F(PropertySetPersistence, StoresAnyValue)
{
    const auto property = make_property("channel");
    for (const int persistence : {0, 1, 2, -1, -7}) {
        EXPECT_EQ(vesk_property_set_persistence(property.get(), persistence), 0);
        EXPECT_EQ(property->persistence, persistence);
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertySetPersistence, RefusesNull)
{
    EXPECT_EQ(vesk_property_set_persistence(nullptr, 1), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertyIsValid, IsOneForAWritablePropertyWithAValidator)
{
    const auto property = make_property("channel");
    vesk_property_set_required_on_insert(property.get(), 1);
    EXPECT_EQ(vesk_property_is_valid(property.get()), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertyIsValid, RefusesNull)
{
    EXPECT_EQ(vesk_property_is_valid(nullptr), 0);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertyIsValid, ComplainsOfAWritablePropertyWithoutValidatorFirst)
{
    const property_ptr property{vesk_property_new("channel")};
    vesk_property_set_required_on_insert(property.get(), 1);
    EXPECT_EQ(vesk_property_is_valid(property.get()), 0);
    EXPECT_EQ(logged(), "vesk: Property channel is writable but has no is_valid fn.\n");
}

TEST_F(PropertyIsValid, ComplainsOfARequiredPropertyWithoutValidator)
{
    const property_ptr property{vesk_property_new("channel")};
    vesk_property_set_writable(property.get(), 0);
    vesk_property_set_required_on_insert(property.get(), 1);
    EXPECT_EQ(vesk_property_is_valid(property.get()), 0);
    EXPECT_EQ(logged(), "vesk: Property channel is required on insert but has no is_valid fn.\n");
}

TEST_F(PropertyIsValid, IsOneForAReadOnlyPropertyWithoutValidator)
{
    const property_ptr property{vesk_property_new("channel")};
    vesk_property_set_writable(property.get(), 0);
    EXPECT_EQ(vesk_property_is_valid(property.get()), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertyIsValid, DoesNotCountTheInstanceValidator)
{
    const property_ptr property{vesk_property_new("channel")};
    vesk_property_set_is_instance_valid_fn(property.get(), fits);
    EXPECT_EQ(vesk_property_is_valid(property.get()), 0);
    EXPECT_EQ(logged(), "vesk: Property channel is writable but has no is_valid fn.\n");
}

TEST_F(PropertyIsValid, ExemptsASubclassIdentifierFromTheValidator)
{
    const auto cls = class_with_identifier();
    EXPECT_EQ(vesk_property_is_valid(cls->subclass_identifier), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertyIsValid, IsSilentAtLevelZero)
{
    const property_ptr property{vesk_property_new("channel")};
    set_level(0);
    EXPECT_EQ(vesk_property_is_valid(property.get()), 0);
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertyPrint, ShowsEachFlagInItsPlace)
{
    const auto property = make_property("ssid");
    vesk_property_set_required_on_insert(property.get(), 1);
    vesk_property_set_persistence(property.get(), 1);
    EXPECT_EQ(line_of(property.get()),
              "Property: ssid                                          rwip");
    vesk_property_set_readable(property.get(), 0);
    vesk_property_set_writable(property.get(), 0);
    vesk_property_set_required_on_insert(property.get(), 0);
    vesk_property_set_persistence(property.get(), 0);
    EXPECT_EQ(line_of(property.get()),
              "Property: ssid                                          ----");
}

TEST_F(PropertyPrint, TakesAnyFlagButZeroForSet)
{
    const auto property = make_property("ssid");
    vesk_property_set_readable(property.get(), 2);
    vesk_property_set_writable(property.get(), -1);
    vesk_property_set_required_on_insert(property.get(), 256);
    vesk_property_set_persistence(property.get(), 2);
    EXPECT_EQ(flags_of(property), "rwip");
}

TEST_F(PropertyPrint, DoesNotCutALongName)
{
    const auto property =
        make_property("a-property-whose-name-is-longer-than-the-forty-five-columns");
    EXPECT_EQ(line_of(property.get()),
              "Property: a-property-whose-name-is-longer-than-the-forty-five-columns rw-p");
}

TEST_F(PropertyPrint, PrintsNothingForNull)
{
    EXPECT_EQ(line_of(nullptr), "");
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

TEST_F(PropertyPrint, SurvivesANullStream)
{
    const auto property = make_property("ssid");
    EXPECT_NO_CRASH(vesk_property_print(property.get(), nullptr));
}

TEST_F(PropertyDelete, FreesAPropertyThatWasNeverAdded)
{
    vesk_property *property = vesk_property_new("channel");
    EXPECT_EQ(vesk_property_delete(property), 0);
    EXPECT_TRUE(may_be_freed(property));
    EXPECT_EQ(logged(), "");
}

TEST_F(PropertyDelete, RefusesNull)
{
    EXPECT_EQ(vesk_property_delete(nullptr), 1);
    EXPECT_EQ(logged(), "vesk: Null property.\n");
}

} // namespace
