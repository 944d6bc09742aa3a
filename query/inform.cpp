#include "vesk/inform.h"

#include <cassert>
#include <cstring>
#include <memory>
#include <string>

#include "base/name_map.h"
#include "base/never_destroyed.h"
#include "base/or_on_oom.h"
#include "core/log.h"
#include "query/connection.h"
#include "query/limits.h"
#include "query/serve.h"
#include "vesk/socket.h"

namespace {

constexpr unsigned abstract_name = 1;
constexpr size_t version_size = 4;
constexpr size_t header_size = 8; // version and length
constexpr uint32_t known_version = 0;
constexpr int handler_failed = 1;

struct inform_handler {
    vesk_inform_fn run;
};

using parameter_table = vesk::name_map<const char>;

vesk::owned_map<inform_handler> &handlers()
{
    static vesk::never_destroyed<vesk::owned_map<inform_handler>> table{8U};
    return *table;
}

std::unique_ptr<parameter_table> parameters; // while a request is being handled

/** Splits "name=value&name=value" in place; the first value of a name stays. */
void split_parameters(char *text)
{
    while (text) {
        char *value = std::strchr(text, '=');
        if (!value) {
            vesk_debug_eprintf("Bad inform request.\n");
            return;
        }
        *value++ = '\0';
        char *next = std::strchr(value, '&');
        if (next) *next++ = '\0';
        parameters->insert(text, value);
        text = next;
    }
}

const char *dispatch()
{
    const char *object = parameters->get("object");
    if (!object) return "ERR no object parameter";
    const inform_handler *handler = handlers().get(object);
    if (!handler) return "ERR no handler";
    return handler->run() == handler_failed ? "ERR returned by handler" : "OK";
}

/** The parameters exist while one request is handled, and are gone whatever its handler did. */
struct inform_request {
    explicit inform_request(char *text)
    {
        assert(!parameters && "start_inform_socket_request");
        parameters = std::make_unique<parameter_table>(8);
        try {
            split_parameters(text);
        } catch (...) {
            parameters.reset();
            throw;
        }
    }
    ~inform_request()
    {
        assert(parameters && "end_inform_socket_request");
        parameters.reset();
    }
    inform_request(const inform_request &) = delete;
    inform_request &operator=(const inform_request &) = delete;
};

void serve(vesk::connection &c, char *text)
{
    const inform_request request{text};
    c.output() += dispatch();
    c.output() += '\n';
}

vesk::progress input(vesk::connection &c)
{
    if (c.input().size() < version_size) return vesk::progress::wait;
    if (vesk::number_at(c, 0) != known_version) {
        vesk_debug_eprintf("Inform version number unrecognized.\n");
        return vesk::progress::close;
    }
    if (c.input().size() < header_size) return vesk::progress::wait;
    return vesk::serve_body(c, header_size, vesk::number_at(c, version_size), serve);
}

constexpr vesk::protocol inform_protocol = {
    .accept_failed = "inform accept",
    .max_connections = vesk::max_local_clients,
    .evicts_oldest = true,
    .reads_while_writing = false,
    .input = input,
    .opened = nullptr,
    .closed = nullptr,
    .full = nullptr,
};

} // namespace

int vesk_inform_init(void)
{
    static vesk::never_destroyed<vesk::server> server{inform_protocol};
    return (*server).listen(vesk_socket_get_unix("vesk_sock_inform", abstract_name)) ? 0 : 1;
}

int vesk_inform_fn_add(const char *name, vesk_inform_fn handler)
{
    if (!name) return vesk::fail("Name is null.\n");
    if (!handler) return vesk::fail("inform_fn is null.\n");
    return vesk::or_on_oom(1, [&] {
        auto entry = std::make_unique<inform_handler>(inform_handler{handler});
        return handlers().insert(name, entry) ? 0 : 1;
    });
}

const char *vesk_inform_get_value(const char *name)
{
    if (!name || !parameters) return nullptr;
    return parameters->get(name);
}
