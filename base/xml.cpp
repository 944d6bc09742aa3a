#include "base/xml.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

namespace vesk {
namespace {

constexpr int parse_options =
    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_COMPACT;

constexpr unsigned replacement_character = 0xFFFD;

void refuse_dtd(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    auto *parser = static_cast<xmlParserCtxt *>(context);
    xmlStopParser(parser);
    parser->wellFormed = 0; // a stopped parser would still hand out what it has
}

void ignore_error(void *, const char *, ...) {}

struct free_context {
    void operator()(xmlParserCtxt *context) const { xmlFreeParserCtxt(context); }
};

/** Where the markup that begins at text[at] with opening ends, behind its closing. */
size_t behind(std::string_view text, size_t at, std::string_view closing)
{
    const size_t end = text.find(closing, at);
    return end == text.npos ? text.size() : end + closing.size();
}

bool is_xml_character(unsigned character)
{
    return character == '\t' || character == '\n' || character == '\r' ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) ||
           (character >= 0x10000 && character <= 0x10FFFF);
}

struct decoded {
    unsigned character; // replacement_character for what is no UTF-8
    size_t length;
    bool valid;
};

decoded decode(std::string_view text, size_t at)
{
    constexpr unsigned smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    constexpr decoded bad{replacement_character, 1, false};
    const auto lead = static_cast<unsigned char>(text[at]);
    size_t length = 1;
    unsigned character = lead;
    if (lead >= 0x80) {
        length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        if (lead < 0xC0 || lead > 0xF4 || at + length > text.size()) return bad;
        character = lead & (0x7Fu >> length);
        for (size_t i = 1; i < length; ++i) {
            const auto byte = static_cast<unsigned char>(text[at + i]);
            if ((byte & 0xC0) != 0x80) return bad;
            character = character << 6 | (byte & 0x3F);
        }
        if (character < smallest[length]) return bad;
    }
    if (!is_xml_character(character)) return {replacement_character, length, false};
    return {character, length, true};
}

void append_reference(std::string &out, unsigned character)
{
    char buffer[16];
    out.append(buffer,
               static_cast<size_t>(std::snprintf(buffer, sizeof buffer, "&#x%X;", character)));
}

/** What the two kinds of text share; plain says which characters below 0x80 stand for themselves.
 */
template <typename Special>
bool append_escaped(std::string &out, std::string_view value, Special &&special)
{
    bool replaced = false;
    for (size_t at = 0; at < value.size();) {
        const auto [character, length, valid] = decode(value, at);
        if (character >= 0x80)
            append_reference(out, character);
        else if (const char *escaped = special(character))
            out += escaped;
        else
            out += static_cast<char>(character);
        replaced |= !valid;
        at += length;
    }
    return replaced;
}

} // namespace

bool has_few_attributes(std::string_view text)
{
    for (size_t at = text.find('<'); at < text.size(); at = text.find('<', at)) {
        const std::string_view rest = text.substr(at);
        if (rest.starts_with("<!--")) {
            at = behind(text, at + 4, "-->");
        } else if (rest.starts_with("<![CDATA[")) {
            at = behind(text, at + 9, "]]>");
        } else if (rest.starts_with("<?")) {
            at = behind(text, at + 2, "?>");
        } else {
            unsigned attributes = 0;
            for (++at; at < text.size() && text[at] != '>'; ++at) {
                if (text[at] != '"' && text[at] != '\'') continue;
                if (++attributes > max_attributes) return false;
                at = text.find(text[at], at + 1);
                if (at == text.npos) return true; // not well-formed: the parser says so
            }
        }
    }
    return true;
}

xml_doc parse_xml(std::string_view text, dtd policy)
{
    if (text.empty() || text.size() > INT_MAX || !has_few_attributes(text)) return nullptr;
    const std::unique_ptr<xmlParserCtxt, free_context> context{xmlNewParserCtxt()};
    if (!context) throw std::bad_alloc{};
    if (policy == dtd::refuse) context->sax->internalSubset = refuse_dtd;
    // What libxml2 says about exhausted memory goes to the generic handler whatever the options
    // say.
    xmlSetGenericErrorFunc(nullptr, ignore_error);
    xml_doc document{xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()),
                                       nullptr, nullptr, parse_options)};
    if (context->errNo == XML_ERR_NO_MEMORY) throw std::bad_alloc{};
    return document;
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
        if (xmlStrEqual(attribute->name, reinterpret_cast<const xmlChar *>(name))) {
            const char *text = text_of(attribute->children);
            return text ? text : "";
        }
    return nullptr;
}

const char *name_of(const xmlNode *node)
{
    return node->name ? reinterpret_cast<const char *>(node->name) : "#cdata-section";
}

bool append_text(std::string &out, std::string_view value)
{
    return append_escaped(out, value, [](unsigned character) -> const char * {
        switch (character) {
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '&':
            return "&amp;";
        case '\r':
            return "&#xD;";
        default:
            return nullptr;
        }
    });
}

bool append_attribute(std::string &out, std::string_view value)
{
    return append_escaped(out, value, [](unsigned character) -> const char * {
        switch (character) {
        case '"':
            return "&quot;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '&':
            return "&amp;";
        case '\n':
            return "&#10;";
        case '\r':
            return "&#13;";
        case '\t':
            return "&#9;";
        default:
            return nullptr;
        }
    });
}

std::string readable_back(std::string_view value)
{
    std::string text;
    for (size_t at = 0; at < value.size();) {
        const auto [character, length, valid] = decode(value, at);
        if (valid)
            text += value.substr(at, length);
        else
            text += "\xEF\xBF\xBD";
        at += length;
    }
    return text;
}

} // namespace vesk
