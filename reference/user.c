/*
 * Users: who may log in to the device's administration, each with a secret. Clients can set a
 * secret, never read it. The file for the programs that check it holds hashes only and is root's
 * alone.
 */
#include "common.h"

#include <crypt.h>
#include <sys/random.h>

#define USER_FILE "/etc/access-point/users"

/* The salt of a hash in its usual notation: "$6$" for SHA-512, 16 characters, "$". */
#define SALT_START 3
#define SALT_LENGTH 16

static int is_role(const char *value)
{
    static const char *const roles[] = {"admin", "operator", "guest", NULL};
    return is_one_of(value, roles);
}

/* The library takes an empty passphrase; a user without a secret would be an open door. */
DEFINE_VALIDATOR(is_secret, length > 0 && vesk_input_is_passphrase(value, length))

static int has_good_secret(vesk_instance *user, const char *value)
{
    return has_plain_name(user, value) && strcmp(value, vesk_instance_get_name(user)) != 0;
}

/** The hash of a secret, with a salt of its own; null when that is not possible. */
static const char *hash_of(const char *secret)
{
    static const char digits[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    static struct crypt_data work;
    unsigned char random[SALT_LENGTH];
    char salt[] = "$6$................$";
    if (getrandom(random, sizeof random, 0) != (ssize_t)sizeof random) return NULL;
    for (int i = 0; i < SALT_LENGTH; ++i)
        salt[SALT_START + i] = digits[random[i] & 63];
    return crypt_rn(secret, salt, &work, sizeof work);
}

static void write_user(vesk_instance *user, void *file)
{
    const char *hash = hash_of(value_of(user, "secret", ""));
    if (hash)
        fprintf(file, "%s:%s:%s\n", vesk_instance_get_name(user), hash,
                value_of(user, "role", "guest"));
    else
        vesk_debug_eprintf("User %s is left out.\n", vesk_instance_get_name(user));
}

static void write_users(vesk_commit_info *info)
{
    if (!vesk_changes_contains_class(vesk_commit_info_get_changes(info), "user")) return;
    FILE *file = replacement_open(USER_FILE, 0600);
    if (!file) return;
    for_each(vesk_commit_info_get_after(info), "user", write_user, file);
    replacement_finish(file, USER_FILE);
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *user = define_class("user", VESK_CLASS_UNIQUE_NAMED);
    define_required(user, "role", is_role);
    vesk_property *secret = define_secret(user, "secret", is_secret);
    vesk_property_set_required_on_insert(secret, 1);
    vesk_property_set_is_instance_valid_fn(secret, has_good_secret);
    vesk_classes_add(user);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_pre_commit_fn(committer, write_users);
    define_provider("user", committer, NULL);
}
