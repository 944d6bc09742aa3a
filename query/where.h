#ifndef VESK_QUERY_WHERE_H
#define VESK_QUERY_WHERE_H

#include <cstdint>
#include <vector>

#include <libxml/tree.h>

#include "model/instance.h"
#include "vesk/types.h"

namespace vesk {

/**
 * The expression of one operation, taken apart once: an instance costs a look at its values, not at
 * the request. Lives as long as the request's document.
 */
class where_expression {
  public:
    /** A null expression accepts everything. Throws std::bad_alloc. */
    explicit where_expression(const xmlNode *expression);

    bool accepts(const vesk_instance &instance)
    {
        return nodes_.empty() || evaluate(instance) != nullptr;
    }

    /**
     * The value for an instance: a text that lives as long as the request and the instance's
     * values, or null for no value. True is "1"; any value counts as true.
     */
    const char *evaluate(const vesk_instance &instance);

  private:
    enum class kind : uint8_t { value, property, metadata, eq, not_, and_, or_, unknown };
    static constexpr uint32_t none = ~uint32_t{0};

    struct node {
        kind what;
        const char *name; // of the element
        const char *text; // its content, may be null
        uint32_t first_operand = none;
        uint32_t next_operand = none;
        const vesk_class *known_class = nullptr; // whose slot is known
        unsigned slot = no_slot;
    };

    uint32_t add(const xmlNode &element);
    const char *evaluate_node(node &n, const vesk_instance &instance);
    const char *operand_value(uint32_t number, const vesk_instance &instance);
    const char *value_of_kind(node &n, const vesk_instance &instance);

    std::vector<node> nodes_; // the root first
    bool traced_ = false;
};

/** Wants every property that the expression names of the class and instance. */
void collect_properties(const xmlNode *expression, const char *class_name,
                        const char *instance_name, vesk_refresh_info &info);

} // namespace vesk

#endif
