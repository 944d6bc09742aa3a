#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "config/running.h"
#include "pipeline/committer.h"
#include "pipeline/refresher.h"
#include "tests/support/model.h"
#include "tests/support/owned.h"
#include "vesk/changes.h"
#include "vesk/commit_info.h"
#include "vesk/committer.h"
#include "vesk/query.h"
#include "vesk/refresh_info.h"
#include "vesk/util.h"

namespace {

using vesk::test::set_level;

/** A list of names, or of tables, ended by null. */
template <typename T> class list {
  public:
    list(std::initializer_list<T> elements) : elements_{elements} { elements_.push_back(nullptr); }
    T *data() { return elements_.data(); }

  private:
    std::vector<T> elements_;
};
using names = list<const char *>;

/** A running configuration with instances whose values tables tell. */
class text_tables_test : public vesk::test::fixture {
  protected:
    text_tables_test()
    {
        add_class("radio", VESK_CLASS_UNIQUE_NAMED, {"load", "noise", "state", "ssid"});
        add_class("lease", VESK_CLASS_ANONYMOUS, {"mac", "port", "signal", "age"});
        add_class("interface", VESK_CLASS_UNIQUE_NAMED, {"exclude-unencrypted", "load"});
        add_class("acl", VESK_CLASS_GROUP_NAMED, {"mac", "hits"});
        freeze();
        running_before_ = vesk::exchange_running(vesk_instances_new());
    }

    ~text_tables_test() override
    {
        vesk_instances_delete_all(vesk::exchange_running(running_before_));
    }

    vesk_instance *add(const char *class_name, const char *name,
                       std::initializer_list<std::pair<const char *, const char *>> values = {})
    {
        vesk_instance *instance = make(class_name, name, values).release();
        EXPECT_EQ(vesk_instances_add(vesk_config_get_running(), instance), 0) << logged();
        return instance;
    }

    /** Puts a text in a block of exactly its size. */
    static void put(const std::string &text, names columns, const char *class_name)
    {
        const std::unique_ptr<char[]> block{new char[text.size() + 1]};
        std::copy_n(text.c_str(), text.size() + 1, block.get());
        vesk_util_put2object(block.get(), columns.data(), class_name);
    }

    static std::string value(const vesk_instance *instance, const char *property)
    {
        const char *value = vesk_instance_get_value(instance, property);
        return value ? value : "(none)";
    }

    /** How many instances there are, of all classes. */
    static int count()
    {
        int number = 0;
        vesk_instances_iterator *all = vesk_instances_new_iterator(vesk_config_get_running());
        for (; vesk_instances_iterator_next(all); number++) {
        }
        vesk_instances_delete_iterator(all);
        return number;
    }

    static std::string eval(const std::string &operations)
    {
        char *answer = vesk_query_eval(("<lsql>" + operations + "</lsql>").c_str());
        std::string text = answer ? answer : "";
        free(answer);
        return text;
    }

