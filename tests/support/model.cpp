#include "tests/support/model.h"

#include <cstring>

namespace vesk::test {

int accepts_all_but_bad(const char *value)
{
    return std::strncmp(value, "bad", 3) != 0;
}

fixture::fixture()
{
    classes() = class_registry{};
    providers() = provider_registry{};
}

fixture::~fixture()
{
    classes() = class_registry{};
    providers() = provider_registry{};
}

vesk_class *fixture::add_class(const char *name, unsigned type,
                               std::initializer_list<const char *> properties, int persistence)
{
    auto &cls = *classes_.emplace_back(vesk_class_new(name));
    vesk_class_set_type(&cls, type);
    vesk_class_set_persistence(&cls, persistence);
    for (const char *property_name : properties) {
        vesk_property *property = vesk_property_new(property_name);
        vesk_property_set_is_valid_fn(property, accepts_all_but_bad);
        EXPECT_EQ(vesk_class_add_property(&cls, property), 0);
    }
    EXPECT_EQ(vesk_classes_add(&cls), 0);
    return &cls;
}

vesk_class *fixture::add_abstract(const char *name, std::initializer_list<const char *> properties,
                                  int persistence)
{
    vesk_class *cls = add_class(name, VESK_CLASS_UNIQUE_NAMED, properties, persistence);
    EXPECT_EQ(vesk_class_set_abstract(cls, 1), 0);
    EXPECT_EQ(vesk_class_set_subclass_identifier(cls, vesk_property_new("type")), 0);
    return cls;
}

vesk_class *fixture::add_subclass(const char *name, const char *superclass,
                                  std::initializer_list<const char *> properties, int persistence)
{
    vesk_class *cls = add_class(name, VESK_CLASS_UNIQUE_NAMED, properties, persistence);
    EXPECT_EQ(vesk_class_set_superclass(cls, superclass), 0);
    return cls;
}

void fixture::freeze()
{
    EXPECT_EQ(vesk_classes_done_adding(), 0) << log_.take();
}

instance_ptr fixture::make(const char *class_name, const char *name,
                           std::initializer_list<std::pair<const char *, const char *>> values)
{
    instance_ptr instance{vesk_instance_new(vesk_classes_get(class_name), name)};
    EXPECT_TRUE(instance) << log_.take();
    for (auto [property, value] : values)
        EXPECT_EQ(vesk_instance_set_value(instance.get(), property, value), 0) << log_.take();
    return instance;
}

std::string names_of(vesk_instances_iterator *iterator)
{
    std::string names;
    while (iterator && vesk_instances_iterator_has_next(iterator)) {
        const char *name = vesk_instance_get_name(vesk_instances_iterator_next(iterator));
        if (!names.empty()) names += ' ';
        names += name ? name : "-";
    }
    if (iterator) vesk_instances_delete_iterator(iterator);
    return names;
}

} // namespace vesk::test
