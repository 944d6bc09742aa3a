#include "vesk/config.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "base/file.h"
#include "base/or_on_oom.h"
#include "base/text.h"
#include "config/image.h"
#include "config/running.h"
#include "config/save.h"
#include "core/log.h"
#include "vesk/notify.h"
#include "vesk/query.h"

namespace {

constexpr const char *default_image = "/etc/defaultconfig.xml";

/** Only a file that is not there is missing; one that cannot be looked at just now is not. */
bool is_missing(const char *path)
{
    struct stat unused;
    return stat(path, &unused) != 0 && errno == ENOENT;
}

int init(vesk::config_paths &files)
{
    if (!*files.default_image)
        std::snprintf(files.default_image, sizeof files.default_image, "%s", default_image);
    if (!is_missing(files.startup)) return 0;
    if (vesk::or_on_oom(2, [&] { return vesk::unpack_default_or_report(files); }) != 0) {
        vesk_config_cp(files.rescue, files.startup);
        sync();
    }
    return 0;
}

/** The digest that md5sum wrote into a file: 32 hexadecimal characters. */
bool read_digest(const char *path, std::string &digest)
{
    constexpr size_t digest_length = 32;
    if (vesk::read_file(path, digest) != 0 || digest.size() < digest_length) return false;
    digest.resize(digest_length);
    return digest.find_first_not_of("0123456789abcdef") == digest.npos;
}

/** Writes the default image with the body and the digest that lie in the working files. */
int write_image(const vesk::config_paths &files, size_t length)
{
    std::string digest;
    if (!read_digest(files.generated_digest, digest))
        return vesk::error("Can't open %s.\n", files.generated_digest);
    std::string body;
    if (vesk::read_file(files.body, body) != 0) return vesk::error("Can't open %s.\n", files.body);
    body.resize(std::min(body.size(), length));
    const std::string header = vesk::format_text(
        vesk::any_length, "Version: 1\nLength: %zu\nMD5sum: %s\n\n", length, digest.c_str());
    if (vesk::replace_file(files.default_image, header + body))
        return vesk::error("Can't open %s.\n", files.default_image);
    return 0;
}

int copy_running_to_default(const vesk::config_paths &files)
{
    const vesk_instances *running = vesk_config_get_running();
    if (!running || vesk::is_loading())
        return vesk::error("Nothing was loaded: not saving over the default image.\n");
    unlink(files.body);
    vesk::save_config(files.body, *running);
    struct stat saved;
    if (stat(files.body, &saved) != 0) return vesk::error("Can't stat %s.\n", files.body);
    // The shell writes into a file that is ours, not into whatever bears the name.
    vesk::create_afresh(files.generated_digest);
    const std::string command = vesk::format_text(vesk::any_length, "/usr/bin/md5sum %s > %s",
                                                  files.body, files.generated_digest);
    // Without its digest the image would be refused when it is needed: the old one stays.
    if (std::system(command.c_str()) != 0) return vesk::error("%s failed.\n", command.c_str());
    return write_image(files, static_cast<size_t>(saved.st_size));
}

std::string error_document(const char *message)
{
    return vesk::format_text(vesk::any_length, "<?xml version=\"1.0\"?><error>%s</error>\n",
                             message);
}

std::string startup_as_xml(const char *path)
{
    std::string text;
    const int failed = vesk::or_on_oom(ENOMEM, [&] { return vesk::read_file(path, text); });
    if (failed == ENOMEM) return error_document("vesk_config_get_startup_as_xml malloc failed");
    if (failed) return error_document("Can't read config file.");
    if (text.empty()) return error_document("Config file is zero-length.");
    return text;
}

} // namespace

int vesk_config_init(void)
{
    return init(vesk::paths());
}

char *vesk_config_get_startup_as_xml(void)
{
    return vesk::or_on_oom<char *>(
        nullptr, [] { return vesk::malloc_copy(startup_as_xml(vesk::paths().startup)); });
}

int vesk_config_copy_running_to_default(void)
{
    return vesk::or_on_oom(1, [] { return copy_running_to_default(vesk::paths()); });
}

int vesk_config_copy_default_to_startup(void)
{
    const int code =
        vesk::or_on_oom(2, [] { return vesk::unpack_default_or_report(vesk::paths()); });
    if (code != 0) {
        vesk_config_copy_rescue_to_startup();
        return 1;
    }
    sync();
    vesk_notify_conf_change(vesk_query_origin);
    return 0;
}

int vesk_config_copy_rescue_to_startup(void)
{
    vesk_config_cp(vesk::paths().rescue, vesk::paths().startup);
    sync();
    vesk_notify_conf_change(vesk_query_origin);
    return 0;
}

int vesk_config_copy_rescue_to_default(void)
{
    if (unlink(vesk::paths().default_image) == 0) return 0;
    vesk_debug_perror("unlink");
    return 1;
}

void vesk_config_cp(const char *from, const char *to)
{
    if (!from || !to) {
        vesk::fail("Config filename is null.\n");
        return;
    }
    vesk::or_on_oom(false, [&] { return vesk::copy_file(from, to); });
}
