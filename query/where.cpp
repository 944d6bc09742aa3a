#include "query/where.h"

#include <cstring>
#include <new>

#include "base/xml.h"
#include "core/log.h"
#include "vesk/instance.h"
#include "vesk/refresh_info.h"

namespace vesk {
namespace {

constexpr const char *true_value = "1";

using evaluator = const char *(*)(const xmlNode &, const vesk_instance &);

const char *evaluate_value(const xmlNode &node, const vesk_instance &)
{
    const char *text = content_of(&node);
    return text && *text ? text : nullptr;
}

const char *evaluate_property(const xmlNode &node, const vesk_instance &instance)
{
    return vesk_instance_get_value(&instance, content_of(&node));
}

const char *evaluate_metadata(const xmlNode &node, const vesk_instance &instance)
{
    const char *text = content_of(&node);
    if (text && std::strcmp(text, "name") == 0) return vesk_instance_get_name(&instance);
    return none("Metadata other than \"name\" is not supported.\n");
}

const char *evaluate_eq(const xmlNode &node, const vesk_instance &instance)
{
    const char *left = evaluate_expression(node.children, instance);
    const char *right =
        node.children ? evaluate_expression(node.children->next, instance) : nullptr;
    return left && right && std::strcmp(left, right) == 0 ? true_value : nullptr;
}

const char *evaluate_not(const xmlNode &node, const vesk_instance &instance)
{
    return evaluate_expression(node.children, instance) ? nullptr : true_value;
}

const char *evaluate_and(const xmlNode &node, const vesk_instance &instance)
{
    for (const xmlNode *child = node.children; child; child = child->next)
        if (!evaluate_expression(child, instance)) return nullptr;
    return true_value;
}

const char *evaluate_or(const xmlNode &node, const vesk_instance &instance)
{
    for (const xmlNode *child = node.children; child; child = child->next)
        if (evaluate_expression(child, instance)) return true_value;
    return nullptr;
}

/** Which of an expression's children its properties are collected from. */
enum class operands { none, first, first_two, all };

struct expression_kind {
    const char *name;
    evaluator evaluate;
    operands walked;
};

constexpr expression_kind kinds[] = {
    {"value", evaluate_value, operands::none},
    {"property", evaluate_property, operands::none},
    {"metadata", evaluate_metadata, operands::none},
    {"eq", evaluate_eq, operands::first_two},
    {"not", evaluate_not, operands::first},
    {"and", evaluate_and, operands::all},
    {"or", evaluate_or, operands::all},
};

const expression_kind *kind_of(const xmlNode &node)
{
    if (!is_element(&node)) return nullptr;
    for (const expression_kind &kind : kinds)
        if (std::strcmp(kind.name, name_of(&node)) == 0) return &kind;
    return nullptr;
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

const char *evaluate_expression(const xmlNode *expression, const vesk_instance &instance)
{
    if (!expression) return nullptr;
    const char *name = name_of(expression);
    const expression_kind *kind = kind_of(*expression);
    if (!kind) {
        vesk_debug_eprintf("%s: Unknown expression name \"%s\".\n", "eval_expr", name);
        return nullptr;
    }
    const char *value = kind->evaluate(*expression, instance);
    vesk_debug_lprintf(4, "%s: %s evaluates to %s\n", "eval_expr", name, value ? value : "(null)");
    return value;
}

void collect_properties(const xmlNode *expression, const char *class_name,
                        const char *instance_name, vesk_refresh_info &info)
{
    const expression_kind *kind = expression ? kind_of(*expression) : nullptr;
    if (!kind) return;
    const char *property = kind->evaluate == evaluate_property ? content_of(expression) : nullptr;
    if (property && vesk_refresh_info_add_property(&info, class_name, instance_name, property) != 0)
        throw std::bad_alloc{};
    unsigned left = operand_limit(kind->walked);
    for (const xmlNode *child = expression->children; child && left > 0;
         child = child->next, --left)
        collect_properties(child, class_name, instance_name, info);
}

} // namespace vesk
