/*
 * A supervised service: a program that writes the time into a file now and then. Whatever a request
 * changes of it, it is restarted once; when it dies by itself, it is started again.
 */
#include <signal.h>
#include <stdio.h>

#include "define.h"

#define SERVICE "heartbeat"
#define SCRIPT "while :; do date +%s > \"$1\"; sleep \"$2\"; done"

DEFINE_VALIDATOR(is_interval, vesk_input_is_int_in_range, 1, 3600)

static int is_file(const char *value)
{
    return strncmp(value, "/tmp/", 5) == 0 &&
           vesk_input_is_string_in_ranges(value + 5, (int)strlen(value + 5), "09azAZ--..", 5);
}

static void start(void)
{
    vesk_instances *running = vesk_config_get_running();
    vesk_instance *heartbeat = vesk_instances_get_singleton(running, "heartbeat");
    const char *file = heartbeat ? vesk_instance_get_value(heartbeat, "file") : NULL;
    const char *interval = heartbeat ? vesk_instance_get_value(heartbeat, "interval") : NULL;
    if (!file) return;
    vesk_service_execl(SERVICE, "/bin/sh", "-c", SCRIPT, "heartbeat", file,
                       interval ? interval : "10", (char *)NULL);
}

static void changed(vesk_instance *after, vesk_instance *before, vesk_commit_info *info)
{
    (void)after;
    (void)before;
    vesk_actions_add(vesk_commit_info_get_actions(info), "heartbeat", "restart", NULL, NULL);
}

/* Comes after everything else in the order: what was asked for meanwhile is done once, here. */
static void restart_if_asked(vesk_commit_info *info)
{
    vesk_actions *actions = vesk_commit_info_get_actions(info);
    if (!vesk_actions_exists(actions, "heartbeat", "restart", NULL, NULL)) return;
    vesk_service_stop(SERVICE, SIGTERM, 1000000);
    start();
}

static void exited(void *data)
{
    (void)data;
    start();
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *heartbeat = define_class("heartbeat", VESK_CLASS_SINGLETON);
    define_property(heartbeat, "file", is_file);
    define_property(heartbeat, "interval", is_interval);
    vesk_classes_add(heartbeat);

    vesk_committer *committer = vesk_committer_new();
    vesk_committer_set_instance_change_fn(committer, "heartbeat", changed, 1);
    define_provider("heartbeat", committer, NULL);

    vesk_provider *restarter = vesk_provider_new("heartbeat-restart");
    vesk_provider_set_commit_fn(restarter, restart_if_asked, NULL);
    vesk_providers_add(restarter);
    vesk_providers_order("heartbeat", "heartbeat-restart");
    vesk_service_set_exited_fn(SERVICE, exited, NULL);
}
