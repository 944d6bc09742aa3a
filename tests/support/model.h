#ifndef VESK_TESTS_SUPPORT_MODEL_H
#define VESK_TESTS_SUPPORT_MODEL_H

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "model/classes.h"
#include "model/instances.h"
#include "pipeline/providers.h"
#include "tests/support/log.h"

namespace vesk::test {

/** Accepts every value but those that begin "bad". */
int accepts_all_but_bad(const char *value);

/** A registry of classes, and one of providers, of the test's own; the log caught at level 1. */
class fixture : public ::testing::Test {
  protected:
    fixture();
    ~fixture() override;

    /** A class that is registered but not yet resolved; its properties accept all but "bad...". */
    vesk_class *add_class(const char *name, unsigned type,
                          std::initializer_list<const char *> properties = {}, int persistence = 1);

    /** An abstract unique-named class whose subclass identifier is the property "type". */
    vesk_class *add_abstract(const char *name, std::initializer_list<const char *> properties = {},
                             int persistence = 1);

    /** A unique-named subclass of an abstract class. */
    vesk_class *add_subclass(const char *name, const char *superclass,
                             std::initializer_list<const char *> properties = {},
                             int persistence = 1);

    /** Resolves and validates what was added. */
    void freeze();

    /** A new instance with values; owned by the caller. */
    instance_ptr make(const char *class_name, const char *name,
                      std::initializer_list<std::pair<const char *, const char *>> values = {});

    std::string logged() { return log_.take(); }

    log_capture log_;

  private:
    std::vector<std::unique_ptr<vesk_class>> classes_;
};

/** The names (or "-") of what an iterator yields, joined by blanks; deletes the iterator. */
std::string names_of(vesk_instances_iterator *iterator);

} // namespace vesk::test

#endif
