#include "bench/micro.h"

#include <cstring>
#include <iterator>

#include "bench/objects.h"
#include "model/classes.h"
#include "model/instances.h"
#include "model/iterator.h"
#include "pipeline/changes.h"

namespace vesk::bench {
namespace {

using ::benchmark::DoNotOptimize;
using ::benchmark::State;

constexpr const char *properties[] = {"p0", "p1", "p2", "p3", "p4", "p5", "p6", "p7", "p8", "p9"};
static_assert(std::size(properties) == property_count);

instance_ptr new_object()
{
    instance_ptr instance{vesk_instance_new(vesk_classes_get("obj0"), "an object")};
    for (const char *property : properties)
        vesk_instance_set_value(instance.get(), property, value_text(0).c_str());
    return instance;
}

void instance_set(State &state)
{
    const instance_ptr instance = new_object();
    const std::string values[] = {value_text(1), value_text(2)};
    size_t i = 0;
    for (auto _ : state) {
        vesk_instance_set_value(instance.get(), properties[i % property_count],
                                values[i / property_count % 2].c_str());
        ++i;
    }
}

void instance_get(State &state)
{
    const instance_ptr instance = new_object();
    size_t i = 0;
    for (auto _ : state)
        DoNotOptimize(vesk_instance_get_value(instance.get(), properties[i++ % property_count]));
}

void instance_copy(State &state)
{
    const instance_ptr instance = new_object();
    for (auto _ : state)
        vesk_instance_delete(vesk_instance_copy(instance.get()));
}

void collection_copy(State &state, const vesk_instances &instances)
{
    for (auto _ : state)
        vesk_instances_delete_all(vesk_instances_copy(&instances));
}

void collection_iterate(State &state, const vesk_instances &instances)
{
    for (auto _ : state) {
        const iterator_ptr iterator{vesk_instances_new_iterator(&instances)};
        while (vesk_instances_iterator_has_next(iterator.get()))
            DoNotOptimize(vesk_instances_iterator_next(iterator.get()));
    }
}

/** What a where expression without a match asks of every instance, without any of the language. */
void scan_by_hand(State &state, const vesk_instances &instances)
{
    for (auto _ : state) {
        const iterator_ptr iterator{vesk_instances_new_iterator(&instances)};
        while (vesk_instances_iterator_has_next(iterator.get())) {
            const auto *instance = vesk_instances_iterator_next(iterator.get());
            const char *value = vesk_instance_get_value(instance, "p0");
            DoNotOptimize(value && std::strcmp(value, "none has this") == 0);
        }
    }
}

void changes_new(State &state, vesk_instances &instances)
{
    for (auto _ : state)
        vesk_changes_delete(vesk_changes_new(&instances));
}

} // namespace

void add_instance_benchmarks()
{
    add("instance_set", 1, instance_set);
    add("instance_get", 1, instance_get);
    add("instance_copy", 1, instance_copy);
}

void add_collection_benchmarks(size_t objects)
{
    add("collection_copy", objects, [=](State &s) { collection_copy(s, world(objects)); });
    add("collection_iterate", objects, [=](State &s) { collection_iterate(s, world(objects)); });
    add("scan_by_hand", objects, [=](State &s) { scan_by_hand(s, world(objects)); });
    add("changes_new", objects, [=](State &s) { changes_new(s, world(objects)); });
}

} // namespace vesk::bench
