#ifndef VESK_CLIENTS_OUTPUT_H
#define VESK_CLIENTS_OUTPUT_H

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "clients/answer.h"
#include "clients/arguments.h"
#include "clients/table.h"

namespace vesk::client {

/** Writes to the standard output; ends the command when that takes nothing any more. */
void write_out(std::string_view text);

/** JSON, in one line or indented, with a line feed; what a terminal would obey is escaped. */
enum class json_layout { indented, line };
std::string json_text(const nlohmann::ordered_json &value,
                      json_layout layout = json_layout::indented);
nlohmann::ordered_json instances_json(const std::vector<instance> &instances);

/** One table of instances: their names, if they have any, and all properties that one of them has.
 */
table instance_table(const std::vector<instance> &instances);

/** A table, or records where nobody could read that. */
void append_rows(std::string &out, const table &shown, const screen &on);

/** Instances as a table for each class, with titles if there may be several, or as JSON. */
enum class titles { none, classes };
std::string instances_text(const std::vector<instance> &instances, format as, titles with);

} // namespace vesk::client

#endif
