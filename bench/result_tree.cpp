#include "bench/result_tree.h"

#include <string>

#include "bench/objects.h"

namespace vesk::bench {
namespace {

const xmlChar *xml(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

void add_object(xmlNode *dataset, size_t number)
{
    // Texts are made outside the heap: what is measured is the tree.
    static const std::string value = value_text(0);
    static const char *const properties[] = {"p0", "p1", "p2", "p3", "p4",
                                             "p5", "p6", "p7", "p8", "p9"};
    static_assert(std::size(properties) == property_count);
    const std::string name = object_name({0, number});
    xmlNode *node = xmlNewChild(dataset, nullptr, xml("obj0"), nullptr);
    xmlSetProp(node, xml("name"), xml(name.c_str()));
    for (const char *property : properties)
        xmlNewChild(node, nullptr, xml(property), xml(value.c_str()));
}

} // namespace

xmlDoc *new_result_tree(size_t objects)
{
    xmlDoc *document = xmlNewDoc(xml("1.0"));
    xmlNode *root = xmlNewNode(nullptr, xml("lsql_result"));
    xmlDocSetRootElement(document, root);
    xmlNode *dataset = xmlNewChild(root, nullptr, xml("dataset"), nullptr);
    for (size_t i = 0; i < objects; ++i)
        add_object(dataset, i);
    xmlNewChild(root, nullptr, xml("rc"), xml("0"));
    xmlNewChild(root, nullptr, xml("counter"), xml(std::to_string(objects).c_str()));
    return document;
}

} // namespace vesk::bench
