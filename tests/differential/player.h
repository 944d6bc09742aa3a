#ifndef VESK_TESTS_DIFFERENTIAL_PLAYER_H
#define VESK_TESTS_DIFFERENTIAL_PLAYER_H

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/differential/dice.h"
#include "tests/differential/host.h"
#include "tests/differential/mentions.h"
#include "tests/differential/schema.h"

namespace vesk::test::differential {

/** Which random choices a sequence is made of; what is left out on purpose is not played. */
struct script {
    uint64_t seed;
    std::vector<unsigned> left_out;
};

/** What became of something that was tried while memory was short. */
enum class fate {
    done,
    lost,   // refused for want of memory: nothing has changed
    spoiled // done, but a change set missed something of it, and says so
};

/** What one side told in the course of a sequence. */
struct account {
    std::string trace;

    /** Told by the daemon, followed by the reference. */
    std::vector<fate> fates;

    /** Whether a text that was remembered still is at the same address when it is asked for. */
    std::vector<bool> unmoved;
};

/**
 * Plays the plug-ins and clients of one side, and writes down all that the interface tells. Both
 * sides are played with the same dice: as long as they answer the same, the same is done to them.
 */
template <typename World> class player : public host<typename World::base> {
  public:
    using instance = typename World::instance;
    using instances = typename World::instances;
    using changes = typename World::changes;
    using iterator = typename World::iterator;
    using commit_info = typename World::commit_info;

    player(World &world, account &told, const script &plan)
        : world_{world}, told_{told}, plan_{plan}
    {
        world_.serve(this);
    }

    bool is_valid(const char *value) override
    {
        note(" valid(", value, ")");
        act_perhaps();
        return is_acceptable(value);
    }

    bool is_valid_for(instance *i, const char *value) override
    {
        note(" valid(");
        mention(i);
        note(",", value, ")");
        act_perhaps();
        return is_acceptable_to_instance(value);
    }

    void value_set(int listener, instance *i, const char *property) override
    {
        note(" set", listener, "(");
        mention(i);
        note(",", property, ")");
        act_perhaps();
    }

    void membership_changed(int listener, instance *i, int event) override
    {
        note(event == 0 ? " added" : " removed", listener, "(");
        mention(i);
        note(")");
        act_perhaps();
    }

  protected:
    struct remembered {
        instance *of;
        const property_info *property;
        const char *text;
        const changes *owner; // of a copy from before
    };

    /** What a validator, listener or provider may do by itself. */
    virtual void act() = 0;

    /** Lets memory run out at an allocation, and ends that; whether it was reached. */
    virtual void run_short(size_t, bool /*for_good*/) {}
    virtual bool recover() { return false; }

    /** Whether a change set says that it missed something. */
    virtual bool misses_something() { return false; }

    /** An instance was met in a collection that is not a change set's own. */
    virtual void met(instances *, instance *) {}

    bool is_left_out(unsigned step) const
    {
        const auto &out = plan_.left_out;
        return std::find(out.begin(), out.end(), step) != out.end();
    }
    void begin_step(unsigned number) { dice_ = dice{plan_.seed * 1000003 + number}; }

    unsigned below(size_t limit) { return dice_.below(limit); }
    bool once_in(size_t times) { return dice_.once_in(times); }
    template <typename List> auto &any(List &list) { return list[below(list.size())]; }

    void act_perhaps()
    {
        if (depth_ >= max_depth || !once_in(reluctance_)) return;
        ++depth_;
        note("{");
        act();
        note("}");
        --depth_;
    }

    // Trying while memory may be short. Only what is called is short of it, not who calls

    /** What may fail for want of memory, and must leave everything as it was then. */
    template <typename Operation> auto attempt(Operation &&operation)
    {
        if (!is_scarce_ || depth_ > 0 || !once_in(3)) return operation();
        const size_t number = 1 + below(most_allocations_);
        const bool for_good = once_in(2);
        if constexpr (World::follows_fates) {
            const bool is_told = next_fate_ < told_.fates.size();
            const fate f = is_told ? told_.fates[next_fate_++] : fate::done;
            is_spoiled_ = is_spoiled_ || f == fate::spoiled;
            if (f != fate::lost) return operation();
            note(" lost");
            return failure<decltype(operation())>();
        } else {
            const notes before{told_.trace.size(), told_.unmoved.size(), mentions_, remembered_,
                               dice_};
            run_short(number, for_good);
            auto result = operation();
            const bool is_lost = recover() && is_failure(result);
            const bool is_spoilt = !is_lost && misses_something();
            is_spoiled_ = is_spoiled_ || is_spoilt;
            told_.fates.push_back(is_lost ? fate::lost : is_spoilt ? fate::spoiled : fate::done);
            if (!is_lost) return result;
            go_back_to(before);
            note(" lost");
            return result;
        }
    }

    /** What needs no memory. */
    template <typename Operation> auto manage(Operation &&operation)
    {
        if (!is_scarce_ || depth_ > 0) return operation();
        run_short(1, true);
        struct recovery {
            ~recovery() { whose.recover(); }
            player &whose;
        } const at_end{*this};
        return operation();
    }

    // Writing down

    template <typename... Parts> void note(const Parts &...parts) { (put(parts), ...); }

    void mention(instance *i, const changes *owner = nullptr)
    {
        if (!i) return note(" -");
        note(" i", mentions_.id(i, owner));
    }

    /** The instances that are left, in order; deletes the iterator. */
    void list(iterator *it, instances *all, const changes *owner)
    {
        if (!it) return note(" none");
        while (world_.has_next(it)) {
            instance *i = world_.next(it); // a shared copy may need memory for what it hands out
            mention(i, owner);
            if (i && all) met(all, i);
        }
        note(" .");
        world_.delete_iterator(it);
    }

    iterator *iterate(instances *all, const class_info *cls = nullptr, const char *name = nullptr)
    {
        return attempt([&] { return world_.iterate(all, cls, name); });
    }

    // Choosing

    const class_info &any_class() { return any(classes_of_device()); }
    const class_info &any_concrete_class()
    {
        const class_info &cls = any_class();
        return cls.abstract ? *any(cls.subclasses) : cls;
    }
    const char *any_name()
    {
        static constexpr const char *names[] = {"a", "b", "c"};
        return names[below(std::size(names))];
    }
    const char *name_for(const class_info &cls) { return cls.is_named() ? any_name() : nullptr; }
    const char *any_value()
    {
        static constexpr const char *values[] = {
            "1", "2", "x&y", "", "a longer text than the rest", "up", "bad", "odd"};
        return values[below(std::size(values))];
    }
    const char *any_property(const class_info &cls)
    {
        const auto &properties = cls.all_properties;
        return once_in(30) ? "colour" : any(properties)->name;
    }

    /** One of a collection, looked for in one of the ways that there are; or null. */
    instance *pick(instances *all)
    {
        instance *found = nullptr;
        const unsigned way = below(6);
        if (way == 0) {
            const class_info &cls = any_class();
            if (cls.type == VESK_CLASS_SINGLETON) found = world_.get_singleton(all, cls);
            if (cls.type == VESK_CLASS_UNIQUE_NAMED) found = world_.get(all, cls, any_name());
        } else {
            const class_info *cls = way < 3 ? &any_class() : nullptr;
            iterator *it = iterate(all, cls);
            if (!it) return nullptr;
            for (unsigned left = below(cls ? 2 : 8);; --left) {
                found = world_.next(it);
                if (left == 0 || !found) break;
            }
            world_.delete_iterator(it);
        }
        if (found) met(all, found);
        return found;
    }

    // Looking

    /** One thing about a collection, which belongs to a change set when there is an owner. */
    void look(instances *all, const changes *owner = nullptr)
    {
        const class_info &cls = any_class();
        switch (below(11)) {
        case 0:
            note("print\n");
            world_.print(all);
            break;
        case 1:
        case 2:
            note("list:");
            list(iterate(all), owner ? nullptr : all, owner);
            break;
        case 3:
            note("list ", cls.name, ":");
            list(iterate(all, &cls), owner ? nullptr : all, owner);
            break;
        case 4: {
            const char *name = any_name();
            note("list ", cls.name, " ", name, ":");
            list(iterate(all, &cls, name), owner ? nullptr : all, owner);
            break;
        }
        case 5:
        case 6:
            look_up(all, cls, owner);
            break;
        case 7:
            note("empty: ", world_.is_empty(all));
            break;
        case 8:
            note("saved\n");
            world_.print_saved(all);
            break;
        case 9:
            note("copied\n");
            look_at_copy(all);
            break;
        default:
            look_at(pick_quietly(all, owner), owner);
        }
    }

    void look_at(instance *i, const changes *owner = nullptr)
    {
        note("instance");
        mention(i, owner);
        note("\n");
        if (!i) return;
        world_.print(i);
        remember(i, owner);
    }

    /** One thing about a change set; the instance may be one that it knows, or null. */
    void look(changes *set, instance *i)
    {
        const class_info &cls = any_class();
        switch (below(10)) {
        case 0:
            print(set);
            break;
        case 1:
            note("changed ", cls.name, ":");
            list(attempt([&] { return world_.iterate_changed(set, cls); }), nullptr, set);
            break;
        case 2:
            note("deleted ", cls.name, ":");
            list(attempt([&] { return world_.iterate_deleted(set, cls); }), nullptr, set);
            break;
        case 3:
            note("contains ", cls.name, ": ", manage([&] { return world_.contains(set, cls); }));
            break;
        case 4:
        case 5:
        case 6:
            if (i) look_at_record(set, i);
            break;
        default:
            look_at_before(set);
        }
    }

    void look_at_before(changes *set)
    {
        instances *before = attempt([&] { return world_.before_of(set); });
        note("before ", before ? mentions_.id(before, set) : 0, " ");
        if (before) look(before, set);
    }

    void look_at_record(changes *set, instance *i)
    {
        note("record");
        mention(i);
        if (!i) return;
        note(": ", manage([&] { return world_.contains(set, i); }));
        for (const property_info *property : world_.class_of(i).all_properties)
            note(manage([&] { return world_.contains(set, i, property->name); }));
        if (once_in(3)) return;
        note(" before ");
        look_at(attempt([&] { return world_.before_of(set, i); }), set);
    }

    /** An addition that failed may leave the empty place of a class behind, which shows here. */
    void print(changes *set)
    {
        if (is_scarce_) return;
        note("changes\n");
        world_.print(set);
    }

    /** All that a change set tells. */
    void look_at_all(changes *set, const std::vector<instance *> &known)
    {
        print(set);
        for (const class_info &cls : classes_of_device()) {
            note(cls.name, " changed:");
            list(world_.iterate_changed(set, cls), nullptr, set);
            note(" deleted:");
            list(world_.iterate_deleted(set, cls), nullptr, set);
            note(" contained: ", world_.contains(set, cls), "\n");
        }
        for (instance *i : known)
            look_at_record(set, i);
        look_at_all_before(set);
    }

    void look_at_all_before(changes *set)
    {
        instances *before = world_.before_of(set);
        note("before:");
        list(iterate(before), nullptr, set);
        world_.print(before);
    }

    // Texts stay where they are until that very value is replaced

    void remember(instance *i, const changes *owner = nullptr)
    {
        const auto &properties = world_.class_of(i).all_properties;
        const property_info *property = any(properties);
        const char *text = world_.value_of(i, property->name);
        if (text) remembered_.push_back({i, property, text, owner});
    }

    void check_remembered()
    {
        note("remembered:");
        for (remembered &r : remembered_) {
            const char *text = world_.value_of(r.of, r.property->name);
            note(" ", text);
            told_.unmoved.push_back(text == r.text);
            r.text = text;
        }
    }

    void forget(const instance *i)
    {
        std::erase_if(remembered_, [&](const remembered &r) { return r.of == i; });
        mentions_.forget(i);
    }
    void forget_owned_by(const changes *set)
    {
        std::erase_if(remembered_, [&](const remembered &r) { return r.owner == set; });
        mentions_.forget_owned_by(set);
    }

    static constexpr unsigned max_depth = 2;
    static constexpr unsigned never = 1U << 31; // of the reluctance

    World &world_;
    account &told_;
    const script &plan_;
    std::vector<remembered> remembered_;
    mentions mentions_;
    unsigned depth_ = 0;             // of callbacks that do something by themselves
    bool is_scarce_ = false;         // memory runs out now and then
    bool is_spoiled_ = false;        // by an attempt
    unsigned most_allocations_ = 14; // that something takes
    unsigned reluctance_ = 4;        // one callback in so many does something by itself

  private:
    void put(const char *text) { told_.trace += text; }
    void put(const std::string &text) { told_.trace += text; }
    void put(bool yes) { told_.trace += yes ? "yes" : "no"; }
    template <typename Number>
    requires std::is_integral_v<Number> &&(!std::is_same_v<Number, bool>)void put(Number n)
    {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, n).ptr;
        told_.trace.append(digits, end);
    }

