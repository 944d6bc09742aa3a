#ifndef VESK_QUERY_LIMITS_H
#define VESK_QUERY_LIMITS_H

#include <cstddef>

namespace vesk {

/** Longest request on any socket. A whole configuration fits; a header cannot make us reserve more.
 */
constexpr size_t max_request = size_t{4} * 1024 * 1024;

/** Longest answer. More than a device holds; a request cannot make the daemon use up its memory. */
constexpr size_t max_result = size_t{64} * 1024 * 1024;

/** Evaluations inside one another: a refresh that causes itself would go on until the stack ends.
 */
constexpr unsigned max_nesting = 16;

/** Connections of one local socket at a time; the one that has waited longest makes room. */
constexpr unsigned max_local_clients = 64;

/** Notification connections that never became subscribers; the oldest makes room. */
constexpr unsigned max_pending_subscribers = 64;

/** Clients of each TCP service. */
constexpr unsigned max_tcp_clients = 8;

/** What may wait for one subscriber that does not read; more is lost to it. */
constexpr size_t max_backlog = size_t{256} * 1024;

/** An answer of which nothing could be written for so long ends its connection. */
constexpr unsigned max_stall_seconds = 30;

/** Read from one connection in one pass of the loop, so that a flood leaves the others their turn.
 */
constexpr size_t read_budget = size_t{64} * 1024;

} // namespace vesk

#endif
