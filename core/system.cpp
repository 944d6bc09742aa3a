#include "vesk/util.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

#include "base/file.h"
#include "base/or_on_oom.h"
#include "core/log.h"
#include "core/table_names.h"

namespace {

using std::string;
using std::string_view;

constexpr size_t longest_stat_line = 254;
constexpr size_t longest_path = 79;
constexpr size_t longest_proc_file = 2048;
constexpr int most_columns = 62;

struct close_folder {
    void operator()(DIR *folder) const { closedir(folder); }
};

/** Calls visit(name) for the entries of a folder until it gives true; then true. */
template <typename Visit> bool find_entry(const char *folder, Visit &&visit)
{
    const std::unique_ptr<DIR, close_folder> entries{opendir(folder)};
    if (!entries) return false;
    while (const dirent *entry = readdir(entries.get()))
        if (visit(entry->d_name)) return true;
    return false;
}

/** Up to so many bytes of a file; empty when it cannot be read. */
string beginning_of(const string &path, size_t length)
{
    string text;
    const vesk::unique_fd fd{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (fd) vesk::read_up_to(fd.get(), length, text);
    return text;
}

bool is_regular_file(const char *path)
{
    struct stat found;
    return stat(path, &found) == 0 && S_ISREG(found.st_mode);
}

/** The value of each name in a file of key=value lines, quoted where it holds a space. */
std::vector<string> columns_of(string_view text, const char *const *names)
{
    std::vector<string> columns(vesk::count_names(names));
    while (!text.empty()) {
        const string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const size_t equals = line.find('=');
        if (equals == line.npos) continue;
        const int index = vesk::find_name(names, string{line.substr(0, equals)}.c_str());
        if (index < 0 || index >= most_columns) continue;
        string value{line.substr(equals + 1)};
        if (value.find(' ') != value.npos && value[0] != '"')
            value.insert(0, 1, '"').append(1, '"');
        columns[static_cast<size_t>(index)] = value;
    }
    return columns;
}

/** Appends a line to out, which has room for size bytes; columns that do not fit are left out. */
void append_line(char *out, int size, string_view prefix, const std::vector<string> &columns)
{
    if (size < 2) return;
    auto room = static_cast<size_t>(size) - 2;
    string line;
    const auto append = [&](string_view text) {
        if (room <= text.size()) return false;
        line += text;
        room -= text.size() + 1;
        return true;
    };
    if (prefix.empty() || append(prefix))
        for (const string &column : columns) {
            if (!append(column)) break;
            line += ' ';
        }
    if (line.empty()) return;
    if (line.back() == ' ') line.pop_back();
    line += '\n';
    std::memcpy(out, line.c_str(), line.size() + 1);
}

void walk(const string &pattern, char *out, int size, const string &prefix,
          vesk_util_dir_walk_fn callback, void *data)
{
    const size_t star = pattern.find('*');
    if (star == pattern.npos) {
        if (!is_regular_file(pattern.c_str())) return;
        const auto room = static_cast<size_t>(std::max(size, 0));
        const auto used = static_cast<int>(strnlen(out, room));
        if (used >= size) return; // a callback left no end behind: there is no room either
        callback(out + used, size - used, pattern.c_str(), prefix.c_str(), data);
        return;
    }
    const string folder = pattern.substr(0, star);
    find_entry(folder.c_str(), [&](const char *entry) {
        // An entry with a "*" in its name would be walked again and again.
        if (entry[0] == '.' || std::strchr(entry, '*')) return false;
        const string path = folder + entry + pattern.substr(star + 1);
        const string longer = prefix + entry + " ";
        if (path.size() <= longest_path && longer.size() <= longest_path)
            walk(path, out, size, longer, callback, data);
        return false;
    });
}

} // namespace

int vesk_util_mkdir(const char *path)
{
    if (!path) return -1;
    return mkdir(path, 0777);
}

char *vesk_util_url_decode(char *text)
{
    if (!text) return nullptr;
    char *to = text;
    for (const char *from = text; *from; ++from) {
        char digits[3] = "";
        if (*from == '%' && from[1] && from[2]) std::memcpy(digits, from + 1, 2);
        const long byte = std::strtol(digits, nullptr, 16);
        const bool is_encoded = byte != 0;
        *to++ = is_encoded ? static_cast<char>(byte) : *from;
        if (is_encoded) from += 2;
    }
    *to = '\0';
    return to;
}

int vesk_util_findpid(const char *name)
{
    if (!name) return -1;
    return vesk::or_on_oom(-1, [&] {
        int pid = -1;
        find_entry("/proc", [&](const char *entry) {
            const auto number = static_cast<int>(std::strtol(entry, nullptr, 10));
            if (number == 0) return false;
            const string stat = beginning_of(string{"/proc/"} + entry + "/stat", longest_stat_line);
            if (stat.substr(0, stat.find('\n')).find(name) == stat.npos) return false;
            pid = number;
            return true;
        });
        return pid;
    });
}

void vesk_util_dir_walk(const char *pattern, char *out, int size, const char *prefix,
                        vesk_util_dir_walk_fn callback, void *data)
{
    if (!pattern || !out || !callback || std::strlen(pattern) > longest_path) return;
    vesk::or_on_oom(0, [&] {
        walk(pattern, out, size, prefix ? prefix : "", callback, data);
        return 0;
    });
}

void vesk_util_add_line_from_proc(char *out, int size, const char *path, const char *prefix,
                                  void *names)
{
    if (!out || !path || !names) return;
    vesk::or_on_oom(0, [&] {
        const vesk::unique_fd fd{open(path, O_RDONLY | O_CLOEXEC)};
        if (!fd) return vesk::error("Can't open %s.\n", path);
        string text;
        vesk::read_up_to(fd.get(), longest_proc_file, text);
        text.resize(std::min(text.find('\0'), text.size())); // a table is text
        append_line(out, size, prefix ? prefix : "",
                    columns_of(text, static_cast<const char *const *>(names)));
        return 0;
    });
}
