#pragma once

// System calls of the code under test that a test lets fail.
namespace FailingCalls {

// The next thread is not created; pthread_create gives this result.
void FailNextThreadCreation(int result);

// The next fork of the code under test gives -1.
void FailNextFork();

} // namespace FailingCalls
