#include "tests/xml_differential/markup.h"

#include <cstdio>

#include "tests/xml_differential/texts.h"

namespace vesk::test {
namespace {

/** Entities that are harmless, and in the last rows some that are faults where they are used. */
constexpr const char *entities[] = {
    "<!ENTITY word \"word\">",
    "<!ENTITY none \"\">",
    "<!ENTITY amp2 \"a &#38;#38; b\">",
    "<!ENTITY less \"&#38;lt;\">",
    "<!ENTITY two \"&word; &word;\">",
    "<!ENTITY later \"&last;\">",
    "<!ENTITY last 'last \"one\"'>",
    "<!ENTITY ssid \"<ssid>from an entity</ssid>\">",
    "<!ENTITY user \"<user><login>from an entity</login></user>\">",
    "<!ENTITY users \"&user; &user;\">",
    "<!ENTITY part \"x<!-- y --><![CDATA[z]]>\">",
    "<!ENTITY file SYSTEM \"nothing-here.ent\">",
    "<!ENTITY lt \"&#38;#60;\">",
    "<!ENTITY % more \"<!ENTITY less 'other'>\">\n%more;",
    "<!ENTITY bare \"a &#38; b\">",
    "<!ENTITY open \"<ssid>\">",
    "<!ENTITY loop \"&loop;\">",
    "<!ENTITY picture SYSTEM \"p\" NDATA gif>",
};
/** Those that may stand in an attribute, then those that may stand in a text, then the rest. */
constexpr const char *entity_names[] = {
    "word", "none",  "amp2", "less", "two",  "later", "last", "quot",    "lt",     "ssid",
    "user", "users", "part", "file", "bare", "open",  "loop", "picture", "nothing"};
constexpr size_t entities_for_attributes = 9;
constexpr size_t entities_for_texts = 14;

/** Attributes that a document type gives to elements, or whose values it normalises. */
constexpr const char *declarations[] = {
    "<!ELEMENT config ANY>",
    "<!ELEMENT radio (channel|ssid)*>",
    "<!ELEMENT ssid (#PCDATA)>",
    "<!ATTLIST radio name CDATA \"implied\">",
    "<!ATTLIST acl name CDATA #FIXED \"fixed\">",
    "<!ATTLIST user name CDATA \"unwelcome\">",
    "<!ATTLIST radio name NMTOKENS #IMPLIED>",
    "<!ATTLIST acl name ID #REQUIRED>",
    "<!ATTLIST port name (eth0|eth1) \"eth0\">",
    "<!ATTLIST radio x:name CDATA \"prefixed\" other CDATA \"&word;\">",
    "<!ATTLIST config xmlns:x CDATA \"urn:x\">",
    "<!ATTLIST system xmlns CDATA #FIXED \"urn:s\">",
    "<!NOTATION gif SYSTEM \"gif\">",
    "<!-- <!ENTITY word \"commented out\"> -->",
    "<?dtd <!ENTITY word \"not this\"> ?>",
};

constexpr std::string_view comments[] = {"<!---->", "<!-- by hand -->",
                                         "<!-- <ssid>not this</ssid> -->",
                                         "<!-- ]]> &nothing; & < -->", "<!--\n-\n-->"};
constexpr std::string_view instructions[] = {"<?x?>", "<?editor <ssid>not this</ssid> ?>",
                                             "<?xml-stylesheet href=\"a\"?>", "<?y ? > ?>"};
constexpr std::string_view spaces[] = {"", "", "\n", "\n  ", " ", "\t", "\r\n", "\n\n\n", "\r"};

bool is_ascii(char c)
{
    return static_cast<unsigned char>(c) < 0x80;
}

} // namespace

std::string markup::characters()
{
    std::string text = random_characters(die_, largest_);
    if (die_.percent(3)) { // more than a parser handles at once
        const size_t length = die_.between(280, 700);
        text.insert(0, std::string(length, 'l'));
        text += "&<>\"'"[die_.below(5)];
        text.append(die_.below(400), 'm');
    }
    return text;
}

std::string markup::numeric_reference(unsigned character)
{
    const char *form = die_.percent(50) ? "&#%u;" : die_.percent(50) ? "&#x%X;" : "&#x000%x;";
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, form, character);
    return buffer;
}

std::string markup::in_text(char c)
{
    switch (c) {
    case '<':
        return die_.percent(60) ? "&lt;" : numeric_reference('<');
    case '&':
        return die_.percent(60) ? "&amp;" : numeric_reference('&');
    case '>':
        return die_.percent(60) ? "&gt;" : numeric_reference('>');
    case '"':
        return die_.percent(30) ? "&quot;" : "\"";
    case '\'':
        return die_.percent(30) ? "&apos;" : "'";
    case '\r':
        return die_.percent(60) ? "&#13;" : "\r";
    default:
        return is_ascii(c) && die_.percent(5) ? numeric_reference(static_cast<unsigned>(c))
                                              : std::string{c};
    }
}

void markup::write_text(std::string_view value)
{
    for (const char c : value)
        out_ += in_text(c);
    if (die_.percent(8)) out_ += numeric_reference(random_character(die_));
}

std::string markup::in_attribute(char c, char quote)
{
    if (c == quote)
        return die_.percent(40) ? numeric_reference(static_cast<unsigned>(c))
               : quote == '"'   ? "&quot;"
                                : "&apos;";
    if (c == '\n' || c == '\t')
        return die_.percent(60) ? numeric_reference(static_cast<unsigned>(c)) : std::string{c};
    return in_text(c);
}

std::string markup::quoted(std::string_view value)
{
    const char quote = die_.percent(80) ? '"' : '\'';
    std::string text = die_.percent(5) ? " = " : "=";
    text += quote;
    if (has_doctype_ && die_.percent(4)) text += one_of_entities(entities_for_attributes);
    for (const char c : value)
        text += in_attribute(c, quote);
    if (has_doctype_ && die_.percent(4)) text += one_of_entities(entities_for_attributes);
    return text += quote;
}

void markup::write_cdata(std::string_view value)
{
    if (value.find("]]>") != value.npos) return write_text(value);
    out_.append("<![CDATA[").append(value).append("]]>");
}

void markup::write_comment()
{
    out_ += die_.among(comments);
}

void markup::write_instruction()
{
    out_ += die_.among(instructions);
}

void markup::write_space()
{
    out_ += die_.among(spaces);
}

std::string markup::one_of_entities(size_t harmless)
{
    const size_t count = careless_ && die_.percent(10) ? std::size(entity_names) : harmless;
    return std::string{"&"} + entity_names[die_.below(count)] + ";";
}

std::string markup::entity_reference()
{
    return one_of_entities(entities_for_texts);
}

void markup::write_doctype()
{
    has_doctype_ = true;
    out_ += "<!DOCTYPE config";
    if (die_.percent(15)) out_ += " SYSTEM \"nothing-here.dtd\"";
    if (careless_ && die_.percent(20)) return append(">");
    out_ += " [";
    for (const char *entity : entities) {
        const bool is_parameter = entity[9] == '%'; // makes unknown entities no fault
        if (die_.percent(is_parameter ? 70 : careless_ ? 5 : 0)) continue;
        out_ += entity;
        write_space();
    }
    for (unsigned left = die_.below(4); left > 0; --left) {
        out_ += die_.among(declarations);
        write_space();
    }
    out_ += "]>";
}

} // namespace vesk::test
