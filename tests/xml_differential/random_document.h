#ifndef VESK_TESTS_XML_DIFFERENTIAL_RANDOM_DOCUMENT_H
#define VESK_TESTS_XML_DIFFERENTIAL_RANDOM_DOCUMENT_H

#include <string>
#include <vector>

#include "tests/xml_differential/dice.h"
#include "tests/xml_differential/encodings.h"
#include "tests/xml_differential/house.h"
#include "tests/xml_differential/markup.h"

namespace vesk::test {

/**
 * Writes a configuration document in all the ways in which one can be written: it need neither be
 * sensible nor, now and then, well-formed.
 */
class random_document {
  public:
    random_document(dice &die, encoding in);

    /** In UTF-8, whatever it says of itself; of a few instances, or of so many. */
    std::string text() { return text(die_.below(die_.percent(4) ? 30 : 7)); }
    std::string text(unsigned instances);

  private:
    void write_declaration();
    void write_beside_root();
    void write_root(unsigned instances);
    void write_something();

    void write_instance(const std::string &element, const class_spec &spec);
    void write_known_instance();
    void write_unknown_instance();
    void write_child(const class_spec &spec);
    void write_identifier(const class_spec &spec);

    void write_property(const std::string &name, const std::string &value);
    void write_content(const std::string &value);
    void write_mixed_content(const std::string &value);
    void write_nested();

    /** What may stand between elements and is none: mostly spaces. */
    void write_between();
    void write_noise();

    void open_tag(const std::string &name, std::vector<std::string> attributes, const char *end);
    void close_tag(const std::string &name);
    std::string name_attribute(const class_spec &spec);
    void add_other_attributes(std::vector<std::string> &attributes);
    std::vector<std::string> attributes_of(const class_spec &spec);

    std::string value_for(const property_spec &property);
    std::string prefixed(const std::string &name);

    dice &die_;
    encoding encoding_;
    bool careless_;
    markup out_;
    bool has_namespaces_;
    unsigned noise_; // percent
    std::string newline_;
};

} // namespace vesk::test

#endif
