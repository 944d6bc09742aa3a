#include "vesk/actions.h"

#include "pipeline/actions.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "core/log.h"

vesk_actions *vesk_actions_new(void)
{
    return vesk::or_on_oom<vesk_actions *>(nullptr, [] { return new vesk_actions; });
}

int vesk_actions_add(vesk_actions *actions, const char *provider, const char *action,
                     const char *class_name, const char *instance_name)
{
    if (!actions) return vesk::fail("No actions.\n");
    const vesk::c_string string{
        vesk_actions_get_string(provider, action, class_name, instance_name)};
    if (!string) return 1;
    return vesk::or_on_oom(1, [&] {
        actions->strings.insert(string.get());
        return 0;
    });
}

int vesk_actions_exists(const vesk_actions *actions, const char *provider, const char *action,
                        const char *class_name, const char *instance_name)
{
    // A broken call is told that the action exists: skipping a side effect does less harm than
    // repeating it.
    if (!actions) return vesk::fail("No actions.\n");
    const vesk::c_string string{
        vesk_actions_get_string(provider, action, class_name, instance_name)};
    return string ? actions->strings.contains(string.get()) : 1;
}

char *vesk_actions_get_string(const char *provider, const char *action, const char *class_name,
                              const char *instance_name)
{
    if (!provider) return vesk::none("No provider.\n");
    if (!action) return vesk::none("No action.\n");
    if (instance_name && !class_name) return vesk::none("Instance, but no class.\n");
    const auto optional_length = [](const char *text) { return text ? std::strlen(text) + 1 : 0; };
    const size_t action_length = std::strlen(provider) + std::strlen(action) +
                                 optional_length(class_name) + optional_length(instance_name) + 2;
    auto *action_string = static_cast<char *>(std::malloc(action_length));
    if (!action_string) return nullptr;
    std::snprintf(action_string, action_length, "%s-%s%s%s%s%s", provider, action,
                  class_name ? "-" : "", class_name ? class_name : "", instance_name ? "-" : "",
                  instance_name ? instance_name : "");
    assert(strlen(action_string) == action_length - 1);
    return action_string;
}

void vesk_actions_delete(vesk_actions *actions)
{
    if (!actions)
        vesk::fail("No actions.\n");
    else
        delete actions;
}
