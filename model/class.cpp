#include "vesk/class.h"

#include "model/class.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/classes.h"

namespace {

constexpr int undecided = -1;
constexpr const char *type_names[] = {"invalid", "singleton", "anonymous", "unique-named",
                                      "group-named"};

const char *type_name(unsigned type)
{
    return type < std::size(type_names) ? type_names[type] : "unknown";
}

bool is_abstract(const vesk_class &cls)
{
    return cls.abstract == 1;
}

/** Moves an iterator that has come to the end of the superclass's properties to the class's own. */
void skip_to_subclass(vesk_property_iterator &iterator)
{
    if (!iterator.subclass || iterator.next != vesk::name_map<vesk_property>::iterator{}) return;
    iterator.next = iterator.subclass->properties.begin();
    iterator.subclass = nullptr;
}

int refuse_property(const vesk_class &cls, const vesk_property &property)
{
    return vesk::fail("Property %s of class %s is not valid.\n", property.name.c_str(),
                      cls.name.c_str());
}

/** Enters property, which the class then owns. 1 when the name is taken or memory is exhausted. */
int own_property(vesk_class &cls, vesk_property &property)
{
    return vesk::or_on_oom(1, [&] {
        if (cls.in_order.size() >= vesk::max_properties) return 1;
        cls.in_order.reserve(cls.in_order.size() + 1);
        // The map may refuse or run out of memory; until it took the property the caller owns it.
        if (!cls.properties.name_map<vesk_property>::insert(property.name.c_str(), &property))
            return 1;
        property.position = static_cast<unsigned short>(cls.in_order.size());
        cls.in_order.push_back(&property);
        return 0;
    });
}

int validate_abstract(const vesk_class &cls)
{
    const char *name = cls.name.c_str();
    if (!cls.subclass_identifier)
        return vesk::fail("Class \"%s\" is abstract but does not have a subclass identifier.\n",
                          name);
    if (cls.type != VESK_CLASS_UNIQUE_NAMED)
        return vesk::fail("Class \"%s\" is abstract but is not unique-named.\n", name);
    if (cls.subclasses.size() == 0)
        return vesk::fail("Class \"%s\" is abstract but does not have any subclasses.\n", name);
    if (cls.superclass_name)
        return vesk::fail("Class \"%s\" is abstract,but it has a superclass.\n", name);
    return 0;
}

int validate_subclass(const vesk_class &cls)
{
    if (cls.type != VESK_CLASS_UNIQUE_NAMED)
        return vesk::fail("Class \"%s\" is a subclassbut is not unique-named.\n", cls.name.c_str());
    if (!cls.superclass) return 1;
    if (is_abstract(*cls.superclass)) return 0;
    return vesk::fail("Class \"%s\" has a non-abstract superclass \"%s\".\n", cls.name.c_str(),
                      cls.superclass_name->c_str());
}

} // namespace

namespace vesk {

const vesk_property *find_property(const vesk_class &cls, const char *name)
{
    if (const vesk_property *property = cls.properties.get(name)) return property;
    // One level only: classes that name each other as superclass are refused later, but not
    // unlinked.
    return cls.superclass ? cls.superclass->properties.get(name) : nullptr;
}

unsigned find_slot(const vesk_class &cls, const char *name)
{
    const vesk_property *property = find_property(cls, name);
    return property ? slot_of(cls, *property) : no_slot;
}

int resolve(vesk_class &cls, const class_registry &registry)
{
    if (cls.abstract == undecided) cls.abstract = 0;
    if (cls.superclass_name) {
        vesk_class *superclass = registry.get(cls.superclass_name->c_str());
        if (!superclass)
            return fail("Class \"%s\" has a non-existent superclass \"%s\".\n", cls.name.c_str(),
                        cls.superclass_name->c_str());
        // Of a superclass that is not abstract validation complains; it needs no list of
        // subclasses.
        if (is_abstract(*superclass)) superclass->subclasses.insert(cls.name.c_str(), &cls);
        cls.superclass = superclass;
    }
    for (auto [name, property] : cls.properties) {
        if (property->persistence == undecided) property->persistence = cls.persistence;
        if (cls.persistence == 0 && property->persistence == 1)
            return fail("Non-persistent class \"%s\" has a persistent property \"%s\".\n",
                        cls.name.c_str(), name);
    }
    return 0;
}

} // namespace vesk

vesk_class *vesk_class_new(const char *name)
{
    if (!name) return vesk::none("Null name.\n");
    return vesk::or_on_oom<vesk_class *>(nullptr, [&] { return new vesk_class{name}; });
}

vesk_class *vesk_class_clone(const vesk_class *cls, const char *name)
{
    if (!cls) return vesk::none("Null class.\n");
    if (!name) return vesk::none("Null name.\n");
    return vesk::or_on_oom<vesk_class *>(nullptr, [&] {
        auto clone = std::make_unique<vesk_class>(name, cls->properties.size());
        clone->persistence = cls->persistence;
        clone->type = cls->type;
        for (const vesk_property *property : cls->in_order) {
            auto copy = std::make_unique<vesk_property>(*property);
            if (own_property(*clone, *copy) != 0) throw std::bad_alloc{};
            static_cast<void>(copy.release());
        }
        return clone.release();
    });
}

int vesk_class_set_superclass(vesk_class *cls, const char *name)
{
    if (!cls) return vesk::fail("Null class.\n");
    if (!name) return vesk::fail("Null superclass name.\n");
    if (cls->superclass_name) return vesk::fail("Superclass name has already been set.\n");
    if (is_abstract(*cls)) return vesk::fail("An abstract class may not have a superclass.\n");
    return vesk::or_on_oom(1, [&] {
        cls->superclass_name = name;
        return 0;
    });
}

