#ifndef VESK_TESTS_DIFFERENTIAL_MENTIONS_H
#define VESK_TESTS_DIFFERENTIAL_MENTIONS_H

#include <vector>

namespace vesk::test::differential {

/**
 * Numbers for objects, in the order in which they are first mentioned: what was written down about
 * two sides is the same when they handed out the same objects. A number ends with its object, as
 * the address may be used again, or with the change set in which the object was met.
 */
class mentions {
  public:
    int id(const void *object, const void *owner)
    {
        for (const mention &m : all_)
            if (m.object == object) return m.id;
        all_.push_back({object, owner, ++last_});
        return last_;
    }

    void forget(const void *object)
    {
        std::erase_if(all_, [&](const mention &m) { return m.object == object; });
    }

    void forget_owned_by(const void *owner)
    {
        std::erase_if(all_, [&](const mention &m) { return m.owner == owner; });
    }

    template <typename Test> void forget_if(Test &&test)
    {
        std::erase_if(all_, [&](const mention &m) { return test(m.object); });
    }

  private:
    struct mention {
        const void *object, *owner;
        int id;
    };

    std::vector<mention> all_;
    int last_ = 0;
};

} // namespace vesk::test::differential

#endif
