#ifndef VESK_UTIL_H
#define VESK_UTIL_H

#include "vesk/export.h"
#include "vesk/refresher.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * For plug-ins that report the state of the system: text tables, made from files of key=value
 * lines, are turned into instances of the running configuration.
 *
 * A text table is lines that end in a newline, with columns separated by single spaces; a column
 * that holds spaces stands in double quotes. Its names are a null-terminated list, one a column:
 *   "name" or "*name"   the name of the instance
 *   "*key"              tells by the value of that property which instance the line is about
 *   "property"          a property to be set; a leading "#" is not part of its name
 *   ""                  a column to be passed over
 * Values may hold well-formed references such as &amp;; a "<", ">" or other "&" is taken as it is.
 */

/** mkdir() with mode 0777; its result. */
VESK_API int vesk_util_mkdir(const char *path);

/**
 * Replaces each "%XX" by its byte, in place; a "%" that no non-zero hexadecimal number follows
 * stays, and so does "+". Where the decoded text ends.
 */
VESK_API char *vesk_util_url_decode(char *text);

/** The first process whose stat line holds name anywhere, or -1. */
VESK_API int vesk_util_findpid(const char *name);

/** Called for a file that a walk met; appends at most size bytes at out, the NUL included. */
typedef void (*vesk_util_dir_walk_fn)(char *out, int size, const char *path, const char *prefix,
                                      void *data);

/**
 * Calls back for each regular file that pattern stands for. Each "*" is replaced by each entry of
 * its directory in turn but those that begin with "."; the entries chosen gather in the prefix,
 * each followed by a space. Paths and prefixes longer than 79 bytes are passed over.
 */
VESK_API void vesk_util_dir_walk(const char *pattern, char *out, int size, const char *prefix,
                                 vesk_util_dir_walk_fn callback, void *data);

/**
 * Appends a file of key=value lines to a text table, as one line: the prefix, then the value of
 * each name in the null-terminated list names, empty where the file has none. For
 * vesk_util_dir_walk().
 */
VESK_API void vesk_util_add_line_from_proc(char *out, int size, const char *path,
                                           const char *prefix, void *names);

/**
 * Updates an instance of a class from each line of a text table, which is modified. A line that
 * sets nothing ends the work; one that is too long is left out.
 */
VESK_API void vesk_util_put2object(char *text, const char **names, const char *class_name);

/** Writes a table's text, at most size bytes and a NUL. */
typedef void (*vesk_txt_table_fill_fn)(void *argument, char *buffer, int size);

/** Consumes a table's text; vesk_util_put2object() with the class name as argument is one. */
typedef void (*vesk_txt_table_parse_fn)(char *text, const char **names, const char *argument);

/** A source of data: a table and what is made of it. */
typedef struct vesk_txt_table {
    unsigned generation; /**< vesk_query_transaction_number when it was read; 0 at first */
    vesk_txt_table_fill_fn fill;
    void *fill_argument;
    vesk_txt_table_parse_fn parse;
    const char *parse_argument;
    const char **names;
} vesk_txt_table;

/**
 * The value of a property that one of the tables (pointers, ended by null) provides, after the
 * table was read, at most once in each operation. Null when no table has it.
 */
VESK_API const char *vesk_util_txt_tables_get_val(vesk_instance *instance,
                                                  vesk_txt_table *const *tables,
                                                  const char *property);

/** Gives cls a read-only property, not saved, for each property that the tables provide. */
VESK_API void vesk_util_txt_tables_add_properties(vesk_txt_table *const *tables, vesk_class *cls);

/** Has fn refresh each property that the tables provide. */
VESK_API void vesk_util_txt_tables_add_refresh(vesk_txt_table *const *tables,
                                               vesk_refresher *refresher,
                                               vesk_refresher_property_fn fn);

VESK_END_DECLS

#endif
