#include "vesk/query.h"

#include "base/never_destroyed.h"
#include "query/connection.h"
#include "query/limits.h"
#include "query/serve.h"
#include "vesk/socket.h"

namespace {

constexpr unsigned abstract_name = 1;
constexpr size_t header_size = 4; // the length

void serve(vesk::connection &c, char *request)
{
    vesk::answer(c, request, "");
}

vesk::progress input(vesk::connection &c)
{
    if (c.input().size() < header_size) return vesk::progress::wait;
    return vesk::serve_body(c, header_size, vesk::number_at(c, 0), serve);
}

constexpr vesk::protocol socket_api_protocol = {
    .accept_failed = "do_sockapi accept",
    .max_connections = vesk::max_local_clients,
    .evicts_oldest = true,
    .reads_while_writing = false,
    .input = input,
    .opened = nullptr,
    .closed = nullptr,
    .full = nullptr,
};

} // namespace

int vesk_socket_api_init(void)
{
    static vesk::never_destroyed<vesk::server> server{socket_api_protocol};
    return (*server).listen(vesk_socket_get_unix("vesk_sock_lsql", abstract_name)) ? 0 : 1;
}
