#include <qorn.h>

#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

namespace {

struct doc_deleter {
    void operator()(xmlDoc *doc) const { xmlFreeDoc(doc); }
};
using doc_ptr = std::unique_ptr<xmlDoc, doc_deleter>;

const xmlChar *xml(const std::string &text)
{
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

std::string escape(const std::string &value)
{
    const std::unique_ptr<char, decltype(&std::free)> text{qorn_xml_escape(value.c_str()),
                                                           &std::free};
    return text ? text.get() : "(null)";
}

std::string root_content(const doc_ptr &doc)
{
    if (!doc) return "(no document)";
    xmlChar *content = xmlNodeGetContent(xmlDocGetRootElement(doc.get()));
    std::string text{reinterpret_cast<const char *>(content)};
    xmlFree(content);
    return text;
}

std::string through_set_content(const std::string &value)
{
    const doc_ptr doc{xmlNewDoc(xml("1.0"))};
    xmlNode *root = xmlNewDocNode(doc.get(), nullptr, xml("value"), nullptr);
    xmlDocSetRootElement(doc.get(), root);
    xmlNodeSetContent(root, xml(escape(value)));
    return root_content(doc);
}

std::string through_parser(const std::string &value)
{
    const std::string text = "<value>" + escape(value) + "</value>";
    const int size = static_cast<int>(text.size());
    return root_content(doc_ptr{xmlReadMemory(text.data(), size, nullptr, "UTF-8", 0)});
}

std::string characters(char from, char to)
{
    std::string all;
    for (char character = from; character < to; character++)
        all += character;
    return all + to;
}

} // namespace

TEST(QornXmlEscape, IsNullForANullValue)
{
    EXPECT_EQ(qorn_xml_escape(nullptr), nullptr);
}

TEST(QornXmlEscape, CopiesTextWithoutSpecialCharacters)
{
    const char *plain = "br0 eth0.7 \xc3\xa4\xe2\x82\xac\n\t;#";
    EXPECT_EQ(escape(plain), plain);
    EXPECT_EQ(escape(""), "");
}

TEST(QornXmlEscape, WritesTheAmpersandAsAnEntity)
{
    EXPECT_EQ(escape("a&b"), "a&amp;b");
}

TEST(QornXmlEscape, WritesTheLessThanSignAsAnEntity)
{
    EXPECT_EQ(escape("a<b"), "a&lt;b");
}

TEST(QornXmlEscape, WritesTheGreaterThanSignAsAnEntity)
{
    EXPECT_EQ(escape("a>b"), "a&gt;b");
}

TEST(QornXmlEscape, WritesTheQuotationMarkAsAnEntity)
{
    EXPECT_EQ(escape("a\"b"), "a&quot;b");
}

TEST(QornXmlEscape, WritesTheApostropheAsAnEntity)
{
    EXPECT_EQ(escape("a'b"), "a&apos;b");
}

TEST(QornXmlEscape, WritesTheCarriageReturnAsACharacterReference)
{
    EXPECT_EQ(escape("a\r\nb"), "a&#13;\nb");
}

TEST(QornXmlEscape, EscapesEveryOccurrence)
{
    EXPECT_EQ(escape("&&<>\"'\r&"), "&amp;&amp;&lt;&gt;&quot;&apos;&#13;&amp;");
}

TEST(QornXmlEscape, EscapesTextThatIsEscapedAlready)
{
    EXPECT_EQ(escape("&amp;"), "&amp;amp;");
}

TEST(QornXmlEscape, ComesBackFromSetContentForEachAsciiCharacter)
{
    for (const char character : characters('\x01', '\x7f')) {
        const std::string value{character};
        EXPECT_EQ(through_set_content(value), value);
        EXPECT_EQ(through_set_content("a" + value + "b"), "a" + value + "b");
    }
}

TEST(QornXmlEscape, ComesBackFromSetContentForAllAsciiCharactersInOneText)
{
    const std::string all = characters('\x01', '\x7f');
    EXPECT_EQ(through_set_content(all), all);
}

TEST(QornXmlEscape, ComesBackFromSetContentForTextBeyondAscii)
{
    for (const std::string value : {"\xc3\xa4", "5 \xe2\x82\xac < 6 \xe2\x82\xac",
                                    "\xf0\x9f\x93\xa1&\xf0\x9f\x93\xa1", "\xef\xbf\xbd\xc2\x80"})
        EXPECT_EQ(through_set_content(value), value);
}

TEST(QornXmlEscape, ComesBackFromSetContentForWhiteSpace)
{
    for (const std::string value : {"", " ", "\n", "\t", "\r", "\r\n", " a\n\tb \n", "\r\r\n\na"})
        EXPECT_EQ(through_set_content(value), value);
}

TEST(QornXmlEscape, ComesBackFromSetContentForTextThatLooksLikeMarkup)
{
    for (const std::string value : {"&amp;", "&amp;amp;", "&lt", "&unknown;", "&#13;", "&#x0;", "&",
                                    "&;", "a&b;c", "<br/>", "<!--", "]]>", "%name;"})
        EXPECT_EQ(through_set_content(value), value);
}

TEST(QornXmlEscape, ComesBackFromSetContentForALongText)
{
    std::string value;
    while (value.size() < 1000000)
        value += "key=\"it's\" & <more>\r\n";
    EXPECT_TRUE(through_set_content(value) == value) << "too long to be printed";
}

TEST(QornXmlEscape, ComesBackFromTheParserAsTheTextOfAnElement)
{
    const std::string value = "\t\n\r" + characters(' ', '\x7f') + "]]>&#13;\r\n\xe2\x82\xac";
    EXPECT_EQ(through_parser(value), value);
}
