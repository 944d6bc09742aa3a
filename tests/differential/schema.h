#ifndef VESK_TESTS_DIFFERENTIAL_SCHEMA_H
#define VESK_TESTS_DIFFERENTIAL_SCHEMA_H

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "vesk/class.h"

// The classes that both sides know: the daemon's are made from this table, the reference reads it.

namespace vesk::test::differential {

struct property_info {
    const char *name;
    bool writable = true;
    bool required = false;
    bool persistent = true;
    bool asks_instance = false; // has a validator that sees the instance
};

struct class_info {
    const char *name = "";
    unsigned type = 0;
    bool persistent = true;
    std::vector<property_info>
        properties{}; // its own; of an abstract class the identifier comes last
    bool abstract = false;
    const class_info *superclass = nullptr;
    std::vector<const class_info *> subclasses{};
    std::vector<const property_info *> all_properties{}; // the superclass's come first
    std::vector<const class_info *> concrete{};          // itself, or its subclasses

    bool is_named() const { return type >= VESK_CLASS_UNIQUE_NAMED; }
};

using class_table = std::vector<class_info>;

inline class_table make_classes()
{
    class_table all{
        {"system", VESK_CLASS_SINGLETON, true, {{"host"}, {"serial", false}}},
        {"clock", VESK_CLASS_SINGLETON, false, {{"zone", true, false, false}}},
        {"route", VESK_CLASS_ANONYMOUS, true, {{"to"}, {"via"}}},
        {"user",
         VESK_CLASS_UNIQUE_NAMED,
         true,
         {{"login", true, false, true, true}, {"note", true, false, false}}},
        {"port", VESK_CLASS_UNIQUE_NAMED, true, {{"mtu"}, {"type", false, true}}, true},
        {"wired", VESK_CLASS_UNIQUE_NAMED, true, {{"speed", true, true}}},
        {"radio", VESK_CLASS_UNIQUE_NAMED, true, {{"band"}, {"ssid", true, false, true, true}}},
        {"rule", VESK_CLASS_GROUP_NAMED, true, {{"match"}, {"action"}}},
    };
    class_info *port = &all[4];
    for (class_info *subclass : {&all[5], &all[6]}) {
        subclass->superclass = port;
        port->subclasses.push_back(subclass);
    }
    for (class_info &cls : all) {
        cls.concrete = cls.abstract ? cls.subclasses : std::vector<const class_info *>{&cls};
        for (const class_info *from :
             std::initializer_list<const class_info *>{cls.superclass, &cls})
            if (from)
                for (const property_info &property : from->properties)
                    cls.all_properties.push_back(&property);
    }
    return all;
}

/** In the order in which they are registered. */
inline const class_table &classes_of_device()
{
    static const class_table all = make_classes();
    return all;
}

inline const class_info *find_class(const std::string &name)
{
    for (const class_info &cls : classes_of_device())
        if (name == cls.name) return &cls;
    return nullptr;
}

inline const property_info *find_property(const class_info &cls, const char *name)
{
    for (const property_info *property : cls.all_properties)
        if (std::strcmp(property->name, name) == 0) return property;
    return nullptr;
}

/** What the validators of the properties accept. */
inline bool is_acceptable(const char *value)
{
    return std::strncmp(value, "bad", 3) != 0;
}
inline bool is_acceptable_to_instance(const char *value)
{
    return std::strcmp(value, "odd") != 0;
}

} // namespace vesk::test::differential

#endif
