#ifndef VESK_CLIENTS_REQUEST_H
#define VESK_CLIENTS_REQUEST_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::client {

/** What an operation is about: a class, or some of its instances. */
struct selection {
    std::string class_name;
    std::optional<std::string> name;
    std::string where; // compiled; empty: none
};

struct assignment {
    std::string property;
    std::string value;
};

/** Ends the command when XML has no such name; what says what it is the name of. */
void check_name(const std::string &name, const char *what);

/** The text as the content of an element; ends the command when XML cannot hold it. */
std::string escaped(std::string_view text);

/** An element with this content, which is XML. */
std::string element(std::string_view name, std::string_view content);

// Operations.
std::string select(const selection &from, const std::vector<std::string> &properties);
std::string select_all(const selection &from);
std::string update(const selection &which, const std::vector<assignment> &values);
std::string remove(const selection &which);
std::string insert(const selection &made, const std::vector<assignment> &values);

/** An operation that does nothing but fail when there is no such class. */
std::string expect_class(const std::string &class_name);

std::string in_transaction(std::string_view operations);

/** The document; without an origin when that is empty. */
std::string request(std::string_view operations, std::string_view origin);

} // namespace vesk::client

#endif
