#include "config/save.h"

#include "tests/support/text_source.h"
#include "tests/xml_differential/mutations.h"
#include "tests/xml_differential/random_configuration.h"
#include "tests/xml_differential/seeds.h"
#include "vesk/config.h"

// What is saved is to the byte what libxml2 would save, is accepted by saving's own check, as
// nothing else is, and loads as what it was.

namespace vesk::test {
namespace {

bool holds(const std::string &text, const vesk_instances &all)
{
    text_source file{text};
    return holds_config(file, all);
}

class SaveAsLibxml2 : public house {
  protected:
    /** As xmlSaveFormatFile() writes it. */
    std::string file_of_libxml2(const tree &document) const
    {
        const std::string path = folder_ + "/libxml2.xml";
        EXPECT_GT(xmlSaveFormatFile(path.c_str(), document.document(), 1), 0);
        return content_of_file(path);
    }
};

TEST_F(SaveAsLibxml2, RandomConfigurations)
{
    for_each_seed(8000, [&](dice &die) {
        const random_configuration configuration{die};
        const tree reference = configuration.saved();
        const std::string text = config_text(configuration.all());
        ASSERT_EQ(text, indented_text_of(reference.document()));
        ASSERT_TRUE(holds(text, configuration.all())) << text;
    });
}

TEST_F(SaveAsLibxml2, FilesOfRandomConfigurationsLoadAsWhatTheyWere)
{
    for_each_seed(2500, [&](dice &die) {
        random_configuration configuration{die};
        ASSERT_TRUE(save_config(startup_.c_str(), configuration.all()));
        const std::string saved = content_of_file(startup_);
        ASSERT_EQ(saved, file_of_libxml2(configuration.saved()));

        log_capture log;
        ASSERT_EQ(vesk_config_copy_startup_to_running(), 0) << saved;
        ASSERT_EQ(log.take(), "") << saved;
        ASSERT_EQ(printed_collection(vesk_config_get_running()),
                  printed_collection(configuration.loaded_back().get()))
            << saved;
    });
}

/** A file that was changed by a single thing is not what was to be saved. */
TEST_F(SaveAsLibxml2, CheckRefusesEachSingleChange)
{
    for_each_seed(1500, [&](dice &die) {
        const random_configuration configuration{die};
        const std::string text = config_text(configuration.all());
        ASSERT_TRUE(parsed(text)) << ::testing::PrintToString(text);
        for (const mutation &change : mutations()) {
            SCOPED_TRACE(change.name);
            const std::string other = changed(die, text, change);
            if (other == text) continue; // there is nothing of the kind in it
            ASSERT_FALSE(holds(other, configuration.all()))
                << ::testing::PrintToString(text) << "\n was changed to \n"
                << ::testing::PrintToString(other);
        }
    });
}

TEST_F(SaveAsLibxml2, CheckRefusesTheFileOfAnotherConfiguration)
{
    for_each_seed(4000, [&](dice &die) {
        const random_configuration one{die}, other{die};
        const std::string text = config_text(one.all());
        ASSERT_EQ(holds(text, other.all()), text == config_text(other.all())) << text;
    });
}

} // namespace
} // namespace vesk::test
