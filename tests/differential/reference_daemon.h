#ifndef VESK_TESTS_DIFFERENTIAL_REFERENCE_DAEMON_H
#define VESK_TESTS_DIFFERENTIAL_REFERENCE_DAEMON_H

#include <memory>
#include <stdexcept>

#include "tests/differential/reference.h"

namespace vesk::test::differential {

/** The reference with a running configuration, providers and requests. */
class reference_daemon : public reference {
  public:
    using reference::reference;
    using answer = std::optional<std::string>; // or none

    static constexpr int providers = 2;

    void start(instances *all) { running_ = all; }
    instances *running() const { return running_; }

    instances *replace_running(instances *all)
    {
        if (all && all != running_) delete_all(std::exchange(running_, all));
        return running_;
    }

    static const char *text_of(const answer &a) { return a ? a->c_str() : nullptr; }

    answer evaluate(const request &r, const std::string &sent)
    {
        const std::string kind = r.passive ? " (passive)" : "";
        const bool dumped = log_level >= (r.passive ? 2 : 1);
        if (dumped) {
            log("LSQL query" + kind + ":\n");
            trace_ += xml_declaration + sent + "\n";
        }
        const busy under_way{*this};
        try {
            const std::string text = xml_declaration + element("lsql_result", content(r)) + "\n";
            if (dumped) {
                log("LSQL result" + kind + ":\n");
                trace_ += text;
            }
            return text;
        } catch (const dropped &) {
            log("LSQL request dropped.\n");
            return std::nullopt;
        }
    }

    void commit_without_changes()
    {
        const busy under_way{*this};
        changes *set = follow(running_);
        commit(running_, set);
        unfollow(set);
    }

  private:
    static constexpr const char *xml_declaration = "<?xml version=\"1.0\"?>\n";

    struct dropped {};

    struct busy {
        explicit busy(reference &r) : under_way{r} { under_way.begin_busy(); }
        ~busy() { under_way.end_busy(); }
        busy(const busy &) = delete;
        busy &operator=(const busy &) = delete;
        reference &under_way;
    };

    /** What a request edits. */
    struct edited {
        edited(reference_daemon &daemon, bool in_transaction)
            : its_daemon{daemon}, transaction{in_transaction}, running{daemon.running_},
              target{in_transaction ? daemon.copy(running) : running}, set{daemon.follow(target)}
        {
        }
        ~edited()
        {
            its_daemon.unfollow(set);
            if (transaction && !installed) its_daemon.delete_all(target);
        }
        edited(const edited &) = delete;
        edited &operator=(const edited &) = delete;

        reference_daemon &its_daemon;
        bool transaction;
        instances *running;
        instances *target;
        changes *set;
        bool installed = false;
    };

    /** The operation under way and what it says. */
    struct evaluation {
        const request &asked;
        edited &what;
        std::string out;
        unsigned errors = 0;
        unsigned touched = 0;

        bool refuse(const std::string &message)
        {
            out += element("error", escaped(message));
            ++errors;
            return false;
        }
    };

    void commit(instances *after, changes *set)
    {
        const commit_info info{set->before, after, set};
        for (int provider = 0; provider < providers; ++provider)
            plugins_->commit(provider, &info);
    }

    std::string content(const request &r)
    {
        auto what = std::make_unique<edited>(*this, r.transaction);
        const std::optional<std::string> fault = collect(r);
        if (fault) return *fault;
        for (int provider = 0; provider < providers; ++provider)
            plugins_->refresh(provider, what->target);
        if (what->running != running_) what = std::make_unique<edited>(*this, r.transaction);

        evaluation e{r, *what, {}};
        for (const operation &op : r.operations) {
            evaluate(e, op);
            if (e.errors > 0) break;
        }
        if (e.errors == 0 && !r.passive) install(e);
        return e.out;
    }

    /** The first pass: the answer to a request whose last operation is at fault. */
    static std::optional<std::string> collect(const request &r)
    {
        std::string out;
        unsigned errors = 0;
        for (const operation &op : r.operations) {
            errors = op.what == operation::kind::update && !find_class(op.cls) ? 1 : 0;
            if (op.what == operation::kind::select) out += element("dataset", "");
            if (errors > 0)
                out += element("error", "Unknown class \"" + op.cls + "\".") + counts(1, 0);
        }
        return errors > 0 ? std::optional{out} : std::nullopt;
    }

    static std::string counts(unsigned errors, unsigned touched)
    {
        return element("rc", std::to_string(errors)) + element("counter", std::to_string(touched));
    }

    void install(evaluation &e)
    {
        edited &what = e.what;
        if (what.set->incomplete) throw dropped{};
        if (what.running != running_) {
            log("Running was replaced while a request was evaluated.\n");
            throw dropped{};
        }
        if (what.transaction) {
            what.installed = true;
            replace_running(what.target);
        }
        if (what.transaction || e.asked.operations.back().what != operation::kind::select)
            commit(what.target, what.set);
    }

    void evaluate(evaluation &e, const operation &op)
    {
        e.touched = 0;
        switch (op.what) {
        case operation::kind::select:
            select(e, op);
            break;
        case operation::kind::update:
            update(e, op);
            break;
        case operation::kind::remove:
            remove_matches(e, op);
            break;
        case operation::kind::insert:
            for (const new_instance &fresh : op.inserted) {
                if (!insert(e, fresh)) break;
                ++e.touched;
            }
            break;
        }
        e.out += counts(e.errors, e.touched);
    }