  private:
    vesk_instances *running_before_;
};

using UtilPut2object = text_tables_test;

// ---- Lines, columns and names -------------------------------------------------------------------

TEST_F(UtilPut2object, UpdatesTheInstanceOfEachLine)
{
    const vesk_instance *first = add("radio", "wlan0"), *second = add("radio", "wlan1");
    put("wlan0 5 -90\nwlan1 6 -80\n", {"name", "load", "noise"}, "radio");
    EXPECT_EQ(value(first, "load"), "5");
    EXPECT_EQ(value(first, "noise"), "-90");
    EXPECT_EQ(value(second, "load"), "6");
    EXPECT_EQ(value(second, "noise"), "-80");
    EXPECT_EQ(logged(), "");
}

TEST_F(UtilPut2object, AsksAsThePassiveUpdateOfThatInstance)
{
    add("radio", "wlan0");
    set_level(2);
    put("wlan0 5 up\n", {"*name", "load", "state"}, "radio");
    EXPECT_NE(logged().find("LSQL query (passive):\n<?xml version=\"1.0\"?>\n<lsql><update>"
                            "<radio name=\"wlan0\"><load>5</load><state>up</state></radio>"
                            "</update></lsql>\n"),
              std::string::npos);
}

TEST_F(UtilPut2object, AsksWithOneTermOrAllOfThem)
{
    add("lease", nullptr, {{"mac", "a"}, {"port", "1"}});
    set_level(2);
    put("a 5\n", {"*mac", "signal"}, "lease");
    EXPECT_NE(logged().find("<lsql><update><lease><signal>5</signal></lease></update><where><eq>"
                            "<property>mac</property><value>a</value></eq></where></lsql>\n"),
              std::string::npos);
    put("a 1 5\n", {"*mac", "*port", "signal"}, "lease");
    EXPECT_NE(logged().find("<lsql><update><lease><signal>5</signal></lease></update><where><and>"
                            "<eq><property>mac</property><value>a</value></eq>"
                            "<eq><property>port</property><value>1</value></eq>"
                            "</and></where></lsql>\n"),
              std::string::npos);
    put("5\n", {"signal"}, "lease");
    EXPECT_NE(logged().find("<lsql><update><lease><signal>5</signal></lease></update></lsql>\n"),
              std::string::npos);
}

TEST_F(UtilPut2object, TellsInstancesByTheirKeys)
{
    const vesk_instance *a1 = add("lease", nullptr, {{"mac", "a"}, {"port", "1"}});
    const vesk_instance *a2 = add("lease", nullptr, {{"mac", "a"}, {"port", "2"}});
    const vesk_instance *b1 = add("lease", nullptr, {{"mac", "b"}, {"port", "1"}});
    put("a 1 x\nb 1 y\n", {"*mac", "*port", "signal"}, "lease");
    EXPECT_EQ(value(a1, "signal"), "x");
    EXPECT_EQ(value(a2, "signal"), "(none)");
    EXPECT_EQ(value(b1, "signal"), "y");
    put("a z\n", {"*mac", "age"}, "lease");
    EXPECT_EQ(value(a1, "age"), "z");
    EXPECT_EQ(value(a2, "age"), "z");
    EXPECT_EQ(value(b1, "age"), "(none)");
    EXPECT_EQ(value(a1, "mac"), "a");
}

TEST_F(UtilPut2object, CombinesNameAndKeys)
{
    const vesk_instance *a = add("acl", "guests", {{"mac", "a"}});
    const vesk_instance *b = add("acl", "guests", {{"mac", "b"}});
    const vesk_instance *other = add("acl", "staff", {{"mac", "b"}});
    put("7 b guests\n", {"hits", "*mac", "*name"}, "acl");
    EXPECT_EQ(value(a, "hits"), "(none)");
    EXPECT_EQ(value(b, "hits"), "7");
    EXPECT_EQ(value(other, "hits"), "(none)");
}

TEST_F(UtilPut2object, UpdatesAllWithoutNameAndKey)
{
    const vesk_instance *first = add("radio", "wlan0"), *second = add("radio", "wlan1");
    put("5\n", {"load"}, "radio");
    EXPECT_EQ(value(first, "load"), "5");
    EXPECT_EQ(value(second, "load"), "5");
}

TEST_F(UtilPut2object, MakesNothing)
{
    add("radio", "wlan0");
    put("wlan9 5\n", {"name", "load"}, "radio");
    put("wlan9 5\n", {"name", "load"}, "unheard");
    EXPECT_EQ(count(), 1);
}

TEST_F(UtilPut2object, IgnoresColumnsWithoutAName)
{
    const vesk_instance *radio = add("radio", "wlan0");
    put("x wlan0 y 5 z\n", {"", "name", "", "load"}, "radio");
    EXPECT_EQ(value(radio, "load"), "5");
}

TEST_F(UtilPut2object, SkipsColumnsBeyondTheNames)
{
    const vesk_instance *first = add("radio", "wlan0"), *second = add("radio", "wlan1");
    put("wlan0 5 6 \"7\n8\" 9\nwlan1 6\n", {"name", "load"}, "radio");
    EXPECT_EQ(value(first, "load"), "5");
    EXPECT_EQ(value(second, "load"), "6");
}

TEST_F(UtilPut2object, LeavesPropertiesBeyondTheColumns)
{
    const vesk_instance *first = add("radio", "wlan0", {{"noise", "old"}});
    const vesk_instance *second = add("radio", "wlan1");
    put("wlan0 5\nwlan1 6 7\n", {"name", "load", "noise"}, "radio");
    EXPECT_EQ(value(first, "load"), "5");
    EXPECT_EQ(value(first, "noise"), "old");
    EXPECT_EQ(value(second, "noise"), "7");
}

TEST_F(UtilPut2object, TakesTwoSpacesForAnEmptyColumn)
{
    const vesk_instance *radio = add("radio", "wlan0", {{"load", "old"}});
    put("wlan0  5 \n", {"name", "load", "noise", "state"}, "radio");
    EXPECT_EQ(value(radio, "load"), "");
    EXPECT_EQ(value(radio, "noise"), "5");
    EXPECT_EQ(value(radio, "state"), "");
}

TEST_F(UtilPut2object, EndsAtALineThatSetsNothing)
{
    const vesk_instance *first = add("radio", "wlan0"), *second = add("radio", "wlan1");
    for (const char *middle : {"\n", "wlan1\n", "wlan1 x\n"}) {
        put("wlan0 1\n", {"name", "load"}, "radio");
        put("wlan1 1\n", {"name", "load"}, "radio");
        if (std::strcmp(middle, "wlan1 x\n") == 0)
            put(std::string{"wlan0 x 2\n"} + middle + "wlan1 x 2\n", {"name", "", "load"}, "radio");
        else
            put(std::string{"wlan0 2\n"} + middle + "wlan1 2\n", {"name", "load"}, "radio");
        EXPECT_EQ(value(first, "load"), "2") << middle;
        EXPECT_EQ(value(second, "load"), "1") << middle;
    }
}

TEST_F(UtilPut2object, EndsAtALineOfKeyColumnsOnly)
{
    const vesk_instance *lease = add("lease", nullptr, {{"mac", "a"}});
    put("a\na 5\n", {"*mac", "signal"}, "lease");
    EXPECT_EQ(value(lease, "signal"), "(none)");
    put("a 1\na 2\n", {"*mac", "*port"}, "lease");
    put("a 5\n", {"*mac", "signal"}, "lease");
    EXPECT_EQ(value(lease, "signal"), "5");
}

TEST_F(UtilPut2object, TakesTheInstanceNameForNoProperty)
{
    for (const char *name : {"name", "*name"}) {
        const vesk_instance *radio = add("radio", name);
        put(std::string{name} + "\n" + name + " 5\n", {name, "load"}, "radio");
        EXPECT_EQ(value(radio, "load"), "(none)") << name;
    }
}

TEST_F(UtilPut2object, TakesAHashForNoPartOfAProperty)
{
    const vesk_instance *radio = add("radio", "wlan0");
    put("wlan0 5 6\n", {"name", "#load", "noise"}, "radio");
    EXPECT_EQ(value(radio, "load"), "5");
    EXPECT_EQ(value(radio, "noise"), "6");
}

TEST_F(UtilPut2object, GoesOnAfterARefusedValue)
{
    const vesk_instance *first = add("radio", "wlan0"), *second = add("radio", "wlan1");
    put("wlan0 bad\nwlan1 6\n", {"name", "load"}, "radio");
    EXPECT_EQ(value(first, "load"), "(none)");
    EXPECT_EQ(value(second, "load"), "6");
}

TEST_F(UtilPut2object, SetsPropertiesThatClientsMayNotWrite)
{
    const vesk_instance *radio = add("radio", "wlan0");
    vesk_property_set_writable(vesk_class_get_property(vesk_classes_get("radio"), "load"), 0);
    put("wlan0 5\n", {"name", "load"}, "radio");
    EXPECT_EQ(value(radio, "load"), "5");
}

TEST_F(UtilPut2object, DoesNotCountAsATransaction)
{
    add("radio", "wlan0");
    const unsigned number = vesk_query_transaction_number;
    put("wlan0 5\n", {"name", "load"}, "radio");
    EXPECT_EQ(vesk_query_transaction_number, number);
}

TEST_F(UtilPut2object, MapsOnePropertyOfOneClass)
{
    const vesk_instance *first = add("interface", "a"), *second = add("interface", "b");
    const vesk_instance *third = add("interface", "c");
    put("a 1 1\nb 0 1\nc 11 1\n", {"name", "exclude-unencrypted", "load"}, "interface");
    EXPECT_EQ(value(first, "exclude-unencrypted"), "on");
    EXPECT_EQ(value(second, "exclude-unencrypted"), "off");
    EXPECT_EQ(value(third, "exclude-unencrypted"), "off");
    EXPECT_EQ(value(first, "load"), "1");
}

TEST_F(UtilPut2object, MapsThatPropertyAsAKeyToo)
{
    const vesk_instance *on = add("interface", "a", {{"exclude-unencrypted", "on"}});
    const vesk_instance *off = add("interface", "b", {{"exclude-unencrypted", "off"}});
    put("1 x\n0 y\n", {"*exclude-unencrypted", "load"}, "interface");
    EXPECT_EQ(value(on, "load"), "x");
    EXPECT_EQ(value(off, "load"), "y");
}

TEST_F(UtilPut2object, ToleratesNulls)
{
    char text[] = "wlan0 5\n";
    names columns{"name", "load"};
    EXPECT_NO_CRASH(vesk_util_put2object(nullptr, columns.data(), "radio"));
    EXPECT_NO_CRASH(vesk_util_put2object(text, nullptr, "radio"));
    EXPECT_NO_CRASH(vesk_util_put2object(text, columns.data(), nullptr));
}

// ---- Tokens -------------------------------------------------------------------------------------

TEST_F(UtilPut2object, TakesQuotesOffAColumn)
{
    const vesk_instance *first = add("radio", "house 1"), *second = add("radio", "wlan1");
    put("\"house 1\" \"a b\" 5\nwlan1 \"\" \"6\"\n", {"name", "ssid", "load"}, "radio");
    EXPECT_EQ(value(first, "ssid"), "a b");
    EXPECT_EQ(value(first, "load"), "5");
    EXPECT_EQ(value(second, "ssid"), "");
    EXPECT_EQ(value(second, "load"), "6");
}

TEST_F(UtilPut2object, LetsAQuotedColumnHoldANewline)
{
    const vesk_instance *radio = add("radio", "wlan0");
    put("wlan0 \"a\nb\" 5\n", {"name", "ssid", "load"}, "radio");
    EXPECT_EQ(value(radio, "ssid"), "a\nb");
    EXPECT_EQ(value(radio, "load"), "5");
}

TEST_F(UtilPut2object, KeepsAQuoteInsideAColumn)
{
    const vesk_instance *radio = add("radio", "wlan0");
    put("wlan0 a\"b\" 5\n", {"name", "ssid", "load"}, "radio");
    EXPECT_EQ(value(radio, "ssid"), "a\"b\"");
    EXPECT_EQ(value(radio, "load"), "5");
}

TEST_F(UtilPut2object, EndsBehindAQuoteThatNothingSeparates)
{
    const vesk_instance *first = add("radio", "wlan0"), *second = add("radio", "wlan1");
    put("wlan0 \"a\"b 5\nwlan1 c\n", {"name", "ssid", "load"}, "radio");
    EXPECT_EQ(value(first, "ssid"), "a");
    EXPECT_EQ(value(first, "load"), "(none)");
    EXPECT_EQ(value(second, "ssid"), "(none)");
}

TEST_F(UtilPut2object, TakesTheLastLineWithoutItsEnd)
{
    const vesk_instance *radio = add("radio", "wlan0");
    put("wlan0 5", {"name", "load"}, "radio");
    EXPECT_EQ(value(radio, "load"), "5");
    put("wlan0 \"6\"", {"name", "load"}, "radio");
    EXPECT_EQ(value(radio, "load"), "6");
}

TEST_F(UtilPut2object, NeverReadsBeyondTheText)
{
    add("radio", "wlan0");
    const std::string text = "wlan0 \"a &amp; b\" &#60;\nwlan0 \"\" &\n\"wlan0\" \"x\"y\n\"";
    for (size_t length = 0; length <= text.size(); length++) {
        put(text.substr(0, length), {"name", "ssid", "load"}, "radio");
        put(text.substr(length), {"name", "ssid", "load"}, "radio");
        put(text.substr(length), {"ssid"}, "radio");
        put(text.substr(length), {}, "radio");
    }
    for (const char *text_alone :
         {"", " ", "\n", "\"", "\"\"", "& ", "&", "&a", "&#", "&#x", "&#x4"})
        for (const char *name : {"name", "*load", "load", ""})
            put(text_alone, {name, "ssid"}, "radio");
}

// ---- Text from outside --------------------------------------------------------------------------

/** Pairs of a column's text and the value that it stands for. */
constexpr std::pair<const char *, const char *> raw_texts[] = {
    {"a<b", "a<b"},
    {"a>b", "a>b"},
    {"a&b", "a&b"},
    {"&", "&"},
    {"&&", "&&"},
    {"&amp", "&amp"},
    {"&;", "&;"},
    {"&#;", "&#;"},
    {"&#x;", "&#x;"},
    {"&#6a;", "&#6a;"},
    {"&#xg;", "&#xg;"},
    {"&1;", "&1;"},
    {"&a&amp;", "&a&"},
    {"&<amp;", "&<amp;"},
    {"'a\"b'", "'a\"b'"},
    {"]]>", "]]>"},
    {"<!--", "<!--"},
    {"<![CDATA[x]]>", "<![CDATA[x]]>"},
    {"<?x?>", "<?x?>"},
    {"</load>", "</load>"},
    {"</load></radio></update><delete><radio/></delete>",
     "</load></radio></update><delete><radio/></delete>"},
    {"%s%n%d", "%s%n%d"},
};

/** The same for well-formed references. */
constexpr std::pair<const char *, const char *> references[] = {
    {"&amp;", "&"},
    {"&lt;", "<"},
    {"&gt;", ">"},
    {"&quot;", "\""},
    {"&apos;", "'"},
    {"&#60;", "<"},
    {"&#x3c;", "<"},
    {"&#x3C;", "<"},
    {"&#38;", "&"},
    {"&amp;amp;", "&amp;"},
    {"&#233;", "\xc3\xa9"},
    {"a&amp;b&lt;c", "a&b<c"},
    {"&lt;/load>", "</load>"},
};

TEST_F(UtilPut2object, TakesRawMarkupAsAValue)
{
    const vesk_instance *radio = add("radio", "wlan0"), *other = add("radio", "wlan1");
    for (auto [raw, meaning] : raw_texts) {
        put(std::string{"wlan0 "} + raw + " up\nwlan1 " + raw + "\n", {"name", "load", "state"},
            "radio");
        EXPECT_EQ(value(radio, "load"), meaning);
        EXPECT_EQ(value(radio, "state"), "up") << raw;
        EXPECT_EQ(value(other, "load"), meaning);
        EXPECT_EQ(count(), 2) << raw;
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(UtilPut2object, PassesReferencesInAValue)
{
    const vesk_instance *radio = add("radio", "wlan0");
    for (auto [reference, meaning] : references) {
        put(std::string{"wlan0 "} + reference + "\n", {"name", "load"}, "radio");
        EXPECT_EQ(value(radio, "load"), meaning) << reference;
    }
}

TEST_F(UtilPut2object, TakesRawMarkupAsAKey)
{
    for (const auto &texts : {std::vector<std::pair<const char *, const char *>>(
                                  std::begin(raw_texts), std::end(raw_texts)),
                              std::vector<std::pair<const char *, const char *>>(
                                  std::begin(references), std::end(references))}) {
        for (auto [raw, meaning] : texts) {
            vesk_instance *lease = add("lease", nullptr, {{"mac", meaning}});
            vesk_instance *other = add("lease", nullptr, {{"mac", "other"}});
            put(std::string{raw} + " 5\n", {"*mac", "signal"}, "lease");
            EXPECT_EQ(value(lease, "signal"), "5") << raw;
            EXPECT_EQ(value(other, "signal"), "(none)") << raw;
            EXPECT_EQ(count(), 2) << raw;
            vesk_instances_delete_class(vesk_config_get_running(), "lease");
        }
    }
}

TEST_F(UtilPut2object, TakesRawMarkupAsAName)
{
    const vesk_instance *other = add("radio", "other");
    for (const auto &texts : {std::vector<std::pair<const char *, const char *>>(
                                  std::begin(raw_texts), std::end(raw_texts)),
                              std::vector<std::pair<const char *, const char *>>(
                                  std::begin(references), std::end(references))}) {
        for (auto [raw, meaning] : texts) {
            const vesk_instance *radio = add("radio", meaning);
            const int before = count();
            if (!radio) continue;
            put(std::string{raw} + " 5\n", {"name", "load"}, "radio");
            EXPECT_EQ(value(radio, "load"), "5") << raw;
            EXPECT_EQ(value(other, "load"), "(none)") << raw;
            EXPECT_EQ(count(), before) << raw;
            vesk_instances_remove(vesk_config_get_running(), const_cast<vesk_instance *>(radio));
            vesk_instance_delete(const_cast<vesk_instance *>(radio));
        }
    }
}

TEST_F(UtilPut2object, LetsNoTextAddAnOperationOrWidenAWhere)
{
    const char *const hostile[] = {
        "</load></radio></update><delete><radio/></delete><update><radio><load>",
        "</value></eq></where><delete><lease/></delete><where><eq><value>",
        "</value></eq><eq><value>1</value><value>1</value></eq><eq><value>",
        "\"/></update><delete><radio/></delete><update><radio x=\"",
        "x\"><ssid>owned</ssid></radio></update><update><radio name=\"x",
        "x' origin='y",
        "<!DOCTYPE x [<!ENTITY e \"owned\">]>&e;",
        "]]></load><ssid>owned</ssid><load><![CDATA[",
        "--><ssid>owned</ssid><!--",
        "</where></lsql><lsql><delete><radio/></delete></lsql>",
    };
    const vesk_instance *radio = add("radio", "wlan0"),
                        *lease = add("lease", nullptr, {{"mac", "a"}});
    for (const std::string text : hostile) {
        for (const std::string &token : {text, "\"" + text + "\""}) {
            put(token + "\n", {"load"}, "radio");
            put("wlan0 " + token + "\n", {"name", "load"}, "radio");
            put(token + " owned\n", {"name", "ssid"}, "radio");
            put(token + " owned\n", {"*mac", "signal"}, "lease");
            put("a " + token + " owned\n", {"*mac", "*port", "signal"}, "lease");
            EXPECT_EQ(count(), 2) << token;
            EXPECT_EQ(value(radio, "ssid"), "(none)") << token;
            EXPECT_EQ(value(lease, "signal"), "(none)") << token;
        }
    }
}

TEST_F(UtilPut2object, TakesAReferenceThatNamesNothingAsText)
{
    const vesk_instance *radio = add("radio", "wlan0"), *next = add("radio", "wlan1");
    for (const char *text : {"&nbsp;", "&e;", "&#0;", "&#1;", "&#xffffffff;", "&#1114112;",
                             "&#99999999999999999999;", "&#xd800;", "&#xFFFE;"}) {
        put(std::string{"wlan0 "} + text + "\nwlan1 " + text + "\n", {"name", "load"}, "radio");
        EXPECT_EQ(value(radio, "load"), text);
        EXPECT_EQ(value(next, "load"), text);
    }
}

TEST_F(UtilPut2object, GoesOnAfterBytesThatAreNoText)
{
    const vesk_instance *next = add("radio", "wlan1");
    add("radio", "wlan0");
    int number = 0;
    for (const char *text : {"caf\xe9", "\x01", "\xff\xfe", "\xed\xa0\x80", "\xc3"}) {
        const std::string load = std::to_string(++number);
        put(std::string{"wlan0 "} + text + "\nwlan1 " + load + "\n", {"name", "load"}, "radio");
        EXPECT_EQ(value(next, "load"), load) << text;
    }
    EXPECT_EQ(count(), 2);
}

// ---- Sizes --------------------------------------------------------------------------------------

TEST_F(UtilPut2object, TakesNamesOf79BytesAndDropsLongerOnes)
{
    const std::string fits(79, 'n');
    const vesk_instance *radio = add("radio", fits.c_str()), *next = add("radio", "wlan1");
    const vesk_instance *longer = add("radio", (fits + "n").c_str());
    put(fits + " 5\n", {"name", "load"}, "radio");
    EXPECT_EQ(value(radio, "load"), "5");
    EXPECT_EQ(logged(), "");
    put(fits + "n 6\nwlan1 6\n", {"name", "load"}, "radio");
    EXPECT_EQ(value(radio, "load"), "5") << "a cut name is another instance";
    EXPECT_EQ(value(longer, "load"), "(none)");
    EXPECT_EQ(value(next, "load"), "6");
    EXPECT_EQ(logged().compare(0, 6, "vesk: "), 0);
}

TEST_F(UtilPut2object, TakesPropertiesOf2999BytesAndDropsMore)
{
    const vesk_instance *radio = add("radio", "wlan0"), *next = add("radio", "wlan1");
    const std::string fits(2999 - std::strlen("<load></load>"), 'v');
    put("wlan0 " + fits + "\nwlan1 1\n", {"name", "load"}, "radio");
    EXPECT_EQ(value(radio, "load"), fits);
    EXPECT_EQ(value(next, "load"), "1");
    EXPECT_EQ(logged(), "");
    put("wlan0 " + fits + "v\nwlan1 2\n", {"name", "load"}, "radio");
    EXPECT_EQ(value(radio, "load"), fits);
    EXPECT_EQ(value(next, "load"), "2");
    EXPECT_EQ(logged().compare(0, 6, "vesk: "), 0);
}

TEST_F(UtilPut2object, DropsALineWholeWhenItsLastColumnDoesNotFit)
{
    const vesk_instance *radio = add("radio", "wlan0"), *next = add("radio", "wlan1");
    const std::string much(2000, 'v');
    put("wlan0 5 " + much + " " + much + "\nwlan1 6 x y\n", {"name", "load", "noise", "state"},
        "radio");
    for (const char *property : {"load", "noise", "state"})
        EXPECT_EQ(value(radio, property), "(none)") << property;
    EXPECT_EQ(value(next, "load"), "6");
    EXPECT_EQ(value(next, "state"), "y");
    EXPECT_NE(logged(), "");
}

TEST_F(UtilPut2object, DropsALineThatDoesNotFitEvenAsTheFirst)
{
    const vesk_instance *next = add("radio", "wlan1");
    put(std::string(7000, 'v') + "\n" + "wlan1 6\n", {"name", "load"}, "radio");
    put("wlan0 " + std::string(7000, '<') + "\nwlan1 7\n", {"name", "load"}, "radio");
    EXPECT_EQ(value(next, "load"), "7");
}

TEST_F(UtilPut2object, TakesKeysOf1023BytesAndDropsMore)
{
    const size_t room = 1023 - std::strlen("<eq><property>mac</property><value></value></eq>");
    const std::string fits(room, 'k');
    const vesk_instance *lease = add("lease", nullptr, {{"mac", fits.c_str()}});
    const vesk_instance *longer = add("lease", nullptr, {{"mac", (fits + "k").c_str()}});
    const vesk_instance *next = add("lease", nullptr, {{"mac", "next"}});
    put(fits + " 5\n", {"*mac", "signal"}, "lease");
    EXPECT_EQ(value(lease, "signal"), "5");
    EXPECT_EQ(logged(), "");
    put(fits + "k 6\nnext 6\n", {"*mac", "signal"}, "lease");
    EXPECT_EQ(value(lease, "signal"), "5");
    EXPECT_EQ(value(longer, "signal"), "(none)");
    EXPECT_EQ(value(next, "signal"), "6");
    EXPECT_EQ(logged().compare(0, 6, "vesk: "), 0);
}

TEST_F(UtilPut2object, TakesRequestsOf3999BytesAndDropsLongerOnes)
{
    const std::string rest = "<?xml version=\"1.0\"?><lsql><update><lease><signal></signal></lease>"
                             "</update><where><eq><property>mac</property><value></value></eq>"
                             "</where></lsql>";
    const std::string mac(900, 'k');
    const std::string fits(3999 - rest.size() - mac.size(), 'v');
    ASSERT_LT(fits.size() + std::strlen("<signal></signal>"), 3000u);
    const vesk_instance *lease = add("lease", nullptr, {{"mac", mac.c_str()}});
    const vesk_instance *next = add("lease", nullptr, {{"mac", "next"}});
    put(mac + " " + fits + "\n", {"*mac", "signal"}, "lease");
    EXPECT_EQ(value(lease, "signal"), fits);
    EXPECT_EQ(logged(), "");
    put(mac + " " + fits + "x\nnext 6\n", {"*mac", "signal"}, "lease");
    EXPECT_EQ(value(lease, "signal"), fits);
    EXPECT_EQ(value(next, "signal"), "6");
    EXPECT_EQ(logged().compare(0, 6, "vesk: "), 0);
}

TEST_F(UtilPut2object, NeverCutsAReferenceThatItMakes)
{
    const vesk_instance *radio = add("radio", "wlan0"), *next = add("radio", "wlan1");
    for (const char raw : {'<', '>', '&'}) {
        for (size_t length = 590; length <= 760; length++) {
            const std::string text(length, raw);
            const std::string before = value(radio, "load");
            const std::string number = std::to_string(length);
            put("wlan0 " + text + "\nwlan1 " + number + "\n", {"name", "load"}, "radio");
            EXPECT_TRUE(value(radio, "load") == text || value(radio, "load") == before) << length;
            EXPECT_EQ(value(next, "load"), number);
        }
    }
}

// ---- Tables -------------------------------------------------------------------------------------

/** What the tables' functions were called with, and what the fill function writes. */
int fills;
std::string filled_text;
std::function<void()> meanwhile; // what a fill does besides, once

void fill(void *argument, char *buffer, int size)
{
    fills++;
    if (argument) ++*static_cast<int *>(argument);
    std::snprintf(buffer, static_cast<size_t>(size), "%s", filled_text.c_str());
    if (const auto action = std::exchange(meanwhile, nullptr)) action();
}

/** Properties of radios come from two tables. */
class tables_test : public text_tables_test {
  protected:
    tables_test()
    {
        fills = 0;
        filled_text = "wlan0 5 -90\n";
        meanwhile = nullptr;
        number_before_ = vesk_query_transaction_number;
        vesk_query_transaction_number = 1000;
    }
    ~tables_test() override
    {
        meanwhile = nullptr;
        vesk_query_transaction_number = number_before_;
    }

    static std::string get(vesk_instance *instance, list<vesk_txt_table *> &tables,
                           const char *property)
    {
        const char *value = vesk_util_txt_tables_get_val(instance, tables.data(), property);
        return value ? value : "(none)";
    }

    names columns{"name", "load", "#noise"};
    names more_columns{"*name", "", "state", "load"};
    int first_fills = 0, second_fills = 0;
    vesk_txt_table first{0, fill, &first_fills, vesk_util_put2object, "radio", columns.data()};
    vesk_txt_table second{
        0, fill, &second_fills, vesk_util_put2object, "radio", more_columns.data()};
    list<vesk_txt_table *> tables{&first, &second};
    vesk_instance *radio = add("radio", "wlan0", {{"state", "old"}, {"ssid", "lab"}});

  private:
    unsigned number_before_;
};

using UtilTxtTablesGetVal = tables_test;
using UtilTxtTablesAddProperties = tables_test;
using UtilTxtTablesAddRefresh = tables_test;

TEST_F(UtilTxtTablesGetVal, ReadsTheTableAndGivesTheValue)
{
    EXPECT_EQ(get(radio, tables, "load"), "5");
    EXPECT_EQ(first_fills, 1);
    EXPECT_EQ(second_fills, 0);
    EXPECT_EQ(first.generation, 1000u);
    EXPECT_EQ(second.generation, 0u);
}

TEST_F(UtilTxtTablesGetVal, ReadsATableOncePerTransactionNumber)
{
    EXPECT_EQ(get(radio, tables, "load"), "5");
    filled_text = "wlan0 6 -80\n";
    EXPECT_EQ(get(radio, tables, "noise"), "-90");
    EXPECT_EQ(get(radio, tables, "load"), "5");
    EXPECT_EQ(first_fills, 1);
    vesk_query_transaction_number++;
    EXPECT_EQ(get(radio, tables, "noise"), "-80");
    EXPECT_EQ(get(radio, tables, "load"), "6");
    EXPECT_EQ(first_fills, 2);
    vesk_query_transaction_number--;
    EXPECT_EQ(get(radio, tables, "load"), "6");
    EXPECT_EQ(first_fills, 3) << "any other number counts";
}

TEST_F(UtilTxtTablesGetVal, TakesTheFirstTableThatHasTheProperty)
{
    get(radio, tables, "load");
    EXPECT_EQ(second_fills, 0);
    filled_text = "wlan0 x up\n";
    EXPECT_EQ(get(radio, tables, "state"), "up");
    EXPECT_EQ(second_fills, 1);
}

TEST_F(UtilTxtTablesGetVal, GivesNullForAPropertyOfNoTable)
{
    EXPECT_EQ(get(radio, tables, "ssid"), "(none)") << "though the instance has it";
    list<vesk_txt_table *> none{};
    EXPECT_EQ(get(radio, none, "load"), "(none)");
    EXPECT_EQ(fills, 0);
    EXPECT_EQ(get(radio, tables, "name"), "(none)");
    EXPECT_EQ(logged(), "");
}

TEST_F(UtilTxtTablesGetVal, GivesNullForAKeyColumn)
{
    names keyed{"*mac", "signal"};
    vesk_txt_table table{0, fill, nullptr, vesk_util_put2object, "lease", keyed.data()};
    list<vesk_txt_table *> one{&table};
    vesk_instance *lease = add("lease", nullptr, {{"mac", "a"}});
    EXPECT_EQ(get(lease, one, "mac"), "(none)");
    EXPECT_EQ(fills, 0);
    filled_text = "a 5\n";
    EXPECT_EQ(get(lease, one, "signal"), "5");
}

TEST_F(UtilTxtTablesGetVal, GivesTheOldValueWhereTheTableTellsNone)
{
    filled_text = "";
    EXPECT_EQ(get(radio, tables, "state"), "old");
    EXPECT_EQ(get(radio, tables, "load"), "(none)");
}

TEST_F(UtilTxtTablesGetVal, HandsAnEmptyBufferOf7999BytesAndMoreToTheFillFunction)
{
    static std::vector<int> sizes;
    static std::string parsed;
    sizes.clear();
    const auto check = [](void *, char *buffer, int size) {
        EXPECT_EQ(buffer[0], '\0');
        sizes.push_back(size);
        std::memset(buffer, 'x', static_cast<size_t>(size)); // without an end
    };
    const auto parse = [](char *text, const char **, const char *argument) {
        parsed = std::string{argument} + " " + text;
    };
    vesk_txt_table table{0, check, nullptr, parse, "argument", columns.data()};
    list<vesk_txt_table *> one{&table};
    get(radio, one, "load");
    vesk_query_transaction_number++;
    get(radio, one, "load");
    EXPECT_EQ(sizes, (std::vector<int>{7999, 7999}));
    EXPECT_EQ(parsed, "argument " + std::string(7999, 'x'));
}

TEST_F(UtilTxtTablesGetVal, HandsTheNamesToTheParseFunction)
{
    static const char **seen;
    const auto parse = [](char *, const char **given, const char *) { seen = given; };
    vesk_txt_table table{0, fill, nullptr, parse, nullptr, columns.data()};
    list<vesk_txt_table *> one{&table};
    get(radio, one, "load");
    EXPECT_EQ(seen, columns.data());
}

TEST_F(UtilTxtTablesGetVal, CutsOffNoTextThatFillsTheBuffer)
{
    filled_text.clear();
    const std::string line = "wlan0 5 -90\n";
    while (filled_text.size() + line.size() < 7990)
        filled_text += line;
    filled_text += "wlan0 6\n";
    EXPECT_EQ(get(radio, tables, "load"), "6");
}

TEST_F(UtilTxtTablesGetVal, CountsAsReadWhileItIsRead)
{
    meanwhile = [this] { EXPECT_EQ(get(radio, tables, "load"), "(none)"); };
    EXPECT_EQ(get(radio, tables, "load"), "5");
    EXPECT_EQ(first_fills, 1);
}

TEST_F(UtilTxtTablesGetVal, ToleratesNulls)
{
    EXPECT_EQ(vesk_util_txt_tables_get_val(radio, nullptr, "load"), nullptr);
    EXPECT_EQ(vesk_util_txt_tables_get_val(radio, tables.data(), nullptr), nullptr);
    EXPECT_EQ(vesk_util_txt_tables_get_val(nullptr, tables.data(), "load"), nullptr);
    vesk_txt_table empty{0, nullptr, nullptr, nullptr, nullptr, columns.data()};
    list<vesk_txt_table *> one{&empty};
    EXPECT_NO_CRASH(vesk_util_txt_tables_get_val(radio, one.data(), "load"));
}

// ---- Properties and refreshers of tables --------------------------------------------------------

TEST_F(UtilTxtTablesAddProperties, AddsEachPropertyReadOnlyAndNotSaved)
{
    const vesk::test::class_ptr cls{vesk_class_new("fresh")};
    names odd{"*name", "a", "", "#b", "*key", "c"}, later{"name", "d", "a"};
    vesk_txt_table one{0, fill, nullptr, vesk_util_put2object, "fresh", odd.data()};
    vesk_txt_table two{0, fill, nullptr, vesk_util_put2object, "fresh", later.data()};
    list<vesk_txt_table *> both{&one, &two};
    vesk_util_txt_tables_add_properties(both.data(), cls.get());
    std::string printed;
    vesk_property_iterator *iterator = vesk_class_new_property_iterator(cls.get());
    while (vesk_class_property_iterator_has_next(iterator)) {
        const vesk_property *property = vesk_class_property_iterator_next(iterator);
        printed += vesk::test::printed([=](FILE *to) { vesk_property_print(property, to); }) + "\n";
    }
    vesk_class_delete_property_iterator(iterator);
    std::string expected;
    for (const char *name : {"a", "b", "c", "d"}) {
        char line[80];
        std::snprintf(line, sizeof line, "Property: %-45s r---\n", name);
        expected += line;
    }
    EXPECT_EQ(printed, expected);
    EXPECT_EQ(vesk_class_get_properties(cls.get()), 4u);
}

TEST_F(UtilTxtTablesAddProperties, LeavesAPropertyThatTheClassHas)
{
    const vesk::test::class_ptr cls{vesk_class_new("fresh")};
    vesk_property *own = vesk::test::give(*cls, vesk::test::make_property("load"));
    vesk_util_txt_tables_add_properties(tables.data(), cls.get());
    EXPECT_EQ(vesk_class_get_property(cls.get(), "load"), own);
    EXPECT_EQ(vesk_class_get_properties(cls.get()), 3u);
}

TEST_F(UtilTxtTablesAddProperties, ToleratesNulls)
{
    const vesk::test::class_ptr cls{vesk_class_new("fresh")};
    EXPECT_NO_CRASH(vesk_util_txt_tables_add_properties(nullptr, cls.get()));
    EXPECT_NO_CRASH(vesk_util_txt_tables_add_properties(tables.data(), nullptr));
}

/** The tables that value_from_tables() reads. */
list<vesk_txt_table *> *tables_in_use;

std::function<void()> afterwards; // what a refresh does once a table was read, once

const char *value_from_tables(vesk_instance *instance, const char *property, vesk_refresh_info *)
{
    const char *value = vesk_util_txt_tables_get_val(instance, tables_in_use->data(), property);
    if (const auto action = std::exchange(afterwards, nullptr)) action();
    return value;
}

std::string asked;

const char *note_asked(vesk_instance *, const char *property, vesk_refresh_info *)
{
    asked += std::string{property} + " ";
    return "1";
}

TEST_F(UtilTxtTablesAddRefresh, HasEachPropertyRefreshed)
{
    const std::unique_ptr<vesk_refresher> refresher{vesk_refresher_new("radio")};
    vesk_util_txt_tables_add_refresh(tables.data(), refresher.get(), note_asked);
    vesk_refresh_info *info = vesk_refresh_info_new(vesk_config_get_running());
    vesk_refresh_info_add_all_properties(info, "radio", nullptr);
    vesk_refresh_info_set_data(info, refresher.get());
    asked.clear();
    vesk_refresher_fn(info);
    vesk_refresh_info_delete(info);
    EXPECT_EQ(asked, "load noise state ");
    EXPECT_EQ(value(radio, "noise"), "1");
}

TEST_F(UtilTxtTablesAddRefresh, LeavesThePropertiesThatHaveAFunction)
{
    const std::unique_ptr<vesk_refresher> refresher{vesk_refresher_new("radio")};
    vesk_refresher_set_property_fn(
        refresher.get(), "load",
        [](vesk_instance *, const char *, vesk_refresh_info *) { return "own"; });
    vesk_util_txt_tables_add_refresh(tables.data(), refresher.get(), note_asked);
    EXPECT_EQ(vesk_refresher_set_property_fn(refresher.get(), "name", note_asked), 0)
        << "the name of an instance is no property";
}

TEST_F(UtilTxtTablesAddRefresh, ToleratesNulls)
{
    const std::unique_ptr<vesk_refresher> refresher{vesk_refresher_new("radio")};
    EXPECT_NO_CRASH(vesk_util_txt_tables_add_refresh(nullptr, refresher.get(), note_asked));
    EXPECT_NO_CRASH(vesk_util_txt_tables_add_refresh(tables.data(), nullptr, note_asked));
    EXPECT_NO_CRASH(vesk_util_txt_tables_add_refresh(tables.data(), refresher.get(), nullptr));
}

// ---- Within requests ----------------------------------------------------------------------------

std::string calls;

void property_changed(vesk_instance *instance, const char *property, const char *value,
                      const char *old)
{
    calls += std::string{vesk_instance_get_name(instance)} + "." + property + "=" + value +
             " was " + (old ? old : "null") + "; ";
}

/** A provider whose refresher reads the tables, and whose committer tells of ssid and load. */
class tables_in_request_test : public tables_test {
  protected:
    tables_in_request_test()
    {
        calls.clear();
        afterwards = nullptr;
        tables_in_use = &tables;
        vesk_providers_init();
        vesk_util_txt_tables_add_refresh(tables.data(), refresher_.get(), value_from_tables);
        vesk_committer_set_property_change_fn(committer_.get(), "radio", "ssid", property_changed);
        vesk_committer_set_instance_create_fn(
            committer_.get(), "radio", [](vesk_instance *instance) {
                calls += std::string{"create "} + vesk_instance_get_name(instance) + "; ";
            });
        vesk_committer_set_instance_delete_fn(
            committer_.get(), "radio", [](vesk_instance *before, vesk_commit_info *) {
                calls += std::string{"delete "} + vesk_instance_get_name(before) + "; ";
            });
        vesk_provider_set_commit_fn(provider_.get(), vesk_committer_fn, committer_.get());
        vesk_provider_set_refresh_fn(provider_.get(), vesk_refresher_fn, refresher_.get());
        EXPECT_EQ(vesk_providers_add(provider_.get()), 0);
        EXPECT_EQ(vesk_providers_done_adding(), 0);
    }

    static constexpr const char *where_load_is_5 =
        "<where><eq><property>load</property><value>5</value></eq></where>";

    std::unique_ptr<vesk_committer> committer_{vesk_committer_new()};
    std::unique_ptr<vesk_refresher> refresher_{vesk_refresher_new("radio")};
    std::unique_ptr<vesk_provider> provider_{vesk_provider_new("radio")};
};

using TablesInRequest = tables_in_request_test;

TEST_F(TablesInRequest, AreReadOnceForTwoPropertiesOfOneTable)
{
    EXPECT_NE(eval("<select><radio><load/><noise/></radio></select>")
                  .find("<radio name=\"wlan0\"><load>5</load><noise>-90</noise></radio>"),
              std::string::npos);
    EXPECT_EQ(first_fills, 1);
    EXPECT_EQ(second_fills, 0);
    filled_text = "wlan0 6 -80\n";
    EXPECT_NE(eval("<select><radio><load/><noise/></radio></select>")
                  .find("<load>6</load><noise>-80</noise>"),
              std::string::npos);
    EXPECT_EQ(first_fills, 2);
}

TEST_F(TablesInRequest, AreReadOnceForAllInstances)
{
    add("radio", "wlan1");
    filled_text = "wlan0 5 -90\nwlan1 6 -80\n";
    const std::string answer = eval("<select><radio><load/><noise/></radio></select>");
    EXPECT_NE(answer.find("<radio name=\"wlan1\"><load>6</load><noise>-80</noise></radio>"),
              std::string::npos);
    EXPECT_EQ(first_fills, 1);
}

TEST_F(TablesInRequest, AreNotReadForOtherProperties)
{
    eval("<select><radio><ssid/></radio></select>");
    EXPECT_EQ(fills, 0);
}

/*
 * The values that a table tells are written by a request of its own, whose change set follows the
 * same collection meanwhile. Afterwards the outer change set listens again: to the instances, or it
 * would miss the values that the refresher stores, and to the collection.
 */

TEST_F(TablesInRequest, DoNotHideWhatTheRefresherStores)
{
    vesk_committer_set_property_change_fn(committer_.get(), "radio", "load", property_changed);
    eval(std::string{"<update><radio name=\"wlan0\"><ssid>new</ssid></radio></update>"} +
         where_load_is_5);
    EXPECT_EQ(first_fills, 1);
    EXPECT_EQ(calls, "wlan0.ssid=new was lab; wlan0.load=5 was null; ");
}

TEST_F(TablesInRequest, DoNotHideWhatAPluginSetsAfterwards)
{
    vesk_instance *other = add("radio", "wlan1", {{"ssid", "guest"}});
    afterwards = [=] { EXPECT_EQ(vesk_instance_set_value(other, "ssid", "moved"), 0); };
    eval(std::string{"<update><radio name=\"wlan0\"><ssid>new</ssid></radio></update>"} +
         where_load_is_5);
    EXPECT_EQ(first_fills, 1);
    EXPECT_NE(calls.find("wlan0.ssid=new was lab; "), std::string::npos) << calls;
    EXPECT_NE(calls.find("wlan1.ssid=moved was guest; "), std::string::npos) << calls;
}

TEST_F(TablesInRequest, DoNotHideWhatAPluginAddsAndRemovesAfterwards)
{
    vesk_instance *other = add("radio", "wlan1", {{"ssid", "guest"}});
    vesk_instance *fresh = make("radio", "wlan2", {{"ssid", "fresh"}}).release();
    afterwards = [=] {
        EXPECT_EQ(vesk_instances_add(vesk_config_get_running(), fresh), 0);
        EXPECT_EQ(vesk_instances_remove(vesk_config_get_running(), other), 0);
        vesk_instance_delete(other);
    };
    eval(std::string{"<update><radio name=\"wlan0\"><ssid>new</ssid></radio></update>"} +
         where_load_is_5);
    EXPECT_EQ(first_fills, 1);
    EXPECT_EQ(calls.find("delete wlan1; "), 0u) << calls;
    EXPECT_NE(calls.find("create wlan2; wlan2.ssid=fresh was null; "), std::string::npos) << calls;
    EXPECT_NE(calls.find("wlan0.ssid=new was lab; "), std::string::npos) << calls;
}

TEST_F(TablesInRequest, LeaveAChangeSetAsTheyFoundIt)
{
    vesk_instances *running = vesk_config_get_running();
    vesk_changes *changes = vesk_changes_new(running);
    EXPECT_EQ(get(radio, tables, "load"), "5");
    EXPECT_EQ(vesk_instance_set_value(radio, "ssid", "direct"), 0);
    vesk_commit_info *info = vesk_commit_info_new(vesk_changes_get_before(changes), running,
                                                  changes, nullptr, committer_.get());
    vesk_committer_fn(info);
    vesk_commit_info_delete(info);
    vesk_changes_delete(changes);
    EXPECT_EQ(calls, "wlan0.ssid=direct was lab; ");
}

TEST_F(TablesInRequest, DoNotHideWhatTheRequestSets)
{
    eval(std::string{"<update><radio name=\"wlan0\"><ssid>new</ssid></radio></update>"} +
         where_load_is_5);
    EXPECT_EQ(first_fills, 1);
    EXPECT_EQ(value(radio, "load"), "5");
    EXPECT_EQ(calls, "wlan0.ssid=new was lab; ");
}

TEST_F(TablesInRequest, DoNotHideWhatTheRequestSetsOfOtherInstances)
{
    add("radio", "wlan1", {{"ssid", "guest"}});
    eval("<select><radio name=\"wlan0\"><load/></radio></select>"
         "<update><radio><ssid>new</ssid></radio></update>");
    EXPECT_EQ(first_fills, 1);
    EXPECT_EQ(calls, "wlan0.ssid=new was lab; wlan1.ssid=new was guest; ");
}

TEST_F(TablesInRequest, DoNotHideWhatTheRequestInsertsAndDeletes)
{
    add("radio", "wlan1");
    eval(std::string{"<delete><radio/></delete>"} + where_load_is_5 +
         "<insert><radio name=\"wlan2\"><ssid>fresh</ssid></radio></insert>");
    EXPECT_EQ(first_fills, 1);
    EXPECT_EQ(calls, "delete wlan0; create wlan2; wlan2.ssid=fresh was null; ");
    EXPECT_EQ(count(), 2);
}

TEST_F(TablesInRequest, LeaveNoListenerBehind)
{
    eval(std::string{"<update><radio name=\"wlan0\"><ssid>new</ssid></radio></update>"} +
         where_load_is_5);
    calls.clear();
    EXPECT_EQ(vesk_instance_set_value(radio, "ssid", "later"), 0);
    eval("<update><radio name=\"wlan0\"><state>up</state></radio></update>");
    EXPECT_EQ(calls, "");
}

TEST_F(TablesInRequest, TellTheirValuesInATransactionToo)
{
    EXPECT_NE(eval("<write-transaction><select><radio><load/></radio></select></write-transaction>")
                  .find("<rc>0</rc>"),
              std::string::npos);
    EXPECT_EQ(first_fills, 1);
    EXPECT_EQ(count(), 1);
}

TEST_F(TablesInRequest, MayBeReadByARequestOfTheFillFunction)
{
    meanwhile = [] { eval("<update><radio><ssid>inner</ssid></radio></update>"); };
    eval(std::string{"<update><radio name=\"wlan0\"><ssid>new</ssid></radio></update>"} +
         where_load_is_5);
    EXPECT_NE(calls.find("wlan0.ssid=inner was lab; "), std::string::npos) << calls;
    EXPECT_NE(calls.find("wlan0.ssid=new was lab; "), std::string::npos) << calls;
}

TEST_F(TablesInRequest, MayDeleteTheInstanceThatIsRefreshed)
{
    meanwhile = [] { eval("<delete><radio/></delete>"); };
    EXPECT_NE(eval("<select><radio><load/><state/></radio></select>").find("<dataset/>"),
              std::string::npos);
    EXPECT_EQ(count(), 0);
}

} // namespace
