#pragma once

#include <string>
#include <vector>

// Stand-ins for the programs that the service runs, laid into the adapters tree beside the test program and into PATH.
// For use inside a throw-away machine only: there the tree is put back when the machine ends.
class CStandIns {
public:
    // Empties the tree, so that no program but the stand-ins, and those of the system, answers.
    CStandIns();

    // Makes an absolute path a program that records its call, runs the shell lines and ends with the status.
    void Add(const std::string& path, int status = 0, const std::string& lines = "");

    // Each call so far in order: the path, then the arguments.
    std::vector<std::vector<std::string>> Calls() const;
    void ForgetCalls() const;
    // Waits up to ten seconds for that many calls, then gives all.
    std::vector<std::vector<std::string>> WaitForCalls(std::size_t count) const;

private:
    std::string m_tree;
};
