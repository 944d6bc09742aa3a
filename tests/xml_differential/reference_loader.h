#ifndef VESK_TESTS_XML_DIFFERENTIAL_REFERENCE_LOADER_H
#define VESK_TESTS_XML_DIFFERENTIAL_REFERENCE_LOADER_H

#include <string_view>

#include "tests/xml_differential/tree.h"
#include "vesk/types.h"

namespace vesk::test {

/*
 * The plainest way to load a configuration: the whole document as a tree, then one element after
 * the other through the public functions. What it reports goes to the log stream, as the daemon's.
 */

/** Puts a line on the log stream. */
void say(const char *format, ...) __attribute__((format(printf, 1, 2)));

/** The document of a configuration file; null, reported, for any other. */
tree_ptr parse_plainly(std::string_view text);

/** Loads it into an empty collection which changes follows. */
void load_plainly(const xmlDoc &document, vesk_instances &running, vesk_changes &changes);

} // namespace vesk::test

#endif
