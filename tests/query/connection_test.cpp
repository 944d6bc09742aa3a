#include "query/connection.h"

#include <cctype>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <new>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "query/limits.h"
#include "query/serve.h"
#include "tests/support/log.h"
#include "tests/support/service.h"

namespace {

time_t seconds_ahead = 0; // how far the loop's time runs ahead of the system's

} // namespace

/** Stands before the library's, which has a name of its own for wide times on a 32-bit machine. */
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec *now) noexcept
{
    const char *name = sizeof(time_t) > sizeof(long) ? "__clock_gettime64" : "clock_gettime";
    const int result =
        reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_NEXT, name))(clock, now);
    if (clock == CLOCK_MONOTONIC_COARSE) now->tv_sec += seconds_ahead;
    return result;
}

namespace vesk::test {
namespace {

std::string handled;                       // the requests, one behind the other
unsigned looks = 0;                        // how often a protocol was asked
std::optional<local_service> other;        // a second service
connection *silent_client_of_it = nullptr; // who only listens
size_t answer_size = 0;

/** Answers each line with itself in capitals, and keeps the connection. */
progress shout(connection &c)
{
    ++looks;
    std::string line;
    if (!next_line(c, line)) return progress::wait;
    handled += line + " ";
    for (const char letter : line)
        c.output() += static_cast<char>(std::toupper(letter));
    c.output() += '\n';
    return progress::again;
}

/** Answers one line and closes. */
progress shout_once(connection &c)
{
    return shout(c) == progress::again ? progress::close : progress::wait;
}

/** Answers whatever comes with very much, and closes. */
progress answer_at_length(connection &c)
{
    if (c.input().empty()) return progress::wait;
    c.consume(c.input().size());
    c.output().append(answer_size, 'x');
    return progress::close;
}

/** Answers each line with very much, and keeps the connection. */
progress shout_at_length(connection &c)
{
    const progress made = shout(c);
    if (made == progress::again) c.output().append(answer_size, 'x');
    return made;
}

progress lack_memory(connection &c)
{
    c.output() += "half of an answer";
    throw std::bad_alloc{};
}

progress listen_only(connection &c)
{
    c.consume(c.input().size());
    silent_client_of_it = &c;
    return c.at_end() ? progress::close : progress::wait;
}

/** Answers with the request as it is after something was sent elsewhere, as plug-ins do. */
progress notify_others_meanwhile(connection &c)
{
    const size_t end = c.input().find('\n');
    if (end == std::string_view::npos) return progress::wait;
    const char *request = c.text(0, end);
    EXPECT_TRUE(silent_client_of_it->send("something has changed", 1000));
    c.output() += request;
    c.consume(end + 1);
    return progress::close;
}

void echo_body(connection &c, char *text)
{
    c.output() += text;
}

/** One request behind its length. */
progress take_body(connection &c)
{
    if (c.input().size() < 4) return progress::wait;
    return serve_body(c, 4, number_at(c, 0), echo_body);
}

constexpr protocol shouting = protocol_of(shout);
constexpr protocol shouting_once = protocol_of(shout_once);
constexpr protocol lengthy = protocol_of(answer_at_length);
constexpr protocol shouting_at_length = protocol_of(shout_at_length);
constexpr protocol without_memory = protocol_of(lack_memory);
constexpr protocol listening = protocol_of(listen_only);
constexpr protocol notifying = protocol_of(notify_others_meanwhile);
constexpr protocol with_length = protocol_of(take_body);

std::string prefixed(const std::string &text, uint32_t length)
{
    std::string all(sizeof length, '\0');
    std::memcpy(all.data(), &length, sizeof length);
    return all + text;
}

void nothing() {}

class connection_test : public ::testing::Test {
  public:
    connection_test()
    {
        eloop_init(nullptr);
        handled.clear();
        looks = 0;
        answer_size = size_t{1} << 20; // more than a socket holds
        seconds_ahead = 0;
    }
    ~connection_test() override
    {
        other.reset();
        eloop_destroy();
        eloop_init(nullptr);
    }
};

using Accept = connection_test;
using Input = connection_test;
using Output = connection_test;
using End = connection_test;
using ServeBody = connection_test;
using Stall = connection_test;

TEST_F(Accept, AnswersInTheSamePassWhatHasBeenSent)
{
    local_service service{shouting_once};
    unique_fd client;
    story::run({[&] { client = service.client("hello\n"); },
                [&] {
                    EXPECT_EQ(received(client), (outcome{"HELLO\n", true}));
                    EXPECT_EQ(service.size(), 0U);
                }});
}

TEST_F(Accept, KeepsAConnectionThatHasSentNothing)
{
    local_service service{shouting_once};
    const unique_fd client = service.client("");
    story::run({nothing,
                [&] {
                    EXPECT_EQ(received(client), outcome{});
                    send_to(client, "hello\n");
                },
                [&] {
                    EXPECT_EQ(received(client), (outcome{"HELLO\n", true}));
                }});
}

TEST_F(Accept, AnswersAPeerThatHasEndedItsData)
{
    local_service service{shouting_once};
    const unique_fd client = service.client("hello\n");
    shutdown(client.get(), SHUT_WR);
    story::run({nothing, [&] { EXPECT_EQ(received(client), (outcome{"HELLO\n", true})); }});
}

TEST_F(Accept, EndsAConnectionWhosePeerHasSentNothingAndNeverWill)
{
    local_service service{shouting_once};
    const unique_fd client = service.client("");
    shutdown(client.get(), SHUT_WR);
    story::run({nothing, nothing, [&] { EXPECT_EQ(received(client), (outcome{"", true})); }});
    EXPECT_EQ(service.size(), 0U);
}

TEST_F(Accept, CarriesOutTheRequestOfAPeerThatIsGone)
{
    local_service service{shouting_once};
    service.client("hello\n").reset();
    story::run({nothing, nothing});
    EXPECT_EQ(handled, "hello ");
    EXPECT_EQ(service.size(), 0U);
}

/** One client more than there is room for; the first has sent something. */
story::steps crowd(local_service &service, std::vector<unique_fd> &clients, std::string_view sent)
{
    story::steps all{[&, sent] { clients.push_back(service.client(sent)); }};
    all.insert(all.end(), shouting.max_connections, [&] { clients.push_back(service.client("")); });
    return all;
}

TEST_F(Accept, MakesRoomAtOnce)
{
    local_service service{shouting};
    std::vector<unique_fd> clients;
    story::steps all = crowd(service, clients, "");
    all.emplace_back([&] {
        EXPECT_EQ(received(clients.front()), (outcome{"", true}));
        EXPECT_EQ(received(clients[1]), outcome{});
        EXPECT_EQ(service.size(), shouting.max_connections);
    });
    story::run(all);
}

TEST_F(Accept, MakesRoomAlsoWhenTheOldestHasMoreToDo)
{
    local_service service{shouting};
    std::vector<unique_fd> clients;
    std::string lines;
    for (int i = 0; i < 1000; ++i)
        lines += "a\n";
    story::steps all = crowd(service, clients, lines);
    std::string handled_by_then;
    all.emplace_back([&] {
        EXPECT_TRUE(received(clients.front()).closed);
        handled_by_then = handled;
    });
    all.insert(all.end(), 3, nothing);
    story::run(all);
    EXPECT_EQ(handled, handled_by_then);
}

TEST_F(Input, TakesARequestInPieces)
{
    local_service service{shouting_once};
    const unique_fd client = service.client("");
    story::steps all;
    for (const char byte : std::string_view{"hello\n"}) {
        all.emplace_back([&, byte] {
            EXPECT_EQ(received(client), outcome{});
            send_to(client, {&byte, 1});
        });
    }
    all.emplace_back([&] { EXPECT_EQ(received(client), (outcome{"HELLO\n", true})); });
    story::run(all);
}

TEST_F(Input, TakesRequestsAndPiecesOfThemInOnePacket)
{
    local_service service{shouting};
    const unique_fd client = service.client("one\ntwo\nth");
    story::run({nothing, nothing, nothing,
                [&] {
                    EXPECT_EQ(received(client), (outcome{"ONE\nTWO\n"}));
                    send_to(client, "ree\n");
                },
                [&] { EXPECT_EQ(received(client), (outcome{"THREE\n"})); }});
}

TEST_F(Input, IsHandledOneRequestInEachPass)
{
    local_service service{shouting};
    const unique_fd first = service.client("a1\na2\na3\na4\na5\n");
    const unique_fd second = service.client("b1\nb2\nb3\nb4\nb5\nb6\n");
    story::run({nothing, // one is accepted in each pass
                [&] { send_to(first, "a6\n"); }, nothing, nothing, nothing});
    EXPECT_EQ(handled, "a1 a2 b1 a3 b2 a4 b3 a5 b4 b5 a6 b6 ");
}

TEST_F(Input, IsLookedAtAgainOnlyWhenThereIsMore)
{
    local_service service{shouting};
    const unique_fd client = service.client("one\n");
    story::run({nothing, nothing});
    EXPECT_EQ(looks, 1U);
}

TEST_F(Input, OfRequestsInARowIsAnsweredThoughThePeerHasEndedItsData)
{
    local_service service{shouting};
    const unique_fd client = service.client("one\ntwo\nthr");
    shutdown(client.get(), SHUT_WR);
    story::run({nothing, nothing, nothing, nothing});
    EXPECT_EQ(received(client), (outcome{"ONE\nTWO\n", true}));
}

TEST_F(Input, StaysAsItIsWhileSomethingIsSentToOthers)
{
    other.emplace(listening);
    local_service service{notifying};
    const unique_fd subscriber = other->client("x");
    unique_fd client;
    story::run({nothing, [&] { client = service.client("a request that is long enough\nmore"); },
                [&] {
                    EXPECT_EQ(received(client), (outcome{"a request that is long enough", true}));
                    EXPECT_EQ(received(subscriber), (outcome{"something has changed"}));
                }});
}

TEST_F(Output, LargerThanTheSocketTakesIsWrittenAsThePeerReads)
{
    local_service service{lengthy};
    const unique_fd client = service.client("?");
    std::string text;
    story::steps all{nothing, [&] { EXPECT_EQ(service.size(), 1U); }};
    const auto read_on = [&] {
        const outcome now = received(client);
        text += now.text;
        EXPECT_TRUE(!now.closed || text.size() == answer_size);
    };
    all.insert(all.end(), 100, read_on);
    story::run(all);
    EXPECT_EQ(text, std::string(answer_size, 'x'));
    EXPECT_EQ(received(client), (outcome{"", true}));
}

TEST_F(Output, HoldsBackTheNextRequestUntilItIsWritten)
{
    local_service service{shouting_at_length};
    const unique_fd client = service.client("one\ntwo\n");
    size_t total = 0;
    story::steps all{[&] { send_to(client, "three\n"); }, nothing,
                     [&] { EXPECT_EQ(handled, "one "); }};
    all.insert(all.end(), 100, [&] { total += received(client).text.size(); });
    story::run(all);
    EXPECT_EQ(handled, "one two three ");
    EXPECT_EQ(total, 3 * answer_size + std::strlen("one\ntwo\nthree\n"));
    EXPECT_EQ(service.size(), 1U);
}

TEST_F(Output, OfARequestThatFailsIsDroppedWithItsConnection)
{
    local_service service{without_memory};
    const unique_fd client = service.client("hello\n");
    story::run({nothing, [&] { EXPECT_EQ(received(client), (outcome{"", true})); }});
}

TEST_F(End, OfOneConnectionLeavesTheOthersTheirTurnInThatPass)
{
    local_service service{shouting_once};
    std::vector<unique_fd> clients;
    const auto connect = [&] { clients.push_back(service.client("hel")); };
    story::run({connect, connect, connect,
                [&] {
                    for (const unique_fd &client : clients)
                        send_to(client, "lo\n");
                },
                [&] {
                    for (const unique_fd &client : clients)
                        EXPECT_EQ(received(client), (outcome{"HELLO\n", true}));
                }});
}

TEST_F(End, IsNoErrorForAPeerThatHasSentTooMuch)
{
    const auto sent_and_received = [&](const std::string &line, size_t surplus) {
        eloop_init(nullptr);
        local_service service{shouting_once};
        const unique_fd client = service.client(line + "\n" + std::string(surplus, 'x'));
        outcome all;
        story::run({nothing, [&] { all = received(client); }});
        return all;
    };
    const std::string long_line(read_budget - 1, 'A'); // nothing behind it is read with it
    EXPECT_EQ(sent_and_received("HELLO", 1), (outcome{"HELLO\n", true}));
    EXPECT_EQ(sent_and_received("HELLO", read_budget), (outcome{"HELLO\n", true}));
    EXPECT_EQ(sent_and_received(long_line, 1), (outcome{long_line + "\n", true}));
}

TEST_F(ServeBody, WaitsForAllOfIt)
{
    local_service service{with_length};
    const unique_fd client = service.client(prefixed("0123", 8));
    story::run({nothing,
                [&] {
                    EXPECT_EQ(received(client), outcome{});
                    send_to(client, "4567");
                },
                [&] {
                    EXPECT_EQ(received(client), (outcome{"01234567", true}));
                }});
}

TEST_F(ServeBody, LeavesOutWhatIsBehindIt)
{
    local_service service{with_length};
    const unique_fd client = service.client(prefixed("0123456789", 8));
    story::run({nothing, [&] { EXPECT_EQ(received(client), (outcome{"01234567", true})); }});
}

TEST_F(ServeBody, MayBeEndedEarly)
{
    local_service service{with_length};
    const unique_fd client = service.client(prefixed("0123", 4000000));
    shutdown(client.get(), SHUT_WR);
    story::run({nothing, nothing, [&] { EXPECT_EQ(received(client), (outcome{"0123", true})); }});
}

TEST_F(ServeBody, RefusesOneThatIsTooLong)
{
    log_capture log{0};
    local_service service{with_length};
    const unique_fd client = service.client(prefixed("0123", max_request + 1));
    story::run({nothing, [&] { EXPECT_EQ(received(client), (outcome{"", true})); }});
    EXPECT_EQ(log.take(), "vesk: Request of 4194305 bytes is too long: closing its connection.\n");
}

TEST_F(ServeBody, ClosesWithoutAnAnswerWhenThereIsNone)
{
    local_service service{with_length};
    const unique_fd client = service.client(prefixed("0123", 0));
    story::run({nothing, [&] { EXPECT_EQ(received(client), (outcome{"", true})); }});
}

constexpr time_t stall = max_stall_seconds;

/** So much later, in the middle of a pass of the loop. */
void pass_time(time_t seconds)
{
    seconds_ahead += seconds;
}

TEST_F(Stall, EndsAConnectionOfWhichNothingIsRead)
{
    local_service service{lengthy};
    const unique_fd client = service.client("?");
    story::run({nothing, [&] { pass_time(stall / 2); }, nothing,
                [&] {
                    EXPECT_EQ(service.size(), 1U);
                    pass_time(stall);
                },
                nothing, nothing, [&] { EXPECT_EQ(service.size(), 0U); }});
}

TEST_F(Stall, BeginsAnewWithEachProgress)
{
    local_service service{lengthy};
    const unique_fd client = service.client("?");
    const auto read = [&] { EXPECT_GT(received(client).text.size(), 0U); };
    const auto wait_long = [&] { pass_time(stall + 1); };
    story::run({nothing, read, wait_long, read, wait_long, [&] { EXPECT_EQ(service.size(), 1U); },
                wait_long, nothing, [&] { EXPECT_EQ(service.size(), 0U); }});
}

TEST_F(Stall, IsForgottenOnceAllIsWritten)
{
    local_service service{shouting_at_length};
    const unique_fd client = service.client("one\n");
    story::steps all{nothing};
    all.insert(all.end(), 100, [&] { received(client); });
    all.insert(all.end(), 3, [] { pass_time(2 * stall); });
    all.emplace_back(nothing);
    story::run(all);
    EXPECT_EQ(service.size(), 1U);
}

} // namespace
} // namespace vesk::test
