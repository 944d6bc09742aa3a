#include "eloop/eloop.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <ctime>
#include <deque>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/syscall.h>
#include <sys/times.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "eloop/write.h"
#include "tests/support/output.h"

namespace {

int raised_before_wait = 0; // the signal that arrives at the last moment
unsigned times_asked = 0;

} // namespace

/** Stands before the library's, and does what that does for a while on a 32-bit MIPS machine. */
extern "C" __attribute__((visibility("default"))) clock_t times(tms *) noexcept
{
    ++times_asked;
    return -1;
}

/** Stands before the library's. A system call takes up to six arguments. */
extern "C" __attribute__((visibility("default"))) long syscall(long number, ...) noexcept
{
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long &argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_pselect6 && raised_before_wait)
        std::raise(std::exchange(raised_before_wait, 0));
    const auto &[a, b, c, d, e, f] = arguments;
    return reinterpret_cast<decltype(&syscall)>(dlsym(RTLD_NEXT, "syscall"))(number, a, b, c, d, e,
                                                                             f);
}

namespace {

using vesk::unique_fd;
using vesk::test::complained;

/** What a callback does: it notes its mark, then acts. */
struct step {
    std::string &ran;
    std::string mark;
    std::function<void()> act;

    void run() const
    {
        ran += mark;
        if (act) act();
    }
};

void run_timeout(void *, void *data)
{
    static_cast<step *>(data)->run();
}
void run_other_timeout(void *, void *data)
{
    static_cast<step *>(data)->run();
}
void run_sock(int, void *, void *data)
{
    static_cast<step *>(data)->run();
}
void run_signal(int, void *, void *data)
{
    static_cast<step *>(data)->run();
}

/** The arguments of the last callback. */
struct arguments {
    int number = 0;
    void *eloop_data = nullptr;
    void *user_data = nullptr;
} last;

void note_timeout(void *eloop_data, void *user_data)
{
    last = {0, eloop_data, user_data};
}
void note_and_terminate(int number, void *eloop_data, void *user_data)
{
    last = {number, eloop_data, user_data};
    eloop_terminate();
}

struct pipe_ends {
    unique_fd read, write;
};

pipe_ends make_pipe()
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
    return {unique_fd{ends[0]}, unique_fd{ends[1]}};
}

void fill(int fd)
{
    const std::string block(4096, 'x');
    while (write(fd, block.data(), block.size()) > 0) {
    }
}

void drain(int fd)
{
    char bytes[4096];
    while (read(fd, bytes, sizeof bytes) > 0) {
    }
}

bool is_blocked(int number)
{
    sigset_t mask;
    sigprocmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, number);
}

/** A loop of the test's own, whose callbacks note what ran. It must end within half a minute. */
class loop_test : public ::testing::Test {
  protected:
    loop_test()
    {
        eloop_init(this);
        alarm(30);
    }
    ~loop_test() override
    {
        alarm(0);
        eloop_destroy();
        eloop_init(nullptr);
        for (int number : {SIGUSR1, SIGUSR2, SIGCHLD})
            std::signal(number, SIG_DFL);
    }

    step *make(const char *mark, std::function<void()> act = {})
    {
        return &steps_.emplace_back(step{ran, mark, std::move(act)});
    }

    void after(unsigned usecs, const char *mark, std::function<void()> act = {})
    {
        EXPECT_EQ(eloop_register_timeout(0, usecs, run_timeout, nullptr, make(mark, act)), 0);
    }

    /** Ends a loop that would wait for ever. */
    void limit() { eloop_register_timeout(10, 0, run_timeout, nullptr, make("limit", terminate)); }

    /** Runs once in each pass, before the sockets; keeps every wait at 0. */
    void in_each_pass(const char *mark)
    {
        after(0, mark, [this, mark] { in_each_pass(mark); });
    }

    /** A descriptor that can be read for good. */
    int readable()
    {
        pipes_.push_back(make_pipe());
        EXPECT_EQ(write(pipes_.back().write.get(), "x", 1), 1);
        return pipes_.back().read.get();
    }

    int when_read(int fd, const char *mark, std::function<void()> act = {})
    {
        EXPECT_EQ(eloop_register_read_sock(fd, run_sock, nullptr, make(mark, act)), 0);
        return fd;
    }

    void when_written(int fd, const char *mark, std::function<void()> act = {})
    {
        EXPECT_EQ(vesk::register_write_sock(fd, run_sock, make(mark, act)), 0);
    }

