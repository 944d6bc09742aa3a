#ifndef VESK_CLIENTS_FAILURE_H
#define VESK_CLIENTS_FAILURE_H

#include <string>

namespace vesk::client {

/** How the program ends; scripts rely on these. */
enum class status {
    done = 0,
    refused = 1,     // by the daemon, or there is nothing of what was asked for
    usage = 2,       // what was asked for makes no sense
    unreachable = 3, // no daemon, or none that answered to the end
};

/** Ends the command: main() shows the message, if there is one, and exits with the status. */
struct failure {
    status result;
    std::string message;
};

[[noreturn]] inline void refuse(std::string message)
{
    throw failure{status::refused, std::move(message)};
}

[[noreturn]] inline void misuse(std::string message)
{
    throw failure{status::usage, std::move(message)};
}

} // namespace vesk::client

#endif
