#include "LogCapture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

CLogCapture::CLogCapture() {
    m_logger.AddRoute(LOG_SEVERITY_ALL, LOG_TARGET_CONSOLE);
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
