#include "clients/command.h"

#include <algorithm>
#include <optional>

#include "clients/failure.h"
#include "clients/output.h"
#include "clients/request.h"
#include "clients/screen_text.h"
#include "clients/shell_words.h"

// Prints what can stand at the cursor, one candidate a line. A user waits for it at each key, so
// that it asks for nothing that the daemon would have to refresh, and gives up early.

namespace vesk::client {
namespace {

constexpr unsigned short_patience = 1; // seconds

/** What was typed before the cursor, as far as it matters here. */
struct typed {
    std::string command;
    std::vector<std::string> words; // behind the command, without options
    bool has_name = false;          // by an option
    std::string option;             // whose value stands at the cursor
    std::string current;            // at the cursor
};

const command_facts *find_command(const std::vector<command_facts> &all, const std::string &name)
{
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const command_facts &c) { return c.name == name; });
    return found == all.end() ? nullptr : &*found;
}

/** The options that may be given where the command is this one, or not typed yet. */
std::vector<option_facts> options_of(const std::vector<command_facts> &all, const std::string &name)
{
    const command_facts *command = find_command(all, name);
    if (command) return command->options;
    return all.back().options; // those that every command has are among them
}

bool takes_value(const std::vector<option_facts> &options, const std::string &word)
{
    return std::any_of(options.begin(), options.end(), [&](const option_facts &option) {
        const auto &names = option.names;
        return option.takes_value && std::find(names.begin(), names.end(), word) != names.end();
    });
}

typed read_typed(const std::vector<command_facts> &all, std::vector<std::string> words)
{
    typed line;
    line.current = words.empty() ? "" : std::move(words.back());
    if (!words.empty()) words.pop_back();
    bool only_words = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string &word = words[i];
        if (only_words || !word.starts_with('-') || word == "-") {
            if (line.command.empty())
                line.command = word;
            else
                line.words.push_back(word);
        } else if (word == "--") {
            only_words = true;
        } else {
            line.has_name |= word == "-n" || word == "--name" || word.starts_with("--name=");
            if (!takes_value(options_of(all, line.command), word)) continue;
            if (++i == words.size()) line.option = word;
        }
    }
    return line;
}

class candidates {
  public:
    explicit candidates(const typed &line) : line_{line}, known_{daemon_} {}

    std::vector<std::string> all(const std::vector<command_facts> &commands)
    {
        if (!line_.option.empty()) {
            add_values(line_.option);
        } else if (line_.current.starts_with('-')) {
            for (const option_facts &option : options_of(commands, line_.command))
                found_.push_back(option.names.front());
        } else if (line_.command.empty()) {
            for (const command_facts &command : commands)
                found_.push_back(command.name);
        } else {
            add_words();
        }
        return std::move(found_);
    }

  private:
    bool is_command(const char *name) const { return line_.command == name; }

    void add_values(const std::string &option)
    {
        if (option == "-o" || option == "--output") found_ = {"table", "xml", "json"};
        if (option == "-n" || option == "--name") add_names();
        if ((option == "-w" || option == "--where") && !line_.words.empty())
            for (const property_facts &property : properties())
                found_.push_back(property.name);
    }

    void add_words()
    {
        const bool about_class =
            is_command("show") || is_command("set") || is_command("add") || is_command("delete");
        if (about_class && line_.words.empty()) {
            for (const class_facts &cls : known_.classes())
                found_.push_back(cls.name);
        } else if (about_class) {
            const bool second = line_.words.size() == 1;
            if (second && !line_.has_name && !is_command("add")) add_names();
            if (is_command("delete")) return;
            for (const property_facts &property : properties())
                add_property(property);
        } else if (is_command("schema") && line_.words.empty()) {
            found_ = {"classes", "properties", "providers", "services"};
        } else if (is_command("inform") && line_.words.empty()) {
            found_ = {"object="};
        }
    }

    void add_names()
    {
        if (line_.words.empty()) return;
        const answer listed =
            parse_answer(daemon_.ask(request(select({line_.words[0], {}, ""}, {}), "")));
        for (const outcome &one : listed.outcomes)
            for (const instance &named : one.instances)
                if (named.name) found_.emplace_back(named.name);
    }

    std::vector<property_facts> properties()
    {
        auto all = known_.properties_declared(line_.words[0]);
        return all.empty() ? known_.properties_saved(line_.words[0]) : all;
    }

    void add_property(const property_facts &property)
    {
        const std::string word = property.name + (is_command("show") ? "" : "=");
        const bool may_be_set = property.writable || (is_command("add") && property.required);
        const bool is_there =
            std::any_of(line_.words.begin() + 1, line_.words.end(), [&](const std::string &other) {
                return is_command("show") ? other == word : other.starts_with(word);
            });
        if (!is_there && (is_command("show") || may_be_set)) found_.push_back(word);
    }

    const typed &line_;
    peer daemon_{short_patience};
    catalog known_;
    std::vector<std::string> found_;
};

/** Whether a shell can be given the word: in one line, and in the quote in which it is typed. */
bool can_be_offered(const std::string &word, char quote)
{
    const bool plain = std::none_of(word.begin(), word.end(), [](char c) {
        return is_hidden(static_cast<unsigned char>(c)) && static_cast<unsigned char>(c) < 0x80;
    });
    return plain && !word.empty() && (quote != '\'' || word.find('\'') == word.npos);
}

/** The words behind the program's name, which stands behind settings of variables. */
unfinished_line line_words(const std::string &line)
{
    unfinished_line typed = split_unfinished(line);
    auto &words = typed.words;
    const auto program = std::find_if(words.begin(), words.end(), [](const std::string &word) {
        return word.find('=') == word.npos;
    });
    words.erase(words.begin(), program == words.end() ? program : program + 1);
    return typed;
}

/** How much of the word at the cursor stands before what bash replaces. */
size_t length_kept(const std::string &current, const std::string &breaks, char quote)
{
    size_t kept = 0;
    for (const char mark : std::string_view{"=:@"})
        if (!quote && breaks.find(mark) != breaks.npos)
            kept = std::max(kept, current.rfind(mark) + 1);
    return kept;
}

/** Whether a candidate has something to add; one that asks for a value has not, once it is there.
 */
bool adds_something(const std::string &word, const std::string &current)
{
    return word.starts_with(current) && !(word == current && word.ends_with('='));
}

} // namespace

void complete(session &with)
{
    const auto commands = known_commands();
    const bool from_line = with.given.line.has_value();
    const unfinished_line given =
        from_line ? line_words(*with.given.line) : unfinished_line{with.given.words};
    const typed line = read_typed(commands, given.words);
    std::vector<std::string> found;
    try {
        found = candidates{line}.all(commands);
    } catch (const failure &) {
        return; // nobody wants to hear of it now
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    std::string text;
    const size_t kept = length_kept(line.current, with.given.breaks, given.quote);
    for (const std::string &word : found)
        if (adds_something(word, line.current) && can_be_offered(word, given.quote))
            text += (from_line ? shell_quoted(word.substr(kept), given.quote) : word) + "\n";
    write_out(text);
}

} // namespace vesk::client
