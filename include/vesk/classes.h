#ifndef VESK_CLASSES_H
#define VESK_CLASSES_H

#include <stdio.h>

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * The registry of all classes, in the order in which they were added. Plug-ins add to it while they
 * are initialised; afterwards it is read-only, and no class is ever freed.
 */

/** Enters cls under its name. On success the registry keeps it for the daemon's life. */
VESK_API int vesk_classes_add(vesk_class *cls);

/** The class of that name (borrowed). Null when there is none, without a message. */
VESK_API vesk_class *vesk_classes_get(const char *name);

/** Walks all classes. Null without memory. */
VESK_API vesk_classes_iterator *vesk_classes_new_iterator(void);

/** 1 while a class remains, else 0. */
VESK_API int vesk_classes_iterator_has_next(const vesk_classes_iterator *iterator);

/** The next class (borrowed). Null at the end. */
VESK_API vesk_class *vesk_classes_iterator_next(vesk_classes_iterator *iterator);

/** Frees the iterator. */
VESK_API int vesk_classes_delete_iterator(vesk_classes_iterator *iterator);

/** Prints every class, each followed by an empty line. */
VESK_API void vesk_classes_print(FILE *stream);

/** Resolves, then validates all classes. Called once by the daemon when all plug-ins are loaded. */
VESK_API int vesk_classes_done_adding(void);

VESK_END_DECLS

#endif
