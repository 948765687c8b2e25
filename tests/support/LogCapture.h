#pragma once

#include <string>
#include <vector>

#include "log/Logger.h"

// Makes the process's logger for as long as it lives and shows what it logs. Lines go to standard output, which it
// takes over through GoogleTest's capture.
class CLogCapture {
public:
    CLogCapture();
    ~CLogCapture();
    CLogCapture(const CLogCapture&) = delete;
    CLogCapture& operator=(const CLogCapture&) = delete;

    // The lines since the last call, as "Severity: text"; a severity without a name reads "None". Entry
    // and exit lines are left out.
    std::vector<std::string> TakeLines();

private:
    CLogger m_logger;
};
