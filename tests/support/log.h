#ifndef VESK_TESTS_SUPPORT_LOG_H
#define VESK_TESTS_SUPPORT_LOG_H

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace vesk::test {

/** Catches the log while it lives, at debug level 1 to begin with; puts stream and level back. */
class log_capture {
  public:
    explicit log_capture(int level = 1);
    ~log_capture();
    log_capture(const log_capture &) = delete;
    log_capture &operator=(const log_capture &) = delete;

    /** What was logged since the last call. */
    std::string take();

  private:
    char *text_ = nullptr;
    size_t size_ = 0;
    std::FILE *stream_;
    std::FILE *before_;
    int level_before_;
    size_t taken_ = 0;
};

/** Sets the debug level without the line that vesk_debug_set() logs. */
void set_level(int level);

/** What print(stream) writes. */
template <typename Print> std::string printed(Print &&print)
{
    char *text = nullptr;
    size_t size = 0;
    std::FILE *stream = open_memstream(&text, &size);
    print(stream);
    std::fclose(stream);
    std::string result{text, size};
    free(text);
    return result;
}

} // namespace vesk::test

#endif
