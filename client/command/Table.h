#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Streams.h"

namespace MdpCommand {

// Columns of a terminal that a UTF-8 text takes.
std::size_t Columns(std::string_view text);

struct Cell {
    Cell(std::string shown, Style how = Style::Plain) : text(std::move(shown)), style(how) {}

    Cell(const char* shown) : text(shown) {}

    std::string text;
    Style style = Style::Plain;

    bool operator==(const Cell&) const = default;
};

// Columns of texts, as wide as their widest cell, with two blanks between them and none at the end of a line.
class Table {
public:
    explicit Table(std::vector<std::string> header) : m_rows{{header.begin(), header.end()}} {}

    void Add(std::vector<Cell> row) { m_rows.push_back(std::move(row)); }

    // A line of its own in front of the rows that follow, with no bearing on the columns.
    void AddTitle(std::string title) { m_rows.push_back({{std::move(title), Style::Name}}); }

    // Numbers look better at the right of their column.
    void AlignRight(std::size_t column) { m_right.push_back(column); }

    // The column with the names of what the rows tell.
    void NameColumn(std::size_t column) { m_names = column; }

    void Print(const Streams& streams) const;

    // The header, then the rows; a title is a row with one cell.
    const std::vector<std::vector<Cell>>& Rows() const { return m_rows; }

    const std::vector<std::size_t>& RightColumns() const { return m_right; }

    std::optional<std::size_t> NameColumn() const { return m_names == s_none ? std::nullopt : std::optional(m_names); }

private:
    static constexpr std::size_t s_none = static_cast<std::size_t>(-1);

    std::vector<std::vector<Cell>> m_rows;
    std::vector<std::size_t> m_right;
    std::size_t m_names = s_none;
};

} // namespace MdpCommand
