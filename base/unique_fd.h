#ifndef VESK_BASE_UNIQUE_FD_H
#define VESK_BASE_UNIQUE_FD_H

#include <unistd.h>
#include <utility>

namespace vesk {

/** Owns a descriptor; -1 is none. */
class unique_fd {
  public:
    unique_fd() = default;
    explicit unique_fd(int fd) : fd_{fd} {}
    unique_fd(unique_fd &&other) noexcept : fd_{other.release()} {}
    unique_fd &operator=(unique_fd &&other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ~unique_fd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }

    void reset(int fd = -1)
    {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }

    /** Closes now and says whether that went well, which for a file that was written matters. */
    bool close() { return ::close(release()) == 0; }

  private:
    int fd_ = -1;
};

} // namespace vesk

#endif
