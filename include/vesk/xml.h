#ifndef VESK_XML_H
#define VESK_XML_H

#include "vesk/export.h"

struct _xmlDoc;
struct _xmlNode;

VESK_BEGIN_DECLS

/*
 * Reading libxml2 trees without copies. The results point into the document, live as long as it
 * does and are never freed by the caller. Their type is libxml2's xmlChar; its headers are not
 * needed here.
 */

/**
 * The content of the first node of list when that is a text or CDATA node and in_line is not 0;
 * else null. Later nodes are never looked at.
 */
VESK_API const unsigned char *vesk_util_xmlNodeListGetString(const struct _xmlDoc *document,
                                                             const struct _xmlNode *list,
                                                             int in_line);

/** The value of the element's attribute name, "" for an empty one, null when there is none. */
VESK_API const unsigned char *vesk_util_xmlGetProp(const struct _xmlNode *node, const char *name);

VESK_END_DECLS

#endif
