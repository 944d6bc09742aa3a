#include "base/xml_guard.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include <libxml/parser.h>
#include <libxml/xmlmemory.h>

namespace vesk {
namespace {

void ignore_error(void *, const char *, ...) {}

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

} // namespace

const int xml_parse_options =
    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_COMPACT;

xml_silence::xml_silence() : handler_{xmlGenericError}, data_{xmlGenericErrorContext}
{
    xmlSetGenericErrorFunc(nullptr, ignore_error);
}

xml_silence::~xml_silence()
{
    xmlSetGenericErrorFunc(data_, handler_);
}

xml_memory_watch::xml_memory_watch()
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

void xml_memory_watch::check() const
{
    if (allocation_failed) throw std::bad_alloc{};
}

} // namespace vesk
