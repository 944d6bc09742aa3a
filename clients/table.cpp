#include "clients/table.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <sys/ioctl.h>
#include <unistd.h>

#include "clients/screen_text.h"

namespace vesk::client {
namespace {

constexpr size_t gap = 2;
constexpr size_t readable = 8;     // columns that a cut cell keeps at least
constexpr size_t recognizable = 4; // and a header, where that leaves all values whole
constexpr size_t most_parts = 3;   // of a folded table
constexpr size_t any_width = static_cast<size_t>(-1);
constexpr size_t fallback = 80; // columns of a terminal that does not say

std::string styled(const char *style, const std::string &text, const screen &on)
{
    return on.colour ? std::string{"\033["} + style + "m" + text + "\033[0m" : text;
}

table made_visible(const table &shown)
{
    table result = shown;
    const auto make_visible = [](std::vector<std::string> &cells) {
        for (std::string &cell : cells)
            cell = visible(cell);
    };
    make_visible(result.headers);
    std::for_each(result.rows.begin(), result.rows.end(), make_visible);
    return result;
}

using widths = std::vector<size_t>;

/** What the values take. */
widths value_widths(const table &shown)
{
    widths result(shown.headers.size());
    for (const auto &row : shown.rows)
        for (size_t i = 0; i < row.size(); ++i)
            result[i] = std::max(result[i], columns(row[i]));
    return result;
}

/** What the values take and the headers, of which each counts up to most. */
widths with_headers(widths values, const table &shown, size_t most)
{
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = std::max(values[i], std::min(columns(shown.headers[i]), most));
    return values;
}

size_t total(const widths &all)
{
    return std::accumulate(all.begin(), all.end(), gap * (all.size() - 1));
}

bool is_empty_column(const table &shown, size_t column)
{
    return std::all_of(shown.rows.begin(), shown.rows.end(),
                       [&](const auto &row) { return row[column].empty(); });
}

table with_columns(const table &shown, const std::vector<size_t> &chosen)
{
    table result{.headers = {}, .rows = {}, .keys = shown.keys};
    result.rows.resize(shown.rows.size());
    for (const size_t column : chosen) {
        result.headers.push_back(shown.headers[column]);
        for (size_t row = 0; row < shown.rows.size(); ++row)
            result.rows[row].push_back(shown.rows[row][column]);
    }
    return result;
}

table without_empty_columns(const table &shown)
{
    std::vector<size_t> filled;
    for (size_t column = 0; column < shown.headers.size(); ++column)
        if (column < shown.keys || !is_empty_column(shown, column)) filled.push_back(column);
    return filled.empty() ? shown : with_columns(shown, filled);
}

/** Takes from the widest columns, down to what each keeps, until all fit; false when they do not.
 */
bool shrink(widths &all, const widths &kept, size_t available)
{
    while (total(all) > available) {
        size_t widest = 0;
        size_t width = 0;
        for (size_t i = 0; i < all.size(); ++i)
            if (all[i] > kept[i] && all[i] > width) {
                widest = i;
                width = all[i];
            }
        if (width == 0) return false;
        --all[widest];
    }
    return true;
}

/** Cuts headers before values, and keys last; false when that leaves too little of the values. */
bool fit(widths &all, const table &shown, size_t available)
{
    const widths values = value_widths(shown);
    widths least;
    for (const size_t width : all)
        least.push_back(std::min(width, readable));
    widths whole_keys = least;
    for (size_t i = 0; i < shown.keys; ++i)
        whole_keys[i] = values[i];
    if (shrink(all, with_headers(values, shown, readable), available)) return true;
    widths short_headers = all;
    if (shrink(short_headers, with_headers(values, shown, recognizable), available)) {
        all = std::move(short_headers);
        return true;
    }
    return shrink(all, whole_keys, available) || shrink(all, least, available);
}

void append_row(std::string &out, const std::vector<std::string> &cells, const widths &all)
{
    const size_t start = out.size();
    for (size_t i = 0; i < cells.size(); ++i) {
        const std::string cell = cut(cells[i], all[i]);
        out += cell;
        out.append(all[i] - columns(cell) + gap, ' ');
    }
    out.erase(std::max(out.find_last_not_of(' ') + 1, start));
    out += '\n';
}

void append_grid(std::string &out, const table &drawn, const widths &all, const screen &on)
{
    std::string header;
    append_row(header, drawn.headers, all);
    header.pop_back();
    out += styled("1", header, on) + '\n';
    for (const auto &row : drawn.rows)
        append_row(out, row, all);
}

/** Shares the columns out among tables that fit, each with the keys; none when one column cannot.
 */
std::vector<table> folded(const table &shown, size_t available)
{
    const widths all = with_headers(value_widths(shown), shown, any_width);
    std::vector<size_t> keys(shown.keys);
    std::iota(keys.begin(), keys.end(), size_t{0});
    std::vector<table> parts;
    std::vector<size_t> chosen = keys;
    const auto width_with = [&](size_t added) {
        size_t sum = all[added];
        for (const size_t column : chosen)
            sum += all[column] + gap;
        return sum;
    };
    for (size_t column = keys.size(); column < all.size(); ++column) {
        if (chosen.size() > keys.size() && width_with(column) > available) {
            parts.push_back(with_columns(shown, chosen));
            chosen = keys;
        }
        if (width_with(column) > available) return {};
        chosen.push_back(column);
    }
    parts.push_back(with_columns(shown, chosen));
    return parts;
}

/** Several tables one below the other, where a key says which of their rows belong together. */
bool append_folded(std::string &out, const table &drawn, const screen &on)
{
    if (drawn.keys == 0 || drawn.rows.size() < 2) return false;
    const std::vector<table> parts = folded(drawn, on.width);
    if (parts.empty() || parts.size() > most_parts) return false;
    for (const table &part : parts) {
        if (&part != &parts.front()) out += '\n';
        append_grid(out, part, with_headers(value_widths(part), part, any_width), on);
    }
    return true;
}

void append_record(std::string &out, const std::vector<std::string> &headers,
                   const std::vector<std::string> &row, size_t label_width, const screen &on,
                   empty_cells which)
{
    const size_t indent = label_width + gap;
    const size_t room = on.width > indent + readable ? on.width - indent : readable;
    for (size_t i = 0; i < row.size(); ++i) {
        if (row[i].empty() && which == empty_cells::left_out) continue;
        const auto lines = on.width ? wrapped(row[i], room) : std::vector{row[i]};
        std::string label = headers[i];
        if (!row[i].empty()) label.append(indent - columns(label), ' ');
        for (const std::string &line : lines) {
            out += label + line + '\n';
            label.assign(indent, ' ');
        }
    }
}

std::string variable(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

bool may_colour()
{
    const std::string terminal = variable("TERM");
    return variable("NO_COLOR").empty() && !terminal.empty() && terminal != "dumb";
}

size_t terminal_width()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    const unsigned long width = std::strtoul(variable("COLUMNS").c_str(), nullptr, 10);
    return width > 0 ? width : fallback;
}

} // namespace

screen standard_output()
{
    if (!isatty(STDOUT_FILENO)) return {};
    return {.terminal = true, .width = terminal_width(), .colour = may_colour()};
}

bool append_table(std::string &out, const table &shown, const screen &on)
{
    table drawn = made_visible(shown);
    widths all = with_headers(value_widths(drawn), drawn, any_width);
    if (on.width && total(all) > on.width) {
        drawn = without_empty_columns(drawn);
        all = with_headers(value_widths(drawn), drawn, any_width);
        if (!fit(all, drawn, on.width)) return append_folded(out, drawn, on);
    }
    append_grid(out, drawn, all, on);
    return true;
}

void append_records(std::string &out, const table &shown, const screen &on, empty_cells which)
{
    const table drawn = made_visible(shown);
    size_t label_width = 0;
    for (const std::string &header : drawn.headers)
        label_width = std::max(label_width, columns(header));
    for (const auto &row : drawn.rows) {
        if (&row != &drawn.rows.front()) out += '\n';
        append_record(out, drawn.headers, row, label_width, on, which);
    }
}

std::string title(const std::string &text, const screen &on)
{
    return styled("1;4", text, on) + '\n';
}

} // namespace vesk::client
