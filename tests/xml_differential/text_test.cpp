#include "base/xml_text.h"

#include <gtest/gtest.h>

#include "tests/xml_differential/seeds.h"
#include "tests/xml_differential/texts.h"
#include "tests/xml_differential/tree.h"

// What the daemon writes of a text is to the byte what libxml2 writes of it.

namespace vesk::test {
namespace {

struct written {
    std::string document;
    bool replaced = false;
};

written written_by_product(std::string_view value)
{
    written w{"<?xml version=\"1.0\"?>\n<a b=\"", false};
    w.replaced = append_attribute(w.document, value);
    w.document += "\">";
    const bool replaced_in_text = append_text(w.document, value);
    EXPECT_EQ(replaced_in_text, w.replaced);
    w.document += "</a>\n";
    return w;
}

std::string written_by_libxml2(std::string_view value)
{
    const tree document{"a"};
    tree::set_attribute(document.root(), "b", value);
    xmlAddChild(document.root(), xmlNewText(raw(readable(value))));
    return text_of(document.document());
}

void expect_read_back(const std::string &document, const std::string &value)
{
    const tree_ptr back = parsed(document);
    ASSERT_TRUE(back) << document;
    const xmlNode *root = xmlDocGetRootElement(back.get());
    ASSERT_EQ(plain(root->children ? root->children->content : nullptr), value);
    const xmlNode *attribute = root->properties->children;
    ASSERT_EQ(plain(attribute ? attribute->content : nullptr), value);
}

void expect_the_same(std::string_view value)
{
    SCOPED_TRACE("the text " + ::testing::PrintToString(value));
    const written w = written_by_product(value);
    ASSERT_EQ(w.document, written_by_libxml2(value));
    ASSERT_EQ(w.replaced, readable(value) != value);
    expect_read_back(w.document, readable(value));
}

TEST(TextAsLibxml2, RandomBytes)
{
    for_each_seed(30000, [](dice &die) { expect_the_same(random_bytes(die)); });
}

/** Whoever reads words at a time meets each special byte at each place of a word and its rest. */
TEST(TextAsLibxml2, EachByteAtEachPlaceOfShortTexts)
{
    constexpr size_t longest = 20;
    for (size_t size = 1; size <= longest; ++size)
        for (size_t at = 0; at < size; ++at)
            for (unsigned byte = 0; byte < 256; ++byte) {
                std::string value(size, 'v');
                value[at] = static_cast<char>(byte);
                expect_the_same(value);
                if (HasFailure()) return;
            }
}

constexpr std::string_view stretches[] = {"<",
                                          ">",
                                          "&",
                                          "\"",
                                          "\r",
                                          "\n",
                                          "\t",
                                          "\x1F",
                                          "\x7F",
                                          "\x80",
                                          "\xC3\xA4",
                                          "\xE2\x82\xAC",
                                          "\xF0\x9F\x98\x80",
                                          "\xC0\x80",
                                          "\xE2\x82",
                                          "\xED\xA0\x80",
                                          "\xEF\xBF\xBF"};

/** The same with whole sequences, alone, in pairs, and across the ends of longer blocks. */
TEST(TextAsLibxml2, EachSequenceAtEachPlaceOfLongerTexts)
{
    constexpr size_t longest = 70;
    for (const std::string_view sequence : stretches)
        for (size_t before = 0; before < longest; ++before)
            for (const size_t after : {0U, 1U, 7U, 8U, 9U, 31U}) {
                std::string value(before, 'v');
                expect_the_same(value.append(sequence) + std::string(after, 'v'));
                expect_the_same(value.append(sequence).append(after, 'v'));
                if (HasFailure()) return;
            }
}

} // namespace
} // namespace vesk::test
