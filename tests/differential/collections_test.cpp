#include "tests/differential/collection_player.h"
#include "tests/differential/duel.h"

namespace vesk::test::differential {
namespace {

constexpr unsigned never = 1U << 31;

/** What each of the tests is made of; they differ in what they do most. */
constexpr collection_profile ordinary{.add = 8,
                                      .add_again = 6,
                                      .remove = 10,
                                      .set = 20,
                                      .listen = 0,
                                      .follow = 6,
                                      .unfollow = 3,
                                      .record = 2,
                                      .look = 6,
                                      .look_at_set = 14,
                                      .walk = 4,
                                      .drop_class = 0,
                                      .copy = 1,
                                      .remember = 4,
                                      .free = 2,
                                      .reluctance = never,
                                      .busy_one_in = 0,
                                      .steps = 40};

template <typename Change> collection_profile with(Change &&change)
{
    collection_profile profile = ordinary;
    change(profile);
    return profile;
}

using ChangeSets = duel;

TEST_F(ChangeSets, RecordWhatIsDoneToACollection)
{
    play<collection_player>(25000, ordinary);
}

TEST_F(ChangeSets, AreAskedLate)
{
    play<collection_player>(15000, with([](collection_profile &p) {
                                p.look_at_set = 1;
                                p.look = 2;
                                p.listen = 2;
                                p.drop_class = 1;
                            }));
}

TEST_F(ChangeSets, TakeTurnsWithTheListenersOfPlugIns)
{
    play<collection_player>(25000, with([](collection_profile &p) {
                                p.listen = 8;
                                p.unfollow = 5;
                                p.reluctance = 3;
                                p.busy_one_in = 8;
                            }));
}

TEST_F(ChangeSets, MayBeWalkedWhileTheyChange)
{
    play<collection_player>(15000, with([](collection_profile &p) {
                                p.walk = 24;
                                p.remove = 16;
                                p.look = 2;
                                p.reluctance = 12;
                            }));
}

TEST_F(ChangeSets, FollowCopiesAndLoseClasses)
{
    play<collection_player>(15000, with([](collection_profile &p) {
                                p.copy = 10;
                                p.drop_class = 5;
                                p.listen = 2;
                                p.reluctance = 8;
                                p.busy_one_in = 3;
                            }));
}

} // namespace
} // namespace vesk::test::differential
