#include "query/operation.h"

#include <new>

#include "vesk/classes.h"

namespace vesk {
namespace {

bool update_instance(evaluation &request, vesk_instance &instance, named_properties &properties)
{
    if (vesk_changes_instance_updated(request.changes, &instance) != 0) throw std::bad_alloc{};
    properties.restart(*instance.cls);
    for (const xmlNode *p = request.first_property; p; p = p->next)
        if (!set_from_element(request, instance, *p, properties.next(*p),
                              setting::existing_instance))
            return false;
    ++request.touched;
    return true;
}

} // namespace

bool evaluate_update(evaluation &request)
{
    if (!request.cls) {
        request.error(message_length, "Unknown class \"%s\".", request.class_name);
        return true;
    }
    if (request.is_collecting()) {
        collect_where(request);
        return false;
    }
    named_properties properties;
    for_each_match(request, [&](vesk_instance &instance) {
        return update_instance(request, instance, properties);
    });
    return true;
}

} // namespace vesk
