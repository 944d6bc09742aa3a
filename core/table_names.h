#ifndef VESK_CORE_TABLE_NAMES_H
#define VESK_CORE_TABLE_NAMES_H

#include <cstddef>
#include <cstring>

namespace vesk {

inline size_t count_names(const char *const *names)
{
    size_t count = 0;
    while (names[count])
        ++count;
    return count;
}

inline bool is_key(const char *name)
{
    return *name == '*';
}

/** A listed name as names are compared: without its "#". */
inline const char *bare_name(const char *name)
{
    return *name == '#' ? name + 1 : name;
}

/** The name of what a column holds: without any prefix. */
inline const char *column_name(const char *name)
{
    return is_key(name) ? name + 1 : bare_name(name);
}

/** Whether a column gives the name of the instance. */
inline bool is_instance_name(const char *name)
{
    return std::strcmp(column_name(name), "name") == 0;
}

/** Whether a column sets a property. */
inline bool is_property(const char *name)
{
    return *name && !is_key(name) && !is_instance_name(name);
}

/** The index of a name, given with or without a prefix, in a list; -1 when it is not there. */
inline int find_name(const char *const *names, const char *wanted)
{
    for (int i = 0; names[i]; ++i)
        if (std::strcmp(bare_name(names[i]), column_name(wanted)) == 0) return i;
    return -1;
}

} // namespace vesk

#endif
