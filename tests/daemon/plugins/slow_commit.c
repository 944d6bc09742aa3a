/* A provider whose commit makes /tmp/committing and goes on when that file is gone again. */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <vesk/vesk.h>

static void commit(vesk_commit_info *info)
{
    const struct timespec pause = {0, 10000000};
    FILE *file = fopen("/tmp/committing", "w");
    (void)info;
    if (file) fclose(file);
    while (access("/tmp/committing", F_OK) == 0)
        nanosleep(&pause, NULL);
}

void vesk_plugin_init(void)
{
    vesk_provider *provider = vesk_provider_new("slow");
    vesk_provider_set_commit_fn(provider, commit, NULL);
    vesk_providers_add(provider);
}
