#include "clients/arguments.h"

#include <gtest/gtest.h>

#include "clients/failure.h"

namespace {

using namespace vesk::client;
using words = std::vector<std::string>;

std::string complaint(const words &given)
{
    try {
        parse_arguments(given);
    } catch (const failure &why) {
        EXPECT_EQ(why.result, status::usage);
        return why.message;
    }
    return "none";
}

TEST(ParseArguments, KeepsWordsAsTheyStand)
{
    const words odd{"[a,b]", "{}", "++", "%%", "", "a=b", "-5", "set", "[]", "\x01"};
    words all{"show"};
    all.insert(all.end(), odd.begin(), odd.end());
    EXPECT_EQ(parse_arguments(all).words, odd);
}

TEST(ParseArguments, TakesNoOptionsBehindTwoHyphens)
{
    const arguments given = parse_arguments({"set", "radio", "--", "--name", "a=b", "--", "[x]"});
    EXPECT_EQ(given.words, (words{"radio", "--name", "a=b", "--", "[x]"}));
    EXPECT_FALSE(given.name);
}

TEST(ParseArguments, KeepsValuesOfOptionsAsTheyStand)
{
    const arguments given =
        parse_arguments({"set", "radio", "a=b", "--name", "[r,0]", "--where={}", "--origin", ""});
    EXPECT_EQ(given.name, "[r,0]");
    EXPECT_EQ(given.where, "{}");
    EXPECT_EQ(given.origin, "");
}

TEST(ParseArguments, TakesGeneralOptionsAnywhere)
{
    EXPECT_EQ(parse_arguments({"--timeout", "5", "show"}).patience, 5U);
    EXPECT_EQ(parse_arguments({"show", "radio", "--timeout=5"}).patience, 5U);
    EXPECT_EQ(parse_arguments({"show", "radio", "-o", "json", "r0"}).output, format::json);
}

TEST(ParseArguments, ComplainsAboutWrongUsage)
{
    EXPECT_EQ(complaint({}), "a command is missing; veskctl --help lists them");
    EXPECT_EQ(complaint({"set", "radio"}), "usage: veskctl set CLASS [NAME] PROPERTY=VALUE...");
    EXPECT_EQ(complaint({"delete", "a", "b", "c"}), "usage: veskctl delete CLASS [NAME]");
    EXPECT_EQ(complaint({"[a]", "b"}), "no command: [a] b; veskctl --help lists them");
    EXPECT_EQ(complaint({"-o", "json", "show"}), "not expected: -o json");
    EXPECT_EQ(complaint({"startup", "[a]", "\033"}), "not expected: [a] \\x1b");
    for (const words &given : {words{"shew"}, words{"show", "--whree", "x"}, words{"save", "it"},
                               words{"show", "--dry-run"}, words{"show", "-o", "yaml"},
                               words{"--timeout", "0", "show"}, words{"watch", "--count", "-1"},
                               words{"add", "radio", "--where", "x"}, words{"show", "--name"}})
        EXPECT_NE(complaint(given), "none") << testing::PrintToString(given);
}

TEST(ParseArguments, PrintsHelp)
{
    EXPECT_TRUE(parse_arguments({"--version"}).printed.starts_with("veskctl "));
    const std::string help = parse_arguments({"--help"}).printed;
    for (const command_facts &command : known_commands())
        EXPECT_NE(help.find("\n  " + command.name + " "), help.npos) << command.name;
    EXPECT_EQ(help.find("complete"), help.npos);
    EXPECT_NE(parse_arguments({"set", "-h"})
                  .printed.find("Usage: veskctl set [OPTION]... CLASS [NAME] PROPERTY=VALUE...\n"),
              help.npos);
}

TEST(KnownCommands, KnowTheirOptions)
{
    size_t found = 0;
    for (const command_facts &command : known_commands())
        for (const option_facts &option : command.options)
            for (const std::string &name : option.names) {
                found += name == "--where" && option.takes_value;
                found += name == "--dry-run" && !option.takes_value;
            }
    EXPECT_EQ(found, 8U);
}

} // namespace
