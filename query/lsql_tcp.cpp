#include "vesk/query.h"

#include <cerrno>

#include "base/never_destroyed.h"
#include "core/log.h"
#include "query/connection.h"
#include "query/limits.h"
#include "query/serve.h"
#include "vesk/socket.h"

namespace {

constexpr unsigned short port = 8002;
constexpr char delimiter = 0x13;

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

/** Takes the next complete request off the input. False when there is none yet. */
bool take_request(vesk::connection &c, std::string &request)
{
    std::string &input = c.input();
    if (c.scanned == 0) input.erase(0, input.find('<')); // all of it where there is none
    const size_t end = input.find(delimiter, c.scanned);
    c.scanned = end == input.npos ? input.size() : 0;
    if (end == input.npos) return false;
    request.assign(input, 0, end);
    input.erase(0, end + 1);
    return true;
}

vesk::progress input(vesk::connection &c)
{
    std::string request;
    if (!take_request(c, request)) {
        if (c.input().size() <= vesk::max_request) return vesk::progress::wait;
        vesk::report_too_long(c.input().size());
        return vesk::progress::abort;
    }
    vesk::answer(c, request, std::string(1, delimiter));
    return vesk::progress::again;
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
