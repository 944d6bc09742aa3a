#include "clients/output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>

#include <nlohmann/json.hpp>

#include "clients/failure.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

using json = nlohmann::ordered_json;

/** The position of a property among the headers, where it is entered if it is new. */
size_t column_of(table &shown, std::map<std::string_view, size_t> &known, const char *property)
{
    const auto [entry, is_new] = known.try_emplace(property, shown.headers.size());
    if (is_new) shown.headers.emplace_back(property);
    return entry->second;
}

bool has_names(const std::vector<instance> &instances)
{
    for (const instance &one : instances)
        if (one.name) return true;
    return false;
}

json json_of(const instance &one)
{
    json values = json::object();
    for (const field &value : one.fields)
        values[value.property] = value.value;
    return {{"class", one.class_name},
            {"name", one.name ? json(one.name) : json(nullptr)},
            {"properties", std::move(values)}};
}

/** Instances of one class after the other, each class in a vector of its own. */
std::vector<std::vector<instance>> by_class(const std::vector<instance> &instances)
{
    std::vector<std::vector<instance>> classes;
    std::map<std::string_view, size_t> known;
    for (const instance &one : instances) {
        const auto [entry, is_new] = known.try_emplace(one.class_name, classes.size());
        if (is_new) classes.emplace_back();
        classes[entry->second].push_back(one);
    }
    return classes;
}

/** The code units that JSON writes a character with. */
std::string json_escape(char32_t code)
{
    char buffer[16];
    if (code < 0x10000) {
        std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(code));
    } else {
        const auto rest = static_cast<unsigned>(code - 0x10000);
        std::snprintf(buffer, sizeof buffer, "\\u%04x\\u%04x", 0xD800 + (rest >> 10),
                      0xDC00 + (rest & 0x3FF));
    }
    return buffer;
}

} // namespace

void write_out(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
        return;
    refuse(std::string{"cannot write: "} + std::strerror(errno));
}

json instances_json(const std::vector<instance> &instances)
{
    json all = json::array();
    for (const instance &one : instances)
        all.push_back(json_of(one));
    return all;
}

std::string json_text(const json &value, json_layout layout)
{
    const int indent = layout == json_layout::indented ? 2 : -1;
    const std::string plain = value.dump(indent, ' ', false, json::error_handler_t::replace) + "\n";
    std::string text;
    for (size_t at = 0; at < plain.size();) {
        const character c = character_at(plain, at);
        // Below 0x20 there are only line feeds, which do not stand inside of a string.
        if (c.code >= 0x7F && is_hidden(c.code))
            text += json_escape(c.code);
        else
            text.append(plain, at, c.length);
        at += c.length;
    }
    return text;
}

table instance_table(const std::vector<instance> &instances)
{
    table shown;
    std::map<std::string_view, size_t> known;
    const bool named = has_names(instances);
    shown.keys = named ? 1 : 0;
    if (named) shown.headers.emplace_back("NAME");
    for (const instance &one : instances) {
        std::vector<std::string> row(shown.headers.size());
        if (named) row[0] = one.name ? one.name : "";
        for (const field &value : one.fields) {
            const size_t column = column_of(shown, known, value.property);
            row.resize(shown.headers.size());
            row[column] = value.value;
        }
        shown.rows.push_back(std::move(row));
    }
    for (auto &row : shown.rows)
        row.resize(shown.headers.size());
    return shown;
}

void append_rows(std::string &out, const table &shown, const screen &on)
{
    if (shown.rows.empty() || shown.headers.empty()) return;
    if (!append_table(out, shown, on)) append_records(out, shown, on, empty_cells::left_out);
}

std::string instances_text(const std::vector<instance> &instances, format as, titles with)
{
    if (as == format::json) return json_text(instances_json(instances));
    const screen on = standard_output();
    std::string text;
    for (const auto &one_class : by_class(instances)) {
        if (!text.empty()) text += '\n';
        if (with == titles::classes) text += title(visible(one_class.front().class_name), on);
        // One instance is easier to read as a list: unless others stand beside it, above and below.
        const bool alone = one_class.size() == 1 && (with == titles::none || !one_class[0].name);
        if (on.terminal && alone)
            append_records(text, instance_table(one_class), on, empty_cells::shown);
        else
            append_rows(text, instance_table(one_class), on);
    }
    return text;
}

} // namespace vesk::client
