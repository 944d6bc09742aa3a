#include "vesk/input.h"

#include <algorithm>
#include <memory>

#include "base/or_on_oom.h"
#include "input/bytes.h"

namespace {

/** A new set with room for so many entries; it counts none yet. Throws std::bad_alloc. */
std::unique_ptr<vesk_input_set> make_set(int64_t room)
{
    auto set = std::make_unique<vesk_input_set>();
    set->entries = new int32_t[static_cast<size_t>(std::max<int64_t>(room, 1))];
    return set;
}

} // namespace

vesk_input_set *vesk_input_new_string_set(const char *characters, int32_t count)
{
    return vesk::or_on_oom<vesk_input_set *>(nullptr, [&] {
        auto set = make_set(count);
        for (const char character : vesk::bytes_of(characters, count))
            set->entries[set->count++] = static_cast<signed char>(character);
        return set.release();
    });
}

vesk_input_set *vesk_input_get_set_from_range(signed char low, signed char high,
                                              const vesk_input_set *previous)
{
    return vesk::or_on_oom<vesk_input_set *>(nullptr, [&] {
        const int32_t before = previous ? previous->count : 0;
        auto set = make_set(int64_t{before} + std::max(high - low + 1, 0));
        if (previous) std::copy_n(previous->entries, before, set->entries);
        set->count = before;
        for (int code = low; code <= high; ++code)
            set->entries[set->count++] = code;
        return set.release();
    });
}

void vesk_input_free_set(vesk_input_set *set)
{
    if (!set) return;
    delete[] set->entries;
    delete set;
}
