#include "query/operation.h"

#include <new>

#include "core/log.h"
#include "vesk/classes.h"

namespace vesk {
namespace {

void delete_instance_of(evaluation &request, vesk_instance &instance)
{
    // Recorded first: that may fail, the removal cannot.
    if (vesk_changes_instance_deleted(request.changes, &instance) != 0) throw std::bad_alloc{};
    vesk_instances_remove(request.target, &instance);
    vesk_instance_delete(&instance);
    ++request.touched;
}

} // namespace

bool evaluate_delete(evaluation &request)
{
    if (request.is_collecting()) {
        collect_where(request);
        return false;
    }
    if (!request.target || !vesk_classes_get(request.class_name)) return true;
    const auto iterator = group_iterator(request.target, request.class_name, request.instance_name);
    walk(iterator, [&](vesk_instance &instance) {
        if (vesk_debug_get() >= 4) {
            vesk_debug_printf("Considering deleting:\n");
            vesk_instance_print(&instance, vesk_debug_get_stream());
        }
        if (!request.where || evaluate_expression(request.where, instance))
            delete_instance_of(request, instance);
    });
    return true;
}

} // namespace vesk
