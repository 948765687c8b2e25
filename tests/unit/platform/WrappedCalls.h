#pragma once

#include <sys/time.h>

#include <ctime>
#include <optional>
#include <string>

// System calls of the code under test that a test lets fail or answers itself.
namespace WrappedCalls {

// The next thread is not created; pthread_create gives this result.
void FailNextThreadCreation(int result);

// The next fork gives -1.
void FailNextFork();

// What time tells, until it is set to nothing.
void SetTime(std::optional<std::time_t> time);

// The release that the next uname tells; nothing lets it fail.
void AnswerNextUname(std::optional<std::string> release);

// The next popen runs this command instead; gives a place for the command that was meant.
void RedirectNextPopen(const std::string& command, std::string* meant);

// The next settimeofday only stores its time there, and fails with EPERM when `fails` is set.
void CatchNextSetTimeOfDay(timeval* time, bool fails);

// The next open fails with ENOENT; gives a place for the path that was meant.
void CatchNextOpen(std::string* path);

// The next flock fails with this error.
void FailNextFlock(int error);

// The next ioctl gets this answer and copies its 32 bytes of argument to and fro.
struct TIoctl {
    int result = 0;
    unsigned long request = 0;
    unsigned char received[32] = {};
    unsigned char answer[32] = {};
};

void AnswerNextIoctl(TIoctl* call);

} // namespace WrappedCalls
