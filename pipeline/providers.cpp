#include "vesk/providers.h"

#include "pipeline/providers.h"

#include "base/never_destroyed.h"
#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/parking.h"
#include "pipeline/actions.h"
#include "vesk/changes.h"
#include "vesk/instances.h"
#include "vesk/refresh_info.h"

// The order is the depth-first post-order over the nodes in the order in which they were made: a
// provider comes after all that were declared to come before it, and otherwise in order of adding.

namespace vesk {
namespace {

/** The node of a name, made when there is none. Throws std::bad_alloc. */
order_node &find_or_make_node(provider_registry &registry, const char *name)
{
    if (order_node *found = registry.nodes->get(name)) return *found;
    auto fresh = std::make_unique<order_node>();
    order_node &made = *fresh;
    registry.nodes->insert(name, fresh);
    return made;
}

/** A loop is one line of the log: it is begun where it closes and continued on the way back out. */
void report_loop(const char *name)
{
    fail("Loop detected in providers order: %s", name);
}

void continue_loop_report(const char *format, const char *name)
{
    if (vesk_debug_get() == 0) return;
    continue_log_line("%s%s", format, name);
}

/** Places a node behind its predecessors. 1 when it closes a loop. Throws std::bad_alloc. */
int visit(provider_registry &registry, const char *name, order_node &node)
{
    if (node.state == order_node::visit::placed) return 0;
    if (node.state == order_node::visit::under_way) {
        report_loop(name);
        return 1;
    }
    node.state = order_node::visit::under_way;
    for (auto [predecessor, mark] : node.predecessors)
        if (visit(registry, predecessor, *registry.nodes->get(predecessor)) != 0) {
            continue_loop_report(", ", name);
            return 1;
        }
    registry.order.emplace_back(name);
    node.state = order_node::visit::placed;
    return 0;
}

} // namespace

provider_registry &providers()
{
    static never_destroyed<provider_registry> registry;
    return *registry;
}

int add(provider_registry &registry, vesk_provider &provider)
{
    const char *name = provider.name.c_str();
    if (!vesk_provider_is_valid(&provider)) return fail("Provider is invalid.\n");
    if (!registry.nodes) return 1; // the order is built: too late
    if (registry.providers.get(name))
        return fail("Provider with name \"%s\" already in providers.\n", name);
    registry.providers.insert(name, &provider);
    try {
        find_or_make_node(registry, name);
    } catch (...) {
        registry.providers.remove(name);
        throw;
    }
    return 0;
}

int declare_order(provider_registry &registry, const char *first, const char *second)
{
    if (!first || !second) return fail("Null name.\n");
    if (!registry.nodes) return 1; // the order is built: too late
    const bool knew_first = registry.nodes->get(first) != nullptr;
    const bool knew_second = registry.nodes->get(second) != nullptr;
    try {
        order_node &later = find_or_make_node(registry, second);
        find_or_make_node(registry, first);
        later.predecessors.insert(first);
    } catch (...) {
        if (!knew_first) registry.nodes->remove(first);
        if (!knew_second) registry.nodes->remove(second);
        throw;
    }
    return 0;
}

int build_order(provider_registry &registry)
{
    if (registry.ordered) return 0;
    try {
        for (const auto &node : *registry.nodes) {
            if (visit(registry, node.name, *node.value) == 0) continue;
            continue_loop_report(".\n", "");
            registry.ordered = true; // as far as it goes
            return 1;
        }
    } catch (...) {
        registry.order.clear();
        for (const auto &node : *registry.nodes)
            node.value->state = order_node::visit::not_yet;
        throw;
    }
    registry.ordered = true;
    registry.nodes.reset();
    return 0;
}

void print(const provider_registry &registry, FILE *stream)
{
    std::fputs("Providers, in order (*** = not present):\n", stream);
    for (const std::string &name : registry.order)
        std::fprintf(stream, "%s%s\n", registry.providers.get(name.c_str()) ? "     " : " *** ",
                     name.c_str());
}

} // namespace vesk

int vesk_providers_init(void)
{
    return vesk::or_on_oom(1, [] {
        vesk::providers();
        return 0;
    });
}

int vesk_providers_add(vesk_provider *provider)
{
    if (!provider) return vesk::fail("Null provider.\n");
    return vesk::or_on_oom(1, [&] { return vesk::add(vesk::providers(), *provider); });
}

vesk_provider *vesk_providers_get(const char *name)
{
    return name ? vesk::providers().providers.get(name) : nullptr;
}

int vesk_providers_order(const char *first, const char *second)
{
    return vesk::or_on_oom(1,
                           [&] { return vesk::declare_order(vesk::providers(), first, second); });
}

int vesk_providers_done_adding(void)
{
    return vesk::or_on_oom(1, [] { return vesk::build_order(vesk::providers()); });
}

void vesk_providers_print(FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    vesk::print(vesk::providers(), stream);
}

void vesk_providers_commit(vesk_instances *after, vesk_changes *changes, vesk_actions *actions)
{
    const vesk::busy_scope busy;
    if (vesk_debug_get() >= 4) {
        FILE *stream = vesk_debug_get_stream();
        vesk_debug_printf("Committing with these after instances:\n");
        vesk_instances_print(after, stream);
        vesk_debug_printf("Committing with these changes:\n");
        vesk_changes_print(changes, stream);
    }
    const vesk::actions_ptr shared{actions ? actions : vesk_actions_new()};
    vesk::for_each_provider(vesk::providers(), [&](vesk_provider &provider) {
        vesk_debug_lprintf(3, "Committing provider %s...\n", provider.name.c_str());
        vesk_provider_commit(&provider, after, changes, shared.get());
    });
}

void vesk_providers_refresh(vesk_refresh_info *info)
{
    const vesk::busy_scope busy;
    if (vesk_debug_get() >= 3) {
        vesk_debug_printf("Refreshing providers with:\n");
        vesk_refresh_info_print(info, vesk_debug_get_stream());
    }
    vesk::for_each_provider(vesk::providers(), [&](vesk_provider &provider) {
        vesk_debug_lprintf(3, "Refreshing provider %s...\n", provider.name.c_str());
        vesk_provider_refresh(&provider, info);
    });
}
