#include "clients/command.h"

#include <nlohmann/json.hpp>

#include "clients/failure.h"
#include "clients/output.h"
#include "clients/screen_text.h"
#include "clients/shell_words.h"
#include "clients/transaction.h"

namespace vesk::client {
namespace {

using json = nlohmann::ordered_json;

constexpr const char *usual_origin = "veskctl";

struct wording {
    const char *operation;
    const char *done;
    const char *planned;
};

const wording &words_for(verb what)
{
    static constexpr wording set{"set", "changed", "would change"};
    static constexpr wording add{"add", "added", "would add"};
    static constexpr wording remove{"delete", "deleted", "would delete"};
    return what == verb::set ? set : what == verb::add ? add : remove;
}

std::string origin_of(const arguments &given)
{
    return given.origin.value_or(usual_origin);
}

/** Such as "radio: would change 2 (r0, r1)". */
std::string described(const change_request &change, const effect &seen, bool planned)
{
    const wording &words = words_for(change.what);
    std::string text = change.which.class_name + ": " + (planned ? words.planned : words.done) +
                       " " + std::to_string(seen.touched);
    for (const std::string &name : seen.names)
        text += (&name == &seen.names.front() ? " (" : ", ") + visible(name);
    return seen.names.empty() ? text : text + ")";
}

json json_of(const change_request &change, const effect &seen)
{
    return {{"operation", words_for(change.what).operation},
            {"class", change.which.class_name},
            {"count", seen.touched},
            {"instances", seen.names.empty() ? json::array() : json(seen.names)}};
}

void report(const arguments &given, const std::vector<change_request> &changes,
            const verdict &result)
{
    const format as = given.output.value_or(format::table);
    if (as == format::xml) {
        write_out(result.text);
        return;
    }
    std::string text;
    json all = json::array();
    const screen on = standard_output();
    for (size_t i = 0; i < changes.size(); ++i) {
        const std::string line = described(changes[i], result.effects[i], given.dry_run);
        text += (on.width ? cut(line, on.width) : line) + "\n";
        all.push_back(json_of(changes[i], result.effects[i]));
    }
    if (as == format::json)
        text = json_text({{"dry_run", given.dry_run}, {"changes", std::move(all)}});
    write_out(text);
}

[[noreturn]] void refuse_change(const std::string &where, const std::string &why)
{
    refuse(where + why + "; nothing was changed");
}

constexpr const char *matched_nothing = "no instance matches";

/** Does the work; what goes wrong in it is told behind where that was. */
template <typename Work> auto located(const std::string &where, Work &&work)
{
    try {
        return work();
    } catch (const failure &fault) {
        throw failure{fault.result, where + fault.message};
    }
}

std::string line_of(const std::string &file, size_t number)
{
    return file + ", line " + std::to_string(number) + ": ";
}

change_request read_line(const shell_line &line, argument_parser &parser, catalog &known)
{
    const arguments given = parser.parse(line.words);
    if (given.command != "set" && given.command != "add" && given.command != "delete")
        misuse("only set, add and delete can stand here");
    if (given.dry_run || given.output || given.origin)
        misuse("only the options --name and --where can stand here");
    change_request change = read_change(given, known);
    change.line = line.number;
    return change;
}

std::vector<change_request> read_batch(const std::string &text, const std::string &file,
                                       catalog &known)
{
    argument_parser parser;
    std::vector<change_request> changes;
    for (const shell_line &line : located(file + ", ", [&] { return split_lines(text); }))
        changes.push_back(
            located(line_of(file, line.number), [&] { return read_line(line, parser, known); }));
    return changes;
}

/** Ends the command at a change that the daemon would refuse, or that would not change anything. */
void expect_accepted(const verdict &result, const std::vector<change_request> &changes,
                     const std::string &file)
{
    const auto refuse_at = [&](size_t i, const char *why) {
        refuse_change(line_of(file, changes[i].line), why);
    };
    for (size_t i = 0; i < result.effects.size(); ++i)
        if (changes[i].what == verb::set && result.effects[i].touched == 0)
            refuse_at(i, matched_nothing);
    if (result.accepted) return;
    show_errors(result.parsed);
    if (result.effects.size() < changes.size()) refuse_at(result.effects.size(), "refused");
    refuse_change("", "refused");
}

} // namespace

void change(session &with)
{
    const arguments &given = with.given;
    const std::vector<change_request> changes{read_change(given, with.known)};
    const verdict result = given.dry_run ? rehearse(with.daemon, origin_of(given), changes)
                                         : carry_out(with.daemon, origin_of(given), changes);
    if (!result.accepted) stop_at_errors(result.parsed);
    const bool nothing = result.effects[0].touched == 0 && changes[0].what != verb::add;
    if (nothing) refuse_change("", matched_nothing);
    report(given, changes, result);
}

void apply(session &with)
{
    const arguments &given = with.given;
    const std::string file = input_name(given.words[0]);
    const auto changes = read_batch(read_input(given.words[0]), file, with.known);
    if (changes.empty()) return;
    // Rehearsed first: so it is known which line is at fault, and a line that would change nothing
    // stops the others in time.
    const std::string origin = origin_of(given);
    verdict result = rehearse(with.daemon, origin, changes);
    expect_accepted(result, changes, file);
    if (!given.dry_run) {
        result = carry_out(with.daemon, origin, changes);
        stop_at_errors(result.parsed);
    }
    report(given, changes, result);
}

} // namespace vesk::client
