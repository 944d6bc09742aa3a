#ifndef VESK_BENCH_MICRO_H
#define VESK_BENCH_MICRO_H

#include <ctime>
#include <string>

#include <benchmark/benchmark.h>

#include "vesk/types.h"

namespace vesk::bench {

/** The startup file with so many objects. */
const std::string &config_file(size_t objects);

/** Running, with so many objects as the file has them; loaded when it is not. */
vesk_instances &world(size_t objects);

/** Running is no longer as it was loaded, or may not be. */
void world_changed();

/** Counts by walking. */
size_t count_objects(const vesk_instances &instances);

/** The processor time of this thread, in seconds. */
inline double cpu_seconds()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/** The processor time of work(), in seconds. */
template <typename Work> double cpu_seconds_of(Work &&work)
{
    const double start = cpu_seconds();
    work();
    return cpu_seconds() - start;
}

/** One iteration of a benchmark with a manual time: only work() is measured. */
template <typename Work> void measure(::benchmark::State &state, Work &&work)
{
    state.SetIterationTime(cpu_seconds_of(work));
}

/** Registers a benchmark called name/objects. */
template <typename Body>
::benchmark::internal::Benchmark *add(const char *name, size_t objects, Body &&body)
{
    const std::string full = name + ("/" + std::to_string(objects));
    return ::benchmark::RegisterBenchmark(full.c_str(), body)->Unit(::benchmark::kMicrosecond);
}

/** What requests to a configuration of so many objects cost. */
void add_query_benchmarks(size_t objects);

/** What inserting, deleting and changing objects among so many costs. */
void add_edit_benchmarks(size_t objects);

/** What loading and saving so many objects costs. */
void add_config_benchmarks(size_t objects);

} // namespace vesk::bench

#endif
