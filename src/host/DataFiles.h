#pragma once

#include <string>

// Where a file that is installed with the service is found. The service names its files by the paths that they have on
// FreeBSD, where packages install below /usr/local.
namespace Host {

// The path to read for an absolute path. Elsewhere than on FreeBSD, a file that is not there is taken from
// ../share/sylvarin beside the executable's directory, where that has one of the name: packages of the system may not
// put files below /usr/local, which is the administrator's, whose file counts first. If neither is there, the path
// itself.
std::string FindDataFile(const std::string& path);

} // namespace Host
