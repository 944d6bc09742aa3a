#ifndef VESK_CORE_LOG_H
#define VESK_CORE_LOG_H

#include <cstddef>
#include <cstdio>
#include <initializer_list>

#include "vesk/debug.h"

namespace vesk {

/** Logs as vesk_debug_1printf() does and gives 1: the one line of a refusal. */
int fail(const char *format, ...) VESK_PRINTF(1, 2);

/** The same for what returns an object: gives null. */
std::nullptr_t none(const char *format, ...) VESK_PRINTF(1, 2);

/** The same for what always reports: as vesk_debug_eprintf(), gives 1. */
int error(const char *format, ...) VESK_PRINTF(1, 2);

/** Whether there is a stream to print on; logs when there is none. */
bool is_stream(const std::FILE *stream);

/** Begins a line on the log stream, with everything that stands before the message. */
void begin_log_line();

/** Flushes the stream; what the console does not take is lost. */
void flush_log();

/** Continues a line on the log stream. */
void continue_log_line(const char *format, ...) VESK_PRINTF(1, 2);

/** Logs texts one behind the other without the stream, for a handler that a signal runs directly.
 */
void log_from_signal(std::initializer_list<const char *> texts) noexcept;

/** Replaces the log stream and gives the old one (null when it was not opened yet). */
std::FILE *exchange_log_stream(std::FILE *stream);

/** Opens the console as the log stream, non-blocking; null when that fails. */
std::FILE *open_console(const char *path);

} // namespace vesk

#endif
