#include "vesk/debug.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include <gtest/gtest.h>

#include "core/log.h"
#include "tests/support/log.h"
#include "tests/support/output.h"

namespace {

using vesk::test::complained;
using vesk::test::set_level;
using vesk::test::without_times;

/** The log caught at level 1; the switches back at 0 in the end. */
class log_test : public ::testing::Test {
  protected:
    ~log_test() override
    {
        vesk_debug_set_timestamp(0);
        vesk_debug_set_exit_on_fatal(0);
    }

    std::string logged() { return log_.take(); }

  private:
    vesk::test::log_capture log_;
};

/** A pipe that never blocks, as the log stream while this lives. */
class piped_log {
  public:
    piped_log()
    {
        int ends[2];
        if (pipe2(ends, O_NONBLOCK | O_CLOEXEC)) throw std::bad_alloc{};
        read_end_ = ends[0];
        stream_ = fdopen(ends[1], "w");
        before_ = vesk::exchange_log_stream(stream_);
    }
    ~piped_log()
    {
        vesk::exchange_log_stream(before_);
        std::fclose(stream_);
        close(read_end_);
    }
    piped_log(const piped_log &) = delete;
    piped_log &operator=(const piped_log &) = delete;

    void fill()
    {
        const std::string block(4096, 'x');
        while (write(fileno(stream_), block.data(), block.size()) > 0) {
        }
        while (write(fileno(stream_), "x", 1) > 0) {
        }
    }

    std::string take()
    {
        std::string text;
        char bytes[4096];
        for (ssize_t count; (count = read(read_end_, bytes, sizeof bytes)) > 0;)
            text.append(bytes, static_cast<size_t>(count));
        return text;
    }

