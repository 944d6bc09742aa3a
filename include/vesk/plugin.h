#ifndef VESK_PLUGIN_H
#define VESK_PLUGIN_H

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A plug-in is a shared library in /usr/lib/vesk/plugins/ whose name ends in ".vesk" or ".so". It
 * defines vesk_plugin_init(), which is called once at start and there registers classes and
 * providers. Plug-ins are never unloaded.
 */

/** The version of this interface, to be handed to vesk_plugin_new(). */
#define VESK_PLUGIN_VERSION "1.0"

/** The file name, without its directory, of the plug-in whose initialisation is running. */
extern VESK_API const char *vesk_plugins_current;

/** Defined by each plug-in. */
VESK_API void vesk_plugin_init(void);

/**
 * Declares the interface version that the calling plug-in was written for. The record is the
 * plug-in's to keep. Null, with a message, for any version but "1.0", or without memory.
 */
VESK_API vesk_plugin *vesk_plugin_new(const char *version);

/** Loads all plug-ins. 1 when one could not be loaded. Called by the daemon at start. */
VESK_API int vesk_plugins_init(void);

VESK_END_DECLS

#endif
