#ifndef VESK_CONFIG_RUNNING_H
#define VESK_CONFIG_RUNNING_H

#include "vesk/config.h"

namespace vesk {

/** Makes instances running without freeing anything; gives the old one. For the loader. */
vesk_instances *exchange_running(vesk_instances *instances);

} // namespace vesk

#endif
