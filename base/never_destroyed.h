#ifndef VESK_BASE_NEVER_DESTROYED_H
#define VESK_BASE_NEVER_DESTROYED_H

#include <new>
#include <utility>

namespace vesk {

/**
 * Holds a process-wide object in static storage: no allocation that could fail, and no destructor
 * at exit, when plug-ins may still be running.
 */
template <typename T> class never_destroyed {
  public:
    template <typename... Arguments> explicit never_destroyed(Arguments &&...arguments)
    {
        new (storage_) T{std::forward<Arguments>(arguments)...};
    }
    never_destroyed(const never_destroyed &) = delete;
    never_destroyed &operator=(const never_destroyed &) = delete;

    T &operator*() const { return *std::launder(reinterpret_cast<T *>(storage_)); }

  private:
    alignas(T) mutable unsigned char storage_[sizeof(T)];
};

} // namespace vesk

#endif
