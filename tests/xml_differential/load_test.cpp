#include <array>
#include <cstdio>
#include <map>

#include "config/save.h"
#include "tests/xml_differential/breakage.h"
#include "tests/xml_differential/load_fixture.h"
#include "tests/xml_differential/random_configuration.h"
#include "tests/xml_differential/random_document.h"
#include "tests/xml_differential/seeds.h"
#include "vesk/config.h"

// Loading does what the plainest loader does, whatever the document. The document in the file that
// VESK_DOCUMENT names is compared alone by LoadAsReference.TheDocumentOfTheEnvironment.

namespace vesk::test {
namespace {

class LoadAsReference : public load_fixture {
  protected:
    void compare(const std::string &document)
    {
        const loading done = expect_the_same(document);
        count(done.kept == "missing" ? "loaded" : "refused");
        if (done.commits.find("commit") == done.commits.npos) count("nothing at all loaded");
        for (const char *message : messages)
            if (done.log.find(message) != done.log.npos) count(message);
    }

    void count(const std::string &what) { ++seen_[what]; }

    /** That documents of a kind came often enough, unless one is repeated alone. */
    void expect_seen(const char *what, unsigned times)
    {
        if (!only_seed() && !HasFailure()) {
            EXPECT_GE(seen_[what], times) << what;
        }
    }

    void expect_every_message(unsigned times)
    {
        for (const char *message : messages)
            expect_seen(message, times);
    }

    static constexpr std::array messages = {
        "Instance has an unknown class",
        "does not contain a subclass identifier property",
        "has a null value",
        "value is an unknown class",
        "which is not a subclass of",
        "Bad instance name",
        "is not valid for property",
        "is not valid for class",
        "Instance is invalid",
        "Couldn't add instance",
    };

