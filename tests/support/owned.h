#ifndef VESK_TESTS_SUPPORT_OWNED_H
#define VESK_TESTS_SUPPORT_OWNED_H

#include <cstdlib>
#include <memory>

#include "model/classes.h"
#include "tests/support/model.h"

#ifdef VESK_SANITIZED
#include <sanitizer/asan_interface.h>
#endif

namespace vesk::test {

struct delete_property {
    void operator()(vesk_property *property) const { vesk_property_delete(property); }
};
struct delete_property_iterator {
    void operator()(vesk_property_iterator *i) const { vesk_class_delete_property_iterator(i); }
};
struct delete_classes_iterator {
    void operator()(vesk_classes_iterator *i) const { vesk_classes_delete_iterator(i); }
};

using property_ptr = std::unique_ptr<vesk_property, delete_property>;
using property_iterator_ptr = std::unique_ptr<vesk_property_iterator, delete_property_iterator>;
using classes_iterator_ptr = std::unique_ptr<vesk_classes_iterator, delete_classes_iterator>;

/** Nobody but a test ever frees a class. */
using class_ptr = std::unique_ptr<vesk_class>;

/** A property that accepts all but "bad...", so that a class takes it. */
inline property_ptr make_property(const char *name)
{
    property_ptr property{vesk_property_new(name)};
    EXPECT_EQ(vesk_property_set_is_valid_fn(property.get(), accepts_all_but_bad), 0);
    return property;
}

/** Adds property to cls, which then owns it, and hands it back borrowed. */
inline vesk_property *give(vesk_class &cls, property_ptr property)
{
    EXPECT_EQ(vesk_class_add_property(&cls, property.get()), 0);
    return property.release();
}

/** What is known of a block of memory: without the sanitizer both may be true. */
inline bool may_be_freed([[maybe_unused]] const void *block)
{
#ifdef VESK_SANITIZED
    return __asan_address_is_poisoned(block) != 0;
#else
    return true;
#endif
}
inline bool may_be_alive([[maybe_unused]] const void *block)
{
#ifdef VESK_SANITIZED
    return __asan_address_is_poisoned(block) == 0;
#else
    return true;
#endif
}

/** Tells a crash from an answer: call runs in a process of its own. */
#define EXPECT_ANSWER(call, answer)                                                                \
    EXPECT_EXIT(std::_Exit(40 + (call)), ::testing::ExitedWithCode(40 + (answer)), "")
#define EXPECT_NO_CRASH(call) EXPECT_ANSWER(((call), 0), 0)

} // namespace vesk::test

#endif
