#include "log/Logger.h"

#include <syslog.h>

#include <chrono>
#include <cstdio>
#include <cstring>

CLogger* g_pLogger = nullptr;

namespace {

// One buffer of each kind in the process, used only under the logger's section. The line has room for the longest name
// and the whole text.
char s_line[1024];
char s_date[32];
char s_time[32];

// Adds a text, or one character, to the line as far as it has room.
void AppendToLine(const char* text) {
    const std::size_t length = std::strlen(s_line);
    std::snprintf(s_line + length, sizeof s_line - length, "%s", text);
}

void AppendToLine(char character) {
    const char text[] = {character, '\0'};
    AppendToLine(text);
}

// For how long the end of the process waits for the system log.
constexpr std::chrono::milliseconds FLUSH_LIMIT{2000};

std::uint64_t RouteBit(logSeverity severity) {
    return std::uint64_t{1} << severity % 64;
}

int SyslogPriority(logSeverity severity) {
    switch (severity) {
    case LOG_SEVERITY_ERROR:
        return LOG_ERR;
    case LOG_SEVERITY_WARNING:
        return LOG_WARNING;
    default:
        return LOG_NOTICE;
    }
}

} // namespace

CLogger::CLogger() {
    LogMsg(LOG_SEVERITY_PROGRESS, "Logger is initialized");
}

CLogger::~CLogger() {
    Shutdown();
}

bool CLogger::Shutdown() {
    LogMsg(LOG_SEVERITY_PROGRESS, "Logger is shutting down");
    ClearRoutes();
    return Flush();
}

void CLogger::KeepLines() {
    CSectionLock lock(m_section);
    m_queue = std::make_unique<CLogQueue>();
}

void CLogger::WriteInBackground() {
    CSectionLock lock(m_section);
    if (m_queue == nullptr) {
        KeepLines();
    }
    m_queue->Start();
}

void CLogger::PrepareFork() {
    m_queue->PrepareFork();
}

void CLogger::ParentAfterFork() {
    m_queue->ParentAfterFork(FLUSH_LIMIT);
}

void CLogger::ChildAfterFork() {
    m_queue->ChildAfterFork();
}

bool CLogger::Flush() {
    // Not under the section: others may log meanwhile.
    return m_queue == nullptr || m_queue->Flush(FLUSH_LIMIT);
}

bool CLogger::MayBeRouted(logSeverity severity) const {
    const std::uint64_t routed = m_routed.load(std::memory_order_relaxed);
    return severity == LOG_SEVERITY_ALL ? routed != 0 : (routed & RouteBit(severity)) != 0;
}

void CLogger::LogMsgV(logSeverity severity, const char* format, va_list arguments) {
    if (!MayBeRouted(severity)) {
        return;
    }
    CSectionLock lock(m_section);
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    RouteMessage(severity, text);
}

void CLogger::LogMsg(logSeverity severity, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogMsgV(severity, format, arguments);
    va_end(arguments);
}

void CLogger::LogMsgA(logSeverity severity, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogMsgV(severity, format, arguments);
    va_end(arguments);
}

void CLogger::LogMsg(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogMsgV(LOG_SEVERITY_ALL, format, arguments);
    va_end(arguments);
}

void CLogger::AddRoute(logSeverity severity, logTarget target) {
    AddRoute(tag_STlogRoute{severity, target});
}

void CLogger::AddRoute(tag_STlogRoute route) {
    CSectionLock lock(m_section);
    m_routes.push_back(std::make_unique<tag_STlogRoute>(route));
    m_routed |= route.severity == LOG_SEVERITY_ALL ? ~std::uint64_t{0} : RouteBit(route.severity);
}

void CLogger::ClearRoutes() {
    CSectionLock lock(m_section);
    m_routes.clear();
    m_routed = 0;
}

void CLogger::RouteMessage(logSeverity severity, char* text) {
    if (!MayBeRouted(severity)) {
        return;
    }
    CSectionLock lock(m_section);
    FormatMessage(severity, text);
    for (const auto& route : m_routes) {
        const bool applies =
            route->severity == LOG_SEVERITY_ALL || severity == LOG_SEVERITY_ALL || route->severity == severity;
        if (!applies) {
            continue;
        }
        switch (route->target) {
        case LOG_TARGET_CONSOLE:
            LogConsole(s_line);
            break;
        case LOG_TARGET_SYSLOG:
            LogEvent(s_line, severity);
            break;
        default:
            break;
        }
    }
}

void CLogger::FormatMessage(logSeverity severity, char* text) {
    CSectionLock lock(m_section);
    s_line[0] = '\0';
    for (const char* at = m_format; *at != '\0'; ++at) {
        if (*at != '%') {
            AppendToLine(*at);
            continue;
        }
        ++at;
        switch (*at) {
        case 'd':
            AppendToLine(GetDate());
            break;
        case 't':
            AppendToLine(GetTime());
            break;
        case 's':
            AppendToLine(GetSeverityName(severity));
            break;
        case 'm':
            AppendToLine(text);
            break;
        case '\0':
            return;
        default:
            break;
        }
    }
}

void CLogger::LogConsole(char* text) {
    CSectionLock lock(m_section);
    std::printf("%s", text);
    std::printf("\n");
}

void CLogger::LogConsole2(char* /*text*/) {
    CSectionLock lock(m_section);
}

void CLogger::LogMsgBox(char* /*text*/) {}

void CLogger::LogEvent(char* text, logSeverity severity) {
    if (m_queue != nullptr) {
        m_queue->Put(SyslogPriority(severity), text);
    } else {
        syslog(SyslogPriority(severity), "%s", text);
    }
}

char* CLogger::GetDate() {
    return s_date;
}

char* CLogger::GetTime() {
    return s_time;
}

const char* CLogger::GetSeverityName(logSeverity severity) const {
    switch (severity) {
    case LOG_SEVERITY_INFO:
        return "Info";
    case LOG_SEVERITY_WARNING:
        return "Warning";
    case LOG_SEVERITY_ERROR:
        return "Error";
    default:
        return "None";
    }
}
