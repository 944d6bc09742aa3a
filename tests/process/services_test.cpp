#include "vesk/service.h"

#include "process/services.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/log.h"
#include "vesk/command.h"

namespace {

using vesk::test::log_capture;

/** The table is the process's: every test ends with it empty. */
class Services : public ::testing::Test {
  protected:
    ~Services() override
    {
        for (vesk::service *s = vesk::services().first; s; s = s->next)
            s->exited = nullptr; // what they would be given is gone
        vesk_service_shutdown();
        for (int checks = 0; checks < 3; ++checks)
            check();
    }

    /** Starts a program that runs until it is stopped. */
    static int start(const char *name)
    {
        return vesk_service_execl(name, "/bin/sleep", "1000", static_cast<char *>(nullptr));
    }

    /** Starts nothing: there is no program to run, as when a fork fails. */
    static int fail_to_start(const char *name)
    {
        char *const argv[] = {nullptr};
        return vesk_service_execv(name, argv);
    }

    static pid_t pid_of(const char *name) { return vesk::services().by_name.get(name)->pid; }
    static bool is_known(const char *name) { return vesk::services().by_name.get(name) != nullptr; }

    /** Lets a service die by itself, and the handler reap it. */
    static void let_die(const char *name)
    {
        const pid_t pid = pid_of(name);
        kill(pid, SIGKILL);
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
        vesk_service_sig_child(SIGCHLD, nullptr, nullptr);
    }

    static void check()
    {
        vesk_service_sig_child(SIGCHLD, nullptr, nullptr);
        vesk_service_poll();
    }

    log_capture log_{0};
};

/** What the callback of a dead service does, and how often it ran. */
struct callback {
    std::function<void()> action = [] {};
    int runs = 0;

    static void run(void *data)
    {
        auto &self = *static_cast<callback *>(data);
        ++self.runs;
        self.action();
    }
};

TEST_F(Services, PrintTheHeaderOnlyWhenThereAreNone)
{
    EXPECT_EQ(vesk::test::printed(vesk_service_print), "Service              State        PID\n");
}

TEST_F(Services, RunUnderTheirName)
{
    EXPECT_EQ(start("one"), 0);
    EXPECT_EQ(vesk_service_is_running("one"), 1);
    EXPECT_EQ(vesk_service_is_running("other"), 0);
    EXPECT_EQ(vesk_service_is_running(nullptr), 0);
}

TEST_F(Services, AreStoppedTogetherTenOfThemInTime)
{
    for (int i = 0; i < 10; ++i)
        start(std::to_string(i).c_str());
    const auto begin = std::chrono::steady_clock::now();
    vesk_service_shutdown();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{5});
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(vesk_service_is_running(std::to_string(i).c_str()), 0) << i;
}

TEST_F(Services, LeaveTheTableAtTheSecondCheckAfterTheirStop)
{
    callback exited;
    start("one");
    vesk_service_set_exited_fn("one", callback::run, &exited);
    EXPECT_EQ(vesk_service_stop("one", SIGTERM, 5'000'000), 1);
    check();
    EXPECT_EQ(vesk::services().by_name.get("one")->state, vesk::service_stopped);
    EXPECT_EQ(vesk_service_stop("one", SIGTERM, 0), 0);
    check();
    EXPECT_FALSE(is_known("one"));
    EXPECT_EQ(exited.runs, 1);
}

TEST_F(Services, MayBeStartedAgainByTheirCallback)
{
    callback exited;
    exited.action = [&] {
        start("one");
        vesk_service_set_exited_fn("one", callback::run, &exited);
    };
    start("one");
    vesk_service_set_exited_fn("one", callback::run, &exited);
    let_die("one");
    check();
    EXPECT_EQ(exited.runs, 1);
    EXPECT_EQ(vesk_service_is_running("one"), 1);
}

