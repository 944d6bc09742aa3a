#include "vesk/util.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/log.h"
#include "tests/support/owned.h"

namespace {

namespace fs = std::filesystem;

/** A directory of the test's own, and the log. */
class system_test : public ::testing::Test {
  protected:
    system_test()
    {
        char path[] = "/tmp/veskXXXXXX";
        root_ = mkdtemp(path);
    }
    ~system_test() override { fs::remove_all(root_); }

    std::string path(const std::string &name) const { return root_ + "/" + name; }

    std::string write(const std::string &name, const std::string &text) const
    {
        fs::create_directories(fs::path{path(name)}.parent_path());
        std::ofstream{path(name)} << text;
        return path(name);
    }

    std::string logged() { return log_.take(); }

    std::string root_;
    vesk::test::log_capture log_;
};

using UtilMkdir = system_test;
using UtilUrlDecode = system_test;
using UtilFindpid = system_test;

// ---- mkdir --------------------------------------------------------------------------------------

TEST_F(UtilMkdir, MakesADirectoryForEverybodyButForTheMask)
{
    const mode_t mask = umask(027);
    EXPECT_EQ(vesk_util_mkdir(path("a").c_str()), 0);
    umask(0);
    EXPECT_EQ(vesk_util_mkdir(path("b").c_str()), 0);
    umask(mask);
    struct stat status = {};
    ASSERT_EQ(stat(path("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFDIR | 0750});
    ASSERT_EQ(stat(path("b").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFDIR | 0777});
}

TEST_F(UtilMkdir, GivesTheResultOfTheSystemCall)
{
    EXPECT_EQ(vesk_util_mkdir(path("").c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(vesk_util_mkdir(path("not/there").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(UtilMkdir, ToleratesNull)
{
    EXPECT_ANSWER(vesk_util_mkdir(nullptr) != 0, 1);
}

// ---- url_decode ---------------------------------------------------------------------------------

/** Decodes in a block of exactly the size of the text; also tests where the result ends. */
std::string decoded(const std::string &text)
{
    const std::unique_ptr<char[]> block{new char[text.size() + 1]};
    std::copy_n(text.c_str(), text.size() + 1, block.get());
    const char *end = vesk_util_url_decode(block.get());
    EXPECT_EQ(end, block.get() + std::strlen(block.get())) << text;
    return block.get();
}

TEST_F(UtilUrlDecode, ReplacesHexadecimalNumbers)
{
    EXPECT_EQ(decoded("a%20b"), "a b");
    EXPECT_EQ(decoded("%41%6a%6A%ff%FE"), "Ajj\xff\xfe");
    EXPECT_EQ(decoded("%01"), "\x01");
}

TEST_F(UtilUrlDecode, LeavesWhatIsNoNumberOrZero)
{
    for (const char *text : {"%zz", "%00", "100%", "%", "%%", "%%%", "%g1", "a%", "%0", "%x1"})
        EXPECT_EQ(decoded(text), text);
}

TEST_F(UtilUrlDecode, LeavesPlusAndPlainText)
{
    EXPECT_EQ(decoded(""), "");
    EXPECT_EQ(decoded("a+b&c=d"), "a+b&c=d");
}

TEST_F(UtilUrlDecode, NeedsTwoCharacters)
{
    EXPECT_EQ(decoded("%4"), "%4");
    EXPECT_EQ(decoded("a%41%4"), "aA%4");
}

TEST_F(UtilUrlDecode, TakesWhatBeginsANumberAsItsValue)
{
    EXPECT_EQ(decoded("%4g"), "\x04");
    EXPECT_EQ(decoded("% 5"), "\x05");
    EXPECT_EQ(decoded("%0g"), "%0g");
}

TEST_F(UtilUrlDecode, DecodesOnce)
{
    EXPECT_EQ(decoded("%2541"), "%41");
    EXPECT_EQ(decoded("%%341"), "%41");
    EXPECT_EQ(decoded("%zz%20"), "%zz ");
}

TEST_F(UtilUrlDecode, ToleratesNull)
{
    EXPECT_NO_CRASH(vesk_util_url_decode(nullptr));
}

// ---- findpid ------------------------------------------------------------------------------------

/** A process that waits, under a name of its own. */
class named_process {
  public:
    explicit named_process(const char *name)
    {
        int pipe_ends[2];
        EXPECT_EQ(pipe(pipe_ends), 0);
        pid = fork();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            prctl(PR_SET_NAME, name);
            close(pipe_ends[0]);
            close(pipe_ends[1]); // tells that the name is set
            for (;;)
                pause();
        }
        char byte;
        close(pipe_ends[1]);
        while (::read(pipe_ends[0], &byte, 1) < 0 && errno == EINTR) {
        }
        close(pipe_ends[0]);
    }
    ~named_process()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    named_process(const named_process &) = delete;
    named_process &operator=(const named_process &) = delete;

    pid_t pid;
};

std::string unique_name(const char *kind)
{
    return kind + std::to_string(getpid());
}

TEST_F(UtilFindpid, FindsAProcessByItsName)
{
    const std::string name = unique_name("vk1");
    const named_process process{name.c_str()};
    EXPECT_EQ(vesk_util_findpid(name.c_str()), process.pid);
}

TEST_F(UtilFindpid, FindsAPartOfTheLineOutsideTheName)
{
    const named_process process{"vk (2"};
    const std::string beginning = std::to_string(process.pid) + " (vk (2) ";
    EXPECT_EQ(vesk_util_findpid(beginning.c_str()), process.pid);
    EXPECT_EQ(vesk_util_findpid(beginning.substr(1).c_str()), process.pid);
}

TEST_F(UtilFindpid, GivesTheFirstOfSeveral)
{
    const std::string name = unique_name("vk3");
    const named_process first{name.c_str()};
    const named_process second{name.c_str()};
    EXPECT_EQ(vesk_util_findpid(name.c_str()), std::min(first.pid, second.pid));
}

TEST_F(UtilFindpid, GivesMinusOneForNone)
{
    EXPECT_EQ(vesk_util_findpid("no process has such a name"), -1);
    std::string gone = unique_name("vk4");
    {
        const named_process process{gone.c_str()};
    }
    EXPECT_EQ(vesk_util_findpid(gone.c_str()), -1);
    EXPECT_EQ(logged(), "");
}

TEST_F(UtilFindpid, ToleratesNull)
{
    EXPECT_EQ(vesk_util_findpid(nullptr), -1);
}

// ---- dir_walk -----------------------------------------------------------------------------------

/** What a walk called back with: pairs of path below the test's directory and prefix. */
using meetings = std::vector<std::pair<std::string, std::string>>;

class walk_test : public system_test {
  protected:
    struct visit {
        walk_test *self;
        meetings met;
        std::vector<std::pair<long, int>> rooms;
        char *begin;
    };

    static void meet(char *out, int size, const char *path, const char *prefix, void *data)
    {
        auto &visited = *static_cast<visit *>(data);
        visited.met.emplace_back(std::string{path}.substr(visited.self->root_.size() + 1), prefix);
        visited.rooms.emplace_back(out - visited.begin, size);
    }

    /** In the order of their paths: a directory has none. */
    meetings walk(const std::string &pattern, const char *prefix = "")
    {
        char out[64] = "";
        visited_ = {this, {}, {}, out};
        vesk_util_dir_walk(pattern.c_str(), out, sizeof out, prefix, meet, &visited_);
        std::sort(visited_.met.begin(), visited_.met.end());
        return visited_.met;
    }

    visit visited_ = {};
};

using UtilDirWalk = walk_test;

TEST_F(UtilDirWalk, APlainPathIsThatFile)
{
    write("a", "");
    EXPECT_EQ(walk(path("a")), (meetings{{"a", ""}}));
    EXPECT_EQ(walk(path("a"), "x y "), (meetings{{"a", "x y "}}));
}

TEST_F(UtilDirWalk, NoRegularFileIsNothing)
{
    fs::create_directory(path("d"));
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(walk(path("d")), meetings{});
    EXPECT_EQ(walk(path("fifo")), meetings{});
    EXPECT_EQ(walk(path("nothing")), meetings{});
    EXPECT_EQ(walk(""), meetings{});
    EXPECT_EQ(logged(), "");
}

TEST_F(UtilDirWalk, FollowsLinks)
{
    write("real/stats", "");
    fs::create_directory_symlink(path("real"), path("link"));
    EXPECT_EQ(walk(path("*/stats")), (meetings{{"link/stats", "link "}, {"real/stats", "real "}}));
}

TEST_F(UtilDirWalk, TakesFilesOfAnyDate)
{
    constexpr timespec year_2096{4'000'000'000, 0}; // more than 32 bits can say
    constexpr timespec times[] = {year_2096, year_2096};
    const std::string file = write("file", "");
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    EXPECT_EQ(walk(file), (meetings{{"file", ""}}));
}

TEST_F(UtilDirWalk, AStarIsEachEntry)
{
    for (const char *name : {"n/eth0/stats", "n/eth1/stats", "n/eth1/other", "n/file"})
        write(name, "");
    fs::create_directory(path("n/empty"));
    EXPECT_EQ(walk(path("n/*/stats")),
              (meetings{{"n/eth0/stats", "eth0 "}, {"n/eth1/stats", "eth1 "}}));
    EXPECT_EQ(walk(path("n/*/stats"), "first "),
              (meetings{{"n/eth0/stats", "first eth0 "}, {"n/eth1/stats", "first eth1 "}}));
    EXPECT_EQ(walk(path("n/*")), (meetings{{"n/file", "file "}}));
}

TEST_F(UtilDirWalk, SeveralStarsGatherInThePrefix)
{
    for (const char *name : {"n/a/x/s", "n/a/y/s", "n/b/x/s", "n/b/x/t"})
        write(name, "");
    EXPECT_EQ(walk(path("n/*/*/s")),
              (meetings{{"n/a/x/s", "a x "}, {"n/a/y/s", "a y "}, {"n/b/x/s", "b x "}}));
    EXPECT_EQ(walk(path("*/b/*/*")), (meetings{{"n/b/x/s", "n x s "}, {"n/b/x/t", "n x t "}}));
}

TEST_F(UtilDirWalk, SkipsHiddenEntries)
{
    for (const char *name : {"n/.a/s", "n/..b/s", "n/c/s"})
        write(name, "");
    EXPECT_EQ(walk(path("n/*/s")), (meetings{{"n/c/s", "c "}}));
}

TEST_F(UtilDirWalk, AStarBehindAWordBelongsToADirectoryOfThatName)
{
    for (const char *name : {"eth0/s", "eth1/s"})
        write(name, "");
    EXPECT_EQ(walk(path("eth*/s")), meetings{});
    EXPECT_EQ(walk(path("nothing/*/s")), meetings{});
    EXPECT_EQ(logged(), "");
}

TEST_F(UtilDirWalk, AnEntryThatIsAStarComesToAnEnd)
{
    write("n/*", "");
    write("n/a", "");
    const meetings met = walk(path("n/*"));
    EXPECT_GE(std::count_if(met.begin(), met.end(), [](auto &m) { return m.first == "n/a"; }), 1);
}

TEST_F(UtilDirWalk, PassesOverPathsThatAreTooLong)
{
    const std::string fits(79 - path("n/").size(), 'a');
    write("n/" + fits, "");
    write("n/" + fits + "b", "");
    write("n/" + fits + "bc", "");
    EXPECT_EQ(walk(path("n/*")), (meetings{{"n/" + fits, fits + " "}}));
}

TEST_F(UtilDirWalk, PassesOverPrefixesThatAreTooLong)
{
    write("n/wlan0", "");
    write("n/wlan0.100", "");
    const std::string prefix(73, 'p');
    EXPECT_EQ(walk(path("n/*"), prefix.c_str()), (meetings{{"n/wlan0", prefix + "wlan0 "}}));
    const std::string longer(74, 'p');
    EXPECT_EQ(walk(path("n/*"), longer.c_str()), meetings{});
}

TEST_F(UtilDirWalk, AppendsBehindWhatIsThere)
{
    char out[16] = "start";
    const std::string file = write("a", "");
    visited_ = {this, {}, {}, out};
    vesk_util_dir_walk(file.c_str(), out, sizeof out, "", meet, &visited_);
    EXPECT_EQ(visited_.rooms, (std::vector<std::pair<long, int>>{{5, 11}}));
}

TEST_F(UtilDirWalk, GivesEachFileTheRoomThatTheOthersLeft)
{
    for (const char *name : {"n/a", "n/b", "n/c"})
        write(name, "");
    char out[32] = "";
    static char *begin;
    static std::vector<std::pair<long, int>> rooms;
    begin = out;
    rooms.clear();
    vesk_util_dir_walk(
        path("n/*").c_str(), out, sizeof out, "",
        [](char *to, int size, const char *, const char *prefix, void *) {
            rooms.emplace_back(to - begin, size);
            std::snprintf(to, static_cast<size_t>(size), "<%s>\n", prefix);
        },
        nullptr);
    EXPECT_EQ(rooms, (std::vector<std::pair<long, int>>{{0, 32}, {5, 27}, {10, 22}}));
    EXPECT_EQ(std::strlen(out), 15u);
}

TEST_F(UtilDirWalk, NeverLooksBeyondABufferThatAFileFilled)
{
    for (const char *name : {"n/a", "n/b", "n/c"})
        write(name, "");
    const auto fill_all = [](char *to, int room, const char *, const char *, void *) {
        if (room > 0) std::memset(to, 'x', static_cast<size_t>(room));
    };
    const auto walk_with_room_for = [&](int size) {
        const std::unique_ptr<char[]> out{new char[static_cast<size_t>(size)]};
        if (size > 0) out[0] = '\0';
        vesk_util_dir_walk(path("n/*").c_str(), out.get(), size, "", fill_all, nullptr);
    };
    for (const int size : {0, 1, 2, 8})
        EXPECT_NO_CRASH(walk_with_room_for(size));
}

TEST_F(UtilDirWalk, ToleratesNulls)
{
    write("a", "");
    char out[8] = "";
    EXPECT_NO_CRASH(vesk_util_dir_walk(nullptr, out, sizeof out, "", meet, nullptr));
    EXPECT_NO_CRASH(vesk_util_dir_walk(path("a").c_str(), nullptr, 8, "",
                                       vesk_util_add_line_from_proc, nullptr));
    EXPECT_NO_CRASH(vesk_util_dir_walk(path("a").c_str(), out, sizeof out, "", nullptr, nullptr));
    EXPECT_NO_CRASH(vesk_util_dir_walk(path("*").c_str(), out, sizeof out, nullptr,
                                       vesk_util_add_line_from_proc, nullptr));
}

// ---- add_line_from_proc -------------------------------------------------------------------------

class line_test : public system_test {
  protected:
    /** What is appended to "before" for a file with that text. */
    std::string line(const std::string &file, const char *prefix, std::vector<const char *> names,
                     const std::string &before = "")
    {
        return line_of(write("file", file), prefix, std::move(names), before);
    }

    static std::string line_of(const std::string &file, const char *prefix,
                               std::vector<const char *> names, const std::string &before = "")
    {
        char out[4096];
        std::memcpy(out, before.c_str(), before.size() + 1);
        names.push_back(nullptr);
        vesk_util_add_line_from_proc(out + before.size(),
                                     static_cast<int>(sizeof out - before.size()), file.c_str(),
                                     prefix, names.data());
        return out;
    }
};

using UtilAddLineFromProc = line_test;

TEST_F(UtilAddLineFromProc, GivesTheValuesInTheOrderOfTheNames)
{
    EXPECT_EQ(line("b=2\na=1\nc=3\n", "eth0 ", {"a", "b", "c"}), "eth0 1 2 3\n");
    EXPECT_EQ(line("b=2\na=1\nc=3\n", "eth0 ", {"c", "a"}), "eth0 3 1\n");
}

TEST_F(UtilAddLineFromProc, TakesThePrefixAsItIs)
{
    EXPECT_EQ(line("a=1\n", "eth0 x ", {"a"}), "eth0 x 1\n");
    EXPECT_EQ(line("a=1\n", "", {"a"}), "1\n");
    EXPECT_EQ(line("a=1\n", nullptr, {"a"}), "1\n");
}

TEST_F(UtilAddLineFromProc, LeavesAColumnEmptyForAMissingKey)
{
    EXPECT_EQ(line("b=2\n", "x ", {"a", "b", "c"}), "x  2 \n");
    EXPECT_EQ(line("", "x ", {"a", "b"}), "x  \n");
    EXPECT_EQ(line("a=\nb=2\n", "x ", {"a", "b"}), "x  2\n");
}

TEST_F(UtilAddLineFromProc, EndsALineWithoutNames)
{
    EXPECT_EQ(line("a=1\n", "x ", {}), "x\n");
}

TEST_F(UtilAddLineFromProc, QuotesAValueWithSpaces)
{
    EXPECT_EQ(line("a=one two\nb=2\n", "x ", {"a", "b"}), "x \"one two\" 2\n");
    EXPECT_EQ(line("a= \n", "x ", {"a"}), "x \" \"\n");
}

TEST_F(UtilAddLineFromProc, LeavesAValueThatIsQuotedAlready)
{
    EXPECT_EQ(line("a=\"one two\"\nb=\"three\"\n", "x ", {"a", "b"}), "x \"one two\" \"three\"\n");
}

TEST_F(UtilAddLineFromProc, SkipsLinesWithoutEqualsSignAndUnknownKeys)
{
    EXPECT_EQ(line("a\nb 2\n=3\nd=4\n\na=1\n", "x ", {"a", "b"}), "x 1 \n");
}

TEST_F(UtilAddLineFromProc, SplitsALineAtItsFirstEqualsSign)
{
    EXPECT_EQ(line("a=b=c\n", "x ", {"a", "b"}), "x b=c \n");
}

TEST_F(UtilAddLineFromProc, TakesTheLastLineWithoutItsEnd)
{
    EXPECT_EQ(line("a=1\nb=2", "x ", {"a", "b"}), "x 1 2\n");
}

TEST_F(UtilAddLineFromProc, IgnoresAHashBeforeNamesAndKeys)
{
    EXPECT_EQ(line("a=1\n#b=2\n*c=3\n", "x ", {"#a", "b", "c"}), "x 1 2 3\n");
    EXPECT_EQ(line("a=1\n", "x ", {"*a"}), "x \n");
}

TEST_F(UtilAddLineFromProc, IgnoresNamesFromTheSixtyThirdOn)
{
    std::vector<std::string> texts;
    std::string file;
    for (int i = 0; i < 70; i++) {
        texts.push_back("k" + std::to_string(i));
        file += texts.back() + "=" + std::to_string(i) + "\n";
    }
    std::vector<const char *> names;
    for (const std::string &text : texts)
        names.push_back(text.c_str());
    std::string expected = "x ";
    for (int i = 0; i < 70; i++)
        expected += (i < 62 ? std::to_string(i) : "") + (i < 69 ? " " : "\n");
    EXPECT_EQ(line(file, "x ", names), expected);
}

TEST_F(UtilAddLineFromProc, ReadsTheFirst2048Bytes)
{
    std::string file = "a=1\n";
    file.resize(2040, '.');
    EXPECT_EQ(line(file + "\nb=2\n\n\nc=3\n", "x ", {"a", "b", "c"}), "x 1 2 \n");
    file = std::string(2048, '=') + "\na=1\n";
    EXPECT_EQ(line(file, "x ", {"a"}), "x \n");
}

TEST_F(UtilAddLineFromProc, AppendsToWhatIsThere)
{
    EXPECT_EQ(line("a=1\n", "y ", {"a"}, "x 0\n"), "x 0\ny 1\n");
}

TEST_F(UtilAddLineFromProc, ReportsAFileThatCannotBeOpened)
{
    vesk::test::set_level(0);
    EXPECT_EQ(line_of(path("nothing"), "x ", {"a"}, "before\n"), "before\n");
    EXPECT_EQ(logged(), "vesk: Can't open " + path("nothing") + ".\n");
}

TEST_F(UtilAddLineFromProc, EndsItsLineWhateverTheFileHolds)
{
    const std::string text = line(std::string{"a=1\0b=2\n", 8}, "x ", {"a"});
    EXPECT_EQ(text.substr(0, 3), "x 1");
    EXPECT_EQ(text.back(), '\n') << "the line of the next file would continue this one";
}

TEST_F(UtilAddLineFromProc, NeverWritesBeyondItsRoomAndNeverCutsAValue)
{
    const std::string file = write("file", "a=aaaa\nb=bbbb\n");
    const std::vector<std::string> whole{"", "x\n", "x \n", "x aaaa\n", "x aaaa bbbb\n"};
    std::vector<const char *> names{"a", "b", nullptr};
    for (const int size : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 20, 40}) {
        const std::unique_ptr<char[]> out{new char[static_cast<size_t>(size)]};
        if (size > 0) out[0] = '\0';
        vesk_util_add_line_from_proc(out.get(), size, file.c_str(), "x ", names.data());
        if (size == 0) continue;
        const void *end = std::memchr(out.get(), '\0', static_cast<size_t>(size));
        ASSERT_TRUE(end) << "unterminated with room for " << size;
        EXPECT_NE(std::find(whole.begin(), whole.end(), out.get()), whole.end())
            << size << ": " << out.get();
        if (size >= 20) {
            EXPECT_EQ(std::string{out.get()}, whole.back());
        }
    }
}

TEST_F(UtilAddLineFromProc, WritesNothingWithoutRoom)
{
    const std::string file = write("file", "a=1\n");
    std::vector<const char *> names{"a", nullptr};
    for (const int size : {0, -1, -100}) {
        char out[3] = {'x', 'y', 'z'};
        vesk_util_add_line_from_proc(out + 1, size, file.c_str(), "p ", names.data());
        EXPECT_EQ((std::string{out, 3}), "xyz") << size;
    }
}

TEST_F(UtilAddLineFromProc, ReadsTheBeginningOfAFileOfAnySize)
{
    const std::string file = write("file", "a=1\n");
    fs::resize_file(file, 5'000'000'000U); // more than 32 bits can say; it takes no room
    char out[20] = "";
    const char *names[] = {"a", nullptr};
    vesk_util_add_line_from_proc(out, sizeof out, file.c_str(), "", names);
    EXPECT_STREQ(out, "1\n");
}

TEST_F(UtilAddLineFromProc, TouchesNothingBeforeItsRoom)
{
    const std::string file = write("file", "a=1\n");
    std::vector<const char *> none{nullptr}, one{"a", nullptr};
    for (int size = 1; size <= 8; size++) {
        for (const char *prefix : {"", "a prefix longer than all the room there is "}) {
            for (std::vector<const char *> *names : {&none, &one}) {
                std::string out(20, '#');
                out[6] = '\0';
                vesk_util_add_line_from_proc(out.data() + 6, size, file.c_str(), prefix,
                                             names->data());
                EXPECT_EQ(out.substr(0, 6), "######") << size << prefix;
                EXPECT_EQ(out.substr(static_cast<size_t>(6 + size)),
                          std::string(static_cast<size_t>(14 - size), '#'))
                    << size << prefix;
            }
        }
    }
}

TEST_F(UtilAddLineFromProc, ServesAWalkThatRunsOutOfRoom)
{
    for (const char *name : {"n/a/s", "n/b/s", "n/c/s", "n/d/s"})
        write(name, "k=some text\n");
    std::vector<const char *> names{"k", nullptr};
    for (int size = 1; size <= 80; size++) {
        const std::unique_ptr<char[]> out{new char[static_cast<size_t>(size)]};
        out[0] = '\0';
        vesk_util_dir_walk(path("n/*/s").c_str(), out.get(), size, "", vesk_util_add_line_from_proc,
                           names.data());
        ASSERT_TRUE(std::memchr(out.get(), '\0', static_cast<size_t>(size))) << size;
        if (size == 80) {
            EXPECT_EQ(std::strlen(out.get()), 4 * std::strlen("a \"some text\"\n"));
        }
    }
}

TEST_F(UtilAddLineFromProc, ToleratesNulls)
{
    const std::string file = write("file", "a=1\n");
    char out[16] = "";
    std::vector<const char *> names{"a", nullptr};
    EXPECT_NO_CRASH(vesk_util_add_line_from_proc(nullptr, 16, file.c_str(), "", names.data()));
    EXPECT_NO_CRASH(vesk_util_add_line_from_proc(out, 16, nullptr, "", names.data()));
    EXPECT_NO_CRASH(vesk_util_add_line_from_proc(out, 16, file.c_str(), "", nullptr));
}

} // namespace
