#include "tests/support/log.h"

#include <cstdlib>

#include "core/log.h"

namespace vesk::test {

void set_level(int level)
{
    std::FILE *nowhere = std::fopen("/dev/null", "w");
    std::FILE *stream = exchange_log_stream(nowhere);
    vesk_debug_set(level);
    exchange_log_stream(stream);
    std::fclose(nowhere);
}

log_capture::log_capture(int level)
    : stream_{open_memstream(&text_, &size_)}, before_{exchange_log_stream(stream_)},
      level_before_{vesk_debug_get()}
{
    set_level(level);
}

log_capture::~log_capture()
{
    set_level(level_before_);
    exchange_log_stream(before_);
    std::fclose(stream_);
    std::free(text_);
}

std::string log_capture::take()
{
    std::fflush(stream_);
    const std::string all{text_, size_};
    const std::string fresh = all.substr(taken_);
    taken_ = all.size();
    return fresh;
}

} // namespace vesk::test
