#pragma once

#include <sys/types.h>

#include <cstdint>

// Launching of child processes through the shell, with an empty environment and no descriptors but the standard ones.
// A command is a program, a blank and its arguments as shell text. The program is not looked for on the search path.
// `showFlag` has no effect anywhere; times are in milliseconds; out pointers may be null.

// Results of the launches.
inline constexpr std::uint32_t OSUSER_PROCESS_OK = 0;
inline constexpr std::uint32_t OSUSER_PROCESS_FAILED = 1; // not executable, killed by a signal, timed out or lost
inline constexpr std::uint32_t OSUSER_PROCESS_NOT_FOUND = 2;
inline constexpr std::uint32_t OSUSER_PROCESS_NO_FORK = 1168;

// Of these only the process identifier carries a value.
struct _OS_USER_PROC_INFO {
    void* hProcess;
    void* hThread;
    pid_t dwProcessId;
    std::uint32_t dwThreadId;
};

// With a time-out above 0 waits for the child's end and stores its exit status; a child that overruns the time-out goes
// on running. Else returns at once, with exit code 0.
std::uint32_t OsUserLaunchProcess(const char* command, int showFlag, int timeoutMs, std::uint32_t* exitCodeOut);

// The same in a working directory, which is also where a program without any slash in its name is found; it may be
// null, as may the arguments. Backslashes in `executable` count as slashes.
std::uint32_t OsUserLaunchProcessEx(const char* executable, const char* workingDirectory, const char* arguments,
                                    int showFlag, int timeoutMs, std::uint32_t* exitCodeOut);

std::uint32_t OsUserLaunchProcessInternal(const char* command, const char* workingDirectory, int showFlag,
                                          int timeoutMs, std::uint32_t* exitCodeOut, pid_t* processIdOut);

// Launches without waiting. `arguments` has no effect: they are in the command.
std::uint32_t OsUserCreateProcess(const char* command, const char* arguments, _OS_USER_PROC_INFO* info);

// Sends SIGTERM and waits for the end without a limit: 0, 1 when there is no such child, 2 for null.
std::uint32_t OsUserTerminateProcess(const _OS_USER_PROC_INFO* info, std::uint32_t exitCode);

// Does nothing and gives 0.
std::uint32_t OsUserReleaseProcessHandle(_OS_USER_PROC_INFO* info);

// Reaps children that have ended. While a launch waits for its own child the reaping is put off to the end of the next
// launch.
void OsUserRemoveProcessZombies();
