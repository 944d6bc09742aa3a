#include "bench/micro.h"

#include <chrono>
#include <cstring>

#include "base/text.h"
#include "bench/requests.h"
#include "vesk/vesk.h"

// Whatever is inserted or deleted is put back behind each iteration, where it is not measured,
// through the interface that plug-ins have. A look at the configuration tells whether the request
// did its work.

namespace vesk::bench {
namespace {

using ::benchmark::State;

using evaluator = char *(*)(const char *);

/** So many at a time that asking the clock does not count; fewer where each takes long. */
constexpr size_t largest_batch = 8;
constexpr std::chrono::milliseconds long_batch{5};

void evaluate(const std::string &request)
{
    c_string{vesk_query_eval(request.c_str())};
}

/** One iteration: work(0), work(1) and so on, and the time that one of them took. How many. */
template <typename Work> size_t measure_batch(State &state, Work &&work)
{
    using elapsed_clock = std::chrono::steady_clock;
    size_t done = 0;
    const auto limit = elapsed_clock::now() + long_batch;
    const double taken = cpu_seconds_of([&] {
        do
            work(done++);
        while (done < largest_batch && elapsed_clock::now() < limit);
    });
    state.SetIterationTime(taken / static_cast<double>(done));
    return done;
}

vesk_instance *find(const object &which)
{
    return vesk_instances_get(vesk_config_get_running(), class_name(which).c_str(),
                              object_name(which).c_str());
}

bool take_out(const object &which)
{
    vesk_instance *instance = find(which);
    if (!instance || vesk_instances_remove(vesk_config_get_running(), instance) != 0) return false;
    return vesk_instance_delete(instance) == 0;
}

/** False while there is one of that name. */
bool put_in(const object &which)
{
    vesk_instance *instance =
        vesk_instance_new(vesk_classes_get(class_name(which).c_str()), object_name(which).c_str());
    for (size_t p = 0; p < property_count; ++p)
        vesk_instance_set_value(instance, property_name(p).c_str(), value_text(p).c_str());
    if (vesk_instances_add(vesk_config_get_running(), instance) == 0) return true;
    vesk_instance_delete(instance);
    return false;
}

void update(State &state, size_t objects, evaluator evaluate_with, wrapper wrap)
{
    static size_t first_value = 0;
    world(objects);
    world_changed();
    first_value += variants;
    const std::vector<std::string> all = updates(objects, first_value, usual_seed, wrap);
    const c_string first{evaluate_with(all.back().c_str())};
    if (!first || !std::strstr(first.get(), "<rc>0</rc><counter>1</counter>"))
        return state.SkipWithError("not updated");
    size_t i = 0;
    for (auto _ : state)
        if (!c_string{evaluate_with(all[i++ % all.size()].c_str())})
            state.SkipWithError("no answer");
}

void insert_one(State &state, size_t objects)
{
    world(objects);
    world_changed();
    std::vector<std::string> requests;
    for (size_t position = 0; position < variants; ++position)
        requests.push_back(bench::insert_one(position));
    size_t next = 0;
    for (auto _ : state) {
        const size_t count =
            measure_batch(state, [&](size_t i) { evaluate(requests[(next + i) % variants]); });
        for (size_t i = 0; i < count; ++i)
            if (!take_out(inserted_at((next + i) % variants))) state.SkipWithError("not inserted");
        next = (next + count) % variants;
    }
}

void delete_one(State &state, size_t objects)
{
    world(objects);
    world_changed();
    const std::vector<object> all = shuffled_objects(objects, usual_seed);
    std::vector<std::string> requests;
    requests.reserve(all.size());
    for (const object &which : all)
        requests.push_back(bench::delete_one(which));
    size_t next = 0;
    for (auto _ : state) {
        const size_t count =
            measure_batch(state, [&](size_t i) { evaluate(requests[(next + i) % all.size()]); });
        for (size_t i = 0; i < count; ++i)
            if (!put_in(all[(next + i) % all.size()])) state.SkipWithError("not deleted");
        next = (next + count) % all.size();
    }
}

void insert_thousand(State &state, size_t objects)
{
    world(objects);
    world_changed();
    const std::string request = bench::insert_thousand();
    for (auto _ : state) {
        measure(state, [&] { evaluate(request); });
        for (size_t i = 0; i < 1000; ++i)
            if (!take_out(inserted_at(i))) state.SkipWithError("not inserted");
    }
}

} // namespace

void add_edit_benchmarks(size_t objects)
{
    add("update_transaction", objects,
        [=](State &s) { update(s, objects, vesk_query_eval, in_transaction); });
    add("update_passive", objects,
        [=](State &s) { update(s, objects, vesk_query_eval_passive, as_request); });
    add("insert_one", objects, [=](State &s) { insert_one(s, objects); })->UseManualTime();
    add("delete_one", objects, [=](State &s) { delete_one(s, objects); })->UseManualTime();
    add("insert_thousand", objects, [=](State &s) {
        insert_thousand(s, objects);
    })->UseManualTime();
}

} // namespace vesk::bench
