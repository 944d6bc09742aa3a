#ifndef VESK_TESTS_SUPPORT_SERVICE_H
#define VESK_TESTS_SUPPORT_SERVICE_H

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "eloop/eloop.h"
#include "eloop/task.h"
#include "query/connection.h"

namespace vesk::test {

/** A protocol that does this with its input, for a few connections. */
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

/** Takes the next line off the input, without its end. Null when there is none yet. */
inline const char *next_line(connection &c, std::string &line)
{
    const size_t end = c.input().find('\n');
    if (end == std::string_view::npos) return nullptr;
    line = c.text(0, end);
    c.consume(end + 1);
    return line.c_str();
}

/** A server on a local socket that has no fixed name. */
class local_service {
  public:
    explicit local_service(const protocol &p) : server_{p}
    {
        address_.sun_family = AF_UNIX;
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(fd, raw(), sizeof(sa_family_t)), 0); // the system finds a name
        EXPECT_EQ(getsockname(fd, raw(), &length_), 0);
        EXPECT_EQ(::listen(fd, 8), 0);
        EXPECT_TRUE(server_.listen(fd));
    }
    ~local_service()
    {
        while (server_.connections().first)
            server_.end(*server_.connections().first);
    }
    local_service(const local_service &) = delete;
    local_service &operator=(const local_service &) = delete;

    unsigned size() const { return server_.size(); }

    /** A client that has connected and sent something. */
    unique_fd client(std::string_view sent);

  private:
    sockaddr *raw() { return reinterpret_cast<sockaddr *>(&address_); }

    server server_;
    sockaddr_un address_{};
    socklen_t length_ = sizeof address_;
};

inline void send_to(const unique_fd &client, std::string_view text)
{
    EXPECT_EQ(send(client.get(), text.data(), text.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(text.size()));
}

inline unique_fd local_service::client(std::string_view sent)
{
    unique_fd fd{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    EXPECT_EQ(connect(fd.get(), raw(), length_), 0);
    send_to(fd, sent);
    return fd;
}

/** What a client has received by now, and how the connection stands. */
struct outcome {
    std::string text;
    bool closed = false;
    bool was_reset = false;

    bool operator==(const outcome &) const = default;
};

inline outcome received(const unique_fd &client)
{
    outcome all{};
    char buffer[4096];
    ssize_t got;
    while ((got = recv(client.get(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0)
        all.text.append(buffer, static_cast<size_t>(got));
    all.was_reset = got < 0 && errno == ECONNRESET;
    all.closed = got == 0 || all.was_reset;
    return all;
}

/** Steps, and behind each a pass of the loop that sees what it did. */
class story {
  public:
    using steps = std::vector<std::function<void()>>;

    static void run(steps all)
    {
        story told{std::move(all)};
        run_in_next_pass(told.task_);
        eloop_run();
    }

  private:
    explicit story(steps all) : steps_{std::move(all)} {}

    static void on_pass(void *self)
    {
        auto &told = *static_cast<story *>(self);
        told.is_between_ = !told.is_between_; // a pass looks at the sockets before it runs tasks
        if (told.is_between_ && told.next_ == told.steps_.size()) {
            eloop_terminate();
            return;
        }
        run_in_next_pass(told.task_);
        if (told.is_between_) told.steps_[told.next_++]();
    }

    steps steps_;
    size_t next_ = 0;
    bool is_between_ = false;
    task task_{on_pass, this};
};

} // namespace vesk::test

#endif
