#include <unistd.h>

#include "base/file.h"
#include "config/paths.h"
#include "config/running.h"
#include "config/save.h"
#include "fuzz/model.h"
#include "fuzz/target.h"

// A startup file: what was loaded is written so that it reads back.

namespace {

/** A file of this process in memory, as the startup file; there is neither default nor rescue. */
void put_startup_file(std::string_view text)
{
    static const std::string folder =
        access("/dev/shm", W_OK) == 0 ? "/dev/shm/vesk-fuzz-" : "/tmp/vesk-fuzz-";
    static const std::string path = folder + std::to_string(getpid());
    static const std::string bad = path + ".bad";
    vesk::config_paths &files = vesk::paths();
    files.startup = path.c_str();
    files.startup_bad = bad.c_str();
    files.rescue = "/nowhere/rescue.xml";
    std::snprintf(files.default_image, sizeof files.default_image, "/nowhere/default.xml");
    const vesk::unique_fd fd = vesk::create_afresh(files.startup);
    vesk::fuzz::require(vesk::write_all(fd.get(), text) == 0, "the file was written");
}

} // namespace

/** The file is in memory: nothing waits for disks. */
void sync() noexcept {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    vesk::fuzz::prepare_model();
    put_startup_file(vesk::fuzz::text_of(data, size));
    if (vesk_config_copy_startup_to_running() == 0) {
        const vesk_instances &running = *vesk_config_get_running();
        vesk::fuzz::require(vesk::holds_config(vesk::config_text(running), running),
                            "what was loaded reads back when it is saved");
    }
    vesk_instances_delete_all(vesk::exchange_running(nullptr));
    unlink(vesk::paths().startup);
    unlink(vesk::paths().startup_bad);
    return 0;
}
