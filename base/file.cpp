#include "base/file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>

namespace vesk {
namespace {

constexpr size_t block = size_t{64} * 1024;

/** The file that path leads to: through symbolic links when it exists, else as it is named. */
std::string resolved(const char *path)
{
    char buffer[PATH_MAX];
    return realpath(path, buffer) ? buffer : path;
}

std::string folder_of(const std::string &path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

/** Removes the new file unless it was moved into place. */
struct temporary {
    std::string path;
    bool kept = false;
    ~temporary()
    {
        if (!kept) unlink(path.c_str());
    }
};

/** The new file gets the mode and owner of the old one, as far as that can be had. */
void take_mode(int fd, const std::string &target)
{
    struct stat old;
    if (stat(target.c_str(), &old) != 0) return;
    if (fchown(fd, old.st_uid, old.st_gid) != 0) {
        // Then it belongs to the daemon; the mode still counts.
    }
    fchmod(fd, old.st_mode & 07777);
}

/** A text at hand. */
class text_contents final : public file_contents {
  public:
    explicit text_contents(std::string_view text) : text_{text} {}

    int write(int fd) const override { return write_all(fd, text_); }

    replace_failure verify(const char *path) const override
    {
        std::string written;
        if (const int error = read_file(path, written)) return {"read back", error};
        if (written != text_) return {"check", 0};
        return {};
    }

  private:
    std::string_view text_;
};

replace_failure write_synced(unique_fd &fd, const file_contents &contents)
{
    if (const int error = contents.write(fd.get())) return {"write", error};
    if (fsync(fd.get()) != 0) return {"fsync", errno};
    if (!fd.close()) return {"close", errno};
    return {};
}

replace_failure sync_folder(const std::string &folder)
{
    const unique_fd fd{open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!fd) return {"open folder", errno};
    // Some file systems cannot sync a folder; what could be done is done then.
    if (fsync(fd.get()) != 0 && errno != EINVAL && errno != ENOTSUP) return {"fsync folder", errno};
    return {};
}

replace_failure write_in_place(const std::string &target, const file_contents &contents)
{
    unique_fd fd{open(target.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC)};
    if (!fd) return {"open", errno};
    if (const auto failure = write_synced(fd, contents)) return failure;
    return contents.verify(target.c_str());
}

} // namespace

int read_up_to(int fd, size_t length, std::string &text)
{
    text.clear();
    while (text.size() < length) {
        const size_t had = text.size();
        text.resize(had + std::min(block, length - had));
        ssize_t got;
        do
            got = read(fd, text.data() + had, text.size() - had);
        while (got < 0 && errno == EINTR);
        text.resize(had + static_cast<size_t>(std::max<ssize_t>(got, 0)));
        if (got < 0) {
            const int error = errno;
            text.clear();
            return error;
        }
        if (got == 0) break;
    }
    return 0;
}

int read_file(const char *path, std::string &text)
{
    text.clear();
    const unique_fd fd{open(path, O_RDONLY | O_CLOEXEC)};
    if (!fd) return errno;
    return read_up_to(fd.get(), SSIZE_MAX, text);
}

int write_all(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t done = write(fd, text.data(), text.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) return errno;
        text.remove_prefix(static_cast<size_t>(done));
    }
    return 0;
}

unique_fd create_afresh(const char *path)
{
    unlink(path);
    return unique_fd{open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
}

replace_failure replace_file(const char *path, std::string_view text)
{
    return replace_file(path, text_contents{text});
}

replace_failure replace_file(const char *path, const file_contents &contents)
{
    const std::string target = resolved(path);
    const std::string folder = folder_of(target); // now: behind the rename nothing may be missing
    temporary fresh{target + ".new"};
    unique_fd fd = create_afresh(fresh.path.c_str());
    if (!fd) {
        fresh.kept = true; // it is not ours
        return {"create", errno};
    }
    take_mode(fd.get(), target);
    if (const auto failure = write_synced(fd, contents)) return failure;
    if (const auto failure = contents.verify(fresh.path.c_str())) return failure;
    if (rename(fresh.path.c_str(), target.c_str()) != 0) {
        if (errno != EBUSY && errno != EXDEV) return {"rename", errno};
        const auto failure = write_in_place(target, contents);
        fresh.kept = bool{failure}; // then it is the only whole copy
        return failure;
    }
    fresh.kept = true;
    return sync_folder(folder);
}

} // namespace vesk