  private:
    std::map<std::string, unsigned> seen_;
};

TEST_F(LoadAsReference, RandomDocuments)
{
    for_each_seed(14000, [&](dice &die) {
        level_ = die.percent(80) ? 1 : die.percent(70) ? 0 : 5;
        compare(random_document{die, encoding::unsaid}.text());
    });
    expect_seen("loaded", 12000);
    expect_every_message(300);
}

TEST_F(LoadAsReference, BrokenDocuments)
{
    for_each_seed(9000, [&](dice &die) {
        level_ = die.percent(80) ? 1 : 0;
        behind_.rescue_file.reset();
        if (die.percent(80)) behind_.rescue_file = random_document{die, encoding::unsaid}.text();
        compare(broken(die, random_document{die, encoding::unsaid}.text()));
    });
    expect_seen("refused", 6000);
    expect_seen("nothing at all loaded", 1000);
}

TEST_F(LoadAsReference, DocumentsInManyEncodings)
{
    for_each_seed(7000, [&](dice &die) {
        const encoding in = random_encoding(die);
        std::string document = encoded(random_document{die, in}.text(), in);
        if (die.percent(25)) document = broken(die, std::move(document));
        compare(document);
    });
    expect_seen("loaded", 3000);
    expect_seen("refused", 1500);
}

/** A reader by pieces meets their ends at any place in such, and a fault long after the start. */
TEST_F(LoadAsReference, LongDocuments)
{
    for_each_seed(200, [&](dice &die) {
        const encoding in = die.percent(70) ? encoding::unsaid : random_encoding(die);
        const std::string text = random_document{die, in}.text(die.between(50, 500));
        const std::string document = encoded(text, in);
        compare(die.percent(40) ? broken(die, document) : document);
    });
    expect_seen("loaded", 60);
    expect_seen("refused", 60);
}

/** The same document cut off behind each of its bytes. */
TEST_F(LoadAsReference, DocumentsCutOffAnywhere)
{
    for_each_seed(6, [&](dice &die) {
        const std::string whole = random_document{die, encoding::unsaid}.text();
        for (size_t size = 0; size < whole.size() && size < 1000; ++size) {
            compare(whole.substr(0, size));
            if (HasFailure()) return;
        }
    });
    expect_seen("refused", 1000);
}

/** What the daemon saved itself, which is loaded at nearly every start. */
TEST_F(LoadAsReference, SavedConfigurations)
{
    for_each_seed(3000, [&](dice &die) { compare(config_text(random_configuration{die}.all())); });
    expect_seen("loaded", 3000);
}

/** Here it is really unpacked, which takes a program. */
TEST_F(LoadAsReference, BrokenDocumentsBeforeADefaultImage)
{
    level_ = 0;
    for_each_seed(30, [&](dice &die) {
        random_configuration configuration{die};
        behind_.default_body = config_text(configuration.all());
        vesk_config_replace_running(configuration.release());
        ASSERT_EQ(vesk_config_copy_running_to_default(), 0) << logged();
        compare(broken(die, random_document{die, encoding::unsaid}.text()));
    });
    expect_seen("refused", 15);
}

/** Nothing but these lines, and nothing of the file, when the last byte is missing. */
TEST_F(LoadAsReference, NothingIsReportedOfADocumentThatBreaksAtItsEnd)
{
    behind_.rescue_file = "<config/>";
    const std::string start = "<config><user><login>bad</login><nothing/></user><modem/>"
                              "<radio/><system><contact>x</contact></system>";
    for (const char *end : {"", "<", "</config", "</Config>", "</config>x", "</config><config/>",
                            "&nothing;</config>", "\x01</config>"}) {
        const loading done = expect_the_same(start + end);
        EXPECT_EQ(done.log, "vesk: Config not parsed successfully.\n"
                            "vesk: Unable to parse startup config - resetting to default.\n"
                            "vesk: Default file " +
                                image_ + " does not exist.\n")
            << end;
        EXPECT_EQ(done.questions, "") << end;
        EXPECT_EQ(done.running.find("contact"), std::string::npos) << end;
    }
}

std::string repeated(std::string_view text, size_t times)
{
    std::string all;
    for (size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

std::string nested(size_t depth)
{
    return "<config><user><login>" + repeated("<a>", depth) + repeated("</a>", depth) +
           "</login></user><ledger><owner>x</owner></ledger></config>";
}

std::string attributes(size_t count)
{
    std::string all;
    for (size_t i = 0; i < count; ++i)
        all.append(" a").append(std::to_string(i)).append("='").append(i % 3, '>').append("'");
    return all;
}

std::string with_names(const std::string &name)
{
    return "<config><" + name + "/><user " + name + "='1'><" + name + ">x</" + name +
           "><login>y</login></user></config>";
}

/** A name and a value with something special between two long stretches. */
std::string with_values(std::string_view special, size_t length)
{
    const std::string before(length, 'v'), after(length, 'w');
    std::string text = "<config><radio name='";
    text.append(before).append(special[0] == '<' ? "" : special).append(after).append("'><ssid>");
    text.append(before).append(special).append(after).append("</ssid></radio></config>");
    return text;
}

/** Where the parser's own limits lie, and the ends of its buffers. */
TEST_F(LoadAsReference, DocumentsAtTheLimits)
{
    for (const size_t depth : {1U, 250U, 253U, 254U, 255U, 256U, 257U, 1000U})
        compare(nested(depth));
    for (const size_t count : {62U, 63U, 64U, 65U, 66U, 200U}) {
        const std::string many = attributes(count);
        compare("<config><radio name='x'/><radio name=\"y\"" + many + "/></config>");
        compare("<config" + many + "><radio name='x'/></config>");
    }
    for (const size_t length : {1U, 299U, 300U, 301U, 599U, 1000U, 4095U, 49999U, 50000U, 50001U}) {
        compare(with_names(std::string(length, 'n')));
        for (const std::string_view special :
             {"&amp;", "&#38;", "\xC3\xA4", "<!---->", "\r\n", "]]&gt;", "<![CDATA[<]]>"})
            compare(with_values(special, length));
        compare(with_values("<![CDATA[" + repeated("<]", length) + "]]>", length));
    }
}

TEST_F(LoadAsReference, TheDocumentOfTheEnvironment)
{
    const char *path = std::getenv("VESK_DOCUMENT");
    compare(path ? content_of_file(path) : "<config/>");
}

} // namespace
} // namespace vesk::test
