#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A small table of what differs between machines: a row each, as spreadsheets write it (CSV).

namespace MdpCommand {

struct TableValue {
    std::string place; // in the document, from the head of the column
    std::string value;
};

// The values in the row of a machine, in the order of the columns; empty cells are left out. The first column holds the
// machines, the first row the places in the document. Columns are separated by commas or, where the first row has one,
// semicolons; cells may stand in double quotes. Where the table or the machine is not as it should be, `wrong` says
// why.
std::optional<std::vector<TableValue>> FindInTable(std::string_view text, const std::string& machine,
                                                   std::string& wrong);

} // namespace MdpCommand
