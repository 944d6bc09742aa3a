#include "tests/oom/device.h"

#include "base/text.h"
#include "model/iterator.h"
#include "pipeline/actions.h"
#include "pipeline/changes.h"
#include "pipeline/commit_info.h"
#include "pipeline/refresh_info.h"

// Change sets, actions, records and providers: each operation happens, or nothing has changed.

namespace vesk::test {
namespace {

class OomPipeline : public device {};

/** A collection that is followed, and instances that may come and go. */
struct followed {
    full_instances_ptr all;
    changes_ptr changes; // goes first

    vesk_instance *get(const char *cls, const char *name) const
    {
        return vesk_instances_get(all.get(), cls, name);
    }
};

/** Everything that can be asked of a change set. */
std::string shown(const followed &f)
{
    vesk_changes *changes = f.changes.get();
    if (!changes) return "null";
    std::string text = "changed:\n" + instances_of(changes->changed_instances()) + "deleted:\n" +
                       instances_of(changes->deleted) + "before:\n" +
                       instances_of(*vesk_changes_get_before(changes)) + "after:\n";
    for_each_instance(*f.all, [&](vesk_instance &instance) {
        text += text_of(instance);
        text += vesk_changes_contains_instance(changes, &instance) ? "changed\n" : "unchanged\n";
        for_each_property(*instance.cls, [&](const vesk_property &property) {
            if (vesk_changes_contains_property(changes, &instance, property.name.c_str()))
                text += property.name + " set\n";
        });
        const vesk_instance *before = vesk_changes_get_instance_before(changes, &instance);
        text += before ? "it was " + text_of(*before) : "new\n";
    });
    return text;
}

bool is_unhooked(const vesk_instances &all)
{
    bool none = !all.hook.listener && !all.watches.first && !all.copies.first;
    for_each_instance(all, [&](const vesk_instance &i) { none = none && !i.hook.listener; });
    return none;
}

TEST_F(OomPipeline, ChangesNew)
{
    expect_all_or_nothing(
        [&] {
            return followed{configuration(), nullptr};
        },
        [](followed &f) {
            f.changes.reset(vesk_changes_new(f.all.get()));
            return f.changes ? 0 : 1;
        },
        [](const followed &f) {
            return shown(f) + instances_of(*f.all) + (is_unhooked(*f.all) ? "free" : "followed");
        });
}

TEST_F(OomPipeline, ChangesNewWhileAnotherFollows)
{
    expect_all_or_nothing(
        [&] {
            followed f{configuration(), nullptr};
            f.changes.reset(vesk_changes_new(f.all.get()));
            return f;
        },
        [](followed &f) {
            const changes_ptr inner{vesk_changes_new(f.all.get())};
            return inner ? 0 : 1;
        },
        [](const followed &f) { return shown(f); });
}

/** Operations on a change set of the whole configuration. */
class OomChanges : public device {
  protected:
    followed start()
    {
        followed f{configuration(), nullptr};
        f.changes.reset(vesk_changes_new(f.all.get()));
        return f;
    }

