#ifndef VESK_QUERY_OPERATION_H
#define VESK_QUERY_OPERATION_H

#include <vector>

#include <libxml/tree.h>

#include "base/text.h"
#include "model/iterator.h"
#include "pipeline/changes.h"
#include "query/result.h"
#include "query/where.h"
#include "vesk/refresh_info.h"

namespace vesk {

enum class operation_code { select, update, remove, insert };

/** Longest error message, and the shorter ones that repeat what the client wrote. */
constexpr size_t message_length = 159;
constexpr size_t short_message_length = 79;

/** One request, and in it the operation being evaluated. */
struct evaluation {
    const xmlDoc *document = nullptr;
    bool passive = false;

    const xmlNode *operation = nullptr;
    operation_code code = operation_code::select;
    const char *class_name = nullptr;
    const vesk_class *cls = nullptr;         // null: there is no such class
    const char *instance_name = nullptr;     // null: none
    const char *properties = nullptr;        // the attribute; null: none
    const xmlNode *first_property = nullptr; // of the class element
    const xmlNode *where = nullptr;          // null: none
    unsigned errors = 0;
    unsigned touched = 0;

    vesk_instances *target = nullptr;     // null when nothing was ever loaded
    vesk_changes *changes = nullptr;      // null with target, and where there are only selects
    vesk_refresh_info *refresh = nullptr; // in the first, collecting pass only
    result *out = nullptr;
    c_string *copy = nullptr; // where a copy of the answer is wanted; may be null

    /** Completes the answer. Once changes are known, it must not be lost for want of memory. */
    void finish();

    /** Adds an error element and counts it. */
    void error(size_t length, const char *format, ...) VESK_PRINTF(3, 4);

    bool is_collecting() const { return refresh != nullptr; }
};

/**
 * The handlers. Each ends at its first error; false: it has nothing to say in this pass, so that no
 * counts follow. They throw std::bad_alloc.
 */
bool evaluate_select(evaluation &request);
bool evaluate_update(evaluation &request);
bool evaluate_delete(evaluation &request);
bool evaluate_insert(evaluation &request);

/** Has the providers bring up to date what the where expression looks at. */
void collect_where(evaluation &request);

/** Whether the operation's class can have instances of the name that it asks for. */
bool can_match(const evaluation &request);

/** Calls visit(instance) for the operation's instances that pass its where, until it gives false.
 * It may change them. */
template <typename Visit> void for_each_match(evaluation &request, Visit &&visit)
{
    if (!can_match(request)) return;
    where_expression where{request.where};
    instances_walk walk{request.target, request.class_name, request.instance_name};
    while (!walk.is_at_end()) {
        if (!where.accepts(walk.current())) {
            walk.skip();
            continue;
        }
        vesk_instance *instance = walk.next();
        if (!instance) throw std::bad_alloc{};
        if (!visit(*instance)) return;
    }
}

/** Whether a client may set the property, when it is given for a new instance or an existing one.
 */
enum class setting { new_instance, existing_instance };

/**
 * The properties that a list of elements names. From one instance of a class to the next they are
 * usually the same, so that each is looked up once.
 */
class named_properties {
  public:
    /** Begins with the first element again, for an instance of a class. */
    void restart(const vesk_class &cls);

    /** The property that the next element names, or null. Throws. */
    const vesk_property *next(const xmlNode &element);

  private:
    struct entry {
        const xmlChar *name; // one and the same text for all elements of that name
        const vesk_property *property;
    };
    const vesk_class *cls_ = nullptr;
    std::vector<entry> entries_;
    size_t at_ = 0;
};

/** Sets the value that a property element carries; false after an error. */
bool set_from_element(evaluation &request, vesk_instance &instance, const xmlNode &element,
                      const vesk_property *property, setting kind);

} // namespace vesk

#endif
