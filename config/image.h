#ifndef VESK_CONFIG_IMAGE_H
#define VESK_CONFIG_IMAGE_H

#include <string>
#include <string_view>

#include "config/paths.h"

namespace vesk {

/** The header of a default image. */
struct image_header {
    size_t length = 0; // of the body, in bytes
    std::string digest;
    size_t size = 0; // of the header itself, its empty line included
};

/** Reads the header that image begins with. 0, or 1 to 13 after a message. */
int read_image_header(std::string_view image, image_header &header);

/** Unpacks the default image over the startup file. 0, or why not (the code of the message). */
int unpack_default(const config_paths &files);

/** The part of vesk_config_copy_default_to_startup() that reports: 0, or the code of unpacking. */
int unpack_default_or_report(const config_paths &files);

/** Copies a file over another, durably. False, logged, when that fails. */
bool copy_file(const char *from, const char *to);

} // namespace vesk

#endif
