#ifndef VESK_COMMAND_H
#define VESK_COMMAND_H

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * Running external programs and waiting for them; the whole daemon waits. The program is looked up
 * through PATH, gets /dev/null as its input, a session of its own and no other descriptor of the
 * daemon.
 *
 * output: 0: the program's output goes to /dev/null; 1: it goes there while the debug level is 0; 2
 * and above: it is always the daemon's own. directory: where the program runs; null: where the
 * daemon runs.
 *
 * Result: the raw wait status (a missing program: 127 << 8), or -1.
 */

/** 1 in no-actions mode: nothing is executed, signalled or rebooted, only logged. */
extern VESK_API int vesk_process_no_actions;

/** Runs path with the arguments up to a null pointer, output 1. */
VESK_API int vesk_command_execl(const char *path, ...);

/** Runs path with the arguments up to a null pointer; then unsigned output, const char *directory.
 */
VESK_API int vesk_command_execlod(const char *path, ...);

/** Runs a null-terminated vector, whose first element is the program, output 1. */
VESK_API int vesk_command_execv(char *const argv[]);

/** Runs a null-terminated vector. */
VESK_API int vesk_command_execvod(char *const argv[], unsigned output, const char *directory);

VESK_END_DECLS

#endif
