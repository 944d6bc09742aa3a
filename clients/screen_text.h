#ifndef VESK_CLIENTS_SCREEN_TEXT_H
#define VESK_CLIENTS_SCREEN_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::client {

/** One character of a UTF-8 text; a byte that belongs to none counts as an ill-formed one. */
struct character {
    char32_t code;
    size_t length; // in bytes
    bool valid;
};
character character_at(std::string_view text, size_t at);

/** Whether all of the text is UTF-8. */
bool is_well_formed(std::string_view text);

/** Appends the character as UTF-8. */
void append_character(std::string &out, char32_t code);

/** Whether a terminal may obey the character instead of drawing it. */
bool is_hidden(char32_t code);

/**
 * The text as it may go to a terminal: what is hidden or ill-formed is written as in a quoted text
 * (\n, \x1b, \u{202e}), a backslash doubled. The functions below take only such text.
 */
std::string visible(std::string_view text);

/** How many columns of a terminal the text takes. */
size_t columns(std::string_view text);

/** The text, cut to a width; an ellipsis stands for what is missing. */
std::string cut(const std::string &text, size_t width);

/** The text in lines of at most this width, broken behind blanks where there are some; at least
 * one. */
std::vector<std::string> wrapped(std::string_view text, size_t width);

} // namespace vesk::client

#endif
