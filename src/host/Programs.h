#pragma once

#include <string>

// Where a program is found. The service names programs by FreeBSD's paths; elsewhere a tree of the same shape beside
// the executable, ../libexec/sylvarin/adapters, answers for those that the system lacks.
namespace Host {

// The path to execute for an absolute path: the tree's program when the tree has that path, else the path itself.
std::string FindProgram(const std::string& path);

// Puts the tree's directories in front of PATH, for commands that name programs without a path. Changes the
// environment: main calls it once, before there are threads.
void ExtendSearchPath();

} // namespace Host