    void upon(int number, const char *mark, std::function<void()> act = {})
    {
        EXPECT_EQ(eloop_register_signal(number, run_signal, make(mark, act)), 0);
    }

    static void terminate() { eloop_terminate(); }

    std::string ran;

  private:
    std::deque<step> steps_;
    std::vector<pipe_ends> pipes_;
};

using EloopInit = loop_test;
using EloopRegisterReadSock = loop_test;
using EloopUnregisterReadSock = loop_test;
using EloopRegisterTimeout = loop_test;
using EloopCancelTimeout = loop_test;
using EloopRegisterSignal = loop_test;
using EloopRun = loop_test;
using EloopTerminate = loop_test;
using EloopDestroy = loop_test;
using RegisterWriteSock = loop_test;
using UnregisterWriteSock = loop_test;
using UnregisterOwnReadSock = loop_test;
using SkipReadSock = loop_test;

TEST_F(EloopInit, StoresTheUserData)
{
    EXPECT_EQ(eloop_get_user_data(), this);
    eloop_init(nullptr);
    EXPECT_EQ(eloop_get_user_data(), nullptr);
}

TEST_F(EloopInit, ForgetsEarlierRegistrations)
{
    when_read(readable(), "r", terminate);
    after(0, "t");
    eloop_init(this);
    eloop_run();
    EXPECT_EQ(ran, "");
}

TEST_F(EloopInit, ForgetsAnEarlierEnd)
{
    eloop_terminate();
    eloop_init(this);
    EXPECT_EQ(eloop_terminated(), 0);
    after(0, "t");
    eloop_run();
    EXPECT_EQ(ran, "t");
}

TEST_F(EloopRegisterReadSock, HandsTheSocketAndBothDataToTheHandler)
{
    const int fd = readable();
    EXPECT_EQ(eloop_register_read_sock(fd, note_and_terminate, &ran, &last), 0);
    eloop_run();
    EXPECT_EQ(last.number, fd);
    EXPECT_EQ(last.eloop_data, &ran);
    EXPECT_EQ(last.user_data, &last);
}

TEST_F(EloopRegisterReadSock, RefusesWhatTheWaitCannotHold)
{
    EXPECT_EQ(eloop_register_read_sock(-1, run_sock, nullptr, nullptr), -1);
    EXPECT_EQ(eloop_register_read_sock(1024, run_sock, nullptr, nullptr), -1);
    EXPECT_EQ(eloop_unregister_read_sock(1024), -1);
    eloop_run();
}

TEST_F(EloopRegisterReadSock, TakesTheHighestDescriptor)
{
    const unique_fd highest{dup2(readable(), 1023)};
    if (!highest) GTEST_SKIP() << "Only " << sysconf(_SC_OPEN_MAX) << " descriptors are allowed.";
    when_read(1023, "r", terminate);
    eloop_run();
    EXPECT_EQ(ran, "r");
}

TEST_F(EloopRegisterReadSock, CallsTheHandlersInTheOrderOfRegistration)
{
    const int later = readable();
    const int sooner = readable();
    when_read(sooner, "a");
    when_read(later, "b", terminate);
    eloop_run();
    EXPECT_EQ(ran, "ab");
}

TEST_F(EloopRegisterReadSock, CallsEveryHandlerOfASocket)
{
    const int fd = when_read(readable(), "a");
    when_read(fd, "b", terminate);
    eloop_run();
    EXPECT_EQ(ran, "ab");
}

TEST_F(EloopRegisterReadSock, CallsAgainUntilTheSocketIsRead)
{
    int calls = 0;
    const int fd = readable();
    when_read(fd, "r", [&] {
        if (++calls == 3) eloop_terminate();
    });
    eloop_run();
    EXPECT_EQ(ran, "rrr");
}

TEST_F(EloopRegisterReadSock, TakesEffectInTheNextPassWhenAHandlerCallsIt)
{
    in_each_pass("|");
    int calls = 0;
    when_read(readable(), "a", [&] {
        if (++calls == 2) return;
        for (int i = 0; i < 50; ++i)
            when_read(readable(), ".", terminate);
    });
    when_read(readable(), "b");
    eloop_run();
    EXPECT_EQ(ran, "|ab|ab" + std::string(50, '.'));
}

