#ifndef VESK_CLIENTS_TABLE_H
#define VESK_CLIENTS_TABLE_H

#include <string>
#include <vector>

namespace vesk::client {

/** What a text is laid out for. */
struct screen {
    bool terminal = false;
    size_t width = 0; // in columns; 0: as wide as it takes
    bool colour = false;
};

/** What the standard output is. */
screen standard_output();

/** Cells are any text; each row has as many as there are headers. */
struct table {
    std::vector<std::string> headers;
    std::vector<std::vector<std::string>> rows;
    size_t keys = 0; // so many columns at the left say what a row is about
};

/**
 * Aligned columns. Where the screen is too narrow, those without any value are left out, headers
 * are cut, and then the widest columns. Where that would leave too little to read, the columns
 * stand in several tables, each with the keys. False, with nothing appended, when not even that
 * fits.
 */
bool append_table(std::string &out, const table &shown, const screen &on);

/** The rows one below the other, each with a line for every cell; long cells are continued. */
enum class empty_cells { shown, left_out };
void append_records(std::string &out, const table &shown, const screen &on, empty_cells which);

/** The line above a table, in bold where there is colour. */
std::string title(const std::string &text, const screen &on);

} // namespace vesk::client

#endif
