#include "base/xml.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <strings.h>

#include <libxml/dict.h>

#include "base/never_destroyed.h"
#include "base/xml_guard.h"
#include "base/xml_limits.h"
#include "base/xml_parser.h"

namespace vesk {
namespace {

void refuse_dtd(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    auto *parser = static_cast<xmlParserCtxt *>(context);
    xmlStopParser(parser);
    parser->wellFormed = 0; // a stopped parser would still hand out what it has
}

xml_parser new_parser(xml_source source)
{
    xml_parser parser = new_xml_parser();
    if (source == xml_source::client) parser->sax->internalSubset = refuse_dtd;
    return parser;
}

xml_doc read_with(xmlParserCtxt &parser, const char *text, size_t length)
{
    const xml_memory_watch watch;
    const xml_silence quiet;
    xml_doc document = parse_with(parser, text, length);
    watch.check();
    // It gives up at a text that is too long, and calls what it has by then well-formed.
    if (parser.disableSAX) document.reset();
    return document;
}

xml_parser &kept_parser()
{
    static never_destroyed<xml_parser> parser;
    return *parser;
}

/** The names that clients use are kept with the parser. More than this are not from honest ones. */
constexpr size_t max_kept_names = size_t{64} * 1024;

} // namespace

bool has_few_attributes(std::string_view text)
{
    xml_tag_limits limits;
    limits.look_at(text);
    return limits.has_few_attributes();
}

bool has_plain_encoding(std::string_view text)
{
    constexpr std::string_view plain[] = {"utf-8", "us-ascii", "ascii", "iso-8859-"};
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    const size_t start = text.find_first_not_of(" \t\r\n");
    if (start == text.npos) return true;
    if (text[start] != '<') return !text.starts_with("\x4C\x6F\xA7\x94"); // EBCDIC
    if (!text.starts_with("<?xml")) return true;
    const std::string_view declaration = text.substr(0, text.find("?>"));
    const size_t named = declaration.find("encoding");
    if (named == declaration.npos) return true;
    const size_t quote = declaration.find_first_of("\"'", named);
    if (quote == declaration.npos) return true; // not well-formed: the parser says so
    const char *encoding = text.data() + quote + 1;
    return std::any_of(std::begin(plain), std::end(plain), [&](std::string_view name) {
        return text.size() - quote - 1 > name.size() &&
               strncasecmp(encoding, name.data(), name.size()) == 0;
    });
}

bool is_within_limits(std::string_view text)
{
    // Most texts are shorter than so many attributes, and have fewer quotes.
    constexpr std::string_view shortest = " a=''";
    const auto is_quote = [](char c) { return c == '"' || c == '\''; };
    static_assert(max_attributes <= max_namespaces);
    constexpr std::ptrdiff_t few_quotes = max_attributes;
    if (text.size() > shortest.size() * max_attributes &&
        std::count_if(text.begin(), text.end(), is_quote) > few_quotes) {
        xml_tag_limits limits;
        limits.look_at(text);
        if (!limits.has_few_attributes() || !limits.has_few_namespaces()) return false;
    }
    return has_plain_encoding(text);
}

xml_doc parse_xml(const std::string &text, xml_source source)
{
    const bool is_fit =
        source == xml_source::client ? is_within_limits(text) : has_few_attributes(text);
    return is_fit ? read_with(*new_parser(source), text.c_str(), text.size()) : nullptr;
}

xml_doc parse_request(const char *text)
{
    xml_parser parser = std::move(kept_parser()); // gone if memory runs out in it
    if (!parser) parser = new_parser(xml_source::client);
    xml_doc document = read_with(*parser, text, std::strlen(text));
    if (xmlDictGetUsage(parser->dict) <= max_kept_names) kept_parser() = std::move(parser);
    return document;
}

void drop_kept_parser()
{
    kept_parser().reset();
}

bool is_element(const xmlNode *node)
{
    return node && node->type == XML_ELEMENT_NODE;
}

const char *text_of(const xmlNode *node)
{
    if (!node || (node->type != XML_TEXT_NODE && node->type != XML_CDATA_SECTION_NODE))
        return nullptr;
    return reinterpret_cast<const char *>(node->content);
}

const char *content_of(const xmlNode *element)
{
    return is_element(element) ? text_of(element->children) : nullptr;
}

const char *attribute_of(const xmlNode *element, const char *name)
{
    if (!is_element(element)) return nullptr;
    for (const xmlAttr *attribute = element->properties; attribute; attribute = attribute->next)
        if (std::strcmp(reinterpret_cast<const char *>(attribute->name), name) == 0) {
            const char *text = text_of(attribute->children);
            return text ? text : "";
        }
    return nullptr;
}

const char *name_of(const xmlNode *node)
{
    return node->name ? reinterpret_cast<const char *>(node->name) : "#cdata-section";
}

} // namespace vesk
