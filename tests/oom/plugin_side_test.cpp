#include <cstdio>
#include <cstring>
#include <string_view>

#include "config/running.h"
#include "pipeline/changes.h"
#include "pipeline/commit_info.h"
#include "pipeline/committer.h"
#include "pipeline/refresh_info.h"
#include "pipeline/refresher.h"
#include "tests/oom/device.h"
#include "vesk/commit_info.h"
#include "vesk/input.h"
#include "vesk/util.h"

// What helps plug-ins: committers, refreshers, sets of characters, text tables.

namespace vesk::test {
namespace {

class OomPluginSide : public device {};

using committer_ptr = std::unique_ptr<vesk_committer>;
using refresher_ptr = std::unique_ptr<vesk_refresher>;

void commit(vesk_commit_info *) {}
void create(vesk_instance *) {}
void remove(vesk_instance *, vesk_commit_info *) {}
void change_group(vesk_instances *, const char *, const char *, vesk_commit_info *) {}
void change(vesk_instance *, vesk_instance *, vesk_commit_info *) {}
void change_property(vesk_instance *, const char *, const char *, const char *) {}

std::string shown(const committer_ptr &committer)
{
    std::string text = committer->pre_commit ? "pre_commit\n" : "";
    for (auto [name, entry] : committer->classes) {
        text += std::string{name} + (entry->instance_create ? " create" : "") +
                (entry->instance_delete ? " delete" : "") + (entry->group_change ? " group" : "") +
                (entry->instance_change ? " change" : "") +
                (entry->change_on_delete ? " also on delete" : "");
        for (auto [property, entered] : entry->property_changes)
            text += " property " + std::string{property};
        text += "\n";
    }
    return text;
}

TEST_F(OomPluginSide, CommitterNew)
{
    expect_whole_or_null<committer_ptr>([] { return vesk_committer_new(); },
                                        [](vesk_committer &) { return std::string{"empty"}; });
}

TEST_F(OomPluginSide, CommitterSetFns)
{
    using setter = int (*)(vesk_committer *);
    constexpr setter setters[] = {
        [](vesk_committer *c) { return vesk_committer_set_pre_commit_fn(c, commit); },
        [](vesk_committer *c) { return vesk_committer_set_instance_create_fn(c, "acl", create); },
        [](vesk_committer *c) { return vesk_committer_set_instance_delete_fn(c, "acl", remove); },
        [](vesk_committer *c) {
            return vesk_committer_set_group_change_fn(c, "acl", change_group);
        },
        [](vesk_committer *c) {
            return vesk_committer_set_instance_change_fn(c, "acl", change, 1);
        },
        [](vesk_committer *c) {
            return vesk_committer_set_property_change_fn(c, "acl", "address", change_property);
        }};
    for (const bool filled : {false, true})
        for (const setter set : setters)
            expect_all_or_nothing(
                [&] {
                    committer_ptr committer{vesk_committer_new()};
                    if (filled)
                        for (const char *cls : {"acl", "radio"})
                            vesk_committer_set_property_change_fn(committer.get(), cls, "x",
                                                                  change_property);
                    return committer;
                },
                [&](committer_ptr &c) { return set(c.get()); },
                [](const committer_ptr &c) { return shown(c); });
}

/** What a committer's callbacks were told, a letter each. */
std::string told;

void tell(char what)
{
    const plenty enough;
    told += what;
}

/** A change is applied to the system, whatever memory is left. */
TEST_F(OomPluginSide, CommitterTellsOfEveryChange)
{
    const committer_ptr committer{vesk_committer_new()};
    vesk_committer *c = committer.get();
    vesk_committer_set_instance_create_fn(c, "acl", [](vesk_instance *) { tell('i'); });
    vesk_committer_set_instance_delete_fn(c, "acl",
                                          [](vesk_instance *, vesk_commit_info *) { tell('d'); });
    vesk_committer_set_group_change_fn(
        c, "acl",
        [](vesk_instances *, const char *, const char *, vesk_commit_info *) { tell('g'); });
    vesk_committer_set_instance_change_fn(
        c, "radio", [](vesk_instance *, vesk_instance *, vesk_commit_info *) { tell('c'); }, 0);
    vesk_committer_set_property_change_fn(
        c, "radio", "channel",
        [](vesk_instance *, const char *, const char *, const char *) { tell('p'); });
    struct followed {
        full_instances_ptr all;
        changes_ptr changes;
    };
    std::string expected;
    for_each_failure(
        [&] {
            followed f{configuration(), nullptr};
            f.changes.reset(vesk_changes_new(f.all.get()));
            vesk_instance *radio = vesk_instances_get(f.all.get(), "radio", "wlan0");
            vesk_instance_set_value(radio, "channel", "11");
            vesk_instances_add(f.all.get(), make("acl", "others").release());
            vesk_instance *gone = nullptr;
            for_each_instance(*f.all->classes.get("acl")->store, [&](vesk_instance &i) {
                if (std::strcmp(i.name, "staff") == 0) gone = &i;
            });
            vesk_instances_remove(f.all.get(), gone);
            vesk_instance_delete(gone);
            if (expected.empty()) expected = "gdgicp";
            told.clear();
            return f;
        },
        [&](followed &f) {
            vesk_commit_info info{vesk_changes_get_before(f.changes.get()), f.all.get(),
                                  f.changes.get(), nullptr, c};
            vesk_committer_fn(&info);
            return 0;
        },
        [&](followed &, int) { EXPECT_EQ(told, expected); });
}

TEST_F(OomPluginSide, RefresherNew)
{
    expect_whole_or_null<refresher_ptr>(
        [] { return vesk_refresher_new("radio"); },
        [](vesk_refresher &r) { return std::string{r.class_name}; });
}

const char *seven(vesk_instance *, const char *, vesk_refresh_info *)
{
    return "7";
}

TEST_F(OomPluginSide, RefresherSetPropertyFn)
{
    for (const bool filled : {false, true})
        expect_all_or_nothing(
            [&] {
                refresher_ptr refresher{vesk_refresher_new("radio")};
                for (int i = 0; filled && i < 12; ++i)
                    vesk_refresher_set_property_fn(refresher.get(), std::to_string(i).c_str(),
                                                   seven);
                return refresher;
            },
            [](refresher_ptr &r) {
                return vesk_refresher_set_property_fn(r.get(), "channel", seven);
            },
            [](const refresher_ptr &r) {
                std::string text;
                for (auto [name, property] : r->property_fns)
                    text += std::string{name} + " ";
                return text;
            });
}

/** A value is the old one or the new one. */
TEST_F(OomPluginSide, RefresherFn)
{
    const refresher_ptr refresher{vesk_refresher_new("radio")};
    vesk_refresher_set_property_fn(refresher.get(), "channel", seven);
    struct wanted {
        full_instances_ptr all;
        refresh_info_ptr info;
    };
    for_each_failure(
        [&] {
            wanted w{configuration(), nullptr};
            w.info.reset(vesk_refresh_info_new(w.all.get()));
            vesk_refresh_info_add_all_properties(w.info.get(), "radio", nullptr);
            vesk_refresh_info_set_data(w.info.get(), refresher.get());
            return w;
        },
        [](wanted &w) {
            vesk_refresher_fn(w.info.get());
            return 0;
        },
        [](wanted &w, int) {
            const std::string channel = vesk_instance_get_value(
                vesk_instances_get(w.all.get(), "radio", "wlan1"), "channel");
            EXPECT_TRUE(channel == "7" || channel == "36") << channel;
        });
}

using set_ptr = std::unique_ptr<vesk_input_set, delete_with<vesk_input_free_set>>;

std::string entries_of(const vesk_input_set &set)
{
    std::string text;
    for (int32_t i = 0; i < set.count; ++i)
        text += std::to_string(set.entries[i]) + " ";
    return text;
}

TEST_F(OomPluginSide, InputSets)
{
    expect_whole_or_null<set_ptr>([] { return vesk_input_new_string_set("abc", 3); }, entries_of);
    const set_ptr first{vesk_input_new_string_set("xyz", 3)};
    expect_whole_or_null<set_ptr>(
        [&] { return vesk_input_get_set_from_range('a', 'f', first.get()); }, entries_of);
    expect_whole_or_null<set_ptr>([] { return vesk_input_get_set_from_range('a', 'f', nullptr); },
                                  entries_of);
}

/** A valid value stays valid: a validator that needed memory would refuse what the user wrote. */
TEST_F(OomPluginSide, ValidatorsNeedNoMemory)
{
    using validator = int (*)(const char *, int32_t);
    constexpr struct {
        validator is_valid;
        const char *value;
    } all[] = {{vesk_input_is_word, "word"},
               {vesk_input_is_phrase, "a phrase of several words that is rather long"},
               {vesk_input_is_yes_no, "yes"},
               {vesk_input_is_on_off, "off"},
               {vesk_input_is_up_down, "up"},
               {vesk_input_is_interface, "eth0"},
               {vesk_input_is_int, "-12"},
               {vesk_input_is_positive_int, "12"},
               {vesk_input_is_percent, "12"},
               {vesk_input_is_mac, "00:11:22:33:44:55"},
               {vesk_input_is_ip, "192.168.100.101"},
               {vesk_input_is_ipv6, "2001:0db8:0000:0000:0000:0000:0000:0001"},
               {vesk_input_is_domain_name, "a-long-host-name.of-a-long-domain.example"},
               {vesk_input_is_ip_or_domain_name, "a-long-host-name.of-a-long-domain.example"},
               {vesk_input_is_ssid, "a network of the house"},
               {vesk_input_is_passphrase, "a passphrase"},
               {vesk_input_is_wpa_psk_key, "a key of which nobody knows"}};
    for (const auto &[is_valid, value] : all) {
        const auto length = static_cast<int32_t>(std::strlen(value));
        const int usually = is_valid(value, length);
        for_each_failure([] { return 0; },
                         [&, v = is_valid, t = value](int) { return v(t, length); },
                         [&, t = value](int, int result) { EXPECT_EQ(result, usually) << t; });
    }
}

/** Running for one attempt. */
struct own_running {
    struct ending {
        ~ending() { vesk_instances_delete_all(exchange_running(nullptr)); }
    };
    std::unique_ptr<ending> at_end = std::make_unique<ending>();
};

const char *table_names[] = {"name", "channel", "ssid", nullptr};

/** Each line of a table is taken over, or not. */
TEST_F(OomPluginSide, Put2object)
{
    for_each_failure(
        [&] {
            exchange_running(configuration().release());
            return own_running{};
        },
        [](own_running &) {
            char table[] = "wlan0 11 \"a < b & c\"\nwlan1 13 &amp;&#65;\n";
            vesk_util_put2object(table, table_names, "radio");
            return 0;
        },
        [](own_running &, int) {
            const vesk_instances *all = vesk_config_get_running();
            const auto value = [&](const char *name) {
                const char *text =
                    vesk_instance_get_value(vesk_instances_get(all, "radio", name), "ssid");
                return std::string{text ? text : "none"};
            };
            EXPECT_TRUE(value("wlan0") == "a < b & c" || value("wlan0") == "a network of the house")
                << value("wlan0");
            EXPECT_TRUE(value("wlan1") == "&A" || value("wlan1") == "none") << value("wlan1");
            EXPECT_EQ(all->hook.listener, nullptr);
        });
}

void fill_table(void *, char *buffer, int size)
{
    std::snprintf(buffer, static_cast<size_t>(size), "wlan0 11 x\n");
}

TEST_F(OomPluginSide, TxtTables)
{
    for_each_failure(
        [&] {
            exchange_running(configuration().release());
            return own_running{};
        },
        [](own_running &) {
            vesk_txt_table table{~0U,     fill_table, nullptr, vesk_util_put2object,
                                 "radio", table_names};
            vesk_txt_table *const tables[] = {&table, nullptr};
            vesk_instance *radio = vesk_instances_get(vesk_config_get_running(), "radio", "wlan0");
            const char *channel = vesk_util_txt_tables_get_val(radio, tables, "channel");
            return std::string_view{channel ? channel : "none"};
        },
        [](own_running &, std::string_view channel) {
            EXPECT_TRUE(channel == "1" || channel == "11") << channel;
        });
}

TEST_F(OomPluginSide, TxtTablesAddPropertiesAndRefresh)
{
    struct target {
        std::unique_ptr<vesk_class> cls{vesk_class_new("x")};
        refresher_ptr refresher{vesk_refresher_new("x")};
    };
    for_each_failure([] { return target{}; },
                     [](target &t) {
                         vesk_txt_table table{0, nullptr, nullptr, nullptr, nullptr, table_names};
                         vesk_txt_table *const tables[] = {&table, nullptr};
                         vesk_util_txt_tables_add_properties(tables, t.cls.get());
                         vesk_util_txt_tables_add_refresh(tables, t.refresher.get(), seven);
                         return 0;
                     },
                     [](target &t, int) { EXPECT_LE(vesk_class_get_properties(t.cls.get()), 2U); });
}

TEST_F(OomPluginSide, WalksAndProcessIds)
{
    for_each_failure([] { return 0; },
                     [](int) {
                         static char out[4000];
                         const char *names[] = {"NAME", nullptr};
                         out[0] = '\0';
                         vesk_util_dir_walk("/etc/os-rel*", out, sizeof out, "",
                                            vesk_util_add_line_from_proc, names);
                         return out[0] != '\0' && out[std::strlen(out) - 1] != '\n';
                     },
                     [](int, bool unfinished) { EXPECT_FALSE(unfinished); });
    for_each_failure([] { return 0; }, [](int) { return vesk_util_findpid("vesk_oom_tests"); },
                     [](int, int pid) { EXPECT_TRUE(pid == -1 || pid > 0) << pid; });
}

} // namespace
} // namespace vesk::test
