#ifndef VESK_PLUGINS_LOADER_H
#define VESK_PLUGINS_LOADER_H

#include <string>

#include "vesk/plugin.h"

struct vesk_plugin {
    std::string file;
};

namespace vesk {

/** Loads the plug-ins of a folder, whose name ends in a slash. 1 when one could not be loaded. */
int load_plugins(const char *folder);

/** Whether a file of that name is taken for a plug-in. */
bool is_plugin_name(const char *name);

} // namespace vesk

#endif
