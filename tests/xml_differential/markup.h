#ifndef VESK_TESTS_XML_DIFFERENTIAL_MARKUP_H
#define VESK_TESTS_XML_DIFFERENTIAL_MARKUP_H

#include <string>
#include <string_view>
#include <vector>

#include "tests/xml_differential/dice.h"

namespace vesk::test {

/** Writes the small things of which a document consists, each in one of the ways there are. */
class markup {
  public:
    /** What is written carelessly is now and then not well-formed. */
    markup(dice &die, unsigned largest_character, bool careless)
        : die_{die}, largest_{largest_character}, careless_{careless}
    {
    }

    void append(std::string_view text) { out_ += text; }
    std::string &text() { return out_; }

    /** Characters that the document can hold. */
    std::string characters();

    /** A text; some of its characters as references. */
    void write_text(std::string_view value);
    void write_cdata(std::string_view value);
    void write_comment();
    void write_instruction();
    void write_space();

    /** A document type with entities, lists of attributes, and more. From then on they are used. */
    void write_doctype();
    bool has_doctype() const { return has_doctype_; }

    /** A reference to an entity that the document type declares. */
    std::string entity_reference();

    /** ="value", some of its characters as references. */
    std::string quoted(std::string_view value);

  private:
    std::string in_text(char c);
    std::string in_attribute(char c, char quote);
    std::string numeric_reference(unsigned character);
    std::string one_of_entities(size_t harmless);

    dice &die_;
    unsigned largest_;
    bool careless_;
    std::string out_;
    bool has_doctype_ = false;
};

} // namespace vesk::test

#endif
