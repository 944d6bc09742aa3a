#include "base/xml.h"

#include "tests/xml_differential/breakage.h"
#include "tests/xml_differential/random_document.h"
#include "tests/xml_differential/seeds.h"
#include "tests/xml_differential/tree.h"

// The daemon's parser, which is kept and mostly reads a text where it is, finds in it what a new
// parser of libxml2 finds in its own copy.

namespace vesk::test {
namespace {

class ParseAsLibxml2 : public ::testing::Test {
  protected:
    static std::string found_by(xmlDoc *document)
    {
        return document ? text_of(document) : "not well-formed";
    }

    void compare(const std::string &text)
    {
        SCOPED_TRACE("the text " + ::testing::PrintToString(text));
        const std::string expected = found_by(parsed(text).get());
        if (has_few_attributes(text)) {
            ASSERT_EQ(found_by(parse_xml(text, xml_source::file).get()), expected);
        }
        // What never comes to it: the evaluator looks at the limits first.
        if (!is_within_limits(text) || text.find('\0') != text.npos) return;
        if (text.find("<!DOCTYPE") != text.npos) return; // refused from clients
        ASSERT_EQ(found_by(parse_request(text.c_str()).get()), expected);
        ++(expected == "not well-formed" ? broken_ : whole_);
    }

    void expect_seen(unsigned whole, unsigned broken) const
    {
        if (only_seed() || HasFailure()) return;
        EXPECT_GE(whole_, whole);
        EXPECT_GE(broken_, broken);
    }

  private:
    unsigned whole_ = 0;
    unsigned broken_ = 0;
};

TEST_F(ParseAsLibxml2, RandomDocuments)
{
    for_each_seed(10000, [&](dice &die) {
        std::string text = random_document{die, encoding::unsaid}.text();
        compare(die.percent(40) ? broken(die, std::move(text)) : text);
    });
    expect_seen(4000, 2000);
}

TEST_F(ParseAsLibxml2, DocumentsInManyEncodings)
{
    for_each_seed(4000, [&](dice &die) {
        const encoding in = random_encoding(die);
        std::string text = encoded(random_document{die, in}.text(), in);
        compare(die.percent(20) ? broken(die, std::move(text)) : text);
    });
    expect_seen(800, 200);
}

TEST_F(ParseAsLibxml2, DocumentsCutOffAnywhere)
{
    for_each_seed(20, [&](dice &die) {
        const std::string whole = random_document{die, encoding::unsaid}.text();
        for (size_t size = 0; size < whole.size() && size < 1000 && !HasFailure(); ++size)
            compare(whole.substr(0, size));
    });
    expect_seen(0, 1000);
}

} // namespace
} // namespace vesk::test