TEST_F(EloopRegisterReadSock, WaitsForASocketWithoutAnyTimeout)
{
    pipe_ends ends = make_pipe();
    upon(SIGUSR2, "s", [&] { EXPECT_EQ(write(ends.write.get(), "x", 1), 1); });
    when_read(ends.read.get(), "r", terminate);
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "sr");
}

TEST_F(EloopUnregisterReadSock, EndsTheOldestRegistration)
{
    const int fd = when_read(readable(), "a");
    when_read(fd, "b", terminate);
    EXPECT_EQ(eloop_unregister_read_sock(fd), 0);
    eloop_run();
    EXPECT_EQ(ran, "b");
}

TEST_F(EloopUnregisterReadSock, KeepsTheOrderOfTheOthers)
{
    when_read(readable(), "a");
    const int middle = when_read(readable(), "b");
    when_read(readable(), "c");
    when_read(readable(), "d", terminate);
    EXPECT_EQ(eloop_unregister_read_sock(middle), 0);
    eloop_run();
    EXPECT_EQ(ran, "acd");
}

TEST_F(EloopUnregisterReadSock, RefusesASocketThatIsNotRegistered)
{
    EXPECT_EQ(eloop_unregister_read_sock(0), -1);
    EXPECT_EQ(eloop_unregister_read_sock(-1), -1);
    const int fd = when_read(readable(), "a");
    EXPECT_EQ(eloop_unregister_read_sock(fd), 0);
    EXPECT_EQ(eloop_unregister_read_sock(fd), -1);
}

TEST_F(EloopUnregisterReadSock, StopsTheWalkOfThatPass)
{
    in_each_pass("|");
    const int other = readable();
    when_read(readable(), "a", [&] { eloop_unregister_read_sock(other); });
    when_read(other, "b");
    when_read(readable(), "c", terminate);
    eloop_run();
    EXPECT_EQ(ran, "|a|ac");
}

TEST_F(EloopUnregisterReadSock, StopsTheWalkAlsoWhenAHandlerEndsItself)
{
    in_each_pass("|");
    const int own = readable();
    when_read(own, "a", [&] { eloop_unregister_read_sock(own); });
    when_read(readable(), "b");
    when_read(readable(), "c", terminate);
    eloop_run();
    EXPECT_EQ(ran, "|a|bc");
}

TEST_F(EloopUnregisterReadSock, LetsTheWalkGoOnWhenItFails)
{
    in_each_pass("|");
    when_read(readable(), "a", [] { EXPECT_EQ(eloop_unregister_read_sock(1023), -1); });
    when_read(readable(), "b", terminate);
    eloop_run();
    EXPECT_EQ(ran, "|ab");
}

TEST_F(EloopUnregisterReadSock, CountsInTheSamePassWhenATimeoutCallsIt)
{
    const int fd = when_read(readable(), "a");
    when_read(readable(), "b", terminate);
    after(0, "t", [&] { eloop_unregister_read_sock(fd); });
    eloop_run();
    EXPECT_EQ(ran, "tb");
}

TEST_F(EloopUnregisterReadSock, LetsTheSocketBeClosed)
{
    pipe_ends ends = make_pipe();
    when_read(ends.read.get(), "a");
    EXPECT_EQ(eloop_unregister_read_sock(ends.read.get()), 0);
    ends.read.reset();
    after(0, "t");
    eloop_run();
    EXPECT_EQ(ran, "t");
}

TEST_F(EloopUnregisterReadSock, LetsTheRunEndWithTheLastSocket)
{
    const int fd = readable();
    when_read(fd, "a", [&] { eloop_unregister_read_sock(fd); });
    eloop_run();
    EXPECT_EQ(ran, "a");
    EXPECT_EQ(eloop_terminated(), 0);
}

TEST_F(EloopRegisterTimeout, HandsBothDataToTheHandler)
{
    EXPECT_EQ(eloop_register_timeout(0, 0, note_timeout, &ran, &last), 0);
    eloop_run();
    EXPECT_EQ(last.eloop_data, &ran);
    EXPECT_EQ(last.user_data, &last);
}

TEST_F(EloopRegisterTimeout, RunsInTheOrderOfTheirTimes)
{
    // Far enough apart that a busy machine does not register one after another is due.
    after(300000, "3");
    after(100000, "1");
    after(400000, "4");
    after(200000, "2");
    eloop_run();
    EXPECT_EQ(ran, "1234");
}

TEST_F(EloopRegisterTimeout, RunsThoseOfOneTickInTheOrderOfRegistration)
{
    for (const char *mark : {"a", "b", "c", "d"})
        after(20000, mark);
    eloop_run();
    EXPECT_EQ(ran, "abcd");
}

