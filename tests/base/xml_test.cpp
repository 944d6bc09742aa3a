#include "base/xml.h"
#include "base/xml_text.h"

#include <chrono>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

namespace vesk {
namespace {

constexpr const char *replacement = "\xEF\xBF\xBD";

const xmlChar *raw(const std::string &text)
{
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

void append_utf8(std::string &out, unsigned c)
{
    const auto byte = [&](unsigned value) { out += static_cast<char>(value); };
    if (c < 0x80) {
        byte(c);
    } else if (c < 0x800) {
        byte(0xC0 | c >> 6);
        byte(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        byte(0xE0 | c >> 12);
        byte(0x80 | (c >> 6 & 0x3F));
        byte(0x80 | (c & 0x3F));
    } else {
        byte(0xF0 | c >> 18);
        byte(0x80 | (c >> 12 & 0x3F));
        byte(0x80 | (c >> 6 & 0x3F));
        byte(0x80 | (c & 0x3F));
    }
}

/** Strings of characters that XML can hold, the special ones more often than by chance. */
class random_text {
  public:
    std::string operator()()
    {
        std::string text;
        for (size_t left = pick(0, 12); left > 0; --left)
            append_utf8(text, character());
        return text;
    }

  private:
    unsigned pick(unsigned low, unsigned high)
    {
        return std::uniform_int_distribution<unsigned>{low, high}(engine_);
    }

    unsigned character()
    {
        constexpr unsigned edges[] = {'<',    '>',     '&',  '"',    '\'',    '\t',   '\n',
                                      '\r',   ' ',     0x7F, 0x80,   0x85,    0xA0,   0x7FF,
                                      0x800,  0x2028,  ']',  0xD7FF, 0xE000,  0xFEFF, 0xFFFC,
                                      0xFFFD, 0x10000, ';',  0x23,   0x10FFFF};
        switch (pick(0, 5)) {
        case 0:
        case 1:
            return edges[pick(0, std::size(edges) - 1)];
        case 2:
            return pick(0x20, 0x7E);
        case 3:
            return pick(0x80, 0x7FF);
        case 4:
            return pick(0, 1) ? pick(0x800, 0xD7FF) : pick(0xE000, 0xFFFD);
        default:
            return pick(0x10000, 0x10FFFF);
        }
    }

    std::mt19937 engine_{20240501};
};

std::string dumped(xmlDoc &document)
{
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpMemory(&document, &text, &length);
    const std::string result{reinterpret_cast<char *>(text), static_cast<size_t>(length)};
    xmlFree(text);
    return result;
}

/** The document of libxml2 with value as an attribute and as the text of its element. */
std::string written_by_libxml2(const std::string &value)
{
    const xml_doc document{xmlNewDoc(raw("1.0"))};
    xmlNode *root = xmlNewDocNode(document.get(), nullptr, raw("a"), nullptr);
    xmlDocSetRootElement(document.get(), root);
    xmlSetProp(root, raw("b"), raw(value));
    xmlAddChild(root, xmlNewText(raw(value)));
    return dumped(*document);
}

std::string text_form(std::string_view value)
{
    std::string out;
    append_text(out, value);
    return out;
}

std::string attribute_form(std::string_view value)
{
    std::string out;
    append_attribute(out, value);
    return out;
}

std::string document_with(std::string_view value)
{
    return "<?xml version=\"1.0\"?>\n<a b=\"" + attribute_form(value) + "\">" + text_form(value) +
           "</a>\n";
}

TEST(AppendText, WritesWhatLibxml2WritesAndReadsBack)
{
    constexpr int count = 120000;
    random_text next;
    for (int i = 0; i < count; ++i) {
        const std::string value = next();
        const std::string document = document_with(value);
        ASSERT_EQ(document, written_by_libxml2(value)) << "string " << i;
        ASSERT_EQ(readable_back(value), value) << "string " << i;
        const xml_doc back = parse_xml(document, xml_source::client);
        ASSERT_TRUE(back) << document;
        const xmlNode *element = xmlDocGetRootElement(back.get());
        const char *text = content_of(element);
        ASSERT_EQ(text ? text : "", value) << "string " << i;
        ASSERT_EQ(attribute_of(element, "b"), value) << "string " << i;
    }
}

TEST(AppendText, AppendsAndSaysThatNothingWasReplaced)
{
    std::string out = "before ";
    EXPECT_FALSE(append_text(out, "a < b"));
    EXPECT_FALSE(append_attribute(out, " \"c\""));
    EXPECT_EQ(out, "before a &lt; b &quot;c&quot;");
}

struct replaced {
    std::string_view bytes;
    int times; // a replacement character stands for so much of it
};

constexpr replaced unreadable[] = {
    {std::string_view{"\0", 1}, 1}, // no XML character
    {"\x01", 1},
    {"\x0B", 1},
    {"\x1F", 1},
    {"\xFF", 1}, // no UTF-8
    {"\xFE\xFF", 2},
    {"\x80", 1},
    {"\xC3", 1},             // cut off
    {"\xE2\x82", 2},         // the same
    {"\xF0\x9F\x98", 3},     // the same
    {"\xC0\x80", 2},         // longer than need be
    {"\xE0\x80\xAF", 3},     // the same
    {"\xF0\x80\x80\xAF", 4}, // the same
    {"\xF4\x90\x80\x80", 1}, // above U+10FFFF
    {"\xF5\x80\x80\x80", 4},
    {"\xED\xA0\x80", 1}, // half of a pair
    {"\xEF\xBF\xBE", 1}, // U+FFFE
    {"\xEF\xBF\xBF", 1},
};

TEST(AppendText, ReplacesWhatXmlCannotHold)
{
    for (const auto &[bytes, times] : unreadable) {
        std::string text, reference;
        for (int i = 0; i < times; ++i) {
            text += replacement;
            reference += "&#xFFFD;";
        }
        const std::string value = "a" + std::string{bytes} + "z";
        std::string out;
        EXPECT_TRUE(append_text(out, value)) << testing::PrintToString(bytes);
        EXPECT_EQ(out, "a" + reference + "z") << testing::PrintToString(bytes);
        out.clear();
        EXPECT_TRUE(append_attribute(out, value));
        EXPECT_EQ(out, "a" + reference + "z");
        EXPECT_EQ(readable_back(value), "a" + text + "z");
    }
}

TEST(AppendText, MakesAnyBytesReadable)
{
    std::mt19937 engine{7};
    std::uniform_int_distribution<int> byte{0, 255};
    for (int i = 0; i < 20000; ++i) {
        std::string value;
        for (int left = byte(engine) % 12; left > 0; --left)
            value += static_cast<char>(byte(engine));
        const xml_doc back = parse_xml(document_with(value), xml_source::client);
        ASSERT_TRUE(back) << testing::PrintToString(value);
        const xmlNode *element = xmlDocGetRootElement(back.get());
        const char *text = content_of(element);
        ASSERT_EQ(text ? text : "", readable_back(value)) << testing::PrintToString(value);
        ASSERT_EQ(attribute_of(element, "b"), readable_back(value));
        ASSERT_EQ(readable_back(readable_back(value)), readable_back(value));
    }
}

std::string tag_with_attributes(unsigned count, char quote = '"')
{
    std::string tag = "<b";
    for (unsigned i = 0; i < count; ++i)
        tag += " a" + std::to_string(i) + "=" + quote + "x>y" + quote;
    return tag + "/>";
}

TEST(HasFewAttributes, AllowsSixtyFourInOneTag)
{
    for (const char quote : {'"', '\''}) {
        EXPECT_TRUE(has_few_attributes(tag_with_attributes(64, quote)));
        EXPECT_FALSE(has_few_attributes(tag_with_attributes(65, quote)));
    }
    EXPECT_TRUE(parse_xml(tag_with_attributes(64), xml_source::client));
    EXPECT_FALSE(parse_xml(tag_with_attributes(65), xml_source::client));
    EXPECT_FALSE(parse_xml(tag_with_attributes(65), xml_source::file));
}

TEST(HasFewAttributes, CountsEachTagByItself)
{
    const std::string tag = tag_with_attributes(64);
    EXPECT_TRUE(has_few_attributes("<a>" + tag + tag + "</a>"));
    EXPECT_FALSE(has_few_attributes("<a>" + tag + tag_with_attributes(65) + "</a>"));
}

TEST(HasFewAttributes, DoesNotCountWhatIsNoTag)
{
    const std::string tag = tag_with_attributes(65);
    for (const std::string &text :
         {"<a><!-- " + tag + " --></a>", "<a><![CDATA[" + tag + "]]></a>",
          "<a><?x " + tag + "?></a>", "<a>" + std::string(200, '"') + "</a>"}) {
        EXPECT_TRUE(has_few_attributes(text)) << text;
        EXPECT_TRUE(parse_xml(text, xml_source::client)) << text;
    }
    EXPECT_FALSE(has_few_attributes("<a><!-- x -->" + tag + "</a>"));
    EXPECT_FALSE(has_few_attributes("<a><![CDATA[x]]>" + tag + "</a>"));
    EXPECT_FALSE(has_few_attributes("<a><?x y?>" + tag + "</a>"));
}

TEST(HasFewAttributes, LooksIntoNoQuotes)
{
    EXPECT_TRUE(has_few_attributes("<a b='" + std::string(200, '"') + "'/>"));
    EXPECT_FALSE(has_few_attributes("<a b='>' " + tag_with_attributes(64).substr(3)));
}

TEST(HasFewAttributes, LeavesWhatIsNotWellFormedToTheParser)
{
    for (const char *text : {"", "<", "<a", "<a b=\"", "<!--", "<![CDATA[", "<?", "a"}) {
        EXPECT_TRUE(has_few_attributes(text)) << text;
        EXPECT_FALSE(parse_xml(text, xml_source::client)) << text;
    }
}

TEST(ParseXml, RefusesADtdWhereItIsTold)
{
    for (const char *text :
         {"<!DOCTYPE a><a/>", "<!DOCTYPE a SYSTEM \"file:///etc/passwd\"><a/>",
          "<!DOCTYPE a PUBLIC \"b\" \"http://127.0.0.1/x\"><a/>",
          "<!DOCTYPE a [<!ENTITY b \"c\">]><a>&b;</a>",
          "<!DOCTYPE a [<!ATTLIST a d CDATA \"e\">]><a/>", "<!DOCTYPE a []><a/>"}) {
        EXPECT_FALSE(parse_xml(text, xml_source::client)) << text;
        EXPECT_TRUE(parse_xml(text, xml_source::file)) << text;
    }
}

/** Entities of which each stands for ten of the one before. */
std::string bomb(int depth, const std::string &use)
{
    std::string text = "<!DOCTYPE a [<!ENTITY e0 \"0123456789\">";
    for (int i = 1; i < depth; ++i) {
        text += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j)
            text += "&e" + std::to_string(i - 1) + ";";
        text += "\">";
    }
    const std::string last = "&e" + std::to_string(depth - 1) + ";";
    return text + "]>" + (use == "text" ? "<a>" + last + "</a>" : "<a b=\"" + last + "\"/>");
}

TEST(ParseXml, MakesShortWorkOfEntityBombs)
{
    for (const char *use : {"text", "attribute"})
        for (const xml_source policy : {xml_source::client, xml_source::file}) {
            const auto start = std::chrono::steady_clock::now();
            const xml_doc document = parse_xml(bomb(12, use), policy);
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{1}) << use;
            if (policy == xml_source::client) {
                EXPECT_FALSE(document) << use;
            }
            const char *text =
                document ? content_of(xmlDocGetRootElement(document.get())) : nullptr;
            EXPECT_LT(text ? std::strlen(text) : 0, 1000U);
        }
}

TEST(ParseXml, RefusesWhatIsNotWellFormed)
{
    for (const char *text : {"<a>", "<a></b>", "<a b=c/>", "<a b='1' b='2'/>", "<a/><b/>",
                             "<a>&x;</a>", "<a>\x01</a>", "<a>\xFF</a>", "text"})
        EXPECT_FALSE(parse_xml(text, xml_source::client)) << text;
}

class Element : public ::testing::Test {
  protected:
    const xmlNode *root(const char *text)
    {
        document_ = parse_xml(text, xml_source::file);
        return xmlDocGetRootElement(document_.get());
    }

