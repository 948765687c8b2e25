#include "AdapterRun.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Standard output or error of a child; a file, so that a daemon that the child leaves behind holds nobody up.
class CCapture {
public:
    CCapture() : m_file(std::tmpfile()) {}

    ~CCapture() { std::fclose(m_file); }

    CCapture(const CCapture&) = delete;
    CCapture& operator=(const CCapture&) = delete;

    int Descriptor() const { return fileno(m_file); }

    std::string Text() const {
        std::rewind(m_file);
        std::string text;
        for (int c = std::fgetc(m_file); c != EOF; c = std::fgetc(m_file)) {
            text.push_back(static_cast<char>(c));
        }
        return text;
    }

private:
    FILE* m_file;
};

int StatusOf(int waitStatus) {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

} // namespace

std::string AdapterPath(const std::string& path) {
    const auto build = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    return build / "libexec/sylvarin/adapters" / path.substr(1);
}

TRun RunAdapter(const std::vector<std::string>& arguments) {
    const std::string path = AdapterPath(arguments.at(0));
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    char* environment[] = {nullptr};

    const CCapture output;
    const CCapture error;
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        dup2(output.Descriptor(), STDOUT_FILENO);
        dup2(error.Descriptor(), STDERR_FILENO);
        execve(path.c_str(), argv.data(), environment);
        _exit(1);
    }
    int waitStatus = 0;
    waitpid(child, &waitStatus, 0);
    return {StatusOf(waitStatus), output.Text(), error.Text()};
}

std::string Shell(const std::string& line) {
    std::string text;
    if (FILE* pipe = popen(line.c_str(), "r"); pipe != nullptr) {
        for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
            text.push_back(static_cast<char>(c));
        }
        pclose(pipe);
    }
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

bool Eventually(const std::string& line) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::system((line + " >/dev/null 2>&1").c_str()) != 0) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

std::string ReadText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}
