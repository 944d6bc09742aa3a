#include "config/paths.h"
#include "core/log.h"
#include "fuzz/model.h"
#include "fuzz/startup_file.h"
#include "fuzz/target.h"
#include "pipeline/changes.h"
#include "tests/xml_differential/reference_loader.h"
#include "vesk/config.h"

// A startup file: it is loaded as the plainest loader loads it, and reported in the same lines.

namespace {

/** What a load shows to the outside. */
struct loading {
    int status = 0;
    std::string running;
    std::string log;
    bool operator==(const loading &) const = default;
};

template <typename Print> std::string printed(Print &&print)
{
    char *text = nullptr;
    size_t size = 0;
    std::FILE *stream = open_memstream(&text, &size);
    print(stream);
    std::fclose(stream);
    std::string result{text, size};
    std::free(text);
    return result;
}

template <typename Action> std::string logged(Action &&action)
{
    return printed([&](std::FILE *stream) {
        std::FILE *before = vesk::exchange_log_stream(stream);
        action();
        vesk::exchange_log_stream(before);
    });
}

std::string printed_collection(const vesk_instances *all)
{
    return printed([&](std::FILE *stream) { vesk_instances_print(all, stream); });
}

loading load_by_product(std::string_view text)
{
    vesk::fuzz::put_startup_file(text);
    vesk_config_replace_running(vesk_instances_new());
    loading done;
    done.log = logged([&] { done.status = vesk_config_copy_startup_to_running(); });
    done.running = printed_collection(vesk_config_get_running());
    vesk::fuzz::remove_startup_file();
    return done;
}

/** The file is read again in vain, for there is nothing to put in its place. */
void report_that_nothing_is_readable(std::string_view text)
{
    const vesk::config_paths &files = vesk::paths();
    vesk::test::say("Unable to parse startup config - resetting to default.\n");
    vesk::test::say("Default file %s does not exist.\n", files.default_image);
    vesk::test::say("vesk_config_cp: Can't open %s\n", files.rescue);
    vesk::test::parse_plainly(text);
    vesk::test::say("Unable to read the default either.");
}

loading load_by_reference(std::string_view text)
{
    const vesk::full_instances_ptr running{vesk_instances_new()};
    const vesk::changes_ptr changes{vesk_changes_new(running.get())};
    loading done;
    done.log = logged([&] {
        const auto document = vesk::test::parse_plainly(text);
        done.status = document ? 0 : 1;
        if (document)
            vesk::test::load_plainly(*document, *running, *changes);
        else
            report_that_nothing_is_readable(text);
    });
    done.running = printed_collection(running.get());
    return done;
}

void explain(const loading &product, const loading &reference)
{
    std::fprintf(stderr, "The product: %d\n%s%s\nThe reference: %d\n%s%s\n", product.status,
                 product.log.c_str(), product.running.c_str(), reference.status,
                 reference.log.c_str(), reference.running.c_str());
}

} // namespace

/** The file is in memory: nothing waits for disks. */
void sync() noexcept {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    vesk::fuzz::prepare_model();
    if (vesk_debug_get() == 0) vesk_debug_set(1);
    const std::string_view text = vesk::fuzz::text_of(data, size);
    const loading product = load_by_product(text);
    const loading reference = load_by_reference(text);
    if (product != reference) explain(product, reference);
    vesk::fuzz::require(product == reference, "it is loaded as the reference loads it");
    return 0;
}
