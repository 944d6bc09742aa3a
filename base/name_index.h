#ifndef VESK_BASE_NAME_INDEX_H
#define VESK_BASE_NAME_INDEX_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace vesk {

/**
 * Finds numbered things by their names without keeping the names: five bytes a place, at most three
 * quarters of the places taken. The owner tells the name of a number through a function
 * name_of(number), for numbers that are entered. No name may be entered twice.
 */
class name_index {
  public:
    static constexpr uint32_t none = ~uint32_t{0};

    uint32_t size() const { return size_; }

    void clear()
    {
        places_.reset();
        capacity_ = size_ = 0;
    }

    /** The number of a name, or none. */
    template <typename NameOf> uint32_t find(const char *name, NameOf &&name_of) const
    {
        if (size_ == 0) return none;
        const uint32_t hash = hash_of(name);
        for (uint32_t at = first_place(hash); numbers()[at] != none; at = behind(at))
            if (tags()[at] == tag_of(hash) && std::strcmp(name_of(numbers()[at]), name) == 0)
                return numbers()[at];
        return none;
    }

    /** Makes room for so many more names; without memory std::bad_alloc, and nothing has changed.
     */
    template <typename NameOf> void reserve(uint32_t more, NameOf &&name_of)
    {
        uint32_t capacity = capacity_ ? capacity_ : 4;
        while ((uint64_t{size_} + more) * 4 > uint64_t{capacity} * 3)
            capacity *= 2;
        if (capacity == capacity_) return;
        name_index bigger;
        bigger.allocate(capacity);
        for (uint32_t at = 0; at < capacity_; ++at)
            if (numbers()[at] != none) bigger.insert(name_of(numbers()[at]), numbers()[at]);
        std::swap(places_, bigger.places_);
        capacity_ = capacity;
    }

    /** Enters a name that is not there; there must be room. */
    void insert(const char *name, uint32_t number)
    {
        const uint32_t hash = hash_of(name);
        uint32_t at = first_place(hash);
        while (numbers()[at] != none)
            at = behind(at);
        put(at, number, tag_of(hash));
        ++size_;
    }

    /** Takes out a name that is entered with this number. */
    template <typename NameOf> void remove(const char *name, uint32_t number, NameOf &&name_of)
    {
        uint32_t hole = first_place(hash_of(name));
        while (numbers()[hole] != number)
            hole = behind(hole);
        // Whoever stands behind the hole and would be found there moves into it.
        for (uint32_t at = behind(hole); numbers()[at] != none; at = behind(at)) {
            const uint32_t wanted = first_place(hash_of(name_of(numbers()[at])));
            if (((at - wanted) & (capacity_ - 1)) < ((at - hole) & (capacity_ - 1))) continue;
            put(hole, numbers()[at], tags()[at]);
            hole = at;
        }
        numbers()[hole] = none;
        --size_;
    }

  private:
    /** FNV-1a, mixed: its low bits are weak for names that are alike. */
    static uint32_t hash_of(const char *name)
    {
        uint32_t hash = 0x811c9dc5U;
        for (; *name; ++name)
            hash = (hash ^ static_cast<unsigned char>(*name)) * 0x01000193U;
        hash = (hash ^ (hash >> 16)) * 0x85ebca6bU;
        return hash ^ (hash >> 13);
    }
    static uint8_t tag_of(uint32_t hash) { return static_cast<uint8_t>(hash >> 24); }
    uint32_t first_place(uint32_t hash) const { return hash & (capacity_ - 1); }
    uint32_t behind(uint32_t at) const { return (at + 1) & (capacity_ - 1); }
    uint32_t *numbers() const { return places_.get(); }
    uint8_t *tags() const { return reinterpret_cast<uint8_t *>(places_.get() + capacity_); }

    void put(uint32_t at, uint32_t number, uint8_t tag)
    {
        numbers()[at] = number;
        tags()[at] = tag;
    }

    void allocate(uint32_t capacity)
    {
        places_.reset(new uint32_t[size_t{capacity} + capacity / 4]);
        std::memset(places_.get(), 0xFF, capacity * sizeof(uint32_t));
        capacity_ = capacity;
    }

    std::unique_ptr<uint32_t[]> places_; // the numbers, and behind them a byte of each one's hash
    uint32_t capacity_ = 0;              // a power of two
    uint32_t size_ = 0;
};

} // namespace vesk

#endif
