#ifndef VESK_TESTS_XML_DIFFERENTIAL_BREAKAGE_H
#define VESK_TESTS_XML_DIFFERENTIAL_BREAKAGE_H

#include <string>

#include "tests/xml_differential/dice.h"

namespace vesk::test {

/** The document with a fault, nearly always: a syntax error anywhere, an end too early, junk. */
std::string broken(dice &die, std::string document);

} // namespace vesk::test

#endif
