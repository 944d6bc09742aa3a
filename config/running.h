#ifndef VESK_CONFIG_RUNNING_H
#define VESK_CONFIG_RUNNING_H

#include "vesk/config.h"

namespace vesk {

/** Makes instances running without freeing anything; gives the old one. For the loader. */
vesk_instances *exchange_running(vesk_instances *instances);

/**
 * While the loader fills running it is not a configuration yet: it is neither saved nor replaced,
 * and no request is evaluated, whatever a validator asks for.
 */
bool is_loading();
void set_loading(bool loading);

} // namespace vesk

#endif
