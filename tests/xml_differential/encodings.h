#ifndef VESK_TESTS_XML_DIFFERENTIAL_ENCODINGS_H
#define VESK_TESTS_XML_DIFFERENTIAL_ENCODINGS_H

#include <string>
#include <string_view>

#include "tests/xml_differential/dice.h"

namespace vesk::test {

/** How the characters of a document become bytes, and what its declaration says of that. */
enum class encoding {
    unsaid, // UTF-8, as the daemon itself writes
    utf8,
    utf8_marked, // with a byte order mark
    ascii,
    latin1,
    utf16_little, // with a byte order mark
    utf16_big,
    utf16_little_unmarked,
    utf16_big_unmarked,
    ucs4_big,
    mistaken // in UTF-8, but declared as something else
};

encoding random_encoding(dice &die);

/** The largest character that it has. */
unsigned largest_in(encoding in);

/** What the declaration names, "" for nothing. */
std::string declared_name(dice &die, encoding in);

/** UTF-8 in another encoding; "?" for what that does not have. */
std::string encoded(std::string_view utf8, encoding in);

} // namespace vesk::test

#endif
