#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <list>
#include <string>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <libxml/parser.h>

#include "base/unique_fd.h"
#include "bench/addresses.h"
#include "bench/result_tree.h"

// What the transport alone costs: a server with the daemon's framings, at addresses of its own, so
// that it stands beside the daemon and both can be asked in turn.
//
//   echo_server E    sends each request back
//   echo_server X    parses it, and builds and writes a fixed result of one object as a tree

namespace {

using vesk::unique_fd;
using vesk::bench::delimiter;

struct peer {
    unique_fd fd;
    bool local; // one request behind its length; else any number, each before a delimiter
    std::string input;
};

using answer_function = std::string (*)(const std::string &request);

std::string echo(const std::string &request)
{
    return request;
}

std::string parse_and_build(const std::string &request)
{
    xmlFreeDoc(xmlParseMemory(request.data(), static_cast<int>(request.size())));
    static const vesk::bench::result_tree answer{1};
    return answer.text();
}

bool send_all(int fd, const std::string &text)
{
    for (size_t done = 0; done < text.size();) {
        const ssize_t sent = send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        done += static_cast<size_t>(sent);
    }
    return true;
}

/** False when the connection is over. */
bool serve_local(peer &p, answer_function answer)
{
    uint32_t length = 0;
    if (p.input.size() < sizeof length) return true;
    std::memcpy(&length, p.input.data(), sizeof length);
    if (p.input.size() - sizeof length < length) return true;
    send_all(p.fd.get(), answer(p.input.substr(sizeof length, length)));
    return false;
}

bool serve_tcp(peer &p, answer_function answer)
{
    for (size_t end; (end = p.input.find(delimiter)) != p.input.npos; p.input.erase(0, end + 1))
        if (!send_all(p.fd.get(), answer(p.input.substr(0, end)) + delimiter)) return false;
    return true;
}

bool serve(peer &p, answer_function answer)
{
    char buffer[64 * 1024];
    const ssize_t got = recv(p.fd.get(), buffer, sizeof buffer, 0);
    if (got <= 0) return false;
    p.input.append(buffer, static_cast<size_t>(got));
    return p.local ? serve_local(p, answer) : serve_tcp(p, answer);
}

unique_fd listen_on(const vesk::bench::server_address &server, bool local)
{
    unique_fd fd{socket(local ? AF_UNIX : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    const int on = 1;
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const auto bind_it = [&](const sockaddr *a, socklen_t length) {
        return bind(fd.get(), a, length);
    };
    if (vesk::bench::with_address(server, local, bind_it) != 0 || listen(fd.get(), SOMAXCONN) != 0)
        fd.reset();
    return fd;
}

void run(const unique_fd (&listening)[2], answer_function answer)
{
    std::list<peer> peers;
    for (;;) {
        fd_set ready;
        FD_ZERO(&ready);
        int highest = 0;
        const auto watch = [&](int fd) {
            FD_SET(fd, &ready);
            highest = std::max(highest, fd);
        };
        for (const unique_fd &fd : listening)
            watch(fd.get());
        for (const peer &p : peers)
            watch(p.fd.get());
        if (select(highest + 1, &ready, nullptr, nullptr, nullptr) < 0) return;
        peers.remove_if([&](peer &p) { return FD_ISSET(p.fd.get(), &ready) && !serve(p, answer); });
        for (const unique_fd &fd : listening)
            if (FD_ISSET(fd.get(), &ready))
                peers.push_back(
                    {unique_fd{accept(fd.get(), nullptr, nullptr)}, &fd == &listening[0], {}});
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const std::string mode = argc == 2 ? argv[1] : "";
    const auto *server = vesk::bench::address_of(mode);
    if (!server || (mode != "E" && mode != "X")) {
        std::fputs("usage: echo_server E|X\n", stderr);
        return 2;
    }
    // The local one last: who can connect there finds both.
    unique_fd tcp = listen_on(*server, false);
    const unique_fd listening[2] = {listen_on(*server, true), std::move(tcp)};
    if (!listening[0] || !listening[1]) {
        std::perror("echo_server");
        return 1;
    }
    run(listening, mode == "E" ? echo : parse_and_build);
    return 1;
}
