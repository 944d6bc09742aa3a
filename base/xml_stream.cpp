#include "base/xml_stream.h"

#include <cstring>
#include <exception>

#include <libxml/SAX2.h>
#include <libxml/parserInternals.h>

#include "base/xml.h"
#include "base/xml_guard.h"
#include "base/xml_limits.h"
#include "base/xml_parser.h"

// What libxml2 says while it parses is put into the form in which its tree would show it. The
// context's private pointer leads back to the reading: the library's own handlers need the rest.

namespace vesk {
namespace {

/** One reading of a document. */
struct reading {
    xml_source_text &source;
    xml_receiver &receiver;
    xml_tag_limits limits{};
    std::exception_ptr thrown{};
    bool is_limited = true;
    bool is_first_piece = true;
    bool needs_a_tree = false;
    std::string name{};      // of an element, where it is not one of the parser's own strings
    std::string attribute{}; // its value
    size_t text_length = 0;
};

reading &reading_of(void *context)
{
    return *static_cast<reading *>(static_cast<xmlParserCtxt *>(context)->_private);
}

void stop(void *context)
{
    auto *parser = static_cast<xmlParserCtxt *>(context);
    xmlStopParser(parser);
    parser->wellFormed = 0;
}

/** Hands something on; an exception must not pass through the parser. */
template <typename Action> void receive(void *context, Action &&action)
{
    reading &r = reading_of(context);
    if (r.thrown) return;
    try {
        action(r);
    } catch (...) {
        r.thrown = std::current_exception();
        stop(context);
    }
}

const char *chars(const xmlChar *text)
{
    return reinterpret_cast<const char *>(text);
}

/** A prefix that is declared nowhere stays part of the name. */
bool is_undeclared(const xmlChar *prefix, const xmlChar *uri)
{
    return prefix && !uri;
}

/** The value of an attribute as the tree would have it: a reference to "&" is left to it. */
void take_value(std::string &out, const char *begin, const char *end)
{
    constexpr std::string_view reference = "&#38;";
    std::string_view value{begin, static_cast<size_t>(end - begin)};
    out.clear();
    while (!value.empty()) {
        const size_t plain = value.find('&');
        out += value.substr(0, plain);
        if (plain == value.npos) return;
        out += '&';
        value.remove_prefix(plain);
        value.remove_prefix(value.starts_with(reference) ? reference.size() : 1);
    }
}

/** What a text in two or four bytes a character has among its first bytes. */
constexpr std::string_view not_plain{"\0\xFE\xFF", 3};

constexpr int fields = 5; // of an attribute: name, prefix, URI, value, end of the value

const char *find_name_attribute(reading &r, int count, const xmlChar **attributes)
{
    for (const xmlChar **a = attributes; count > 0; --count, a += fields) {
        if (is_undeclared(a[1], a[2]) || std::strcmp(chars(a[0]), "name") != 0) continue;
        take_value(r.attribute, chars(a[3]), chars(a[4]));
        return r.attribute.c_str();
    }
    return nullptr;
}

void on_start(void *context, const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
              int namespace_count, const xmlChar **, int attribute_count, int,
              const xmlChar **attributes)
{
    receive(context, [&](reading &r) {
        if (static_cast<unsigned>(namespace_count + attribute_count) > max_attributes)
            return stop(context);
        r.text_length = 0;
        const char *full = chars(name);
        if (is_undeclared(prefix, uri)) {
            r.name = std::string{chars(prefix)} + ":" + chars(name);
            full = r.name.c_str();
        }
        r.receiver.begin_element(full, find_name_attribute(r, attribute_count, attributes));
    });
}

void on_end(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    receive(context, [](reading &r) {
        r.text_length = 0;
        r.receiver.end_element();
    });
}

std::string_view piece_of(const xmlChar *text, int length)
{
    return {chars(text), static_cast<size_t>(length)};
}

void on_text(void *context, const xmlChar *text, int length)
{
    receive(context, [&](reading &r) {
        r.text_length += static_cast<size_t>(length);
        if (r.text_length > XML_MAX_TEXT_LENGTH) stop(context); // as for a tree
        r.receiver.text(piece_of(text, length));
    });
}

void on_cdata(void *context, const xmlChar *text, int length)
{
    receive(context, [&](reading &r) { r.receiver.cdata(piece_of(text, length)); });
}

void on_comment(void *context, const xmlChar *)
{
    receive(context, [](reading &r) {
        r.text_length = 0;
        r.receiver.other_node();
    });
}

void on_instruction(void *context, const xmlChar *, const xmlChar *)
{
    on_comment(context, nullptr);
}

void on_dtd(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    reading_of(context).needs_a_tree = true;
    stop(context);
}

int read_source(void *data, char *buffer, int size)
{
    auto &r = *static_cast<reading *>(data);
    const int length = r.source.read(buffer, size);
    if (length <= 0) return length;
    const std::string_view piece{buffer, static_cast<size_t>(length)};
    if (r.is_first_piece && piece.substr(0, 4).find_first_of(not_plain) != piece.npos) {
        r.needs_a_tree = true;
        return -1;
    }
    r.is_first_piece = false;
    if (r.is_limited) r.limits.look_at(piece);
    return r.limits.has_few_attributes() ? length : -1;
}

xmlSAXHandler handlers()
{
    xmlSAXHandler all{};
    xmlSAXVersion(&all, 2);
    all.startElementNs = on_start;
    all.endElementNs = on_end;
    all.characters = on_text;
    all.ignorableWhitespace = on_text;
    all.cdataBlock = on_cdata;
    all.comment = on_comment;
    all.processingInstruction = on_instruction;
    all.reference = on_comment;
    all.internalSubset = on_dtd;
    return all;
}

stream_end stream(reading &r)
{
    const xml_memory_watch watch;
    const xml_silence quiet;
    const xml_parser parser = new_xml_parser();
    *parser->sax = handlers();
    parser->_private = &r;
    const xml_doc document{
        xmlCtxtReadIO(parser.get(), read_source, nullptr, &r, nullptr, nullptr, xml_parse_options)};
    if (r.thrown) std::rethrow_exception(r.thrown);
    watch.check();
    if (r.needs_a_tree) return stream_end::needs_a_tree;
    return document && r.limits.has_few_attributes() ? stream_end::complete : stream_end::malformed;
}

void stream_children(const xmlNode &element, xml_receiver &receiver)
{
    for (const xmlNode *child = element.children; child; child = child->next) {
        if (is_element(child)) {
            receiver.begin_element(name_of(child), attribute_of(child, "name"));
            stream_children(*child, receiver);
            receiver.end_element();
        } else if (child->type == XML_TEXT_NODE) {
            receiver.text(text_of(child) ? text_of(child) : "");
        } else if (child->type == XML_CDATA_SECTION_NODE) {
            receiver.cdata(text_of(child) ? text_of(child) : "");
        } else {
            receiver.other_node();
        }
    }
}

} // namespace

stream_end stream_xml(xml_source_text &source, xml_receiver &receiver)
{
    reading r{source, receiver};
    return stream(r);
}

stream_end stream_own_xml(xml_source_text &source, xml_receiver &receiver)
{
    reading r{source, receiver};
    r.is_limited = false;
    return stream(r);
}

void stream_tree(const xmlDoc &document, xml_receiver &receiver)
{
    const xmlNode *root = xmlDocGetRootElement(&document);
    receiver.begin_element(name_of(root), attribute_of(root, "name"));
    stream_children(*root, receiver);
    receiver.end_element();
}

} // namespace vesk
