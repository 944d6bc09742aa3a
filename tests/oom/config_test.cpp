#include "vesk/config.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "config/image.h"
#include "config/paths.h"
#include "config/running.h"
#include "config/save.h"
#include "tests/oom/device.h"
#include "vesk/command.h"
#include "vesk/commit_info.h"

// The store: a file is the old one or the new one, running is the old or the new configuration.

namespace vesk::test {
namespace {

std::string content(const std::string &path)
{
    std::ifstream file{path};
    std::stringstream text;
    text << file.rdbuf();
    return file ? text.str() : "missing";
}

void put(const std::string &path, const std::string &text)
{
    std::ofstream{path} << text;
}

std::string committed;

void remember(vesk_commit_info *info)
{
    const plenty enough;
    committed = instances_of(*vesk_commit_info_get_after(info));
}

class OomConfig : public device {
  protected:
    OomConfig()
    {
        folder_ = mkdtemp(folder_template_);
        files_before_ = paths();
        config_paths &files = paths();
        files.startup = startup.assign(folder_ + "/config.xml").c_str();
        files.startup_bad = startup_bad.assign(folder_ + "/config.xml.bad").c_str();
        files.rescue = rescue.assign(folder_ + "/rescue.xml").c_str();
        files.body = body.assign(folder_ + "/body.xml").c_str();
        files.generated_digest = digest.assign(folder_ + "/md5.gen").c_str();
        files.digest_check = check.assign(folder_ + "/body.xml.md5").c_str();
        image = folder_ + "/default.xml";
        std::snprintf(files.default_image, sizeof files.default_image, "%s", image.c_str());
        provider_.reset(vesk_provider_new("remembering"));
        vesk_provider_set_commit_fn(provider_.get(), remember, nullptr);
        vesk_providers_add(provider_.get());
        vesk_providers_done_adding();
        vesk_process_no_actions = 1;
    }

    ~OomConfig() override
    {
        vesk_process_no_actions = 0;
        vesk_instances_delete_all(exchange_running(nullptr));
        committed = {};
        paths() = files_before_;
        remove_files();
        rmdir(folder_.c_str());
    }

    void remove_files()
    {
        DIR *folder = opendir(folder_.c_str());
        while (const dirent *entry = readdir(folder))
            unlink((folder_ + "/" + entry->d_name).c_str());
        closedir(folder);
    }

    /** The names of what lies in the folder; a temporary file must not stay. */
    std::string listing() const
    {
        std::set<std::string> names;
        DIR *folder = opendir(folder_.c_str());
        while (const dirent *entry = readdir(folder))
            if (entry->d_name[0] != '.') names.insert(entry->d_name);
        closedir(folder);
        std::string text;
        for (const std::string &name : names)
            text += name + " ";
        return text;
    }

    /** Running for one attempt, and the files as they are to be before it. */
    struct store {
        struct ending {
            ~ending()
            {
                vesk_instances_delete_all(exchange_running(nullptr));
                committed = {};
                committed.shrink_to_fit();
            }
        };
        std::unique_ptr<ending> at_end = std::make_unique<ending>();
        std::string before;
    };

    store start()
    {
        remove_files();
        put(startup, old_file);
        put(rescue, rescue_file);
        exchange_running(configuration().release());
        store s;
        s.before = instances_of(*vesk_config_get_running());
        committed = s.before;
        return s;
    }

    /** The default image; md5sum is really run on it. */
    std::string image_of_running()
    {
        vesk_process_no_actions = 0;
        set_level(0); // then md5sum is silent
        const store s = start();
        EXPECT_EQ(vesk_config_copy_running_to_default(), 0);
        default_file = content(body);
        return content(image);
    }

    std::string default_file;

    const std::string old_file = "<?xml version=\"1.0\"?>\n<config/>\n";
    const std::string rescue_file =
        "<?xml version=\"1.0\"?>\n<config>\n  <user>\n    <login>rescue</login>\n  </user>\n"
        "</config>\n";
    std::string startup, startup_bad, rescue, body, digest, check, image;
    std::unique_ptr<vesk_provider> provider_;

