#include "qorn.h"

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

enum { longest_reference = sizeof("&quot;") - 1 };

static const char *reference_for(char character)
{
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&apos;";
    case '\r':
        return "&#13;";
    default:
        return NULL;
    }
}

static size_t escaped_length(const char *value)
{
    size_t length = 0;
    for (; *value; value++) {
        const char *reference = reference_for(*value);
        length += reference ? strlen(reference) : 1;
    }
    return length;
}

static void write_escaped(char *to, const char *value)
{
    for (; *value; value++) {
        const char *reference = reference_for(*value);
        const size_t length = reference ? strlen(reference) : 1;
        memcpy(to, reference ? reference : value, length);
        to += length;
    }
    *to = '\0';
}

char *qorn_xml_escape(const char *value)
{
    if (!value || strlen(value) > (SIZE_MAX - 1) / longest_reference) return NULL;

    char *escaped = malloc(escaped_length(value) + 1);
    if (escaped) write_escaped(escaped, value);
    return escaped;
}
