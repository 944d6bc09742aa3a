#include "tests/xml_differential/tree.h"

#include <libxml/parser.h>

#include "tests/xml_differential/texts.h"

namespace vesk::test {
namespace {

constexpr int parse_options =
    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_COMPACT;

struct free_context {
    void operator()(xmlParserCtxt *context) const { xmlFreeParserCtxt(context); }
};

void ignore(void *, const char *, ...) {}

/** As xmlNodeSetContent() takes it. */
std::string escaped(const std::string &text)
{
    std::string result;
    for (const char c : text)
        switch (c) {
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '&':
            result += "&amp;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\'':
            result += "&apos;";
            break;
        default:
            result += c;
        }
    return result;
}

std::string taken(xmlChar *text, int length)
{
    std::string result{reinterpret_cast<char *>(text), static_cast<size_t>(length)};
    xmlFree(text);
    return result;
}

} // namespace

tree::tree(const char *root_name) : document_{xmlNewDoc(raw("1.0"))}
{
    xmlDocSetRootElement(document_.get(), xmlNewNode(nullptr, raw(root_name)));
}

xmlNode *tree::add(xmlNode *parent, const std::string &name)
{
    return xmlAddChild(parent, xmlNewNode(nullptr, raw(name)));
}

void tree::add(xmlNode *parent, const std::string &name, std::string_view content)
{
    const std::string text = readable(content);
    if (text.size() % 2)
        xmlNewTextChild(parent, nullptr, raw(name), raw(text));
    else
        xmlNodeSetContent(add(parent, name), raw(escaped(text)));
}

void tree::set_attribute(xmlNode *element, const std::string &name, std::string_view value)
{
    xmlSetProp(element, raw(name), raw(readable(value)));
}

std::string text_of(xmlDoc *document)
{
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpMemory(document, &text, &length);
    return taken(text, length);
}

std::string indented_text_of(xmlDoc *document)
{
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpFormatMemory(document, &text, &length, 1);
    return taken(text, length);
}

tree_ptr parsed(std::string_view text)
{
    xmlSetGenericErrorFunc(nullptr, ignore); // some messages come whatever the options say
    const std::unique_ptr<xmlParserCtxt, free_context> context{xmlNewParserCtxt()};
    tree_ptr document{xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()),
                                        nullptr, nullptr, parse_options)};
    // One that was given up at a text over the limit lacks its rest, but is handed out.
    return context->disableSAX ? nullptr : std::move(document);
}

} // namespace vesk::test
