#include "clients/request.h"

#include <libxml/tree.h>

#include "base/xml_text.h"
#include "clients/failure.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

/** An operation on the class of a selection; attributes and content are XML. */
std::string operation(std::string_view name, const selection &about, std::string_view attributes,
                      std::string_view content)
{
    check_name(about.class_name, "class");
    std::string xml = "<" + about.class_name;
    if (about.name) {
        xml += " name=\"";
        if (append_attribute(xml, *about.name))
            misuse("no name can hold this: " + visible(*about.name));
        xml += '"';
    }
    xml.append(attributes).append(">").append(content).append("</" + about.class_name + ">");
    xml = element(name, xml);
    return about.where.empty() ? xml : xml + element("where", about.where);
}

std::string value_elements(const std::vector<assignment> &values)
{
    std::string xml;
    for (const assignment &given : values) {
        check_name(given.property, "property");
        xml += element(given.property, escaped(given.value));
    }
    return xml;
}

} // namespace

void check_name(const std::string &name, const char *what)
{
    // The library looks at UTF-8 up to a NUL only.
    const bool is_text = name.find('\0') == name.npos && is_well_formed(name);
    if (!is_text || xmlValidateName(reinterpret_cast<const xmlChar *>(name.c_str()), 0) != 0)
        misuse("\"" + visible(name) + "\" cannot be the name of a " + what);
}

std::string escaped(std::string_view text)
{
    std::string xml;
    if (append_text(xml, text)) misuse("no value can hold this: " + visible(text));
    return xml;
}

std::string element(std::string_view name, std::string_view content)
{
    std::string xml = "<";
    xml.append(name);
    if (content.empty()) return xml + "/>";
    xml.append(">").append(content).append("</").append(name).append(">");
    return xml;
}

std::string select(const selection &from, const std::vector<std::string> &properties)
{
    std::string xml;
    for (const std::string &property : properties) {
        check_name(property, "property");
        xml += element(property, "");
    }
    return operation("select", from, "", xml);
}

std::string select_all(const selection &from)
{
    return operation("select", from, " properties=\"all\"", "");
}

std::string update(const selection &which, const std::vector<assignment> &values)
{
    return operation("update", which, "", value_elements(values));
}

std::string remove(const selection &which)
{
    return operation("delete", which, "", "");
}

std::string insert(const selection &made, const std::vector<assignment> &values)
{
    return operation("insert", made, "", value_elements(values));
}

std::string expect_class(const std::string &class_name)
{
    // An update names an unknown class in its error; that condition is never true.
    return update({class_name, {}, element("value", "")}, {});
}

std::string in_transaction(std::string_view operations)
{
    return element("write-transaction", operations);
}

std::string request(std::string_view operations, std::string_view origin)
{
    std::string xml = "<lsql";
    if (!origin.empty()) {
        xml += " origin=\"";
        if (append_attribute(xml, origin)) misuse("no origin can hold this: " + visible(origin));
        xml += '"';
    }
    return xml.append(">").append(operations).append("</lsql>");
}

} // namespace vesk::client
