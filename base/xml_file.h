#ifndef VESK_BASE_XML_FILE_H
#define VESK_BASE_XML_FILE_H

#include <memory>

#include "base/unique_fd.h"
#include "base/xml_stream.h"

namespace vesk {

/** A file that is read piece by piece. */
class xml_file final : public xml_source_text {
  public:
    explicit xml_file(const char *path);

    /** 0, or the errno of what failed. */
    int failed() const { return failed_; }

    int read(char *buffer, int size) override;

  private:
    bool refill();

    unique_fd fd_;
    int failed_ = 0;
    std::unique_ptr<char[]> buffer_;
    size_t at_ = 0;
    size_t end_ = 0;
};

} // namespace vesk

#endif
