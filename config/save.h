#ifndef VESK_CONFIG_SAVE_H
#define VESK_CONFIG_SAVE_H

#include <string>

#include "vesk/types.h"

namespace vesk {

/** A configuration as the text of its file. Throws std::bad_alloc. */
std::string config_text(const vesk_instances &instances);

/** Whether the text of a file reads back as the configuration. Throws std::bad_alloc. */
bool holds_config(const std::string &text, const vesk_instances &instances);

/** Saves a configuration durably, checking what was written. False, logged, when that fails. */
bool save_config(const char *path, const vesk_instances &instances);

} // namespace vesk

#endif
