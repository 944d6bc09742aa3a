#include "clients/arguments.h"

#include <algorithm>
#include <limits>
#include <map>
#include <memory>

#include <CLI/CLI.hpp>

#include "clients/failure.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

constexpr int any_number = std::numeric_limits<int>::max() / 2; // for the library
constexpr size_t unlimited = std::numeric_limits<size_t>::max();
constexpr const char *words_name = "words";
constexpr char shield = '\x01';

// Which options a command takes.
constexpr unsigned takes_name = 1;
constexpr unsigned takes_where = 2;
constexpr unsigned takes_dry_run = 4;
constexpr unsigned takes_origin = 8;
constexpr unsigned takes_output = 16;
constexpr unsigned takes_count = 32;
constexpr unsigned takes_default = 64;
constexpr unsigned takes_rescue = 128;
constexpr unsigned changes = takes_dry_run | takes_origin | takes_output;

struct command {
    const char *name;
    const char *words; // as the help calls them; null: none
    size_t least;
    size_t most;
    unsigned options;
    const char *help;
};

constexpr command commands[] = {
    {"show", "[CLASS [NAME]] [PROPERTY...]", 0, unlimited, takes_name | takes_where | takes_output,
     "Show instances and their values"},
    {"set", "CLASS [NAME] PROPERTY=VALUE...", 2, unlimited, takes_name | takes_where | changes,
     "Change values of instances"},
    {"add", "CLASS [NAME] PROPERTY=VALUE...", 1, unlimited, takes_name | changes,
     "Add an instance"},
    {"delete", "CLASS [NAME]", 1, 2, takes_name | takes_where | changes, "Delete instances"},
    {"apply", "FILE|-", 1, 1, changes, "Make all changes that a file lists, or none"},
    {"raw", "FILE|-", 1, 1, takes_dry_run | takes_output, "Send an LSQL document as it stands"},
    {"startup", nullptr, 0, 0, takes_output, "Show the startup configuration"},
    {"save", nullptr, 0, 0, takes_default, "Make the running configuration the startup one"},
    {"reset", nullptr, 0, 0, takes_rescue, "Make the default configuration the startup one"},
    {"schema", "[classes|properties|providers|services]", 0, 1, takes_output,
     "Show what the daemon knows"},
    {"watch", nullptr, 0, 0, takes_output | takes_count, "Show notifications as they come"},
    {"inform", "NAME=VALUE...", 1, unlimited, 0, "Send a message to a plug-in"},
};

/** Says in a usage what the words of a command are. */
class usage_formatter : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App *app, std::string name) const override
    {
        const std::string title = name.empty() ? app->get_name() : name;
        for (const command &known : commands)
            if (known.name == app->get_name())
                return "Usage: " + title + " [OPTION]..." + (known.words ? " " : "") +
                       (known.words ? known.words : "") + "\n";
        return "Usage: " + title + " [OPTION]... COMMAND [ARGUMENT]...\n";
    }

    std::string make_positionals(const CLI::App *) const override { return {}; }
};

/**
 * The library takes "[a,b]" for a list and "++" for an end, and loses "--" where no word must
 * follow; words are just words here. So they are shielded from it.
 */
std::vector<std::string> shielded(std::vector<std::string> words)
{
    bool all = false;
    std::vector<std::string> result;
    for (std::string &word : words) {
        if (word == "--" && !all) {
            all = true;
            continue;
        }
        if (all || word.starts_with('[') || word.starts_with(shield) || word == "++")
            word.insert(word.begin(), shield);
        result.push_back(std::move(word));
    }
    return result;
}

void unshield(std::string &word)
{
    if (word.starts_with(shield)) word.erase(0, 1);
}

void unshield(std::optional<std::string> &word)
{
    if (word) unshield(*word);
}

arguments only_printed(std::string text)
{
    arguments parsed;
    parsed.printed = std::move(text);
    return parsed;
}

/** What the library has found no use for, as it was typed. */
std::string left_over(const CLI::App &app)
{
    std::string all;
    for (std::string word : app.remaining(true)) {
        unshield(word);
        all += (all.empty() ? "" : " ") + visible(word);
    }
    return all;
}

} // namespace

/** What a command line may hold, bound to where its parts go. */
class command_line {
  public:
    command_line()
    {
        app_.formatter(std::make_shared<usage_formatter>());
        app_.require_subcommand(1);
        app_.set_version_flag("--version", "veskctl " VESK_VERSION);
        app_.add_option("--timeout", parsed_.patience, "Wait so long for the daemon [60]")
            ->type_name("SECONDS")
            ->check(CLI::Range(1U, 86400U).description(""));
        for (const command &known : commands)
            add(known);
        add_completion();
        app_.footer("See veskctl(1).");
    }

    /** The library, ready for a new line. */
    CLI::App &start()
    {
        parsed_ = {};
        return app_;
    }

