#ifndef VESK_TESTS_DIFFERENTIAL_DUEL_H
#define VESK_TESTS_DIFFERENTIAL_DUEL_H

#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/differential/player.h"
#include "tests/differential/real.h"
#include "tests/differential/reference_daemon.h"
#include "tests/support/model.h"

#ifdef VESK_SANITIZED
#include <sanitizer/common_interface_defs.h>
#endif

namespace vesk::test::differential {

/*
 * To play one sequence alone:
 *   VESK_SEED=<number> <program> --gtest_filter=<test>
 * VESK_LEAVE_OUT="3 7" leaves steps out of it, VESK_SHOW=1 shows what was played.
 */

/** The classes of the table as the daemon's own, and two providers. */
class duel : public fixture {
  protected:
    duel()
    {
        for (const class_info &cls : classes_of_device())
            register_class(cls);
        freeze();
        for (int i = 0; i < real::providers; ++i) {
            auto &provider = *providers_.emplace_back(
                vesk_provider_new(("provider " + std::to_string(i)).c_str()));
            vesk_provider_set_commit_fn(&provider, real::commit, real::number(i));
            vesk_provider_set_refresh_fn(&provider, real::refresh, real::number(i));
            EXPECT_EQ(vesk_providers_add(&provider), 0);
        }
        EXPECT_EQ(vesk_providers_done_adding(), 0);
    }

    /** Plays sequences of one profile until the two sides tell something different. */
    template <template <typename> typename Player, typename Profile>
    void play(unsigned sequences, const Profile &profile)
    {
        const uint64_t first = 1;
        if (const char *seed = std::getenv("VESK_SEED"))
            return show_one<Player>(std::strtoull(seed, nullptr, 10), profile);
        for (uint64_t seed = first; seed < first + sequences; ++seed)
            if (difference<Player>({seed, {}}, profile)) return report<Player>(seed, profile);
    }

  private:
    void register_class(const class_info &info)
    {
        auto &cls = *classes_.emplace_back(vesk_class_new(info.name));
        vesk_class_set_type(&cls, info.type);
        vesk_class_set_persistence(&cls, info.persistent);
        if (info.abstract) vesk_class_set_abstract(&cls, 1);
        if (info.superclass) vesk_class_set_superclass(&cls, info.superclass->name);
        for (const property_info &property : info.properties) {
            vesk_property *made = make(property);
            if (info.abstract && &property == &info.properties.back())
                EXPECT_EQ(vesk_class_set_subclass_identifier(&cls, made), 0);
            else
                EXPECT_EQ(vesk_class_add_property(&cls, made), 0);
        }
        EXPECT_EQ(vesk_classes_add(&cls), 0);
    }

    static vesk_property *make(const property_info &info)
    {
        vesk_property *property = vesk_property_new(info.name);
        vesk_property_set_is_valid_fn(property, real::is_valid);
        if (info.asks_instance)
            vesk_property_set_is_instance_valid_fn(property, real::is_valid_for);
        vesk_property_set_writable(property, info.writable);
        vesk_property_set_required_on_insert(property, info.required);
        vesk_property_set_persistence(property, info.persistent);
        return property;
    }

    template <typename World, template <typename> typename Player, typename Profile>
    static void play_side(const script &plan, const Profile &profile, account &told)
    {
        told.trace.clear();
        told.unmoved.clear();
        told.trace.reserve(1U << 20); // it must not need memory while that is short
        World world{told.trace};
        Player<World>{world, told, plan, profile}.play();
    }

    /** Where the two sides tell something different; none when they agree. */
    template <template <typename> typename Player, typename Profile>
    std::optional<std::string> difference(const script &plan, const Profile &profile)
    {
        under_way() = plan.seed;
        told_.fates.clear();
        play_side<real, Player>(plan, profile, told_);
        expected_.fates = told_.fates;
        play_side<reference_daemon, Player>(plan, profile, expected_);
        under_way() = 0;
        if (told_.trace != expected_.trace) return difference_of(told_.trace, expected_.trace);
        for (size_t i = 0; i < expected_.unmoved.size(); ++i)
            if (expected_.unmoved[i] && !told_.unmoved[i])
                return told_.trace + "\nthe text number " + std::to_string(i) +
                       " that was remembered has moved\n";
        return std::nullopt;
    }

    static std::string difference_of(const std::string &told, const std::string &expected)
    {
        size_t same = 0;
        while (same < told.size() && same < expected.size() && told[same] == expected[same])
            ++same;
        const size_t line = told.rfind('\n', same ? same - 1 : 0) + 1;
        return told.substr(0, line) + "\n--- but the daemon tells:\n" + told.substr(line, 600) +
               "\n--- and the reference:\n" + expected.substr(line, 600) + "\n";
    }

    template <template <typename> typename Player, typename Profile>
    void report(uint64_t seed, const Profile &profile)
    {
        script plan{seed, {}};
        constexpr unsigned most_steps = 64;
        for (unsigned step = 1; step <= most_steps; ++step) {
            plan.left_out.push_back(step);
            if (!difference<Player>(plan, profile)) plan.left_out.pop_back();
        }
        std::string steps;
        for (const unsigned step : plan.left_out)
            steps += " " + std::to_string(step);
        FAIL() << "VESK_SEED=" << seed << " VESK_LEAVE_OUT=\"" << steps << "\"\n"
               << difference<Player>(plan, profile).value_or("");
    }

    template <template <typename> typename Player, typename Profile>
    void show_one(uint64_t seed, const Profile &profile)
    {
        script plan{seed, {}};
        if (const char *steps = std::getenv("VESK_LEAVE_OUT")) {
            std::istringstream left{steps};
            for (unsigned step = 0; left >> step;)
                plan.left_out.push_back(step);
        }
        const auto found = difference<Player>(plan, profile);
        if (std::getenv("VESK_SHOW")) std::fprintf(stderr, "%s\n", expected_.trace.c_str());
        EXPECT_FALSE(found) << *found;
    }

    /** Whoever crashes says in which sequence. */
    static uint64_t &under_way()
    {
        static uint64_t seed = [] {
#ifdef VESK_SANITIZED
            __sanitizer_set_death_callback([] {
                std::fprintf(stderr, "VESK_SEED=%llu\n",
                             static_cast<unsigned long long>(under_way()));
            });
#endif
            return 0;
        }();
        return seed;
    }

    account told_, expected_;
    std::vector<std::unique_ptr<vesk_class>> classes_;
    std::vector<std::unique_ptr<vesk_provider>> providers_;
};

} // namespace vesk::test::differential

#endif
