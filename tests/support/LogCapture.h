#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "log/Logger.h"

// Makes the process's logger for as long as it lives and shows what it logs. Lines go to standard output, which it
// takes over; where a test has failed, all that went there is shown at the end. Other threads may log at any time.
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
    // What standard output has taken from there on.
    std::string TextFrom(std::size_t offset) const;

    CLogger m_logger;
    std::FILE* const m_file; // in the place of standard output
    const int m_standardOutput;
    std::size_t m_taken = 0;
};
