#include "clients/transaction.h"

#include <gtest/gtest.h>

#include "clients/failure.h"

namespace {

using namespace vesk::client;

const std::string good = "<rc>0</rc><counter>1</counter>";

std::string error(const std::string &text)
{
    return "<error>" + text + "</error><rc>1</rc><counter>0</counter>";
}

std::string document(const std::string &content)
{
    return "<?xml version=\"1.0\"?>\n<lsql_result>" + content + "</lsql_result>\n";
}

answer answered(const std::string &content)
{
    return parse_answer(document(content));
}

/** What the daemon says of the class in the sentinel's operation. */
std::string stopped_at(const sentinel &stop)
{
    const std::string start = "<insert><";
    const std::string &operation = stop.operation();
    EXPECT_TRUE(operation.starts_with(start + "veskctl-dry-run-")) << operation;
    const std::string name =
        operation.substr(start.size(), operation.find('>', start.size()) - start.size());
    return error("Unknown class \"" + name + "\".");
}

TEST(Sentinel, IsReachedWhenAllOthersSucceed)
{
    const sentinel stop;
    EXPECT_TRUE(stop.stopped(answered(good + good + stopped_at(stop)), 2));
    EXPECT_TRUE(stop.stopped(answered(stopped_at(stop)), 0));
}

TEST(Sentinel, DoesNotHideOtherErrors)
{
    const sentinel stop;
    EXPECT_FALSE(stop.stopped(answered(good + error("Unknown class \"x\".")), 1));
    EXPECT_FALSE(stop.stopped(answered(error("first") + stopped_at(stop)), 1));
    EXPECT_FALSE(stop.stopped(answered(good + "<error>more</error>" + stopped_at(stop)), 1));
    const sentinel another;
    EXPECT_FALSE(stop.stopped(answered(good + stopped_at(another)), 1));
}

TEST(Sentinel, MustStandBehindAllOthers)
{
    const sentinel stop;
    EXPECT_FALSE(stop.stopped(answered(stopped_at(stop)), 1));
    EXPECT_FALSE(stop.stopped(answered(good + good + stopped_at(stop)), 1));
}

TEST(Sentinel, TellsThatItDidNotStop)
{
    const sentinel stop;
    EXPECT_THROW(stop.stopped(answered(good), 1), failure);
    EXPECT_THROW(stop.stopped(answered(""), 0), failure);
}

TEST(Sentinel, IsTakenOutOfTheAnswer)
{
    const sentinel stop;
    EXPECT_EQ(stop.remove_from(document(good + stopped_at(stop))), document(good));
    EXPECT_EQ(stop.remove_from(document(good)), document(good));
}

} // namespace
