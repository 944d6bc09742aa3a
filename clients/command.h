#ifndef VESK_CLIENTS_COMMAND_H
#define VESK_CLIENTS_COMMAND_H

#include <string>

#include "clients/arguments.h"
#include "clients/catalog.h"
#include "clients/peer.h"

namespace vesk::client {

/** What every command works with. */
struct session {
    explicit session(const arguments &its) : given{its}, daemon{its.patience}, known{daemon} {}

    const arguments &given;
    peer daemon;
    catalog known;
};

// The commands. Each throws failure when it is not done.
void show(session &with);
void change(session &with); // set, add, delete
void apply(session &with);
void raw(session &with);
void startup(session &with);
void save(session &with);
void reset(session &with);
void inform(session &with);
void schema(session &with);
void watch(session &with);
void complete(session &with);

/** The content of a file, or of the standard input for "-". */
std::string read_input(const std::string &file);
std::string input_name(const std::string &file);

} // namespace vesk::client

#endif
