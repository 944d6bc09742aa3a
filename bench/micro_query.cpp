#include "bench/micro.h"

#include <cstring>
#include <vector>

#include "base/text.h"
#include "bench/requests.h"
#include "model/instances.h"
#include "vesk/config.h"
#include "vesk/query.h"

// Requests that differ from one iteration to the next are written beforehand. One of each kind is
// answered beforehand as well, and its answer looked at.

namespace vesk::bench {
namespace {

using ::benchmark::State;
using evaluator = char *(*)(const char *);
using requests = std::vector<std::string>;

constexpr size_t variants = 64;

/** Whether a request touches so many objects and makes no error; else the benchmark ends. */
bool succeeds(State &state, evaluator evaluate, const std::string &request, size_t touched)
{
    const c_string answer{evaluate(request.c_str())};
    const std::string counts = "<rc>0</rc><counter>" + std::to_string(touched) + "</counter>";
    if (answer && std::strstr(answer.get(), counts.c_str())) return true;
    state.SkipWithError("the request was not answered as it should");
    return false;
}

void answer_in_turn(State &state, evaluator evaluate, const requests &all, size_t touched)
{
    if (!succeeds(state, evaluate, all.front(), touched)) return;
    size_t i = 0;
    for (auto _ : state) {
        const c_string answer{evaluate(all[i++ % all.size()].c_str())};
        if (!answer) state.SkipWithError("no answer");
    }
}

void select_one(State &state, size_t objects)
{
    world(objects);
    requests all;
    for (const object &which : random_objects(variants, objects))
        all.push_back(bench::select_one(which));
    answer_in_turn(state, vesk_query_eval, all, 1);
}

void select_thousand(State &state, size_t objects)
{
    world(objects);
    const size_t touched =
        first_class_is_full(objects) ? most_in_first_class : objects / class_count;
    answer_in_turn(state, vesk_query_eval, {bench::select_thousand(objects)}, touched);
}

void where_scan(State &state, size_t objects)
{
    world(objects);
    answer_in_turn(state, vesk_query_eval, {select_none()}, 0);
}

void update(State &state, size_t objects, evaluator evaluate,
            std::string (*wrap)(const std::string &))
{
    world(objects);
    requests all;
    for (const object &which : random_objects(variants, objects))
        all.push_back(wrap(update_one(which, value_text(all.size()))));
    answer_in_turn(state, evaluate, all, 1);
}

/** Takes what was inserted out again; false when it is not there. */
bool take_out_inserted(size_t count)
{
    vesk_instances *running = vesk_config_get_running();
    for (size_t i = 0; i < count; ++i) {
        const object which = inserted_at(i);
        vesk_instance *instance =
            vesk_instances_get(running, class_name(which).c_str(), object_name(which).c_str());
        if (!instance) return false;
        vesk_instances_remove(running, instance);
        vesk_instance_delete(instance);
    }
    return true;
}

void insert(State &state, size_t objects, const std::string &request, size_t count)
{
    world(objects);
    for (auto _ : state) {
        measure(state, [&] { c_string{vesk_query_eval(request.c_str())}; });
        if (!take_out_inserted(count)) state.SkipWithError("nothing was inserted");
    }
}

void delete_one(State &state, size_t objects)
{
    world(objects);
    const std::string inserting = insert_one();
    const std::string request = bench::delete_one(inserted_at(0));
    for (auto _ : state) {
        c_string{vesk_query_eval(inserting.c_str())};
        measure(state, [&] { c_string{vesk_query_eval(request.c_str())}; });
        if (take_out_inserted(1)) state.SkipWithError("nothing was deleted");
    }
}

} // namespace

void add_query_benchmarks(size_t objects)
{
    add("select_one", objects, [=](State &s) { select_one(s, objects); });
    if (objects >= 1000)
        add("select_thousand", objects, [=](State &s) { select_thousand(s, objects); });
    add("where_scan", objects, [=](State &s) { where_scan(s, objects); });
    add("update_transaction", objects,
        [=](State &s) { update(s, objects, vesk_query_eval, in_transaction); });
    add("update_passive", objects,
        [=](State &s) { update(s, objects, vesk_query_eval_passive, as_request); });
    add("insert_one", objects, [=](State &s) {
        insert(s, objects, insert_one(), 1);
    })->UseManualTime();
    add("insert_thousand", objects, [=](State &s) {
        insert(s, objects, insert_thousand(), 1000);
    })->UseManualTime();
    add("delete_one", objects, [=](State &s) { delete_one(s, objects); })->UseManualTime();
}

} // namespace vesk::bench
