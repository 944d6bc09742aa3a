#ifndef VESK_BASE_XML_PARSER_H
#define VESK_BASE_XML_PARSER_H

#include <memory>
#include <string>

#include <libxml/parser.h>

#include "base/xml.h"

namespace vesk {

struct free_xml_parser {
    void operator()(xmlParserCtxt *parser) const { xmlFreeParserCtxt(parser); }
};
using xml_parser = std::unique_ptr<xmlParserCtxt, free_xml_parser>;

/** Throws std::bad_alloc. */
xml_parser new_xml_parser();

/** Parses a text of so many bytes that ends with a NUL; null for what is not well-formed. */
xml_doc parse_with(xmlParserCtxt &parser, const char *text, size_t length);

} // namespace vesk

#endif
