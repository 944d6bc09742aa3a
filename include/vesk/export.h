#ifndef VESK_EXPORT_H
#define VESK_EXPORT_H

/** Marks what the daemon exports to plug-ins; everything else is hidden. */
#define VESK_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define VESK_BEGIN_DECLS extern "C" {
#define VESK_END_DECLS }
#else
#define VESK_BEGIN_DECLS
#define VESK_END_DECLS
#endif

/** Lets the compiler check a printf-style call: the format string and the first argument's
 * position. */
#define VESK_PRINTF(string, first) __attribute__((__format__(__printf__, string, first)))

#endif
