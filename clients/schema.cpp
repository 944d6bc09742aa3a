#include "clients/command.h"

#include <nlohmann/json.hpp>

#include "clients/failure.h"
#include "clients/output.h"
#include "clients/request.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

struct topic {
    const char *word;
    const char *class_name;
    const char *name_header;
    std::vector<std::string> properties;
};

const std::vector<topic> &topics()
{
    static const std::vector<topic> all{
        {"classes", "schema_class", "CLASS", {"type", "persistent", "abstract", "superclass"}},
        {"properties",
         "schema_property",
         "CLASS",
         {"property", "readable", "writable", "required", "persistent", "identifier"}},
        {"providers", "schema_provider", "PROVIDER", {"position", "commit", "refresh", "present"}},
        {"services", "schema_service", "SERVICE", {"state", "pid", "command"}},
    };
    return all;
}

std::vector<topic> chosen(const std::vector<std::string> &words)
{
    if (words.empty()) return topics();
    for (const topic &one : topics())
        if (words[0] == one.word) return {one};
    misuse("\"" + visible(words[0]) + "\" is none of classes, properties, providers, services");
}

std::string table_text(const topic &about, const std::vector<instance> &instances, bool with_title)
{
    const screen on = standard_output();
    std::string text = with_title ? title(about.word, on) : "";
    table shown = instance_table(instances);
    if (!shown.headers.empty()) shown.headers[0] = about.name_header;
    append_rows(text, shown, on);
    return text;
}

bool exists(session &with, const char *class_name)
{
    const std::string operations = expect_class(class_name) + select({class_name, {}, ""}, {});
    return !parse_answer(with.daemon.ask(request(operations, ""))).has_errors();
}

/** A topic with what there is of it; nothing at all when the daemon does not have its class. */
struct found_topic {
    const topic *about;
    const std::vector<instance> *instances;
};

std::vector<found_topic> look_up(session &with, const std::vector<topic> &asked,
                                 const answer &found)
{
    std::vector<found_topic> all;
    for (size_t i = 0; i < asked.size(); ++i) {
        const auto &instances = found.outcomes[i].instances;
        const bool is_there = !instances.empty() || exists(with, asked[i].class_name);
        all.push_back({&asked[i], is_there ? &instances : nullptr});
    }
    return all;
}

std::string tables_text(const std::vector<found_topic> &topics)
{
    std::string text;
    for (const found_topic &one : topics) {
        if (!one.instances || one.instances->empty()) continue;
        if (!text.empty()) text += '\n';
        text += table_text(*one.about, *one.instances, topics.size() > 1);
    }
    return text;
}

std::string topics_json(const std::vector<found_topic> &topics)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::object();
    for (const found_topic &one : topics)
        if (one.instances) all[one.about->word] = instances_json(*one.instances);
    return json_text(all);
}

void stop_at_missing(const std::vector<found_topic> &topics)
{
    std::string names;
    for (const found_topic &one : topics)
        if (!one.instances)
            names += (names.empty() ? "\"" : ", \"") + std::string{one.about->class_name} + "\"";
    if (names.empty()) return;
    refuse("the running daemon has no class " + names +
           ": its plug-in \"schema\" is not loaded, or an older one");
}

} // namespace

void schema(session &with)
{
    const std::vector<topic> asked = chosen(with.given.words);
    std::string operations;
    for (const topic &one : asked)
        operations += select({one.class_name, {}, ""}, one.properties);
    const std::string text = with.daemon.ask(request(operations, ""));
    const answer found = parse_answer(text);
    stop_at_errors(found);
    if (found.outcomes.size() != asked.size()) refuse("the daemon has not answered everything");
    const auto topics = look_up(with, asked, found);
    switch (with.given.output.value_or(format::table)) {
    case format::xml:
        write_out(text);
        break;
    case format::json:
        write_out(topics_json(topics));
        break;
    case format::table:
        write_out(tables_text(topics));
    }
    stop_at_missing(topics);
}

} // namespace vesk::client
