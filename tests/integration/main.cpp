#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// There only in the throw-away machine: these tests change what they find.
bool IsInMachine() {
    return access("/run/machine", F_OK) == 0;
}

// Does not return: this program runs again in a machine of its own, which ends with 77 where there can be none.
void RunInMachine(std::vector<char*> arguments, char* self) {
    std::string launcher = SYLVARIN_MACHINE;
    arguments[0] = self;
    arguments.insert(arguments.begin(), launcher.data());
    arguments.push_back(nullptr);
    execv(launcher.c_str(), arguments.data());
    std::perror(launcher.c_str());
    std::exit(125);
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<char*> arguments(argv, argv + argc);
    testing::InitGoogleTest(&argc, argv);
    if (!testing::GTEST_FLAG(list_tests) && !IsInMachine()) {
        char* self = realpath("/proc/self/exe", nullptr);
        RunInMachine(arguments, self);
    }
    // A daemon that the service leaves behind becomes a child of the test, which so learns how it ended.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    return RUN_ALL_TESTS();
}
