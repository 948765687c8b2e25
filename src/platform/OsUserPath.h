#pragma once

#include <string>

// A path as clients may spell it, with backslashes, in the system's form: each backslash becomes a slash, and each run
// of slashes one slash, also at the start.
std::string OsUserNormalizePath(const char* path);
