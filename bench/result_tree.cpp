#include "bench/result_tree.h"

namespace vesk::bench {
namespace {

constexpr const char *properties[] = {"p0", "p1", "p2", "p3", "p4", "p5", "p6", "p7", "p8", "p9"};
static_assert(std::size(properties) == property_count);

const xmlChar *xml(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

} // namespace

result_tree::result_tree(size_t objects) : objects_(objects)
{
    for (size_t i = 0; i < objects; ++i) {
        objects_[i].name = object_name({0, i});
        for (size_t p = 0; p < property_count; ++p)
            objects_[i].values[p] = value_in_file(i, p);
    }
}

void result_tree::add_object(xmlNode *dataset, const texts &object)
{
    xmlNode *node = xmlNewChild(dataset, nullptr, xml("obj0"), nullptr);
    xmlSetProp(node, xml("name"), xml(object.name.c_str()));
    for (size_t p = 0; p < property_count; ++p)
        xmlNewChild(node, nullptr, xml(properties[p]), xml(object.values[p].c_str()));
}

xmlDoc *result_tree::build() const
{
    xmlDoc *document = xmlNewDoc(xml("1.0"));
    xmlNode *root = xmlNewNode(nullptr, xml("lsql_result"));
    xmlDocSetRootElement(document, root);
    xmlNode *dataset = xmlNewChild(root, nullptr, xml("dataset"), nullptr);
    for (const texts &object : objects_)
        add_object(dataset, object);
    xmlNewChild(root, nullptr, xml("rc"), xml("0"));
    xmlNewChild(root, nullptr, xml("counter"), xml(std::to_string(objects_.size()).c_str()));
    return document;
}

std::string result_tree::text() const
{
    xmlDoc *document = build();
    xmlChar *dumped = nullptr;
    int length = 0;
    xmlDocDumpMemory(document, &dumped, &length);
    std::string answer{reinterpret_cast<const char *>(dumped), static_cast<size_t>(length)};
    xmlFree(dumped);
    xmlFreeDoc(document);
    return answer;
}

} // namespace vesk::bench
