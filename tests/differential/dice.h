#ifndef VESK_TESTS_DIFFERENTIAL_DICE_H
#define VESK_TESTS_DIFFERENTIAL_DICE_H

#include <cstddef>
#include <cstdint>

namespace vesk::test::differential {

/** Random numbers that cost little to begin with: every step of a sequence has its own. */
class dice {
  public:
    explicit dice(uint64_t seed) : state_{seed * 0x9e3779b97f4a7c15} {}

    unsigned below(size_t limit) { return static_cast<unsigned>((next() >> 32) % limit); }
    bool once_in(size_t times) { return below(times) == 0; }

  private:
    uint64_t next()
    {
        uint64_t z = state_ += 0x9e3779b97f4a7c15;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }

    uint64_t state_;
};

} // namespace vesk::test::differential

#endif
