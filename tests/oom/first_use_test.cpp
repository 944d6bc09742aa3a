#include <cstdlib>
#include <ostream>

#include <gtest/gtest.h>

#include "tests/support/alloc.h"
#include "vesk/vesk.h"

// What is made at its first use and then kept: without memory even that is a failure, not the end.

namespace vesk::test {
namespace {

struct first_use {
    const char *name;
    void (*call)();
};

void PrintTo(const first_use &use, std::ostream *stream)
{
    *stream << use.name;
}

void do_nothing(void *, void *) {}

constexpr first_use uses[] = {
    {"eloop_init", [] { eloop_init(nullptr); }},
    {"eloop_cancel_timeout", [] { eloop_cancel_timeout(do_nothing, nullptr, nullptr); }},
    {"eloop_register_timeout", [] { eloop_register_timeout(0, 0, do_nothing, nullptr, nullptr); }},
    {"eloop_terminate", [] { eloop_terminate(); }},
    {"classes_get", [] { vesk_classes_get("x"); }},
    {"classes_print", [] { vesk_classes_print(stderr); }},
    {"providers_init", [] { vesk_providers_init(); }},
    {"providers_get", [] { vesk_providers_get("x"); }},
    {"providers_print", [] { vesk_providers_print(stderr); }},
    {"providers_refresh", [] { vesk_providers_refresh(nullptr); }},
    {"service_init", [] { vesk_service_init(); }},
    {"service_is_running", [] { vesk_service_is_running("x"); }},
    {"service_stop", [] { vesk_service_stop("x", 0, 0); }},
    {"service_poll", [] { vesk_service_poll(); }},
    {"service_print", [] { vesk_service_print(stderr); }},
    {"inform_fn_add", [] { vesk_inform_fn_add("x", [] { return 0; }); }},
    {"inform_get_value", [] { vesk_inform_get_value("x"); }},
    {"query_eval", [] { std::free(vesk_query_eval("<lsql/>")); }},
    {"query_action", [] { vesk_query_action("x", "y", nullptr, nullptr); }},
    {"config_get_startup_as_xml", [] { std::free(vesk_config_get_startup_as_xml()); }},
    {"notify_conf_change", [] { vesk_notify_conf_change("x"); }},
};

class OomFirstUse : public ::testing::TestWithParam<first_use> {};

#ifdef VESK_EMULATED // a program cannot start itself again; ctest gives each test its own process
constexpr const char *style = "fast";
#else
constexpr const char *style = "threadsafe";
#endif

/** Each runs in a new process, where nothing has been used yet. */
TEST_P(OomFirstUse, IsSurvived)
{
    GTEST_FLAG_SET(death_test_style, style);
    EXPECT_EXIT(
        {
            begin_shortage(1, shortage::lasting);
            GetParam().call();
            end_shortage();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Functions, OomFirstUse, testing::ValuesIn(uses));

} // namespace
} // namespace vesk::test
