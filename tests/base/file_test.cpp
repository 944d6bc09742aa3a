#include "base/file.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sys/stat.h>

#include <gtest/gtest.h>

// Each step of a durable replacement fails in turn: --wrap leads the system calls through here.

namespace {

/** Which call of which function is to fail, counted from 1; 0: none. */
std::map<std::string, int> failing;
std::map<std::string, int> calls;

bool fails(const char *function)
{
    const int call = ++calls[function];
    const auto found = failing.find(function);
    return found != failing.end() && found->second == call;
}

} // namespace

extern "C" {
ssize_t __real_write(int, const void *, size_t);
int __real_fsync(int);
int __real_rename(const char *, const char *);
int __real_close(int);

ssize_t __wrap_write(int fd, const void *bytes, size_t length)
{
    if (fails("write")) return errno = ENOSPC, -1;
    // Short writes: half of what is asked for.
    return __real_write(fd, bytes, length > 1 ? length / 2 : length);
}
int __wrap_fsync(int fd)
{
    if (fails("fsync")) return errno = EIO, -1;
    return __real_fsync(fd);
}
int __wrap_rename(const char *from, const char *to)
{
    if (fails("rename")) return errno = EACCES, -1;
    return __real_rename(from, to);
}
int __wrap_close(int fd)
{
    const bool failed = fails("close");
    const int result = __real_close(fd);
    return failed ? (errno = EIO, -1) : result;
}
}

namespace {

namespace fs = std::filesystem;

class ReplaceFile : public ::testing::Test {
  protected:
    ReplaceFile()
    {
        char pattern[] = "/tmp/vesk-file-test-XXXXXX";
        folder = mkdtemp(pattern);
        path = folder / "config.xml";
        failing.clear();
        calls.clear();
    }
    ~ReplaceFile() override
    {
        failing.clear();
        fs::remove_all(folder);
    }

    static std::string text_of(const fs::path &file)
    {
        std::string text;
        EXPECT_EQ(vesk::read_file(file.c_str(), text), 0);
        return text;
    }

    void write_old() const { std::ofstream{path} << "old"; }

    fs::path folder;
    fs::path path;
};

TEST_F(ReplaceFile, WritesANewFileForItsOwnerOnly)
{
    EXPECT_FALSE(vesk::replace_file(path.c_str(), "new"));
    EXPECT_EQ(text_of(path), "new");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0600});
}

TEST_F(ReplaceFile, KeepsTheModeOfTheOldFile)
{
    write_old();
    fs::permissions(path, fs::perms{0640});
    EXPECT_FALSE(vesk::replace_file(path.c_str(), "new"));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0640});
}

TEST_F(ReplaceFile, ReplacesWhatASymbolicLinkLeadsTo)
{
    write_old();
    fs::create_symlink(path, folder / "link");
    EXPECT_FALSE(vesk::replace_file((folder / "link").c_str(), "new"));
    EXPECT_EQ(text_of(path), "new");
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
}

TEST_F(ReplaceFile, IsNotFooledByALinkInThePlaceOfTheNewFile)
{
    write_old();
    std::ofstream{folder / "victim"} << "untouched";
    fs::create_symlink(folder / "victim", folder / "config.xml.new");
    EXPECT_FALSE(vesk::replace_file(path.c_str(), "new"));
    EXPECT_EQ(text_of(folder / "victim"), "untouched");
}

TEST_F(ReplaceFile, KeepsTheOldFileWhateverStepFails)
{
    for (const std::string function : {"write", "fsync", "rename", "close"})
        for (int call = 1;; ++call) {
            write_old();
            calls.clear();
            failing = {{function, call}};
            const auto failure = vesk::replace_file(path.c_str(), "brand new");
            const bool was_reached = calls[function] >= call;
            failing.clear();
            if (!was_reached) {
                EXPECT_GT(call, 1) << function << " was never called";
                break;
            }
            const std::string text = text_of(path);
            EXPECT_TRUE(text == "old" || text == "brand new") << function << call << text;
            if (failure && std::string{failure.step} != "fsync folder") {
                EXPECT_EQ(text, "old") << function << call << failure.step;
            }
            EXPECT_FALSE(fs::exists(folder / "config.xml.new")) << function << call;
        }
}

/** Writes "new", and finds that it is something else. */
class refused_contents final : public vesk::file_contents {
  public:
    int write(int fd) const override { return vesk::write_all(fd, "new"); }

    vesk::replace_failure verify(const char *path) const override
    {
        std::string written;
        EXPECT_EQ(vesk::read_file(path, written), 0);
        EXPECT_EQ(written, "new");
        return {"check", 0};
    }
};

TEST_F(ReplaceFile, KeepsTheOldFileWhenTheCheckRefusesTheNewOne)
{
    write_old();
    EXPECT_STREQ(vesk::replace_file(path.c_str(), refused_contents{}).step, "check");
    EXPECT_EQ(text_of(path), "old");
    EXPECT_FALSE(fs::exists(folder / "config.xml.new"));
}

TEST_F(ReplaceFile, ReportsAFolderThatIsMissing)
{
    const auto failure = vesk::replace_file((folder / "none/file").c_str(), "new");
    EXPECT_STREQ(failure.step, "create");
    EXPECT_EQ(failure.error, ENOENT);
}

TEST_F(ReplaceFile, WritesAllOfALargeText)
{
    const std::string large(3'000'001, 'x');
    EXPECT_FALSE(vesk::replace_file(path.c_str(), large));
    EXPECT_EQ(text_of(path), large);
}

TEST_F(ReplaceFile, ReadGivesTheErrorOfAMissingFile)
{
    std::string text = "rest";
    EXPECT_EQ(vesk::read_file(path.c_str(), text), ENOENT);
    EXPECT_EQ(text, "");
}

} // namespace