    /** Calls visit(instance) for those that an operation is about, until it gives false. */
    template <typename Visit>
    void for_each_match(const evaluation &e, const operation &op, Visit &&visit)
    {
        const char *name = op.name ? op.name->c_str() : nullptr;
        iterator *it = iterate(e.what.target, find_class(op.cls), name);
        while (instance *i = it ? next(it) : nullptr)
            if (matches(op, i) && !visit(i)) break;
        if (it) delete_iterator(it);
    }

    static bool matches(const operation &op, const instance *i)
    {
        return std::all_of(op.where.begin(), op.where.end(), [&](const condition &test) {
            const char *found = test.what == condition::test::is_named
                                    ? name_of(i)
                                    : value_of(i, test.property.c_str());
            const bool holds =
                found && (test.what == condition::test::has_property || test.value == found);
            return holds != test.negated;
        });
    }

    void select(evaluation &e, const operation &op)
    {
        std::string found;
        if (find_class(op.cls))
            for_each_match(e, op, [&](const instance *i) {
                ++e.touched;
                std::string content;
                const auto show = [&](const std::string &property) {
                    const char *text = value_of(i, property.c_str());
                    content += element(property, text ? escaped(text) : "");
                };
                if (op.selects_all)
                    for (const property_info *property : i->cls->all_properties)
                        show(property->name);
                else
                    for (const assignment &a : op.properties)
                        show(a.property);
                found += element(op.cls, content, named(i->name));
                return true;
            });
        e.out += element("dataset", found);
    }

    bool set(evaluation &e, instance *i, const assignment &a, bool is_new)
    {
        const property_info *property = find_property(*i->cls, a.property.c_str());
        const std::string of_class = " class \"" + std::string{i->cls->name} + "\"";
        if (!property)
            return e.refuse("Property \"" + a.property + "\" is not valid for" + of_class + ".");
        if (!e.asked.passive && !property->writable && !(is_new && property->required))
            return e.refuse("Property \"" + a.property + "\" of" + of_class + " is not writable.");
        if (!is_new && before_of(e.what.set, i)) record_property(e.what.set, i, property->name);
        if (set_value(i, a.property.c_str(), a.value.c_str()) == 0) return true;
        return e.refuse("Value \"" + a.value + "\" is not valid for property \"" + a.property +
                        "\" of" + of_class + ".");
    }

    void update(evaluation &e, const operation &op)
    {
        if (!find_class(op.cls)) {
            e.refuse("Unknown class \"" + op.cls + "\".");
            return;
        }
        for_each_match(e, op, [&](instance *i) {
            if (record_updated(e.what.set, i) != 0) throw dropped{};
            for (const assignment &a : op.properties)
                if (!set(e, i, a, false)) return false;
            ++e.touched;
            return true;
        });
    }

    void remove_matches(evaluation &e, const operation &op)
    {
        if (!find_class(op.cls)) return;
        for_each_match(e, op, [&](instance *i) {
            record_deleted(e.what.set, i);
            remove(e.what.target, i);
            ++e.touched;
            return true;
        });
    }

    /** The class of an instance to be inserted; null when it does not say which. */
    const class_info *class_to_make(const new_instance &fresh)
    {
        const class_info *cls = find_class(fresh.element);
        if (!cls) log("Instance has an unknown class \"" + fresh.element + "\".\n");
        if (!cls || !cls->abstract) return cls;
        const std::string identifier = cls->properties.back().name;
        const auto given = std::find_if(fresh.values.begin(), fresh.values.end(),
                                        [&](const auto &a) { return a.property == identifier; });
        const class_info *subclass =
            given == fresh.values.end() ? nullptr : find_class(given->value);
        if (subclass && subclass->superclass == cls) return subclass;

        const std::string property = "subclass identifier property \"" + identifier + "\"";
        const std::string of = "Instance of class \"" + fresh.element + "\" ";
        if (given == fresh.values.end())
            log(of + "does not contain a " + property + ".\n");
        else if (given->value.empty())
            log(of + property + " has a null value.\n");
        else if (!subclass)
            log(of + property + " value is an unknown class \"" + given->value + "\".\n");
        else
            log(of + property + " value is \"" + given->value +
                "\", which is not a subclass of \"" + fresh.element + "\".\n");
        return nullptr;
    }

    bool insert(evaluation &e, const new_instance &fresh)
    {
        const class_info *cls = class_to_make(fresh);
        if (!cls) return e.refuse("Unknown class \"" + fresh.element + "\".");
        const std::string of_class = " of class \"" + std::string{cls->name} + "\"";
        if (cls->is_named() != fresh.name.has_value()) {
            fail("Instance of \"" + std::string{cls->name} + "\" " +
                 (fresh.name ? "may not have a name.\n" : "requires requires name.\n"));
            return e.refuse("Bad instance name \"" + fresh.name.value_or("(null)") + "\"" +
                            of_class + ".");
        }
        instance *i = make(*cls, fresh.name ? fresh.name->c_str() : nullptr);
        for (const assignment &a : fresh.values)
            if (!set(e, i, a, true)) return false;
        for (const property_info *property : cls->all_properties)
            if (property->required && !value_of(i, property->name))
                return e.refuse("Instance is invalid: Property \"" + std::string{property->name} +
                                "\"" + of_class + " is required on insert but not set.");
        if (add(e.what.target, i) != 0)
            return e.refuse("Couldn't add instance \"" + fresh.name.value_or("(null)") + "\"" +
                            of_class + ".");
        if (record_inserted(e.what.set, i) != 0) {
            remove(e.what.target, i);
            throw dropped{};
        }
        return true;
    }

    instances *running_ = nullptr;
};

} // namespace vesk::test::differential

#endif
