#include "LogCapture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

CLogCapture::CLogCapture() : m_file(std::tmpfile()), m_standardOutput(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    for (const logSeverity severity :
         {LOG_SEVERITY_INFO, LOG_SEVERITY_WARNING, LOG_SEVERITY_ERROR, LOG_SEVERITY_PROGRESS}) {
        m_logger.AddRoute(severity, LOG_TARGET_CONSOLE);
    }
    g_pLogger = &m_logger;
    EXPECT_NE(m_file, nullptr);
    std::fflush(stdout);
    EXPECT_EQ(dup2(fileno(m_file), STDOUT_FILENO), STDOUT_FILENO);
}

CLogCapture::~CLogCapture() {
    m_logger.ClearRoutes();
    std::fflush(stdout);
    dup2(m_standardOutput, STDOUT_FILENO);
    close(m_standardOutput);
    if (testing::Test::HasFailure()) {
        std::fputs(TextFrom(0).c_str(), stdout);
    }
    std::fclose(m_file);
    g_pLogger = nullptr;
}

std::vector<std::string> CLogCapture::TakeLines() {
    std::fflush(stdout);
    std::string text = TextFrom(m_taken);
    text.resize(text.rfind('\n') + 1); // the rest of a line comes with its end
    m_taken += text.size();
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string CLogCapture::TextFrom(std::size_t offset) const {
    struct stat status = {};
    EXPECT_EQ(fstat(fileno(m_file), &status), 0);
    std::string text(static_cast<std::size_t>(status.st_size) - offset, '\0');
    // Not by the stream: it shares its place in the file with standard output.
    EXPECT_EQ(pread(fileno(m_file), text.data(), text.size(), static_cast<off_t>(offset)),
              static_cast<ssize_t>(text.size()));
    return text;
}
