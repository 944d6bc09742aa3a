#include "clients/transaction.h"

#include <algorithm>
#include <cstring>
#include <random>

#include "clients/failure.h"
#include "clients/screen_text.h"
#include "clients/where.h"

// A request is evaluated twice. The first pass finds faults in its structure and an unknown class
// in its last operation; values, names and missing properties are looked at in the second pass
// only, which stops at the first fault. The one operation that passes the first and is sure to fail
// in the second is the insertion of an instance of a class that does not exist: behind all others
// it has the transaction dropped after all of it was checked. Its class has a name that nobody can
// have written into a change.

namespace vesk::client {
namespace {

bool is_assignment(const std::string &word)
{
    return word.find('=') != word.npos;
}

assignment read_assignment(const std::string &word)
{
    const size_t sign = word.find('=');
    if (sign == word.npos) misuse("\"" + visible(word) + "\" is not of the form PROPERTY=VALUE");
    return {word.substr(0, sign), word.substr(sign + 1)};
}

verb verb_of(const std::string &command)
{
    if (command == "set") return verb::set;
    return command == "add" ? verb::add : verb::remove;
}

/** Before a change stands what finds out whom it concerns. */
std::vector<std::string> operations_of(const change_request &change)
{
    const std::string listing = select(change.which, {});
    switch (change.what) {
    case verb::set:
        return {listing, update(change.which, change.values)};
    case verb::add:
        return {insert(change.which, change.values)};
    case verb::remove:
        break;
    }
    // To delete of a class that does not exist is no error for the daemon.
    return {expect_class(change.which.class_name), listing, remove(change.which)};
}

std::vector<std::string> names_of(const std::vector<instance> &instances)
{
    std::vector<std::string> names;
    for (const instance &one : instances)
        if (one.name && (names.empty() || names.back() != one.name)) names.emplace_back(one.name);
    return names;
}

/** Reads what has become of a change from its outcomes, which begin at first. */
effect read_effect(const change_request &change, const std::vector<outcome> &outcomes, size_t first)
{
    const size_t last = first + operations_of(change).size() - 1;
    effect seen{outcomes[last].touched, {}};
    if (change.what == verb::add && change.which.name)
        seen.names = {*change.which.name};
    else if (change.what != verb::add)
        seen.names = names_of(outcomes[last - 1].instances);
    return seen;
}

void read_effects(verdict &result, const std::vector<change_request> &changes)
{
    size_t first = 0;
    for (const change_request &change : changes) {
        const size_t next = first + operations_of(change).size();
        if (next > result.parsed.outcomes.size() ||
            !result.parsed.outcomes[next - 1].errors.empty())
            return;
        result.effects.push_back(read_effect(change, result.parsed.outcomes, first));
        first = next;
    }
}

std::string joined_operations(const std::vector<change_request> &changes, size_t &count)
{
    std::string all;
    count = 0;
    for (const change_request &change : changes)
        for (const std::string &operation : operations_of(change)) {
            all += operation;
            ++count;
        }
    return all;
}

} // namespace

change_request read_change(const arguments &given, catalog &known)
{
    const auto &words = given.words;
    change_request change{verb_of(given.command), {words.at(0), given.name, ""}, {}, 0};
    auto word = words.begin() + 1;
    if (!change.which.name && word != words.end() && !is_assignment(*word))
        change.which.name = *word++;
    if (change.what == verb::remove && word != words.end())
        misuse("\"" + visible(*word) +
               "\": a condition is given with --where, a name that holds a \"=\" with --name");
    std::transform(word, words.end(), std::back_inserter(change.values), read_assignment);
    if (change.what == verb::set && change.values.empty()) misuse("PROPERTY=VALUE is missing");
    if (given.where) {
        const condition only = compile_where(*given.where);
        known.expect_properties(words[0], only.properties);
        change.which.where = only.xml;
    }
    return change;
}

verdict carry_out(const peer &daemon, const std::string &origin,
                  const std::vector<change_request> &changes)
{
    size_t count = 0;
    const std::string operations = joined_operations(changes, count);
    verdict result{daemon.ask(request(in_transaction(operations), origin)), {}, false, {}};
    result.parsed = parse_answer(result.text);
    result.accepted = !result.parsed.has_errors();
    if (result.accepted && result.parsed.outcomes.size() != count)
        refuse("the daemon has not answered every change");
    read_effects(result, changes);
    return result;
}

verdict rehearse(const peer &daemon, const std::string &origin,
                 const std::vector<change_request> &changes)
{
    const sentinel stop;
    size_t count = 0;
    const std::string operations = joined_operations(changes, count) + stop.operation();
    verdict result{daemon.ask(request(in_transaction(operations), origin)), {}, false, {}};
    result.parsed = parse_answer(result.text);
    result.accepted = stop.stopped(result.parsed, count);
    if (result.accepted) result.text = stop.remove_from(result.text);
    read_effects(result, changes);
    return result;
}

sentinel::sentinel()
{
    std::random_device source;
    constexpr const char *digits = "0123456789abcdef";
    std::string class_name = "veskctl-dry-run-";
    for (int i = 0; i < 16; ++i)
        class_name += digits[source() % 16];
    error_ = "Unknown class \"" + class_name + "\".";
    operation_ = insert({class_name, {}, ""}, {});
}

bool sentinel::stopped(const answer &all, size_t operations) const
{
    if (!all.has_errors()) refuse("the daemon made the changes of a dry run");
    if (all.outcomes.size() != operations + 1) return false;
    const auto before_last = all.outcomes.end() - 1;
    const bool others_failed = std::any_of(all.outcomes.begin(), before_last,
                                           [](const outcome &o) { return !o.errors.empty(); });
    const auto &errors = before_last->errors;
    return !others_failed && errors.size() == 1 && errors[0] == error_;
}

std::string sentinel::remove_from(const std::string &answer_text) const
{
    const std::string mark = "<error>" + error_;
    const size_t start = answer_text.rfind(mark);
    const size_t end = answer_text.rfind("</lsql_result>");
    if (start == answer_text.npos || end == answer_text.npos || end < start) return answer_text;
    return answer_text.substr(0, start) + answer_text.substr(end);
}

} // namespace vesk::client
