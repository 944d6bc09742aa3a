#ifndef VESK_CLIENTS_WHERE_H
#define VESK_CLIENTS_WHERE_H

#include <string>
#include <string_view>
#include <vector>

namespace vesk::client {

/** A condition, compiled to what stands in a where element. */
struct condition {
    std::string xml;
    std::vector<std::string> properties; // that it looks at
};

/**
 * Compiles a condition:
 *
 *     either := both {"or" both}         both := one {"and" one}
 *     one    := "not" one | "(" either ")" | what [("=" | "!=") (what | VALUE)]
 *     what   := PROPERTY | .PROPERTY | "name"
 *
 * A VALUE is a word, or quoted with '...' or "...", in which a backslash escapes. "name" is the
 * name of the instance, and .name a property called so; on the right a property always has its dot.
 * An empty value stands for none at all. Ends the command when the text is none of this.
 */
condition compile_where(std::string_view text);

} // namespace vesk::client

#endif
