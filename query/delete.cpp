#include "query/operation.h"

#include <new>

#include "core/log.h"
#include "vesk/classes.h"

namespace vesk {
namespace {

void delete_instance_of(evaluation &request, vesk_instance &instance)
{
    // Recorded first: a removal that the providers are not told of must not be made.
    if (vesk_changes_instance_deleted(request.changes, &instance) != 0) throw std::bad_alloc{};
    remove_instance(*request.target, instance);
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
    if (!can_match(request)) return true;
    where_expression where{request.where};
    instances_walk walk{request.target, request.class_name, request.instance_name};
    while (!walk.is_at_end()) {
        if (vesk_debug_get() >= 4) {
            vesk_debug_printf("Considering deleting:\n");
            vesk_instance_print(&walk.current(), vesk_debug_get_stream());
        }
        if (!where.accepts(walk.current())) {
            walk.skip();
            continue;
        }
        vesk_instance *instance = walk.next();
        if (!instance) throw std::bad_alloc{};
        delete_instance_of(request, *instance);
    }
    return true;
}

} // namespace vesk
