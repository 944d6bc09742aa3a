#ifndef VESK_TESTS_DIFFERENTIAL_REQUEST_H
#define VESK_TESTS_DIFFERENTIAL_REQUEST_H

#include <optional>
#include <string>
#include <vector>

namespace vesk::test::differential {

// A request as its author thinks of it, and the text in which it is sent: written as libxml2 writes
// it, so that the text is also what the log shows of it.

/** A property, and the value that it is to have; what is only named has none. */
struct assignment {
    std::string property;
    std::string value;
};

/** What an instance must be like. */
struct condition {
    enum class test { has_value, has_property, is_named };
    test what;
    bool negated;
    std::string property; // of a test for a property
    std::string value;    // of a test for a value or name
};

struct new_instance {
    std::string element; // a class, or an abstract class and among the values the subclass
    std::optional<std::string> name;
    std::vector<assignment> values;
};

struct operation {
    enum class kind { select, update, remove, insert };
    kind what;
    std::string cls;
    std::optional<std::string> name{};
    std::vector<assignment> properties{}; // to be selected, or set
    bool selects_all = false;
    std::vector<condition> where{}; // all of them
    std::vector<new_instance> inserted{};
};

struct request {
    bool transaction = false;
    bool passive = false;
    std::vector<operation> operations;
};

inline std::string element(const std::string &name, const std::string &content,
                           const std::string &attributes = "")
{
    const std::string start = "<" + name + attributes;
    return content.empty() ? start + "/>" : start + ">" + content + "</" + name + ">";
}

inline std::string escaped(const std::string &text)
{
    std::string result;
    for (const char c : text)
        result += c == '&' ? std::string{"&amp;"} : std::string{c};
    return result;
}

inline std::string named(const std::optional<std::string> &name)
{
    return name ? " name=\"" + *name + "\"" : std::string{};
}

inline std::string text_of(const condition &test)
{
    const std::string value = element("value", escaped(test.value));
    std::string text;
    switch (test.what) {
    case condition::test::has_value:
        text = element("eq", element("property", test.property) + value);
        break;
    case condition::test::has_property:
        text = element("property", test.property);
        break;
    case condition::test::is_named:
        text = element("eq", element("metadata", "name") + value);
        break;
    }
    return test.negated ? element("not", text) : text;
}

inline std::string text_of(const operation &op)
{
    static constexpr const char *names[] = {"select", "update", "delete", "insert"};
    std::string content;
    for (const new_instance &fresh : op.inserted) {
        std::string values;
        for (const assignment &a : fresh.values)
            values += element(a.property, escaped(a.value));
        content += element(fresh.element, values, named(fresh.name));
    }
    if (op.what != operation::kind::insert) {
        std::string properties;
        for (const assignment &a : op.properties)
            properties += element(a.property, escaped(a.value));
        content = element(op.cls, properties,
                          named(op.name) + (op.selects_all ? " properties=\"all\"" : ""));
    }
    std::string text = element(names[static_cast<int>(op.what)], content);
    if (op.where.empty()) return text;
    std::string tests;
    for (const condition &test : op.where)
        tests += text_of(test);
    return text + element("where", op.where.size() == 1 ? tests : element("and", tests));
}

inline std::string text_of(const request &r)
{
    std::string operations;
    for (const operation &op : r.operations)
        operations += text_of(op);
    return element("lsql", r.transaction ? element("write-transaction", operations) : operations);
}

} // namespace vesk::test::differential

#endif
