#include "base/xml.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <strings.h>

#include <libxml/dict.h>
#include <libxml/parser.h>

#include "base/never_destroyed.h"
#include "base/xml_guard.h"
#include "base/xml_limits.h"

namespace vesk {
namespace {

constexpr unsigned replacement_character = 0xFFFD;

void refuse_dtd(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    auto *parser = static_cast<xmlParserCtxt *>(context);
    xmlStopParser(parser);
    parser->wellFormed = 0; // a stopped parser would still hand out what it has
}

struct free_context {
    void operator()(xmlParserCtxt *context) const { xmlFreeParserCtxt(context); }
};
using parser_context = std::unique_ptr<xmlParserCtxt, free_context>;

parser_context new_context(xml_source source)
{
    parser_context context{xmlNewParserCtxt()};
    if (!context) throw std::bad_alloc{};
    if (source == xml_source::client) context->sax->internalSubset = refuse_dtd;
    return context;
}

xml_doc read_with(xmlParserCtxt &context, std::string_view text)
{
    if (text.empty() || text.size() > INT_MAX) return nullptr;
    const xml_memory_watch watch;
    const xml_silence quiet;
    xml_doc document{xmlCtxtReadMemory(&context, text.data(), static_cast<int>(text.size()),
                                       nullptr, nullptr, xml_parse_options)};
    watch.check();
    // It gives up at a text that is too long, and calls what it has by then well-formed.
    if (context.disableSAX) document.reset();
    return document;
}

parser_context &kept_context()
{
    static never_destroyed<parser_context> context;
    return *context;
}

/** The names that clients use are kept with the parser. More than this are not from honest ones. */
constexpr size_t max_kept_names = size_t{64} * 1024;

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

/** What a byte stands for itself in: element text, attribute values. */
enum plain_in : unsigned char { plain_in_text = 1, plain_in_attribute = 2 };

constexpr std::array<unsigned char, 256> plain_bytes = [] {
    std::array<unsigned char, 256> table{};
    for (size_t byte = 0x20; byte < 0x80; ++byte)
        table[byte] = plain_in_text | plain_in_attribute;
    table['\t'] = table['\n'] = table['"'] = plain_in_text;
    table['<'] = table['>'] = table['&'] = 0;
    return table;
}();

/** How many bytes from the front on stand for themselves. */
size_t plain_length(std::string_view text, plain_in where)
{
    size_t length = 0;
    while (length < text.size() && plain_bytes[static_cast<unsigned char>(text[length])] & where)
        ++length;
    return length;
}

/** What the two kinds of text share; special gives what stands for a character below 0x80. */
template <typename Special>
bool append_escaped(std::string &out, std::string_view value, plain_in where, Special &&special)
{
    bool replaced = false;
    for (;;) {
        const size_t plain = plain_length(value, where);
        out.append(value, 0, plain);
        value.remove_prefix(plain);
        if (value.empty()) return replaced;
        const auto [character, length, valid] = decode(value, 0);
        if (character >= 0x80)
            append_reference(out, character);
        else
            out += special(character);
        replaced |= !valid;
        value.remove_prefix(length);
    }
}

/** Calls visit(piece) for what value reads back as, until it gives false: then false. */
template <typename Visit> bool for_each_readable(std::string_view value, Visit &&visit)
{
    while (!value.empty()) {
        size_t length = plain_length(value, plain_in_attribute);
        std::string_view piece = value.substr(0, length);
        if (length == 0) {
            const decoded next = decode(value, 0);
            length = next.length;
            piece = next.valid ? value.substr(0, length) : "\xEF\xBF\xBD";
        }
        if (!visit(piece)) return false;
        value.remove_prefix(length);
    }
    return true;
}

} // namespace

bool has_few_attributes(std::string_view text)
{
    xml_tag_limits limits;
    limits.look_at(text);
    return limits.has_few_attributes();
}

bool has_few_namespaces(std::string_view text)
{
    xml_tag_limits limits;
    limits.look_at(text);
    return limits.has_few_namespaces();
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
    xml_tag_limits limits;
    limits.look_at(text);
    return limits.has_few_attributes() && limits.has_few_namespaces() && has_plain_encoding(text);
}

xml_doc parse_xml(std::string_view text, xml_source source)
{
    const bool is_fit =
        source == xml_source::client ? is_within_limits(text) : has_few_attributes(text);
    return is_fit ? read_with(*new_context(source), text) : nullptr;
}

xml_doc parse_request(std::string_view text)
{
    parser_context context = std::move(kept_context()); // gone if memory runs out in it
    if (!context) context = new_context(xml_source::client);
    xml_doc document = read_with(*context, text);
    if (xmlDictGetUsage(context->dict) <= max_kept_names) kept_context() = std::move(context);
    return document;
}

void drop_kept_parser()
{
    kept_context().reset();
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
    return append_escaped(out, value, plain_in_text, [](unsigned character) {
        switch (character) {
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '&':
            return "&amp;";
        default: // nothing else is not plain
            return "&#xD;";
        }
    });
}

bool append_attribute(std::string &out, std::string_view value)
{
    return append_escaped(out, value, plain_in_attribute, [](unsigned character) {
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
        default: // nothing else is not plain
            return "&#9;";
        }
    });
}

bool reads_back_as(std::string_view value, std::string_view text)
{
    const bool same = for_each_readable(value, [&](std::string_view piece) {
        if (!text.starts_with(piece)) return false;
        text.remove_prefix(piece.size());
        return true;
    });
    return same && text.empty();
}

std::string readable_back(std::string_view value)
{
    std::string text;
    for_each_readable(value, [&](std::string_view piece) {
        text += piece;
        return true;
    });
    return text;
}

} // namespace vesk
