#ifndef VESK_CONFIG_H
#define VESK_CONFIG_H

#include "vesk/export.h"
#include "vesk/types.h"

struct _xmlDoc;
struct _xmlNode;

VESK_BEGIN_DECLS

/*
 * The running configuration and the files behind it: the startup file /etc/config/config.xml, the
 * default image /etc/defaultconfig.xml and the rescue file /etc/rescueconfig.xml.
 *
 * A configuration file is an XML document: root element "config"; in it one element per instance,
 * named after the class (of a subclass: after the abstract superclass), with the attribute "name"
 * for a named one; in that one element per value, named after the property, its text the value.
 * Only persistent properties of persistent classes are written.
 *
 * A file is never left half written: a new one is written beside it, checked and moved into its
 * place.
 */

/** Makes sure that a startup file exists. Always 0. Called by the daemon at start. */
VESK_API int vesk_config_init(void);

/**
 * Loads the startup file, else the default, and commits all of it through the providers. What is
 * invalid in it is reported and left out. 1 when neither can be read. Called by the daemon at
 * start.
 */
VESK_API int vesk_config_copy_startup_to_running(void);

/** The running configuration (borrowed); null before it was loaded. */
VESK_API vesk_instances *vesk_config_get_running(void);

/**
 * Makes instances the running configuration, owned by the store, and frees the old one, to whose
 * instances nobody may hold on. Returns the running configuration: instances, or the old one when
 * memory is exhausted (instances are freed then).
 */
VESK_API vesk_instances *vesk_config_replace_running(vesk_instances *instances);

/** Saves running as the startup file and notifies subscribers. Always 0; a failure is logged. */
VESK_API int vesk_config_copy_running_to_startup(void);

/**
 * The name of the concrete class of an instance element: the element's name, or for an abstract
 * class what its subclass identifier says. Borrowed from document. Null, with a message, when there
 * is none.
 */
VESK_API const char *vesk_config_get_class_name(const struct _xmlDoc *document,
                                                const struct _xmlNode *element);

/** The text of the startup file, or an "error" document; the caller frees it. Null without memory.
 */
VESK_API char *vesk_config_get_startup_as_xml(void);

/** Saves running as the default image. 1 on failure. */
VESK_API int vesk_config_copy_running_to_default(void);

/** Makes the default the startup file and notifies. 1 when the rescue file had to stand in. */
VESK_API int vesk_config_copy_default_to_startup(void);

/** Makes the rescue file the startup file and notifies. Always 0. */
VESK_API int vesk_config_copy_rescue_to_startup(void);

/** Makes the rescue file the default, by removing the default image. 1 when that fails. */
VESK_API int vesk_config_copy_rescue_to_default(void);

/** Copies a file over another, which is replaced as a whole or not at all; failures are logged. */
VESK_API void vesk_config_cp(const char *from, const char *to);

VESK_END_DECLS

#endif
