#ifndef VESK_DEBUG_H
#define VESK_DEBUG_H

#include <stdio.h>

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * The daemon's log. Every line begins "vesk: ", with time stamps on also "[Sat Nov 21 09:00:00
 * 2026] ", and goes to /dev/console, or to standard error where the console cannot be opened. The
 * caller supplies the newline. Output is flushed after each message. A console that does not take a
 * line loses it; the daemon never waits for it. All of these keep errno.
 */

/** The highest debug level, 6. */
extern VESK_API const int VESK_DEBUG_MAX;

/** 1 when the level was raised on the command line, else 0. For plug-ins; the daemon only sets it.
 */
extern VESK_API int vesk_debug_override;

/** Opens the log stream. A second call changes nothing. Called by the daemon at start. */
VESK_API void vesk_debug_init(void);

/** Sets the level, 0 (quiet) to VESK_DEBUG_MAX, and logs it. 1 for any other, which changes
 * nothing. */
VESK_API int vesk_debug_set(int level);

/** The level, 0 to VESK_DEBUG_MAX. */
VESK_API int vesk_debug_get(void);

/** Time stamps on (1) or off (0). 1 for any other value, which changes nothing. */
VESK_API int vesk_debug_set_timestamp(int on);

/** 1 when lines carry a time stamp, else 0. */
VESK_API int vesk_debug_get_timestamp(void);

/** Whether a fatal error ends the process (1) or not (0). 1 for any other value. */
VESK_API int vesk_debug_set_exit_on_fatal(int on);

/** The log stream (borrowed), for callers that print tables onto it. */
VESK_API FILE *vesk_debug_get_stream(void);

/** Logs always. */
VESK_API void vesk_debug_printf(const char *format, ...) VESK_PRINTF(1, 2);

/** Logs always; marks an error message. */
VESK_API void vesk_debug_eprintf(const char *format, ...) VESK_PRINTF(1, 2);

/** Logs when the level is not 0. */
VESK_API void vesk_debug_1printf(const char *format, ...) VESK_PRINTF(1, 2);

/** Logs when the debug level is at least level. */
VESK_API void vesk_debug_lprintf(int level, const char *format, ...) VESK_PRINTF(2, 3);

/**
 * Logs "Fatal error: " and the message (without a newline of its own). Ends the process with status
 * 1 when exit-on-fatal is set; otherwise logs that operation continues and returns.
 */
VESK_API void vesk_debug_fatal(const char *message);

/** Writes "vesk: ", the message and the text of errno to standard error, as perror() does. */
VESK_API void vesk_debug_perror(const char *message);

/** vesk_debug_perror() of "Fatal error: " and the message, then the end of vesk_debug_fatal(). */
VESK_API void vesk_debug_fatal_perror(const char *message);

VESK_END_DECLS

#endif
