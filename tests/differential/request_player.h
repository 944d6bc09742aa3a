#ifndef VESK_TESTS_DIFFERENTIAL_REQUEST_PLAYER_H
#define VESK_TESTS_DIFFERENTIAL_REQUEST_PLAYER_H

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "tests/differential/player.h"
#include "tests/differential/request.h"

namespace vesk::test::differential {

/** What requests are like and what the plug-ins do while one is evaluated. */
struct request_profile {
    unsigned reluctance;    // one callback in so many does something by itself
    unsigned meddling;      // one thing in so many that a callback does is an edit; 0: none
    unsigned transactions;  // per cent
    unsigned passive;       // per cent
    unsigned steps;         // at most
    bool is_scarce = false; // memory runs out now and then
};

/**
 * Sends requests to a running configuration, whose validators, listeners and providers look at
 * everything, edit what is being edited or running, and send requests of their own.
 *
 * Left out, because the interface does not allow it: nothing in "before" is edited; what a request
 * is just adding is not taken away in that very moment; what was deleted is not edited. Left out as
 * well: whoever has put a listener of its own in the place of a change set's, or removes a class
 * while a request is under way, clears the listeners of the instances that it takes out.
 */
template <typename World> class request_player : public player<World> {
    using base = player<World>;
    using base::any, base::any_class, base::any_concrete_class, base::any_name, base::any_property,
        base::any_value, base::below, base::depth_, base::list, base::look, base::mention,
        base::note, base::once_in, base::pick, base::told_, base::world_;

  public:
    using typename base::changes, typename base::instance, typename base::instances,
        typename base::iterator, typename base::commit_info;
    using profile = request_profile;

    request_player(World &world, account &told, const script &plan, const profile &p)
        : base{world, told, plan}, profile_{p}
    {
        this->most_allocations_ = 400;
    }

    void play()
    {
        begin();
        for (unsigned step = 1; step <= steps_ && !this->is_spoiled_; ++step) {
            if (this->is_left_out(step)) continue;
            this->begin_step(step);
            note("\n", step, ": ");
            take_step();
            settle();
        }
        finish();
    }

    void membership_changed(int listener, instance *i, int event) override
    {
        if (event == 0) ++adding_;
        base::membership_changed(listener, i, event);
        if (event == 0) --adding_;
    }

    void refresh(int provider, instances *target) override
    {
        note("\n  refresh", provider, " ", this->mentions_.id(target, nullptr),
             target == world_.running() ? " running {" : " {");
        ++depth_;
        for (unsigned left = depth_ > base::max_depth ? 0 : below(3); left > 0; --left)
            act_on(once_in(3) ? world_.running() : target);
        --depth_;
        note("}\n");
    }

    void commit(int provider, const commit_info *info) override
    {
        instances *after = world_.after_of(info);
        changes *set = world_.changes_of(info);
        if (known_running_ != world_.running()) forget_old_running();
        sets_.push_back(set);
        ++commits_;
        note("\n  commit", provider, " ", this->mentions_.id(after, nullptr),
             after == world_.running() ? " running {" : " {");
        ++depth_;
        for (unsigned left = depth_ > base::max_depth ? 1 : below(6); left > 0; --left) {
            note("\n    ");
            work_on(info);
        }
        --depth_;
        note("}\n");
    }

  protected:
    void act() override { act_on(world_.running()); }

  private:
    struct walker {
        iterator *it;
        const changes *owner;
    };

    void begin()
    {
        this->begin_step(0);
        steps_ = 1 + below(profile_.steps);
        // Without memory the log does not show a whole request.
        world_.set_log_level(profile_.is_scarce ? 0 : static_cast<int>(below(3)));
        instances *all = world_.make_collection();
        world_.start(all);
        this->reluctance_ = base::never;
        for (unsigned left = 2 + below(8); left > 0; --left)
            add_new(all);
        this->reluctance_ = profile_.reluctance;
        this->is_scarce_ = profile_.is_scarce;
    }

    void take_step()
    {
        const unsigned what = below(12);
        if (what < 8) return evaluate();
        if (what == 8) return commit_without_changes();
        if (what == 9) return this->look(world_.running());
        act_on(world_.running());
    }

    /** What a provider does with what it is given, in any order. */
    void work_on(const commit_info *info)
    {
        instances *after = world_.after_of(info);
        changes *set = world_.changes_of(info);
        switch (below(8)) {
        case 0:
        case 1:
            return this->look(set, pick(after));
        case 2:
            note("before ");
            return this->look(world_.before_of(info), set);
        case 3:
            note(world_.before_of(info) == world_.before_of(set) ? "the same before " : "another ");
            return this->look_at_record(set, pick(after));
        case 4:
            return start_walk(info);
        default:
            return act_on(once_in(3) ? world_.running() : after);
        }
    }

    void act_on(instances *all)
    {
        if (!profile_.meddling || !once_in(profile_.meddling)) return look_on(all);
        switch (below(12)) {
        case 0:
            return add_new(all);
        case 1:
            return add_again(all);
        case 2:
        case 3:
            return remove(all);
        case 4:
            return listen(all);
        case 5:
            return drop_class(all);
        case 6:
        case 7:
            return evaluate();
        case 8:
            return replace_running();
        default:
            return set(all);
        }
    }

    void look_on(instances *all)
    {
        switch (below(6)) {
        case 0:
            return walk();
        case 1:
            return this->check_remembered();
        default:
            return this->look(all);
        }
    }

    // Requests

    void evaluate()
    {
        if (adding_ > 0 || depth_ > base::max_depth) return;
        const request r = any_request();
        const std::string text = text_of(r);
        note(r.passive ? "passive " : "request ", text);
        const size_t outer = sets_.size();
        const unsigned commits = commits_;
        const auto answer = this->attempt([&] { return world_.evaluate(r, text); });
        for (; sets_.size() > outer; sets_.pop_back())
            this->forget_owned_by(sets_.back());
        const char *told = world_.text_of(answer);
        note("\n  = ", told ? told : "none\n");
        if (told || !this->is_scarce_) return;
        if (commits_ != commits) note("*** committed, but lost ***");
        this->is_spoiled_ = !r.transaction; // done in part
    }

    void commit_without_changes()
    {
        note("action");
        const size_t outer = sets_.size();
        this->attempt([&] {
            const unsigned commits = commits_;
            world_.commit_without_changes();
            return commits_ == commits ? 1 : 0;
        });
        for (; sets_.size() > outer; sets_.pop_back())
            this->forget_owned_by(sets_.back());
    }

    request any_request()
    {
        request r;
        r.passive = below(100) < profile_.passive;
        r.transaction = below(100) < profile_.transactions;
        const unsigned length = r.transaction ? below(5) : 1 + below(3);
        for (unsigned left = length; left > 0; --left)
            r.operations.push_back(any_operation());
        return r;
    }

    operation any_operation()
    {
        using kind = operation::kind;
        static constexpr kind kinds[] = {kind::update, kind::update, kind::update, kind::update,
                                         kind::insert, kind::insert, kind::insert, kind::remove,
                                         kind::remove, kind::select};
        const class_info &cls = any_class();
        operation op{kinds[below(std::size(kinds))], once_in(40) ? "toaster" : cls.name};
        if (op.what == kind::insert) {
            for (unsigned left = 1 + below(2); left > 0; --left)
                op.inserted.push_back(any_new_instance());
            return op;
        }
        if (cls.is_named() ? once_in(3) : once_in(30)) op.name = any_name();
        op.selects_all = op.what == kind::select && once_in(2);
        if (op.what == kind::update || (op.what == kind::select && !op.selects_all))
            for (unsigned left = below(3); left > 0; --left)
                op.properties.push_back(
                    {any_property(cls), op.what == kind::update ? any_value() : ""});
        if (once_in(3))
            for (unsigned left = 1 + below(2); left > 0; --left)
                op.where.push_back(any_condition(cls));
        return op;
    }

    condition any_condition(const class_info &cls)
    {
        static constexpr const char *values[] = {"1", "2", "x&y", "up"};
        const auto what = static_cast<condition::test>(below(3));
        condition test{what, once_in(2), "", ""};
        if (what != condition::test::is_named) test.property = any_property(cls);
        if (what == condition::test::has_value) test.value = values[below(std::size(values))];
        if (what == condition::test::is_named) test.value = any_name();
        return test;
    }

    new_instance any_new_instance()
    {
        const class_info &cls = any_concrete_class();
        new_instance fresh{once_in(40) ? "toaster" : cls.name, std::nullopt, {}};
        if (cls.superclass && once_in(2)) fresh.element = cls.superclass->name;
        if (cls.is_named() != once_in(30)) fresh.name = any_name();
        for (const property_info *property : cls.all_properties) {
            const bool is_identifier = cls.superclass && property->required &&
                                       find_property(*cls.superclass, property->name);
            if (!once_in(property->required ? 20 : 2) == property->required)
                fresh.values.push_back(
                    {property->name, is_identifier && !once_in(30) ? cls.name : any_value()});
        }
        return fresh;
    }

    // Edits

    void add_new(instances *all)
    {
        const class_info &cls = any_concrete_class();
        const bool is_running = all == world_.running(); // which a validator may replace
        instance *i = world_.make(cls, this->name_for(cls));
        note("add ", cls.name);
        for (unsigned left = below(3); left > 0; --left)
            world_.set_value(i, any(cls.all_properties)->name, any_value());
        outside_.push_back(i);
        add(is_running ? world_.running() : all, i);
    }

    void add_again(instances *all)
    {
        if (!outside_.empty()) add(all, any(outside_));
    }

    void add(instances *all, instance *i)
    {
        mention(i);
        std::erase(outside_, i);
        const int status = world_.add(all, i);
        note(" added = ", status);
        if (status != 0) outside_.push_back(i);
    }

    void remove(instances *all)
    {
        instance *i = adding_ > 0 ? nullptr : pick(all);
        if (!i) return;
        note("remove");
        mention(i);
        outside_.push_back(i);
        const int status = world_.remove(all, i);
        note(" = ", status);
        if (tampered_) world_.listen(i, 0);
    }

    void set(instances *all)
    {
        instance *i = pick(all);
        if (!i) return;
        const char *property = any_property(world_.class_of(i)), *value = any_value();
        note("set");
        mention(i);
        note(" ", property, "=", value);
        note(" = ", world_.set_value(i, property, value));
    }

    void listen(instances *all)
    {
        const int listener = static_cast<int>(below(4));
        if (once_in(3)) {
            note("listener ", listener, " of all");
            tampered_ = true;
            return world_.listen(all, listener);
        }
        instance *i = pick(all);
        if (!i) return;
        note("listener ", listener, " of");
        mention(i);
        world_.listen(i, listener);
    }

    void drop_class(instances *all)
    {
        if (adding_ > 0) return;
        const class_info &cls = any_concrete_class();
        const bool frees = once_in(2);
        note(frees ? "delete class " : "remove class ", cls.name);
        if (frees) return note(" = ", world_.delete_class(all, cls));
        std::vector<instance *> gone;
        iterator *it = world_.iterate(all, &cls, nullptr);
        while (instance *i = world_.next(it))
            gone.push_back(i);
        world_.delete_iterator(it);
        note(" = ", world_.remove_class(all, cls));
        for (instance *i : gone) {
            world_.listen(i, 0);
            outside_.push_back(i);
        }
    }

    void replace_running()
    {
        if (!once_in(4)) return;
        instances *fresh = world_.copy_whole(world_.running());
        note("replace running", world_.replace_running(fresh) == fresh);
    }

    // Walks that go on while other things happen

    void start_walk(const commit_info *info)
    {
        if (this->is_scarce_) return; // a step of what did not happen cannot be taken back
        if (walkers_.size() >= 3) return walk();
        changes *set = world_.changes_of(info);
        const class_info &cls = any_class();
        const unsigned what = below(4);
        note("start walk ", what, " ", cls.name);
        iterator *it = what == 0   ? world_.iterate(world_.after_of(info), nullptr, nullptr)
                       : what == 1 ? world_.iterate_changed(set, cls)
                       : what == 2 ? world_.iterate_deleted(set, cls)
                                   : world_.iterate(world_.before_of(info), nullptr, nullptr);
        walkers_.push_back({it, what == 0 ? nullptr : set});
    }

    void walk()
    {
        if (walkers_.empty()) return;
        const size_t number = below(walkers_.size());
        const walker w = walkers_[number];
        note("walk ", number, ": ", world_.has_next(w.it));
        instance *i = world_.next(w.it);
        mention(i, w.owner);
        if (i && !once_in(8)) return;
        world_.delete_iterator(w.it);
        walkers_.erase(walkers_.begin() + static_cast<std::ptrdiff_t>(number));
    }

    /**
     * A transaction's result may go on with instances of the running configuration that it
     * replaced, or have copies of all. Who held one of the old ones has to look it up again either
     * way.
     */
    void forget_old_running()
    {
        known_running_ = world_.running();
        iterator *it = world_.iterate(world_.running(), nullptr, nullptr);
        while (const instance *i = world_.next(it))
            this->mentions_.forget(i);
        world_.delete_iterator(it);
        std::erase_if(this->remembered_, [](const auto &r) { return r.owner == nullptr; });
        for (const walker &w : walkers_)
            if (!w.owner) world_.delete_iterator(w.it);
        std::erase_if(walkers_, [](const walker &w) { return !w.owner; });
    }

    // Between requests

    /** What was replaced or deleted is freed by now: its address may be used again. */
    void settle()
    {
        tampered_ = false;
        if (known_running_ != world_.running()) forget_old_running();
        std::vector<const void *> alive{outside_.begin(), outside_.end()};
        alive.push_back(world_.running());
        iterator *it = world_.iterate(world_.running(), nullptr, nullptr);
        while (const instance *i = world_.next(it))
            alive.push_back(i);
        world_.delete_iterator(it);
        const auto is_gone = [&](const void *object) {
            return std::find(alive.begin(), alive.end(), object) == alive.end();
        };
        this->mentions_.forget_if(is_gone);
        std::erase_if(this->remembered_, [&](const auto &r) { return is_gone(r.of); });
        for (; outside_.size() > 4; outside_.erase(outside_.begin())) {
            this->forget(outside_.front());
            world_.free(outside_.front());
        }
    }

    void finish()
    {
        this->is_scarce_ = false;
        this->begin_step(steps_ + 1);
        note("\nend:\n");
        if (!this->is_spoiled_) compare_all();
        this->reluctance_ = base::never;
        const size_t length = told_.trace.size();
        iterator *it = world_.iterate(world_.running(), nullptr, nullptr);
        while (instance *i = world_.next(it)) // who listens tells it
            world_.set_value(i, world_.class_of(i).all_properties.front()->name, "1");
        world_.delete_iterator(it);
        if (this->is_spoiled_) told_.trace.resize(length);
        clean_up();
    }

    void compare_all()
    {
        this->check_remembered();
        world_.print(world_.running());
        world_.print_saved(world_.running());
    }

    void clean_up()
    {
        for (instance *i : outside_)
            world_.free(i);
        instances *all = world_.running();
        world_.start(nullptr);
        world_.delete_all(all);
        for (const walker &w : walkers_) {
            note(world_.has_next(w.it));
            world_.delete_iterator(w.it);
        }
    }

    const profile &profile_;
    unsigned steps_ = 0;
    unsigned commits_ = 0;
    unsigned adding_ = 0; // listeners under way that are told of something added
    bool tampered_ =
        false; // since the last request ended a plug-in has set a collection's listener
    std::vector<instance *> outside_; // the test's own
    std::vector<changes *> sets_;     // met in the evaluations under way
    std::vector<walker> walkers_;
    const instances *known_running_ = nullptr;
};

} // namespace vesk::test::differential

#endif
