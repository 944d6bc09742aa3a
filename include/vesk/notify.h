#ifndef VESK_NOTIFY_H
#define VESK_NOTIFY_H

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * Change notifications, pushed to every subscriber on 127.0.0.1 port 8001. Each message is an XML
 * document, a line feed and a NUL:
 *   <?xml version="1.0"?><conf_changed origin="ORIGIN">COUNTER</conf_changed>
 *   <?xml version="1.0"?><object_changed origin="ORIGIN"><CLASS name="INSTANCE"><PROPERTY>VALUE
 *   </PROPERTY></CLASS></object_changed>       (in one line)
 * An attribute is left out where there is no origin or instance name. Texts are escaped.
 */

/** Opens the notification port. 1 on failure. Called by the daemon at start. */
VESK_API int vesk_notify_init(void);

/** Tells that the saved configuration changed. The counter of the first message is 2. */
VESK_API void vesk_notify_conf_change(const char *origin);

/** Tells that a property of an object changed. Origin and instance name may be null. */
VESK_API void vesk_notify_object_change(const char *origin, const char *class_name,
                                        const char *instance_name, const char *property,
                                        const char *value);

VESK_END_DECLS

#endif
