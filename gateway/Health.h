#pragma once

#include <string>
#include <vector>

#include "Views.h"

// What is wrong with a machine, in plain words.

namespace Gateway {

enum class Severity { Good, Notice, Warning, Critical };

/// "good", "notice", "warning" or "critical".
const char* SeverityName(Severity severity);

struct Finding {
    const char* id = "";
    Severity severity = Severity::Good;
    std::string subject;
    std::string text;
    const char* view = "";
};

/// How a drive is, by the worst that is known of it.
struct DriveState {
    const char* id = "good"; ///< or "not-known", or that of a finding without "drive-"
    Severity severity = Severity::Good;
    std::string text;
};

DriveState StateOf(const Drive& drive, Language language);

/// The worst first.
std::vector<Finding> FindingsOf(Look& look, Language language);

} // namespace Gateway
