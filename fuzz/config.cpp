#include "config/running.h"
#include "config/save.h"
#include "fuzz/model.h"
#include "fuzz/startup_file.h"
#include "fuzz/target.h"
#include "tests/support/text_source.h"

// A startup file: what was loaded is written so that it reads back.

/** The file is in memory: nothing waits for disks. */
void sync() noexcept {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    vesk::fuzz::prepare_model();
    vesk::fuzz::put_startup_file(vesk::fuzz::text_of(data, size));
    if (vesk_config_copy_startup_to_running() == 0) {
        const vesk_instances &running = *vesk_config_get_running();
        const std::string saved = vesk::config_text(running);
        vesk::test::text_source file{saved};
        vesk::fuzz::require(vesk::holds_config(file, running),
                            "what was loaded reads back when it is saved");
    }
    vesk_instances_delete_all(vesk::exchange_running(nullptr));
    vesk::fuzz::remove_startup_file();
    return 0;
}