    template <typename Work> void expect_all_or_nothing(Work &&work)
    {
        test::expect_all_or_nothing([&] { return start(); }, work,
                                    [](const followed &f) { return shown(f); });
    }
};

TEST_F(OomChanges, InstanceUpdated)
{
    expect_all_or_nothing([](followed &f) {
        return vesk_changes_instance_updated(f.changes.get(), f.get("radio", "wlan0"));
    });
}

TEST_F(OomChanges, AddProperty)
{
    expect_all_or_nothing([](followed &f) {
        return vesk_changes_add_property(f.changes.get(), f.get("radio", "wlan0"), "channel");
    });
}

TEST_F(OomChanges, InstanceDeleted)
{
    expect_all_or_nothing([](followed &f) {
        return vesk_changes_instance_deleted(f.changes.get(), f.get("radio", "wlan0"));
    });
}

TEST_F(OomChanges, InstanceInserted)
{
    struct insertion {
        followed f;
        instance_ptr fresh;
    };
    test::expect_all_or_nothing(
        [&] {
            insertion i{start(), make("radio", "wlan7", {{"channel", "1"}, {"ssid", "x"}})};
            i.f.all->hook = {}; // the recording is called by hand
            vesk_instances_add(i.f.all.get(), i.fresh.release());
            return i;
        },
        [](insertion &i) {
            return vesk_changes_instance_inserted(i.f.changes.get(), i.f.get("radio", "wlan7"));
        },
        [](const insertion &i) { return shown(i.f); });
}

/** What the listeners could not record is at least known to be missing. */
TEST_F(OomChanges, RecordingThroughListenersIsCompleteOrMarked)
{
    const auto edit = [&](followed &f) {
        vesk_instance_set_value(f.get("radio", "wlan0"), "channel", "11");
        vesk_instance_set_value(f.get("radio", "wlan1"), "ssid", "x");
        instance_ptr fresh{vesk_instance_new(vesk_classes_get("radio"), "wlan7")};
        if (fresh && vesk_instances_add(f.all.get(), fresh.get()) == 0)
            static_cast<void>(fresh.release());
        vesk_instance *gone = f.get("wired", "eth0");
        vesk_instances_remove(f.all.get(), gone);
        vesk_instance_delete(gone);
        return 0;
    };
    for_each_failure(
        [&] { return start(); }, edit,
        [&](followed &f, int) {
            vesk_changes *changes = f.changes.get();
            const auto is_known = [&](const char *name, const char *property) {
                vesk_instance *instance = f.get("radio", name);
                return vesk_changes_contains_property(changes, instance, property) == 1 &&
                       vesk_changes_contains_instance(changes, instance) == 1;
            };
            const auto differs = [&](const char *name, const char *property) {
                vesk_instance *instance = f.get("radio", name);
                const char *now = vesk_instance_get_value(instance, property);
                const char *was = vesk_instance_get_value(
                    vesk_changes_get_instance_before(changes, instance), property);
                return std::string{now ? now : ""} != (was ? was : "");
            };
            bool complete = vesk_changes_contains_class(changes, "wired") == 1;
            if (differs("wlan0", "channel")) complete = complete && is_known("wlan0", "channel");
            if (differs("wlan1", "ssid")) complete = complete && is_known("wlan1", "ssid");
            if (vesk_instance *fresh = f.get("radio", "wlan7"))
                complete = complete && vesk_changes_contains_instance(changes, fresh) == 1;
            EXPECT_TRUE(complete || changes->incomplete);
            f.changes.reset();
            EXPECT_TRUE(is_unhooked(*f.all));
        });
}

TEST_F(OomChanges, Iterators)
{
    followed f = start();
    vesk_instance_set_value(f.get("radio", "wlan0"), "channel", "11");
    vesk_instance *gone = f.get("radio", "wlan1");
    vesk_instances_remove(f.all.get(), gone);
    vesk_instance_delete(gone);
    for (const auto make_iterator : {vesk_changes_new_class_instances_iterator,
                                     vesk_changes_new_deleted_class_instances_iterator})
        expect_whole_or_null<iterator_ptr>(
            [&] { return make_iterator(f.changes.get(), "radio"); },
            [](vesk_instances_iterator &i) { return text_of(*vesk_instances_iterator_next(&i)); });
}

/** A provider that is told that nothing of its class changed would not apply the change. */
TEST_F(OomChanges, ContainsClassIsRightWithoutMemory)
{
    for (const bool deleted : {false, true})
        for_each_failure(
            [&] {
                followed f = start();
                vesk_instance *radio = f.get("radio", "wlan0");
                if (!deleted) {
                    vesk_instance_set_value(radio, "channel", "11");
                } else {
                    vesk_instances_remove(f.all.get(), radio);
                    vesk_instance_delete(radio);
                }
                return f;
            },
            [](followed &f) { return vesk_changes_contains_class(f.changes.get(), "radio"); },
            [](followed &, int contained) { EXPECT_EQ(contained, 1); });
}

TEST_F(OomChanges, DeleteNeedsNoMemory)
{
    for_each_failure([&] { return start(); },
                     [](followed &f) {
                         f.changes.reset();
                         return 0;
                     },
                     [](followed &f, int) { EXPECT_TRUE(is_unhooked(*f.all)); });
}

TEST_F(OomPipeline, ActionsNew)
{
    expect_whole_or_null<actions_ptr>([] { return vesk_actions_new(); },
                                      [](vesk_actions &) { return std::string{"a set"}; });
}

std::string shown(const actions_ptr &actions)
{
    std::string text;
    for (auto [string, mark] : actions->strings)
        text += std::string{string} + "\n";
    return text;
}

TEST_F(OomPipeline, ActionsAdd)
{
    const auto add = [](const actions_ptr &actions, const char *instance_name) {
        return vesk_actions_add(actions.get(), "provider", "restart", "radio", instance_name);
    };
    for (const bool filled : {false, true})
        expect_all_or_nothing(
            [&] {
                actions_ptr actions{vesk_actions_new()};
                for (int i = 0; filled && i < 40; ++i)
                    add(actions, std::to_string(i).c_str());
                return actions;
            },
            [&](actions_ptr &actions) { return add(actions, "wlan0"); },
            [](const actions_ptr &actions) { return shown(actions); });
}

/** When it cannot be looked up, an action counts as done. */
TEST_F(OomPipeline, ActionsExists)
{
    const actions_ptr actions{vesk_actions_new()};
    vesk_actions_add(actions.get(), "provider", "restart", "radio", "wlan0");
    const auto exists = [&](const char *name) {
        return vesk_actions_exists(actions.get(), "provider", "restart", "radio", name);
    };
    for_each_failure([] { return 0; }, [&](int) { return exists("wlan0"); },
                     [](int, int found) { EXPECT_EQ(found, 1); });
    for_each_failure([] { return 0; }, [&](int) { return exists("wlan1"); },
                     [](int, int found) { EXPECT_TRUE(found == 0 || found == 1); });
    EXPECT_EQ(exists("wlan1"), 0);
}

TEST_F(OomPipeline, ActionsGetString)
{
    expect_whole_or_null<c_string>(
        [] { return vesk_actions_get_string("provider", "restart", "radio", "wlan0"); },
        [](char &text) { return std::string{&text}; });
}

TEST_F(OomPipeline, CommitInfoNew)
{
    using owner = std::unique_ptr<vesk_commit_info, delete_with<vesk_commit_info_delete>>;
    int data = 0;
    expect_whole_or_null<owner>(
        [&] { return vesk_commit_info_new(nullptr, nullptr, nullptr, nullptr, &data); },
        [&](vesk_commit_info &info) {
            return std::string{vesk_commit_info_get_data(&info) == &data ? "data" : ""};
        });
}

TEST_F(OomPipeline, RefreshInfoNew)
{
    const auto all = configuration();
    expect_whole_or_null<refresh_info_ptr>(
        [&] { return vesk_refresh_info_new(all.get()); },
        [&](vesk_refresh_info &info) {
            return std::string{vesk_refresh_info_get_instances(&info) == all.get() ? "all" : ""};
        });
}

/** Every way to want something, on a record that wants nothing yet and on one that wants much. */
TEST_F(OomPipeline, RefreshInfoAdd)
{
    using adder = int (*)(vesk_refresh_info *);
    constexpr adder adders[] = {
        [](vesk_refresh_info *i) { return vesk_refresh_info_add_instance(i, "radio", "wlan0"); },
        [](vesk_refresh_info *i) { return vesk_refresh_info_add_instance(i, "acl", nullptr); },
        [](vesk_refresh_info *i) {
            return vesk_refresh_info_add_all_properties(i, "radio", "wlan0");
        },
        [](vesk_refresh_info *i) {
            return vesk_refresh_info_add_all_properties(i, "acl", nullptr);
        },
        [](vesk_refresh_info *i) {
            return vesk_refresh_info_add_property(i, "radio", "wlan0", "channel");
        },
        [](vesk_refresh_info *i) {
            return vesk_refresh_info_add_property(i, "acl", nullptr, "address");
        },
        [](vesk_refresh_info *i) {
            return vesk_refresh_info_add_property(i, "radio", "wlan1", "channel");
        }};
    for (const bool filled : {false, true})
        for (const adder add : adders)
            expect_all_or_nothing(
                [&] {
                    refresh_info_ptr info{vesk_refresh_info_new(nullptr)};
                    if (filled) {
                        vesk_refresh_info_add_property(info.get(), "radio", "wlan0", "ssid");
                        vesk_refresh_info_add_instance(info.get(), "radio", "wlan2");
                        vesk_refresh_info_add_instance(info.get(), "acl", nullptr);
                        vesk_refresh_info_add_all_properties(info.get(), "system", nullptr);
                    }
                    return info;
                },
                [&](refresh_info_ptr &info) { return add(info.get()); },
                [](const refresh_info_ptr &info) {
                    return printed(
                        [&](FILE *stream) { vesk_refresh_info_print(info.get(), stream); });
                });
}

using provider_ptr = std::unique_ptr<vesk_provider>;

void commit_nothing(vesk_commit_info *) {}

/** The registry of providers, which is emptied at the end. */
struct own_providers {
    struct clearing {
        ~clearing() { providers() = provider_registry{}; }
    };
    std::unique_ptr<clearing> at_end = std::make_unique<clearing>();
    std::vector<provider_ptr> all;

