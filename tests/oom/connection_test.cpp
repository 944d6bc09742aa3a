#include "query/connection.h"

#include <array>
#include <cctype>
#include <cerrno>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>

#include "config/running.h"
#include "eloop/eloop.h"
#include "query/serve.h"
#include "tests/oom/device.h"

// Connections: a client is answered, or its connection ends; nobody waits for ever.

namespace vesk::test {
namespace {

class OomConnection : public device {};

/** The next line of what has come in; false when there is none yet. */
bool take_line(connection &c, std::string &line)
{
    const size_t end = c.input().find('\n');
    if (end == std::string::npos) return false;
    line = c.input().substr(0, end);
    c.input().erase(0, end + 1);
    return true;
}

/** A service that answers each line with itself, in capitals. */
progress shout(connection &c)
{
    std::string line;
    if (!take_line(c, line)) return progress::wait;
    for (char &letter : line)
        letter = static_cast<char>(std::toupper(letter));
    return c.send(line + "\n", 1 << 20) ? progress::again : progress::abort;
}

/** One that evaluates each line as a request. */
progress evaluate(connection &c)
{
    std::string line;
    if (!take_line(c, line)) return progress::wait;
    answer(c, line, "");
    return progress::close;
}

constexpr protocol protocol_of(progress (*input)(connection &))
{
    return {.accept_failed = "accept",
            .max_connections = 8,
            .evicts_oldest = true,
            .reads_while_writing = false,
            .input = input,
            .opened = nullptr,
            .closed = nullptr,
            .full = nullptr};
}

constexpr protocol shouting = protocol_of(shout);
constexpr protocol evaluating = protocol_of(evaluate);

unsigned passes = 0;

/** Counts the passes of the loop, which is never idle meanwhile. */
void end_after_some_passes(void *, void *)
{
    constexpr unsigned enough = 50;
    const plenty for_this;
    if (++passes < enough)
        eloop_register_timeout(0, 0, end_after_some_passes, nullptr, nullptr);
    else
        eloop_terminate();
}

/** A service on a local socket that has no fixed name, and two clients that have sent something. */
struct conversation {
    conversation(const protocol &p, const std::string &sent)
    {
        eloop_init(nullptr);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        auto *const raw = reinterpret_cast<sockaddr *>(&address);
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(fd, raw, sizeof(sa_family_t)), 0); // the system finds a name
        EXPECT_EQ(getsockname(fd, raw, &length), 0);
        EXPECT_EQ(listen(fd, 2), 0);
        service = std::make_unique<server>(p);
        EXPECT_TRUE(service->listen(fd));
        for (unique_fd &client : clients) {
            client.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
            EXPECT_EQ(connect(client.get(), raw, length), 0);
            EXPECT_EQ(send(client.get(), sent.data(), sent.size(), MSG_NOSIGNAL),
                      static_cast<ssize_t>(sent.size()));
        }
        passes = 0;
        end_after_some_passes(nullptr, nullptr);
    }
    conversation(conversation &&) = default;
    ~conversation()
    {
        while (service && service->connections().first)
            service->end(*service->connections().first);
        free_ended_connections();
        if (service) eloop_destroy();
    }

    std::unique_ptr<server> service;
    std::array<unique_fd, 2> clients;
};

struct outcome {
    std::string text;
    bool closed;
};

outcome received(const unique_fd &client)
{
    outcome all{};
    char buffer[4096];
    ssize_t got;
    while ((got = recv(client.get(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0)
        all.text.append(buffer, static_cast<size_t>(got));
    all.closed = got == 0 || errno == ECONNRESET;
    return all;
}

/** Each client has all of its answers, or has lost its connection. */
void expect_answered_or_closed(const protocol &p, const std::string &sent,
                               const std::string &answers)
{
    for_each_failure(
        [&] {
            return conversation{p, sent};
        },
        [](conversation &) {
            eloop_run();
            return 0;
        },
        [&](conversation &c, int) {
            for (const unique_fd &client : c.clients) {
                const auto [text, closed] = received(client);
                EXPECT_TRUE(text == answers || (closed && answers.starts_with(text)))
                    << (closed ? "closed after: " : "left open after: ") << text;
            }
        });
}

TEST_F(OomConnection, OneRequest)
{
    expect_answered_or_closed(shouting, "a line that does not fit into a short string\n",
                              "A LINE THAT DOES NOT FIT INTO A SHORT STRING\n");
}

TEST_F(OomConnection, RequestsInARow)
{
    expect_answered_or_closed(shouting, "one\ntwo\nthree\n", "ONE\nTWO\nTHREE\n");
}

TEST_F(OomConnection, EvaluatedRequest)
{
    exchange_running(configuration().release());
    expect_answered_or_closed(
        evaluating, "<lsql><select><radio name=\"wlan1\"><channel/></radio></select></lsql>\n",
        "<?xml version=\"1.0\"?>\n<lsql_result><dataset><radio name=\"wlan1\"><channel>36</channel>"
        "</radio></dataset><rc>0</rc><counter>1</counter></lsql_result>\n");
    vesk_instances_delete_all(exchange_running(nullptr));
}

} // namespace
} // namespace vesk::test
