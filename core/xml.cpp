#include "vesk/xml.h"

#include "base/xml.h"

const unsigned char *vesk_util_xmlNodeListGetString(const xmlDoc *, const xmlNode *list,
                                                    int in_line)
{
    return in_line ? reinterpret_cast<const unsigned char *>(vesk::text_of(list)) : nullptr;
}

const unsigned char *vesk_util_xmlGetProp(const xmlNode *node, const char *name)
{
    if (!node || !name) return nullptr;
    return reinterpret_cast<const unsigned char *>(vesk::attribute_of(node, name));
}
