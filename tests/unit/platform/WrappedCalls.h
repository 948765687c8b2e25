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

} // namespace WrappedCalls
