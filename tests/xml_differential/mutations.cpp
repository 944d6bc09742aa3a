#include "tests/xml_differential/mutations.h"

#include "tests/xml_differential/tree.h"

namespace vesk::test {
namespace {

using nodes = std::vector<xmlNode *>;

const xmlChar *of(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

nodes elements_of(xmlNode *parent)
{
    nodes all;
    for (xmlNode *child = parent->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE) all.push_back(child);
    return all;
}

nodes instances(xmlNode *root)
{
    return elements_of(root);
}

nodes properties(xmlNode *root)
{
    nodes all;
    for (xmlNode *instance : instances(root)) {
        const nodes its = elements_of(instance);
        all.insert(all.end(), its.begin(), its.end());
    }
    return all;
}

std::string value_of(const xmlNode *property)
{
    return plain(property->children ? property->children->content : nullptr);
}

void set_value(xmlNode *property, const std::string &value)
{
    while (xmlNode *child = property->children) {
        xmlUnlinkNode(child);
        xmlFreeNode(child);
    }
    if (!value.empty()) xmlAddChild(property, xmlNewText(raw(value)));
}

/** Calls change(node) with one of the nodes for which it may be called. */
template <typename Change> void with_one_of(dice &die, const nodes &all, Change &&change)
{
    if (!all.empty()) change(die.among(all));
}

void remove(xmlNode *node)
{
    xmlUnlinkNode(node);
    xmlFreeNode(node);
}

void swap_with_next(dice &die, const nodes &siblings)
{
    if (siblings.size() < 2) return;
    const size_t at = die.below(siblings.size() - 1);
    xmlAddPrevSibling(siblings[at], siblings[at + 1]);
}

void change_value(dice &die, xmlNode *root)
{
    with_one_of(die, properties(root), [&](xmlNode *property) {
        std::string value = value_of(property);
        size_t at = value.empty() ? 0 : die.below(value.size());
        while (at > 0 && static_cast<unsigned char>(value[at]) >= 0x80)
            --at; // no sequence is torn
        if (value.empty() || static_cast<unsigned char>(value[at]) >= 0x80)
            value = "w" + value;
        else
            value[at] = value[at] == 'w' ? 'v' : 'w';
        set_value(property, value);
    });
}

void shorten_value(dice &die, xmlNode *root)
{
    with_one_of(die, properties(root), [](xmlNode *property) {
        std::string value = value_of(property);
        while (!value.empty() && (static_cast<unsigned char>(value.back()) & 0xC0) == 0x80)
            value.pop_back();
        if (!value.empty()) value.pop_back();
        set_value(property, value);
    });
}

/** Now and then by a character that is easily lost. */
void lengthen_value(dice &die, xmlNode *root)
{
    constexpr const char *ends[] = {"w", " ", "\n", "\t", "\r", "&", "\xC3\xA4"};
    with_one_of(die, properties(root), [&](xmlNode *property) {
        set_value(property, value_of(property) + die.among(ends));
    });
}

void empty_value(dice &die, xmlNode *root)
{
    with_one_of(die, properties(root), [](xmlNode *property) { set_value(property, ""); });
}

/** Only the first of two texts is read. */
void split_value(dice &die, xmlNode *root)
{
    with_one_of(die, properties(root), [&](xmlNode *property) {
        const std::string value = value_of(property);
        size_t at = value.empty() ? 0 : die.below(value.size());
        while (at > 0 && (static_cast<unsigned char>(value[at]) & 0xC0) == 0x80)
            --at;
        if (value.empty()) return;
        set_value(property, value.substr(0, at));
        xmlAddChild(property, xmlNewComment(of("")));
        xmlAddChild(property, xmlNewText(raw(value.substr(at))));
    });
}

void rename_property(dice &die, xmlNode *root)
{
    with_one_of(die, properties(root), [&](xmlNode *property) {
        xmlNodeSetName(property, raw(plain(property->name) + (die.percent(50) ? "s" : "_")));
    });
}

void remove_property(dice &die, xmlNode *root)
{
    with_one_of(die, properties(root), remove);
}

void double_property(dice &die, xmlNode *root)
{
    with_one_of(die, properties(root),
                [](xmlNode *property) { xmlAddNextSibling(property, xmlCopyNode(property, 1)); });
}

void add_property(dice &die, xmlNode *root)
{
    with_one_of(die, instances(root), [&](xmlNode *instance) {
        xmlNode *fresh = xmlNewNode(nullptr, of("more"));
        if (die.percent(50) || !instance->children)
            xmlAddChild(instance, fresh);
        else
            xmlAddPrevSibling(instance->children, fresh);
    });
}

void swap_properties(dice &die, xmlNode *root)
{
    with_one_of(die, instances(root),
                [&](xmlNode *instance) { swap_with_next(die, elements_of(instance)); });
}

void rename_instance(dice &die, xmlNode *root)
{
    with_one_of(die, instances(root), [](xmlNode *instance) {
        const bool is_user = plain(instance->name) == "user";
        xmlNodeSetName(instance, of(is_user ? "text" : "user"));
    });
}

void remove_instance(dice &die, xmlNode *root)
{
    with_one_of(die, instances(root), remove);
}

void double_instance(dice &die, xmlNode *root)
{
    with_one_of(die, instances(root),
                [](xmlNode *instance) { xmlAddNextSibling(instance, xmlCopyNode(instance, 1)); });
}

void add_instance(dice &die, xmlNode *root)
{
    xmlNode *fresh = xmlNewNode(nullptr, of("user"));
    if (die.percent(50) || !root->children)
        xmlAddChild(root, fresh);
    else
        xmlAddPrevSibling(root->children, fresh);
}

void swap_instances(dice &die, xmlNode *root)
{
    swap_with_next(die, instances(root));
}

void change_name(dice &die, xmlNode *root)
{
    constexpr const char *ends[] = {"x", " ", "\n", "\t", "\"", "&"};
    with_one_of(die, instances(root), [&](xmlNode *instance) {
        xmlAttr *name = xmlHasProp(instance, of("name"));
        const std::string old = name && name->children ? plain(name->children->content) : "";
        xmlSetProp(instance, of("name"), raw(old + die.among(ends)));
    });
}

void remove_name(dice &die, xmlNode *root)
{
    with_one_of(die, instances(root),
                [](xmlNode *instance) { xmlUnsetProp(instance, of("name")); });
}

void rename_name(dice &die, xmlNode *root)
{
    with_one_of(die, instances(root), [](xmlNode *instance) {
        if (xmlAttr *name = xmlHasProp(instance, of("name"))) {
            const std::string value = plain(name->children ? name->children->content : nullptr);
            xmlUnsetProp(instance, of("name"));
            xmlSetProp(instance, of("names"), raw(value));
        }
    });
}

/** One that has no name gets an empty one. */
void add_name(dice &die, xmlNode *root)
{
    with_one_of(die, instances(root), [](xmlNode *instance) {
        if (!xmlHasProp(instance, of("name"))) xmlSetProp(instance, of("name"), of(""));
    });
}

void rename_root(dice &, xmlNode *root)
{
    xmlNodeSetName(root, of("configs"));
}

} // namespace

const std::vector<mutation> &mutations()
{
    static const std::vector<mutation> all = {
        {"value changed", change_value},
        {"value shortened", shorten_value},
        {"value lengthened", lengthen_value},
        {"value emptied", empty_value},
        {"value split", split_value},
        {"property renamed", rename_property},
        {"property removed", remove_property},
        {"property doubled", double_property},
        {"property added", add_property},
        {"properties swapped", swap_properties},
        {"instance renamed", rename_instance},
        {"instance removed", remove_instance},
        {"instance doubled", double_instance},
        {"instance added", add_instance},
        {"instances swapped", swap_instances},
        {"name changed", change_name},
        {"name removed", remove_name},
        {"attribute renamed", rename_name},
        {"name added", add_name},
        {"root renamed", rename_root},
    };
    return all;
}

std::string changed(dice &die, const std::string &text, const mutation &change)
{
    const tree_ptr document = parsed(text);
    change.apply(die, xmlDocGetRootElement(document.get()));
    return text_of(document.get());
}

} // namespace vesk::test
