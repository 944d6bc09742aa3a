#ifndef VESK_BENCH_RESULT_TREE_H
#define VESK_BENCH_RESULT_TREE_H

#include <cstddef>

#include <libxml/tree.h>

namespace vesk::bench {

/** The answer to a select of so many objects as a bare tree, which the caller frees. */
xmlDoc *new_result_tree(size_t objects);

} // namespace vesk::bench

#endif