TEST_F(EloopRegisterTimeout, DropsWhatIsLessThanATick)
{
    if (sysconf(_SC_CLK_TCK) != 100) GTEST_SKIP() << "A tick is not 10 ms.";
    after(9999, "a");
    after(0, "b");
    after(29999, "c");
    after(20000, "d");
    eloop_run();
    EXPECT_EQ(ran, "abcd");
}

/** The clock that the loop goes by, in its ticks. */
long ticks()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const long rate = sysconf(_SC_CLK_TCK);
    return static_cast<long>(now.tv_sec) * rate + now.tv_nsec / (1000000000 / rate);
}

TEST_F(EloopRegisterTimeout, WaitsForItsWholeTime)
{
    const long before = ticks();
    eloop_register_timeout(1, 50000, run_timeout, nullptr, make("t"));
    eloop_run();
    const long rate = sysconf(_SC_CLK_TCK);
    EXPECT_GE(ticks() - before, rate + 5 * rate / 100);
    EXPECT_EQ(ran, "t");
}

TEST_F(EloopRegisterTimeout, DoesNotGoByTheResultOfTimes)
{
    after(20000, "t");
    eloop_run();
    EXPECT_EQ(ran, "t");
    EXPECT_EQ(times_asked, 0U);
}

TEST_F(EloopRegisterTimeout, TakesMonths)
{
    eloop_register_timeout(20000000, 0, run_timeout, nullptr, make("months"));
    after(0, "t", terminate);
    eloop_run();
    EXPECT_EQ(ran, "t");
}

TEST_F(EloopRegisterTimeout, RunsOncePerRegistration)
{
    after(0, "t");
    eloop_run();
    eloop_run();
    EXPECT_EQ(ran, "t");
}

TEST_F(EloopRegisterTimeout, MayBeCalledByItsOwnHandler)
{
    int calls = 0;
    std::function<void()> again = [&] {
        if (++calls < 3) after(0, "t", again);
    };
    after(0, "t", again);
    eloop_run();
    EXPECT_EQ(ran, "ttt");
}

TEST_F(EloopCancelTimeout, RemovesExactMatchesOnly)
{
    int first = 0, second = 0;
    eloop_register_timeout(0, 0, note_timeout, &first, &first);
    eloop_register_timeout(0, 0, note_timeout, &first, &second);
    eloop_register_timeout(0, 0, note_timeout, &second, &first);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &second, &second), 0);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, nullptr, nullptr), 0);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &first, &second), 1);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &first, &second), 0);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &first, &first), 1);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &second, &first), 1);
}

TEST_F(EloopCancelTimeout, RemovesAllOfAHandler)
{
    for (int i = 0; i < 3; ++i) {
        eloop_register_timeout(0, 0, run_timeout, this, make("cancelled"));
        eloop_register_timeout(0, 0, run_other_timeout, nullptr, make("kept "));
    }
    EXPECT_EQ(eloop_cancel_timeout(run_timeout, ELOOP_ALL_CTX, ELOOP_ALL_CTX), 3);
    EXPECT_EQ(eloop_cancel_timeout(run_timeout, ELOOP_ALL_CTX, ELOOP_ALL_CTX), 0);
    eloop_run();
    EXPECT_EQ(ran, "kept kept kept ");
}

TEST_F(EloopCancelTimeout, MatchesAnyDataOnOneSide)
{
    int first = 0, second = 0;
    for (void *eloop_data : {&first, &second})
        for (void *user_data : {&first, &second})
            eloop_register_timeout(0, 0, note_timeout, eloop_data, user_data);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &first, ELOOP_ALL_CTX), 2);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, ELOOP_ALL_CTX, &first), 1);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, ELOOP_ALL_CTX, ELOOP_ALL_CTX), 1);
}

TEST_F(EloopCancelTimeout, TakesNullAsData)
{
    int data = 0;
    eloop_register_timeout(0, 0, note_timeout, nullptr, nullptr);
    eloop_register_timeout(0, 0, note_timeout, &data, &data);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, nullptr, nullptr), 1);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &data, &data), 1);
}

