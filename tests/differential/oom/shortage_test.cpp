#include "tests/differential/collection_player.h"
#include "tests/differential/duel.h"
#include "tests/differential/request_player.h"
#include "tests/support/alloc.h"

// Memory runs out at random allocations. What is refused then must have changed nothing, and a
// transaction that is lost must leave running as it was: the reference does not do it at all.

namespace vesk::test::differential {
namespace {

/** A player whose daemon runs out of memory; what the plug-ins do themselves has enough. */
template <typename World, template <typename> typename Player>
class thrifty : public Player<World> {
    using base = Player<World>;
    using typename base::commit_info, typename base::instance, typename base::instances;

  public:
    using base::base;

    bool is_valid(const char *value) override
    {
        const plenty enough;
        return base::is_valid(value);
    }
    bool is_valid_for(instance *i, const char *value) override
    {
        const plenty enough;
        return base::is_valid_for(i, value);
    }
    void value_set(int listener, instance *i, const char *property) override
    {
        const plenty enough;
        base::value_set(listener, i, property);
    }
    void membership_changed(int listener, instance *i, int event) override
    {
        const plenty enough;
        base::membership_changed(listener, i, event);
    }
    void refresh(int provider, instances *target) override
    {
        const plenty enough;
        base::refresh(provider, target);
    }
    void commit(int provider, const commit_info *info) override
    {
        const plenty enough;
        base::commit(provider, info);
    }

  protected:
    void run_short(size_t number, bool for_good) override
    {
        if (!World::follows_fates)
            begin_shortage(number, for_good ? shortage::lasting : shortage::once);
    }
    bool recover() override { return end_shortage(); }
};

template <typename World> using thrifty_collection_player = thrifty<World, collection_player>;
template <typename World> using thrifty_request_player = thrifty<World, request_player>;

using Shortage = duel;

TEST_F(Shortage, LeavesCollectionsAndChangeSetsAsTheyWere)
{
    play<thrifty_collection_player>(6000, collection_profile{.add = 8,
                                                             .add_again = 6,
                                                             .remove = 10,
                                                             .set = 20,
                                                             .listen = 4,
                                                             .follow = 6,
                                                             .unfollow = 3,
                                                             .record = 2,
                                                             .look = 8,
                                                             .look_at_set = 14,
                                                             .walk = 6,
                                                             .drop_class = 1,
                                                             .copy = 3,
                                                             .remember = 4,
                                                             .free = 2,
                                                             .reluctance = 1U << 31,
                                                             .busy_one_in = 4,
                                                             .steps = 40,
                                                             .is_scarce = true});
}

TEST_F(Shortage, LeavesRunningAsItWasWhenATransactionIsLost)
{
    play<thrifty_request_player>(4000, request_profile{.reluctance = 2,
                                                       .meddling = 0,
                                                       .transactions = 80,
                                                       .passive = 20,
                                                       .steps = 6,
                                                       .is_scarce = true});
}

} // namespace
} // namespace vesk::test::differential
