#include "vesk/notify.h"

#include <array>
#include <cstdint>
#include <string>

#include <qorn.h>

#include "base/never_destroyed.h"
#include "base/or_on_oom.h"
#include "base/text.h"
#include "base/xml_text.h"
#include "core/log.h"
#include "query/connection.h"
#include "query/limits.h"
#include "vesk/socket.h"

namespace {

constexpr unsigned short port = 8001;

std::array<vesk::connection *, vesk::max_tcp_clients> subscribers{};

int32_t change_counter = 1; // the first message carries 2

void free_slot(vesk::connection &gone)
{
    for (vesk::connection *&slot : subscribers)
        if (slot == &gone) slot = nullptr;
    gone.is_subscriber = false;
}

/** A connection is a subscriber from its first readable event on. False when all slots are taken.
 */
bool subscribe(vesk::connection &c)
{
    if (c.is_subscriber) return true;
    for (vesk::connection *&slot : subscribers) {
        if (slot) continue;
        slot = &c;
        c.is_subscriber = true;
        return true;
    }
    return false;
}

void opened(vesk::connection &c)
{
    vesk_debug_1printf("Notify connection started (fd %d).\n", c.fd());
}

vesk::progress input(vesk::connection &c)
{
    c.consume(c.input().size()); // a subscriber has nothing to say
    if (!subscribe(c)) {
        vesk_debug_eprintf("Unable to add notify connection.\n");
        return vesk::progress::abort;
    }
    return c.at_end() ? vesk::progress::close : vesk::progress::wait;
}

void closed(vesk::connection &c)
{
    if (!c.is_subscriber) return;
    free_slot(c);
    vesk_debug_1printf("Notify connection ended (fd %d).\n", c.fd());
}

constexpr vesk::protocol notify_protocol = {
    .accept_failed = "vesk_notify_new_connection accept",
    .max_connections = vesk::max_pending_subscribers + vesk::max_tcp_clients,
    .evicts_oldest = true,
    .reads_while_writing = true,
    .input = input,
    .opened = opened,
    .closed = closed,
    .full = nullptr,
};

vesk::server &notify_server()
{
    static vesk::never_destroyed<vesk::server> instance{notify_protocol};
    return *instance;
}

/** Text escaped for an attribute or an element. Throws std::bad_alloc. */
std::string escaped(const char *text)
{
    const vesk::c_string copy{qorn_xml_escape(vesk::readable_back(text).c_str())};
    if (!copy) throw std::bad_alloc{};
    return copy.get();
}

/** ` name="text"`, or nothing without a text. */
std::string attribute(const char *name, const char *text)
{
    if (!text) return {};
    return std::string{" "} + name + "=\"" + escaped(text) + "\"";
}

/** Queues a message for one subscriber, whole or not at all; what fails for one is no other's loss.
 */
bool deliver(vesk::connection &subscriber, const std::string &text)
{
    return vesk::or_on_oom(false, [&] { return subscriber.send(text, vesk::max_backlog); });
}

/** A message as it goes out: with its line feed and the NUL that delimits it. */
std::string message(const std::string &body)
{
    return "<?xml version=\"1.0\"?>" + body + "\n" + '\0';
}

} // namespace

int vesk_notify_init(void)
{
    return notify_server().listen(vesk_socket_get_tcp(port, 1)) ? 0 : 1;
}

void vesk_notify_conf_change(const char *origin)
{
    ++change_counter;
    vesk::or_on_oom(0, [&] {
        const std::string text = message("<conf_changed" + attribute("origin", origin) + ">" +
                                         std::to_string(change_counter) + "</conf_changed>");
        for (vesk::connection *subscriber : subscribers)
            if (subscriber) deliver(*subscriber, text);
        return 0;
    });
}

void vesk_notify_object_change(const char *origin, const char *class_name,
                               const char *instance_name, const char *property, const char *value)
{
    if (!class_name || !property || !value) {
        vesk::fail("Null argument. (%s)\n", "vesk_notify_object_change");
        return;
    }
    vesk::or_on_oom(0, [&] {
        const std::string cls = class_name;
        const std::string name = property;
        const std::string text =
            message("<object_changed" + attribute("origin", origin) + "><" + cls +
                    attribute("name", instance_name) + "><" + name + ">" + escaped(value) + "</" +
                    name + "></" + cls + "></object_changed>");
        for (vesk::connection *&slot : subscribers)
            if (slot && !deliver(*slot, text)) free_slot(*slot);
        return 0;
    });
}
