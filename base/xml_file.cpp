#include "base/xml_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace vesk {
namespace {

constexpr size_t piece_size = size_t{16} * 1024;

} // namespace

xml_file::xml_file(const char *path)
    : fd_{open(path, O_RDONLY | O_CLOEXEC)}, buffer_{
                                                 std::make_unique_for_overwrite<char[]>(piece_size)}
{
    if (!fd_) failed_ = errno;
}

int xml_file::read(char *buffer, int size)
{
    if (at_ == end_ && !refill()) return failed_ ? -1 : 0;
    const size_t length = std::min(end_ - at_, static_cast<size_t>(size));
    std::memcpy(buffer, buffer_.get() + at_, length);
    at_ += length;
    return static_cast<int>(length);
}

bool xml_file::refill()
{
    ssize_t got = -1;
    while ((got = ::read(fd_.get(), buffer_.get(), piece_size)) < 0 && errno == EINTR) {
    }
    if (got < 0) failed_ = errno;
    at_ = 0;
    end_ = got > 0 ? static_cast<size_t>(got) : 0;
    return got > 0;
}

} // namespace vesk
