#include "service/CommandLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct TCase {
    std::vector<std::string> arguments;
    bool doFork;
    bool isVerbose;
};

class CommandLine : public testing::TestWithParam<TCase> {};

std::vector<char*> Pointers(std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

TEST_P(CommandLine, IsEvaluated) {
    std::vector<std::string> arguments = GetParam().arguments;
    std::vector<char*> pointers = Pointers(arguments);
    const int count = static_cast<int>(arguments.size());
    EXPECT_EQ(GetDoFork(count, pointers.data()), GetParam().doFork);
    EXPECT_EQ(GetVerboseModeEnabled(count, pointers.data()), GetParam().isVerbose);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, CommandLine,
    testing::Values(TCase{{"sylvarin"}, true, false}, TCase{{"sylvarin", "/nofork"}, false, false},
                    TCase{{"sylvarin", "/nof"}, false, false}, TCase{{"sylvarin", "-nofork"}, false, false},
                    TCase{{"sylvarin", "-nof"}, false, false}, TCase{{"sylvarin", "/verbose"}, true, true},
                    TCase{{"sylvarin", "/v"}, true, true}, TCase{{"sylvarin", "-verbose"}, true, true},
                    TCase{{"sylvarin", "-v"}, true, true}, TCase{{"sylvarin", "-v", "other", "-nof"}, false, true},
                    TCase{{"-v"}, true, true},                      // the program's own name counts
                    TCase{{"-nof"}, false, false},                  //
                    TCase{{"sylvarin", "--verbose"}, true, false},  // compared exactly
                    TCase{{"sylvarin", "-V", "-NOF"}, true, false}, //
                    TCase{{"sylvarin", "-no", "-ver", ""}, true, false}),
    [](const auto& test) { return "Row" + std::to_string(test.index); });

TEST(CommandLineWithoutArguments, ForksAndIsQuiet) {
    std::vector<std::string> arguments = {"-nof", "-v"}; // behind the count: not looked at
    std::vector<char*> pointers = Pointers(arguments);
    for (const int count : {0, -1}) {
        EXPECT_TRUE(GetDoFork(count, pointers.data()));
        EXPECT_FALSE(GetVerboseModeEnabled(count, pointers.data()));
    }
}
