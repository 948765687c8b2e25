#include "Log.h"

#include <syslog.h>

#include "mdp/Value.h"

namespace Gateway {

void Log(LogKind kind, const std::string& line) {
    syslog(LOG_AUTH | (kind == LogKind::Error ? LOG_ERR : LOG_NOTICE), "%s", line.c_str());
}

std::string Quoted(const std::string& text) {
    return Mdp::Quote(text);
}

} // namespace Gateway