  private:
    int read_end_ = -1;
    std::FILE *stream_ = nullptr;
    std::FILE *before_ = nullptr;
};

using DebugMax = log_test;
using DebugSet = log_test;
using DebugSetTimestamp = log_test;
using DebugSetExitOnFatal = log_test;
using DebugGetStream = log_test;
using DebugInit = log_test;
using DebugPrintf = log_test;
using DebugEprintf = log_test;
using Debug1printf = log_test;
using DebugLprintf = log_test;
using DebugFatal = log_test;
using DebugPerror = log_test;
using DebugFatalPerror = log_test;
using Fail = log_test;
using None = log_test;
using Error = log_test;
using BeginLogLine = log_test;
using LogFromSignal = log_test;

TEST_F(DebugMax, IsSix)
{
    EXPECT_EQ(VESK_DEBUG_MAX, 6);
}

TEST_F(DebugSet, LogsTheNewLevel)
{
    EXPECT_EQ(vesk_debug_set(3), 0);
    EXPECT_EQ(vesk_debug_get(), 3);
    EXPECT_EQ(logged(), "vesk: Debug level is now 3.\n");
}

TEST_F(DebugSet, LogsTheLevelZeroToo)
{
    EXPECT_EQ(vesk_debug_set(0), 0);
    EXPECT_EQ(vesk_debug_get(), 0);
    EXPECT_EQ(logged(), "vesk: Debug level is now 0.\n");
}

TEST_F(DebugSet, AcceptsTheHighestLevel)
{
    EXPECT_EQ(vesk_debug_set(6), 0);
    EXPECT_EQ(vesk_debug_get(), 6);
    EXPECT_EQ(logged(), "vesk: Debug level is now 6.\n");
}

TEST_F(DebugSet, LogsALevelThatStaysTheSame)
{
    EXPECT_EQ(vesk_debug_set(1), 0);
    EXPECT_EQ(logged(), "vesk: Debug level is now 1.\n");
}

TEST_F(DebugSet, RefusesALevelAboveTheHighest)
{
    EXPECT_EQ(vesk_debug_set(7), 1);
    EXPECT_EQ(vesk_debug_get(), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(DebugSet, RefusesANegativeLevel)
{
    EXPECT_EQ(vesk_debug_set(-1), 1);
    EXPECT_EQ(vesk_debug_get(), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(DebugSetTimestamp, SwitchesOnAndOff)
{
    EXPECT_EQ(vesk_debug_set_timestamp(1), 0);
    EXPECT_EQ(vesk_debug_get_timestamp(), 1);
    EXPECT_EQ(vesk_debug_set_timestamp(0), 0);
    EXPECT_EQ(vesk_debug_get_timestamp(), 0);
}

TEST_F(DebugSetTimestamp, RefusesWhatIsNeitherZeroNorOne)
{
    EXPECT_EQ(vesk_debug_set_timestamp(2), 1);
    EXPECT_EQ(vesk_debug_get_timestamp(), 0);
    vesk_debug_set_timestamp(1);
    EXPECT_EQ(vesk_debug_set_timestamp(2), 1);
    EXPECT_EQ(vesk_debug_set_timestamp(-1), 1);
    EXPECT_EQ(vesk_debug_get_timestamp(), 1);
}

TEST_F(DebugSetTimestamp, PutsTheLocalTimeIntoEveryLine)
{
    vesk_debug_set_timestamp(1);
    const std::time_t before = std::time(nullptr);
    vesk_debug_printf("Ready.\n");
    const std::time_t after = std::time(nullptr);

    const std::string line = logged();
    ASSERT_EQ(without_times(line), "vesk: [time] Ready.\n");
    std::tm parts{};
    parts.tm_isdst = -1;
    ASSERT_TRUE(strptime(line.substr(7, 24).c_str(), "%a %b %d %H:%M:%S %Y", &parts)) << line;
    const std::time_t stamp = std::mktime(&parts);
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, after);
}

TEST_F(DebugSetTimestamp, WorksForEachPrintingFunction)
{
    vesk_debug_set_timestamp(1);
    vesk_debug_printf("a\n");
    vesk_debug_eprintf("b\n");
    vesk_debug_1printf("c\n");
    vesk_debug_lprintf(1, "d\n");
    vesk_debug_set(1);
    EXPECT_EQ(without_times(logged()), "vesk: [time] a\n"
                                       "vesk: [time] b\n"
                                       "vesk: [time] c\n"
                                       "vesk: [time] d\n"
                                       "vesk: [time] Debug level is now 1.\n");
}

TEST_F(DebugSetExitOnFatal, AcceptsZeroAndOneOnly)
{
    EXPECT_EQ(vesk_debug_set_exit_on_fatal(1), 0);
    EXPECT_EQ(vesk_debug_set_exit_on_fatal(0), 0);
    EXPECT_EQ(vesk_debug_set_exit_on_fatal(2), 1);
    EXPECT_EQ(vesk_debug_set_exit_on_fatal(-1), 1);
    EXPECT_EQ(logged(), "");
}

TEST_F(DebugSetExitOnFatal, ARefusedValueChangesNothing)
{
    vesk_debug_set_exit_on_fatal(2);
    vesk_debug_fatal("Providers were invalid.");
    EXPECT_EQ(logged(), "vesk: Fatal error: Providers were invalid.\n"
                        "vesk: Attempting to continue operation.\n");
}

TEST_F(DebugGetStream, IsWhereTheLinesGo)
{
    std::fputs("A table.\n", vesk_debug_get_stream());
    vesk_debug_printf("A line.\n");
    EXPECT_EQ(logged(), "A table.\nvesk: A line.\n");
}

TEST_F(DebugInit, KeepsAStreamThatIsThere)
{
    std::FILE *stream = vesk_debug_get_stream();
    vesk_debug_init();
    vesk_debug_init();
    EXPECT_EQ(vesk_debug_get_stream(), stream);
    EXPECT_EQ(logged(), "");
}

TEST_F(DebugPrintf, BeginsTheLineAndFormats)
{
    vesk_debug_printf("Class \"%s\" has %d properties.\n", "radio", 12);
    EXPECT_EQ(logged(), "vesk: Class \"radio\" has 12 properties.\n");
}

TEST_F(DebugPrintf, PrintsAtLevelZero)
{
    set_level(0);
    vesk_debug_printf("Always.\n");
    EXPECT_EQ(logged(), "vesk: Always.\n");
}

TEST_F(DebugPrintf, AddsNoNewline)
{
    vesk_debug_printf("Half");
    EXPECT_EQ(logged(), "vesk: Half");
}

TEST_F(DebugPrintf, PrintsALongMessageWhole)
{
    const std::string message(20000, 'm');
    vesk_debug_printf("%s\n", message.c_str());
    EXPECT_EQ(logged(), "vesk: " + message + "\n");
}

TEST_F(DebugPrintf, KeepsErrno)
{
    errno = EDOM;
    vesk_debug_printf("Always.\n");
    EXPECT_EQ(errno, EDOM);
}

TEST_F(DebugPrintf, FlushesEveryMessage)
{
    piped_log console;
    vesk_debug_printf("first");
    EXPECT_EQ(console.take(), "vesk: first");
    vesk_debug_printf("second\n");
    EXPECT_EQ(console.take(), "vesk: second\n");
}

TEST_F(DebugPrintf, LosesTheLinesOfAStoppedConsole)
{
    piped_log console;
    console.fill();
    for (int line = 0; line < 10000; ++line)
        vesk_debug_printf("A line that nobody takes.\n");
    EXPECT_EQ(console.take().find_first_not_of('x'), std::string::npos);
    vesk_debug_printf("Taken again.\n");
    EXPECT_EQ(console.take(), "vesk: Taken again.\n");
}

TEST_F(DebugPrintf, KeepsErrnoWhenALineIsLost)
{
    piped_log console;
    console.fill();
    errno = EDOM;
    vesk_debug_printf("A line that nobody takes.\n");
    EXPECT_EQ(errno, EDOM);
}

TEST_F(DebugPrintf, LosesALongLineOfAStoppedConsole)
{
    piped_log console;
    console.fill();
    vesk_debug_printf("%s\n", std::string(20000, 'm').c_str());
    console.take();
    vesk_debug_printf("Taken again.\n");
    EXPECT_EQ(console.take(), "vesk: Taken again.\n");
}

TEST_F(DebugEprintf, PrintsLikeDebugPrintf)
{
    set_level(0);
    vesk_debug_eprintf("Bad %s.\n", "luck");
    EXPECT_EQ(logged(), "vesk: Bad luck.\n");
}

TEST_F(Debug1printf, IsSilentAtLevelZero)
{
    set_level(0);
    vesk_debug_1printf("Null class.\n");
    EXPECT_EQ(logged(), "");
}

TEST_F(Debug1printf, PrintsFromLevelOne)
{
    vesk_debug_1printf("Null %s.\n", "class");
    set_level(6);
    vesk_debug_1printf("Null property.\n");
    EXPECT_EQ(logged(), "vesk: Null class.\nvesk: Null property.\n");
}

TEST_F(DebugLprintf, PrintsFromTheGivenLevel)
{
    for (int level = 0; level <= VESK_DEBUG_MAX; ++level) {
        set_level(level);
        vesk_debug_lprintf(4, "%d\n", level);
    }
    EXPECT_EQ(logged(), "vesk: 4\nvesk: 5\nvesk: 6\n");
}

TEST_F(DebugLprintf, PrintsLevelZeroAlways)
{
    set_level(0);
    vesk_debug_lprintf(0, "Always.\n");
    vesk_debug_lprintf(1, "Not now.\n");
    EXPECT_EQ(logged(), "vesk: Always.\n");
}

TEST_F(DebugFatal, GoesOnWithoutExitOnFatal)
{
    set_level(0);
    vesk_debug_fatal("Unable to load any plugins.");
    EXPECT_EQ(logged(), "vesk: Fatal error: Unable to load any plugins.\n"
                        "vesk: Attempting to continue operation.\n");
}

TEST_F(DebugFatal, TakesTheMessageAsText)
{
    vesk_debug_fatal("100%s of %n");
    EXPECT_EQ(logged(), "vesk: Fatal error: 100%s of %n\n"
                        "vesk: Attempting to continue operation.\n");
}

TEST_F(DebugFatal, EndsTheProcessWithExitOnFatal)
{
    EXPECT_EXIT(
        {
            vesk::exchange_log_stream(stderr);
            vesk_debug_set_exit_on_fatal(1);
            vesk_debug_fatal("Providers were invalid.");
        },
        ::testing::ExitedWithCode(1),
        "^vesk: Fatal error: Providers were invalid\\.\nvesk: Exiting due to fatal error\\.\n$");
}

TEST_F(DebugPerror, GoesToStandardErrorAndNotToTheLog)
{
    const std::string text = complained([] {
        errno = ECONNREFUSED;
        vesk_debug_perror("do_sockapi accept");
    });
    EXPECT_EQ(text, "vesk: do_sockapi accept: Connection refused\n");
    EXPECT_EQ(logged(), "");
}

TEST_F(DebugPerror, WritesAtLevelZero)
{
    set_level(0);
    const std::string text = complained([] {
        errno = ENOENT;
        vesk_debug_perror("inform fdopen");
    });
    EXPECT_EQ(text, "vesk: inform fdopen: No such file or directory\n");
}

TEST_F(DebugPerror, CarriesTheTimeStamp)
{
    vesk_debug_set_timestamp(1);
    const std::string text = complained([] {
        errno = ENOENT;
        vesk_debug_perror("inform fdopen");
    });
    EXPECT_EQ(without_times(text), "vesk: [time] inform fdopen: No such file or directory\n");
}

TEST_F(DebugPerror, WritesALongMessageWhole)
{
    const std::string message(3000, 'm');
    const std::string text = complained([&] {
        errno = ENOENT;
        vesk_debug_perror(message.c_str());
    });
    EXPECT_EQ(text, "vesk: " + message + ": No such file or directory\n");
}

TEST_F(DebugPerror, KeepsErrno)
{
    complained([] {
        errno = EDOM;
        vesk_debug_perror("fcntl");
        EXPECT_EQ(errno, EDOM);
    });
}

TEST_F(DebugFatalPerror, GoesOnWithoutExitOnFatal)
{
    const std::string text = complained([] {
        errno = EACCES;
        vesk_debug_fatal_perror("daemon");
    });
    EXPECT_EQ(text, "vesk: Fatal error: daemon: Permission denied\n");
    EXPECT_EQ(logged(), "vesk: Attempting to continue operation.\n");
}

TEST_F(DebugFatalPerror, CarriesTheTimeStamp)
{
    vesk_debug_set_timestamp(1);
    const std::string text = complained([] {
        errno = EACCES;
        vesk_debug_fatal_perror("daemon");
    });
    EXPECT_EQ(without_times(text), "vesk: [time] Fatal error: daemon: Permission denied\n");
    EXPECT_EQ(without_times(logged()), "vesk: [time] Attempting to continue operation.\n");
}

TEST_F(DebugFatalPerror, EndsTheProcessWithExitOnFatal)
{
    EXPECT_EXIT(
        {
            vesk::exchange_log_stream(stderr);
            vesk_debug_set_exit_on_fatal(1);
            errno = EACCES;
            vesk_debug_fatal_perror("daemon");
        },
        ::testing::ExitedWithCode(1),
        "^vesk: Fatal error: daemon: Permission denied\nvesk: Exiting due to fatal error\\.\n$");
}

TEST_F(Fail, LogsFromLevelOneAndGivesOne)
{
    EXPECT_EQ(vesk::fail("Bad %s.\n", "type"), 1);
    set_level(0);
    EXPECT_EQ(vesk::fail("Bad %s.\n", "type"), 1);
    EXPECT_EQ(logged(), "vesk: Bad type.\n");
}

TEST_F(None, LogsFromLevelOneAndGivesNull)
{
    EXPECT_EQ(vesk::none("Bad %s.\n", "type"), nullptr);
    set_level(0);
    EXPECT_EQ(vesk::none("Bad %s.\n", "type"), nullptr);
    EXPECT_EQ(logged(), "vesk: Bad type.\n");
}

TEST_F(Error, LogsAlwaysAndGivesOne)
{
    set_level(0);
    EXPECT_EQ(vesk::error("Bad %s.\n", "type"), 1);
    EXPECT_EQ(logged(), "vesk: Bad type.\n");
}

TEST_F(BeginLogLine, IsContinuedWithoutASecondPrefix)
{
    vesk::begin_log_line();
    vesk::continue_log_line("Running \"%s\" ", "true");
    vesk::continue_log_line("-> pid = %d\n", 7);
    vesk::flush_log();
    EXPECT_EQ(logged(), "vesk: Running \"true\" -> pid = 7\n");
}

TEST_F(BeginLogLine, CarriesTheTimeStamp)
{
    vesk_debug_set_timestamp(1);
    vesk::begin_log_line();
    vesk::continue_log_line("Running.\n");
    EXPECT_EQ(without_times(logged()), "vesk: [time] Running.\n");
}

TEST_F(LogFromSignal, WritesTheTextsOneBehindTheOther)
{
    piped_log console;
    vesk::log_from_signal({"vesk: Stopping ", "dhcp", ".\n"});
    EXPECT_EQ(console.take(), "vesk: Stopping dhcp.\n");
}

TEST_F(LogFromSignal, DoesNotWaitForAStoppedConsole)
{
    piped_log console;
    console.fill();
    vesk::log_from_signal({"A line", " that nobody takes.\n"});
    console.take();
    vesk_debug_printf("Taken again.\n");
    EXPECT_EQ(console.take(), "vesk: Taken again.\n");
}

/** A folder for a console of the test's own. */
class OpenConsole : public ::testing::Test {
  protected:
    OpenConsole()
    {
        char pattern[] = "/tmp/vesk-log-test-XXXXXX";
        folder = mkdtemp(pattern);
        path = folder / "console";
    }
    ~OpenConsole() override { std::filesystem::remove_all(folder); }

    std::filesystem::path folder, path;
};

TEST_F(OpenConsole, GivesNullForWhatCannotBeOpened)
{
    EXPECT_EQ(vesk::open_console((folder / "missing" / "console").c_str()), nullptr);
}

TEST_F(OpenConsole, GivesAStreamThatDoesNotBlock)
{
    std::ofstream{path};
    std::FILE *console = vesk::open_console(path.c_str());
    ASSERT_TRUE(console);
    EXPECT_TRUE(fcntl(fileno(console), F_GETFL) & O_NONBLOCK);
    EXPECT_NE(std::fputs("text", console), EOF);
    std::fclose(console);
    EXPECT_EQ(std::filesystem::file_size(path), 4u);
}

TEST_F(OpenConsole, DoesNotWaitForSomebodyToRead)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(vesk::open_console(path.c_str()), nullptr);
}

} // namespace
