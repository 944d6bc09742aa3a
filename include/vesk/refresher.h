#ifndef VESK_REFRESHER_H
#define VESK_REFRESHER_H

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_refresher is a ready-made refresh function for one class: it calls back for each instance
 * and property that is wanted and stores what it gets. A plug-in fills one in and registers it:
 *   vesk_provider_set_refresh_fn(provider, vesk_refresher_fn, refresher);
 * It must live as long as the daemon.
 */

/** Called once a refresh of the class, before its instances are walked; may add and remove some. */
typedef void (*vesk_refresher_pre_refresh_fn)(vesk_refresh_info *info);

/** Called for each wanted instance. */
typedef void (*vesk_refresher_instance_fn)(vesk_instance *instance, vesk_refresh_info *info);

/** Gives the current value of a wanted property; it is copied. Null leaves the old one. */
typedef const char *(*vesk_refresher_property_fn)(vesk_instance *instance, const char *property,
                                                  vesk_refresh_info *info);

/** New refresher of a class, whose name is kept, not copied. Null for a null name or no memory. */
VESK_API vesk_refresher *vesk_refresher_new(const char *class_name);

/** What runs before the instances. */
VESK_API int vesk_refresher_set_pre_refresh_fn(vesk_refresher *refresher,
                                               vesk_refresher_pre_refresh_fn pre_refresh);

/** What runs for each wanted instance. */
VESK_API int vesk_refresher_set_instance_fn(vesk_refresher *refresher,
                                            vesk_refresher_instance_fn instance_fn);

/** What gives a property's value (the name is copied). The first of a property stays: then 1. */
VESK_API int vesk_refresher_set_property_fn(vesk_refresher *refresher, const char *property,
                                            vesk_refresher_property_fn property_fn);

/** The refresh function; the refresh data is the refresher. */
VESK_API void vesk_refresher_fn(vesk_refresh_info *info);

VESK_END_DECLS

#endif
