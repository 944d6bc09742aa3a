#ifndef VESK_BASE_XML_STREAM_H
#define VESK_BASE_XML_STREAM_H

#include <string>
#include <string_view>

#include <libxml/tree.h>

namespace vesk {

/**
 * Receives a document in the order of its text. Names are as a tree has them. Text of an element
 * comes in as many pieces as it pleases. What it throws ends the reading and comes out of it.
 */
class xml_receiver {
  public:
    virtual void begin_element(const char *name, const char *name_attribute) = 0; // null: none
    virtual void end_element() = 0;
    virtual void text(std::string_view piece) = 0;
    virtual void cdata(std::string_view piece) = 0;
    /** A comment, a processing instruction or a reference to an entity. */
    virtual void other_node() = 0;

  protected:
    ~xml_receiver() = default;
};

enum class stream_end {
    complete,
    malformed, // or over a limit
    // It has a DTD: what references stand for is the tree's to say. Or a "<" is more than one byte:
    // the parser mistakes such texts when they come in pieces.
    needs_a_tree
};

/** Gives the next piece of a text: its length, 0 at the end, less on failure. */
class xml_source_text {
  public:
    virtual int read(char *buffer, int size) = 0;

  protected:
    ~xml_source_text() = default;
};

/**
 * Reads a document without making a tree of it, within the limits of parse_xml() for files. Throws
 * std::bad_alloc.
 */
stream_end stream_xml(xml_source_text &source, xml_receiver &receiver);

/** The same for what the daemon itself has written just now: no limits. */
stream_end stream_own_xml(xml_source_text &source, xml_receiver &receiver);

/** Tells a receiver what a tree holds. */
void stream_tree(const xmlDoc &document, xml_receiver &receiver);

} // namespace vesk

#endif