    void look_up(instances *all, const class_info &cls, const changes *owner)
    {
        const char *name = any_name();
        instance *found = nullptr;
        if (cls.type == VESK_CLASS_SINGLETON)
            found = world_.get_singleton(all, cls);
        else if (cls.type == VESK_CLASS_UNIQUE_NAMED)
            found = world_.get(all, cls, name);
        note("get ", cls.name, " ", name, ":");
        mention(found, owner);
        if (found && !owner) met(all, found);
    }

    instance *pick_quietly(instances *all, const changes *owner)
    {
        if (!owner) return pick(all);
        iterator *it = iterate(all);
        instance *found = nullptr;
        for (unsigned left = below(6) + 1; it && left > 0; --left)
            found = world_.next(it);
        if (it) world_.delete_iterator(it);
        return found;
    }

    void look_at_copy(instances *all)
    {
        instances *copy = world_.copy(all);
        world_.print(copy);
        world_.delete_all(copy);
    }

    // Null, or a status that is not 0.
    static bool is_failure(int status) { return status != 0; }
    template <typename Pointer> static bool is_failure(const Pointer &result) { return !result; }
    template <typename Result> static Result failure()
    {
        if constexpr (std::is_same_v<Result, int>)
            return 1;
        else
            return Result{};
    }

    /** What is to be as before when something turns out not to have happened. */
    struct notes {
        size_t length, checks;
        mentions mentioned;
        std::vector<remembered> texts;
        dice next;
    };

    void go_back_to(const notes &before)
    {
        told_.trace.resize(before.length);
        told_.unmoved.resize(before.checks);
        mentions_ = before.mentioned;
        remembered_ = before.texts;
        dice_ = before.next;
    }

    dice dice_{0};
    size_t next_fate_ = 0;
};

} // namespace vesk::test::differential

#endif
