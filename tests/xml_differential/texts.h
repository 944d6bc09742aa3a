#ifndef VESK_TESTS_XML_DIFFERENTIAL_TEXTS_H
#define VESK_TESTS_XML_DIFFERENTIAL_TEXTS_H

#include <string>
#include <string_view>

#include "tests/xml_differential/dice.h"

namespace vesk::test {

constexpr unsigned last_character = 0x10FFFF;

void append_utf8(std::string &out, unsigned character);

/** Any bytes but NUL: text, markup, control bytes, UTF-8 whole and broken, nothing, and much. */
std::string random_bytes(dice &die);

/** A character that XML can hold, up to largest; those that are special more often than others. */
unsigned random_character(dice &die, unsigned largest = last_character);

/** Some of them. */
std::string random_characters(dice &die, unsigned largest = last_character);

/**
 * The bytes with U+FFFD for what XML cannot hold: once for a character, and for each byte that is
 * no part of one. Not the product's own: tests judge that by this.
 */
std::string readable(std::string_view bytes);

} // namespace vesk::test

#endif
