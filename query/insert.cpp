#include "query/operation.h"

#include <cstring>
#include <new>

#include "base/text.h"
#include "base/xml.h"
#include "model/classes.h"
#include "vesk/config.h"

namespace vesk {
namespace {

/** Whether every property that is required has its value; else an error. */
bool is_complete(evaluation &request, const vesk_instance &instance)
{
    char *reason = nullptr;
    if (vesk_instance_is_valid(&instance, &reason)) return true;
    const c_string owned{reason};
    if (!reason) throw std::bad_alloc{};
    request.error(message_length, "Instance is invalid: %s", reason);
    return false;
}

/** Adds a finished instance to the target and records it; both or neither. */
bool add_to_target(evaluation &request, instance_ptr instance)
{
    if (!request.target || !add_instance(*request.target, *instance)) {
        const char *name = instance->name;
        request.error(message_length, "Couldn't add instance \"%s\" of class \"%s\".",
                      name ? name : "(null)", instance->cls->name.c_str());
        return false;
    }
    if (vesk_changes_instance_inserted(request.changes, instance.get()) != 0) {
        remove_instance(*request.target, *instance);
        throw std::bad_alloc{};
    }
    static_cast<void>(instance.release());
    return true;
}

/** What the values that an element gives take, so that they all fit into one block. */
instance_room room_for(const xmlNode &element)
{
    instance_room room;
    for (const xmlNode *p = element.children; p; p = p->next) {
        const char *text = content_of(p);
        ++room.values;
        room.text_bytes += (text ? std::strlen(text) : 0) + 1;
    }
    return room;
}

/** The classes of the elements; one after another are usually of the same. */
struct named_classes {
    const xmlChar *name = nullptr; // of the last element
    vesk_class *cls = nullptr;     // concrete; null where each element has to be looked at

    vesk_class *find(const evaluation &request, const xmlNode &element)
    {
        if (cls && element.name && element.name == name) return cls;
        const char *class_name = vesk_config_get_class_name(request.document, &element);
        vesk_class *found = class_name ? vesk_classes_get(class_name) : nullptr;
        const bool is_itself = found && found->name == name_of(&element);
        name = element.name;
        cls = is_itself ? found : nullptr;
        return found;
    }
};

bool insert_instance(evaluation &request, const xmlNode &element, named_classes &classes,
                     named_properties &properties)
{
    vesk_class *cls = classes.find(request, element);
    if (!cls) {
        request.error(message_length, "Unknown class \"%s\".", name_of(&element));
        return false;
    }
    const char *name = attribute_of(&element, "name");
    instance_ptr instance{make_instance(*cls, name, room_for(element))};
    if (!instance) {
        request.error(message_length, "Bad instance name \"%s\" of class \"%s\".",
                      name ? name : "(null)", cls->name.c_str());
        return false;
    }
    properties.restart(*cls);
    for (const xmlNode *p = element.children; p; p = p->next)
        if (!set_from_element(request, *instance, *p, properties.next(*p), setting::new_instance))
            return false;
    if (!is_complete(request, *instance)) return false;
    return add_to_target(request, std::move(instance));
}

} // namespace

bool evaluate_insert(evaluation &request)
{
    if (request.is_collecting()) return false;
    named_classes classes;
    named_properties properties;
    for (const xmlNode *e = request.operation->children; e; e = e->next) {
        if (!insert_instance(request, *e, classes, properties)) break;
        ++request.touched;
    }
    return true;
}

} // namespace vesk