  private:
    char folder_template_[32] = "/tmp/vesk-oom-XXXXXX";
    std::string folder_;
    config_paths files_before_;
};

TEST_F(OomConfig, CopyRunningToStartup)
{
    std::string saved;
    {
        const store s = start();
        vesk_config_copy_running_to_startup();
        saved = content(startup);
    }
    for_each_failure([&] { return start(); },
                     [](store &) { return vesk_config_copy_running_to_startup(); },
                     [&](store &, int result) {
                         EXPECT_EQ(result, 0);
                         const std::string now = content(startup);
                         EXPECT_TRUE(now == saved || now == old_file) << now;
                         EXPECT_EQ(listing(), "config.xml rescue.xml ");
                     });
}

/** What is saved of values that no document can hold is reported once, and as whole as any other.
 */
TEST_F(OomConfig, SaveConfig)
{
    const auto all = configuration();
    vesk_instance_set_value(vesk_instances_get(all.get(), "radio", "wlan0"), "ssid", "\x01 \xFF");
    const std::string whole = config_text(*all);
    for_each_failure([&] { return start(); },
                     [&](store &) { return save_config(startup.c_str(), *all); },
                     [&](store &, bool saved) {
                         EXPECT_EQ(content(startup), saved ? whole : old_file);
                         EXPECT_EQ(listing(), "config.xml rescue.xml ");
                     });
}

TEST_F(OomConfig, CopyStartupToRunning)
{
    std::string file, loaded;
    {
        const store s = start();
        vesk_config_copy_running_to_startup();
        file = content(startup);
        exchange_running(vesk_instances_new());
        ASSERT_EQ(vesk_config_copy_startup_to_running(), 0);
        loaded = instances_of(*vesk_config_get_running());
    }
    for_each_failure(
        [&] {
            store s = start();
            put(startup, file);
            return s;
        },
        [](store &) { return vesk_config_copy_startup_to_running(); },
        [&](store &s, int result) {
            const std::string now = instances_of(*vesk_config_get_running());
            // A file that cannot be read in three attempts is replaced, but kept beside.
            const bool kept = content(startup) == file || content(startup_bad) == file;
            EXPECT_TRUE(kept) << "the configuration of the device is gone";
            if (result == 1) {
                EXPECT_EQ(now, s.before);
            } else if (content(startup) == file) {
                EXPECT_EQ(now, loaded) << "loaded, but not all of it";
            }
            EXPECT_EQ(now, committed) << "providers do not know";
            EXPECT_EQ(vesk_config_get_running()->hook.listener, nullptr);
        });
}

/** A file is replaced by the default only when it cannot be read, not for a moment without memory.
 */
TEST_F(OomConfig, CopyStartupToRunningKeepsTheFileWhenMemoryIsShortOnce)
{
    std::string file;
    {
        const store s = start();
        vesk_config_copy_running_to_startup();
        file = content(startup);
    }
    for (size_t number = 1; number < 2000; ++number) {
        SCOPED_TRACE(number);
        const store s = start();
        put(startup, file);
        begin_shortage(number, shortage::once);
        vesk_config_copy_startup_to_running();
        const bool reached = end_shortage();
        ASSERT_EQ(content(startup), file);
        if (!reached) return;
    }
}

TEST_F(OomConfig, GetStartupAsXml)
{
    for_each_failure(
        [&] { return start(); }, [](store &) { return c_string{vesk_config_get_startup_as_xml()}; },
        [&](store &, c_string &text) {
            if (text && old_file != text.get()) {
                EXPECT_STREQ(text.get(), "<?xml version=\"1.0\"?><error>vesk_config_get_startup_"
                                         "as_xml malloc failed</error>\n");
            }
        });
}

TEST_F(OomConfig, CopyRunningToDefault)
{
    std::string whole;
    {
        const store s = start();
        ASSERT_EQ(vesk_config_copy_running_to_default(), 0);
        whole = content(image);
    }
    const std::string old_image = "the old image";
    for_each_failure(
        [&] {
            store s = start();
            put(image, old_image);
            return s;
        },
        [](store &) { return vesk_config_copy_running_to_default(); },
        [&](store &, int result) { EXPECT_EQ(content(image), result == 0 ? whole : old_image); });
}

TEST_F(OomConfig, CopyDefaultToStartup)
{
    const std::string default_image = image_of_running();
    for_each_failure(
        [&] {
            store s = start();
            put(image, default_image);
            return s;
        },
        [](store &) { return vesk_config_copy_default_to_startup(); },
        [&](store &, int result) {
            const std::string now = content(startup);
            if (result == 0)
                EXPECT_EQ(now, default_file);
            else
                EXPECT_TRUE(now == rescue_file || now == old_file || now == default_file) << now;
        });
}

TEST_F(OomConfig, CopyRescueToStartup)
{
    for_each_failure([&] { return start(); },
                     [](store &) { return vesk_config_copy_rescue_to_startup(); },
                     [&](store &, int result) {
                         EXPECT_EQ(result, 0);
                         const std::string now = content(startup);
                         EXPECT_TRUE(now == rescue_file || now == old_file) << now;
                     });
}

TEST_F(OomConfig, CopyRescueToDefaultNeedsNoMemory)
{
    for_each_failure(
        [&] {
            store s = start();
            put(image, "x");
            return s;
        },
        [](store &) { return vesk_config_copy_rescue_to_default(); },
        [&](store &, int result) {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(content(image), "missing");
        });
}

TEST_F(OomConfig, Cp)
{
    for_each_failure([&] { return start(); },
                     [&](store &) {
                         vesk_config_cp(rescue.c_str(), startup.c_str());
                         return 0;
                     },
                     [&](store &, int) {
                         const std::string now = content(startup);
                         EXPECT_TRUE(now == rescue_file || now == old_file) << now;
                         EXPECT_EQ(listing(), "config.xml rescue.xml ");
                     });
}

/** A missing startup file is made from the default, else from the rescue file. */
TEST_F(OomConfig, Init)
{
    const std::string default_image = image_of_running();
    for_each_failure(
        [&] {
            store s = start();
            unlink(startup.c_str());
            put(image, default_image);
            return s;
        },
        [](store &) { return vesk_config_init(); },
        [&](store &, int result) {
            EXPECT_EQ(result, 0);
            const std::string now = content(startup);
            EXPECT_TRUE(now == rescue_file || now == default_file || now == "missing") << now;
        });
}

TEST_F(OomConfig, ReplaceRunningNeedsNoMemory)
{
    for_each_failure(
        [&] {
            return std::pair{start(), configuration()};
        },
        [](auto &s) {
            vesk_instances *fresh = s.second.release();
            return vesk_config_replace_running(fresh) == fresh;
        },
        [](auto &, bool replaced) { EXPECT_TRUE(replaced); });
}

} // namespace
} // namespace vesk::test

extern "C" {

// Hundreds of attempts to save need not wait for the disk, or for better times.
void __wrap_sync();
int __wrap_fsync(int fd);

int __wrap_nanosleep(const timespec *, timespec *);
int __wrap___nanosleep64(const timespec *, timespec *); // its name on a 32-bit machine

void __wrap_sync() {}

int __wrap_nanosleep(const timespec *, timespec *)
{
    return 0;
}

int __wrap___nanosleep64(const timespec *, timespec *)
{
    return 0;
}

int __wrap_fsync(int)
{
    return 0;
}
}
