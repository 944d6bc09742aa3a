#ifndef REFERENCE_COMMON_H
#define REFERENCE_COMMON_H

/*
 * What the plug-ins of the reference access point share: a line for a class, a property, a provider
 * or a validator; files that are replaced whole; commands that run without a shell.
 */
#include <stdio.h>
#include <string.h>
#include <sys/types.h>

#include <vesk/vesk.h>

VESK_BEGIN_DECLS

/** A property's validator from an expression of value and length, mostly one of the library's. */
#define DEFINE_VALIDATOR(name, accepts)                                                            \
    static int name(const char *value)                                                             \
    {                                                                                              \
        const int length = (int)strlen(value);                                                     \
        (void)length;                                                                              \
        return accepts;                                                                            \
    }

/* ---------------------------------------------------------------- Classes, properties, providers
 */

/** New persistent class of a type, not yet registered. */
vesk_class *define_class(const char *name, unsigned type);

/** Gives cls a property that clients may read and write. */
vesk_property *define_property(vesk_class *cls, const char *name, vesk_property_is_valid_fn valid);

/** The same, and a new object must carry it. */
vesk_property *define_required(vesk_class *cls, const char *name, vesk_property_is_valid_fn valid);

/** The same as define_property(), and clients may write it but never read it. */
vesk_property *define_secret(vesk_class *cls, const char *name, vesk_property_is_valid_fn valid);

/** Registers a provider; the refresher may be null. */
void define_provider(const char *name, vesk_committer *committer, vesk_refresher *refresher);

/* ------------------------------------------------------------------------------------ Validators
 */

/*
 * What the library accepts may still be harmful where it is written to: numbers and addresses may
 * begin with white space, a line feed too, and names are hardly looked at. These are exact.
 */

/** Only digits, in low..high. */
int is_number(const char *value, int low, int high);

/** The value of a text that begins with a number. */
int number_of(const char *value);

/** Four decimal numbers and three dots, nothing else. */
int is_ipv4(const char *value);

/** A domain name of letters, digits, "-" and ".". */
int is_domain(const char *value);

/** At most longest bytes, without control characters. */
int is_text(const char *value, size_t longest);

/** One of a null-terminated list. */
int is_one_of(const char *value, const char *const *list);

/** 1 to longest letters, digits, "_", "-" and ".", the first a letter or digit: a safe file name.
 */
int is_plain_name(const char *value, size_t longest);

/**
 * No validator sees the name of an object, but one that is given the object can ask for it. Set for
 * a property that is required on insert, this one refuses objects with a name that is not plain.
 */
int has_plain_name(vesk_instance *instance, const char *value);

/* --------------------------------------------------------------------------------------- Objects
 */

/** The value of a property; otherwise where there is none, or no instance. */
const char *value_of(const vesk_instance *instance, const char *property, const char *otherwise);

/** Whether the value of a property is "on". */
int is_on(const vesk_instance *instance, const char *property);

/** Whether a property has another value than before; before may be null: then whether it has one.
 */
int differs(const vesk_instance *after, const vesk_instance *before, const char *property);

/** Calls back for each object of a class. */
void for_each(vesk_instances *instances, const char *class_name,
              void (*call)(vesk_instance *instance, void *data), void *data);

/** Asks for a side effect in this commit. It may be asked for many times and is to be done once. */
void ask_for(vesk_commit_info *info, const char *provider, const char *action);

/** Whether the side effect was asked for in this commit. */
int is_asked_for(vesk_commit_info *info, const char *provider, const char *action);

/* ------------------------------------------------------------------------------------ The system
 */

/**
 * Opens a new file that is to take the place of path, whose folder is made if it is missing. Null,
 * with a message, when that is not possible.
 */
FILE *replacement_open(const char *path, mode_t mode);

/** Puts the written file into the place of path; on any failure the old one stays (1). */
int replacement_finish(FILE *file, const char *path);

/** Writes a text in double quotes, with "\" before quotes and "\xHH" for control characters. */
void write_quoted(FILE *file, const char *text);

/** Runs a program and its arguments, without a shell; 1, with a message, when it fails. */
#define RUN(...) run((const char *const[]){__VA_ARGS__, NULL})
int run(const char *const *arguments);

VESK_END_DECLS

#endif
