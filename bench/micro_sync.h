#ifndef VESK_BENCH_MICRO_SYNC_H
#define VESK_BENCH_MICRO_SYNC_H

#include <chrono>
#include <vector>

namespace vesk::bench {

/** A call of fsync() or fdatasync() by anything in this program. */
struct sync_record {
    double begin; // processor time of the thread, in seconds
    double end;
    std::chrono::duration<double> elapsed;
};

/** Those so far; whoever wants to know only of later ones clears it. */
std::vector<sync_record> &syncs();

} // namespace vesk::bench

#endif
