#ifndef VESK_TESTS_DIFFERENTIAL_COLLECTION_PLAYER_H
#define VESK_TESTS_DIFFERENTIAL_COLLECTION_PLAYER_H

#include <algorithm>
#include <array>
#include <utility>

#include "tests/differential/player.h"

namespace vesk::test::differential {

/** What may be done to collections, and how often. */
struct collection_profile {
    unsigned add, add_again, remove, set, listen, follow, unfollow, record, look, look_at_set, walk,
        drop_class, copy, remember, free;
    unsigned reluctance;    // one callback in so many does something by itself
    unsigned busy_one_in;   // one sequence in so many is played as within a request; 0: none
    unsigned steps;         // at most
    bool is_scarce = false; // memory runs out now and then
};

/**
 * Edits collections and change sets that follow them, nested and ended in any order.
 *
 * Left out, because the interface does not allow it: an instance is in one collection at a time and
 * in it once; none is freed while a collection or change set refers to it (a class of instances is
 * deleted under a change set only where memory is kept, as within a request); a collection outlives
 * the change sets that follow it; nothing in "before" is edited; a text is not set to a property
 * whose validator replaces that very text; what a change set recorded is told by hand to the newest
 * one only. Left out as well: after a change set has ended, nobody sets a value of an instance that
 * was taken out of the collection behind its back (by removing a class, or while a plug-in's
 * listener stood in its place): its listener is cleared first.
 */
template <typename World> class collection_player : public player<World> {
    using base = player<World>;
    using base::any, base::any_class, base::any_concrete_class, base::any_name, base::any_property,
        base::any_value, base::below, base::list, base::look, base::mention, base::note,
        base::once_in, base::pick, base::world_;

  public:
    using typename base::changes, typename base::instance, typename base::instances,
        typename base::iterator;
    using profile = collection_profile;

    collection_player(World &world, account &told, const script &plan, const profile &p)
        : base{world, told, plan}, profile_{p}
    {
        this->reluctance_ = p.reluctance;
    }

    void play()
    {
        begin();
        for (unsigned step = 1; step <= steps_ && !this->is_spoiled_; ++step) {
            if (this->is_left_out(step)) continue;
            this->begin_step(step);
            note("\n", step, ": ");
            take_step(step);
        }
        finish();
    }

  protected:
    bool misses_something() override
    {
        for (const place &here : places_)
            for (const changes *set : here.sets)
                if (world_.is_incomplete(set)) return true;
        return false;
    }

    void act() override
    {
        switch (below(8)) {
        case 0:
            return add_new();
        case 1:
            return remove();
        case 2:
            return look_somewhere();
        case 3:
            return look_at_some_set();
        case 4:
            return walk();
        case 5:
            return add_again();
        default:
            return set();
        }
    }

    void met(instances *all, instance *i) override
    {
        if (find(i)) return;
        for (int p = 0; p < places; ++p)
            if (places_[p].all == all) objects_.push_back({i, p});
    }

  private:
    static constexpr int places = 3;
    static constexpr int outside = -1;

    /** A collection, and the change sets that follow it, oldest first. */
    struct place {
        instances *all = nullptr;
        std::vector<changes *> sets;
        bool tampered = false; // a plug-in listens where a change set did
    };

    struct object {
        instance *i;
        int where;             // a place, or outside
        int strayed = outside; // the place out of which it was taken behind a change set's back
    };

    struct walker {
        iterator *it;
        instances *live; // null for a change set's own
        const changes *owner;
    };

    void begin()
    {
        this->begin_step(0);
        steps_ = 8 + below(profile_.steps - 8);
        filling_ = 2 + below(8);
        busy_ = profile_.busy_one_in && once_in(profile_.busy_one_in);
        if (busy_) world_.begin_busy();
        places_[0].all = world_.make_collection();
        this->is_scarce_ = profile_.is_scarce;
        if (profile_.is_scarce) make_every_store();
    }

    /** So that no addition that fails leaves the empty place of a class behind. */
    void make_every_store()
    {
        for (const class_info &cls : classes_of_device())
            if (!cls.abstract) make_store(0, cls);
    }
    void make_store(int p, const class_info &cls)
    {
        instance *i = world_.make(cls, cls.is_named() ? "unused" : nullptr);
        if (world_.add(places_[p].all, i) == 0) world_.remove(places_[p].all, i);
        this->forget(i);
        world_.free(i);
    }

    void take_step(unsigned step)
    {
        if (step <= filling_) return add_new();
        const profile &p = profile_;
        struct choice {
            unsigned weight;
            void (collection_player::*what)();
        };
        using self = collection_player;
        const choice choices[] = {
            {p.add, &self::add_new},         {p.add_again, &self::add_again},
            {p.remove, &self::remove},       {p.set, &self::set},
            {p.listen, &self::listen},       {p.follow, &self::follow},
            {p.unfollow, &self::unfollow},   {p.record, &self::record},
            {p.look, &self::look_somewhere}, {p.look_at_set, &self::look_at_some_set},
            {p.walk, &self::walk},           {p.drop_class, &self::drop_class},
            {p.copy, &self::copy_or_drop},   {p.remember, &self::remember_or_check},
            {p.free, &self::free_one},
        };
        unsigned sum = 0;
        for (const choice &c : choices)
            sum += c.weight;
        unsigned dot = below(sum);
        for (const choice &c : choices) {
            if (dot < c.weight) return (this->*c.what)();
            dot -= c.weight;
        }
    }

    // Objects

    object *find(const instance *i)
    {
        for (object &o : objects_)
            if (o.i == i) return &o;
        return nullptr;
    }

    template <typename Test> instance *any_object(Test &&test)
    {
        std::vector<instance *> fit;
        for (const object &o : objects_)
            if (test(o)) fit.push_back(o.i);
        return fit.empty() ? nullptr : any(fit);
    }

    int any_place()
    {
        int p = 0;
        do
            p = static_cast<int>(below(places));
        while (!places_[p].all);
        return p;
    }

    instance *any_inside(int p)
    {
        if (once_in(2)) return pick(places_[p].all);
        return any_object([&](const object &o) { return o.where == p; });
    }

    void add_to(int p, instance *i)
    {
        const object was = *find(i);
        *find(i) = {i, p}; // a listener may take it out again
        mention(i);
        note(" to ", p);
        const int status = this->attempt([&] { return world_.add(places_[p].all, i); });
        note(" = ", status);
        if (status != 0) *find(i) = was;
    }

    void add_new()
    {
        const class_info &cls = any_concrete_class();
        const char *name = this->name_for(cls);
        note("add ", cls.name);
        instance *i = this->attempt([&] { return world_.make(cls, name); });
        if (!i) return;
        objects_.push_back({i, outside});
        for (unsigned left = below(4); left > 0; --left)
            set_value(i, any(cls.all_properties)->name, any_value());
        if (find(i)->where == outside) add_to(any_place(), i);
    }

    void add_again()
    {
        instance *i = any_object([](const object &o) { return o.where == outside; });
        if (!i) return;
        const int home = find(i)->strayed;
        note("add again");
        add_to(home == outside ? any_place() : home, i);
    }

    void remove()
    {
        const int p = any_place();
        instance *i = once_in(12) ? any_object([](const object &) { return true; }) : any_inside(p);
        if (i) remove_from(p, i);
    }

    void remove_from(int p, instance *i)
    {
        const object was = *find(i);
        note("remove");
        mention(i);
        note(" from ", p);
        if (was.where == p) *find(i) = {i, outside, places_[p].tampered ? p : outside};
        const int status = this->attempt([&] { return world_.remove(places_[p].all, i); });
        note(" = ", status);
        if (status != 0) *find(i) = was;
    }

    int set_value(instance *i, const char *property, const char *value)
    {
        return this->attempt([&] { return world_.set_value(i, property, value); });
    }

    void set()
    {
        instance *i = any_object([](const object &) { return true; });
        if (i) set(i);
    }

    void set(instance *i)
    {
        const class_info &cls = world_.class_of(i);
        const char *property = any_property(cls), *value = any_value();
        const unsigned way = below(10);
        // What is set to a value of its own is set without anybody in between.
        const bool is_own = way < 2;
        if (is_own)
            if (const char *own = world_.value_of(i, way == 0 ? property : any_property(cls)))
                value = own;
        const char *current = world_.value_of(i, property);
        const std::string equal = current ? current : "";
        if (way == 2) value = equal.c_str();
        note("set");
        mention(i);
        note(" ", property, "=", value);
        const unsigned before = this->reluctance_;
        if (is_own) this->reluctance_ = base::never;
        const int status = set_value(i, property, value);
        this->reluctance_ = before;
        note(" = ", status);
    }

    void listen()
    {
        const int listener = static_cast<int>(below(4));
        if (once_in(3)) {
            place &p = places_[any_place()];
            note("listener ", listener, " of all");
            world_.listen(p.all, listener);
            p.tampered = !p.sets.empty();
            return;
        }
        instance *i = any_object([](const object &) { return true; });
        if (!i) return;
        note("listener ", listener, " of");
        mention(i);
        world_.listen(i, listener);
    }

    void free_one()
    {
        instance *i =
            any_object([](const object &o) { return o.where == outside && o.strayed == outside; });
        if (!i) return;
        note("free");
        mention(i);
        drop(i);
        world_.free(i);
    }

    /** The memory of an object is about to go. While a request is under way it is kept. */
    void drop(instance *i)
    {
        std::erase_if(objects_, [&](const object &o) { return o.i == i; });
        if (!busy_) this->forget(i);
    }

    // Change sets

    void follow()
    {
        const int p = any_place();
        if (places_[p].sets.size() >= 3) return;
        note("follow ", p);
        changes *set = this->attempt([&] { return world_.follow(places_[p].all); });
        if (set) places_[p].sets.push_back(set);
    }

    void unfollow()
    {
        const int p = any_place();
        if (!places_[p].sets.empty()) end_set(p, below(places_[p].sets.size()));
    }

    void end_set(int p, size_t number)
    {
        place &here = places_[p];
        changes *set = here.sets[number];
        note("unfollow ", p, " number ", number);
        for (const object &o : objects_)
            if (o.where == outside && o.strayed == p) world_.listen(o.i, 0);
        here.sets.erase(here.sets.begin() + static_cast<std::ptrdiff_t>(number));
        if (here.sets.empty()) {
            here.tampered = false;
            for (object &o : objects_)
                if (o.strayed == p) o.strayed = outside;
        }
        this->forget_owned_by(set);
        this->manage([&] { world_.unfollow(set); });
    }

    /** Tells the newest change set by hand what it would hear from a listener. */
    void record()
    {
        const int p = any_place();
        if (places_[p].sets.empty()) return;
        changes *set = places_[p].sets.back();
        instance *i = any_inside(p);
        if (!i) return;
        const char *property = any_property(world_.class_of(i));
        const unsigned what = below(4);
        note("record ", what);
        mention(i);
        note(" ", property, " = ", this->attempt([&] {
            return what == 0   ? world_.record_updated(set, i)
                   : what == 1 ? world_.record_inserted(set, i)
                   : what == 2 ? world_.record_deleted(set, i)
                               : world_.record_property(set, i, property);
        }));
    }

    // Looking

    void look_somewhere() { look(places_[any_place()].all); }

    void look_at_some_set()
    {
        const int p = any_place();
        if (places_[p].sets.empty()) return look_somewhere();
        note("set ", p, " ");
        changes *set = any(places_[p].sets);
        look(set, any_object([](const object &) { return true; }));
    }

    void remember_or_check()
    {
        if (once_in(2)) return this->check_remembered();
        if (instance *i = any_object([](const object &) { return true; })) this->remember(i);
    }

    void walk()
    {
        if (walkers_.size() < 4 && (walkers_.empty() || once_in(5))) return start_walk();
        const size_t number = below(walkers_.size());
        const walker w = walkers_[number];
        note("walk ", number, ": ", world_.has_next(w.it));
        instance *i = world_.next(w.it);
        mention(i, w.owner);
        if (!i || once_in(12)) {
            world_.delete_iterator(w.it);
            walkers_.erase(walkers_.begin() + static_cast<std::ptrdiff_t>(number));
        }
        if (!i) return;
        if (w.live) met(w.live, i);
        const object *o = find(i);
        if (!o || o->where == outside) return;
        const unsigned then = below(6);
        if (then == 0) remove_from(o->where, i);
        if (then == 1) set(i);
    }

    void start_walk()
    {
        const int p = any_place();
        place &here = places_[p];
        const class_info &cls = any_class();
        const unsigned what = here.sets.empty() ? 0 : below(6);
        changes *set = here.sets.empty() ? nullptr : any(here.sets);
        note("start walk ", p, " ", what, " ", cls.name);
        if (what < 2) return start_walk(here.all, nullptr, cls);
        if (what == 2)
            return keep(
                {this->attempt([&] { return world_.iterate_changed(set, cls); }), nullptr, set});
        if (what == 3)
            return keep(
                {this->attempt([&] { return world_.iterate_deleted(set, cls); }), nullptr, set});
        instances *before = this->attempt([&] { return world_.before_of(set); });
        if (before) start_walk(before, set, cls);
    }

    void start_walk(instances *all, const changes *owner, const class_info &cls)
    {
        const unsigned how = below(4);
        const char *name = any_name();
        keep({this->iterate(all, how < 2 ? nullptr : &cls, how == 3 ? name : nullptr),
              owner ? nullptr : all, owner});
    }

    void keep(const walker &w)
    {
        if (w.it) walkers_.push_back(w);
    }

    // Whole classes and collections

    void drop_class()
    {
        const int p = any_place();
        place &here = places_[p];
        const class_info &cls = any_class();
        const bool frees = once_in(2);
        if ((frees || profile_.is_scarce) && !here.sets.empty() && !busy_) return;
        note(frees ? "delete class " : "remove class ", cls.name, " of ", p, ":");
        list(world_.iterate(here.all, &cls, nullptr), here.all, nullptr); // all are known now
        std::vector<instance *> gone;
        for (const object &o : objects_)
            if (o.where == p && &world_.class_of(o.i) == &cls) gone.push_back(o.i);
        for (instance *i : gone)
            give_up(i, p, frees);
        // Without memory it is done as well; then a change set misses what it could not keep.
        note(" = ",
             frees ? world_.delete_class(here.all, cls) : world_.remove_class(here.all, cls));
        if (profile_.is_scarce && !cls.abstract) make_store(p, cls);
    }

    void give_up(instance *i, int p, bool frees)
    {
        if (frees) return drop(i);
        find(i)->where = outside;
        if (!places_[p].sets.empty()) find(i)->strayed = p;
    }

    void copy_or_drop()
    {
        const int from = any_place(), to = static_cast<int>(below(places));
        if (places_[to].all) return drop_place(to);
        const bool whole = !once_in(3);
        note("copy ", from, " to ", to);
        places_[to].all = whole
                              ? this->attempt([&] { return world_.copy_whole(places_[from].all); })
                              : world_.copy(places_[from].all);
    }

    void drop_place(int p)
    {
        place &here = places_[p];
        if (std::count_if(places_.begin(), places_.end(), [](const place &x) { return x.all; }) < 2)
            return;
        while (!here.sets.empty())
            end_set(p, below(here.sets.size()));
        const bool frees = !once_in(4);
        note(" drop ", p, ":");
        if (!frees) list(world_.iterate(here.all, nullptr, nullptr), here.all, nullptr);
        std::vector<instance *> gone;
        for (const object &o : objects_)
            if (o.where == p) gone.push_back(o.i);
        for (instance *i : gone)
            give_up(i, p, frees);
        for (walker &w : walkers_)
            if (w.live == here.all) w.live = nullptr;
        instances *all = std::exchange(here.all, nullptr);
        frees ? world_.delete_all(all) : world_.delete_collection(all);
    }

    // The end: everything is compared, then everything goes

    void finish()
    {
        this->begin_step(steps_ + 1);
        note("\nend:\n");
        this->reluctance_ = base::never;
        for (place &here : places_) {
            if (!here.all) continue;
            if (once_in(2)) world_.print(here.all);
            for (changes *set : here.sets)
                if (!this->is_spoiled_) look_at_all(set); // else it may lack what it could not keep
        }
        this->is_scarce_ = false;
        if (this->is_spoiled_)
            for (const object &o : objects_) // which may have gone unnoticed
                if (o.where == outside) world_.listen(o.i, 0);
        this->check_remembered();
        for (int p = 0; p < places; ++p)
            while (!places_[p].sets.empty()) {
                end_set(p, below(places_[p].sets.size()));
                set_each();
            }
        for (const place &here : places_)
            if (here.all) world_.print(here.all);
        this->check_remembered();
        clean_up();
    }

    void look_at_all(changes *set)
    {
        std::vector<instance *> known;
        for (const object &o : objects_)
            known.push_back(o.i);
        base::look_at_all(set, known);
    }

    /** Who listens tells it. */
    void set_each()
    {
        for (const object &o : objects_)
            world_.set_value(o.i, world_.class_of(o.i).all_properties.front()->name, "1");
        note("\n");
    }

    void clean_up()
    {
        for (const object &o : objects_)
            if (o.where == outside) world_.free(o.i);
        for (const place &here : places_)
            if (here.all) world_.delete_all(here.all);
        if (busy_) world_.end_busy();
        for (const walker &w : walkers_) {
            note(world_.has_next(w.it));
            world_.delete_iterator(w.it);
        }
    }

    const profile &profile_;
    unsigned steps_ = 0, filling_ = 0;
    bool busy_ = false;
    std::array<place, places> places_;
    std::vector<object> objects_;
    std::vector<walker> walkers_;
};

} // namespace vesk::test::differential

#endif
