#include "tests/xml_differential/random_document.h"

#include <algorithm>
#include <set>
#include <utility>

namespace vesk::test {
namespace {

constexpr const char *instance_names[] = {"wlan0", "wlan1", "eth0", "a", "b", "a & b", "", "old0"};
constexpr const char *subclass_values[] = {"wired", "wireless", "wired", "wireless",
                                           "ipip",  "ipip",     "modem", "",
                                           "port",  "wired ",   "user",  "text"};
constexpr const char *unknown_names[] = {"modem", "Radio", "config", "comment", "name",
                                         "x.y",   "_",     "type",   "radios",  "radi"};
constexpr const char *other_attributes[] = {"id=\"1\"",
                                            "xml:lang=\"en\"",
                                            "xml:space=\"default\"",
                                            "xml:space='preserve'",
                                            "Name=\"no\"",
                                            "names=\"no\"",
                                            "nam=\"no\"",
                                            "x:id=\"2\"",
                                            "type='t'",
                                            "xml:name=\"xml\"",
                                            "x:name=\"x\"",
                                            "y:name=\"undeclared\""};
constexpr const char *namespace_declarations[] = {"xmlns:x=\"urn:x\"", "xmlns=\"urn:default\"",
                                                  "xmlns:z='urn:z'",   "xmlns:x=\"\"",
                                                  "xmlns=\"\"",        "xmlns:name=\"urn:name\""};
constexpr const char *prefixes[] = {"x:", "x:", "x:", "y:", "xml:", "x:y:", ":", "z:"};

const class_spec &spec_named(const std::string &name)
{
    return *std::find_if(class_specs().begin(), class_specs().end(),
                         [&](const class_spec &spec) { return spec.name == name; });
}

bool is_named(const class_spec &spec)
{
    return spec.type == VESK_CLASS_UNIQUE_NAMED || spec.type == VESK_CLASS_GROUP_NAMED;
}

std::string key_of(const std::string &attribute)
{
    return attribute.substr(0, attribute.find_first_of(" ="));
}

/** Leaves the first attribute of each name. */
void remove_repeated(std::vector<std::string> &attributes)
{
    std::set<std::string> keys;
    std::erase_if(attributes,
                  [&](const std::string &each) { return !keys.insert(key_of(each)).second; });
}

/** About the middle of a text, between two characters. */
size_t middle_of(const std::string &text)
{
    size_t at = text.size() / 2;
    while (at > 0 && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80)
        --at;
    return at;
}

void replace_newlines(std::string &text, const std::string &newline)
{
    if (newline == "\n") return;
    std::string replaced;
    for (const char c : text)
        if (c == '\n')
            replaced += newline;
        else
            replaced += c;
    text = std::move(replaced);
}

} // namespace

random_document::random_document(dice &die, encoding in)
    : die_{die}, encoding_{in}, careless_{die.percent(25)}, out_{die, largest_in(in), careless_},
      has_namespaces_{die.percent(20)}, noise_{die.percent(60) ? 4U : 35U}, newline_{
                                                                                die.percent(85)
                                                                                    ? "\n"
                                                                                : die.percent(80)
                                                                                    ? "\r\n"
                                                                                    : "\r"}
{
}

std::string random_document::text(unsigned instances)
{
    write_declaration();
    write_beside_root();
    if (die_.percent(18)) out_.write_doctype();
    write_beside_root();
    write_root(instances);
    write_beside_root();
    replace_newlines(out_.text(), newline_);
    return out_.text();
}

void random_document::write_declaration()
{
    const std::string name = declared_name(die_, encoding_);
    if (name.empty() && die_.percent(20)) return;
    out_.append(die_.percent(97) ? "<?xml version=\"1.0\"" : "<?xml version='1.1'");
    if (!name.empty()) out_.append(" encoding=\"" + name + "\"");
    if (die_.percent(5)) out_.append(die_.percent(70) ? " standalone=\"yes\"" : " standalone='no'");
    out_.append("?>");
    if (die_.percent(90)) out_.append("\n");
}

void random_document::write_beside_root()
{
    for (unsigned left = die_.percent(noise_) ? 3 : 0; left > 0; --left)
        switch (die_.below(3)) {
        case 0:
            out_.write_comment();
            break;
        case 1:
            out_.write_instruction();
            break;
        default:
            out_.write_space();
        }
}

void random_document::write_root(unsigned instances)
{
    std::vector<std::string> attributes;
    if (die_.percent(noise_)) add_other_attributes(attributes);
    if (has_namespaces_ && die_.percent(70)) attributes.push_back("xmlns:x=\"urn:x\"");
    const std::string name = die_.percent(98) ? "config" : prefixed("config");
    if (die_.percent(2)) return open_tag(name, attributes, "/>");
    open_tag(name, attributes, ">");
    for (; instances > 0; --instances) {
        write_between();
        write_something();
    }
    write_between();
    close_tag(name);
}

void random_document::write_something()
{
    if (die_.percent(6)) return write_unknown_instance();
    write_known_instance();
}

void random_document::write_unknown_instance()
{
    write_instance(die_.among(unknown_names), die_.among(class_specs()));
}

void random_document::write_known_instance()
{
    const class_spec &spec = die_.among(class_specs());
    // A subclass is mostly written as its superclass, which is how it is saved.
    if (spec.superclass && die_.percent(85)) return write_instance(spec.superclass, spec);
    write_instance(spec.name, spec);
}

void random_document::write_instance(const std::string &element, const class_spec &spec)
{
    const std::string name = prefixed(element);
    if (die_.percent(4)) return open_tag(name, attributes_of(spec), "/>");
    open_tag(name, attributes_of(spec), ">");
    const bool has_identifier = element != spec.name || spec.identifier;
    const unsigned count = die_.below(spec.properties.size() + 2);
    const unsigned identifier_at = die_.percent(70) ? 0 : die_.below(count + 1);
    for (unsigned i = 0; i <= count; ++i) {
        write_between();
        if (has_identifier && i == identifier_at && die_.percent(95)) write_identifier(spec);
        if (i < count) write_child(spec);
    }
    for (const property_spec &property : spec.properties)
        if (property.required && die_.percent(85))
            write_property(property.name, value_for(property));
    write_between();
    close_tag(name);
}

void random_document::write_identifier(const class_spec &spec)
{
    const char *identifier = spec.identifier   ? spec.identifier
                             : spec.superclass ? spec_named(spec.superclass).identifier
                                               : "type";
    const bool is_right = spec.superclass && die_.percent(75);
    write_property(identifier, is_right ? spec.name : die_.among(subclass_values));
}

void random_document::write_child(const class_spec &spec)
{
    const class_spec &source = spec.superclass && die_.percent(25) ? spec_named(spec.superclass)
                               : die_.percent(4)                   ? die_.among(class_specs())
                                                                   : spec;
    const property_spec &property = die_.among(source.properties);
    const std::string name = die_.percent(3) ? die_.among(unknown_names) : property.name;
    write_property(name, value_for(property));
}

void random_document::write_property(const std::string &name, const std::string &value)
{
    const std::string element = prefixed(name);
    std::vector<std::string> attributes;
    if (die_.percent(noise_ / 3)) add_other_attributes(attributes);
    if (value.empty() && die_.percent(50)) return open_tag(element, attributes, "/>");
    open_tag(element, attributes, ">");
    if (die_.percent(75))
        out_.write_text(value);
    else
        write_content(value);
    close_tag(element);
}

/** The value as CDATA, in pieces, beside other things, or among spaces. */
void random_document::write_content(const std::string &value)
{
    const size_t half = middle_of(value);
    switch (die_.below(8)) {
    case 0:
        return out_.write_cdata(value);
    case 1:
        out_.write_cdata(value.substr(0, half));
        return out_.write_cdata(value.substr(half));
    case 2:
        out_.write_text(value.substr(0, half));
        return out_.write_cdata(value.substr(half));
    case 3:
        out_.write_cdata(value.substr(0, half));
        return out_.write_text(value.substr(half));
    case 4:
        out_.write_space();
        out_.write_cdata(value);
        return out_.write_space();
    case 5:
        out_.write_space();
        out_.write_text(value);
        return out_.write_space();
    default:
        return write_mixed_content(value);
    }
}

/** Pieces of the value with other nodes before, between and behind them. */
void random_document::write_mixed_content(const std::string &value)
{
    for (unsigned left = die_.between(1, 4); left > 0; --left)
        switch (die_.below(7)) {
        case 0:
            out_.write_comment();
            break;
        case 1:
            out_.write_instruction();
            break;
        case 2:
            write_nested();
            break;
        case 3:
            if (out_.has_doctype()) out_.append(out_.entity_reference());
            break;
        case 4:
            out_.write_cdata(die_.percent(50) ? value : "");
            break;
        default:
            out_.write_text(value);
        }
}

/** An element where none is looked for. */
void random_document::write_nested()
{
    const std::string name = die_.percent(50) ? "ssid" : die_.among(unknown_names);
    if (die_.percent(30)) return open_tag(name, {}, "/>");
    open_tag(name, {}, ">");
    if (die_.percent(40)) write_nested();
    out_.write_text(out_.characters());
    close_tag(name);
}

void random_document::write_between()
{
    if (die_.percent(80)) out_.append(die_.percent(50) ? "\n  " : "\n");
    if (die_.percent(noise_)) write_noise();
}

void random_document::write_noise()
{
    switch (die_.below(8)) {
    case 0:
    case 1:
        return out_.write_comment();
    case 2:
        return out_.write_instruction();
    case 3:
        return out_.write_text(out_.characters());
    case 4:
        return out_.write_cdata(die_.percent(50) ? "<user/>" : "");
    case 5:
        if (out_.has_doctype()) return out_.append(out_.entity_reference());
        [[fallthrough]];
    default:
        out_.write_space();
    }
}

void random_document::open_tag(const std::string &name, std::vector<std::string> attributes,
                               const char *end)
{
    if (has_namespaces_ && die_.percent(8))
        attributes.push_back(die_.among(namespace_declarations));
    if (!careless_) remove_repeated(attributes);
    out_.append("<" + name);
    for (const std::string &attribute : attributes) {
        out_.append(die_.percent(95) ? " " : "\n\t");
        out_.append(attribute);
    }
    if (die_.percent(3)) out_.append(die_.percent(50) ? " " : "\n");
    out_.append(end);
}

void random_document::close_tag(const std::string &name)
{
    out_.append("</" + name);
    if (die_.percent(2)) out_.append(" \n");
    out_.append(">");
}

std::string random_document::name_attribute(const class_spec &spec)
{
    const char *key = die_.percent(94) ? "name" : die_.percent(50) ? "x:name" : "xml:name";
    const bool is_usual = die_.percent(75);
    if (spec.type == VESK_CLASS_GROUP_NAMED && is_usual) return std::string{key} + "='guests'";
    return key + out_.quoted(is_usual ? die_.among(instance_names) : out_.characters());
}

std::vector<std::string> random_document::attributes_of(const class_spec &spec)
{
    std::vector<std::string> attributes;
    const bool shows_name = is_named(spec) ? die_.percent(95) : die_.percent(3);
    if (die_.percent(noise_)) add_other_attributes(attributes);
    if (shows_name) attributes.push_back(name_attribute(spec));
    if (shows_name && careless_ && die_.percent(4)) attributes.push_back(name_attribute(spec));
    if (die_.percent(noise_)) add_other_attributes(attributes);
    return attributes;
}

void random_document::add_other_attributes(std::vector<std::string> &attributes)
{
    attributes.push_back(die_.among(other_attributes));
}

std::string random_document::value_for(const property_spec &property)
{
    switch (property.values) {
    case takes::number:
        return die_.percent(85) ? std::to_string(die_.below(3000)) : out_.characters();
    case takes::known_radio:
        return die_.among(instance_names);
    default:
        if (die_.percent(6)) return "off";
        if (die_.percent(6)) return "bad" + out_.characters();
        return out_.characters();
    }
}

/** In a document with namespaces, now and then with a prefix. */
std::string random_document::prefixed(const std::string &name)
{
    if (!has_namespaces_ || !die_.percent(12)) return name;
    return die_.among(prefixes) + name;
}

} // namespace vesk::test
