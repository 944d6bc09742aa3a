#ifndef VESK_BENCH_OBJECTS_H
#define VESK_BENCH_OBJECTS_H

#include <cstddef>
#include <string>

// The objects of a configuration of a given size, as make_config.py writes them and bench_plugin.c
// declares them. The first class has 1,000 objects in every larger configuration, so that a select
// of that class asks of each the same, and stands first in the file.

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

/** Where an object stands in the file, which has one class behind the other. */
size_t file_position(const object &which, size_t total);

std::string class_name(const object &which);
std::string object_name(const object &which);
std::string property_name(size_t number);

/** Twelve bytes. */
std::string value_text(size_t seed);

/** The value that an object of the file has. */
std::string value_in_file(size_t position, size_t property);

} // namespace vesk::bench

#endif
