#include "base/xml_parser.h"

#include <climits>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include <libxml/parserInternals.h>

#include "base/xml_guard.h"

namespace vesk {
namespace {

/**
 * Whether the parser may read the text where it is. Otherwise it copies it, and at every few bytes
 * makes room behind the copy for more that never comes, which is dearer than the parsing. A text in
 * another encoding than UTF-8 it has to copy, to convert it.
 */
bool is_read_in_place(std::string_view text)
{
    if (text[0] != '<' || text.find('\0') != text.npos) return false;
    const bool is_declared = text.starts_with("<?xml");
    return !is_declared || text.substr(0, text.find("?>")).find("encoding") == text.npos;
}

/** Whether the parser is to ask for more text at every tag. */
void ask_for_more(xmlParserCtxt &parser, bool asks)
{
#if LIBXML_VERSION < 21100 // later ones ask only at the end
    parser.progressive = !asks;
#else
    static_cast<void>(parser);
    static_cast<void>(asks);
#endif
}

xml_doc parse_in_place(xmlParserCtxt &parser, const char *text)
{
    xmlCtxtReset(&parser);
    xmlCtxtUseOptions(&parser, xml_parse_options);
    xmlParserInput *input =
        xmlNewStringInputStream(&parser, reinterpret_cast<const xmlChar *>(text));
    if (!input || inputPush(&parser, input) < 0) throw std::bad_alloc{};
    ask_for_more(parser, false); // there is none
    xmlParseDocument(&parser);
    ask_for_more(parser, true);
    xmlFreeInputStream(inputPop(&parser)); // the text may go
    xml_doc document{std::exchange(parser.myDoc, nullptr)};
    if (!parser.wellFormed) document.reset();
    return document;
}

} // namespace

xml_parser new_xml_parser()
{
    const xml_silence quiet;
    xml_parser parser{xmlNewParserCtxt()};
    if (!parser) throw std::bad_alloc{};
    return parser;
}

xml_doc parse_with(xmlParserCtxt &parser, const char *text, size_t length)
{
    if (length == 0 || length > INT_MAX) return nullptr;
    if (is_read_in_place({text, length})) return parse_in_place(parser, text);
    return xml_doc{xmlCtxtReadMemory(&parser, text, static_cast<int>(length), nullptr, nullptr,
                                     xml_parse_options)};
}

} // namespace vesk
