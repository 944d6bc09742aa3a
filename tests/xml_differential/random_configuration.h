#ifndef VESK_TESTS_XML_DIFFERENTIAL_RANDOM_CONFIGURATION_H
#define VESK_TESTS_XML_DIFFERENTIAL_RANDOM_CONFIGURATION_H

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/xml_differential/dice.h"
#include "tests/xml_differential/house.h"
#include "tests/xml_differential/tree.h"

namespace vesk::test {

/** A collection of valid instances, and what was put into it as the test remembers it. */
class random_configuration {
  public:
    explicit random_configuration(dice &die);

    const vesk_instances &all() const { return *all_; }
    vesk_instances *release() { return all_.release(); }

    /** The document that libxml2 would build to save it. */
    tree saved() const;

    /** What running is like once it was saved and loaded. */
    full_instances_ptr loaded_back() const;

  private:
    using values = std::vector<std::pair<std::string, std::string>>; // in the order of setting
    struct memory {
        const class_spec *spec;
        std::optional<std::string> name;
        values set;
    };

    void add(dice &die, const class_spec &spec);
    void set(vesk_instance &instance, values &remembered, const char *property,
             const std::string &value);
    template <typename Visit> void for_each_saved(Visit &&visit) const;
    bool is_saved(const class_spec &spec, const std::string &property) const;

    full_instances_ptr all_{vesk_instances_new()};
    std::map<const vesk_instance *, memory> memories_;
};

} // namespace vesk::test

#endif
