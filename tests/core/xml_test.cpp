#include "vesk/xml.h"

#include <gtest/gtest.h>
#include <libxml/tree.h>

#include "base/xml.h"

namespace {

/** A document and its root element. */
class xml_test : public ::testing::Test {
  protected:
    xmlNode *root(const char *text)
    {
        document = vesk::parse_xml(text, vesk::xml_source::file);
        EXPECT_TRUE(document) << text;
        return xmlDocGetRootElement(document.get());
    }

    const char *list_string(const xmlNode *list, int in_line = 1) const
    {
        return reinterpret_cast<const char *>(
            vesk_util_xmlNodeListGetString(document.get(), list, in_line));
    }

    static const char *prop(const xmlNode *node, const char *name)
    {
        return reinterpret_cast<const char *>(vesk_util_xmlGetProp(node, name));
    }

    vesk::xml_doc document;
};

using UtilXmlNodeListGetString = xml_test;
using UtilXmlGetProp = xml_test;

TEST_F(UtilXmlNodeListGetString, GivesTheTextOfTheFirstNode)
{
    EXPECT_STREQ(list_string(root("<ssid>guest</ssid>")->children), "guest");
}

TEST_F(UtilXmlNodeListGetString, GivesTheContentOfCdata)
{
    EXPECT_STREQ(list_string(root("<ssid><![CDATA[a<b&c]]></ssid>")->children), "a<b&c");
}

TEST_F(UtilXmlNodeListGetString, PointsIntoTheTree)
{
    const xmlNode *text = root("<ssid>guest</ssid>")->children;
    EXPECT_EQ(vesk_util_xmlNodeListGetString(document.get(), text, 1), text->content);
}

TEST_F(UtilXmlNodeListGetString, GivesNullForANullList)
{
    EXPECT_EQ(list_string(nullptr), nullptr);
    EXPECT_EQ(list_string(root("<ssid/>")->children), nullptr);
}

TEST_F(UtilXmlNodeListGetString, GivesNullWhenAnElementComesBeforeTheText)
{
    EXPECT_EQ(list_string(root("<ssid><b/>guest</ssid>")->children), nullptr);
}

TEST_F(UtilXmlNodeListGetString, GivesNullWhenACommentComesBeforeTheText)
{
    EXPECT_EQ(list_string(root("<ssid><!-- no -->guest</ssid>")->children), nullptr);
}

TEST_F(UtilXmlNodeListGetString, LooksAtTheFirstNodeOnly)
{
    EXPECT_STREQ(list_string(root("<ssid>guest<b/>house</ssid>")->children), "guest");
    EXPECT_STREQ(list_string(root("<ssid>guest<![CDATA[house]]></ssid>")->children), "guest");
}

TEST_F(UtilXmlNodeListGetString, GivesNullForEveryListWhenNotInLine)
{
    EXPECT_EQ(list_string(root("<ssid>guest</ssid>")->children, 0), nullptr);
    EXPECT_EQ(list_string(root("<ssid><![CDATA[guest]]></ssid>")->children, 0), nullptr);
    EXPECT_EQ(list_string(root("<ssid><b/></ssid>")->children, 0), nullptr);
    EXPECT_EQ(list_string(nullptr, 0), nullptr);
}

TEST_F(UtilXmlNodeListGetString, TakesAnyNumberButZeroAsInLine)
{
    EXPECT_STREQ(list_string(root("<ssid>guest</ssid>")->children, -1), "guest");
    EXPECT_STREQ(list_string(document->children->children, 2), "guest");
}

TEST_F(UtilXmlNodeListGetString, NeedsNoDocument)
{
    const xmlNode *text = root("<ssid>guest</ssid>")->children;
    EXPECT_EQ(vesk_util_xmlNodeListGetString(nullptr, text, 1), text->content);
}

TEST_F(UtilXmlGetProp, GivesTheValue)
{
    EXPECT_STREQ(prop(root("<i class='radio' name='r0'/>"), "name"), "r0");
}

TEST_F(UtilXmlGetProp, GivesTheValueWithItsReferencesResolved)
{
    EXPECT_STREQ(prop(root("<i name='a&lt;b&#65;'/>"), "name"), "a<bA");
}

TEST_F(UtilXmlGetProp, PointsIntoTheTree)
{
    const xmlNode *node = root("<i name='r0'/>");
    EXPECT_EQ(vesk_util_xmlGetProp(node, "name"), node->properties->children->content);
}

TEST_F(UtilXmlGetProp, GivesTheEmptyStringForAnEmptyAttribute)
{
    EXPECT_STREQ(prop(root("<i name=''/>"), "name"), "");
}

TEST_F(UtilXmlGetProp, GivesTheEmptyStringForAnAttributeWithoutContent)
{
    xmlNode *node = root("<i/>");
    xmlNewProp(node, reinterpret_cast<const xmlChar *>("name"), nullptr);
    EXPECT_STREQ(prop(node, "name"), "");
}

TEST_F(UtilXmlGetProp, GivesTheEmptyStringForAnAttributeThatBeginsWithAnEntity)
{
    const xmlNode *node = root("<!DOCTYPE i [<!ENTITY e 'x'>]><i name='&e;y'/>");
    EXPECT_STREQ(prop(node, "name"), "");
}

TEST_F(UtilXmlGetProp, GivesNullForAnAbsentAttribute)
{
    EXPECT_EQ(prop(root("<i class='radio'/>"), "name"), nullptr);
    EXPECT_EQ(prop(root("<i/>"), "name"), nullptr);
}

TEST_F(UtilXmlGetProp, TellsNamesApartByCase)
{
    EXPECT_EQ(prop(root("<i Name='r0' names='r1' nam='r2'/>"), "name"), nullptr);
}

TEST_F(UtilXmlGetProp, TakesTheFirstOfThatName)
{
    EXPECT_STREQ(prop(root("<i xmlns:x='urn:x' x:name='first' name='second'/>"), "name"), "first");
}

TEST_F(UtilXmlGetProp, GivesNullForANullNodeOrName)
{
    EXPECT_EQ(prop(nullptr, "name"), nullptr);
    EXPECT_EQ(prop(root("<i name='r0'/>"), nullptr), nullptr);
    EXPECT_EQ(prop(nullptr, nullptr), nullptr);
}

TEST_F(UtilXmlGetProp, GivesNullForWhatIsNoElement)
{
    const xmlNode *node = root("<i name='r0'>text<!-- name --></i>");
    EXPECT_EQ(prop(node->children, "name"), nullptr);
    EXPECT_EQ(prop(node->children->next, "name"), nullptr);
    EXPECT_EQ(prop(reinterpret_cast<const xmlNode *>(document.get()), "name"), nullptr);
}

} // namespace
