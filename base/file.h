#ifndef VESK_BASE_FILE_H
#define VESK_BASE_FILE_H

#include <string>
#include <string_view>

#include "base/unique_fd.h"

namespace vesk {

/** Reads a whole file. 0, or the errno of what failed; then text is empty. */
int read_file(const char *path, std::string &text);

/** Reads up to length bytes from fd. 0, or errno. */
int read_up_to(int fd, size_t length, std::string &text);

/** Writes all of text. 0, or the errno of what failed. */
int write_all(int fd, std::string_view text);

/** A new file that replaces whatever bears its name, mode 0600, for reading and writing. */
unique_fd create_afresh(const char *path);

/** What went wrong in a durable replacement: the step, and its errno (0 for a failed check). */
struct replace_failure {
    const char *step = nullptr; // null: nothing went wrong
    int error = 0;
    explicit operator bool() const { return step != nullptr; }
};

/** What a file is to hold. Both may throw std::bad_alloc. */
class file_contents {
  public:
    /** Writes all of it. 0, or the errno of what failed. */
    virtual int write(int fd) const = 0;

    /** Reads a file that was written back: "read back" or "check" when it does not hold this. */
    virtual replace_failure verify(const char *path) const = 0;

  protected:
    ~file_contents() = default;
};

/**
 * Replaces a file so that after a power cut it is the old or the new one, whole. The new one is
 * written beside it, synced, verified, renamed over it, and the folder synced. Whatever fails, the
 * old file stays and the new one is removed. Only a target that cannot be renamed over, because
 * something is mounted there, is written in place.
 */
replace_failure replace_file(const char *path, const file_contents &contents);
replace_failure replace_file(const char *path, std::string_view text);

} // namespace vesk

#endif
