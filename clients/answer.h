#ifndef VESK_CLIENTS_ANSWER_H
#define VESK_CLIENTS_ANSWER_H

#include <string>
#include <string_view>
#include <vector>

#include "base/xml.h"

namespace vesk::client {

// All texts are borrowed from the document that they stand in.

struct field {
    const char *property;
    const char *value; // "" for an empty one and for none
};

struct instance {
    const char *class_name;
    const char *name; // null: none
    std::vector<field> fields;

    /** The value of a property, "" when it is not there. */
    const char *value(std::string_view property) const;
};

/** What became of one operation. */
struct outcome {
    std::vector<instance> instances; // of a select
    std::vector<const char *> errors;
    unsigned long touched = 0;
};

struct answer {
    xml_doc document;
    std::vector<outcome> outcomes;

    bool has_errors() const;
};

/** A document of the daemon; what is the name for it in the message that otherwise ends the
 * command. */
xml_doc parse_document(const std::string &text, const char *what);

/** Reads an answer; ends the command when that is something else, or not whole. */
answer read_answer(xml_doc document);
answer parse_answer(const std::string &text);

/** The instances that are the elements within a dataset or a configuration file. */
std::vector<instance> instances_in(const xmlNode *parent);

/** Checks the answer to get_conf: ends the command when there is no startup file. */
void expect_startup(const xmlDoc &document);

/** Shows the daemon's errors, as they are, on the standard error. */
void show_errors(const answer &from);
void show_error(const std::string &text);

/** Shows the errors and ends the command, if there are any. */
void stop_at_errors(const answer &from);

/** What is wrong with a document, or nothing. */
std::string fault_of_xml(const std::string &text);

} // namespace vesk::client

#endif
