#include "service/CommandLine.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace {

constexpr std::string_view NO_FORK[] = {"/nofork", "/nof", "-nofork", "-nof"};
constexpr std::string_view VERBOSE[] = {"/verbose", "/v", "-verbose", "-v"};

bool HasAnyOf(int argc, char** argv, std::span<const std::string_view> wanted) {
    if (argc < 1) {
        return false;
    }
    return std::any_of(argv, argv + argc, [&](const char* argument) {
        return std::find(wanted.begin(), wanted.end(), std::string_view(argument)) != wanted.end();
    });
}

} // namespace

bool GetDoFork(int argc, char** argv) {
    return !HasAnyOf(argc, argv, NO_FORK);
}

bool GetVerboseModeEnabled(int argc, char** argv) {
    return HasAnyOf(argc, argv, VERBOSE);
}
