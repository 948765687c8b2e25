#include "RuntimeLibrary.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

constexpr const char* DIRECTORY = "SYLVARIN_RUNTIME_TEST";

fs::path Directory() {
    return std::getenv(DIRECTORY);
}

// A file that appears whole.
void Replace(const fs::path& path, const std::string& text) {
    const fs::path beside = path.string() + ".new";
    std::ofstream(beside) << text;
    fs::rename(beside, path);
}

} // namespace

void InstallRuntimeLibrary(const char* variant) {
    const fs::path target = Directory() / "libZmKorDll.so";
    fs::copy_file(fs::path(SYLVARIN_RUNTIME_LIBRARIES) / variant / "libZmKorDll.so", target.string() + ".new",
                  fs::copy_options::overwrite_existing);
    fs::rename(target.string() + ".new", target);
}

void RemoveRuntimeLibrary() {
    fs::remove(Directory() / "libZmKorDll.so");
}

void SetScenario(const std::string& text) {
    Replace(Directory() / "scenario", "[scenario]\njournal = " + (Directory() / "journal").string() + "\n" + text);
    fs::remove(Directory() / "journal");
}

std::vector<std::string> RuntimeCalls(const std::string& function) {
    std::vector<std::string> calls;
    std::ifstream journal(Directory() / "journal");
    for (std::string line; std::getline(journal, line);) {
        if (function.empty() || line == function || line.starts_with(function + " ")) {
            calls.push_back(line);
        }
    }
    return calls;
}

int main(int argc, char** argv) {
    const bool isListing = argc > 1 && std::strncmp(argv[1], "--gtest_list_tests", 18) == 0;
    if (!isListing && std::getenv(DIRECTORY) == nullptr) {
        // The search path counts as it is when a program starts.
        char directory[] = "/tmp/runtime-test-XXXXXX";
        if (mkdtemp(directory) == nullptr || setenv(DIRECTORY, directory, 1) != 0 ||
            setenv("LD_LIBRARY_PATH", directory, 1) != 0 ||
            setenv("SYLVARIN_SCENARIO", (std::string(directory) + "/scenario").c_str(), 1) != 0) {
            return 1;
        }
        execv("/proc/self/exe", argv);
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    if (!isListing) {
        fs::remove_all(Directory());
    }
    return status;
}
