#include "query/where.h"

#include <cstring>
#include <new>

#include "base/xml.h"
#include "core/log.h"
#include "vesk/refresh_info.h"

namespace vesk {
namespace {

constexpr const char *true_value = "1";
constexpr int trace_level = 4;

/** Which of an expression's children its properties are collected from. */
enum class operands { none, first, first_two, all };

struct named_operands {
    const char *name;
    operands walked;
};

// In the order of where_expression::kind.
constexpr named_operands kinds[] = {
    {"value", operands::none},   {"property", operands::none}, {"metadata", operands::none},
    {"eq", operands::first_two}, {"not", operands::first},     {"and", operands::all},
    {"or", operands::all},
};
constexpr size_t property_kind = 1;

/** The place in kinds; behind the last for what is no expression. */
size_t kind_of(const xmlNode &node)
{
    size_t kind = 0;
    while (kind < std::size(kinds) &&
           (!is_element(&node) || std::strcmp(kinds[kind].name, name_of(&node)) != 0))
        ++kind;
    return kind;
}

unsigned operand_limit(operands walked)
{
    switch (walked) {
    case operands::none:
        return 0;
    case operands::first:
        return 1;
    case operands::first_two:
        return 2;
    case operands::all:
        return ~0U;
    }
    return 0;
}

} // namespace

where_expression::where_expression(const xmlNode *expression)
    : traced_{vesk_debug_get() >= trace_level}
{
    if (expression) add(*expression);
}

uint32_t where_expression::add(const xmlNode &element)
{
    const auto number = static_cast<uint32_t>(nodes_.size());
    const size_t found = kind_of(element);
    nodes_.push_back({static_cast<kind>(found), name_of(&element), content_of(&element)});
    if (found >= std::size(kinds)) return number;
    unsigned left = operand_limit(kinds[found].walked);
    uint32_t last = none;
    for (const xmlNode *child = element.children; child && left > 0; child = child->next, --left) {
        const uint32_t operand = add(*child);
        (last == none ? nodes_[number].first_operand : nodes_[last].next_operand) = operand;
        last = operand;
    }
    return number;
}

const char *where_expression::evaluate(const vesk_instance &instance)
{
    return evaluate_node(nodes_.front(), instance);
}

const char *where_expression::evaluate_node(node &n, const vesk_instance &instance)
{
    if (n.what == kind::unknown) {
        vesk_debug_eprintf("%s: Unknown expression name \"%s\".\n", "eval_expr", n.name);
        return nullptr;
    }
    const char *value = value_of_kind(n, instance);
    if (traced_)
        vesk_debug_lprintf(trace_level, "%s: %s evaluates to %s\n", "eval_expr", n.name,
                           value ? value : "(null)");
    return value;
}

const char *where_expression::operand_value(uint32_t number, const vesk_instance &instance)
{
    return number == none ? nullptr : evaluate_node(nodes_[number], instance);
}

const char *where_expression::value_of_kind(node &n, const vesk_instance &instance)
{
    switch (n.what) {
    case kind::value:
        return n.text && *n.text ? n.text : nullptr;
    case kind::property:
        if (!n.text) return vesk::none("Null property.\n");
        if (n.known_class != instance.cls) {
            n.known_class = instance.cls;
            n.slot = find_slot(*instance.cls, n.text);
        }
        return instance.value(n.slot);
    case kind::metadata:
        if (n.text && std::strcmp(n.text, "name") == 0) return instance.name;
        return vesk::none("Metadata other than \"name\" is not supported.\n");
    case kind::eq: {
        const char *left = operand_value(n.first_operand, instance);
        const char *right = n.first_operand == none
                                ? nullptr
                                : operand_value(nodes_[n.first_operand].next_operand, instance);
        return left && right && std::strcmp(left, right) == 0 ? true_value : nullptr;
    }
    case kind::not_:
        return operand_value(n.first_operand, instance) ? nullptr : true_value;
    case kind::and_:
        for (uint32_t at = n.first_operand; at != none; at = nodes_[at].next_operand)
            if (!operand_value(at, instance)) return nullptr;
        return true_value;
    case kind::or_:
        for (uint32_t at = n.first_operand; at != none; at = nodes_[at].next_operand)
            if (operand_value(at, instance)) return true_value;
        return nullptr;
    case kind::unknown:
        return nullptr;
    }
    return nullptr;
}

void collect_properties(const xmlNode *expression, const char *class_name,
                        const char *instance_name, vesk_refresh_info &info)
{
    const size_t kind = expression ? kind_of(*expression) : std::size(kinds);
    if (kind >= std::size(kinds)) return;
    const char *property = kind == property_kind ? content_of(expression) : nullptr;
    if (property && vesk_refresh_info_add_property(&info, class_name, instance_name, property) != 0)
        throw std::bad_alloc{};
    unsigned left = operand_limit(kinds[kind].walked);
    for (const xmlNode *child = expression->children; child && left > 0;
         child = child->next, --left)
        collect_properties(child, class_name, instance_name, info);
}

} // namespace vesk
