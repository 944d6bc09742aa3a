#include "fuzz/startup_file.h"

#include <cstdio>
#include <string>
#include <unistd.h>

#include "base/file.h"
#include "config/paths.h"
#include "fuzz/target.h"

namespace vesk::fuzz {

void put_startup_file(std::string_view text)
{
    static const std::string folder =
        access("/dev/shm", W_OK) == 0 ? "/dev/shm/vesk-fuzz-" : "/tmp/vesk-fuzz-";
    static const std::string path = folder + std::to_string(getpid());
    static const std::string bad = path + ".bad";
    config_paths &files = paths();
    files.startup = path.c_str();
    files.startup_bad = bad.c_str();
    files.rescue = "/nowhere/rescue.xml";
    std::snprintf(files.default_image, sizeof files.default_image, "/nowhere/default.xml");
    const unique_fd fd = create_afresh(files.startup);
    require(write_all(fd.get(), text) == 0, "the file was written");
}

void remove_startup_file()
{
    unlink(paths().startup);
    unlink(paths().startup_bad);
}

} // namespace vesk::fuzz
