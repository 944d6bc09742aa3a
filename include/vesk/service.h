#ifndef VESK_SERVICE_H
#define VESK_SERVICE_H

#include <stdio.h>

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * Named background programs. A service is started and not waited for; when it dies by itself, its
 * callback runs within about two seconds. Vectors, output and directory as in vesk/command.h.
 */

/** Called after the service was found dead. May start it again and use all of this interface. */
typedef void (*vesk_service_exited_fn)(void *data);

/** Set when a child has ended; cleared when the table has been checked. */
extern VESK_API int sig_child_received;

/** Makes the table. Called by the daemon at start. */
VESK_API void vesk_service_init(void);

/** Sets the callback of a service, which need not be running yet. 1 without memory. */
VESK_API int vesk_service_set_exited_fn(const char *name, vesk_service_exited_fn exited,
                                        void *data);

/** Starts a service; a process that runs under the name already is forgotten. 1 without memory. */
VESK_API int vesk_service_execvod(const char *name, char *const argv[], unsigned output,
                                  const char *directory);

/** Starts a service with output 1. */
VESK_API int vesk_service_execv(const char *name, char *const argv[]);

/** Starts path with the arguments up to a null pointer, output 1. -1 without memory. */
VESK_API int vesk_service_execl(const char *name, const char *path, ...);

/** As vesk_service_execl(); after the null pointer: unsigned output, const char *directory. */
VESK_API int vesk_service_execlod(const char *name, const char *path, ...);

/** 1 when the process of a started service is alive and no zombie, else 0. */
VESK_API int vesk_service_is_running(const char *name);

/**
 * Sends sig and waits at most timeout_us microseconds for the end; 0 does not wait. 1 when
 * it was signalled or had ended already, 0 for a stopped or unknown one, -1 when time ran out.
 */
VESK_API int vesk_service_stop(const char *name, int sig, int timeout_us);

/** Stops all running services: SIGTERM, after 5 s SIGKILL. Called by the daemon when it ends. */
VESK_API void vesk_service_shutdown(void);

/** The daemon's SIGCHLD handler: reaps. */
VESK_API void vesk_service_sig_child(int sig, void *eloop_data, void *user_data);

/** Checks the table when a child has ended. Called by the daemon every two seconds. */
VESK_API void vesk_service_poll(void);

/** Prints the table. */
VESK_API void vesk_service_print(FILE *stream);

VESK_END_DECLS

#endif
