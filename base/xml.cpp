#include "base/xml.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <strings.h>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlmemory.h>

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

/**
 * What libxml2 says about exhausted memory goes to the generic handler whatever the options say.
 * That may be a plug-in's own: it comes back afterwards.
 */
class silence {
  public:
    silence() { xmlSetGenericErrorFunc(nullptr, ignore_error); }
    ~silence() { xmlSetGenericErrorFunc(data_, handler_); }
    silence(const silence &) = delete;
    silence &operator=(const silence &) = delete;

  private:
    xmlGenericErrorFunc handler_ = xmlGenericError;
    void *data_ = xmlGenericErrorContext;
};

// libxml2 loses some allocation failures: the document then lacks a text. So its allocator is
// watched.
bool allocation_failed = false;

template <typename Pointer> Pointer noted(Pointer block)
{
    if (!block) allocation_failed = true;
    return block;
}

void *watched_malloc(size_t size)
{
    return noted(std::malloc(size));
}

void *watched_realloc(void *block, size_t size)
{
    return noted(std::realloc(block, size));
}

char *watched_strdup(const char *text)
{
    return noted(strdup(text));
}

/** Notes every allocation of libxml2 that fails while it lives. */
class watch_memory {
  public:
    watch_memory()
    {
        xmlFreeFunc free_used;
        xmlMallocFunc malloc_used;
        xmlReallocFunc realloc_used;
        xmlStrdupFunc strdup_used;
        xmlMemGet(&free_used, &malloc_used, &realloc_used, &strdup_used);
        if (malloc_used != watched_malloc)
            xmlMemSetup(std::free, watched_malloc, watched_realloc, watched_strdup);
        allocation_failed = false;
    }

    void check() const
    {
        if (allocation_failed) throw std::bad_alloc{};
    }
};

struct free_context {
    void operator()(xmlParserCtxt *context) const { xmlFreeParserCtxt(context); }
};

/** Where the markup that begins at text[at] with opening ends, behind its closing. */
size_t behind(std::string_view text, size_t at, std::string_view closing)
{
    const size_t end = text.find(closing, at);
    return end == text.npos ? text.size() : end + closing.size();
}

/** What is counted in a tag before the parser sees it. */
struct tag {
    unsigned attributes = 0;
    unsigned namespaces = 0;
};

/** Reads the tag whose "<" stands at text[at], and goes behind it. */
tag read_tag(std::string_view text, size_t &at)
{
    tag seen;
    for (++at; at < text.size() && text[at] != '>'; ++at) {
        if (text[at] == '"' || text[at] == '\'') {
            ++seen.attributes;
            at = text.find(text[at], at + 1);
            if (at == text.npos) break; // not well-formed: the parser says so
        } else if (text.substr(at).starts_with("xmlns")) {
            ++seen.namespaces;
        }
    }
    return seen;
}

/** Calls accept(tag) for every tag until it gives false: then false. */
template <typename Accept> bool for_each_tag(std::string_view text, Accept &&accept)
{
    for (size_t at = text.find('<'); at < text.size(); at = text.find('<', at)) {
        const std::string_view rest = text.substr(at);
        if (rest.starts_with("<!--"))
            at = behind(text, at + 4, "-->");
        else if (rest.starts_with("<![CDATA["))
            at = behind(text, at + 9, "]]>");
        else if (rest.starts_with("<?"))
            at = behind(text, at + 2, "?>");
        else if (!accept(read_tag(text, at)))
            return false;
        if (at == text.npos) break;
    }
    return true;
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
    return for_each_tag(text, [](const tag &seen) { return seen.attributes <= max_attributes; });
}

bool has_few_namespaces(std::string_view text)
{
    unsigned declared = 0;
    return for_each_tag(text, [&](const tag &seen) {
        declared += seen.namespaces;
        return declared <= max_namespaces;
    });
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
    return has_plain_encoding(text) && has_few_attributes(text) && has_few_namespaces(text);
}

xml_doc parse_xml(std::string_view text, xml_source source)
{
    const bool is_strict = source == xml_source::client;
    if (text.empty() || text.size() > INT_MAX) return nullptr;
    if (is_strict ? !is_within_limits(text) : !has_few_attributes(text)) return nullptr;
    const watch_memory watch;
    const silence quiet;
    const std::unique_ptr<xmlParserCtxt, free_context> context{xmlNewParserCtxt()};
    if (!context) throw std::bad_alloc{};
    if (is_strict) context->sax->internalSubset = refuse_dtd;
    xml_doc document{xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()),
                                       nullptr, nullptr, parse_options)};
    watch.check();
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
