#include "bench/micro.h"

#include "bench/micro_sync.h"
#include "config/save.h"
#include "vesk/vesk.h"

namespace vesk::bench {
namespace {

using ::benchmark::Counter;
using ::benchmark::State;

/** Without an old configuration: to free that is no part of loading. */
void load(State &state, size_t objects)
{
    world(objects); // sets the file
    for (auto _ : state) {
        vesk_config_replace_running(vesk_instances_new());
        int result = 1;
        measure(state, [&] { result = vesk_config_copy_startup_to_running(); });
        if (result != 0) state.SkipWithError("not loaded");
    }
    if (count_objects(*vesk_config_get_running()) != objects)
        state.SkipWithError("objects are missing");
}

/**
 * What saving takes, in seconds of processor time but for the syncs, which count as nobody's: how
 * long a disk takes says nothing about the daemon.
 */
struct save_times {
    double text_and_write = 0; // up to the sync of the new file
    double verify = 0;         // from there to the end: reading it back, comparing, renaming
    double syncs = 0;          // not processor time

    double cpu() const { return text_and_write + verify; }
};

/** False when saving fails, or does not sync first the new file and at its end the folder. */
bool save_once(const std::string &file, const vesk_instances &instances, save_times &sum)
{
    syncs().clear();
    const double begin = cpu_seconds();
    const bool saved = save_config(file.c_str(), instances);
    const double end = cpu_seconds();
    if (!saved || syncs().size() != 2) return false;
    const sync_record &of_file = syncs()[0];
    const sync_record &of_folder = syncs()[1];
    sum.text_and_write += of_file.begin - begin;
    sum.verify += of_folder.begin - of_file.end + (end - of_folder.end);
    sum.syncs += (of_file.elapsed + of_folder.elapsed).count();
    return true;
}

/** The file that was saved last stays, to be compared. */
void save(State &state, size_t objects)
{
    const vesk_instances &instances = world(objects);
    const std::string file = config_file(objects) + ".saved";
    save_times sum;
    double text = 0;
    for (auto _ : state) {
        const double before = sum.cpu();
        if (!save_once(file, instances, sum))
            return state.SkipWithError("not saved, or not with two syncs");
        state.SetIterationTime(sum.cpu() - before);
        text += cpu_seconds_of([&] { ::benchmark::DoNotOptimize(config_text(instances)); });
    }
    state.counters["text"] = Counter(text, Counter::kAvgIterations);
    state.counters["text_and_write"] = Counter(sum.text_and_write, Counter::kAvgIterations);
    state.counters["verify"] = Counter(sum.verify, Counter::kAvgIterations);
    state.counters["syncs"] = Counter(sum.syncs, Counter::kAvgIterations);
}

} // namespace

void add_config_benchmarks(size_t objects)
{
    add("load", objects, [=](State &s) { load(s, objects); })->UseManualTime();
    add("save", objects, [=](State &s) { save(s, objects); })->UseManualTime();
}

} // namespace vesk::bench