  private:
    xml_doc document_;
};

TEST_F(Element, ContentIsThatOfTheFirstNodeWhenItIsText)
{
    EXPECT_STREQ(content_of(root("<a>b</a>")), "b");
    EXPECT_STREQ(content_of(root("<a><![CDATA[<b>]]></a>")), "<b>");
    EXPECT_STREQ(content_of(root("<a>b<c/>d</a>")), "b");
    EXPECT_STREQ(content_of(root("<a>b<![CDATA[c]]></a>")), "b");
    EXPECT_STREQ(content_of(root("<a>b<!-- c -->d</a>")), "b");
    EXPECT_STREQ(content_of(root("<a>b &amp; &#99;</a>")), "b & c");
    EXPECT_STREQ(content_of(root("<a> </a>")), " ");
}

TEST_F(Element, HasNoContentWhenTheFirstNodeIsNoText)
{
    EXPECT_EQ(content_of(root("<a/>")), nullptr);
    EXPECT_EQ(content_of(root("<a></a>")), nullptr);
    EXPECT_EQ(content_of(root("<a><b/>c</a>")), nullptr);
    EXPECT_EQ(content_of(root("<a><!-- b -->c</a>")), nullptr);
    EXPECT_EQ(content_of(root("<a><?b?>c</a>")), nullptr);
    EXPECT_EQ(content_of(root("<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>")), nullptr);
    EXPECT_EQ(content_of(nullptr), nullptr);
    EXPECT_EQ(content_of(root("<a>b</a>")->children), nullptr) << "a text is no element";
}

TEST_F(Element, AttributeIsEmptyOrMissing)
{
    EXPECT_STREQ(attribute_of(root("<a b='c'/>"), "b"), "c");
    EXPECT_STREQ(attribute_of(root("<a b=''/>"), "b"), "");
    EXPECT_EQ(attribute_of(root("<a b='c'/>"), "d"), nullptr);
    EXPECT_EQ(attribute_of(root("<a><b c='d'/></a>"), "c"), nullptr);
    EXPECT_EQ(attribute_of(nullptr, "b"), nullptr);
    EXPECT_EQ(attribute_of(root("<a>b</a>")->children, "b"), nullptr);
}

TEST_F(Element, AttributeIsItsFirstText)
{
    EXPECT_STREQ(attribute_of(root("<a b='c &amp; d'/>"), "b"), "c & d");
    const char *declared = "<!DOCTYPE a [<!ENTITY e 'x'>]><a b='c&e;d' f='&e;'/>";
    EXPECT_STREQ(attribute_of(root(declared), "b"), "c");
    EXPECT_STREQ(attribute_of(root(declared), "f"), "");
}

TEST_F(Element, TextIsThatOfTextAndCdataOnly)
{
    const xmlNode *node = root("<a>b<![CDATA[c]]><d/><!-- e --></a>")->children;
    EXPECT_STREQ(text_of(node), "b");
    EXPECT_STREQ(text_of(node->next), "c");
    EXPECT_EQ(text_of(node->next->next), nullptr);
    EXPECT_EQ(text_of(node->next->next->next), nullptr);
    EXPECT_EQ(text_of(nullptr), nullptr);
}

TEST_F(Element, EveryNodeHasAName)
{
    const xmlNode *node = root("<a>b<![CDATA[c]]><d/><!-- e --></a>")->children;
    EXPECT_STREQ(name_of(node), "text");
    EXPECT_STREQ(name_of(node->next), "#cdata-section");
    EXPECT_STREQ(name_of(node->next->next), "d");
    EXPECT_STREQ(name_of(node->next->next->next), "comment");
    EXPECT_FALSE(is_element(node));
    EXPECT_FALSE(is_element(node->next));
    EXPECT_TRUE(is_element(node->next->next));
    EXPECT_FALSE(is_element(nullptr));
}

} // namespace
} // namespace vesk
