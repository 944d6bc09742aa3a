#ifndef VESK_CLIENTS_ARGUMENTS_H
#define VESK_CLIENTS_ARGUMENTS_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vesk::client {

enum class format { table, xml, json };

/** What the command line says. */
struct arguments {
    std::string command; // empty: only something to print was asked for
    std::vector<std::string> words;
    std::optional<std::string> name;
    std::optional<std::string> where;
    std::optional<format> output; // none: what is usual for the command
    std::optional<std::string> origin;
    std::optional<std::string> line; // for complete: what is typed so far
    std::string breaks;              // for complete: where bash begins a word anew
    bool dry_run = false;
    bool as_default = false;
    bool rescue = false;
    unsigned patience = 60; // seconds without a sign of the daemon
    unsigned count = 0;     // messages to wait for; 0: all that come
    std::string printed;    // help or version
};

/** Reads command lines. */
class argument_parser {
  public:
    argument_parser();
    ~argument_parser();
    argument_parser(const argument_parser &) = delete;
    argument_parser &operator=(const argument_parser &) = delete;

    /** Reads the words behind the program's name. Ends the command when they make no sense. */
    arguments parse(std::vector<std::string> words);

  private:
    std::unique_ptr<class command_line> line_;
};

arguments parse_arguments(std::vector<std::string> words);

/** An option, as completion offers it. */
struct option_facts {
    std::vector<std::string> names; // with their hyphens
    bool takes_value;
};

struct command_facts {
    std::string name;
    std::string help;
    std::vector<option_facts> options;
};

/** The commands that a user may type. */
std::vector<command_facts> known_commands();

} // namespace vesk::client

#endif
