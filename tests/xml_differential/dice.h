#ifndef VESK_TESTS_XML_DIFFERENTIAL_DICE_H
#define VESK_TESTS_XML_DIFFERENTIAL_DICE_H

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace vesk::test {

/** Random numbers that are the same on every machine, and cheap to start again for each seed. */
class dice {
  public:
    explicit dice(std::uint64_t seed) : state_{seed} {}

    /** 0 to limit - 1. */
    unsigned below(size_t limit) { return static_cast<unsigned>(next() % limit); }

    unsigned between(unsigned low, unsigned high) { return low + below(high - low + 1); }

    bool percent(unsigned chance) { return below(100) < chance; }

    /** One of the elements of an array, a vector or a string. */
    template <typename List> const auto &among(const List &list)
    {
        return std::data(list)[below(std::size(list))];
    }

  private:
    /** SplitMix64: neighbouring seeds give unrelated numbers. */
    std::uint64_t next()
    {
        std::uint64_t mixed = state_ += 0x9E3779B97F4A7C15;
        mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
        return mixed ^ mixed >> 31;
    }

    std::uint64_t state_;
};

} // namespace vesk::test

#endif
