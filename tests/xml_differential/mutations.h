#ifndef VESK_TESTS_XML_DIFFERENTIAL_MUTATIONS_H
#define VESK_TESTS_XML_DIFFERENTIAL_MUTATIONS_H

#include <string>
#include <vector>

#include <libxml/tree.h>

#include "tests/xml_differential/dice.h"

namespace vesk::test {

/** One change of what a saved configuration says. */
struct mutation {
    const char *name;
    void (*apply)(dice &die, xmlNode *root);
};

const std::vector<mutation> &mutations();

/** The text, which is well-formed, after the change; itself when there is nothing to be changed. */
std::string changed(dice &die, const std::string &text, const mutation &change);

} // namespace vesk::test

#endif
