#include "tests/xml_differential/house.h"

#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/file.h"
#include "model/iterator.h"
#include "vesk/changes.h"
#include "vesk/commit_info.h"
#include "vesk/config.h"
#include "vesk/provider.h"
#include "vesk/providers.h"

namespace vesk::test {
namespace {

std::string commits;
std::string questions;
const vesk_instances *running_for_validators = nullptr;

void note(const char *validator, const char *value)
{
    questions.append(validator).append(" ").append(value).append("\n");
}

int is_not_bad(const char *value)
{
    note("not bad", value);
    return accepts_all_but_bad(value);
}

int is_number(const char *value)
{
    note("number", value);
    return *value != '\0' && value[std::strspn(value, "0123456789")] == '\0';
}

/** A reference to something that has to be there already: order matters. */
int is_known_radio(const char *value)
{
    note("radio", value);
    const vesk_instances *running =
        running_for_validators ? running_for_validators : vesk_config_get_running();
    return vesk_instances_get(running, "radio", value) != nullptr;
}

/** Depends on what was set before it. */
int fits_mode(vesk_instance *instance, const char *value)
{
    const char *mode = vesk_instance_get_value(instance, "mode");
    note(mode ? mode : "no mode", value);
    return !mode || std::strcmp(mode, "off") != 0;
}

vesk_property *make_property(const property_spec &spec)
{
    vesk_property *property = vesk_property_new(spec.name);
    switch (spec.values) {
    case takes::anything:
        vesk_property_set_writable(property, 0);
        break;
    case takes::when_not_off:
        vesk_property_set_is_instance_valid_fn(property, fits_mode);
        [[fallthrough]];
    case takes::all_but_bad:
        vesk_property_set_is_valid_fn(property, is_not_bad);
        break;
    case takes::number:
        vesk_property_set_is_valid_fn(property, is_number);
        break;
    case takes::known_radio:
        vesk_property_set_is_valid_fn(property, is_known_radio);
    }
    if (spec.required) vesk_property_set_required_on_insert(property, 1);
    if (!spec.saved) vesk_property_set_persistence(property, 0);
    return property;
}

class_ptr make_class(const class_spec &spec)
{
    class_ptr cls{vesk_class_new(spec.name)};
    vesk_class_set_type(cls.get(), spec.type);
    vesk_class_set_persistence(cls.get(), spec.saved ? 1 : 0);
    if (spec.superclass) vesk_class_set_superclass(cls.get(), spec.superclass);
    for (const property_spec &property : spec.properties)
        EXPECT_EQ(vesk_class_add_property(cls.get(), make_property(property)), 0);
    if (spec.identifier) {
        vesk_class_set_abstract(cls.get(), 1);
        vesk_class_set_subclass_identifier(cls.get(), vesk_property_new(spec.identifier));
    }
    EXPECT_EQ(vesk_classes_add(cls.get()), 0);
    return cls;
}

void write_changed(vesk_changes *changes, vesk_instance *instance, FILE *out)
{
    vesk_instance_print(instance, out);
    std::fprintf(out, "   changed %d, %s:", vesk_changes_contains_instance(changes, instance),
                 vesk_changes_get_instance_before(changes, instance) ? "was there" : "new");
    const property_iterator_ptr properties{vesk_class_new_property_iterator(instance->cls)};
    while (const auto *property = vesk_class_property_iterator_next(properties.get())) {
        const char *name = property->name.c_str();
        if (vesk_changes_contains_property(changes, instance, name)) std::fprintf(out, " %s", name);
    }
    std::fputc('\n', out);
}

void write_changes(vesk_changes *changes, const char *class_name, FILE *out)
{
    if (!vesk_changes_contains_class(changes, class_name)) return;
    std::fprintf(out, "class %s\n", class_name);
    iterator_ptr walk{vesk_changes_new_class_instances_iterator(changes, class_name)};
    while (vesk_instance *instance = vesk_instances_iterator_next(walk.get()))
        write_changed(changes, instance, out);
    walk.reset(vesk_changes_new_deleted_class_instances_iterator(changes, class_name));
    while (const vesk_instance *instance = vesk_instances_iterator_next(walk.get()))
        vesk_instance_print(instance, out);
}

void write_down(vesk_commit_info *info)
{
    vesk_changes *changes = vesk_commit_info_get_changes(info);
    commits += printed([&](FILE *out) {
        std::fprintf(out, "commit, %s before\n",
                     vesk_instances_is_empty(vesk_commit_info_get_before(info)) ? "nothing"
                                                                                : "something");
        vesk_instances_print(vesk_commit_info_get_after(info), out);
        for (const class_spec &spec : class_specs())
            write_changes(changes, spec.name, out);
        vesk_changes_print(changes, out);
    });
}

void remove_folder(const std::string &path)
{
    DIR *folder = opendir(path.c_str());
    while (const dirent *entry = readdir(folder))
        unlink((path + "/" + entry->d_name).c_str());
    closedir(folder);
    rmdir(path.c_str());
}

} // namespace

const std::vector<class_spec> &class_specs()
{
    static const std::vector<class_spec> specs = {
        {"system",
         VESK_CLASS_SINGLETON,
         {{"contact"}, {"status", takes::anything}, {"mode"}, {"limit", takes::when_not_off}}},
        {"clock", VESK_CLASS_SINGLETON, {{"zone"}, {"drift"}}, false},
        {"ledger", VESK_CLASS_SINGLETON, {{"owner"}}},
        {"user",
         VESK_CLASS_ANONYMOUS,
         {{"login", takes::all_but_bad, true}, {"name"}, {"seen", takes::anything, false, false}}},
        {"text", VESK_CLASS_ANONYMOUS, {{"comment"}, {"text"}}}, // as libxml2 calls its nodes
        {"lease", VESK_CLASS_ANONYMOUS, {{"token"}}, false},
        {"radio",
         VESK_CLASS_UNIQUE_NAMED,
         {{"channel", takes::number}, {"ssid"}, {"peer", takes::known_radio}, {"config"}}},
        {"acl", VESK_CLASS_GROUP_NAMED, {{"address"}, {"note"}}},
        {"wired", VESK_CLASS_UNIQUE_NAMED, {{"speed", takes::number, true}}, true, "port"},
        {"port", VESK_CLASS_UNIQUE_NAMED, {{"mtu"}}, true, nullptr, "type"},
        {"wireless", VESK_CLASS_UNIQUE_NAMED, {{"band"}}, true, "port"},
        {"tunnel", VESK_CLASS_UNIQUE_NAMED, {{"ttl"}}, true, nullptr, "kind"},
        {"ipip", VESK_CLASS_UNIQUE_NAMED, {{"remote"}}, true, "tunnel"},
    };
    return specs;
}

std::string take_commits()
{
    return std::exchange(commits, {});
}

std::string take_questions()
{
    return std::exchange(questions, {});
}

void set_running_for_validators(const vesk_instances *running)
{
    running_for_validators = running;
}

house::house()
{
    for (const class_spec &spec : class_specs())
        classes_.push_back(make_class(spec));
    freeze();
    provider_.reset(vesk_provider_new("writing"));
    vesk_provider_set_commit_fn(provider_.get(), write_down, nullptr);
    vesk_providers_add(provider_.get());
    vesk_providers_done_adding();
    use_own_files();
}

house::~house()
{
    vesk_config_replace_running(vesk_instances_new());
    paths() = files_before_;
    remove_folder(folder_);
    take_commits();
    take_questions();
}

void house::use_own_files()
{
    files_before_ = paths();
    std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    name += "/vesk-xml-XXXXXX";
    folder_ = mkdtemp(name.data());
    config_paths &files = paths();
    files.startup = startup_.assign(folder_ + "/config.xml").c_str();
    files.startup_bad = kept_.assign(folder_ + "/config.xml.bad").c_str();
    files.rescue = rescue_.assign(folder_ + "/rescue.xml").c_str();
    files.body = body_.assign(folder_ + "/body.xml").c_str();
    files.generated_digest = digest_.assign(folder_ + "/md5.gen").c_str();
    files.digest_check = check_.assign(folder_ + "/body.xml.md5").c_str();
    image_ = folder_ + "/default.xml";
    std::snprintf(files.default_image, sizeof files.default_image, "%s", image_.c_str());
}

std::string content_of_file(const std::string &path)
{
    const unique_fd fd{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    struct stat file;
    if (!fd || fstat(fd.get(), &file) != 0) return "missing";
    std::string text;
    EXPECT_EQ(read_up_to(fd.get(), static_cast<size_t>(file.st_size), text), 0);
    return text;
}

void write_file(const std::string &path, const std::string &bytes)
{
    const unique_fd fd{open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)};
    ASSERT_EQ(write_all(fd.get(), bytes), 0);
}

} // namespace vesk::test

extern "C" {

// Thousands of files that are saved or replaced need not wait for the disk.
void __wrap_sync();
int __wrap_fsync(int fd);

void __wrap_sync() {}

int __wrap_fsync(int)
{
    return 0;
}
}
