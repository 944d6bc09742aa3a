#ifndef VESK_CLIENTS_SHELL_WORDS_H
#define VESK_CLIENTS_SHELL_WORDS_H

#include <string>
#include <string_view>
#include <vector>

namespace vesk::client {

/** The words of one command, and the line on which it begins. */
struct shell_line {
    size_t number = 1;
    std::vector<std::string> words;
};

/**
 * Splits a text into commands and these into words, with the quotes, backslashes and comments of a
 * shell: '...', "...", $'...'. Nothing is expanded. A line ends at its line feed, with a carriage
 * return in front or not, unless that is quoted. Ends the command when a quote stays open.
 */
std::vector<shell_line> split_lines(std::string_view text);

/** A command that is still being typed. */
struct unfinished_line {
    std::vector<std::string> words; // the last one is that at the cursor, maybe empty
    char quote = '\0';              // in which that one stands, if it does
};
unfinished_line split_unfinished(std::string_view text);

/** The word as a shell takes it back, where it stands in a quote or in none. */
std::string shell_quoted(std::string_view word, char quote);

} // namespace vesk::client

#endif
