#include "vesk/plugin.h"

#include "plugins/loader.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <memory>
#include <string_view>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "core/log.h"

#ifdef VESK_SANITIZED
#include <sanitizer/lsan_interface.h>
#endif

const char *vesk_plugins_current = nullptr;

namespace vesk {
namespace {

constexpr const char *plugin_folder = "/usr/lib/vesk/plugins/";
constexpr const char *init_symbol = "vesk_plugin_init";
constexpr std::string_view endings[] = {".vesk", ".so"};

struct close_folder {
    void operator()(DIR *folder) const { closedir(folder); }
};
struct close_library {
    void operator()(void *library) const { dlclose(library); }
};

/** Calls a plug-in's initialisation. 1 when it has none; then the library is closed. */
int initialise(std::unique_ptr<void, close_library> library, const char *name)
{
    using init_function = void (*)();
    const auto init = reinterpret_cast<init_function>(dlsym(library.get(), init_symbol));
    if (!init) {
        if (const char *text = dlerror())
            return fail("Plugin does not contain vesk_plugin_init: %s\n", text);
        return fail("vesk_plugin_init is set to null.\n");
    }
    static_cast<void>(library.release()); // it stays open for good
    // The name outlives the entry it was read from: a plug-in may keep the pointer.
    static auto &current = *new std::string;
    current = name;
    vesk_plugins_current = current.c_str();
    init();
    return 0;
}

int load(const char *folder, const char *name)
{
    vesk_debug_1printf("Loading %s.\n", name);
    const std::string path = std::string{folder} + name;
    dlerror();
    std::unique_ptr<void, close_library> library{dlopen(path.c_str(), RTLD_NOW)};
    if (!library) return fail("Unable to load plugin \"%s\": %s\n", path.c_str(), dlerror());
    return initialise(std::move(library), name);
}

/** Most plug-ins never look at their record again: to a leak detector it would seem lost. */
void leave_to_plugin([[maybe_unused]] const vesk_plugin *plugin)
{
#ifdef VESK_SANITIZED
    __lsan_ignore_object(plugin);
#endif
}

} // namespace

bool is_plugin_name(const char *name)
{
    const std::string_view text{name};
    for (const std::string_view ending : endings)
        if (text.size() > ending.size() && text.ends_with(ending)) return true;
    return false;
}

int load_plugins(const char *folder)
{
    vesk_debug_1printf("Reading plugins.\n");
    const std::unique_ptr<DIR, close_folder> entries{opendir(folder)};
    if (!entries) {
        const int saved = errno;
        const std::string message =
            format_text(any_length, "Unable to open plugins directory \"%s\"", folder);
        errno = saved;
        vesk_debug_perror(message.c_str());
        return 1;
    }
    int result = 0;
    while (const dirent *entry = readdir(entries.get()))
        if (is_plugin_name(entry->d_name))
            result |= or_on_oom(1, [&] { return load(folder, entry->d_name); });
    return result;
}

} // namespace vesk

vesk_plugin *vesk_plugin_new(const char *version)
{
    const char *file = vesk_plugins_current ? vesk_plugins_current : "";
    if (!version || std::strcmp(version, VESK_PLUGIN_VERSION) != 0) {
        vesk_debug_eprintf("Plugin \"%s\" version \"%s\" is unsupported.\n", file,
                           version ? version : "");
        return nullptr;
    }
    return vesk::or_on_oom<vesk_plugin *>(nullptr, [&] {
        auto *plugin = new vesk_plugin{file};
        vesk::leave_to_plugin(plugin);
        return plugin;
    });
}

int vesk_plugins_init(void)
{
    return vesk::or_on_oom(1, [] { return vesk::load_plugins(vesk::plugin_folder); });
}
