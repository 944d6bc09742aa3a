#include "vesk/command.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "tests/support/log.h"
#include "tests/support/output.h"
#include "vesk/debug.h"
#include "vesk/service.h"

namespace {

bool fork_fails = false;
bool child_is_quicker = false; // it has ended before its parent goes on

} // namespace

/** Stands before the library's. */
extern "C" __attribute__((visibility("default"))) pid_t fork() noexcept
{
    if (fork_fails) return errno = EAGAIN, -1;
    const pid_t pid = reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"))();
    siginfo_t ended;
    if (pid > 0 && child_is_quicker)
        while (waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT) < 0 &&
               errno == EINTR) {
        }
    return pid;
}

namespace {

namespace fs = std::filesystem;
using vesk::unique_fd;
using vesk::test::complained;
using vesk::test::set_level;
using vesk::test::without_times;
using vesk::test::written_to;

/** Runs a shell script. */
int run_script(const char *script, unsigned output = 2, const char *directory = nullptr)
{
    return vesk_command_execlod("sh", "-c", script, nullptr, output, directory);
}

/** What a shell script prints. */
std::string output_of(const char *script, const char *directory = nullptr)
{
    return written_to(1, [&] { run_script(script, 2, directory); });
}

/** A handler of the parent while this lives; calls are not restarted after it. */
class handler {
  public:
    handler(int number, void (*function)(int)) : number_{number}
    {
        struct sigaction action = {};
        action.sa_handler = function;
        sigaction(number, &action, &before_);
    }
    ~handler() { sigaction(number_, &before_, nullptr); }
    handler(const handler &) = delete;
    handler &operator=(const handler &) = delete;

    static auto current(int number)
    {
        struct sigaction action;
        sigaction(number, nullptr, &action);
        return action.sa_handler;
    }

  private:
    int number_;
    struct sigaction before_;
};

/** A descriptor is closed while this lives. */
class closed {
  public:
    explicit closed(int fd) : fd_{fd}, before_{fcntl(fd, F_DUPFD_CLOEXEC, 10)} { close(fd); }
    ~closed()
    {
        dup2(before_, fd_);
        close(before_);
    }
    closed(const closed &) = delete;
    closed &operator=(const closed &) = delete;

  private:
    int fd_, before_;
};

void ignore_signal(int) {}

void service_sig_child(int number)
{
    vesk_service_sig_child(number, nullptr, nullptr);
}

class command_test : public ::testing::Test {
  protected:
    command_test()
    {
        char pattern[] = "/tmp/vesk-command-test-XXXXXX";
        folder = fs::canonical(mkdtemp(pattern));
    }
    ~command_test() override
    {
        fork_fails = child_is_quicker = false;
        vesk_process_no_actions = 0;
        vesk_debug_set_timestamp(0);
        fs::remove_all(folder);
    }

    std::string logged() { return log_.take(); }

    fs::path folder;

