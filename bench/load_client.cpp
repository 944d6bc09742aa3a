#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/types.h>
#include <vector>

#include "base/unique_fd.h"
#include "bench/addresses.h"
#include "bench/requests.h"

// Sends requests for a while and says how they were answered.
//
//   load_client SERVER PID unix|tcp CLIENTS select|update|thousand OBJECTS SECONDS EXPECTED
//
// SERVER says where it listens, PID is its process. Each client has one request under way: over the
// local socket with a connection for each, over TCP on one connection. EXPECTED is what every
// answer contains. Prints requests per second, the median and the 99th percentile of the time to
// the answer in microseconds, and the processor time of the server for a request in microseconds.

namespace {

using seconds = std::chrono::duration<double>;
using vesk::unique_fd;
using vesk::bench::delimiter;
using vesk::bench::variants;
using timer = std::chrono::steady_clock;

constexpr double warm_up_share = 0.1;
constexpr size_t fewest = 5; // requests that are measured, however long each takes

struct options {
    const vesk::bench::server_address *server;
    pid_t process;
    bool local;
    size_t clients;
    std::string work;
    size_t objects;
    seconds duration;
    std::string expected;
};

struct client {
    unique_fd fd;
    std::string answer;
    timer::time_point start;
};

[[noreturn]] void die(const char *what)
{
    std::fprintf(stderr, "load_client: %s\n", what);
    std::exit(1);
}

std::string framed(const std::string &request, bool local)
{
    if (!local) return request + delimiter;
    const auto length = static_cast<uint32_t>(request.size());
    std::string header(sizeof length, '\0');
    std::memcpy(header.data(), &length, sizeof length);
    return header + request;
}

/** Another number in every run. */
size_t number_of_run()
{
    using std::chrono::milliseconds, std::chrono::system_clock;
    const auto now = system_clock::now().time_since_epoch();
    return static_cast<size_t>(std::chrono::duration_cast<milliseconds>(now).count());
}

/** What is written differs from what earlier runs wrote; what is touched is in no cache. */
std::vector<std::string> make_requests(const options &chosen)
{
    using namespace vesk::bench;
    const size_t run = number_of_run();
    const auto seed = static_cast<unsigned>(run);
    std::vector<std::string> all;
    if (chosen.work == "update")
        all = updates(chosen.objects, run * variants, seed, in_transaction);
    else if (chosen.work == "thousand")
        all.push_back(select_first_class());
    else
        for (const object &which : random_objects(variants, chosen.objects, seed))
            all.push_back(select_one(which));
    for (std::string &request : all)
        request = framed(request, chosen.local);
    return all;
}

/** The processor time of the server, in seconds. */
double server_seconds(const options &chosen)
{
    clockid_t clock;
    timespec now;
    if (clock_getcpuclockid(chosen.process, &clock) != 0 || clock_gettime(clock, &now) != 0)
        die("cannot see the server's processor time");
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

class load {
  public:
    load(const options &chosen)
        : chosen_{chosen}, requests_{make_requests(chosen)}, clients_(chosen.clients)
    {
    }

    void run(seconds duration, size_t at_least);
    void report() const;

  private:
    void begin(client &c);
    bool receive(client &c) const;
    void end(client &c);
    void wait_for_some();

    const options &chosen_;
    std::vector<std::string> requests_;
    std::vector<client> clients_;
    std::vector<pollfd> watched_;
    std::vector<double> times_; // in seconds
    seconds elapsed_{};
    double server_ = 0; // its processor time, in seconds
    size_t next_ = 0;
};

unique_fd connect_to(const vesk::bench::server_address &server, bool local)
{
    unique_fd fd{socket(local ? AF_UNIX : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    const auto connect_it = [&](const sockaddr *a, socklen_t length) {
        return connect(fd.get(), a, length);
    };
    if (vesk::bench::with_address(server, local, connect_it) != 0) die("cannot connect");
    return fd;
}

void load::begin(client &c)
{
    const std::string &request = requests_[next_++ % requests_.size()];
    c.answer.clear();
    c.start = timer::now();
    if (!c.fd) c.fd = connect_to(*chosen_.server, chosen_.local);
    if (send(c.fd.get(), request.data(), request.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(request.size()))
        die("cannot send");
}

/** Whether the answer is complete. */
bool load::receive(client &c) const
{
    char buffer[64 * 1024];
    const ssize_t got = recv(c.fd.get(), buffer, sizeof buffer, 0);
    if (got < 0) die("cannot receive");
    c.answer.append(buffer, static_cast<size_t>(got));
    if (chosen_.local) return got == 0;
    if (got == 0) die("the connection was closed");
    return c.answer.back() == delimiter;
}

void load::end(client &c)
{
    if (chosen_.local) c.fd.reset();
    times_.push_back(seconds{timer::now() - c.start}.count());
    if (c.answer.find(chosen_.expected) == std::string::npos) die("an answer is wrong");
}

/** A single client waits in its recv(). */
void load::wait_for_some()
{
    watched_.clear();
    for (const client &c : clients_)
        watched_.push_back(
            {c.fd.get(), POLLIN, static_cast<short>(chosen_.clients == 1 ? POLLIN : 0)});
    if (chosen_.clients > 1 && poll(watched_.data(), watched_.size(), -1) < 0) die("cannot wait");
}

void load::run(seconds duration, size_t at_least)
{
    times_.clear();
    const double server_start = server_seconds(chosen_);
    const auto start = timer::now();
    size_t under_way = clients_.size();
    for (client &c : clients_)
        begin(c);
    while (under_way > 0) {
        wait_for_some();
        for (size_t i = 0; i < clients_.size(); ++i) {
            if (!watched_[i].revents || !receive(clients_[i])) continue;
            end(clients_[i]);
            if (timer::now() - start < duration || times_.size() < at_least)
                begin(clients_[i]);
            else
                --under_way;
        }
    }
    elapsed_ = timer::now() - start;
    server_ = server_seconds(chosen_) - server_start;
}

void load::report() const
{
    std::vector<double> sorted = times_;
    std::sort(sorted.begin(), sorted.end());
    const auto at = [&](size_t percent) {
        return sorted[(sorted.size() - 1) * percent / 100] * 1e6;
    };
    const auto count = static_cast<double>(sorted.size());
    std::printf("%.1f %.2f %.2f %.3f\n", count / elapsed_.count(), at(50), at(99),
                server_ / count * 1e6);
}

} // namespace

int main(int argc, char *argv[])
{
    const auto *server = argc == 9 ? vesk::bench::address_of(argv[1]) : nullptr;
    if (!server) {
        std::fputs("usage: load_client daemon|E|X PID unix|tcp CLIENTS select|update|thousand "
                   "OBJECTS SECONDS EXPECTED\n",
                   stderr);
        return 2;
    }
    const options chosen{server,
                         static_cast<pid_t>(std::strtol(argv[2], nullptr, 10)),
                         std::strcmp(argv[3], "unix") == 0,
                         std::strtoul(argv[4], nullptr, 10),
                         argv[5],
                         std::strtoul(argv[6], nullptr, 10),
                         seconds{std::strtod(argv[7], nullptr)},
                         argv[8]};
    load work{chosen};
    work.run(chosen.duration * warm_up_share, 1);
    work.run(chosen.duration, fewest);
    work.report();
    return 0;
}
