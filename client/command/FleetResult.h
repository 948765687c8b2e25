#pragma once

#include <string>
#include <vector>

#include "Table.h"

// What a command gave on each of several machines, as the user is shown it.

namespace MdpCommand {

struct MachineResult {
    std::string label; // how the machine is called
    std::string name;  // by which --host can name it again
    bool isStarted = false;
    bool isDone = false;
    int status = 0;
    std::string reason; // of a failure
    std::string text;   // lines of its output
    std::vector<Table> tables;
    std::vector<std::string> documents; // JSON
    std::string errorObject;            // JSON, or nothing
};

// Puts the machine in front of each whole line, in columns that all of them share.
class LinePrefix {
public:
    explicit LinePrefix(const std::vector<MachineResult>& results);

    std::string Of(const std::string& label) const;
    void Print(std::ostream& out, const std::string& label, const std::string& lines) const;

private:
    std::size_t m_width = 0;
};

// In the order of the machines: first the lines, then one table for all that have the same columns, with the machine in
// a column of its own in front.
void PrintTogether(const Streams& streams, const std::vector<MachineResult>& results);

// An array with an object a machine: "host", "status" and, where there are such, "result" and "error".
void PrintJsonTogether(std::ostream& out, const std::vector<MachineResult>& results);

// The errors of such an array alone, one object a line, where the rest was a stream.
void PrintJsonErrors(std::ostream& out, const std::vector<MachineResult>& results);

// How many machines are done and what failed where, and how to go on. Nothing where all went well.
void PrintSummary(std::ostream& err, const std::vector<MachineResult>& results);

// ExitOk, ExitSomeFailed or ExitSomeUnreached.
int StatusOfAll(const std::vector<MachineResult>& results);

} // namespace MdpCommand
