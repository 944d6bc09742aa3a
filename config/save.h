#ifndef VESK_CONFIG_SAVE_H
#define VESK_CONFIG_SAVE_H

#include <string>

#include "base/xml_stream.h"
#include "vesk/types.h"

namespace vesk {

/** A configuration as the text of its file. Throws std::bad_alloc. */
std::string config_text(const vesk_instances &instances);

/** Whether the text of a file, once it is read, was the configuration. Throws std::bad_alloc. */
bool holds_config(xml_source_text &file, const vesk_instances &instances);

/** Saves a configuration durably, checking what was written. False, logged, when that fails. */
bool save_config(const char *path, const vesk_instances &instances);

} // namespace vesk

#endif
