#ifndef VESK_BASE_XML_GUARD_H
#define VESK_BASE_XML_GUARD_H

#include <libxml/xmlerror.h>

namespace vesk {

/** How everything is parsed. */
extern const int xml_parse_options;

/**
 * What libxml2 says about exhausted memory goes to the generic handler whatever the options say.
 * That may be a plug-in's own: it comes back afterwards.
 */
class xml_silence {
  public:
    xml_silence();
    ~xml_silence();
    xml_silence(const xml_silence &) = delete;
    xml_silence &operator=(const xml_silence &) = delete;

  private:
    xmlGenericErrorFunc handler_;
    void *data_;
};

/**
 * libxml2 loses some allocation failures: the document then lacks a text. So its allocator is
 * watched; check() throws std::bad_alloc when one failed since this was made.
 */
class xml_memory_watch {
  public:
    xml_memory_watch();
    void check() const;
};

} // namespace vesk

#endif
