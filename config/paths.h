#ifndef VESK_CONFIG_PATHS_H
#define VESK_CONFIG_PATHS_H

namespace vesk {

/** The files of the store. Fixed on the device; a test puts others in their place. */
struct config_paths {
    const char *startup = "/etc/config/config.xml";
    const char *startup_bad =
        "/etc/config/config.xml.bad"; // a startup file that was replaced unread
    const char *rescue = "/etc/rescueconfig.xml";
    char default_image[256] = ""; // filled by vesk_config_init()
    const char *body = "/tmp/defaultconfig.xml";
    const char *generated_digest = "/tmp/md5.gen";
    const char *digest_check = "/tmp/defaultconfig.xml.md5";
};

config_paths &paths();

} // namespace vesk

#endif
