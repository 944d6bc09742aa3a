#include "bench/micro.h"

#include <unistd.h>

#include "config/save.h"
#include "vesk/config.h"

namespace vesk::bench {
namespace {

using ::benchmark::State;

/** The old configuration goes as well: that is part of loading over it. */
void load(State &state, size_t objects)
{
    world(objects); // sets the file
    for (auto _ : state)
        if (vesk_config_copy_startup_to_running() != 0) state.SkipWithError("not loaded");
}

void save(State &state, size_t objects)
{
    const vesk_instances &instances = world(objects);
    const std::string file = config_file(objects) + ".saved";
    for (auto _ : state)
        if (!save_config(file.c_str(), instances)) state.SkipWithError("not saved");
    unlink(file.c_str());
}

void write_text(State &state, size_t objects)
{
    const vesk_instances &instances = world(objects);
    for (auto _ : state)
        ::benchmark::DoNotOptimize(config_text(instances));
}

} // namespace

void add_config_benchmarks(size_t objects)
{
    add("load", objects, [=](State &s) { load(s, objects); });
    add("save", objects, [=](State &s) { save(s, objects); });
    add("config_text", objects, [=](State &s) { write_text(s, objects); });
}

} // namespace vesk::bench
