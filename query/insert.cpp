#include "query/operation.h"

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
        const char *name = instance->name.get();
        request.error(message_length, "Couldn't add instance \"%s\" of class \"%s\".",
                      name ? name : "(null)", instance->cls->name.c_str());
        return false;
    }
    if (vesk_changes_instance_inserted(request.changes, instance.get()) != 0) {
        vesk_instances_remove(request.target, instance.get());
        throw std::bad_alloc{};
    }
    static_cast<void>(instance.release());
    return true;
}

bool insert_instance(evaluation &request, const xmlNode &element)
{
    const char *class_name = vesk_config_get_class_name(request.document, &element);
    vesk_class *cls = class_name ? vesk_classes_get(class_name) : nullptr;
    if (!cls) {
        request.error(message_length, "Unknown class \"%s\".", name_of(&element));
        return false;
    }
    const char *name = attribute_of(&element, "name");
    instance_ptr instance{make_instance(*cls, name)};
    if (!instance) {
        request.error(message_length, "Bad instance name \"%s\" of class \"%s\".",
                      name ? name : "(null)", class_name);
        return false;
    }
    for (const xmlNode *p = element.children; p; p = p->next)
        if (!set_from_element(request, *instance, *p, setting::new_instance)) return false;
    if (!is_complete(request, *instance)) return false;
    return add_to_target(request, std::move(instance));
}

} // namespace

bool evaluate_insert(evaluation &request)
{
    if (request.is_collecting()) return false;
    for (const xmlNode *e = request.operation->children; e; e = e->next) {
        if (!insert_instance(request, *e)) break;
        ++request.touched;
    }
    return true;
}

} // namespace vesk
