#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "log/Logger.h"

// Standard output goes to a file from construction to Text().
class CapturedOutput {
public:
    CapturedOutput() : m_file(std::tmpfile()), m_output((std::fflush(stdout), dup(STDOUT_FILENO))) {
        dup2(fileno(m_file), STDOUT_FILENO);
    }

    ~CapturedOutput() {
        Restore();
        std::fclose(m_file);
    }

    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    // Gives standard output back. What was written to it meanwhile.
    std::string Text() {
        Restore();
        std::string text;
        std::rewind(m_file);
        for (int character = std::fgetc(m_file); character != EOF; character = std::fgetc(m_file)) {
            text += static_cast<char>(character);
        }
        return text;
    }

private:
    void Restore() {
        if (m_output >= 0) {
            std::fflush(stdout);
            dup2(m_output, STDOUT_FILENO);
            close(m_output);
            m_output = -1;
        }
    }

    std::FILE* m_file;
    int m_output;
};

inline std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::string line;
    for (const char character : text) {
        if (character == '\n') {
            lines.push_back(std::exchange(line, {}));
        } else {
            line += character;
        }
    }
    if (!line.empty()) {
        lines.push_back(line);
    }
    return lines;
}

// What the process's logger tells with these severities while the action runs, severity names in front.
template <typename Action>
std::vector<std::string> LogOf(std::initializer_list<logSeverity> severities, Action action) {
    CapturedOutput output;
    for (const logSeverity severity : severities) {
        g_pLogger->AddRoute(severity, LOG_TARGET_CONSOLE);
    }
    action();
    g_pLogger->ClearRoutes();
    return LinesOf(output.Text());
}