  private:
    vesk::test::log_capture log_{0};
};

using CommandExecl = command_test;
using CommandExeclod = command_test;
using CommandExecv = command_test;
using CommandExecvod = command_test;

TEST_F(CommandExecl, RunsAProgramWithoutArguments)
{
    EXPECT_EQ(vesk_command_execl("true", nullptr), 0);
}

TEST_F(CommandExecl, HandsOverAllArguments)
{
    EXPECT_EQ(vesk_command_execl("sh", "-c", "exit $(($# * 10 + $3))", "name", "1", "2", "3", "4",
                                 "5", "6", "7", nullptr),
              73 << 8);
}

TEST_F(CommandExecl, KeepsBlanksAndEmptyArguments)
{
    EXPECT_EQ(
        vesk_command_execl("sh", "-c", "[ \"$0+$1+$2\" = \"a b++c\" ]", "a b", "", "c", nullptr),
        0);
}

TEST_F(CommandExecl, SendsTheOutputNowhereAtLevelZero)
{
    const std::string text =
        written_to(1, [] { vesk_command_execl("echo", "some output", nullptr); });
    EXPECT_EQ(text, "");
}

TEST_F(CommandExecl, ShowsTheOutputFromLevelOne)
{
    set_level(1);
    const std::string text =
        written_to(1, [] { vesk_command_execl("echo", "some output", nullptr); });
    EXPECT_EQ(text, "some output\n");
}

TEST_F(CommandExeclod, TakesOutputAndDirectoryBehindTheNullPointer)
{
    const std::string text =
        written_to(1, [&] { vesk_command_execlod("pwd", "-P", nullptr, 2u, folder.c_str()); });
    EXPECT_EQ(text, folder.native() + "\n");
}

TEST_F(CommandExeclod, TakesThemAlsoWithoutArguments)
{
    const std::string text =
        written_to(1, [&] { vesk_command_execlod("pwd", nullptr, 2u, folder.c_str()); });
    EXPECT_EQ(text, folder.native() + "\n");
}

TEST_F(CommandExeclod, StaysInTheDirectoryWithoutOne)
{
    const std::string text = written_to(
        1, [] { vesk_command_execlod("pwd", "-P", nullptr, 2u, static_cast<char *>(nullptr)); });
    EXPECT_EQ(text, fs::canonical(fs::current_path()).native() + "\n");
}

TEST_F(CommandExecv, GivesTheRawStatusOfAnExitCode)
{
    char *const argv[] = {const_cast<char *>("sh"), const_cast<char *>("-c"),
                          const_cast<char *>("exit 3"), nullptr};
    EXPECT_EQ(vesk_command_execv(argv), 768);
}

TEST_F(CommandExecv, SendsTheOutputNowhereAtLevelZero)
{
    char *const argv[] = {const_cast<char *>("echo"), const_cast<char *>("some output"), nullptr};
    EXPECT_EQ(written_to(1, [&] { vesk_command_execv(argv); }), "");
    set_level(1);
    EXPECT_EQ(written_to(1, [&] { vesk_command_execv(argv); }), "some output\n");
}

TEST_F(CommandExecv, RefusesANullVector)
{
    EXPECT_EQ(vesk_command_execv(nullptr), -1);
}

TEST_F(CommandExecvod, RunsAVectorInADirectory)
{
    char *const argv[] = {const_cast<char *>("touch"), const_cast<char *>("made"), nullptr};
    EXPECT_EQ(vesk_command_execvod(argv, 0, folder.c_str()), 0);
    EXPECT_TRUE(fs::exists(folder / "made"));
}

TEST_F(CommandExecvod, GivesTheRawStatusOfASignal)
{
    EXPECT_EQ(run_script("kill -KILL $$"), SIGKILL);
}

TEST_F(CommandExecvod, Gives32512ForAMissingProgram)
{
    EXPECT_EQ(vesk_command_execl("/no/such/program", nullptr), 32512);
    EXPECT_EQ(vesk_command_execl("vesk-no-such-program", nullptr), 32512);
}

TEST_F(CommandExecvod, ReportsAMissingProgram)
{
    const std::string text = complained([] {
        vesk_command_execlod("/no/such/program", nullptr, 2u, static_cast<char *>(nullptr));
    });
    EXPECT_EQ(text, "vesk: Unable to execute \"/no/such/program\": No such file or directory\n");
}

TEST_F(CommandExecvod, ReportsAMissingProgramWithTheTime)
{
    vesk_debug_set_timestamp(1);
    const std::string text = complained([] {
        vesk_command_execlod("/no/such/program", nullptr, 2u, static_cast<char *>(nullptr));
    });
    EXPECT_EQ(without_times(text),
              "vesk: [time] Unable to execute \"/no/such/program\": No such file or directory\n");
}

TEST_F(CommandExecvod, ReportsWhatMayNotBeExecuted)
{
    const std::string text = complained(
        [&] { vesk_command_execlod(folder.c_str(), nullptr, 2u, static_cast<char *>(nullptr)); });
    EXPECT_EQ(text, "vesk: Unable to execute \"" + folder.native() + "\": Permission denied\n");
}

TEST_F(CommandExecvod, ReportsTheFirst60CharactersOfAProgram)
{
    const std::string program = "/no/" + std::string(200, 'x');
    const std::string text = complained(
        [&] { vesk_command_execlod(program.c_str(), nullptr, 2u, static_cast<char *>(nullptr)); });
    EXPECT_EQ(text, "vesk: Unable to execute \"" + program.substr(0, 60) +
                        ": No such file or directory\n");
}

TEST_F(CommandExecvod, ReportsAMissingProgramNowhereWithOutputZero)
{
    const std::string text = complained([] {
        vesk_command_execlod("/no/such/program", nullptr, 0u, static_cast<char *>(nullptr));
    });
    EXPECT_EQ(text, "");
}

TEST_F(CommandExecvod, ExecutesNothingWhereNothingCanBeOpened)
{
    const std::string made = folder / "made";
    const std::string text = complained([&] {
        rlimit before{};
        getrlimit(RLIMIT_NOFILE, &before);
        const rlimit none{0, before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        EXPECT_EQ(vesk_command_execl("touch", made.c_str(), nullptr), 32512);
        setrlimit(RLIMIT_NOFILE, &before);
    });
    EXPECT_EQ(text, "vesk: Unable to execute \"touch\": Too many open files\n");
    EXPECT_FALSE(fs::exists(made));
}

TEST_F(CommandExecvod, RunsWhereItIsWhenTheDirectoryIsMissing)
{
    std::string output;
    const std::string text = complained([&] { output = output_of("pwd -P", "/no/such/folder"); });
    EXPECT_EQ(text, "vesk: Unable to change directories to \"/no/such/folder\" while executing "
                    "\"sh\": No such file or directory\n");
    EXPECT_EQ(output, fs::canonical(fs::current_path()).native() + "\n");
}

TEST_F(CommandExecvod, ReportsAMissingDirectoryWithOutputZeroToo)
{
    const std::string text =
        complained([] { EXPECT_EQ(run_script("exit 3", 0, "/no/such/folder"), 768); });
    EXPECT_EQ(text, "vesk: Unable to change directories to \"/no/such/folder\" while executing "
                    "\"sh\": No such file or directory\n");
}

TEST_F(CommandExecvod, ReportsTheFirst126CharactersOfADirectory)
{
    const std::string missing = "/no/" + std::string(200, 'x');
    const std::string text = complained([&] { run_script("exit 0", 0, missing.c_str()); });
    EXPECT_EQ(text, "vesk: Unable to change directories to \"" + missing.substr(0, 126) +
                        ": No such file or directory\n");
}

/** An output mode and a debug level. */
struct output_case {
    unsigned output;
    int level;
    bool shown;
};

class CommandOutput : public command_test, public ::testing::WithParamInterface<output_case> {};

TEST_P(CommandOutput, IsShownOrNot)
{
    const auto [output, level, shown] = GetParam();
    set_level(level);
    std::string out;
    const std::string err = complained(
        [&] { out = written_to(1, [&] { run_script("echo out; echo err >&2", output); }); });
    EXPECT_EQ(out, shown ? "out\n" : "");
    EXPECT_EQ(err, shown ? "err\n" : "");
}

INSTANTIATE_TEST_SUITE_P(Modes, CommandOutput,
                         ::testing::Values(output_case{0, 0, false}, output_case{0, 6, false},
                                           output_case{1, 0, false}, output_case{1, 1, true},
                                           output_case{1, 6, true}, output_case{2, 0, true},
                                           output_case{2, 6, true}, output_case{3, 0, true},
                                           output_case{~0u, 0, true}));

TEST_F(CommandExecvod, GivesTheProgramNoInput)
{
    EXPECT_EQ(output_of("readlink /proc/$$/fd/0; cat"), "/dev/null\n");
}

TEST_F(CommandExecvod, GivesTheProgramNoInputWhereTheDaemonHasNone)
{
    const closed input{0};
    EXPECT_EQ(output_of("readlink /proc/$$/fd/0; cat"), "/dev/null\n");
}

TEST_F(CommandExecvod, SendsTheOutputNowhereWhereTheDaemonHasNone)
{
    const char *script = "for fd in 0 1 2; do"
                         "  [ \"$(readlink /proc/$$/fd/$fd)\" = /dev/null ] || exit 1; "
                         "done; echo out && echo err >&2";
    std::fflush(nullptr);
    for (const auto &missing : {std::vector{0, 1, 2}, {1, 2}, {0, 2}, {1}, {2}}) {
        std::vector<std::unique_ptr<closed>> all;
        for (int fd : missing)
            all.push_back(std::make_unique<closed>(fd));
        const int status = run_script(script, 0);
        all.clear();
        EXPECT_EQ(status, 0) << ::testing::PrintToString(missing);
    }
}

TEST_F(CommandExecvod, ClosesEveryOtherDescriptor)
{
    const unique_fd low{open("/dev/null", O_RDONLY)};
    const unique_fd high{dup2(low.get(), 1023)};
    ASSERT_GE(low.get(), 3);
    // The shell itself keeps none, the listing holds the folder open.
    EXPECT_EQ(run_script("for fd in /proc/$$/fd/*; do"
                         "  case ${fd##*/} in 0|1|2) ;; *) [ -e $fd ] && exit 1 ;; esac; "
                         "done; exit 0"),
              0);
}

TEST_F(CommandExecvod, GivesTheProgramASessionOfItsOwn)
{
    EXPECT_EQ(run_script("read -r line < /proc/$$/stat; set -- $line;"
                         " [ $5 = $$ ] && [ $6 = $$ ]"),
              0);
}

TEST_F(CommandExecvod, GivesTheProgramTheDefaultSignals)
{
    for (int number : {SIGTERM, SIGINT, SIGHUP}) {
        const handler ignored{number, SIG_IGN};
        const std::string script = "kill -" + std::to_string(number) + " $$; exit 0";
        EXPECT_EQ(run_script(script.c_str()), number);
    }
}

TEST_F(CommandExecvod, GivesTheProgramItsChildrenToWaitFor)
{
    const handler ignored{SIGCHLD, SIG_IGN};
    // Not by a shell: it takes the signal for itself.
    const std::string text = written_to(1, [] {
        vesk_command_execlod("grep", "SigIgn:", "/proc/self/status", nullptr, 2u,
                             static_cast<char *>(nullptr));
    });
    ASSERT_EQ(text.substr(0, 8), "SigIgn:\t") << text;
    const unsigned long long mask = std::stoull(text.substr(8), nullptr, 16);
    EXPECT_EQ(mask >> (SIGCHLD - 1) & 1, 0u);
}

TEST_F(CommandExecvod, GivesTheProgramAnOrdinarySignalMask)
{
    // Read by the shell itself: it holds signals back while it starts another program.
    EXPECT_EQ(output_of("while read -r name mask; do [ $name = SigBlk: ] && echo $mask;"
                        " done < /proc/$$/status"),
              "0000000000000000\n");
}

TEST_F(CommandExecvod, LeavesTheSignalsOfTheDaemonAlone)
{
    const handler term{SIGTERM, ignore_signal};
    EXPECT_EQ(run_script("exit 3"), 768);
    EXPECT_EQ(handler::current(SIGTERM), ignore_signal);
    sigset_t mask;
    sigprocmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_FALSE(sigismember(&mask, SIGCHLD));
    EXPECT_FALSE(sigismember(&mask, SIGTERM));
}

TEST_F(CommandExecvod, WaitsOnWhenASignalInterruptsIt)
{
    const handler interrupting{SIGUSR2, ignore_signal};
    EXPECT_EQ(run_script("kill -USR2 $PPID; kill -USR2 $PPID; kill -USR2 $PPID; exit 3"), 768);
}

TEST_F(CommandExecvod, GetsTheStatusDespiteTheHandlerOfServices)
{
    const handler reaping{SIGCHLD, service_sig_child};
    for (int run = 0; run < 30; ++run) {
        sig_child_received = 0;
        ASSERT_EQ(run_script("exit 3"), 768);
        EXPECT_EQ(sig_child_received, 1);
    }
}

TEST_F(CommandExecvod, GetsTheStatusOfAChildThatEndsBeforeTheWait)
{
    const handler reaping{SIGCHLD, service_sig_child};
    child_is_quicker = true;
    EXPECT_EQ(run_script("exit 3"), 768);
    EXPECT_EQ(vesk_command_execl("/no/such/program", nullptr), 32512);
}

TEST_F(CommandExecvod, LetsTheHandlerOfServicesReapTheOthers)
{
    const handler reaping{SIGCHLD, service_sig_child};
    const pid_t other = fork();
    if (other == 0) _exit(5);
    ASSERT_GT(other, 1);
    for (int run = 0; run < 1000 && kill(other, 0) == 0; ++run)
        ASSERT_EQ(run_script("exit 3"), 768);
    EXPECT_EQ(waitpid(other, nullptr, WNOHANG), -1);
}

TEST_F(CommandExecvod, WaitsForItsOwnChildOnly)
{
    const pid_t other = fork();
    if (other == 0) _exit(5);
    EXPECT_EQ(run_script("exit 3"), 768);
    int status = 0;
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(status, 5 << 8);
}

TEST_F(CommandExecvod, LogsNothingAtLevelZero)
{
    run_script("exit 3");
    EXPECT_EQ(logged(), "");
}

TEST_F(CommandExecvod, LogsOneLineFromLevelOne)
{
    set_level(1);
    const std::string pid = output_of("printf %s $$; exit 3");
    EXPECT_EQ(logged(), "vesk: Running \"sh -c printf %s $$; exit 3\" -> pid = " + pid +
                            " -> status = 768\n");
}

TEST_F(CommandExecvod, LogsTheRawStatusOfAMissingProgram)
{
    set_level(6);
    complained([] { vesk_command_execl("/no/such/program", nullptr); });
    const std::string line = logged();
    const std::string start = "vesk: Running \"/no/such/program\" -> pid = ";
    const std::string end = " -> status = 32512\n";
    EXPECT_EQ(line.substr(0, start.size()), start);
    EXPECT_EQ(line.substr(line.size() - end.size()), end);
}

TEST_F(CommandExecvod, LogsTheTime)
{
    set_level(1);
    vesk_debug_set_timestamp(1);
    const std::string pid = output_of("printf %s $$");
    EXPECT_EQ(without_times(logged()),
              "vesk: [time] Running \"sh -c printf %s $$\" -> pid = " + pid + " -> status = 0\n");
}

TEST_F(CommandExecvod, LogsTheErrorOfAWaitThatFails)
{
    set_level(1);
    const handler ignored{SIGCHLD, SIG_IGN};
    std::string pid;
    int status = 0;
    pid = written_to(1, [&] { status = run_script("printf %s $$"); });
    EXPECT_EQ(status, -1);
    EXPECT_EQ(logged(),
              "vesk: Running \"sh -c printf %s $$\" -> pid = " + pid + " -> errno = 10\n");
}

TEST_F(CommandExecvod, OnlyLogsInNoActionsMode)
{
    set_level(1);
    vesk_process_no_actions = 1;
    const std::string made = folder / "made";
    EXPECT_EQ(vesk_command_execl("touch", made.c_str(), nullptr), -1);
    EXPECT_EQ(logged(), "vesk: Running \"touch " + made + "\" -> (no actions) -> errno = 10\n");
    EXPECT_FALSE(fs::exists(made));
}

TEST_F(CommandExecvod, DoesNothingAtAllInNoActionsModeAtLevelZero)
{
    vesk_process_no_actions = 1;
    const std::string made = folder / "made";
    EXPECT_EQ(vesk_command_execl("touch", made.c_str(), nullptr), -1);
    EXPECT_EQ(logged(), "");
    EXPECT_FALSE(fs::exists(made));
}

TEST_F(CommandExecvod, WaitsForAnyChildOfTheGroupInNoActionsMode)
{
    set_level(1);
    const pid_t other = fork();
    if (other == 0) _exit(5);
    vesk_process_no_actions = 1;
    EXPECT_EQ(vesk_command_execl("true", nullptr), 5 << 8);
    EXPECT_EQ(logged(), "vesk: Running \"true\" -> (no actions) -> status = 1280\n");
}

TEST_F(CommandExecvod, ReportsThatThereCanBeNoChild)
{
    fork_fails = true;
    EXPECT_EQ(complained([] { EXPECT_EQ(vesk_command_execl("true", nullptr), -1); }),
              "fork: Resource temporarily unavailable\n");
    EXPECT_EQ(logged(), "");
}

TEST_F(CommandExecvod, LeavesTheLineOpenWhenThereCanBeNoChild)
{
    set_level(1);
    fork_fails = true;
    complained([] { vesk_command_execl("true", nullptr); });
    EXPECT_EQ(logged(), "vesk: Running \"true\" ");
}

TEST_F(CommandExecvod, LeavesSigtermAtItsDefaultWhenThereCanBeNoChild)
{
    const handler term{SIGTERM, ignore_signal};
    fork_fails = true;
    complained([] { vesk_command_execl("true", nullptr); });
    EXPECT_EQ(handler::current(SIGTERM), SIG_DFL);
}

} // namespace