TEST_F(EloopCancelTimeout, KeepsTheOrderOfTheOthers)
{
    after(10000, "a");
    eloop_register_timeout(0, 10000, run_other_timeout, nullptr, make("b"));
    after(10000, "c");
    eloop_register_timeout(0, 20000, run_other_timeout, nullptr, make("d"));
    after(20000, "e");
    EXPECT_EQ(eloop_cancel_timeout(run_other_timeout, ELOOP_ALL_CTX, ELOOP_ALL_CTX), 2);
    after(10000, "f");
    eloop_run();
    EXPECT_EQ(ran, "acfe");
}

TEST_F(EloopCancelTimeout, DoesNotFindTheOneThatIsRunning)
{
    int removed = -1;
    after(0, "a", [&] { removed = eloop_cancel_timeout(run_timeout, nullptr, ELOOP_ALL_CTX); });
    after(0, "b");
    after(0, "c");
    eloop_run();
    EXPECT_EQ(ran, "a");
    EXPECT_EQ(removed, 2);
}

TEST_F(EloopCancelTimeout, LetsTheRunEndWithTheLastTimeout)
{
    eloop_register_timeout(3600, 0, run_timeout, nullptr, nullptr);
    EXPECT_EQ(eloop_cancel_timeout(run_timeout, nullptr, nullptr), 1);
    eloop_run();
}

TEST_F(EloopRegisterSignal, HandsNumberAndBothDataToTheHandler)
{
    EXPECT_EQ(eloop_register_signal(SIGUSR2, note_and_terminate, &last), 0);
    limit();
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(last.number, SIGUSR2);
    EXPECT_EQ(last.eloop_data, this);
    EXPECT_EQ(last.user_data, &last);
}

TEST_F(EloopRegisterSignal, DefersTheHandlerToTheLoop)
{
    upon(SIGUSR2, "s", terminate);
    limit();
    std::raise(SIGUSR2);
    EXPECT_EQ(ran, "");
    eloop_run();
    EXPECT_EQ(ran, "s");
}

TEST_F(EloopRegisterSignal, CollapsesThreeSignalsIntoOneCall)
{
    upon(SIGCHLD, "s");
    after(0, "t");
    for (int i = 0; i < 3; ++i)
        std::raise(SIGCHLD);
    eloop_run();
    EXPECT_EQ(ran, "st");
}

TEST_F(EloopRegisterSignal, CallsTheHandlersInTheOrderOfRegistration)
{
    upon(SIGUSR2, "2");
    upon(SIGUSR1, "1");
    upon(SIGCHLD, "c");
    after(0, "t");
    std::raise(SIGCHLD);
    std::raise(SIGUSR1);
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "21ct");
}

TEST_F(EloopRegisterSignal, CallsTheFirstHandlerOfASignalOnly)
{
    upon(SIGUSR2, "a");
    upon(SIGUSR2, "b");
    after(0, "t");
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "at");
}

TEST_F(EloopRegisterSignal, CallsTheFirstHandlerOnlyAlsoForASignalThatCameDuringTheCall)
{
    int calls = 0;
    upon(SIGUSR2, "a", [&] {
        if (++calls == 1) std::raise(SIGUSR2);
    });
    upon(SIGUSR2, "b");
    after(0, "t");
    after(0, "u");
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "atau");
}

TEST_F(EloopRegisterSignal, CallsAgainForASignalThatCameDuringTheCall)
{
    int calls = 0;
    upon(SIGUSR2, "s", [&] {
        if (++calls < 3) std::raise(SIGUSR2);
    });
    after(0, "t");
    after(0, "u");
    after(0, "v");
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "stsusv");
}

TEST_F(EloopRegisterSignal, CallsInTheSamePassALaterHandlerThatAnEarlierOneRaised)
{
    upon(SIGUSR1, "1", [] { std::raise(SIGUSR2); });
    upon(SIGUSR2, "2");
    after(0, "t");
    std::raise(SIGUSR1);
    eloop_run();
    EXPECT_EQ(ran, "12t");
}

TEST_F(EloopRegisterSignal, MayBeCalledByASignalHandler)
{
    upon(SIGUSR1, "1", [&] {
        for (int i = 0; i < 50; ++i)
            upon(SIGUSR2, "2");
    });
    upon(SIGCHLD, "c");
    after(0, "t");
    std::raise(SIGUSR1);
    std::raise(SIGCHLD);
    eloop_run();
    EXPECT_EQ(ran, "1ct");
}

TEST_F(EloopRegisterSignal, KeepsErrnoOfWhatIsInterrupted)
{
    upon(SIGUSR2, "s");
    errno = EDOM;
    std::raise(SIGUSR2);
    EXPECT_EQ(errno, EDOM);
}

