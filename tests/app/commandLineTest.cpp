#include "app/commandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace quillet {
namespace {

using Action = CommandLine::Action;

struct Call {
    const char* name;
    std::vector<const char*> arguments;
    Action expected;
};

class Arguments : public testing::TestWithParam<Call> {};

TEST_P(Arguments, sayWhatToDo) {
    const CommandLine line = CommandLine::parse(GetParam().arguments);
    EXPECT_EQ(line.action, GetParam().expected) << line.text;
    EXPECT_EQ(line.text.empty(), line.action == Action::run || line.action == Action::selfTest);
    EXPECT_TRUE(line.text.empty() || line.text.ends_with('\n'));
}

INSTANTIATE_TEST_SUITE_P(
    Table, Arguments,
    testing::Values(
        Call{"none", {"quillet"}, Action::run}, Call{"notEvenAName", {}, Action::run},
        Call{"selfTest", {"quillet", "--selftest"}, Action::selfTest},
        Call{"selfTestLast", {"quillet", "--help", "nonsense", "--selftest"}, Action::selfTest},
        Call{"selfTestAsTheName", {"--selftest"}, Action::selfTest},
        Call{"selfTestWithMore", {"quillet", "--selftest=1"}, Action::refuse},
        Call{"selfTestInCapitals", {"quillet", "--SELFTEST"}, Action::refuse},
        Call{"help", {"quillet", "--help"}, Action::answer}, Call{"version", {"quillet", "--version"}, Action::answer},
        Call{"firstCounts", {"quillet", "--wrong", "--help"}, Action::refuse},
        Call{"aFile", {"quillet", "film.mp4"}, Action::refuse}, Call{"empty", {"quillet", ""}, Action::refuse},
        Call{"theToolkits", {"quillet", "-style", "fusion", "--platform=offscreen", "-reverse"}, Action::run},
        Call{"theToolkitsValueIsNoOption", {"quillet", "-style", "--help"}, Action::run}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(CommandLine, namesWhatItDoesNotKnow) {
    const std::vector<const char*> arguments{"quillet", "--loud"};
    EXPECT_EQ(CommandLine::parse(arguments).text, "quillet: unknown option --loud\nTry 'quillet --help'.\n");
}

TEST(CommandLine, tellsTheVersion) {
    const std::vector<const char*> arguments{"quillet", "--version"};
    EXPECT_THAT(CommandLine::parse(arguments).text, testing::MatchesRegex("quillet [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

} // namespace
} // namespace quillet
