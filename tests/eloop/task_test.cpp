#include "eloop/task.h"

#include <functional>
#include <string>
#include <unistd.h>
#include <utility>

#include <gtest/gtest.h>

#include "eloop/eloop.h"

namespace {

/** A task that notes its mark, then acts. */
class marked_task {
  public:
    marked_task(std::string &text, const char *mark, std::function<void()> act = {})
        : text_{text}, mark_{mark}, act_{std::move(act)}
    {
    }
    ~marked_task() { cancel(); }
    marked_task(const marked_task &) = delete;
    marked_task &operator=(const marked_task &) = delete;

    void queue() { vesk::run_in_next_pass(task_); }
    void cancel() { vesk::cancel(task_); }

  private:
    static void run(void *user_data)
    {
        const auto &self = *static_cast<marked_task *>(user_data);
        self.text_ += self.mark_;
        if (self.act_) self.act_();
    }

    std::string &text_;
    const char *mark_;
    std::function<void()> act_;
    vesk::task task_{run, this};
};

/** A loop of the test's own. It must end within half a minute. */
class task_test : public ::testing::Test {
  public:
    task_test()
    {
        eloop_init(nullptr);
        alarm(30);
    }
    ~task_test() override
    {
        alarm(0);
        eloop_destroy();
        eloop_init(nullptr);
        for (const int end : ends_)
            close(end);
    }

  protected:
    /** Notes the passes of the loop that follow. */
    void mark_passes(int count)
    {
        left_ = count;
        mark_next();
    }

    /** Notes each pass in which sockets get their turn, without an end. */
    void watch_readable()
    {
        EXPECT_EQ(pipe(ends_), 0);
        EXPECT_EQ(write(ends_[1], "x", 1), 1);
        const auto note = [](int, void *, void *text) { *static_cast<std::string *>(text) += "r"; };
        EXPECT_EQ(eloop_register_read_sock(ends_[0], note, nullptr, &ran), 0);
    }

    std::string ran;

  private:
    static void on_pass(void *, void *self)
    {
        auto &test = *static_cast<task_test *>(self);
        test.ran += "|";
        test.mark_next();
    }
    void mark_next()
    {
        if (left_-- > 0)
            eloop_register_timeout(0, 0, on_pass, nullptr, this);
        else
            eloop_terminate();
    }

    int left_ = 0;
    int ends_[2] = {-1, -1};
};

using RunInNextPass = task_test;
using Cancel = task_test;

TEST_F(RunInNextPass, RunsOnceAndDoesNotWaitForIt)
{
    marked_task work{ran, "a"};
    work.queue();
    eloop_register_timeout(
        3600, 0, [](void *, void *) {}, nullptr, nullptr);
    marked_task end{ran, "", eloop_terminate};
    end.queue();
    eloop_run();
    EXPECT_EQ(ran, "a");
}

TEST_F(RunInNextPass, KeepsTheLoopRunningUntilItHasRun)
{
    marked_task second{ran, "b"};
    marked_task first{ran, "a", [&] { second.queue(); }};
    first.queue();
    eloop_run();
    EXPECT_EQ(ran, "ab");
}

TEST_F(RunInNextPass, ComesBetweenATimeoutAndTheSockets)
{
    watch_readable();
    marked_task work{ran, "a"};
    work.queue();
    mark_passes(1);
    eloop_run();
    EXPECT_EQ(ran, "|ar");
}

TEST_F(RunInNextPass, KeepsTheOrder)
{
    marked_task a{ran, "a"}, b{ran, "b"}, c{ran, "c"};
    b.queue();
    c.queue();
    a.queue();
    eloop_run();
    EXPECT_EQ(ran, "bca");
}

TEST_F(RunInNextPass, QueuesATaskThatIsQueuedOnlyOnce)
{
    marked_task a{ran, "a"}, b{ran, "b"};
    a.queue();
    b.queue();
    a.queue();
    eloop_run();
    EXPECT_EQ(ran, "ab");
}

TEST_F(RunInNextPass, LetsATaskQueueItselfForTheNextPass)
{
    int runs = 0;
    marked_task again{ran, "a", [&] {
                          if (++runs < 3) again.queue();
                      }};
    marked_task other{ran, "b"};
    again.queue();
    other.queue();
    mark_passes(3);
    eloop_run();
    EXPECT_EQ(ran, "|ab|a|a");
}

TEST_F(RunInNextPass, LetsOtherSocketsHaveTheirTurn)
{
    watch_readable();
    marked_task again{ran, "a", [&] { again.queue(); }};
    again.queue();
    mark_passes(3);
    eloop_run();
    EXPECT_EQ(ran, "|ar|ar|ar");
}

TEST_F(Cancel, TakesATaskBack)
{
    marked_task a{ran, "a"}, b{ran, "b"}, c{ran, "c"};
    a.queue();
    b.queue();
    c.queue();
    b.cancel();
    eloop_run();
    EXPECT_EQ(ran, "ac");
    a.cancel();
}

TEST_F(Cancel, TakesBackWhatWouldRunNext)
{
    marked_task b{ran, "b"}, c{ran, "c"};
    marked_task a{ran, "a", [&] {
                      b.cancel();
                      c.cancel();
                  }};
    a.queue();
    b.queue();
    c.queue();
    eloop_run();
    EXPECT_EQ(ran, "a");
}

TEST_F(Cancel, LetsATaskThatWasTakenBackBeQueuedAgain)
{
    marked_task a{ran, "a"}, b{ran, "b"};
    a.queue();
    b.queue();
    a.cancel();
    a.queue();
    eloop_run();
    EXPECT_EQ(ran, "ba");
}

TEST_F(task_test, IsForgottenWhenTheLoopBeginsAnew)
{
    marked_task a{ran, "a"};
    a.queue();
    eloop_init(nullptr);
    eloop_run();
    EXPECT_EQ(ran, "");
    a.queue();
    eloop_run();
    EXPECT_EQ(ran, "a");
}

} // namespace
