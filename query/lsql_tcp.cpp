#include "vesk/query.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "base/never_destroyed.h"
#include "core/log.h"
#include "query/connection.h"
#include "query/limits.h"
#include "query/serve.h"
#include "vesk/socket.h"

namespace {

constexpr unsigned short port = 8002;
constexpr std::string_view delimiter = "\x13";

void opened(vesk::connection &c)
{
    vesk_debug_1printf("LSQL connection started (fd %d).\n", c.fd());
}

void closed(vesk::connection &c)
{
    vesk_debug_1printf("Notify connection ended (fd %d).\n", c.fd());
}

void full()
{
    errno = EMFILE;
    vesk_debug_perror("vesk_lsql_new_connection add_connection");
}

/** Drops what stands before a request: all of the input where none begins. */
void skip_to_request(vesk::connection &c)
{
    if (c.scanned == 0) c.consume(std::min(c.input().find('<'), c.input().size()));
}

vesk::progress input(vesk::connection &c)
{
    skip_to_request(c);
    const size_t end = c.input().find(delimiter, c.scanned);
    if (end != std::string_view::npos) {
        c.scanned = 0;
        vesk::answer(c, c.text(0, end), delimiter);
        c.consume(end + delimiter.size());
        return vesk::progress::again;
    }
    c.scanned = c.input().size();
    if (c.scanned <= vesk::max_request) return vesk::progress::wait;
    vesk::report_too_long(c.scanned);
    return vesk::progress::abort;
}

constexpr vesk::protocol lsql_protocol = {
    .accept_failed = "vesk_lsql_new_connection accept",
    .max_connections = vesk::max_tcp_clients,
    .evicts_oldest = false,
    .reads_while_writing = false,
    .input = input,
    .opened = opened,
    .closed = closed,
    .full = full,
};

} // namespace

int vesk_lsql_init(void)
{
    static vesk::never_destroyed<vesk::server> server{lsql_protocol};
    if ((*server).listen(vesk_socket_get_tcp(port, 1))) return 0;
    vesk_debug_eprintf("Unable to open LSQL TCP socket - disabled.\n");
    return 1;
}