    vesk_provider *make(const char *name, vesk_provider_commit_fn commit = commit_nothing)
    {
        all.emplace_back(vesk_provider_new(name));
        vesk_provider_set_commit_fn(all.back().get(), commit, nullptr);
        return all.back().get();
    }
};

std::string registry_text()
{
    std::string text = providers().ordered ? "ordered\n" : "";
    for (auto [name, provider] : providers().providers)
        text += "provider " + provider->name + "\n";
    for (const std::string &name : providers().order)
        text += "in order " + name + "\n";
    if (!providers().nodes) return text;
    for (auto [name, node] : *providers().nodes) {
        text += "node " + std::string{name};
        for (auto [predecessor, mark] : node->predecessors)
            text += " after " + std::string{predecessor};
        text += "\n";
    }
    return text;
}

TEST_F(OomPipeline, ProviderNew)
{
    expect_whole_or_null<provider_ptr>([] { return vesk_provider_new("the name of a provider"); },
                                       [](vesk_provider &p) { return p.name; });
}

TEST_F(OomPipeline, ProvidersAdd)
{
    expect_all_or_nothing(
        [] {
            own_providers p;
            p.make("a");
            return p;
        },
        [](own_providers &p) { return vesk_providers_add(p.all.front().get()); },
        [](const own_providers &) { return registry_text(); });
}

TEST_F(OomPipeline, ProvidersOrder)
{
    for (const bool known : {false, true})
        expect_all_or_nothing(
            [&] {
                own_providers p;
                if (known) vesk_providers_order("a", "b");
                return p;
            },
            [](own_providers &) { return vesk_providers_order("c", "b"); },
            [](const own_providers &) { return registry_text(); });
}

own_providers four_in_order()
{
    own_providers p;
    for (const char *name : {"the first of all providers", "b", "c", "the last of all providers"})
        vesk_providers_add(p.make(name));
    vesk_providers_order("c", "b");
    vesk_providers_order("b", "the first of all providers");
    return p;
}

TEST_F(OomPipeline, ProvidersDoneAdding)
{
    expect_all_or_nothing([] { return four_in_order(); },
                          [](own_providers &) { return vesk_providers_done_adding(); },
                          [](const own_providers &) { return registry_text(); });
}

TEST_F(OomPipeline, ProvidersDoneAddingSucceedsWhenTriedAgain)
{
    for_each_failure([] { return four_in_order(); },
                     [](own_providers &) { return vesk_providers_done_adding(); },
                     [](own_providers &, int) {
                         EXPECT_EQ(vesk_providers_done_adding(), 0);
                         EXPECT_EQ(providers().order.size(), 4U) << registry_text();
                     });
}

int commits;
int refreshes;

/** A change is applied by all providers, whatever memory is left. */
TEST_F(OomPipeline, ProvidersCommit)
{
    for_each_failure(
        [&] {
            commits = 0;
            own_providers p;
            for (const char *name : {"a", "b"})
                vesk_providers_add(p.make(name, [](vesk_commit_info *info) {
                    EXPECT_NE(vesk_commit_info_get_changes(info), nullptr);
                    ++commits;
                }));
            vesk_providers_done_adding();
            followed f{configuration(), nullptr};
            f.changes.reset(vesk_changes_new(f.all.get()));
            return std::pair{std::move(p), std::move(f)};
        },
        [](auto &state) {
            vesk_providers_commit(state.second.all.get(), state.second.changes.get(), nullptr);
            return 0;
        },
        [](auto &, int) { EXPECT_EQ(commits, 2); });
}

TEST_F(OomPipeline, ProvidersRefresh)
{
    for_each_failure(
        [] {
            refreshes = 0;
            own_providers p;
            vesk_provider_set_refresh_fn(
                p.make("a", nullptr), [](vesk_refresh_info *) { ++refreshes; }, nullptr);
            vesk_providers_add(p.all.front().get());
            vesk_providers_done_adding();
            return std::pair{std::move(p), refresh_info_ptr{vesk_refresh_info_new(nullptr)}};
        },
        [](auto &state) {
            vesk_providers_refresh(state.second.get());
            return 0;
        },
        [](auto &, int) { EXPECT_EQ(refreshes, 1); });
}

} // namespace
} // namespace vesk::test
