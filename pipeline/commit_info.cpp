#include "vesk/commit_info.h"

#include "pipeline/commit_info.h"

#include "base/or_on_oom.h"

vesk_commit_info *vesk_commit_info_new(vesk_instances *before, vesk_instances *after,
                                       vesk_changes *changes, vesk_actions *actions, void *data)
{
    return vesk::or_on_oom<vesk_commit_info *>(nullptr, [&] {
        return new vesk_commit_info{before, after, changes, actions, data};
    });
}

vesk_instances *vesk_commit_info_get_before(const vesk_commit_info *info)
{
    return info ? info->before : nullptr;
}

vesk_instances *vesk_commit_info_get_after(const vesk_commit_info *info)
{
    return info ? info->after : nullptr;
}

vesk_changes *vesk_commit_info_get_changes(const vesk_commit_info *info)
{
    return info ? info->changes : nullptr;
}

vesk_actions *vesk_commit_info_get_actions(const vesk_commit_info *info)
{
    return info ? info->actions : nullptr;
}

void *vesk_commit_info_get_data(const vesk_commit_info *info)
{
    return info ? info->data : nullptr;
}

void vesk_commit_info_set_data(vesk_commit_info *info, void *data)
{
    if (info) info->data = data;
}

void vesk_commit_info_delete(vesk_commit_info *info)
{
    delete info;
}
