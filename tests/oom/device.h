#ifndef VESK_TESTS_OOM_DEVICE_H
#define VESK_TESTS_OOM_DEVICE_H

#include <memory>
#include <string>
#include <utility>

#include "tests/support/alloc.h"
#include "tests/support/model.h"

namespace vesk::test {

/** A small device: classes of each type, and a configuration with instances of each. */
class device : public fixture {
  protected:
    device()
    {
        add_class("system", VESK_CLASS_SINGLETON, {"contact", "status"});
        add_class("user", VESK_CLASS_ANONYMOUS, {"login"});
        add_class("radio", VESK_CLASS_UNIQUE_NAMED, {"channel", "ssid"});
        add_class("acl", VESK_CLASS_GROUP_NAMED, {"address"});
        add_abstract("port", {"mtu"});
        add_subclass("wired", "port", {"speed"});
        add_subclass("wireless", "port", {"band"});
        vesk_property *needed = vesk_class_get_property(vesk_classes_get("wired"), "speed");
        vesk_property_set_required_on_insert(needed, 1);
        freeze();
    }

    /** Instances of all classes but "wireless". */
    full_instances_ptr configuration()
    {
        full_instances_ptr all{vesk_instances_new()};
        const auto add = [&](instance_ptr instance) {
            EXPECT_EQ(vesk_instances_add(all.get(), instance.release()), 0);
        };
        add(make("system", nullptr, {{"contact", "somebody who is called at night"}}));
        add(make("user", nullptr, {{"login", "one"}}));
        add(make("user", nullptr, {{"login", "two"}}));
        add(make("radio", "wlan0", {{"channel", "1"}, {"ssid", "a network of the house"}}));
        add(make("radio", "wlan1", {{"channel", "36"}}));
        add(make("radio", "house & garden", {{"ssid", "<house> & \"garden\""}}));
        add(make("acl", "guests", {{"address", "00:00:00:00:00:01"}}));
        add(make("acl", "staff", {{"address", "00:00:00:00:00:02"}}));
        add(make("acl", "guests", {{"address", "00:00:00:00:00:03"}}));
        add(make("wired", "eth0", {{"type", "wired"}, {"speed", "1000"}, {"mtu", "1500"}}));
        return all;
    }
};

inline std::string text_of(const vesk_instances &instances)
{
    return printed([&](FILE *stream) { vesk_instances_print(&instances, stream); });
}

inline std::string text_of(const vesk_instance &instance)
{
    return printed([&](FILE *stream) { vesk_instance_print(&instance, stream); });
}

inline std::string text_of(const vesk_class &cls)
{
    return printed([&](FILE *stream) { vesk_class_print(&cls, stream); });
}

inline std::string text_of(const vesk_property &property)
{
    return printed([&](FILE *stream) { vesk_property_print(&property, stream); });
}

/** The instances alone: an addition that failed may leave the empty place of a class behind. */
template <typename Collection> std::string instances_of(const Collection &all)
{
    std::string text;
    for_each_instance(all, [&](const vesk_instance &i) { text += text_of(i); });
    return text;
}

/** Frees what an exported _new function gave. */
template <auto Delete> struct delete_with {
    template <typename T> void operator()(T *object) const { Delete(object); }
};
using property_ptr = std::unique_ptr<vesk_property, delete_with<vesk_property_delete>>;

/** Something made by a call, printed by what it is; none when the call gave null. */
template <typename Owner> struct made {
    Owner object;
    int keep(typename Owner::pointer fresh)
    {
        object.reset(fresh);
        return fresh ? 0 : 1;
    }
};

/** A constructor: it gives a whole object, or null and leaves nothing behind. */
template <typename Owner, typename Make, typename Print>
void expect_whole_or_null(Make &&make, Print &&print)
{
    expect_all_or_nothing(
        [] { return made<Owner>{}; }, [&](made<Owner> &m) { return m.keep(make()); },
        [&](const made<Owner> &m) { return m.object ? print(*m.object) : std::string{"null"}; });
}

} // namespace vesk::test

#endif
