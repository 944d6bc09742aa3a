#ifndef VESK_TYPES_H
#define VESK_TYPES_H

/** The opaque types of the interface, named here once so that every header stands alone in C99. */

typedef struct vesk_class vesk_class;
typedef struct vesk_property vesk_property;
typedef struct vesk_property_iterator vesk_property_iterator;
typedef struct vesk_classes_iterator vesk_classes_iterator;

typedef struct vesk_instance vesk_instance;
typedef struct vesk_instances vesk_instances;
typedef struct vesk_instances_class vesk_instances_class;
typedef struct vesk_instances_iterator vesk_instances_iterator;

typedef struct vesk_changes vesk_changes;
typedef struct vesk_actions vesk_actions;
typedef struct vesk_commit_info vesk_commit_info;
typedef struct vesk_refresh_info vesk_refresh_info;
typedef struct vesk_provider vesk_provider;
typedef struct vesk_committer vesk_committer;
typedef struct vesk_refresher vesk_refresher;

typedef struct vesk_plugin vesk_plugin;

#endif
