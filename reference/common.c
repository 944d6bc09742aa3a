#include "common.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#define LETTERS "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
#define DIGITS "0123456789"

vesk_class *define_class(const char *name, unsigned type)
{
    vesk_class *cls = vesk_class_new(name);
    vesk_class_set_type(cls, type);
    vesk_class_set_persistence(cls, 1);
    return cls;
}

vesk_property *define_property(vesk_class *cls, const char *name, vesk_property_is_valid_fn valid)
{
    vesk_property *property = vesk_property_new(name);
    vesk_property_set_is_valid_fn(property, valid);
    vesk_class_add_property(cls, property);
    return property;
}

vesk_property *define_required(vesk_class *cls, const char *name, vesk_property_is_valid_fn valid)
{
    vesk_property *property = define_property(cls, name, valid);
    vesk_property_set_required_on_insert(property, 1);
    return property;
}

vesk_property *define_secret(vesk_class *cls, const char *name, vesk_property_is_valid_fn valid)
{
    vesk_property *property = define_property(cls, name, valid);
    vesk_property_set_readable(property, 0);
    return property;
}

void define_provider(const char *name, vesk_committer *committer, vesk_refresher *refresher)
{
    vesk_provider *provider = vesk_provider_new(name);
    vesk_provider_set_commit_fn(provider, vesk_committer_fn, committer);
    if (refresher) vesk_provider_set_refresh_fn(provider, vesk_refresher_fn, refresher);
    vesk_providers_add(provider);
}

static int consists_of(const char *value, const char *characters)
{
    return value[strspn(value, characters)] == '\0';
}

int is_number(const char *value, int low, int high)
{
    return consists_of(value, DIGITS) &&
           vesk_input_is_int_in_range(value, (int)strlen(value), low, high);
}

int number_of(const char *value)
{
    return (int)strtol(value, NULL, 10);
}

int is_ipv4(const char *value)
{
    struct in_addr address;
    return inet_pton(AF_INET, value, &address) == 1;
}

int is_domain(const char *value)
{
    return consists_of(value, LETTERS DIGITS "-.") &&
           vesk_input_is_domain_name(value, (int)strlen(value));
}

int is_text(const char *value, size_t longest)
{
    for (const char *c = value; *c; ++c)
        if ((unsigned char)*c < 0x20 || *c == 0x7f) return 0;
    return strlen(value) <= longest;
}

int is_one_of(const char *value, const char *const *list)
{
    return vesk_input_is_string_in_array(value, (int)strlen(value), list);
}

int is_plain_name(const char *value, size_t longest)
{
    return *value && strchr(LETTERS DIGITS, *value) && strlen(value) <= longest &&
           consists_of(value, LETTERS DIGITS "_-.");
}

int has_plain_name(vesk_instance *instance, const char *value)
{
    (void)value;
    return is_plain_name(vesk_instance_get_name(instance), 32);
}

const char *value_of(const vesk_instance *instance, const char *property, const char *otherwise)
{
    const char *value = instance ? vesk_instance_get_value(instance, property) : NULL;
    return value ? value : otherwise;
}

int is_on(const vesk_instance *instance, const char *property)
{
    return strcmp(value_of(instance, property, ""), "on") == 0;
}

int differs(const vesk_instance *after, const vesk_instance *before, const char *property)
{
    return strcmp(value_of(after, property, ""), value_of(before, property, "")) != 0;
}

void for_each(vesk_instances *instances, const char *class_name,
              void (*call)(vesk_instance *instance, void *data), void *data)
{
    vesk_instances_iterator *each = vesk_instances_new_class_iterator(instances, class_name);
    if (!each) return;
    while (vesk_instances_iterator_has_next(each))
        call(vesk_instances_iterator_next(each), data);
    vesk_instances_delete_iterator(each);
}

void ask_for(vesk_commit_info *info, const char *provider, const char *action)
{
    vesk_actions_add(vesk_commit_info_get_actions(info), provider, action, NULL, NULL);
}

int is_asked_for(vesk_commit_info *info, const char *provider, const char *action)
{
    return vesk_actions_exists(vesk_commit_info_get_actions(info), provider, action, NULL, NULL);
}

/** The name of the new file; it lies beside the old one, so that rename() can replace that. */
static const char *new_path(const char *path)
{
    static char name[256];
    snprintf(name, sizeof name, "%s.new", path);
    return name;
}

/** Makes the folder that path lies in, if it is missing. */
static void make_folder(const char *path)
{
    char folder[256];
    snprintf(folder, sizeof folder, "%s", path);
    char *slash = strrchr(folder, '/');
    if (!slash) return;
    *slash = '\0';
    mkdir(folder, 0755);
}

FILE *replacement_open(const char *path, mode_t mode)
{
    const char *name = new_path(path);
    make_folder(path);
    unlink(name);
    const int fd = open(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    FILE *file = fd < 0 || fchmod(fd, mode) != 0 ? NULL : fdopen(fd, "w");
    if (!file) vesk_debug_eprintf("Unable to write %s: %s.\n", name, strerror(errno));
    if (!file && fd >= 0) close(fd);
    return file;
}

int replacement_finish(FILE *file, const char *path)
{
    const char *name = new_path(path);
    const int written = !ferror(file) && fflush(file) == 0 && fsync(fileno(file)) == 0;
    const int closed = fclose(file) == 0;
    if (written && closed && rename(name, path) == 0) return 0;
    vesk_debug_eprintf("Unable to replace %s: %s.\n", path, strerror(errno));
    unlink(name);
    return 1;
}

void write_quoted(FILE *file, const char *text)
{
    fputc('"', file);
    for (const char *c = text; *c; ++c) {
        if (*c == '"' || *c == '\\')
            fprintf(file, "\\%c", *c);
        else if ((unsigned char)*c < 0x20 || *c == 0x7f)
            fprintf(file, "\\x%02x", (unsigned)*c);
        else
            fputc(*c, file);
    }
    fputc('"', file);
}

int run(const char *const *arguments)
{
    char command[256] = "";
    const int status = vesk_command_execv((char *const *)arguments);
    if (status == 0 || vesk_process_no_actions) return 0;
    for (size_t used = 0; *arguments && used < sizeof command; used = strlen(command))
        snprintf(command + used, sizeof command - used, " %s", *arguments++);
    vesk_debug_eprintf("Failed with status %d:%s\n", status, command);
    return 1;
}
