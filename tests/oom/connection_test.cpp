#include "query/connection.h"

#include <array>
#include <cctype>
#include <memory>
#include <string>

#include "config/running.h"
#include "eloop/eloop.h"
#include "eloop/task.h"
#include "query/serve.h"
#include "tests/oom/device.h"
#include "tests/support/service.h"

// Connections: a client is answered, or its connection ends; nobody waits for ever.

namespace vesk::test {
namespace {

class OomConnection : public device {};

/** A service that answers each line with itself, in capitals. */
progress shout(connection &c)
{
    std::string line;
    if (!next_line(c, line)) return progress::wait;
    for (const char letter : line)
        c.output() += static_cast<char>(std::toupper(letter));
    c.output() += '\n';
    return progress::again;
}

/** One that answers each line with more than a socket holds. */
progress shout_for_long(connection &c)
{
    std::string line;
    if (!next_line(c, line)) return progress::wait;
    c.output().append(size_t{1} << 20, 'A');
    return progress::close;
}

/** One that evaluates a line as a request. */
progress evaluate(connection &c)
{
    std::string line;
    if (!next_line(c, line)) return progress::wait;
    answer(c, line.c_str(), "");
    return progress::close;
}

constexpr protocol shouting = protocol_of(shout);
constexpr protocol shouting_for_long = protocol_of(shout_for_long);
constexpr protocol evaluating = protocol_of(evaluate);

/** Two clients of a service, with all the memory they need. */
class conversation {
  public:
    conversation(const protocol &p, std::string_view first, std::string_view later)
        : loop_begins_{begin()}, service_{p}, later_{later}
    {
        for (talker &one : talkers)
            one.fd = service_.client(first);
        run_in_next_pass(pass_);
    }
    ~conversation()
    {
        cancel(pass_);
        eloop_destroy();
    }
    conversation(const conversation &) = delete;
    conversation &operator=(const conversation &) = delete;

    struct talker {
        unique_fd fd;
        std::string text;
        bool closed = false;
    };
    std::array<talker, 2> talkers;

  private:
    static bool begin()
    {
        eloop_init(nullptr);
        return true;
    }

    /** In the midst of the passes something more is sent; all that comes is read. */
    static void on_pass(void *self)
    {
        constexpr unsigned half = 25;
        const plenty for_this;
        auto &all = *static_cast<conversation *>(self);
        ++all.passes_;
        for (talker &one : all.talkers) {
            if (all.passes_ == half)
                send(one.fd.get(), all.later_.data(), all.later_.size(), MSG_NOSIGNAL);
            const outcome now = received(one.fd);
            one.text += now.text;
            one.closed = now.closed;
        }
        if (all.passes_ < 2 * half)
            run_in_next_pass(all.pass_);
        else
            eloop_terminate();
    }

    bool loop_begins_;
    local_service service_;
    std::string_view later_;
    unsigned passes_ = 0;
    task pass_{on_pass, this};
};

/** Each client has all of its answers, or has lost its connection. */
void expect_answered_or_closed(const protocol &p, std::string_view first, std::string_view later,
                               const std::string &answers)
{
    for_each_failure(
        [&] {
            return conversation{p, first, later};
        },
        [](conversation &) {
            eloop_run();
            return 0;
        },
        [&](const conversation &c, int) {
            for (const auto &[fd, text, closed] : c.talkers)
                EXPECT_TRUE(text == answers || (closed && answers.starts_with(text)))
                    << (closed ? "closed after: " : "left open after: ") << text.substr(0, 1000);
        });
}

TEST_F(OomConnection, RequestThatIsThereAtOnce)
{
    expect_answered_or_closed(shouting, "a line that does not fit into a short string\n", "",
                              "A LINE THAT DOES NOT FIT INTO A SHORT STRING\n");
}

TEST_F(OomConnection, RequestThatComesLater)
{
    expect_answered_or_closed(shouting, "", "a line that does not fit into a short string\n",
                              "A LINE THAT DOES NOT FIT INTO A SHORT STRING\n");
}

TEST_F(OomConnection, RequestInPieces)
{
    expect_answered_or_closed(shouting, "a line that does not fit", " into a short string\n",
                              "A LINE THAT DOES NOT FIT INTO A SHORT STRING\n");
}

TEST_F(OomConnection, RequestsInARow)
{
    expect_answered_or_closed(shouting, "one\ntwo\nthree\nfo", "ur\nfive\n",
                              "ONE\nTWO\nTHREE\nFOUR\nFIVE\n");
}

TEST_F(OomConnection, AnswerLargerThanTheSocketTakes)
{
    const std::string answer(size_t{1} << 20, 'A');
    expect_answered_or_closed(shouting_for_long, "please\n", "", answer);
    expect_answered_or_closed(shouting_for_long, "", "please\n", answer);
}

TEST_F(OomConnection, EvaluatedRequest)
{
    exchange_running(configuration().release());
    expect_answered_or_closed(
        evaluating, "<lsql><select><radio name=\"wlan1\"><channel/></radio></select></lsql>\n", "",
        "<?xml version=\"1.0\"?>\n<lsql_result><dataset><radio name=\"wlan1\"><channel>36</channel>"
        "</radio></dataset><rc>0</rc><counter>1</counter></lsql_result>\n");
    vesk_instances_delete_all(exchange_running(nullptr));
}

} // namespace
} // namespace vesk::test
