#ifndef VESK_TESTS_XML_DIFFERENTIAL_TREE_H
#define VESK_TESTS_XML_DIFFERENTIAL_TREE_H

#include <memory>
#include <string>
#include <string_view>

#include <libxml/tree.h>

namespace vesk::test {

struct free_tree {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
using tree_ptr = std::unique_ptr<xmlDoc, free_tree>;

inline const xmlChar *raw(const std::string &text)
{
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

/** A text of the tree, "" for none. */
inline std::string plain(const xmlChar *text)
{
    return text ? reinterpret_cast<const char *>(text) : "";
}

/** A document that libxml2 builds and writes. What XML cannot hold is replaced by the test. */
class tree {
  public:
    explicit tree(const char *root_name);

    xmlNode *root() const { return xmlDocGetRootElement(document_.get()); }
    xmlDoc *document() const { return document_.get(); }

    static xmlNode *add(xmlNode *parent, const std::string &name);

    /** With escaped content that libxml2 reads, or as a text that it escapes: the same. */
    static void add(xmlNode *parent, const std::string &name, std::string_view content);

    static void set_attribute(xmlNode *element, const std::string &name, std::string_view value);

  private:
    tree_ptr document_;
};

/** The text of a document, as xmlDocDumpMemory() writes it, and indented. */
std::string text_of(xmlDoc *document);
std::string indented_text_of(xmlDoc *document);

/** Parses as the daemon does; null for what is not well-formed. */
tree_ptr parsed(std::string_view text);

} // namespace vesk::test

#endif
