#ifndef VESK_QUERY_EVALUATE_H
#define VESK_QUERY_EVALUATE_H

#include <string>

namespace vesk {

/**
 * Appends the answer to a request to out. False when there is none, since it is not well-formed;
 * std::bad_alloc when the request was lost for want of memory or over a limit. Then out is as
 * before.
 */
bool evaluate_to(std::string &out, const char *request, bool passive);

} // namespace vesk

#endif
