#ifndef VESK_TESTS_DIFFERENTIAL_REAL_H
#define VESK_TESTS_DIFFERENTIAL_REAL_H

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "config/running.h"
#include "config/save.h"
#include "core/log.h"
#include "model/classes.h"
#include "model/instances.h"
#include "model/parking.h"
#include "pipeline/changes.h"
#include "tests/differential/host.h"
#include "tests/differential/request.h"
#include "tests/differential/schema.h"
#include "tests/support/text_stream.h"
#include "vesk/commit_info.h"
#include "vesk/provider.h"
#include "vesk/providers.h"
#include "vesk/query.h"
#include "vesk/refresh_info.h"

namespace vesk::test::differential {

/** The daemon itself, with the operations of the reference: each is one call of the interface. */
class real {
  public:
    using instance = vesk_instance;
    using instances = vesk_instances;
    using changes = vesk_changes;
    using iterator = vesk_instances_iterator;
    using commit_info = vesk_commit_info;
    using base = real;
    using answer = c_string;

    static constexpr bool follows_fates = false;

    static constexpr int providers = 2;

    explicit real(std::string &trace)
        : trace_{trace}, stream_{trace}, log_before_{exchange_log_stream(stream_.file())}
    {
    }
    ~real()
    {
        exchange_log_stream(log_before_);
        plugins_ = nullptr;
    }
    real(const real &) = delete;
    real &operator=(const real &) = delete;

    static void serve(host<real> *plugins) { plugins_ = plugins; }

    static void set_log_level(int level) { vesk_debug_set(level); }

    // Instances

    static instance *make(const class_info &cls, const char *name)
    {
        return vesk_instance_new(vesk_classes_get(cls.name), name);
    }
    static const class_info &class_of(const instance *i) { return *find_class(i->cls->name); }
    static const char *name_of(const instance *i) { return vesk_instance_get_name(i); }
    static const char *value_of(const instance *i, const char *property)
    {
        return vesk_instance_get_value(i, property);
    }
    static int set_value(instance *i, const char *property, const char *value)
    {
        return vesk_instance_set_value(i, property, value);
    }
    static void listen(instance *i, int listener)
    {
        vesk_instance_set_listener(i, listener ? value_set : nullptr, number(listener));
    }
    void print(const instance *i)
    {
        stream_.write([&](FILE *file) { vesk_instance_print(i, file); });
    }
    static void free(instance *i) { vesk_instance_delete(i); }

    // Collections

    static instances *make_collection() { return vesk_instances_new(); }
    static instances *copy(const instances *from) { return vesk_instances_copy(from); }

    /** What a write-transaction edits. */
    static instances *copy_whole(const instances *from)
    {
        return or_on_oom<instances *>(nullptr, [&] { return vesk::copy_whole(*from); });
    }

    static void listen(instances *all, int listener)
    {
        vesk_instances_set_listener(all, listener ? membership_changed : nullptr, number(listener));
    }
    static int add(instances *all, instance *i) { return vesk_instances_add(all, i); }
    static int remove(instances *all, instance *i) { return vesk_instances_remove(all, i); }
    static int remove_class(instances *all, const class_info &cls)
    {
        return vesk_instances_remove_class(all, cls.name);
    }
    static int delete_class(instances *all, const class_info &cls)
    {
        return vesk_instances_delete_class(all, cls.name);
    }
    static void delete_all(instances *all) { vesk_instances_delete_all(all); }
    static void delete_collection(instances *all) { vesk_instances_delete(all); }
    static instance *get(const instances *all, const class_info &cls, const char *name)
    {
        return vesk_instances_get(all, cls.name, name);
    }
    static instance *get_singleton(const instances *all, const class_info &cls)
    {
        return vesk_instances_get_singleton(all, cls.name);
    }
    static int is_empty(const instances *all) { return vesk_instances_is_empty(all); }
    void print(const instances *all)
    {
        stream_.write([&](FILE *file) { vesk_instances_print(all, file); });
    }
    void print_saved(const instances *all) { trace_ += config_text(*all); }

    /** As within a request: what is deleted is kept until this has ended. */
    void begin_busy() { busy_.push_back(std::make_unique<busy_scope>()); }
    void end_busy() { busy_.pop_back(); }

    // Iterators: a null class stands for all, a null name for the whole class

