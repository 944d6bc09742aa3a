/* Text on its way into XML. */
#ifndef QORN_H
#define QORN_H

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Copy of value in which & < > " ' stand as the predefined entities and a carriage return as
 * &#13; (an XML parser would make it a newline). Every other byte stays as it is. The copy may
 * stand as the text of an element, and is what xmlNodeSetContent, which reads entities in its
 * argument, turns into value again.
 *
 * The caller frees the copy with free(). Null for a null value or no memory.
 */
char *qorn_xml_escape(const char *value);

#ifdef __cplusplus
}
#endif

#endif