TEST_F(EloopRegisterSignal, BlocksNothingOutsideTheWait)
{
    const auto check = [] {
        EXPECT_FALSE(is_blocked(SIGUSR2));
        EXPECT_FALSE(is_blocked(SIGCHLD));
    };
    upon(SIGUSR2, "s", check);
    upon(SIGCHLD, "c");
    after(0, "t", check);
    const int fd = readable();
    when_read(fd, "r", [&] { check(), eloop_unregister_read_sock(fd); });
    check();
    std::raise(SIGUSR2);
    eloop_run();
    check();
    EXPECT_EQ(ran, "str");
}

TEST_F(EloopRun, ReturnsAtOnceWithNothingToWaitFor)
{
    eloop_run();
    EXPECT_EQ(eloop_terminated(), 0);
}

TEST_F(EloopRun, ReturnsAtOnceWithNothingButSignals)
{
    upon(SIGUSR2, "s");
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "");
}

TEST_F(EloopRun, ReturnsAtOnceWhenItWasTerminated)
{
    when_read(readable(), "r");
    after(0, "t");
    eloop_terminate();
    eloop_run();
    EXPECT_EQ(ran, "");
}

TEST_F(EloopRun, RunsOneTimeoutInEachPass)
{
    after(0, "t");
    after(0, "u");
    const int fd = readable();
    when_read(fd, "r");
    after(0, "v", [&] { eloop_unregister_read_sock(fd); });
    eloop_run();
    EXPECT_EQ(ran, "trurv");
}

TEST_F(EloopRun, CallsSignalsThenATimeoutThenSockets)
{
    const int fd = readable();
    when_read(fd, "r", [&] { eloop_unregister_read_sock(fd); });
    after(0, "t");
    upon(SIGUSR2, "s");
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "str");
}

TEST_F(EloopRun, DoesNotSleepThroughASignalBeforeTheWait)
{
    upon(SIGUSR2, "s", terminate);
    limit();
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "s");
}

TEST_F(EloopRun, DoesNotSleepThroughASignalAtTheLastMoment)
{
    upon(SIGUSR2, "s", terminate);
    limit();
    raised_before_wait = SIGUSR2;
    eloop_run();
    EXPECT_EQ(ran, "s");
}

TEST_F(EloopRun, DoesNotSleepThroughASignalAtTheLastMomentWithoutAnyTimeout)
{
    const pipe_ends silent = make_pipe();
    when_read(silent.read.get(), "r");
    upon(SIGUSR2, "s", terminate);
    raised_before_wait = SIGUSR2;
    eloop_run();
    EXPECT_EQ(ran, "s");
}

TEST_F(EloopRun, DoesNotSleepThroughSignalsAtAnyMoment)
{
    constexpr int enough = 5000;
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGUSR2;
    timer_t timer;
    ASSERT_EQ(timer_create(CLOCK_MONOTONIC, &event, &timer), 0);
    int calls = 0;
    upon(SIGUSR2, "", [&] {
        itimerspec soon{};
        soon.it_value.tv_nsec = 1 + calls % 500 * 50; // up to 25 us
        timer_settime(timer, 0, &soon, nullptr);
        if (++calls == enough) terminate();
    });
    limit();
    std::raise(SIGUSR2);
    eloop_run();
    timer_delete(timer);
    EXPECT_EQ(calls, enough);
}

TEST_F(EloopRun, DoesNotSleepThroughASignalThatATimeoutRaised)
{
    upon(SIGUSR2, "s", terminate);
    after(0, "t", [] { std::raise(SIGUSR2); });
    limit();
    eloop_run();
    EXPECT_EQ(ran, "ts");
}

TEST_F(EloopRun, DoesNotSleepThroughASignalThatASocketHandlerRaised)
{
    upon(SIGUSR2, "s", terminate);
    const int fd = readable();
    when_read(fd, "r", [&] {
        drain(fd);
        std::raise(SIGUSR2);
    });
    limit();
    eloop_run();
    EXPECT_EQ(ran, "rs");
}

TEST_F(EloopRun, IsInterruptedByASignalDuringTheWait)
{
    upon(SIGUSR2, "s", terminate);
    limit();
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGUSR2;
    timer_t timer;
    ASSERT_EQ(timer_create(CLOCK_MONOTONIC, &event, &timer), 0);
    itimerspec due{};
    due.it_value.tv_nsec = 20'000'000;
    timer_settime(timer, 0, &due, nullptr);
    eloop_run();
    timer_delete(timer);
    EXPECT_EQ(ran, "s");
}

