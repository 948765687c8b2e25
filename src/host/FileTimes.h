#pragma once

#include <ctime>

namespace Host {

// The time at which a file was made, of the file that a symbolic link leads to. One second before the epoch where the
// file system does not record it or the file cannot be asked.
std::timespec GetBirthTime(const char* path);
std::timespec GetBirthTime(int descriptor);

} // namespace Host
