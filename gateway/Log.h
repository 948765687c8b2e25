#pragma once

#include <string>

namespace Gateway {

enum class LogKind { Notice, Error };

/// One line to the system's log, under auth for what people do.
void Log(LogKind kind, const std::string& line);

/// The text in double quotes, with escapes for what would change the line.
std::string Quoted(const std::string& text);

} // namespace Gateway
