#pragma once

#include <string>
#include <vector>

// What a program printed and how it ended; 128 and the signal's number if a signal ended it.
struct TRun {
    int status = -1;
    std::string output;
    std::string error;
};

// Where the adapters tree has the program of that FreeBSD path.
std::string AdapterPath(const std::string& path);

// Runs a program of the adapters tree by its FreeBSD path, without any environment, as the service does.
TRun RunAdapter(const std::vector<std::string>& arguments);

// Runs a line in the shell of the machine; gives what it printed, without the last line end.
std::string Shell(const std::string& line);

// Runs the line until it succeeds, for at most ten seconds; false if it never did.
bool Eventually(const std::string& line);

std::string ReadText(const std::string& path);
void WriteText(const std::string& path, const std::string& text);
