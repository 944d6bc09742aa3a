#include "vesk/property.h"

#include "model/property.h"

#include "base/or_on_oom.h"
#include "core/log.h"

vesk_property *vesk_property_new(const char *name)
{
    if (!name) return vesk::none("Null name.\n");
    return vesk::or_on_oom<vesk_property *>(nullptr, [&] { return new vesk_property{name}; });
}

vesk_property *vesk_property_clone(const vesk_property *property)
{
    if (!property) return vesk::none("Null property.\n");
    return vesk::or_on_oom<vesk_property *>(nullptr, [&] { return new vesk_property{*property}; });
}

int vesk_property_set_readable(vesk_property *property, int readable)
{
    if (!property) return vesk::fail("Null property.\n");
    property->readable = readable;
    return 0;
}

int vesk_property_set_writable(vesk_property *property, int writable)
{
    if (!property) return vesk::fail("Null property.\n");
    if (property->subclass_identifier && writable)
        return vesk::error("Subclass identifiers must be non-writable.\n");
    property->writable = writable;
    return 0;
}

int vesk_property_set_required_on_insert(vesk_property *property, int required)
{
    if (!property) return vesk::fail("Null property.\n");
    if (property->subclass_identifier && !required)
        return vesk::error("Subclass identifiers must be required on insert.\n");
    property->required_on_insert = required;
    return 0;
}

int vesk_property_set_is_valid_fn(vesk_property *property, vesk_property_is_valid_fn is_valid)
{
    if (!property) return vesk::fail("Null property.\n");
    if (!is_valid) return vesk::fail("Null is_valid fn.\n");
    property->is_valid = is_valid;
    return 0;
}

int vesk_property_set_is_instance_valid_fn(vesk_property *property,
                                           vesk_property_is_instance_valid_fn is_valid)
{
    if (!property) return vesk::fail("Null property.\n");
    if (!is_valid) return vesk::fail("Null is_valid fn.\n");
    property->is_instance_valid = is_valid;
    return 0;
}

int vesk_property_set_persistence(vesk_property *property, int persistence)
{
    if (!property) return vesk::fail("Null property.\n");
    property->persistence = persistence;
    return 0;
}

int vesk_property_is_valid(const vesk_property *property)
{
    if (!property) {
        vesk::fail("Null property.\n");
        return 0;
    }
    const char *name = property->name.c_str();
    if (property->writable && !property->is_valid) {
        vesk::fail("Property %s is writable but has no is_valid fn.\n", name);
        return 0;
    }
    if (property->required_on_insert && !property->subclass_identifier && !property->is_valid) {
        vesk::fail("Property %s is required on insert but has no is_valid fn.\n", name);
        return 0;
    }
    return 1;
}

void vesk_property_print(const vesk_property *property, FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    if (!property) {
        vesk::fail("Null property.\n");
        return;
    }
    std::fprintf(stream, "Property: %-45s %s%s%s%s", property->name.c_str(),
                 property->readable ? "r" : "-", property->writable ? "w" : "-",
                 property->required_on_insert ? "i" : "-", property->persistence ? "p" : "-");
}

int vesk_property_delete(vesk_property *property)
{
    if (!property) return vesk::fail("Null property.\n");
    delete property;
    return 0;
}
