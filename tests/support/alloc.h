#ifndef VESK_TESTS_SUPPORT_ALLOC_H
#define VESK_TESTS_SUPPORT_ALLOC_H

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "base/xml.h"

/*
 * Lets allocations fail, one by one: what new makes, what libxml2 takes, and what the objects of
 * this program take with malloc, calloc, realloc and strdup. The C library's own allocations always
 * succeed.
 */
namespace vesk::test {

/** How much fails: one allocation, or that one and all later ones. */
enum class shortage { once, lasting };

/** From now on the allocation of that number (from 1) fails. */
void begin_shortage(size_t number, shortage kind);

/** Ends it; whether the failing allocation was reached. */
bool end_shortage();

/** How many blocks are in use. */
size_t live_blocks();

/** Ends a shortage for a while, for what a test's own callbacks do. */
class plenty {
  public:
    plenty();
    ~plenty();
    plenty(const plenty &) = delete;
    plenty &operator=(const plenty &) = delete;

  private:
    bool before_;
};

/**
 * Calls work(state) with every one of its allocations failing in turn, each time on a fresh state
 * of setup(); then check(state, result), and what setup() gave is freed. No block may be left over.
 * The last call of each kind meets no failure.
 */
template <typename Setup, typename Work, typename Check>
void for_each_failure(Setup &&setup, Work &&work, Check &&check)
{
    constexpr size_t far_too_many = 20000;
    {
        auto state = setup(); // what is made once and kept is made here
        static_cast<void>(work(state));
    }
    for (const shortage kind : {shortage::once, shortage::lasting}) {
        bool reached = true;
        for (size_t number = 1; reached; ++number) {
            ASSERT_LT(number, far_too_many);
            SCOPED_TRACE("allocation " + std::to_string(number) + " fails, " +
                         (kind == shortage::once ? "once" : "and all later ones"));
            drop_kept_parser(); // what is kept on purpose is not left over
            const size_t before = live_blocks();
            {
                auto state = setup();
                begin_shortage(number, kind);
                auto result = work(state);
                reached = end_shortage();
                check(state, result);
            }
            if (::testing::Test::HasFailure()) return; // one report is enough
            drop_kept_parser();
            ASSERT_EQ(live_blocks(), before) << "blocks are left over";
        }
    }
}

/**
 * The same for work that gives 0 when it is done: then print(state) is what it is after work
 * without a shortage, else what it was before.
 */
template <typename Setup, typename Work, typename Print>
void expect_all_or_nothing(Setup &&setup, Work &&work, Print &&print)
{
    struct remembered {
        decltype(setup()) state;
        std::string before;
    };
    std::string done;
    {
        auto state = setup();
        ASSERT_EQ(work(state), 0);
        done = print(state);
    }
    for_each_failure(
        [&] {
            auto state = setup();
            std::string before = print(state);
            return remembered{std::move(state), std::move(before)};
        },
        [&](remembered &r) { return work(r.state); },
        [&](remembered &r, int result) {
            EXPECT_TRUE(result == 0 || result == 1 || result == -1) << result;
            EXPECT_EQ(print(r.state), result == 0 ? done : r.before)
                << (result == 0 ? "done, but not as without a shortage"
                                : "refused, but something changed");
        });
}

} // namespace vesk::test

#endif
