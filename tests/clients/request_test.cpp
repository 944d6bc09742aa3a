#include "clients/request.h"

#include <gtest/gtest.h>

#include "clients/failure.h"

namespace {

using namespace vesk::client;

template <typename Work> std::string complaint(Work &&work)
{
    try {
        work();
    } catch (const failure &why) {
        EXPECT_EQ(why.result, status::usage);
        return why.message;
    }
    return "none";
}

TEST(Request, NamesWhoAsks)
{
    EXPECT_EQ(request("<a/>", ""), "<lsql><a/></lsql>");
    EXPECT_EQ(request("", "x\"<\n"), "<lsql origin=\"x&quot;&lt;&#10;\"></lsql>");
}

TEST(Request, HoldsOperations)
{
    EXPECT_EQ(select({"radio", {}, ""}, {"ssid", "mode"}),
              "<select><radio><ssid/><mode/></radio></select>");
    EXPECT_EQ(
        select_all({"radio", "r\"0", "<x/>"}),
        "<select><radio name=\"r&quot;0\" properties=\"all\"></radio></select><where><x/></where>");
    EXPECT_EQ(update({"radio", "", ""}, {{"ssid", "a<b"}, {"note", ""}}),
              "<update><radio name=\"\"><ssid>a&lt;b</ssid><note/></radio></update>");
    EXPECT_EQ(remove({"radio", {}, ""}), "<delete><radio></radio></delete>");
    EXPECT_EQ(insert({"radio", "r1", ""}, {{"ssid", "caf\u00e9\r"}}),
              "<insert><radio name=\"r1\"><ssid>caf&#xE9;&#xD;</ssid></radio></insert>");
    EXPECT_EQ(expect_class("radio"), "<update><radio></radio></update><where><value/></where>");
    EXPECT_EQ(in_transaction("<a/>"), "<write-transaction><a/></write-transaction>");
}

TEST(Request, RefusesWhatXmlCannotHold)
{
    EXPECT_EQ(complaint([] {
                  select({"a b", {}, ""}, {});
              }),
              "\"a b\" cannot be the name of a class");
    EXPECT_EQ(complaint([] { select({"", {}, ""}, {}); }), "\"\" cannot be the name of a class");
    EXPECT_EQ(complaint([] {
                  select({"a", {}, ""}, {"<"});
              }),
              "\"<\" cannot be the name of a property");
    EXPECT_EQ(complaint([] {
                  update({"a", {}, ""}, {{"1", ""}});
              }),
              "\"1\" cannot be the name of a property");
    EXPECT_EQ(complaint([] {
                  update({"a", {}, ""}, {{"b\xff", ""}});
              }),
              "\"b\\xff\" cannot be the name of a property");
    EXPECT_EQ(complaint([] {
                  update({"a", {}, ""}, {{std::string{"b\0c", 3}, ""}});
              }),
              "\"b\\x00c\" cannot be the name of a property");
    EXPECT_EQ(complaint([] {
                  update({"a", {}, ""}, {{"b", "\x1b"}});
              }),
              "no value can hold this: \\x1b");
    EXPECT_EQ(complaint([] { select({"a", "\xff", ""}, {}); }), "no name can hold this: \\xff");
    EXPECT_EQ(complaint([] { request("", "\x02"); }), "no origin can hold this: \\x02");
}

} // namespace
