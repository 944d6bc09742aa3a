#include "bench/micro.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <vector>

#include "config/paths.h"
#include "vesk/vesk.h"

// The parts of the daemon, called directly.
//
//   micro [--benchmark_OPTION]... DIR [OBJECTS]...
//
// DIR holds config-OBJECTS.xml for each number of objects; without any: all four.

namespace vesk::bench {
namespace {

const char *directory = nullptr;
size_t loaded = 0;

[[noreturn]] void die(const char *what, const char *which)
{
    std::fprintf(stderr, "micro: %s %s\n", what, which);
    std::exit(1);
}

void use_startup_file(size_t objects)
{
    paths().startup = config_file(objects).c_str();
    if (vesk_config_copy_startup_to_running() != 0) die("cannot load", paths().startup);
    if (count_objects(*vesk_config_get_running()) != objects)
        die("some objects were left out of", paths().startup);
}

/** Makes the daemon's registries, as it does at its start. */
void start_up()
{
    vesk_debug_init();
    vesk_providers_init();
    vesk_plugin_init();
    if (vesk_classes_done_adding() != 0 || vesk_providers_done_adding() != 0)
        die("refused:", "the plug-in");
}

void add_benchmarks(const std::vector<size_t> &sizes)
{
    for (const size_t objects : sizes) {
        add_query_benchmarks(objects);
        add_edit_benchmarks(objects);
        add_config_benchmarks(objects);
    }
}

} // namespace

const std::string &config_file(size_t objects)
{
    static auto &names = *new std::map<size_t, std::string>;
    std::string &name = names[objects];
    if (name.empty()) name = std::string{directory} + "/config-" + std::to_string(objects) + ".xml";
    return name;
}

vesk_instances &world(size_t objects)
{
    if (loaded != objects) use_startup_file(objects);
    loaded = objects;
    return *vesk_config_get_running();
}

void world_changed()
{
    loaded = 0;
}

size_t count_objects(const vesk_instances &instances)
{
    size_t count = 0;
    vesk_instances_iterator *iterator = vesk_instances_new_iterator(&instances);
    while (vesk_instances_iterator_has_next(iterator) && vesk_instances_iterator_next(iterator))
        ++count;
    vesk_instances_delete_iterator(iterator);
    return count;
}

} // namespace vesk::bench

int main(int argc, char *argv[])
{
    benchmark::Initialize(&argc, argv);
    if (argc < 2) {
        std::fputs("usage: micro [--benchmark_OPTION]... DIR [OBJECTS]...\n", stderr);
        return 2;
    }
    vesk::bench::directory = argv[1];
    std::vector<size_t> sizes;
    for (int i = 2; i < argc; ++i)
        sizes.push_back(std::strtoul(argv[i], nullptr, 10));
    if (sizes.empty()) sizes = {100, 1'000, 10'000, 100'000};
    vesk::bench::start_up();
    vesk::bench::add_benchmarks(sizes);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
