#include "vesk/config.h"

#include "base/xml.h"
#include "core/log.h"
#include "model/classes.h"

namespace {

/** What follows a report: the null that a refusal gives. */
std::nullptr_t refused(int)
{
    return nullptr;
}

/** The first child element of that name, or null. */
const xmlNode *child_named(const xmlNode *element, const char *name)
{
    for (const xmlNode *child = element->children; child; child = child->next)
        if (vesk::is_element(child) &&
            xmlStrEqual(child->name, reinterpret_cast<const xmlChar *>(name)))
            return child;
    return nullptr;
}

} // namespace

const char *vesk_config_get_class_name(const xmlDoc *, const xmlNode *element)
{
    if (!element) return nullptr;
    const char *name = vesk::name_of(element);
    const vesk_class *cls = vesk_classes_get(name);
    if (!cls) return refused(vesk::error("Instance has an unknown class \"%s\".\n", name));
    if (cls->abstract != 1) return name;
    if (!cls->subclass_identifier || !vesk::is_element(element)) return nullptr;
    const char *identifier = cls->subclass_identifier->name.c_str();
    const xmlNode *child = child_named(element, identifier);
    if (!child)
        return refused(vesk::error("Instance of class \"%s\" does not contain a subclass "
                                   "identifier property \"%s\".\n",
                                   name, identifier));
    const char *text = vesk::content_of(child);
    if (!text)
        return refused(vesk::error(
            "Instance of class \"%s\" subclass identifier property \"%s\" has a null value.\n",
            name, identifier));
    const vesk_class *subclass = vesk_classes_get(text);
    if (!subclass)
        return refused(vesk::error("Instance of class \"%s\" subclass identifier property \"%s\" "
                                   "value is an unknown class \"%s\".\n",
                                   name, identifier, text));
    if (subclass->superclass_name != name)
        return refused(vesk::error("Instance of class \"%s\" subclass identifier property \"%s\" "
                                   "value is \"%s\", which is not a subclass of \"%s\".\n",
                                   name, identifier, text, name));
    return text;
}
