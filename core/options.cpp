#include "core/options.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "core/log.h"
#include "vesk/command.h"
#include "vesk/watchdog.h"

namespace vesk {
namespace {

[[noreturn]] void usage()
{
    std::fprintf(stderr,
                 "vesk - configuration and device management daemon\n"
                 "\n"
                 "Usage: vesk [-hfned]\n"
                 "\n"
                 "Options:\n"
                 "   -h   show this usage\n"
                 "   -f   run in foreground (do not become a daemon)\n"
                 "   -n   no actions (executing processes, rebooting, watchdog, etc.)\n"
                 "   -e   exit on fatal errors\n"
                 "   -d   show debug messages - can be repeated up to %d times for more messages\n",
                 VESK_DEBUG_MAX);
    std::exit(1);
}

} // namespace

options parse_options(int argc, char *argv[])
{
    options chosen;
    int level = vesk_debug_get();
    opterr = 0;
    for (int option; (option = getopt(argc, argv, "dhfne")) != -1;) {
        switch (option) {
        case 'd':
            if (level == VESK_DEBUG_MAX) usage();
            ++level;
            vesk_debug_override = 1;
            break;
        case 'f':
            chosen.foreground = true;
            break;
        case 'n':
            vesk_process_no_actions = 1;
            vesk_watchdog_stop();
            break;
        case 'e':
            vesk_debug_set_exit_on_fatal(1);
            break;
        default:
            usage();
        }
    }
    if (optind < argc) usage();
    if (level != vesk_debug_get()) vesk_debug_set(level);
    return chosen;
}

} // namespace vesk
