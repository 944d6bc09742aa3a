#include "clients/answer.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include "clients/failure.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

bool is_named(const xmlNode *node, const char *name)
{
    return is_element(node) && std::strcmp(name_of(node), name) == 0;
}

const char *text_in(const xmlNode *element)
{
    const char *text = content_of(element);
    return text ? text : "";
}

template <typename Visit> void for_each_element(const xmlNode *parent, Visit &&visit)
{
    for (const xmlNode *child = parent->children; child; child = child->next)
        if (is_element(child)) visit(*child);
}

instance read_instance(const xmlNode &node)
{
    instance read{name_of(&node), attribute_of(&node, "name"), {}};
    for_each_element(&node, [&](const xmlNode &value) {
        read.fields.push_back({name_of(&value), text_in(&value)});
    });
    return read;
}

/** The operations of an answer; each ends with its counter. */
std::vector<outcome> read_outcomes(const xmlNode *root)
{
    std::vector<outcome> outcomes;
    outcome current;
    for_each_element(root, [&](const xmlNode &part) {
        if (is_named(&part, "dataset")) current.instances = instances_in(&part);
        if (is_named(&part, "error")) current.errors.push_back(text_in(&part));
        if (!is_named(&part, "counter")) return;
        current.touched = std::strtoul(text_in(&part), nullptr, 10);
        outcomes.push_back(std::move(current));
        current = {};
    });
    return outcomes;
}

} // namespace

const char *instance::value(std::string_view property) const
{
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const field &f) { return f.property == property; });
    return found == fields.end() ? "" : found->value;
}

bool answer::has_errors() const
{
    return std::any_of(outcomes.begin(), outcomes.end(),
                       [](const outcome &o) { return !o.errors.empty(); });
}

xml_doc parse_document(const std::string &text, const char *what)
{
    xml_doc document = parse_xml(text, xml_source::file);
    if (!document)
        throw failure{status::unreachable, std::string{what} + " of the daemon ends in the middle"};
    return document;
}

std::vector<instance> instances_in(const xmlNode *parent)
{
    std::vector<instance> instances;
    for_each_element(parent,
                     [&](const xmlNode &node) { instances.push_back(read_instance(node)); });
    return instances;
}

answer read_answer(xml_doc document)
{
    answer read{std::move(document), {}};
    const xmlNode *root = xmlDocGetRootElement(read.document.get());
    if (!is_named(root, "lsql_result")) refuse("what answers is not the daemon");
    read.outcomes = read_outcomes(root);
    return read;
}

answer parse_answer(const std::string &text)
{
    return read_answer(parse_document(text, "the answer"));
}

void expect_startup(const xmlDoc &document)
{
    const xmlNode *root = xmlDocGetRootElement(&document);
    if (is_named(root, "config")) return;
    if (is_named(root, "error")) show_error(text_in(root));
    refuse("the daemon has no startup configuration");
}

void show_error(const std::string &text)
{
    const std::string shown = isatty(STDERR_FILENO) ? visible(text) : text;
    std::fprintf(stderr, "%s\n", shown.c_str());
}

void show_errors(const answer &from)
{
    for (const outcome &one : from.outcomes)
        std::for_each(one.errors.begin(), one.errors.end(), show_error);
}

void stop_at_errors(const answer &from)
{
    if (!from.has_errors()) return;
    show_errors(from);
    refuse("");
}

std::string fault_of_xml(const std::string &text)
{
    if (text.size() > INT_MAX) return {};
    const xml_doc document{
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING)};
    const xmlError *error = document ? nullptr : xmlGetLastError();
    if (!error || !error->message) return document ? "" : "it is empty";
    std::string message = visible(error->message);
    if (message.ends_with("\\n")) message.resize(message.size() - 2);
    return "line " + std::to_string(error->line) + ": " + message;
}

} // namespace vesk::client
