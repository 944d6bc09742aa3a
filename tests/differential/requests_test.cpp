#include "tests/differential/duel.h"
#include "tests/differential/request_player.h"

namespace vesk::test::differential {
namespace {

using Requests = duel;

TEST_F(Requests, AreShownToProvidersThatOnlyLook)
{
    play<request_player>(
        3000, request_profile{
                  .reluctance = 2, .meddling = 0, .transactions = 50, .passive = 10, .steps = 6});
}

TEST_F(Requests, MeetPlugInsThatEditAsWell)
{
    play<request_player>(
        4000, request_profile{
                  .reluctance = 4, .meddling = 2, .transactions = 30, .passive = 20, .steps = 6});
}

TEST_F(Requests, InTransactionsLeaveRunningAlone)
{
    play<request_player>(
        4000, request_profile{
                  .reluctance = 3, .meddling = 3, .transactions = 100, .passive = 10, .steps = 5});
}

} // namespace
} // namespace vesk::test::differential
