#include "FleetResult.h"

#include <algorithm>
#include <ostream>

#include "Command.h"
#include "Text.h"

namespace MdpCommand {
namespace {

bool IsOk(const MachineResult& result) {
    return result.isDone && result.status == ExitOk;
}

// The lines of a text; the last one may lack its end.
std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines = Split(text, '\n');
    if (lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

std::string Padded(const std::string& text, std::size_t width) {
    return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

// A JSON text with its lines, but for the first, moved to the right.
std::string Indented(const std::string& json, std::size_t blanks) {
    std::string text;
    for (const char c : json) {
        text += c;
        if (c == '\n') {
            text.append(blanks, ' ');
        }
    }
    return text;
}

std::string ReasonOf(const MachineResult& result) {
    if (!result.isStarted) {
        return "not begun";
    }
    if (!result.isDone) {
        return "interrupted";
    }
    return result.reason.empty() ? "failed with status " + std::to_string(result.status) : result.reason;
}

int JsonStatus(const MachineResult& result) {
    return result.isDone ? result.status : int{ExitTransport};
}

// Empty where there is none, or where the result tells of it.
std::string ErrorOf(const MachineResult& result, bool inOneLine) {
    if (!result.errorObject.empty() || IsOk(result) || !result.documents.empty()) {
        return result.errorObject;
    }
    const Json error{{"kind", result.status == ExitTransport || !result.isDone ? "connect" : "local"},
                     {"text", PrintableText(ReasonOf(result))}};
    return error.Text(inOneLine);
}

Table WithHosts(const std::vector<MachineResult>& results, const Table& like) {
    std::vector<std::string> header{"HOST"};
    for (const Cell& cell : like.Rows().front()) {
        header.push_back(cell.text);
    }
    std::size_t width = header.front().size();
    for (const MachineResult& result : results) {
        width = std::max(width, result.label.size());
    }
    Table all(std::move(header));
    for (const std::size_t column : like.RightColumns()) {
        all.AlignRight(column + 1);
    }
    if (const auto names = like.NameColumn()) {
        all.NameColumn(*names + 1);
    }
    for (const MachineResult& result : results) {
        for (const Table& table : result.tables) {
            if (table.Rows().front() != like.Rows().front()) {
                continue;
            }
            for (std::size_t i = 1; i < table.Rows().size(); ++i) {
                std::vector<Cell> row = table.Rows()[i];
                if (row.size() == 1) {
                    all.AddTitle(Padded(result.label, width) + "  " + row.front().text);
                    continue;
                }
                row.insert(row.begin(), result.label);
                all.Add(std::move(row));
            }
        }
    }
    return all;
}

} // namespace

LinePrefix::LinePrefix(const std::vector<MachineResult>& results) {
    for (const MachineResult& result : results) {
        m_width = std::max(m_width, result.label.size() + 1);
    }
}

std::string LinePrefix::Of(const std::string& label) const {
    return Padded(label + ":", m_width) + " ";
}

void LinePrefix::Print(std::ostream& out, const std::string& label, const std::string& lines) const {
    for (const std::string& line : LinesOf(lines)) {
        out << Of(label) << line << '\n';
    }
}

void PrintTogether(const Streams& streams, const std::vector<MachineResult>& results) {
    const LinePrefix prefix(results);
    std::vector<const Table*> kinds;
    for (const MachineResult& result : results) {
        prefix.Print(streams.out, result.label, result.text);
        for (const Table& table : result.tables) {
            const bool isKnown = std::any_of(kinds.begin(), kinds.end(), [&](const Table* kind) {
                return kind->Rows().front() == table.Rows().front();
            });
            if (!isKnown) {
                kinds.push_back(&table);
            }
        }
    }
    for (const Table* kind : kinds) {
        WithHosts(results, *kind).Print(streams);
    }
}

void PrintJsonTogether(std::ostream& out, const std::vector<MachineResult>& results) {
    out << "[\n";
    for (const MachineResult& result : results) {
        out << "  {\n    \"host\": " << Json(result.label).Text(true) << ",\n    \"status\": " << JsonStatus(result);
        // A command gives one document.
        if (!result.documents.empty()) {
            out << ",\n    \"result\": " << Indented(result.documents.front(), 4);
        }
        if (const std::string error = ErrorOf(result, false); !error.empty()) {
            out << ",\n    \"error\": " << Indented(error, 4);
        }
        out << "\n  }" << (&result == &results.back() ? "\n" : ",\n");
    }
    out << "]\n";
}

void PrintJsonErrors(std::ostream& out, const std::vector<MachineResult>& results) {
    for (const MachineResult& result : results) {
        if (const std::string error = ErrorOf(result, true); !error.empty()) {
            out << "{\"host\":" << Json(result.label).Text(true) << ",\"status\":" << JsonStatus(result)
                << ",\"error\":" << error << "}\n";
        }
    }
}

void PrintSummary(std::ostream& err, const std::vector<MachineResult>& results) {
    const auto done = std::count_if(results.begin(), results.end(), IsOk);
    if (static_cast<std::size_t>(done) == results.size()) {
        return;
    }
    err << "mdp: " << done << " of " << results.size() << " machines: ok\n";
    std::string left;
    std::vector<std::string> told;
    for (const MachineResult& result : results) {
        if (IsOk(result)) {
            continue;
        }
        left += (left.empty() ? "" : ",") + result.name;
        const std::string reason = ReasonOf(result);
        if (std::find(told.begin(), told.end(), reason) != told.end()) {
            continue;
        }
        told.push_back(reason);
        // Machines with the same trouble share a line.
        std::string labels;
        for (const MachineResult& other : results) {
            if (!IsOk(other) && ReasonOf(other) == reason) {
                labels += (labels.empty() ? "" : ", ") + other.label;
            }
        }
        err << "mdp: " << labels << ": " << PrintableText(reason) << '\n';
    }
    err << "mdp: to go on with these alone: --host " << left << '\n';
}

int StatusOfAll(const std::vector<MachineResult>& results) {
    int status = ExitOk;
    for (const MachineResult& result : results) {
        if (IsOk(result)) {
            continue;
        }
        const bool isUnreached = !result.isDone || result.status == ExitTransport;
        if (!isUnreached) {
            return ExitSomeFailed;
        }
        status = ExitSomeUnreached;
    }
    return status;
}

} // namespace MdpCommand