int vesk_class_set_abstract(vesk_class *cls, int abstract)
{
    if (!cls) return vesk::fail("Null class.\n");
    if (abstract != 0 && abstract != 1) return vesk::fail("Bad abstract value.\n");
    if (cls->superclass_name)
        return vesk::fail("An class with a superclass may not be abstract.\n");
    if (cls->abstract != undecided) return vesk::fail("Class is already abstract.\n");
    cls->abstract = abstract;
    return 0;
}

int vesk_class_set_subclass_identifier(vesk_class *cls, vesk_property *property)
{
    if (!cls) return vesk::fail("Null class.\n");
    if (!property) return vesk::fail("Null property.\n");
    if (!is_abstract(*cls)) return vesk::fail("Class is not abstract.\n");
    if (cls->subclass_identifier) return vesk::fail("Class already has subclass_identifier.\n");
    if (cls->properties.get(property->name.c_str()))
        return vesk::fail("A property with the same name as the subclass identifier property is in "
                          "the class.\n");
    property->writable = 0;
    property->required_on_insert = 1;
    property->subclass_identifier = 1;
    if (!vesk_property_is_valid(property)) return refuse_property(*cls, *property);
    if (own_property(*cls, *property) != 0) return 1;
    cls->subclass_identifier = property;
    return 0;
}

int vesk_class_set_persistence(vesk_class *cls, int persistence)
{
    if (!cls) return vesk::fail("Null class.\n");
    cls->persistence = persistence;
    return 0;
}

int vesk_class_set_type(vesk_class *cls, unsigned type)
{
    if (!cls) return vesk::fail("Null class.\n");
    if (type < VESK_CLASS_SINGLETON || type > VESK_CLASS_GROUP_NAMED)
        return vesk::fail("Bad type.\n");
    cls->type = type;
    return 0;
}

int vesk_class_add_property(vesk_class *cls, vesk_property *property)
{
    if (!cls) return vesk::fail("Null class.\n");
    if (!property) return vesk::fail("Null property.\n");
    if (!vesk_property_is_valid(property)) return refuse_property(*cls, *property);
    return own_property(*cls, *property);
}

vesk_property *vesk_class_get_property(const vesk_class *cls, const char *name)
{
    if (!cls) return vesk::none("Null class.\n");
    if (!name) return vesk::none("Null name.\n");
    return const_cast<vesk_property *>(vesk::find_property(*cls, name));
}

unsigned vesk_class_get_properties(const vesk_class *cls)
{
    if (!cls) {
        vesk::fail("Null class.\n");
        return 0;
    }
    return cls->properties.size();
}

vesk_property_iterator *vesk_class_new_property_iterator(const vesk_class *cls)
{
    if (!cls) return vesk::none("Null class.\n");
    return vesk::or_on_oom<vesk_property_iterator *>(nullptr, [&] {
        auto *iterator = new vesk_property_iterator;
        iterator->next = (cls->superclass ? cls->superclass : cls)->properties.begin();
        if (cls->superclass) iterator->subclass = cls;
        skip_to_subclass(*iterator);
        return iterator;
    });
}

int vesk_class_property_iterator_has_next(const vesk_property_iterator *iterator)
{
    if (!iterator) {
        vesk::fail("Null iterator.\n");
        return 0;
    }
    return iterator->next != vesk::name_map<vesk_property>::iterator{};
}

vesk_property *vesk_class_property_iterator_next(vesk_property_iterator *iterator)
{
    if (!iterator) return vesk::none("Null iterator.\n");
    vesk_property *property = (*iterator->next).value;
    if (!property) return nullptr;
    ++iterator->next;
    skip_to_subclass(*iterator);
    return property;
}

int vesk_class_delete_property_iterator(vesk_property_iterator *iterator)
{
    if (!iterator) return vesk::fail("Null iterator.\n");
    delete iterator;
    return 0;
}

void vesk_class_print(const vesk_class *cls, FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    if (!cls) {
        vesk::fail("Null class.\n");
        return;
    }
    std::fprintf(stream, "Class: %-20s Type: %-13s Persistence: %d\n", cls->name.c_str(),
                 type_name(cls->type), cls->persistence);
    if (cls->abstract != 0 && cls->subclass_identifier)
        std::fprintf(stream, "Abstract class - subclass identifier: %s\n",
                     cls->subclass_identifier->name.c_str());
    if (cls->superclass_name)
        std::fprintf(stream, "Superclass: %s\n", cls->superclass_name->c_str());
    for (auto [name, property] : cls->properties) {
        std::fputs("  ", stream);
        vesk_property_print(property, stream);
        std::fputc('\n', stream);
    }
}

int vesk_class_resolve(vesk_class *cls)
{
    if (!cls) return vesk::fail("Null class.\n");
    return vesk::or_on_oom(1, [&] { return vesk::resolve(*cls, vesk::classes()); });
}

int vesk_class_validate(const vesk_class *cls)
{
    if (!cls) return vesk::fail("Null class.\n");
    if (cls->type == 0) return vesk::fail("Class \"%s\" has no type set.\n", cls->name.c_str());
    if (is_abstract(*cls))
        if (const int failed = validate_abstract(*cls)) return failed;
    return cls->superclass_name ? validate_subclass(*cls) : 0;
}
