#ifndef VESK_PIPELINE_PROVIDERS_H
#define VESK_PIPELINE_PROVIDERS_H

#include <optional>
#include <string>
#include <vector>

#include "base/name_map.h"
#include "pipeline/provider.h"
#include "vesk/providers.h"

namespace vesk {

/** A name in the making of the order: of a provider, or only mentioned in a declaration. */
struct order_node {
    enum class visit { not_yet, under_way, placed };
    visit state = visit::not_yet;
    name_set predecessors{1};
};

/** The providers by name; first their declared order, then the list that it gave. */
struct provider_registry {
    name_map<vesk_provider> providers{32};
    std::optional<owned_map<order_node>> nodes{std::in_place, 32U}; // until the order is built
    std::vector<std::string> order;
    bool ordered = false;
};

/** The process-wide registry; never destroyed. */
provider_registry &providers();

int add(provider_registry &registry, vesk_provider &provider);
int declare_order(provider_registry &registry, const char *first, const char *second);
int build_order(provider_registry &registry);
void print(const provider_registry &registry, FILE *stream);

/** Calls visit(provider) for the registered ones, in order. */
template <typename Visit> void for_each_provider(const provider_registry &registry, Visit &&visit)
{
    for (const std::string &name : registry.order)
        if (vesk_provider *provider = registry.providers.get(name.c_str())) visit(*provider);
}

} // namespace vesk

#endif
