#ifndef VESK_BASE_OR_ON_OOM_H
#define VESK_BASE_OR_ON_OOM_H

#include <new>
#include <utility>

namespace vesk {

/**
 * Runs work and returns its result, or fallback when memory ran out in it. Stands at every C
 * boundary and callback edge: no exception passes one, and any other than std::bad_alloc is a bug.
 */
template <typename Result, typename Work> Result or_on_oom(Result fallback, Work &&work) noexcept
{
    try {
        return std::forward<Work>(work)();
    } catch (const std::bad_alloc &) {
        return fallback;
    }
}

} // namespace vesk

#endif
