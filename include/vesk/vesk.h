#ifndef VESK_VESK_H
#define VESK_VESK_H

/*
 * The interface of vesk to its plug-ins: everything that the daemon exports.
 *
 * Rules that hold everywhere, unless a function says otherwise:
 *  - A function that returns an int status returns 0 when it did what it says and 1 when it did
 * not, and then nothing has changed. Predicates (_is_, _contains_, _exists, _has_next) return 1 or
 * 0. Constructors and look-ups return the object, or null.
 *  - A null argument where none is allowed is a failure with a short log message, never a crash.
 *  - Exhausted memory is a failure like any other: null from what returns an object, 1 from a
 * status.
 *  - Strings are UTF-8 and end in NUL. A string that is passed in is copied, or used during the
 * call only. A string or object that comes back is borrowed, unless its comment says who frees it;
 * one that the caller frees is freed with free().
 *  - A callback is a function and a data pointer that is handed back to it unseen. It runs on the
 *    daemon's only thread and holds up everything until it returns.
 *  - There are no locks; call from that thread only, never from a signal handler.
 */

#include "eloop/eloop.h"
#include "vesk/actions.h"
#include "vesk/changes.h"
#include "vesk/class.h"
#include "vesk/classes.h"
#include "vesk/command.h"
#include "vesk/commit_info.h"
#include "vesk/committer.h"
#include "vesk/config.h"
#include "vesk/debug.h"
#include "vesk/export.h"
#include "vesk/inform.h"
#include "vesk/input.h"
#include "vesk/instance.h"
#include "vesk/instances.h"
#include "vesk/notify.h"
#include "vesk/plugin.h"
#include "vesk/property.h"
#include "vesk/provider.h"
#include "vesk/providers.h"
#include "vesk/query.h"
#include "vesk/refresh_info.h"
#include "vesk/refresher.h"
#include "vesk/service.h"
#include "vesk/socket.h"
#include "vesk/types.h"
#include "vesk/util.h"
#include "vesk/watchdog.h"
#include "vesk/xml.h"

#endif
