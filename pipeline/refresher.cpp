#include "vesk/refresher.h"

#include "pipeline/refresher.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/iterator.h"
#include "model/parking.h"
#include "vesk/refresh_info.h"

namespace {

void refresh_instance(const vesk_refresher &refresher, vesk_instance &instance,
                      vesk_refresh_info *info)
{
    if (!vesk_refresh_info_contains_instance(info, &instance)) return;
    if (refresher.instance_fn) refresher.instance_fn(&instance, info);
    for (const auto &property : refresher.property_fns) {
        if (!vesk_refresh_info_contains_property(info, &instance, property.name)) continue;
        vesk_debug_lprintf(4, "  Refreshing property %s.\n", property.name);
        vesk_instance_set_value(&instance, property.name,
                                property.value->call(&instance, property.name, info));
    }
}

} // namespace

vesk_refresher *vesk_refresher_new(const char *class_name)
{
    if (!class_name) return nullptr;
    return vesk::or_on_oom<vesk_refresher *>(nullptr,
                                             [&] { return new vesk_refresher{class_name}; });
}

int vesk_refresher_set_pre_refresh_fn(vesk_refresher *refresher,
                                      vesk_refresher_pre_refresh_fn pre_refresh)
{
    if (!refresher) return vesk::fail("Null refresher.\n");
    if (!pre_refresh) return vesk::fail("Null pre_refresh.\n");
    refresher->pre_refresh = pre_refresh;
    return 0;
}

int vesk_refresher_set_instance_fn(vesk_refresher *refresher,
                                   vesk_refresher_instance_fn instance_fn)
{
    if (!refresher) return vesk::fail("Null refresher.\n");
    if (!instance_fn) return vesk::fail("Null instance_fn.\n");
    refresher->instance_fn = instance_fn;
    return 0;
}

int vesk_refresher_set_property_fn(vesk_refresher *refresher, const char *property,
                                   vesk_refresher_property_fn property_fn)
{
    if (!refresher) return vesk::fail("Null refresher.\n");
    if (!property) return vesk::fail("Null property.\n");
    if (!property_fn) return vesk::fail("Null property_fn.\n");
    return vesk::or_on_oom(1, [&] {
        auto entry =
            std::make_unique<vesk::refreshed_property>(vesk::refreshed_property{property_fn});
        return refresher->property_fns.insert(property, entry) ? 0 : 1;
    });
}

void vesk_refresher_fn(vesk_refresh_info *info)
{
    const auto *refresher = static_cast<vesk_refresher *>(vesk_refresh_info_get_data(info));
    if (!refresher) {
        vesk::fail("vesk_refresher_fn called without refresher as data.\n");
        return;
    }
    const char *class_name = refresher->class_name;
    if (!vesk_refresh_info_contains_class(info, class_name)) return;
    const vesk::busy_scope busy;
    vesk_debug_lprintf(4, "Refreshing class %s.\n", class_name);
    if (refresher->pre_refresh) refresher->pre_refresh(info);
    vesk::instances_walk instances{vesk_refresh_info_get_instances(info), class_name};
    while (vesk_instance *instance = instances.next())
        refresh_instance(*refresher, *instance, info);
}
