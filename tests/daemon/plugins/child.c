/* Starts a process of its own from its first commit, which stays in the daemon's process group; its
 * pid is in /tmp/child. */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <unistd.h>

#include <vesk/vesk.h>

static void commit(vesk_commit_info *info)
{
    (void)info;
    const pid_t pid = fork();
    if (pid == 0) {
        execl("/bin/sleep", "sleep", "1000", (char *)NULL);
        _exit(127);
    }
    FILE *file = fopen("/tmp/child", "w");
    if (!file) return;
    fprintf(file, "%d\n", (int)pid);
    fclose(file);
}

void vesk_plugin_init(void)
{
    vesk_provider *provider = vesk_provider_new("child");
    vesk_provider_set_commit_fn(provider, commit, NULL);
    vesk_providers_add(provider);
}
