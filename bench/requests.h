#ifndef VESK_BENCH_REQUESTS_H
#define VESK_BENCH_REQUESTS_H

#include <string>
#include <vector>

#include "bench/objects.h"

namespace vesk::bench {

/** All properties of one object. */
std::string select_one(const object &which);

/** All properties of 1,000 objects: those of the first class or, while it is not full, of all. */
std::string select_thousand(size_t total);

/** All objects whose p0 is a value that none has. */
std::string select_none();

/** Sets p0. */
std::string update_one(const object &which, const std::string &value);

std::string insert_one();
std::string insert_thousand();

/** The object that insert_thousand() inserts at a position; insert_one() inserts the first. */
object inserted_at(size_t position);

std::string delete_one(const object &which);

std::string in_transaction(const std::string &operations);

/** A request element around operations. */
std::string as_request(const std::string &operations);

/** Objects from all over a configuration, the same in every run. */
std::vector<object> random_objects(size_t count, size_t total);

} // namespace vesk::bench

#endif
