#include "clients/answer.h"

#include <gtest/gtest.h>

#include "clients/failure.h"

namespace {

using namespace vesk::client;

const std::string whole =
    "<?xml version=\"1.0\"?>\n<lsql_result><dataset><radio name=\"r&quot;0\"><ssid>caf&#xE9; &amp;"
    "</ssid><mode/></radio><radio/></dataset><rc>0</rc><counter>2</counter><error>no "
    "&lt;x&gt;</error>"
    "<rc>1</rc><counter>0</counter></lsql_result>\n";

status ended(const std::string &text)
{
    try {
        parse_answer(text);
    } catch (const failure &why) {
        return why.result;
    }
    return status::done;
}

TEST(ParseAnswer, ReadsEachOperation)
{
    const answer read = parse_answer(whole);
    ASSERT_EQ(read.outcomes.size(), 2U);
    ASSERT_EQ(read.outcomes[0].instances.size(), 2U);
    const instance &radio = read.outcomes[0].instances[0];
    EXPECT_STREQ(radio.class_name, "radio");
    EXPECT_STREQ(radio.name, "r\"0");
    EXPECT_STREQ(radio.value("ssid"), "caf\u00e9 &");
    EXPECT_STREQ(radio.value("mode"), "");
    EXPECT_STREQ(radio.value("none"), "");
    EXPECT_EQ(radio.fields.size(), 2U);
    EXPECT_EQ(read.outcomes[0].instances[1].name, nullptr);
    EXPECT_EQ(read.outcomes[0].touched, 2U);
    ASSERT_EQ(read.outcomes[1].errors.size(), 1U);
    EXPECT_STREQ(read.outcomes[1].errors[0], "no <x>");
    EXPECT_TRUE(read.has_errors());
}

TEST(ParseAnswer, RefusesEveryPartOfAnAnswer)
{
    for (size_t length = 0; length + 1 < whole.size(); ++length)
        EXPECT_EQ(ended(whole.substr(0, length)), status::unreachable) << length;
    EXPECT_EQ(ended(whole), status::done);
}

TEST(ParseAnswer, RefusesWhatIsNoAnswer)
{
    EXPECT_EQ(ended("<config/>"), status::refused);
}

TEST(FaultOfXml, SaysWhatIsWrongAndWhere)
{
    EXPECT_EQ(fault_of_xml(whole), "");
    EXPECT_TRUE(fault_of_xml("<a>\n<b></a>").starts_with("line 2: "));
    EXPECT_NE(fault_of_xml(""), "");
    EXPECT_NE(fault_of_xml("<a>\x01</a>"), "");
}

} // namespace
