#ifndef VESK_BASE_XML_H
#define VESK_BASE_XML_H

#include <memory>
#include <string>
#include <string_view>

#include <libxml/tree.h>

namespace vesk {

struct free_xml_doc {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
using xml_doc = std::unique_ptr<xmlDoc, free_xml_doc>;

/** Where a text comes from. A client's may be hostile: no DTD, no unusual encoding, few namespaces.
 */
enum class xml_source { file, client };

/** More attributes than this in one tag are refused: libxml2 compares them pairwise. */
constexpr unsigned max_attributes = 64;

/** More namespace declarations than this are refused from a client: each name is looked up in all.
 */
constexpr unsigned max_namespaces = 64;

/**
 * Parses a document: without network, without replacing entities, without libxml2's own messages
 * and within its ordinary limits. Null for what is not well-formed or over a limit. Throws
 * std::bad_alloc whenever an allocation failed on the way: libxml2 itself does not always say so.
 */
xml_doc parse_xml(const std::string &text, xml_source source);

/** Whether a client's text is within the limits below; parse_xml() refuses any other. */
bool is_within_limits(std::string_view text);

/** parse_xml() of a client's text that is within the limits, in a parser kept for the purpose. */
xml_doc parse_request(const char *text);
void drop_kept_parser();

/** Whether no tag of the text has more than max_attributes attributes. */
bool has_few_attributes(std::string_view text);

/** Whether the text is in an encoding whose "<" is a "<": others would hide from the checks above.
 */
bool has_plain_encoding(std::string_view text);

/** The content of node when it is a text or CDATA node, else null. */
const char *text_of(const xmlNode *node);

/** The text of an element: that of its first child when it is text, else null. */
const char *content_of(const xmlNode *element);

/** The value of an element's attribute, "" for an empty one, null when there is none. */
const char *attribute_of(const xmlNode *element, const char *name);

/** The name of a node; CDATA has none in the tree and is called "#cdata-section". */
const char *name_of(const xmlNode *node);

bool is_element(const xmlNode *node);

} // namespace vesk

#endif
