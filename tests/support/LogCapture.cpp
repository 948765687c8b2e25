#include "LogCapture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

CLogCapture::CLogCapture() {
    for (const logSeverity severity :
         {LOG_SEVERITY_INFO, LOG_SEVERITY_WARNING, LOG_SEVERITY_ERROR, LOG_SEVERITY_PROGRESS}) {
        m_logger.AddRoute(severity, LOG_TARGET_CONSOLE);
    }
    g_pLogger = &m_logger;
    testing::internal::CaptureStdout();
}

CLogCapture::~CLogCapture() {
    TakeLines();
    m_logger.ClearRoutes();
    testing::internal::GetCapturedStdout();
    g_pLogger = nullptr;
}

std::vector<std::string> CLogCapture::TakeLines() {
    std::fflush(stdout);
    std::istringstream text(testing::internal::GetCapturedStdout());
    testing::internal::CaptureStdout();
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}
