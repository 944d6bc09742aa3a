#ifndef VESK_QUERY_EVALUATE_H
#define VESK_QUERY_EVALUATE_H

namespace vesk {

/**
 * vesk_query_eval() that tells a request which cannot be answered from one that was lost for want
 * of memory or over a limit: null, and std::bad_alloc.
 */
char *evaluate_text(const char *text, bool passive);

} // namespace vesk

#endif
