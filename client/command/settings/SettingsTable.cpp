#include "settings/SettingsTable.h"

#include <algorithm>
#include <set>

namespace MdpCommand {
namespace {

struct Row {
    std::size_t line = 0; // in which it begins, from 1
    std::vector<std::string> cells;
};

char SeparatorOf(std::string_view text) {
    bool isQuoted = false;
    for (const char c : text) {
        isQuoted = isQuoted != (c == '"');
        if (!isQuoted && (c == ';' || c == ',' || c == '\n')) {
            return c == ';' ? ';' : ',';
        }
    }
    return ',';
}

std::string Trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

// Takes the text apart into rows; empty lines are none.
class Splitter {
public:
    explicit Splitter(std::string_view text) : m_text(text), m_separator(SeparatorOf(text)) {}

    // False where a quote is not as it should be; then Line tells where.
    bool Split(std::vector<Row>& rows) {
        for (; m_at < m_text.size(); ++m_at) {
            const char c = m_text[m_at];
            if (c == '"') {
                if (!Trimmed(m_cell).empty() || m_wasQuoted || !TakeQuoted()) {
                    return false;
                }
            } else if (c == m_separator) {
                EndCell();
            } else if (c == '\n') {
                EndRow(rows);
                ++m_line;
            } else if (c != '\r') {
                if (m_wasQuoted && c != ' ' && c != '\t') {
                    return false;
                }
                m_cell += c;
            }
        }
        EndRow(rows);
        return true;
    }

    std::size_t Line() const { return m_line; }

private:
    // From an opening quote to the closing one, where this then stands.
    bool TakeQuoted() {
        m_cell.clear();
        for (++m_at; m_at < m_text.size(); ++m_at) {
            const char c = m_text[m_at];
            const bool isDouble = c == '"' && m_at + 1 < m_text.size() && m_text[m_at + 1] == '"';
            if (c == '\n') {
                return false; // a setting is one line
            }
            if (c == '"' && !isDouble) {
                m_wasQuoted = true;
                return true;
            }
            m_at += isDouble ? 1 : 0;
            m_cell += c;
        }
        return false;
    }

    void EndCell() {
        m_row.cells.push_back(Trimmed(m_cell));
        m_cell.clear();
        m_wasQuoted = false;
    }

    void EndRow(std::vector<Row>& rows) {
        EndCell();
        const bool isEmpty =
            std::all_of(m_row.cells.begin(), m_row.cells.end(), [](const std::string& cell) { return cell.empty(); });
        if (!isEmpty) {
            m_row.line = m_line;
            rows.push_back(std::move(m_row));
        }
        m_row = {};
    }

    std::string_view m_text;
    char m_separator;
    std::size_t m_at = 0;
    std::size_t m_line = 1;
    std::string m_cell;
    bool m_wasQuoted = false;
    Row m_row;
};

std::string LineText(std::size_t line) {
    return "line " + std::to_string(line) + ": ";
}

// What is wrong with the rows as a whole, or nothing.
std::string CheckRows(const std::vector<Row>& rows) {
    if (rows.size() < 2) {
        return "there must be a first row with the places of values, such as name, and a row each machine";
    }
    const std::vector<std::string>& head = rows[0].cells;
    std::set<std::string> seen;
    for (std::size_t column = 1; column < head.size(); ++column) {
        if (head[column].empty() || !seen.insert(head[column]).second) {
            return LineText(rows[0].line) + (head[column].empty()
                                                 ? "column " + std::to_string(column + 1) + " has no head"
                                                 : head[column] + " is there twice");
        }
    }
    for (std::size_t i = 1; i < rows.size(); ++i) {
        const Row& row = rows[i];
        if (row.cells.size() != head.size()) {
            return LineText(row.line) + "there are " + std::to_string(row.cells.size()) + " cells, and " +
                   std::to_string(head.size()) + " columns; a cell with commas in it stands in double quotes";
        }
        if (row.cells[0].empty() || !seen.insert("\n" + row.cells[0]).second) {
            return LineText(row.line) + (row.cells[0].empty() ? "the machine is missing in the first column"
                                                              : row.cells[0] + " is there twice");
        }
    }
    return "";
}

} // namespace

std::optional<std::vector<TableValue>> FindInTable(std::string_view text, const std::string& machine,
                                                   std::string& wrong) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF"; // which spreadsheets put in front
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    std::vector<Row> rows;
    Splitter splitter(text);
    if (!splitter.Split(rows)) {
        wrong = LineText(splitter.Line()) + "the double quotes are not in pairs round a cell";
        return std::nullopt;
    }
    wrong = CheckRows(rows);
    if (!wrong.empty()) {
        return std::nullopt;
    }
    const auto found =
        std::find_if(rows.begin() + 1, rows.end(), [&](const Row& row) { return row.cells[0] == machine; });
    if (found == rows.end()) {
        wrong = "there is no machine " + machine + "; there are:";
        for (std::size_t i = 1; i < rows.size(); ++i) {
            wrong += (i == 1 ? " " : ", ") + rows[i].cells[0];
        }
        return std::nullopt;
    }
    std::vector<TableValue> values;
    for (std::size_t column = 1; column < rows[0].cells.size(); ++column) {
        if (!found->cells[column].empty()) {
            values.push_back({rows[0].cells[column], found->cells[column]});
        }
    }
    return values;
}

} // namespace MdpCommand
