#include "bench/micro_sync.h"

#include <sys/syscall.h>
#include <unistd.h>

#include "bench/micro.h"

// fsync() and fdatasync() of this program stand before those of the C library and note when they
// are called.

namespace vesk::bench {
namespace {

int noted(long number, int fd)
{
    const auto start = std::chrono::steady_clock::now();
    const double begin = cpu_seconds();
    const long result = syscall(number, fd);
    syncs().push_back({begin, cpu_seconds(), std::chrono::steady_clock::now() - start});
    return static_cast<int>(result);
}

} // namespace

std::vector<sync_record> &syncs()
{
    static auto &all = *new std::vector<sync_record>;
    return all;
}

} // namespace vesk::bench

extern "C" int fsync(int fd)
{
    return vesk::bench::noted(SYS_fsync, fd);
}

extern "C" int fdatasync(int fd)
{
    return vesk::bench::noted(SYS_fdatasync, fd);
}
