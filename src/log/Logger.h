#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "log/LogQueue.h"
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

// The log of the process. Any thread may call it: every operation takes the one recursive section, but a message that
// no route takes costs no lock.
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
    // The last line; nothing is routed after it. False where the system log has not taken all lines in time: it is not
    // to be closed then, as a thread waits inside it.
    bool Shutdown();

    // From here on the lines for the system log are kept, for a process that is going to fork.
    void KeepLines();
    // From here on a thread of their own writes the lines for the system log, so that it holds up nobody.
    void WriteInBackground();
    // Around a fork whose child goes on with the log, after KeepLines. Each process writes its own lines, the parent
    // first: it gives the system log a short time to take them. The child's are kept until WriteInBackground.
    void PrepareFork();
    void ParentAfterFork();
    void ChildAfterFork();
    // Waits for a short time until the system log has all lines; false where it has not taken them.
    bool Flush();

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
    // False only where no route takes the message.
    bool MayBeRouted(logSeverity severity) const;

    char m_format[32] = "%s: %m";
    std::vector<std::unique_ptr<tag_STlogRoute>> m_routes;
    std::atomic<std::uint64_t> m_routed{0}; // a bit for the severity of each route, several may share one
    std::unique_ptr<CLogQueue> m_queue;     // null as long as lines are written by who logs them
    CSection m_section;
};

// The one logger of the process, made by main. It outlives main: threads that no stop waits for may still log.
extern CLogger* g_pLogger;
