#ifndef VESK_BENCH_OBJECTS_H
#define VESK_BENCH_OBJECTS_H

#include <cstddef>
#include <string>

// The objects of a configuration of a given size, as make_config.py writes them and bench_plugin.c
// declares them. The first class never has more than 1,000 objects, so that a select of that class
// asks of every larger configuration the same.

namespace vesk::bench {

constexpr size_t class_count = 5;
constexpr size_t property_count = 10;
constexpr size_t most_in_first_class = 1000;

struct object {
    size_t cls;
    size_t number; // within its class
};

/** The object at a position of a configuration of total objects; total is a multiple of five. */
object object_at(size_t position, size_t total);

/** Whether the first class alone has its 1,000 objects. */
bool first_class_is_full(size_t total);

std::string class_name(const object &which);
std::string object_name(const object &which);
std::string property_name(size_t number);

/** Twelve bytes. */
std::string value_text(size_t seed);

} // namespace vesk::bench

#endif
