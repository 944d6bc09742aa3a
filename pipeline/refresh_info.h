#ifndef VESK_PIPELINE_REFRESH_INFO_H
#define VESK_PIPELINE_REFRESH_INFO_H

#include <optional>

#include "base/name_map.h"
#include "vesk/refresh_info.h"

namespace vesk {

/** Which properties are wanted; none at first. */
struct property_selection {
    bool all = false;
    name_set names{4};

    bool contains(const char *property) const { return all || names.contains(property); }
};

/** What is wanted of one class. */
struct class_selection {
    small_map<property_selection> named;
    std::optional<property_selection> every;

    /** The selection for one instance, or for every one when name is null. */
    property_selection *find(const char *name)
    {
        if (name) return named.get(name);
        return every ? &*every : nullptr;
    }
    const property_selection *find(const char *name) const
    {
        return const_cast<class_selection *>(this)->find(name);
    }
};

} // namespace vesk

struct vesk_refresh_info {
    explicit vesk_refresh_info(vesk_instances *refreshed) : instances{refreshed} {}

    vesk_instances *instances;
    vesk::small_map<vesk::class_selection> classes;
    void *data = nullptr;
};

namespace vesk {

struct delete_refresh_info {
    void operator()(vesk_refresh_info *info) const { vesk_refresh_info_delete(info); }
};
using refresh_info_ptr = std::unique_ptr<vesk_refresh_info, delete_refresh_info>;

} // namespace vesk

#endif