TEST_F(EloopRun, GoesOnAfterAnInterruptedWait)
{
    pipe_ends ends = make_pipe();
    upon(SIGUSR2, "s");
    when_read(ends.read.get(), "r", terminate);
    after(20000, "t", [&] { EXPECT_EQ(write(ends.write.get(), "x", 1), 1); });
    std::raise(SIGUSR2);
    eloop_run();
    EXPECT_EQ(ran, "str");
}

TEST_F(EloopRun, ReportsAWaitThatFailsAndReturns)
{
    pipe_ends ends = make_pipe();
    when_read(ends.read.get(), "r");
    const std::string text = complained([&] {
        ends.read.reset();
        eloop_run();
    });
    EXPECT_EQ(text, "select: Bad file descriptor\n");
    EXPECT_EQ(ran, "");
}

TEST_F(EloopTerminate, LetsThePassComeToItsEnd)
{
    after(0, "t", terminate);
    after(0, "u");
    when_read(readable(), "a");
    when_read(readable(), "b");
    eloop_run();
    EXPECT_EQ(ran, "tab");
}

TEST_F(EloopTerminate, IsRemembered)
{
    EXPECT_EQ(eloop_terminated(), 0);
    eloop_terminate();
    EXPECT_NE(eloop_terminated(), 0);
    eloop_run();
    EXPECT_NE(eloop_terminated(), 0);
}

TEST_F(EloopDestroy, FreesWhatIsStillRegistered)
{
    when_read(readable(), "r");
    after(0, "t");
    upon(SIGUSR2, "s");
    eloop_destroy();
    eloop_init(this);
    after(0, "u");
    eloop_run();
    EXPECT_EQ(ran, "u");
}

TEST_F(RegisterWriteSock, HandsTheSocketAndItsDataToTheHandler)
{
    const pipe_ends ends = make_pipe();
    EXPECT_EQ(vesk::register_write_sock(ends.write.get(), note_and_terminate, &last), 0);
    eloop_run();
    EXPECT_EQ(last.number, ends.write.get());
    EXPECT_EQ(last.user_data, &last);
}

TEST_F(RegisterWriteSock, CallsWhenThereIsRoomAgain)
{
    const pipe_ends ends = make_pipe();
    fill(ends.write.get());
    when_written(ends.write.get(), "w", terminate);
    after(20000, "t", [&] { drain(ends.read.get()); });
    limit();
    eloop_run();
    EXPECT_EQ(ran, "tw");
}

TEST_F(RegisterWriteSock, CallsUntilItIsUnregistered)
{
    const pipe_ends ends = make_pipe();
    int calls = 0;
    when_written(ends.write.get(), "w", [&] {
        if (++calls == 3) vesk::unregister_write_sock(ends.write.get());
    });
    eloop_run();
    EXPECT_EQ(ran, "www");
}

TEST_F(RegisterWriteSock, ServesReadersOfTheSamePass)
{
    const pipe_ends ends = make_pipe();
    in_each_pass("|");
    when_written(ends.write.get(), "x", terminate);
    when_read(readable(), "x", terminate);
    eloop_run();
    EXPECT_EQ(ran, "|xx");
}

TEST_F(RegisterWriteSock, RefusesWhatTheWaitCannotHold)
{
    EXPECT_EQ(vesk::register_write_sock(-1, run_sock, nullptr), -1);
    EXPECT_EQ(vesk::register_write_sock(1024, run_sock, nullptr), -1);
    eloop_run();
}

TEST_F(RegisterWriteSock, LeavesTheReadInterestAlone)
{
    const int fd = readable();
    EXPECT_EQ(vesk::register_write_sock(fd, run_sock, nullptr), 0);
    EXPECT_EQ(eloop_unregister_read_sock(fd), -1);
    when_read(fd, "r", terminate);
    EXPECT_EQ(vesk::unregister_write_sock(fd), 0);
    eloop_run();
    EXPECT_EQ(ran, "r");
}

TEST_F(UnregisterWriteSock, RefusesASocketWithoutWriteInterest)
{
    const pipe_ends ends = make_pipe();
    EXPECT_EQ(vesk::unregister_write_sock(ends.write.get()), -1);
    when_written(ends.write.get(), "w");
    EXPECT_EQ(vesk::unregister_write_sock(ends.write.get()), 0);
    EXPECT_EQ(vesk::unregister_write_sock(ends.write.get()), -1);
}

