#include "config/image.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "base/file.h"
#include "core/log.h"
#include "vesk/command.h"

namespace vesk {
namespace {

constexpr size_t digest_length = 32;
constexpr const char *md5sum = "/usr/bin/md5sum";

enum header_error {
    ended = 1,
    no_colon = 2,
    bad_version = 3,
    bad_length = 4,
    bad_digest = 5,
    bad_name = 6,
    missing = 7 // plus which were seen
};
enum seen_header { length_seen = 1, version_seen = 2, digest_seen = 4 };
constexpr int all_seen = length_seen | version_seen | digest_seen;

enum unpack_error {
    no_image = 1,
    no_body = 2,
    no_check_file = 3,
    bad_checksum = 4,
    unreadable = 5,
    header_codes = 100 // added to those of the header
};

/** A decimal number and nothing else. */
bool parse_length(const std::string &value, size_t &length)
{
    if (value.empty() || !std::isdigit(static_cast<unsigned char>(value[0]))) return false;
    char *end = nullptr;
    errno = 0;
    const unsigned long number = std::strtoul(value.c_str(), &end, 10);
    length = number;
    return errno == 0 && *end == '\0';
}

/** Takes over one header line. 0, or a header_error after a message. */
int read_header_line(const std::string &name, const std::string &value, image_header &header,
                     int &seen)
{
    if (name == "Version") {
        seen |= version_seen;
        if (value == "1") return 0;
        vesk_debug_eprintf("Bad default Version: %s.\n", value.c_str());
        return bad_version;
    }
    if (name == "Length") {
        seen |= length_seen;
        if (parse_length(value, header.length)) return 0;
        vesk_debug_eprintf("Bad default Length: %s.\n", value.c_str());
        return bad_length;
    }
    if (name == "MD5sum") {
        seen |= digest_seen;
        header.digest = value;
        if (value.size() == digest_length) return 0;
        vesk_debug_eprintf("Bad default Md5sum: %s.\n", value.c_str());
        return bad_digest;
    }
    vesk_debug_eprintf("Bad default header name: %s.\n", name.c_str());
    return bad_name;
}

int end_header(int seen)
{
    if (seen == all_seen) return 0;
    vesk_debug_eprintf("Headers are missing.\n");
    return missing + seen;
}

/** Writes a working file, new. False when it cannot be created or written. */
bool write_afresh(const char *path, std::string_view text)
{
    unique_fd fd = create_afresh(path);
    return fd && write_all(fd.get(), text) == 0 && fd.close();
}

} // namespace

int read_image_header(std::string_view image, image_header &header)
{
    int seen = 0;
    while (header.size < image.size()) {
        const std::string_view rest = image.substr(header.size);
        const std::string_view line = rest.substr(0, rest.find('\n'));
        header.size += std::min(line.size() + 1, rest.size());
        if (line.empty()) return end_header(seen);
        const size_t colon = line.find(": ");
        if (colon == line.npos) {
            vesk_debug_eprintf("Couldn't read header line in default.\n");
            return no_colon;
        }
        const std::string name{line.substr(0, colon)};
        if (const int failed =
                read_header_line(name, std::string{line.substr(colon + 2)}, header, seen))
            return failed;
    }
    vesk_debug_eprintf("Headers ended prematurely in default.\n");
    return ended;
}

int unpack_default(const config_paths &files)
{
    std::string image;
    if (read_file(files.default_image, image) != 0) {
        struct stat unused;
        if (stat(files.default_image, &unused) != 0 && errno == ENOENT) {
            vesk_debug_1printf("Default file %s does not exist.\n", files.default_image);
            return no_image;
        }
        vesk_debug_eprintf("Can't open %s.\n", files.default_image);
        return unreadable;
    }
    image_header header;
    if (const int failed = read_image_header(image, header)) return failed + header_codes;
    unique_fd body = create_afresh(files.body);
    const auto content = std::string_view{image}.substr(header.size, header.length);
    if (!body || write_all(body.get(), content) != 0) {
        vesk_debug_eprintf("Can't open %s.\n", files.body);
        return no_body;
    }
    if (!write_afresh(files.digest_check, header.digest + "  " + files.body + "\n")) {
        vesk_debug_eprintf("Can't open %s.\n", files.digest_check);
        return no_check_file;
    }
    // A body that is shorter than its length says cannot be what was saved, whatever its digest.
    if (vesk_command_execl(md5sum, "-c", files.digest_check, static_cast<char *>(nullptr)) != 0 ||
        content.size() != header.length) {
        vesk_debug_eprintf("%s failed checksum.\n", files.default_image);
        return bad_checksum;
    }
    // What was verified is what is copied: the very file, whatever bears its name by now.
    std::string verified;
    if (lseek(body.get(), 0, SEEK_SET) != 0 ||
        read_up_to(body.get(), header.length, verified) != 0 || verified != content) {
        vesk_debug_eprintf("%s failed checksum.\n", files.default_image);
        return bad_checksum;
    }
    if (const auto failure = replace_file(files.startup, verified))
        vesk_debug_eprintf("vesk_config_cp: Can't open %s\n", files.startup);
    sync();
    return 0;
}

int unpack_default_or_report(const config_paths &files)
{
    const int code = unpack_default(files);
    if (code > no_image) vesk_debug_eprintf("Error %d copying default config.\n", code);
    return code;
}

bool copy_file(const char *from, const char *to)
{
    std::string text;
    if (read_file(from, text) != 0) {
        vesk_debug_eprintf("vesk_config_cp: Can't open %s\n", from);
        return false;
    }
    if (replace_file(to, text)) {
        vesk_debug_eprintf("vesk_config_cp: Can't open %s\n", to);
        return false;
    }
    return true;
}

} // namespace vesk
