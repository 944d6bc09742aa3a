#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <new>
#include <string>
#include <unistd.h>
#include <vector>

#include "clients/command.h"
#include "clients/failure.h"
#include "clients/output.h"

// veskctl: shows and changes the configuration of the running daemon from the command line.

namespace {

using namespace vesk::client;

struct runner {
    const char *command;
    void (*run)(session &);
};

constexpr runner runners[] = {
    {"show", show},         {"set", change},    {"add", change},      {"delete", change},
    {"apply", apply},       {"raw", raw},       {"startup", startup}, {"save", save},
    {"reset", reset},       {"schema", schema}, {"watch", watch},     {"inform", inform},
    {"complete", complete},
};

void run(const arguments &given)
{
    write_out(given.printed);
    session with{given};
    for (const runner &one : runners)
        if (given.command == one.command) one.run(with);
}

/**
 * A standard descriptor that is closed would become that of a connection, which then is sent what
 * is meant for the user. So something stands in for it, opened such that its use still fails.
 */
void occupy_standard_descriptors()
{
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

int end(const failure &why)
{
    if (!why.message.empty()) std::fprintf(stderr, "veskctl: %s\n", why.message.c_str());
    return static_cast<int>(why.result);
}

} // namespace

int main(int argc, char **argv)
{
    occupy_standard_descriptors();
    try {
        run(parse_arguments({argv + 1, argv + argc}));
        return static_cast<int>(status::done);
    } catch (const failure &why) {
        return end(why);
    } catch (const std::bad_alloc &) {
        return end({status::refused, "out of memory"});
    } catch (const std::exception &why) {
        return end({status::refused, why.what()});
    }
}