TEST_F(UnregisterWriteSock, KeepsTheHandlerFromBeingCalledInThatPass)
{
    pipe_ends first = make_pipe(), second = make_pipe();
    const auto end_both = [&] {
        vesk::unregister_write_sock(first.write.get());
        vesk::unregister_write_sock(second.write.get());
    };
    when_written(first.write.get(), "w", end_both);
    when_written(second.write.get(), "w", end_both);
    eloop_run();
    EXPECT_EQ(ran, "w");
}

TEST_F(UnregisterWriteSock, LetsTheOthersHaveTheirTurnInThatPass)
{
    pipe_ends first = make_pipe(), second = make_pipe(), third = make_pipe(), fourth = make_pipe();
    in_each_pass("|");
    when_written(first.write.get(), "a");
    when_written(second.write.get(), "b", [&] {
        for (const pipe_ends *ends : {&first, &second, &third})
            vesk::unregister_write_sock(ends->write.get());
    });
    when_written(third.write.get(), "c");
    when_written(fourth.write.get(), "d", terminate);
    eloop_run();
    EXPECT_EQ(ran, "|abd");
}

TEST_F(UnregisterWriteSock, EndsAConnectionWithBothInterests)
{
    const pipe_ends ends = make_pipe();
    const int fd = readable();
    const auto end_both = [&] {
        vesk::unregister_write_sock(ends.write.get());
        eloop_unregister_read_sock(fd);
    };
    when_written(ends.write.get(), "x", end_both);
    when_read(fd, "x", end_both);
    eloop_run();
    EXPECT_EQ(ran, "x");
}

TEST_F(UnregisterOwnReadSock, RefusesASocketThatIsNotRegistered)
{
    const int fd = when_read(readable(), "a");
    EXPECT_EQ(vesk::unregister_own_read_sock(fd), 0);
    EXPECT_EQ(vesk::unregister_own_read_sock(fd), -1);
    eloop_run();
    EXPECT_EQ(ran, "");
}

TEST_F(UnregisterOwnReadSock, LetsTheOthersHaveTheirTurnInThatPass)
{
    in_each_pass("|");
    const int first = when_read(readable(), "a");
    const int own = readable();
    const int later = readable();
    when_read(own, "b", [&] {
        for (const int fd : {first, own, later})
            EXPECT_EQ(vesk::unregister_own_read_sock(fd), 0);
    });
    when_read(later, "c");
    when_read(readable(), "d", terminate);
    eloop_run();
    EXPECT_EQ(ran, "|abd");
}

TEST_F(UnregisterOwnReadSock, KeepsASecondRegistration)
{
    in_each_pass("|");
    const int fd = readable();
    when_read(fd, "a", [&] { vesk::unregister_own_read_sock(fd); });
    when_read(fd, "b", [&] {
        if (ran == "|ab|b") terminate();
    });
    eloop_run();
    EXPECT_EQ(ran, "|ab|b");
}

TEST_F(UnregisterOwnReadSock, KeepsAReadyNumberThatComesBackFromBeingCalled)
{
    in_each_pass("|");
    const pipe_ends silent = make_pipe();
    const int fd = readable();
    when_read(readable(), "a", [&] {
        if (ran != "|a") return;
        EXPECT_EQ(vesk::unregister_own_read_sock(fd), 0);
        EXPECT_EQ(dup2(silent.read.get(), fd), fd);
        when_read(fd, "wrong");
    });
    when_read(fd, "b");
    when_read(readable(), "c", [&] {
        if (ran == "|ac|ac") terminate();
    });
    eloop_run();
    EXPECT_EQ(ran, "|ac|ac");
}

TEST_F(SkipReadSock, LeavesASocketOutUntilTheNextPass)
{
    const int fd = when_read(readable(), "a");
    when_read(readable(), "b", [&] {
        if (ran == "tbuab") terminate();
    });
    after(0, "t", [&] { vesk::skip_read_sock(fd); });
    after(0, "u");
    eloop_run();
    EXPECT_EQ(ran, "tbuab");
}

TEST_F(SkipReadSock, TakesAnyNumber)
{
    vesk::skip_read_sock(-1);
    vesk::skip_read_sock(1024);
    vesk::skip_read_sock(0);
    after(0, "t");
    eloop_run();
    EXPECT_EQ(ran, "t");
}

} // namespace
