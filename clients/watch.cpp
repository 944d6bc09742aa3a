#include "clients/command.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include <nlohmann/json.hpp>

#include "clients/failure.h"
#include "clients/output.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

using json = nlohmann::ordered_json;

constexpr size_t longest_message = size_t{64} * 1024 * 1024; // more than any the daemon sends

struct notification {
    bool of_startup = false; // else of an object
    const char *origin = nullptr;
    const char *number = "";
    std::vector<instance> objects;
};

notification read_notification(const xmlDoc &document)
{
    const xmlNode *root = xmlDocGetRootElement(&document);
    notification read;
    read.of_startup = std::strcmp(name_of(root), "conf_changed") == 0;
    read.origin = attribute_of(root, "origin");
    if (const char *text = content_of(root)) read.number = text;
    if (!read.of_startup) read.objects = instances_in(root);
    return read;
}

std::string now()
{
    const std::time_t time = std::time(nullptr);
    std::tm local{};
    localtime_r(&time, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%H:%M:%S", &local)};
}

/** Such as "radio r2: state=off  (web)". */
std::string described(const notification &heard)
{
    std::string line;
    if (heard.of_startup) line += "startup configuration replaced, number " + visible(heard.number);
    for (const instance &object : heard.objects) {
        line += visible(object.class_name);
        if (object.name) line += " " + visible(object.name);
        for (const field &value : object.fields)
            line += ": " + visible(value.property) + "=" + visible(value.value);
    }
    if (heard.origin) line += "  (" + visible(heard.origin) + ")";
    return line;
}

/** The time with what was heard, in as many lines as that takes. */
std::string lines_of(const notification &heard)
{
    const screen on = standard_output();
    std::string margin = now() + "  ";
    const size_t room = on.width > margin.size() ? on.width - margin.size() : 1;
    const std::string text = described(heard);
    std::string lines;
    for (const std::string &line : on.width ? wrapped(text, room) : std::vector{text}) {
        lines += margin + line + "\n";
        margin.assign(margin.size(), ' ');
    }
    return lines;
}

json json_of(const notification &heard)
{
    const json origin = heard.origin ? json(heard.origin) : json(nullptr);
    if (heard.of_startup)
        return {{"event", "conf_changed"},
                {"origin", origin},
                {"number", std::strtol(heard.number, nullptr, 10)}};
    json event{{"event", "object_changed"}, {"origin", origin}};
    for (const instance &object : heard.objects) {
        event["class"] = object.class_name;
        event["name"] = object.name ? json(object.name) : json(nullptr);
        for (const field &value : object.fields) {
            event["property"] = value.property;
            event["value"] = value.value;
        }
    }
    return event;
}

std::string text_of(const std::string &message, format as)
{
    if (as == format::xml) return message;
    const xml_doc document = parse_xml(message, xml_source::file);
    if (!document) { // a plug-in's text: no reason to miss what comes next
        std::fprintf(stderr, "veskctl: a notification that is no XML: %s\n",
                     visible(message).c_str());
        return {};
    }
    const notification heard = read_notification(*document);
    return as == format::json ? json_text(json_of(heard), json_layout::line) : lines_of(heard);
}

} // namespace

void watch(session &with)
{
    const format as = with.given.output.value_or(format::table);
    connection daemon = with.daemon.subscribe();
    daemon.wait_for_ever();
    std::string pending;
    size_t searched = 0;
    for (unsigned shown = 0; with.given.count == 0 || shown < with.given.count;) {
        const size_t end = pending.find('\0', searched);
        if (end != pending.npos) {
            write_out(text_of(pending.substr(0, end), as));
            pending.erase(0, end + 1);
            searched = 0;
            ++shown;
            continue;
        }
        searched = pending.size();
        const std::string block = daemon.receive();
        if (block.empty())
            throw failure{status::unreachable,
                          "the daemon closed the connection: it has ended, or it has no room for "
                          "another subscriber"};
        pending += block;
        if (pending.size() > longest_message) refuse("the daemon sends a message without an end");
    }
}

} // namespace vesk::client
