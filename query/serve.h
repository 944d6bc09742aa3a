#ifndef VESK_QUERY_SERVE_H
#define VESK_QUERY_SERVE_H

#include <cstdint>
#include <string_view>

#include "query/connection.h"

namespace vesk {

/**
 * Evaluates a client's request and appends the answer, if any, and ending to its output. Throws
 * std::bad_alloc when the request was lost: its connection is to end, since no answer will come.
 */
void answer(connection &c, const char *request, std::string_view ending);

void report_too_long(size_t length);

/** The number of four bytes in the machine's order at an offset of the input, which holds them. */
uint32_t number_at(const connection &c, size_t offset);

/** What is made of a request; its text may be changed. */
using request_function = void (*)(connection &, char *text);

/**
 * Serves the one request of a connection as soon as it is there: length bytes behind a header of so
 * many, or fewer when the peer ends it early. Then nothing more is wanted.
 */
progress serve_body(connection &c, size_t header, uint32_t length, request_function serve);

} // namespace vesk

#endif
