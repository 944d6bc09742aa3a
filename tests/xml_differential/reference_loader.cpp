#include "tests/xml_differential/reference_loader.h"

#include <cstdarg>
#include <cstdio>

#include "base/text.h"
#include "model/classes.h"
#include "model/instances.h"
#include "model/iterator.h"
#include "vesk/changes.h"
#include "vesk/debug.h"

namespace vesk::test {
namespace {

constexpr unsigned most_attributes = 64; // in one tag, the declarations of namespaces included

bool is_element(const xmlNode *node)
{
    return node->type == XML_ELEMENT_NODE;
}

bool has_few_attributes(const xmlNode *element)
{
    unsigned count = 0;
    for (const xmlAttr *each = element->properties; each; each = each->next)
        ++count;
    for (const xmlNs *each = element->nsDef; each; each = each->next)
        ++count;
    if (count > most_attributes) return false;
    for (const xmlNode *child = element->children; child; child = child->next)
        if (is_element(child) && !has_few_attributes(child)) return false;
    return true;
}

/** The content of the first node when it is text or CDATA, else null. */
const char *first_text(const xmlNode *list)
{
    if (!list || (list->type != XML_TEXT_NODE && list->type != XML_CDATA_SECTION_NODE))
        return nullptr;
    return reinterpret_cast<const char *>(list->content);
}

/** The first text of the first attribute that is called name; "" without text, null without it. */
const char *attribute(const xmlNode &element, const char *name)
{
    for (const xmlAttr *each = element.properties; each; each = each->next)
        if (plain(each->name) == name) {
            const char *text = first_text(each->children);
            return text ? text : "";
        }
    return nullptr;
}

const xmlNode *first_child(const xmlNode &element, const std::string &name)
{
    for (const xmlNode *child = element.children; child; child = child->next)
        if (is_element(child) && plain(child->name) == name) return child;
    return nullptr;
}

/** The class that the subclass identifier among the children names. */
vesk_class *subclass_of(const vesk_class &cls, const xmlNode &element)
{
    const char *name = cls.name.c_str();
    const char *identifier = cls.subclass_identifier->name.c_str();
    const xmlNode *child = first_child(element, identifier);
    if (!child) {
        say("Instance of class \"%s\" does not contain a subclass identifier property \"%s\".\n",
            name, identifier);
        return nullptr;
    }
    const char *text = first_text(child->children);
    if (!text) {
        say("Instance of class \"%s\" subclass identifier property \"%s\" has a null value.\n",
            name, identifier);
        return nullptr;
    }
    vesk_class *subclass = vesk_classes_get(text);
    if (!subclass)
        say("Instance of class \"%s\" subclass identifier property \"%s\" value is an unknown "
            "class \"%s\".\n",
            name, identifier, text);
    else if (subclass->superclass_name != cls.name)
        say("Instance of class \"%s\" subclass identifier property \"%s\" value is \"%s\", which "
            "is not a subclass of \"%s\".\n",
            name, identifier, text, name);
    else
        return subclass;
    return nullptr;
}

vesk_class *class_of(const xmlNode &element)
{
    const std::string name = plain(element.name);
    vesk_class *cls = vesk_classes_get(name.c_str());
    if (!cls) say("Instance has an unknown class \"%s\".\n", name.c_str());
    return cls && cls->abstract == 1 ? subclass_of(*cls, element) : cls;
}

void set_property(vesk_instance &instance, const xmlNode &element)
{
    const std::string name = plain(element.name);
    const char *text = first_text(element.children);
    const char *value = text ? text : "";
    const char *class_name = instance.cls->name.c_str();
    if (!vesk_class_get_property(instance.cls, name.c_str()))
        say("Property \"%s\" is not valid for class \"%s\" - skipping.\n", name.c_str(),
            class_name);
    else if (vesk_instance_set_value(&instance, name.c_str(), value) != 0)
        say("Value \"%s\" is not valid for property \"%s\" of class \"%s\" - skipping.\n", value,
            name.c_str(), class_name);
}

void add(vesk_instances &running, vesk_changes &changes, instance_ptr instance)
{
    if (vesk_instances_add(&running, instance.get()) != 0) {
        const char *name = vesk_instance_get_name(instance.get());
        say("Couldn't add instance \"%s\" of class \"%s\". Skipping instance.\n",
            name ? name : "(null)", instance->cls->name.c_str());
        return;
    }
    vesk_changes_instance_inserted(&changes, instance.release());
}

void load_element(const xmlNode &element, vesk_instances &running, vesk_changes &changes)
{
    vesk_class *cls = class_of(element);
    if (!cls) return;
    const char *name = attribute(element, "name");
    instance_ptr instance{vesk_instance_new(cls, name)};
    if (!instance) {
        say("Bad instance name \"%s\" of class \"%s\"- skipping.\n", name ? name : "(null)",
            cls->name.c_str());
        return;
    }
    for (const xmlNode *child = element.children; child; child = child->next)
        if (is_element(child)) set_property(*instance, *child);
    char *message = nullptr;
    if (!vesk_instance_is_valid(instance.get(), &message)) {
        const c_string owned{message};
        say("Instance is invalid: %s Skipping instance.", message);
        return;
    }
    add(running, changes, std::move(instance));
}

struct delete_iterator {
    void operator()(vesk_classes_iterator *walk) const { vesk_classes_delete_iterator(walk); }
};

/** Every singleton class has its instance; one that is not saved starts empty. */
void complete(const vesk_class &cls, vesk_instances &running, vesk_changes &changes)
{
    const iterator_ptr there{vesk_instances_new_class_iterator(&running, cls.name.c_str())};
    instance_ptr loaded{vesk_instances_iterator_next(there.get())};
    if (loaded && cls.persistence) return static_cast<void>(loaded.release());
    if (loaded) vesk_instances_remove(&running, loaded.get());
    add(running, changes,
        instance_ptr{vesk_instance_new(vesk_classes_get(cls.name.c_str()), nullptr)});
}

} // namespace

void say(const char *format, ...)
{
    std::FILE *log = vesk_debug_get_stream();
    std::fputs("vesk: ", log);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(log, format, arguments);
    va_end(arguments);
}

tree_ptr parse_plainly(std::string_view text)
{
    tree_ptr document = parsed(text);
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (document && !root) say("Empty document.\n");
    if (!document || !has_few_attributes(root)) {
        say("Config not parsed successfully.\n");
        return nullptr;
    }
    if (plain(root->name) == "config") return document;
    say("Document of the wrong type: root node is not \"config\".");
    return nullptr;
}

void load_plainly(const xmlDoc &document, vesk_instances &running, vesk_changes &changes)
{
    const xmlNode *root = xmlDocGetRootElement(&document);
    for (const xmlNode *node = root->children; node; node = node->next)
        if (is_element(node)) load_element(*node, running, changes);
    const std::unique_ptr<vesk_classes_iterator, delete_iterator> walk{vesk_classes_new_iterator()};
    while (const vesk_class *cls = vesk_classes_iterator_next(walk.get()))
        if (cls->type == VESK_CLASS_SINGLETON) complete(*cls, running, changes);
}

} // namespace vesk::test
