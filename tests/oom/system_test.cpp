#include <cerrno>
#include <csignal>

#include "base/or_on_oom.h"
#include "eloop/eloop.h"
#include "eloop/write.h"
#include "plugins/loader.h"
#include "process/services.h"
#include "tests/oom/device.h"
#include "vesk/command.h"
#include "vesk/debug.h"

// The event loop, programs, services and plug-ins.

namespace vesk::test {
namespace {

/** An event loop of the test's own. */
struct own_loop {
    struct ending {
        ~ending() { eloop_init(nullptr); }
    };
    std::unique_ptr<ending> at_end;

    own_loop()
    {
        eloop_init(nullptr);
        at_end = std::make_unique<ending>();
    }
};

void do_nothing(int, void *, void *) {}
void do_nothing_later(void *, void *) {}

class OomEloop : public ::testing::Test {};

TEST_F(OomEloop, RegisterReadSock)
{
    for_each_failure(
        [] { return own_loop{}; },
        [](own_loop &) { return eloop_register_read_sock(0, do_nothing, nullptr, nullptr); },
        [](own_loop &, int result) { EXPECT_EQ(eloop_unregister_read_sock(0), result); });
}

TEST_F(OomEloop, RegisterWriteSock)
{
    for_each_failure([] { return own_loop{}; },
                     [](own_loop &) { return register_write_sock(0, do_nothing, nullptr); },
                     [](own_loop &, int result) { EXPECT_EQ(unregister_write_sock(0), result); });
}

TEST_F(OomEloop, RegisterReadSockKeepsTheOthers)
{
    constexpr int count = 9;
    for_each_failure([] { return own_loop{}; },
                     [](own_loop &) {
                         unsigned failed = 0;
                         for (int fd = 0; fd < count; ++fd)
                             if (eloop_register_read_sock(fd, do_nothing, nullptr, nullptr) != 0)
                                 failed |= 1U << fd;
                         return failed;
                     },
                     [](own_loop &, unsigned failed) {
                         for (int fd = 0; fd < count; ++fd)
                             EXPECT_EQ(eloop_unregister_read_sock(fd), failed & 1U << fd ? -1 : 0)
                                 << fd;
                     });
}

TEST_F(OomEloop, RegisterTimeout)
{
    for_each_failure(
        [] { return own_loop{}; },
        [](own_loop &) { return eloop_register_timeout(1, 0, do_nothing_later, nullptr, nullptr); },
        [](own_loop &, int result) {
            EXPECT_EQ(eloop_cancel_timeout(do_nothing_later, nullptr, nullptr), result + 1);
        });
}

TEST_F(OomEloop, RegisterSignal)
{
    for_each_failure(
        [] {
            std::signal(SIGUSR1, SIG_IGN);
            return own_loop{};
        },
        [](own_loop &) { return eloop_register_signal(SIGUSR1, do_nothing, nullptr); },
        [](own_loop &, int result) {
            EXPECT_EQ(std::signal(SIGUSR1, SIG_DFL) == SIG_IGN, result == -1);
        });
}

TEST_F(OomEloop, DestroyFreesAllRegistrations)
{
    eloop_init(nullptr);
    const size_t before = live_blocks();
    eloop_register_read_sock(0, do_nothing, nullptr, nullptr);
    eloop_register_timeout(1, 0, do_nothing_later, nullptr, nullptr);
    eloop_destroy();
    EXPECT_EQ(live_blocks(), before);
}

/** Nothing is executed, only logged; a command that there is none of cannot be waited for. */
class OomProcess : public ::testing::Test {
  protected:
    OomProcess() { vesk_process_no_actions = 1; }
    ~OomProcess() override { vesk_process_no_actions = 0; }

