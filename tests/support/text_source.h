#ifndef VESK_TESTS_SUPPORT_TEXT_SOURCE_H
#define VESK_TESTS_SUPPORT_TEXT_SOURCE_H

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/xml_stream.h"

namespace vesk::test {

/** A text in place of a file. */
class text_source final : public xml_source_text {
  public:
    explicit text_source(std::string_view text) : rest_{text} {}

    int read(char *buffer, int size) override
    {
        const size_t length = std::min(rest_.size(), static_cast<size_t>(size));
        std::memcpy(buffer, rest_.data(), length);
        rest_.remove_prefix(length);
        return static_cast<int>(length);
    }

  private:
    std::string_view rest_;
};

} // namespace vesk::test

#endif
