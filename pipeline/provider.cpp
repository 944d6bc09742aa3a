#include "vesk/provider.h"

#include "pipeline/provider.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "pipeline/commit_info.h"
#include "vesk/changes.h"
#include "vesk/refresh_info.h"

vesk_provider *vesk_provider_new(const char *name)
{
    if (!name) return nullptr;
    return vesk::or_on_oom<vesk_provider *>(nullptr, [&] { return new vesk_provider{name}; });
}

int vesk_provider_set_commit_fn(vesk_provider *provider, vesk_provider_commit_fn commit, void *data)
{
    if (!provider) return vesk::fail("Null provider.\n");
    provider->commit = commit;
    provider->commit_data = data;
    return 0;
}

int vesk_provider_set_refresh_fn(vesk_provider *provider, vesk_provider_refresh_fn refresh,
                                 void *data)
{
    if (!provider) return vesk::fail("Null provider.\n");
    provider->refresh = refresh;
    provider->refresh_data = data;
    return 0;
}

int vesk_provider_is_valid(const vesk_provider *provider)
{
    if (!provider) {
        vesk::fail("Null provider.\n");
        return 0;
    }
    if (provider->commit || provider->refresh) return 1;
    vesk::fail("Provider \"%s\" has no commit or refresh function.\n", provider->name.c_str());
    return 0;
}

void vesk_provider_commit(vesk_provider *provider, vesk_instances *after, vesk_changes *changes,
                          vesk_actions *actions)
{
    if (!provider) {
        vesk::fail("Null provider.\n");
        return;
    }
    if (!provider->commit) return;
    // On the stack: a commit must not be lost for want of memory.
    vesk_commit_info info{vesk_changes_get_before(changes), after, changes, actions,
                          provider->commit_data};
    provider->commit(&info);
}

void vesk_provider_refresh(vesk_provider *provider, vesk_refresh_info *info)
{
    if (!provider) {
        vesk::fail("Null provider.\n");
        return;
    }
    if (!provider->refresh) return;
    vesk_refresh_info_set_data(info, provider->refresh_data);
    provider->refresh(info);
}
