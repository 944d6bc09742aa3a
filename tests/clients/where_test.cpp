#include "clients/where.h"

#include <gtest/gtest.h>

#include "clients/failure.h"

namespace {

using vesk::client::compile_where;
using vesk::client::failure;
using properties = std::vector<std::string>;

std::string xml(const std::string &text)
{
    return compile_where(text).xml;
}

std::string complaint(const std::string &text)
{
    try {
        return "compiled: " + xml(text);
    } catch (const failure &why) {
        EXPECT_EQ(why.result, vesk::client::status::usage);
        return why.message;
    }
}

constexpr const char *mode_is_ap = "<eq><property>mode</property><value>ap</value></eq>";
const std::string is_ap = mode_is_ap;

TEST(Where, ComparesAPropertyWithAValue)
{
    EXPECT_EQ(xml("mode=ap"), is_ap);
    EXPECT_EQ(xml(" mode = ap "), is_ap);
    EXPECT_EQ(xml("mode=\"ap\""), is_ap);
    EXPECT_EQ(xml("mode='ap'"), is_ap);
    EXPECT_EQ(xml(".mode=ap"), is_ap);
    EXPECT_EQ(xml("mode!=ap"), "<not>" + is_ap + "</not>");
}

TEST(Where, TakesAPropertyAloneForHavingAValue)
{
    EXPECT_EQ(xml("ssid"), "<property>ssid</property>");
    EXPECT_EQ(xml("not ssid"), "<not><property>ssid</property></not>");
}

TEST(Where, TakesAnEmptyValueForNone)
{
    EXPECT_EQ(xml("ssid=\"\""), "<not><property>ssid</property></not>");
    EXPECT_EQ(xml("ssid!=''"), "<property>ssid</property>");
    EXPECT_EQ(xml("name=''"), "<not><metadata>name</metadata></not>");
}

TEST(Where, MeansTheInstanceByName)
{
    EXPECT_EQ(xml("name=r0"), "<eq><metadata>name</metadata><value>r0</value></eq>");
    EXPECT_EQ(xml("name"), "<metadata>name</metadata>");
    EXPECT_EQ(xml(".name=r0"), "<eq><property>name</property><value>r0</value></eq>");
    EXPECT_EQ(xml("mode=name"), "<eq><property>mode</property><value>name</value></eq>");
}

TEST(Where, ComparesTwoProperties)
{
    EXPECT_EQ(xml("a=.b"), "<eq><property>a</property><property>b</property></eq>");
    EXPECT_EQ(xml("a=b"), "<eq><property>a</property><value>b</value></eq>");
    EXPECT_EQ(xml("a='.b'"), "<eq><property>a</property><value>.b</value></eq>");
}

TEST(Where, BindsNotBeforeAndBeforeOr)
{
    const std::string a = "<property>a</property>";
    const std::string b = "<property>b</property>";
    const std::string c = "<property>c</property>";
    EXPECT_EQ(xml("a and b and c"), "<and>" + a + b + c + "</and>");
    EXPECT_EQ(xml("a or b and c"), "<or>" + a + "<and>" + b + c + "</and></or>");
    EXPECT_EQ(xml("(a or b) and c"), "<and><or>" + a + b + "</or>" + c + "</and>");
    EXPECT_EQ(xml("not a and b"), "<and><not>" + a + "</not>" + b + "</and>");
    EXPECT_EQ(xml("not(a and b)"), "<not><and>" + a + b + "</and></not>");
    EXPECT_EQ(xml("not not a"), "<not><not>" + a + "</not></not>");
    EXPECT_EQ(xml(".and and .not"), "<and><property>and</property><property>not</property></and>");
}

TEST(Where, EscapesAndUnescapesValues)
{
    EXPECT_EQ(xml("a='<&>'"), "<eq><property>a</property><value>&lt;&amp;&gt;</value></eq>");
    EXPECT_EQ(xml(R"(a="x\n\t\r\"\\\'")"),
              "<eq><property>a</property><value>x\n\t&#xD;\"\\'</value></eq>");
    EXPECT_EQ(xml(R"(a="\u{e9}\u{1F4F6}")"),
              "<eq><property>a</property><value>&#xE9;&#x1F4F6;</value></eq>");
    EXPECT_EQ(xml("a=caf\u00e9"), "<eq><property>a</property><value>caf&#xE9;</value></eq>");
}

TEST(Where, SaysWhichPropertiesItLooksAt)
{
    EXPECT_EQ(compile_where("mode=ap and (not ssid or name=x) or a=.b").properties,
              (properties{"mode", "ssid", "a", "b"}));
}

TEST(Where, ComplainsAboutWhatItDoesNotUnderstand)
{
    EXPECT_EQ(complaint(""), "condition, character 1: something is missing at the end");
    EXPECT_EQ(complaint("a and"), "condition, character 6: something is missing at the end");
    EXPECT_EQ(complaint("and a"), "condition, character 1: a property is missing");
    EXPECT_EQ(complaint("a="), "condition, character 3: a value is missing");
    EXPECT_EQ(complaint("a==b"), "condition, character 3: a value is missing");
    EXPECT_EQ(complaint("a b"), "condition, character 3: \"b\" is too much");
    EXPECT_EQ(complaint("(a"), "condition, character 1: the parenthesis stays open");
    EXPECT_EQ(complaint("a)"), "condition, character 2: \")\" is too much");
    EXPECT_EQ(complaint("'x'=a"), "condition, character 1: a property stands on the left");
    EXPECT_EQ(complaint("a='x"), "condition, character 3: the quote stays open");
    EXPECT_EQ(complaint("a=x!"), "condition, character 4: \"!\" without \"=\"");
    EXPECT_EQ(complaint("1a=x"), "\"1a\" cannot be the name of a property");
    EXPECT_EQ(complaint("a='\x01'"), "no value can hold this: \\x01");
    EXPECT_EQ(complaint("a='\xff'"), "no value can hold this: \\xff");
    EXPECT_EQ(complaint(R"(a='\q')"), "condition, character 4: after a backslash stands n, r, t, "
                                      "u{HEX}, \\, \" or '");
    for (const char *text : {R"(a='\u')", R"(a='\u{}')", R"(a='\u{x}')", R"(a='\u{1234567}')",
                             R"(a='\u{12)", R"(a='\)"})
        EXPECT_TRUE(complaint(text).starts_with("condition, character 4: ")) << text;
}

TEST(Where, RefusesWhatIsNestedTooDeeply)
{
    std::string deep = "a";
    for (int i = 0; i < 99; ++i)
        deep = i % 2 ? std::string{"not "}.append(deep) : std::string{"("}.append(deep).append(")");
    EXPECT_NO_THROW(compile_where(deep));
    EXPECT_EQ(complaint(std::string(100000, '(') + "a"),
              "condition, character 101: too many conditions in each other");
}

} // namespace
