#ifndef VESK_BENCH_REQUESTS_H
#define VESK_BENCH_REQUESTS_H

#include <array>
#include <string>
#include <vector>

#include "bench/objects.h"

namespace vesk::bench {

/** So many different requests that the objects which they touch do not all stay in a cache. */
constexpr size_t variants = 16'384;

/** All properties of one object. */
std::string select_one(const object &which);

/** All properties of the first class, which has 1,000 objects when it is full. */
std::string select_first_class();

/** A text for each class. */
using class_texts = std::array<std::string, class_count>;

/** The property that a where expression of these requests asks for: in each class another one. */
size_t asked_property(size_t cls);

/** In each class, all objects that have a value: an operation for each class. */
std::string select_where(const class_texts &values);

/** The same with a value that no object has, of the length of those that they have. */
std::string select_none();

/** Sets p0. */
std::string update_one(const object &which, const std::string &value);

using wrapper = std::string (*)(const std::string &operations);

/**
 * Updates of one value each, of objects from all over a configuration. In whatever order an object
 * gets its values, the next is another one: also from the last request to the first.
 */
std::vector<std::string> updates(size_t total, size_t first_value, unsigned seed, wrapper wrap);

/** The object that an insert of these requests makes: none of a configuration. */
object inserted_at(size_t position);

/** Inserts the object of a position. */
std::string insert_one(size_t position);

/** Inserts those of the first 1,000 positions. */
std::string insert_thousand();

std::string delete_one(const object &which);

std::string in_transaction(const std::string &operations);

/** A request element around operations. */
std::string as_request(const std::string &operations);

constexpr unsigned usual_seed = 42;

/** Objects from all over a configuration, the same for the same seed. */
std::vector<object> random_objects(size_t count, size_t total, unsigned seed);

/** All objects of a configuration, mixed. */
std::vector<object> shuffled_objects(size_t total, unsigned seed);

} // namespace vesk::bench

#endif
