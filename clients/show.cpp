#include "clients/command.h"

#include <cstdio>

#include "clients/failure.h"
#include "clients/output.h"
#include "clients/request.h"
#include "clients/screen_text.h"
#include "clients/where.h"

namespace vesk::client {
namespace {

/** What is to be shown of one class. */
struct wanted {
    selection from;
    std::vector<std::string> properties; // none: all
};

/** Tells the name of an instance from properties: a word that is a property is no name. */
wanted read_words(session &with)
{
    const auto &words = with.given.words;
    wanted what{{words[0], with.given.name, ""}, {words.begin() + 1, words.end()}};
    if (what.properties.empty()) return what;
    for (const std::string &word : what.properties)
        if (word.find('=') != word.npos)
            misuse("\"" + visible(word) +
                   "\": a condition is given with --where, a name that holds a \"=\" with --name");
    const auto &known = with.known.properties(words[0]);
    if (!what.from.name && !contains(known, what.properties[0])) {
        what.from.name = what.properties[0];
        what.properties.erase(what.properties.begin());
    }
    with.known.expect_properties(words[0], what.properties);
    return what;
}

void add_condition(session &with, wanted &what)
{
    if (!with.given.where) return;
    const condition only = compile_where(*with.given.where);
    with.known.expect_properties(what.from.class_name, only.properties);
    what.from.where = only.xml;
}

std::string operation_for(const wanted &what)
{
    return what.properties.empty() ? select_all(what.from) : select(what.from, what.properties);
}

/** Shows the answer; its instances, all of them in one vector. */
std::vector<instance> print(const answer &all, const std::string &text, format as, titles with)
{
    std::vector<instance> instances;
    for (const outcome &one : all.outcomes)
        instances.insert(instances.end(), one.instances.begin(), one.instances.end());
    write_out(as == format::xml ? text : instances_text(instances, as, with));
    return instances;
}

/** Says why nothing was found. */
void explain_nothing(session &with, const wanted &what)
{
    const std::string &cls = what.from.class_name;
    stop_at_errors(
        parse_answer(with.daemon.ask(request(expect_class(cls) + select({cls, "", ""}, {}), ""))));
    const std::string whose = with.given.where ? " for which this is true" : "";
    const std::string name = what.from.name ? "\"" + visible(*what.from.name) + "\"" : "";
    if (with.given.name || (what.from.name && !whose.empty()))
        refuse("no instance of class \"" + cls + "\" is called " + name + whose);
    if (what.from.name)
        refuse("class \"" + cls + "\" has neither an instance nor a property " + name);
    std::fprintf(stderr, "veskctl: there is no instance of class \"%s\"%s\n", cls.c_str(),
                 whose.c_str());
}

void show_class(session &with, format as)
{
    wanted what = read_words(with);
    add_condition(with, what);
    const std::string text = with.daemon.ask(request(operation_for(what), ""));
    const answer found = parse_answer(text);
    stop_at_errors(found);
    if (print(found, text, as, titles::none).empty()) explain_nothing(with, what);
}

/** Classes of which each instance is shown once: a superclass has those of its subclasses. */
std::string select_everything(session &with)
{
    std::string operations;
    for (const class_facts &cls : with.known.classes())
        if (cls.superclass.empty() && !cls.name.starts_with("schema_"))
            operations += select_all({cls.name, {}, ""});
    return operations;
}

void show_everything(session &with, format as)
{
    if (with.given.name || with.given.where) misuse("--name and --where need a class");
    const std::string operations = select_everything(with);
    if (operations.empty()) refuse("the daemon has no classes");
    const std::string text = with.daemon.ask(request(operations, ""));
    const answer found = parse_answer(text);
    stop_at_errors(found);
    print(found, text, as, titles::classes);
}

} // namespace

void show(session &with)
{
    const format as = with.given.output.value_or(format::table);
    if (with.given.words.empty())
        show_everything(with, as);
    else
        show_class(with, as);
}

} // namespace vesk::client
