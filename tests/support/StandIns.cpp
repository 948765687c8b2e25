#include "StandIns.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

// Each call as texts that end with a zero byte: the number of arguments, the path, the arguments.
constexpr const char* s_record = "/tmp/stand-in-calls";

} // namespace

CStandIns::CStandIns() {
    if (!std::filesystem::exists("/run/machine")) {
        throw std::runtime_error("stand-ins are for the throw-away machine only");
    }
    m_tree = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "libexec/sylvarin/adapters";
    std::filesystem::remove_all(m_tree);
    ForgetCalls();
}

void CStandIns::Add(const std::string& path, int status, const std::string& lines) {
    const std::filesystem::path file = m_tree + path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream script(file);
    script << "#!/bin/sh\n"
           << "printf '%s\\0' $# " << path << " \"$@\" >>" << s_record << '\n'
           << lines << '\n'
           << "exit " << status << '\n';
    script.close();
    std::filesystem::permissions(file, std::filesystem::perms(0755));
}

std::vector<std::vector<std::string>> CStandIns::Calls() const {
    std::ifstream record(s_record);
    std::vector<std::vector<std::string>> calls;
    std::string text;
    while (std::getline(record, text, '\0')) {
        std::vector<std::string> call(std::stoul(text) + 1);
        for (std::string& argument : call) {
            std::getline(record, argument, '\0');
        }
        calls.push_back(call);
    }
    return calls;
}

void CStandIns::ForgetCalls() const {
    std::filesystem::remove(s_record);
}

std::vector<std::vector<std::string>> CStandIns::WaitForCalls(std::size_t count) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (Calls().size() < count && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return Calls();
}
