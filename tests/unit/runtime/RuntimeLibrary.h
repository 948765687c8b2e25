#pragma once

#include <string>
#include <vector>

// The runtime's library and its scenario, for this process alone: the program starts itself anew with a directory of
// its own in the search path of libraries (see RuntimeLibrary.cpp).

// Variants of the library.
inline constexpr const char* PLAIN = "plain";
inline constexpr const char* MANGLED = "mangled";
inline constexpr const char* PARTIAL = "partial";

// Puts a variant where the service finds it, as a package would: a new file under the old name.
void InstallRuntimeLibrary(const char* variant);
void RemoveRuntimeLibrary();

// What the library answers from now on; the journal is emptied.
void SetScenario(const std::string& text);

// The library's calls since then, a line each. With a name, those of that function alone.
std::vector<std::string> RuntimeCalls(const std::string& function = {});
