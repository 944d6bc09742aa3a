#include "query/operation.h"

#include <cstring>
#include <new>

#include "base/xml.h"
#include "model/classes.h"

namespace vesk {
namespace {

bool wants_all(const evaluation &request)
{
    return request.properties && std::strcmp(request.properties, "all") == 0;
}

void must(int status)
{
    if (status != 0) throw std::bad_alloc{};
}

void collect(evaluation &request)
{
    const char *cls = request.class_name;
    const char *name = request.instance_name;
    if (wants_all(request)) {
        must(vesk_refresh_info_add_all_properties(request.refresh, cls, name));
    } else {
        for (const xmlNode *p = request.first_property; p; p = p->next)
            must(vesk_refresh_info_add_property(request.refresh, cls, name, name_of(p)));
    }
    collect_where(request);
}

/** What a client gets to see: nothing of a property that it may not read. */
const char *visible_value(const evaluation &request, const vesk_instance &instance,
                          const char *name)
{
    const vesk_property *property = find_property(*instance.cls, name);
    if (property && !property->readable && !request.passive) return nullptr;
    return instance.values.get(name);
}

void write_property(evaluation &request, const vesk_instance &instance, const char *name)
{
    request.out->property(instance.cls->name, name, visible_value(request, instance, name));
}

/** False when the request does not say properly which properties it wants. */
bool write_instance(evaluation &request, const vesk_instance &instance)
{
    ++request.touched;
    request.out->begin_instance(request.class_name, instance.name.get());
    const bool known = !request.properties || wants_all(request);
    if (wants_all(request))
        for_each_property(*instance.cls, [&](const vesk_property &property) {
            write_property(request, instance, property.name.c_str());
        });
    else if (known)
        for (const xmlNode *p = request.first_property; p; p = p->next)
            if (p->name) write_property(request, instance, name_of(p));
    request.out->end_instance(request.class_name);
    return known;
}

} // namespace

bool evaluate_select(evaluation &request)
{
    request.out->begin_dataset();
    bool known = true;
    const bool exists = vesk_classes_get(request.class_name) != nullptr;
    if (exists && request.is_collecting())
        collect(request);
    else if (exists)
        for_each_match(request, [&](const vesk_instance &instance) {
            known = write_instance(request, instance);
            return known;
        });
    request.out->end_dataset();
    if (!known)
        request.error(short_message_length, "Invalid properties=\"%s\".", request.properties);
    return !request.is_collecting();
}

} // namespace vesk
