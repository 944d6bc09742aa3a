#include "vesk/config.h"

#include "config/class_name.h"

#include "base/xml.h"
#include "core/log.h"
#include "model/classes.h"

namespace {

/** What follows a report: the null that a refusal gives. */
std::nullptr_t refused(int)
{
    return nullptr;
}

/** The children of an element in a tree. */
class node_children final : public vesk::element_children {
  public:
    explicit node_children(const xmlNode &element) : element_{element} {}

    bool find(const char *name, const char *&text) const override
    {
        if (!vesk::is_element(&element_)) return false;
        for (const xmlNode *child = element_.children; child; child = child->next) {
            if (!vesk::is_element(child) ||
                !xmlStrEqual(child->name, reinterpret_cast<const xmlChar *>(name)))
                continue;
            text = vesk::content_of(child);
            return true;
        }
        return false;
    }

  private:
    const xmlNode &element_;
};

} // namespace

namespace vesk {

const char *concrete_class_name(const char *name, const element_children &children)
{
    const vesk_class *cls = vesk_classes_get(name);
    if (!cls) return refused(error("Instance has an unknown class \"%s\".\n", name));
    if (cls->abstract != 1) return name;
    if (!cls->subclass_identifier) return nullptr;
    const char *identifier = cls->subclass_identifier->name.c_str();
    const char *text = nullptr;
    if (!children.find(identifier, text))
        return refused(error("Instance of class \"%s\" does not contain a subclass "
                             "identifier property \"%s\".\n",
                             name, identifier));
    if (!text)
        return refused(error(
            "Instance of class \"%s\" subclass identifier property \"%s\" has a null value.\n",
            name, identifier));
    const vesk_class *subclass = vesk_classes_get(text);
    if (!subclass)
        return refused(error("Instance of class \"%s\" subclass identifier property \"%s\" "
                             "value is an unknown class \"%s\".\n",
                             name, identifier, text));
    if (subclass->superclass_name != name)
        return refused(error("Instance of class \"%s\" subclass identifier property \"%s\" "
                             "value is \"%s\", which is not a subclass of \"%s\".\n",
                             name, identifier, text, name));
    return text;
}

} // namespace vesk

const char *vesk_config_get_class_name(const xmlDoc *, const xmlNode *element)
{
    if (!element) return nullptr;
    const node_children children{*element};
    return vesk::concrete_class_name(vesk::name_of(element), children);
}
