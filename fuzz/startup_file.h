#ifndef VESK_FUZZ_STARTUP_FILE_H
#define VESK_FUZZ_STARTUP_FILE_H

#include <string_view>

namespace vesk::fuzz {

/** Makes text the startup file: in memory, this process's own. There is neither default nor rescue.
 */
void put_startup_file(std::string_view text);

/** Removes it, and what a load made of it. */
void remove_startup_file();

} // namespace vesk::fuzz

#endif
