#ifndef VESK_QUERY_SERVE_H
#define VESK_QUERY_SERVE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "query/connection.h"

namespace vesk {

/**
 * Evaluates a client's request and sends the answer, if any, followed by ending. Throws
 * std::bad_alloc when the request was lost: its connection is to end, since no answer will come.
 */
void answer(connection &c, const std::string &request, std::string_view ending);

void report_too_long(size_t length);

/** The number of four bytes in the machine's order at an offset of the input, which holds them. */
uint32_t number_at(connection &c, size_t offset);

/** What of a body with a length in front can be done by now. */
enum class body { incomplete, complete, refused };

/** Looks at the body of that length behind a header of so many bytes; the peer may end it early. */
body look_at_body(connection &c, size_t header, uint32_t length);

} // namespace vesk

#endif
