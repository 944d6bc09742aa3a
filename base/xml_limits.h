#ifndef VESK_BASE_XML_LIMITS_H
#define VESK_BASE_XML_LIMITS_H

#include <string_view>

namespace vesk {

/** Counts attributes and namespaces in a text that comes piece by piece, before the parser sees it.
 */
class xml_tag_limits {
  public:
    void look_at(std::string_view piece);

    bool has_few_attributes() const;
    bool has_few_namespaces() const;

  private:
    enum class within { text, opening, declaration, tag, quotes, comment, cdata, instruction };

    void open(char c);
    size_t skip_in_tag(std::string_view piece, size_t at) const;
    void go_on_in_tag(char c);
    void go_on_in_declaration(char c);
    void leave_after(char c, char closing, unsigned needed);

    within state_ = within::text;
    char quote_ = 0;
    unsigned matched_ = 0; // of what begins or ends the markup that it is in
    unsigned in_tag_ = 0;  // attributes of this tag
    unsigned most_ = 0;    // attributes of any tag
    unsigned namespaces_ = 0;
};

} // namespace vesk

#endif