TEST_F(Services, SurviveACallbackThatStopsAndStartsOthers)
{
    callback exited;
    exited.action = [] {
        vesk_service_stop("two", SIGKILL, 5'000'000);
        start("four");
    };
    for (const char *name : {"one", "two", "three"})
        start(name);
    vesk_service_set_exited_fn("one", callback::run, &exited);
    let_die("one");
    check();
    EXPECT_EQ(vesk_service_is_running("three"), 1);
    EXPECT_EQ(vesk_service_is_running("four"), 1);
    EXPECT_EQ(vesk::services().by_name.get("two")->state, vesk::service_stopped);
}

TEST_F(Services, ThatCannotBeStartedAreNotSignalled)
{
    EXPECT_EQ(fail_to_start("one"), 0);
    EXPECT_EQ(pid_of("one"), -1);
    EXPECT_EQ(vesk_service_is_running("one"), 0);
    EXPECT_EQ(vesk_service_stop("one", SIGKILL, 0), 1) << "this process would be gone";
}

TEST_F(Services, ThatNeverStartDoNotKeepACheckBusy)
{
    callback exited;
    exited.action = [&] {
        fail_to_start("one");
        vesk_service_set_exited_fn("one", callback::run, &exited);
    };
    fail_to_start("one");
    vesk_service_set_exited_fn("one", callback::run, &exited);
    check();
    EXPECT_EQ(exited.runs, 1);
    check();
    EXPECT_EQ(exited.runs, 2);
}

TEST_F(Services, ThatHaveDiedAreNeitherSignalledNorTakenForAnother)
{
    start("one");
    let_die("one");
    // Somebody else may have the number by now: here, this very process.
    vesk::services().by_name.get("one")->pid = getpid();
    EXPECT_EQ(vesk_service_is_running("one"), 0);
    EXPECT_EQ(vesk_service_stop("one", SIGKILL, 1), 1) << "this process would be gone";
}

TEST_F(Services, ThatOnlyHaveACallbackStayInTheTable)
{
    callback exited;
    vesk_service_set_exited_fn("one", callback::run, &exited);
    check();
    EXPECT_TRUE(is_known("one"));
    EXPECT_EQ(exited.runs, 0);
    start("one");
}

TEST_F(Services, TellOfTheirDeathWithTheTextsThisWayRound)
{
    callback exited;
    start("one");
    start("two");
    vesk_service_set_exited_fn("one", callback::run, &exited);
    const std::string one = std::to_string(pid_of("one"));
    const std::string two = std::to_string(pid_of("two"));
    let_die("one");
    let_die("two");
    vesk::test::set_level(1);
    check();
    EXPECT_EQ(log_.take(), "vesk: Service one with pid " + one +
                               " is no longer running. Service has no callback.\n"
                               "vesk: Service two with pid " +
                               two + " is no longer running. Running callback.\n");
    vesk::test::set_level(0);
}

TEST_F(Services, AreNotCheckedUntilAChildHasEnded)
{
    callback exited;
    fail_to_start("one");
    vesk_service_set_exited_fn("one", callback::run, &exited);
    sig_child_received = 0;
    vesk_service_poll();
    EXPECT_EQ(exited.runs, 0);
    sig_child_received = 1;
    vesk_service_poll();
    EXPECT_EQ(exited.runs, 1);
    EXPECT_EQ(sig_child_received, 0);
}

TEST_F(Services, InNoActionsModeAreOnlyLogged)
{
    vesk_process_no_actions = 1;
    vesk::test::set_level(1);
    start("one");
    EXPECT_EQ(log_.take(), "vesk: Running \"/bin/sleep 1000\" -> (no actions) \n");
    EXPECT_EQ(vesk::test::printed(vesk_service_print), "Service              State        PID\n"
                                                       "one                  running        0\n");
    EXPECT_EQ(vesk_service_stop("one", SIGTERM, 1000), 0);
    EXPECT_EQ(log_.take(), "vesk: Sending signal 15 to service one with pid 0.\n"
                           "vesk: (no actions)\n");
    vesk::test::set_level(0);
    vesk_process_no_actions = 0;
}

} // namespace
