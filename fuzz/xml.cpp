#include "base/xml.h"
#include "fuzz/target.h"

// Any text: a document that is taken has few attributes and, where it is refused, no DTD.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text{vesk::fuzz::text_of(data, size)};
    const bool few = vesk::has_few_attributes(text);
    const vesk::xml_doc strict = vesk::parse_xml(text, vesk::xml_source::client);
    const vesk::xml_doc lax = vesk::parse_xml(text, vesk::xml_source::file);
    vesk::fuzz::require(few || (!strict && !lax), "too many attributes are refused");
    vesk::fuzz::require(!strict || lax, "what is taken without a DTD is taken");
    vesk::fuzz::require(!strict || (!strict->intSubset && !strict->extSubset), "there is no DTD");
    if (strict) vesk::content_of(xmlDocGetRootElement(strict.get()));
    return 0;
}