    static iterator *iterate(const instances *all, const class_info *cls, const char *name)
    {
        return vesk_instances_new_group_iterator(all, cls ? cls->name : nullptr, name);
    }
    static int has_next(const iterator *it) { return vesk_instances_iterator_has_next(it); }
    static instance *next(iterator *it) { return vesk_instances_iterator_next(it); }
    static void delete_iterator(iterator *it) { vesk_instances_delete_iterator(it); }

    // Change sets

    static changes *follow(instances *after) { return vesk_changes_new(after); }
    static int record_updated(changes *set, instance *i)
    {
        return vesk_changes_instance_updated(set, i);
    }
    static int record_inserted(changes *set, instance *i)
    {
        return vesk_changes_instance_inserted(set, i);
    }
    static int record_deleted(changes *set, instance *i)
    {
        return vesk_changes_instance_deleted(set, i);
    }
    static int record_property(changes *set, instance *i, const char *property)
    {
        return vesk_changes_add_property(set, i, property);
    }
    static instances *before_of(changes *set) { return vesk_changes_get_before(set); }
    static instance *before_of(changes *set, instance *i)
    {
        return vesk_changes_get_instance_before(set, i);
    }
    static iterator *iterate_changed(changes *set, const class_info &cls)
    {
        return vesk_changes_new_class_instances_iterator(set, cls.name);
    }
    static iterator *iterate_deleted(changes *set, const class_info &cls)
    {
        return vesk_changes_new_deleted_class_instances_iterator(set, cls.name);
    }
    static int contains(changes *set, const class_info &cls)
    {
        return vesk_changes_contains_class(set, cls.name);
    }
    static int contains(changes *set, instance *i)
    {
        return vesk_changes_contains_instance(set, i);
    }
    static int contains(changes *set, instance *i, const char *property)
    {
        return vesk_changes_contains_property(set, i, property);
    }
    void print(changes *set)
    {
        stream_.write([&](FILE *file) { vesk_changes_print(set, file); });
    }
    static void unfollow(changes *set) { vesk_changes_delete(set); }

    /** Memory ran out in a listener, so that a request under this set is lost. */
    static bool is_incomplete(const changes *set)
    {
        return set->incomplete || set->before.is_broken;
    }

    // Requests

    static void start(instances *all) { exchange_running(all); }
    static instances *running() { return vesk_config_get_running(); }
    static instances *replace_running(instances *all) { return vesk_config_replace_running(all); }
    static answer evaluate(const request &r, const std::string &text)
    {
        return answer{(r.passive ? vesk_query_eval_passive : vesk_query_eval)(text.c_str())};
    }
    static const char *text_of(const answer &a) { return a.get(); }
    static void commit_without_changes()
    {
        vesk_query_action("provider", "action", nullptr, nullptr);
    }

    static instances *before_of(const vesk_commit_info *info)
    {
        return vesk_commit_info_get_before(info);
    }
    static instances *after_of(const vesk_commit_info *info)
    {
        return vesk_commit_info_get_after(info);
    }
    static changes *changes_of(const vesk_commit_info *info)
    {
        return vesk_commit_info_get_changes(info);
    }

    // The plug-in side, in C

    static int is_valid(const char *value) { return plugins_->is_valid(value); }
    static int is_valid_for(vesk_instance *i, const char *value)
    {
        return plugins_->is_valid_for(i, value);
    }
    static void refresh(vesk_refresh_info *info)
    {
        plugins_->refresh(number(vesk_refresh_info_get_data(info)),
                          vesk_refresh_info_get_instances(info));
    }
    static void commit(vesk_commit_info *info)
    {
        plugins_->commit(number(vesk_commit_info_get_data(info)), info);
    }

    static void *number(int n) { return &numbers[n]; }
    static int number(const void *n)
    {
        return static_cast<int>(static_cast<const char *>(n) - numbers);
    }

  private:
    static void value_set(vesk_instance *i, const char *property, void *data)
    {
        plugins_->value_set(number(data), i, property);
    }
    static void membership_changed(vesk_instance *i, int event, void *data)
    {
        plugins_->membership_changed(number(data), i, event);
    }

    static inline host<real> *plugins_ = nullptr;
    static inline char numbers[16];

    std::string &trace_;
    text_stream stream_;
    std::FILE *log_before_;
    std::vector<std::unique_ptr<busy_scope>> busy_;
};

} // namespace vesk::test::differential

#endif
