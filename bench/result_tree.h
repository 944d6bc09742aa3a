#ifndef VESK_BENCH_RESULT_TREE_H
#define VESK_BENCH_RESULT_TREE_H

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include <libxml/tree.h>

#include "bench/objects.h"

namespace vesk::bench {

/**
 * The answer to a select of the first objects of the first class. Their texts are made beforehand,
 * so that what is measured is the tree alone.
 */
class result_tree {
  public:
    explicit result_tree(size_t objects);

    /** The answer as a bare tree, which the caller frees. */
    xmlDoc *build() const;

    /** The same, written and freed again. */
    std::string text() const;

  private:
    struct texts {
        std::string name;
        std::array<std::string, property_count> values;
    };
    std::vector<texts> objects_;

    static void add_object(xmlNode *dataset, const texts &object);
};

} // namespace vesk::bench

#endif
