#pragma once

#include <string>

// Files that are read at once. No program that another thread is just starting inherits them, as it does what a
// std::ifstream has open.
namespace Host {

// Everything up to the end of the file, also of one that tells no length, as those of /proc. 0, the errno of opening
// it, or EIO where it cannot be read to its end, with what came until then.
int ReadWholeFile(const std::string& path, std::string& content);

// The first line without its line feed; empty where the file cannot be read.
std::string ReadFirstLine(const std::string& path);

} // namespace Host
