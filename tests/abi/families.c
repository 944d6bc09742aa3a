/*
 * A plug-in in C that uses every family of the interface while it is loaded, and logs what does not
 * do as it says. Its class "abi", with a provider, then takes part in the life of the daemon.
 */
#include <stdlib.h>
#include <string.h>

#include <vesk/vesk.h>

#define EXPECT(condition)                                                                          \
    do {                                                                                           \
        if (!(condition)) vesk_debug_printf("Wrong: %s.\n", #condition);                           \
    } while (0)

/* What a plug-in keeps for the daemon's life. */
static struct {
    vesk_plugin *plugin;
    vesk_class *cls;
    vesk_provider *provider;
    vesk_committer *committer;
    vesk_refresher *refresher;
} kept;

static int heard;

static int is_anything(const char *value)
{
    return value != NULL;
}

static int is_short(vesk_instance *instance, const char *value)
{
    return instance != NULL && strlen(value) < 20;
}

static void listen_to_value(vesk_instance *instance, const char *property, void *data)
{
    EXPECT(instance != NULL && strcmp(property, "value") == 0);
    ++*(int *)data;
}

static void listen_to_instances(vesk_instance *instance, int event, void *data)
{
    EXPECT(instance != NULL && (event == 0 || event == 1));
    ++*(int *)data;
}

static vesk_property *make_property(const char *name)
{
    vesk_property *property = vesk_property_new(name);
    EXPECT(vesk_property_set_is_valid_fn(property, is_anything) == 0);
    return property;
}

static void use_properties(void)
{
    vesk_property *property = make_property("value");
    vesk_property *copy = vesk_property_clone(property);
    EXPECT(vesk_property_set_readable(copy, 1) == 0);
    EXPECT(vesk_property_set_writable(copy, 0) == 0);
    EXPECT(vesk_property_set_required_on_insert(copy, 1) == 0);
    EXPECT(vesk_property_set_persistence(copy, 0) == 0);
    EXPECT(vesk_property_set_is_instance_valid_fn(copy, is_short) == 0);
    EXPECT(vesk_property_is_valid(copy) == 1);
    EXPECT(vesk_property_delete(copy) == 0);
    EXPECT(vesk_property_delete(property) == 0);
    EXPECT(vesk_property_delete(NULL) == 1);
}

/* The class that the others use; registered, it is there for the rest of the daemon's life. */
static void use_classes(void)
{
    vesk_class *cls = vesk_class_new("abi");
    vesk_property_iterator *properties;
    vesk_classes_iterator *classes;
    kept.cls = cls;
    EXPECT(vesk_class_set_type(cls, VESK_CLASS_GROUP_NAMED + 1) == 1);
    EXPECT(vesk_class_set_type(cls, VESK_CLASS_UNIQUE_NAMED) == 0);
    EXPECT(vesk_class_set_abstract(cls, 0) == 0);
    EXPECT(vesk_class_set_persistence(cls, 1) == 0);
    EXPECT(vesk_class_add_property(cls, make_property("value")) == 0);
    EXPECT(vesk_class_add_property(cls, make_property("status")) == 0);
    EXPECT(vesk_class_get_properties(cls) == 2);
    EXPECT(vesk_class_get_property(cls, "value") != NULL);
    EXPECT(vesk_class_set_superclass(NULL, "x") == 1);
    EXPECT(vesk_class_set_subclass_identifier(cls, NULL) == 1);
    properties = vesk_class_new_property_iterator(cls);
    EXPECT(vesk_class_property_iterator_has_next(properties) == 1);
    EXPECT(vesk_class_property_iterator_next(properties) == vesk_class_get_property(cls, "value"));
    EXPECT(vesk_class_delete_property_iterator(properties) == 0);
    EXPECT(vesk_class_resolve(cls) == 0);
    EXPECT(vesk_class_validate(cls) == 0);
    EXPECT(vesk_classes_add(cls) == 0);
    EXPECT(vesk_classes_get("abi") == cls);
    classes = vesk_classes_new_iterator();
    EXPECT(vesk_classes_iterator_has_next(classes) == 1);
    EXPECT(vesk_classes_iterator_next(classes) == cls);
    EXPECT(vesk_classes_delete_iterator(classes) == 0);
}

static vesk_instance *make_instance(const char *name)
{
    vesk_instance *instance = vesk_instance_new(kept.cls, name);
    EXPECT(vesk_instance_set_value(instance, "value", "1") == 0);
    return instance;
}

static void use_instances(void)
{
    vesk_instance *instance = make_instance("a");
    vesk_instance *copy = vesk_instance_copy(instance);
    char *message = NULL;
    heard = 0;
    EXPECT(vesk_instance_set_listener(instance, listen_to_value, &heard) == 0);
    EXPECT(vesk_instance_set_value(instance, "value", "2") == 0);
    EXPECT(vesk_instance_set_value(instance, "nothing", "2") == 1);
    EXPECT(heard == 1);
    EXPECT(strcmp(vesk_instance_get_value(instance, "value"), "2") == 0);
    EXPECT(strcmp(vesk_instance_get_value(copy, "value"), "1") == 0);
    EXPECT(strcmp(vesk_instance_get_name(copy), "a") == 0);
    EXPECT(vesk_instance_get_status(copy) == 0);
    EXPECT(vesk_instance_is_valid(copy, &message) == 1);
    EXPECT(vesk_instance_is_valid(NULL, &message) == 0 && message != NULL);
    free(message);
    vesk_instance_print(copy, vesk_debug_get_stream());
    EXPECT(vesk_instance_delete(copy) == 0);
    EXPECT(vesk_instance_delete(instance) == 0);
}

static int count_and_delete(vesk_instances_iterator *iterator)
{
    int count = 0;
    while (vesk_instances_iterator_has_next(iterator)) {
        EXPECT(vesk_instances_iterator_next(iterator) != NULL);
        ++count;
    }
    EXPECT(vesk_instances_delete_iterator(iterator) == 0);
    return count;
}

static vesk_instances *make_collection(void)
{
    vesk_instances *all = vesk_instances_new();
    EXPECT(vesk_instances_add(all, make_instance("a")) == 0);
    EXPECT(vesk_instances_add(all, make_instance("b")) == 0);
    return all;
}

static void use_collections(void)
{
    vesk_instances *all = make_collection();
    vesk_instances *copy = vesk_instances_copy(all);
    vesk_instance *a = vesk_instances_get(all, "abi", "a");
    heard = 0;
    EXPECT(vesk_instances_set_listener(all, listen_to_instances, &heard) == 0);
    EXPECT(count_and_delete(vesk_instances_new_iterator(all)) == 2);
    EXPECT(count_and_delete(vesk_instances_new_class_iterator(all, "abi")) == 2);
    EXPECT(count_and_delete(vesk_instances_new_group_iterator(all, "abi", "b")) == 1);
    EXPECT(vesk_instances_get_singleton(all, "abi") == NULL);
    EXPECT(vesk_instances_remove(all, a) == 0);
    EXPECT(vesk_instance_delete(a) == 0);
    EXPECT(heard == 1);
    EXPECT(vesk_instances_delete_class(all, "abi") == 0);
    EXPECT(vesk_instances_is_empty(all) == 1);
    EXPECT(vesk_instances_is_empty(copy) == 0);
    vesk_instances_print(copy, vesk_debug_get_stream());
    vesk_instances_delete(all);
    vesk_instances_delete_all(copy);
}

static void use_records(void)
{
    vesk_instances *all = make_collection();
    vesk_changes *changes = vesk_changes_new(all);
    vesk_instance *a = vesk_instances_get(all, "abi", "a");
    vesk_instance *before = vesk_changes_get_instance_before(changes, a);
    vesk_actions *actions = vesk_actions_new();
    vesk_commit_info *commit;
    vesk_refresh_info *refresh = vesk_refresh_info_new(all);
    char *text = vesk_actions_get_string("abi", "restart", "abi", "a");

    EXPECT(vesk_instance_set_value(a, "value", "3") == 0);
    EXPECT(strcmp(vesk_instance_get_value(before, "value"), "1") == 0);
    EXPECT(vesk_changes_contains_class(changes, "abi") == 1);
    EXPECT(vesk_changes_contains_instance(changes, a) == 1);
    EXPECT(vesk_changes_contains_property(changes, a, "value") == 1);
    EXPECT(vesk_changes_contains_property(changes, a, "status") == 0);
    EXPECT(count_and_delete(vesk_changes_new_class_instances_iterator(changes, "abi")) == 1);
    EXPECT(count_and_delete(vesk_changes_new_deleted_class_instances_iterator(changes, "abi")) ==
           0);
    vesk_changes_print(changes, vesk_debug_get_stream());

    EXPECT(strcmp(text, "abi-restart-abi-a") == 0);
    free(text);
    EXPECT(vesk_actions_add(actions, "abi", "restart", NULL, NULL) == 0);
    EXPECT(vesk_actions_exists(actions, "abi", "restart", NULL, NULL) == 1);
    EXPECT(vesk_actions_exists(actions, "abi", "reload", NULL, NULL) == 0);

    commit = vesk_commit_info_new(vesk_changes_get_before(changes), all, changes, actions, &heard);
    EXPECT(vesk_commit_info_get_before(commit) == vesk_changes_get_before(changes));
    EXPECT(vesk_commit_info_get_after(commit) == all);
    EXPECT(vesk_commit_info_get_changes(commit) == changes);
    EXPECT(vesk_commit_info_get_actions(commit) == actions);
    EXPECT(vesk_commit_info_get_data(commit) == &heard);
    vesk_commit_info_set_data(commit, NULL);
    vesk_commit_info_delete(commit);

    EXPECT(vesk_refresh_info_add_instance(refresh, "abi", "a") == 0);
    EXPECT(vesk_refresh_info_add_property(refresh, "abi", "a", "value") == 0);
    EXPECT(vesk_refresh_info_add_all_properties(refresh, "abi", "b") == 0);
    EXPECT(vesk_refresh_info_contains_class(refresh, "abi") == 1);
    EXPECT(vesk_refresh_info_contains_instance(refresh, a) == 1);
    EXPECT(vesk_refresh_info_contains_property(refresh, a, "value") == 1);
    EXPECT(vesk_refresh_info_contains_property(refresh, a, "status") == 0);
    EXPECT(vesk_refresh_info_get_instances(refresh) == all);
    vesk_refresh_info_set_data(refresh, &heard);
    EXPECT(vesk_refresh_info_get_data(refresh) == &heard);
    vesk_refresh_info_print(refresh, vesk_debug_get_stream());
    vesk_refresh_info_delete(refresh);

    vesk_actions_delete(actions);
    vesk_changes_delete(changes);
    vesk_instances_delete_all(all);
}

static void value_changed(vesk_instance *instance, const char *property, const char *now,
                          const char *before)
{
    vesk_debug_printf("Changed: %s of %s from %s to %s.\n", property,
                      vesk_instance_get_name(instance), before ? before : "nothing", now);
}

static const char *current_status(vesk_instance *instance, const char *property,
                                  vesk_refresh_info *info)
{
    EXPECT(instance != NULL && info != NULL && strcmp(property, "status") == 0);
    return "up";
}

static void use_providers(void)
{
    kept.committer = vesk_committer_new();
    EXPECT(vesk_committer_set_property_change_fn(kept.committer, "abi", "value", value_changed) ==
           0);
    kept.refresher = vesk_refresher_new("abi");
    EXPECT(vesk_refresher_set_property_fn(kept.refresher, "status", current_status) == 0);
    kept.provider = vesk_provider_new("abi");
    EXPECT(vesk_provider_is_valid(kept.provider) == 0);
    EXPECT(vesk_provider_set_commit_fn(kept.provider, vesk_committer_fn, kept.committer) == 0);
    EXPECT(vesk_provider_set_refresh_fn(kept.provider, vesk_refresher_fn, kept.refresher) == 0);
    EXPECT(vesk_provider_is_valid(kept.provider) == 1);
    EXPECT(vesk_providers_add(kept.provider) == 0);
    EXPECT(vesk_providers_get("abi") == kept.provider);
    EXPECT(vesk_providers_order("earlier", "abi") == 0);
}

static void timeout_came(void *eloop_data, void *user_data)
{
    EXPECT(eloop_data == &kept && user_data == NULL);
    vesk_debug_printf("The timeout came.\n");
}

static void sock_is_readable(int sock, void *eloop_data, void *user_data)
{
    vesk_debug_printf("Socket %d can be read (%p, %p).\n", sock, eloop_data, user_data);
}

static void use_loop_and_sockets(void)
{
    int sock = vesk_socket_get_udp();
    EXPECT(sock >= 0);
    EXPECT(vesk_socket_set_nonblock(sock) == 0);
    EXPECT(vesk_socket_set_block(sock) == 0);
    EXPECT(eloop_register_read_sock(sock, sock_is_readable, NULL, NULL) == 0);
    EXPECT(eloop_unregister_read_sock(sock) == 0);
    EXPECT(eloop_unregister_read_sock(sock) == -1);
    EXPECT(eloop_register_timeout(0, 0, timeout_came, NULL, NULL) == 0);
    EXPECT(eloop_cancel_timeout(timeout_came, ELOOP_ALL_CTX, ELOOP_ALL_CTX) == 1);
    EXPECT(eloop_register_timeout(0, 0, timeout_came, &kept, NULL) == 0);
    EXPECT(eloop_terminated() == 0);
}

static void service_ended(void *data)
{
    vesk_debug_printf("The service \"%s\" ended.\n", (const char *)data);
}

static void use_processes(void)
{
    static char name[] = "abi";
    EXPECT(vesk_process_no_actions == 0);
    EXPECT(vesk_command_execl("/bin/true", (char *)NULL) == 0);
    EXPECT(vesk_command_execl("/bin/sh", "-c", "exit 3", (char *)NULL) == 3 << 8);
    EXPECT(vesk_command_execlod("/bin/pwd", (char *)NULL, 0U, "/") == 0);
    EXPECT(vesk_service_set_exited_fn("abi", service_ended, name) == 0);
    EXPECT(vesk_service_is_running("abi") == 0);
    EXPECT(vesk_service_execl("abi", "/bin/sleep", "0", (char *)NULL) == 0);
}

static int answer_inform(void)
{
    EXPECT(strcmp(vesk_inform_get_value("value"), "4") == 0);
    EXPECT(vesk_inform_get_value("nothing") == NULL);
    vesk_notify_object_change(vesk_query_origin, "abi", "a", "value", "4");
    vesk_notify_conf_change(NULL);
    return 0;
}

static void use_interfaces(void)
{
    char *answer = vesk_query_eval("<lsql><select><abi properties=\"all\"/></select></lsql>");
    EXPECT(answer != NULL && strstr(answer, "<lsql_result>") != NULL);
    free(answer);
    EXPECT(vesk_query_eval("no document") == NULL);
    EXPECT(vesk_query_transaction_number > 0);
    EXPECT(vesk_inform_get_value("value") == NULL);
    EXPECT(vesk_inform_fn_add("abi", answer_inform) == 0);
    EXPECT(vesk_inform_fn_add("abi", answer_inform) == 1);
    EXPECT(vesk_config_get_running() == NULL);
    EXPECT(vesk_config_get_class_name(NULL, NULL) == NULL);
    EXPECT(vesk_util_xmlGetProp(NULL, "name") == NULL);
    EXPECT(vesk_util_xmlNodeListGetString(NULL, NULL, 1) == NULL);
}

static void use_the_rest(void)
{
    EXPECT(vesk_debug_get() >= 0 && vesk_debug_get() <= VESK_DEBUG_MAX);
    EXPECT(vesk_debug_get_timestamp() == 0);
    EXPECT(vesk_debug_set_timestamp(2) == 1);
    EXPECT(vesk_debug_override == 0 || vesk_debug_override == 1);
    vesk_debug_lprintf(VESK_DEBUG_MAX, "%s\n", "Seen at the highest level only.");
    EXPECT(vesk_input_is_word("word", 4) == 1);
    EXPECT(vesk_input_is_int("12x", 3) == 0);
    vesk_watchdog_ack();
    EXPECT(vesk_plugin_new("0.9") == NULL);
    EXPECT(strcmp(vesk_plugins_current, "families.so") == 0);
}

void vesk_plugin_init(void)
{
    kept.plugin = vesk_plugin_new(VESK_PLUGIN_VERSION);
    EXPECT(kept.plugin != NULL);
    use_properties();
    use_classes();
    use_instances();
    use_collections();
    use_records();
    use_providers();
    use_loop_and_sockets();
    use_processes();
    use_interfaces();
    use_the_rest();
    vesk_debug_printf("Every family was used.\n");
}
