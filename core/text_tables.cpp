#include "vesk/util.h"

#include <cstring>
#include <string>
#include <string_view>

#include <libxml/xmlmemory.h>

#include "base/or_on_oom.h"
#include "base/xml.h"
#include "base/xml_text.h"
#include "core/log.h"
#include "core/table_names.h"
#include "vesk/class.h"
#include "vesk/instance.h"
#include "vesk/property.h"
#include "vesk/query.h"

// Text from outside, such as a neighbour's network name, goes into a request here. It is escaped so
// that no value closes an element; references that it brings along are left alone.

namespace {

using std::string;
using std::string_view;

constexpr size_t longest_name = 79;
constexpr size_t longest_where = 1023;
constexpr size_t longest_properties = 2999;
constexpr size_t longest_request = 3999;
constexpr int table_size = 8000;

constexpr string_view predefined[] = {"amp;", "lt;", "gt;", "quot;", "apos;"};

/** Reads the tokens of a text table, writing zeros into it. */
class token_reader {
  public:
    explicit token_reader(char *text) : at_{text} {}

    /** The next token of this line; null at its end. */
    char *next();

    /** Goes on to the next line; false at the end of the text. */
    bool next_line();

  private:
    char *at_;
    bool line_ended_ = false;
    bool text_ended_ = false;
};

char *token_reader::next()
{
    if (line_ended_ || text_ended_) return nullptr;
    if (!*at_) {
        text_ended_ = true;
        return nullptr;
    }
    char *token = at_;
    char *end = nullptr;
    if (*token == '"') {
        ++token;
        end = token + std::strcspn(token, "\"");
        if (*end) *end++ = '\0';
    } else {
        end = token + std::strcspn(token, " \n");
    }
    line_ended_ = *end == '\n';
    text_ended_ = *end != '\n' && *end != ' ';
    if (!text_ended_) {
        *end = '\0';
        at_ = end + 1;
    }
    return token;
}

bool token_reader::next_line()
{
    while (next())
        ;
    line_ended_ = false;
    return !text_ended_;
}

/** Whether a reference that the parser knows begins behind an "&". */
bool begins_reference(string_view behind)
{
    for (const string_view name : predefined)
        if (behind.starts_with(name)) return true;
    if (!behind.starts_with('#')) return false;
    const string_view reference = behind.substr(0, behind.find(';') + 1);
    if (reference.empty() || reference.size() > 10) return false;
    // Whether it stands for a character at all is the parser's to say.
    return vesk::parse_xml("<a>&" + string{reference} + "</a>", vesk::xml_source::client) !=
           nullptr;
}

string escaped(string_view value)
{
    const string clean = vesk::readable_back(value);
    string out;
    for (size_t i = 0; i < clean.size(); ++i) {
        switch (clean[i]) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '&':
            out += begins_reference(string_view{clean}.substr(i + 1)) ? "&" : "&amp;";
            break;
        default:
            out += clean[i];
        }
    }
    return out;
}

/** One property's old kernel interface says 1 and 0 where its class says on and off. */
string_view mapped(string_view class_name, string_view property, string_view value)
{
    if (class_name != "interface" || property != "exclude-unencrypted") return value;
    return value == "1" ? "on" : "off";
}

/** What a line says. */
struct table_line {
    string name;
    bool has_name = false;
    string properties;
    string where;
    unsigned where_terms = 0;

    void take(const char *column, const char *token, const char *class_name);
    string request(const char *class_name) const;

    bool fits() const
    {
        return name.size() <= longest_name && properties.size() <= longest_properties &&
               where.size() <= longest_where;
    }
};

void table_line::take(const char *column, const char *token, const char *class_name)
{
    if (!*column) return;
    const string property = vesk::column_name(column);
    if (vesk::is_instance_name(column)) {
        name = token;
        has_name = true;
        return;
    }
    const string value = escaped(mapped(class_name, property, token));
    if (vesk::is_key(column)) {
        where += "<eq><property>" + property + "</property><value>" + value + "</value></eq>";
        ++where_terms;
    } else {
        properties += "<" + property + ">" + value + "</" + property + ">";
    }
}

string table_line::request(const char *class_name) const
{
    const string cls = class_name;
    string text = "<?xml version=\"1.0\"?><lsql><update><" + cls;
    if (has_name) text += " name=\"" + escaped(name) + "\"";
    text += ">" + properties + "</" + cls + "></update>";
    if (where_terms == 1) text += "<where>" + where + "</where>";
    if (where_terms > 1) text += "<where><and>" + where + "</and></where>";
    return text + "</lsql>";
}

/** Takes one line in; false when it gave no property, which ends the work. */
bool put_line(token_reader &tokens, const char *const *names, const char *class_name)
{
    table_line line;
    for (const char *const *column = names; *column; ++column) {
        const char *token = tokens.next();
        if (!token) break;
        line.take(*column, token, class_name);
    }
    if (line.properties.empty()) return false;
    const string request = line.request(class_name);
    if (!line.fits() || request.size() > longest_request)
        vesk_debug_eprintf("A line for class \"%s\" is too long: left out.\n", class_name);
    else
        xmlFree(vesk_query_eval_passive(request.c_str()));
    return true;
}

/** Calls visit(table, name) for each property that the tables provide. */
template <typename Visit> void for_each_provided(vesk_txt_table *const *tables, Visit &&visit)
{
    if (!tables) return;
    for (; *tables; ++tables)
        for (const char **name = (*tables)->names; name && *name; ++name)
            if (vesk::is_property(*name)) visit(vesk::bare_name(*name));
}

void read_table(vesk_txt_table &table)
{
    table.generation = vesk_query_transaction_number;
    char buffer[table_size] = "";
    if (table.fill) table.fill(table.fill_argument, buffer, table_size - 1);
    buffer[table_size - 1] = '\0';
    if (table.parse) table.parse(buffer, table.names, table.parse_argument);
}

} // namespace

void vesk_util_put2object(char *text, const char **names, const char *class_name)
{
    if (!text || !names || !class_name) {
        vesk::fail("Null argument. (%s)\n", "vesk_util_put2object");
        return;
    }
    vesk::or_on_oom(0, [&] {
        token_reader tokens{text};
        while (put_line(tokens, names, class_name) && tokens.next_line())
            ;
        return 0;
    });
}

const char *vesk_util_txt_tables_get_val(vesk_instance *instance, vesk_txt_table *const *tables,
                                         const char *property)
{
    if (!instance || !tables || !property) return nullptr;
    while (*tables && (!(*tables)->names || vesk::find_name((*tables)->names, property) < 0))
        ++tables;
    if (!*tables) return nullptr;
    if ((*tables)->generation != vesk_query_transaction_number) read_table(**tables);
    return vesk_instance_get_value(instance, property);
}

void vesk_util_txt_tables_add_properties(vesk_txt_table *const *tables, vesk_class *cls)
{
    for_each_provided(tables, [&](const char *name) {
        vesk_property *property = vesk_property_new(name);
        vesk_property_set_writable(property, 0);
        vesk_property_set_persistence(property, 0);
        if (vesk_class_add_property(cls, property) != 0) vesk_property_delete(property);
    });
}

void vesk_util_txt_tables_add_refresh(vesk_txt_table *const *tables, vesk_refresher *refresher,
                                      vesk_refresher_property_fn fn)
{
    for_each_provided(
        tables, [&](const char *name) { vesk_refresher_set_property_fn(refresher, name, fn); });
}