    log_capture log_;
};

constexpr char *no_more = nullptr;

TEST_F(OomProcess, CommandExecl)
{
    for_each_failure([] { return 0; },
                     [](int) { return vesk_command_execl("/bin/true", "a", "b", "c", no_more); },
                     [](int, int result) { EXPECT_EQ(result, -1); });
}

TEST_F(OomProcess, CommandExeclod)
{
    for_each_failure([] { return 0; },
                     [](int) {
                         return vesk_command_execlod("/bin/true", "a", "b", "c", no_more, 1U,
                                                     static_cast<const char *>("/"));
                     },
                     [](int, int result) { EXPECT_EQ(result, -1); });
}

TEST_F(OomProcess, CommandExecvNeedsNoMemory)
{
    char program[] = "/bin/true";
    char *const arguments[] = {program, nullptr};
    for_each_failure([] { return 0; }, [&](int) { return vesk_command_execv(arguments); },
                     [](int, int result) { EXPECT_EQ(result, -1); });
}

/** The table of services of one attempt. */
struct own_services {
    struct ending {
        ~ending() { services() = service_table{}; }
    };
    std::unique_ptr<ending> at_end = std::make_unique<ending>();
};

std::string services_text()
{
    std::string text = printed(vesk_service_print);
    for (auto [name, service] : services().by_name)
        text += std::string{name} + (service->exited ? " has a callback\n" : "\n");
    return text;
}

template <typename Work> void expect_started_or_unchanged(Work &&work)
{
    for (const bool filled : {false, true})
        expect_all_or_nothing(
            [&] {
                own_services s;
                char program[] = "/bin/true";
                char *const arguments[] = {program, nullptr};
                if (filled) vesk_service_execv("another", arguments);
                return s;
            },
            [&](own_services &) { return work(); },
            [](const own_services &) { return services_text(); });
}

TEST_F(OomProcess, ServiceExecv)
{
    char program[] = "/bin/true";
    char *const arguments[] = {program, nullptr};
    expect_started_or_unchanged(
        [&] { return vesk_service_execv("a service with a long name", arguments); });
    expect_started_or_unchanged(
        [&] { return vesk_service_execvod("a service with a long name", arguments, 2, "/"); });
}

TEST_F(OomProcess, ServiceExecl)
{
    expect_started_or_unchanged([] {
        return vesk_service_execl("a service with a long name", "/bin/true", "a", "b", no_more);
    });
    expect_started_or_unchanged([] {
        return vesk_service_execlod("a service with a long name", "/bin/true", "a", no_more, 1U,
                                    static_cast<const char *>("/"));
    });
}

TEST_F(OomProcess, ServiceSetExitedFn)
{
    expect_started_or_unchanged([] {
        return vesk_service_set_exited_fn(
            "a service with a long name", [](void *) {}, nullptr);
    });
}

TEST_F(OomProcess, ServiceIsRunningOfOneThatIs)
{
    const own_services s;
    char program[] = "/bin/true";
    char *const arguments[] = {program, nullptr};
    vesk_service_execv("this", arguments);
    services().by_name.get("this")->pid = getpid();
    for_each_failure([] { return 0; }, [](int) { return vesk_service_is_running("this"); },
                     [](int, int running) { EXPECT_TRUE(running == 0 || running == 1); });
    EXPECT_EQ(vesk_service_is_running("this"), 1);
}

TEST_F(OomProcess, ServiceStopAndPollNeedNoMemory)
{
    for_each_failure(
        [] {
            own_services s;
            char program[] = "/bin/true";
            char *const arguments[] = {program, nullptr};
            vesk_service_execv("this", arguments);
            return s;
        },
        [](own_services &) {
            sig_child_received = 1;
            vesk_service_poll();
            return vesk_service_stop("this", SIGTERM, 0);
        },
        [](own_services &, int result) { EXPECT_EQ(result, 0); });
}

TEST_F(OomProcess, PluginNew)
{
    const char *const before = vesk_plugins_current;
    vesk_plugins_current = "a plug-in with a name that is long.so";
    expect_whole_or_null<std::unique_ptr<vesk_plugin>>(
        [] { return vesk_plugin_new(VESK_PLUGIN_VERSION); }, [](vesk_plugin &p) { return p.file; });
    vesk_plugins_current = before;
}

TEST_F(OomProcess, LoadPlugins)
{
    for (const char *folder : {"/nowhere/at/all/that/is/there/", "/"})
        for_each_failure([] { return 0; },
                         [&](int) { return or_on_oom(1, [&] { return load_plugins(folder); }); },
                         [](int, int result) { EXPECT_TRUE(result == 0 || result == 1); });
}

TEST_F(OomProcess, LogKeepsErrno)
{
    for_each_failure([] { return 0; },
                     [](int) {
                         errno = ENOENT;
                         vesk_debug_perror("a message that does not fit into a short string");
                         vesk_debug_fatal_perror("a message that does not fit into a short string");
                         vesk_debug_fatal("a message");
                         vesk_debug_eprintf("%s\n", "a message");
                         return errno;
                     },
                     [](int, int error) { EXPECT_EQ(error, ENOENT); });
}

} // namespace
} // namespace vesk::test