    arguments take()
    {
        CLI::App *chosen = app_.get_subcommands().front();
        parsed_.command = chosen->get_name();
        if (const CLI::Option *words = chosen->get_option_no_throw(words_name))
            parsed_.words = words->results();
        check_number_of_words();
        return parsed_;
    }

  private:
    void check_number_of_words() const
    {
        const size_t count = parsed_.words.size();
        for (const command &known : commands)
            if (known.name == parsed_.command && known.words &&
                (count < known.least || count > known.most))
                misuse("usage: veskctl " + parsed_.command + " " + known.words);
    }

    void add(const command &known)
    {
        CLI::App *added = app_.add_subcommand(known.name, known.help)->group("Commands");
        added->fallthrough();
        if (known.words)
            added->add_option(words_name, unused_, "")
                ->type_name(known.words)
                ->expected(0, any_number);
        const auto takes = [&](unsigned option) { return (known.options & option) != 0; };
        if (takes(takes_name))
            added->add_option("-n,--name", parsed_.name, "The instance's name")->type_name("NAME");
        if (takes(takes_where))
            added->add_option("-w,--where", parsed_.where, "Only instances of which this is true")
                ->type_name("EXPR");
        if (takes(takes_dry_run))
            added->add_flag("--dry-run", parsed_.dry_run, "Check everything, change nothing");
        if (takes(takes_origin))
            added->add_option("--origin", parsed_.origin, "Who makes the change [veskctl]")
                ->type_name("TEXT");
        if (takes(takes_output)) add_output(*added);
        if (takes(takes_count))
            added->add_option("--count", parsed_.count, "End after so many")->type_name("NUMBER");
        if (takes(takes_default))
            added->add_flag("--default", parsed_.as_default, "Make it the default one instead");
        if (takes(takes_rescue))
            added->add_flag("--rescue", parsed_.rescue, "Take the rescue configuration instead");
    }

    void add_output(CLI::App &command)
    {
        static const std::map<std::string, format> formats{
            {"table", format::table}, {"xml", format::xml}, {"json", format::json}};
        command
            .add_option_function<std::string>(
                "-o,--output",
                [this](const std::string &name) { parsed_.output = formats.at(name); },
                "How it is shown")
            ->type_name("table|xml|json")
            ->check(CLI::IsMember({"table", "xml", "json"}).description(""));
    }

    /** For the scripts of the shells: nothing that a user types. */
    void add_completion()
    {
        CLI::App *added = app_.add_subcommand("complete", "")->group("");
        added->add_option(words_name, unused_, "")->expected(0, any_number);
        added->add_option("--line", parsed_.line, "");
        added->add_option("--breaks", parsed_.breaks, "");
    }

    CLI::App app_{"Reads and changes the configuration of the device.", "veskctl"};
    arguments parsed_;
    std::vector<std::string> unused_; // the words themselves are taken as they stand
};

argument_parser::argument_parser() : line_{std::make_unique<command_line>()} {}
argument_parser::~argument_parser() = default;

arguments argument_parser::parse(std::vector<std::string> words)
{
    words = shielded(std::move(words));
    std::reverse(words.begin(), words.end()); // as the library wants them
    CLI::App &app = line_->start();
    try {
        app.parse(std::move(words));
    } catch (const CLI::CallForHelp &) {
        return only_printed(app.help());
    } catch (const CLI::CallForVersion &version) {
        return only_printed(std::string{version.what()} + "\n");
    } catch (const CLI::RequiredError &) {
        const std::string rest = left_over(app);
        misuse((rest.empty() ? "a command is missing" : "no command: " + rest) +
               "; veskctl --help lists them");
    } catch (const CLI::ExtrasError &) {
        misuse("not expected: " + left_over(app));
    } catch (const CLI::ParseError &error) {
        misuse(visible(error.what()));
    }
    arguments parsed = line_->take();
    for (std::string &word : parsed.words)
        unshield(word);
    unshield(parsed.name);
    unshield(parsed.where);
    unshield(parsed.origin);
    unshield(parsed.line);
    return parsed;
}

arguments parse_arguments(std::vector<std::string> words)
{
    return argument_parser{}.parse(std::move(words));
}

std::vector<command_facts> known_commands()
{
    command_line line;
    std::vector<command_facts> facts;
    for (const CLI::App *command : line.start().get_subcommands(nullptr)) {
        if (command->get_group().empty()) continue;
        command_facts known{command->get_name(), command->get_description(), {}};
        for (const CLI::App *owner : {command, static_cast<const CLI::App *>(&line.start())})
            for (const CLI::Option *option : owner->get_options()) {
                if (option->get_positional()) continue;
                option_facts one{{}, option->get_items_expected_max() > 0};
                for (const std::string &name : option->get_lnames())
                    one.names.push_back("--" + name);
                for (const std::string &name : option->get_snames())
                    one.names.push_back("-" + name);
                known.options.push_back(std::move(one));
            }
        facts.push_back(std::move(known));
    }
    return facts;
}

} // namespace vesk::client
