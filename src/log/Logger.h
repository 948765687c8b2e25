#pragma once

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/OsUserCriticalSection.h"

// A bit value. Values without a name of their own are named "None".
using logSeverity = std::uint32_t;

inline constexpr logSeverity LOG_SEVERITY_INFO = 1;
inline constexpr logSeverity LOG_SEVERITY_WARNING = 2;
inline constexpr logSeverity LOG_SEVERITY_ERROR = 4;
inline constexpr logSeverity LOG_SEVERITY_PROGRESS = 8; // seen only with -verbose
inline constexpr logSeverity LOG_SEVERITY_TRACE = 16;   // entry and exit lines, not routed by default
inline constexpr logSeverity LOG_SEVERITY_ALL = 65535;  // a message for every route, a route for every message

using logTarget = std::uint32_t;

inline constexpr logTarget LOG_TARGET_CONSOLE = 1;
inline constexpr logTarget LOG_TARGET_CONSOLE2 = 8;
inline constexpr logTarget LOG_TARGET_SYSLOG = 16;

struct tag_STlogRoute {
    std::uint32_t severity;
    std::uint32_t target;
};

// The log of the process. Any thread may call it: every operation takes the one recursive section.
class CLogger {
public:
    CLogger();
    ~CLogger();
    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;

    // Formats with printf's rules, cuts the text at 511 characters and sends it along every route that applies.
    void LogMsg(logSeverity severity, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void LogMsgA(logSeverity severity, const char* format, ...) __attribute__((format(printf, 3, 4)));
    // The same with LOG_SEVERITY_ALL.
    void LogMsg(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Appends a route; duplicates are not looked for.
    void AddRoute(logSeverity severity, logTarget target);
    void AddRoute(tag_STlogRoute route);
    void ClearRoutes();
    // The last line; nothing is routed after it.
    void Shutdown();

    void RouteMessage(logSeverity severity, char* text);
    void FormatMessage(logSeverity severity, char* text);
    void LogConsole(char* text);
    void LogConsole2(char* text);
    void LogMsgBox(char* text);
    void LogEvent(char* text, logSeverity severity);

    // The two texts that "%d" and "%t" of the line format stand for; nothing fills them.
    char* GetDate();
    char* GetTime();
    const char* GetSeverityName(logSeverity severity) const;

private:
    void LogMsgV(logSeverity severity, const char* format, va_list arguments);

    char m_format[32] = "%s: %m";
    std::vector<std::unique_ptr<tag_STlogRoute>> m_routes;
    CSection m_section;
};

// The one logger of the process, made by main. It outlives main: threads that no stop waits for may still log.
extern CLogger* g_pLogger;
