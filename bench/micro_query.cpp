#include "bench/micro.h"

#include <cstring>
#include <vector>

#include "base/text.h"
#include "bench/requests.h"
#include "vesk/vesk.h"

// Before anything is measured, one request of each kind is answered and its answer looked at.

namespace vesk::bench {
namespace {

using ::benchmark::DoNotOptimize;
using ::benchmark::State;

/** Whether a request makes no error and each of its operations touches so many objects. */
bool succeeds(const std::string &request, size_t operations, size_t touched)
{
    const c_string answer{vesk_query_eval(request.c_str())};
    if (!answer) return false;
    const std::string counts = "<rc>0</rc><counter>" + std::to_string(touched) + "</counter>";
    const char *at = answer.get();
    for (size_t i = 0; i < operations; ++i) {
        at = std::strstr(at, counts.c_str());
        if (!at) return false;
        at += counts.size();
    }
    return true;
}

void answer_in_turn(State &state, const std::vector<std::string> &requests)
{
    size_t i = 0;
    for (auto _ : state) {
        const c_string answer{vesk_query_eval(requests[i++ % requests.size()].c_str())};
        if (!answer) state.SkipWithError("no answer");
    }
}

void select_one(State &state, size_t objects)
{
    world(objects);
    std::vector<std::string> requests;
    for (const object &which : random_objects(variants, objects, usual_seed))
        requests.push_back(bench::select_one(which));
    if (!succeeds(requests.front(), 1, 1)) return state.SkipWithError("not selected");
    answer_in_turn(state, requests);
}

/** Where in the file the last object of a class stands. */
size_t last_of(size_t cls, size_t objects)
{
    const size_t end = cls + 1 < class_count ? file_position({cls + 1, 0}, objects) : objects;
    return end - 1;
}

/** What that one has where it is asked for, and no other. */
class_texts last_values(size_t objects)
{
    class_texts values;
    for (size_t cls = 0; cls < class_count; ++cls)
        values[cls] = value_in_file(last_of(cls, objects), asked_property(cls));
    return values;
}

/** The answers to a match and to none show that every class is gone through to its end. */
void where_scan(State &state, size_t objects)
{
    world(objects);
    const std::string none = select_none();
    if (!succeeds(select_where(last_values(objects)), class_count, 1))
        return state.SkipWithError("the last object of a class was not found");
    if (!succeeds(none, class_count, 0)) return state.SkipWithError("something was found");
    answer_in_turn(state, {none});
}

void scan_class_by_hand(const vesk_instances &instances, size_t cls)
{
    const std::string class_text = class_name({cls, 0});
    const std::string property = property_name(asked_property(cls));
    vesk_instances_iterator *iterator =
        vesk_instances_new_class_iterator(&instances, class_text.c_str());
    while (vesk_instances_iterator_has_next(iterator)) {
        const vesk_instance *instance = vesk_instances_iterator_next(iterator);
        const char *value = vesk_instance_get_value(instance, property.c_str());
        DoNotOptimize(value && std::strcmp(value, "00000000000x") == 0);
    }
    vesk_instances_delete_iterator(iterator);
}

/** What the where expression without a match asks of every instance, through the interface that
 * plug-ins have. */
void scan_by_hand(State &state, size_t objects)
{
    const vesk_instances &instances = world(objects);
    for (auto _ : state)
        for (size_t cls = 0; cls < class_count; ++cls)
            scan_class_by_hand(instances, cls);
}

void changes_new(State &state, size_t objects)
{
    vesk_instances &instances = world(objects);
    for (auto _ : state)
        vesk_changes_delete(vesk_changes_new(&instances));
}

} // namespace

void add_query_benchmarks(size_t objects)
{
    add("select_one", objects, [=](State &s) { select_one(s, objects); });
    add("where_scan", objects, [=](State &s) { where_scan(s, objects); });
    add("scan_by_hand", objects, [=](State &s) { scan_by_hand(s, objects); });
    add("changes_new", objects, [=](State &s) { changes_new(s, objects); });
}

} // namespace vesk::bench
