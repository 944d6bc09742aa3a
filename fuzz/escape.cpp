#include <cstring>

#include "base/xml.h"
#include "base/xml_text.h"
#include "fuzz/target.h"

// Text as the daemon writes it and as libxml2 does, byte for byte, and what it reads back as.

namespace {

std::string dumped(xmlDoc &document)
{
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpMemory(&document, &text, &length);
    const std::string result{reinterpret_cast<char *>(text), static_cast<size_t>(length)};
    xmlFree(text);
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // libxml2 is given what it can hold: readable text, up to its NUL.
    const std::string value = vesk::readable_back(vesk::fuzz::text_of(data, size));
    const auto *raw = reinterpret_cast<const xmlChar *>(value.c_str());
    const vesk::xml_doc document{xmlNewDoc(reinterpret_cast<const xmlChar *>("1.0"))};
    xmlNode *root =
        xmlNewDocNode(document.get(), nullptr, reinterpret_cast<const xmlChar *>("a"), nullptr);
    xmlDocSetRootElement(document.get(), root);
    xmlSetProp(root, reinterpret_cast<const xmlChar *>("b"), raw);
    xmlAddChild(root, xmlNewText(raw));
    std::string expected = "<?xml version=\"1.0\"?>\n<a b=\"";
    vesk::fuzz::require(!vesk::append_attribute(expected, value), "it can be an attribute");
    expected += "\">";
    vesk::fuzz::require(!vesk::append_text(expected, value), "it can be a text");
    expected += "</a>\n";
    vesk::fuzz::require(dumped(*document) == expected, "libxml2 writes the same");
    const vesk::xml_doc back = vesk::parse_xml(expected, vesk::xml_source::client);
    const xmlNode *element = back ? xmlDocGetRootElement(back.get()) : nullptr;
    const char *text = vesk::content_of(element);
    vesk::fuzz::require(element && value == (text ? text : ""), "the text reads back");
    vesk::fuzz::require(value == vesk::attribute_of(element, "b"), "the attribute reads back");
    return 0;
}
