#include "Report.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

namespace MdpCommand {
namespace {

using Count = std::uint32_t;

constexpr std::size_t s_noColumn = static_cast<Count>(-1);

constexpr std::size_t s_headSize = 1 + sizeof(Count);

void PutCount(std::string& bytes, std::size_t number) {
    const auto count = static_cast<Count>(number);
    char digits[sizeof count];
    std::memcpy(digits, &count, sizeof count);
    bytes.append(digits, sizeof count);
}

// Takes it off the front.
std::optional<Count> TakeCount(std::string_view& bytes) {
    Count count = 0;
    if (bytes.size() < sizeof count) {
        return std::nullopt;
    }
    std::memcpy(&count, bytes.data(), sizeof count);
    bytes.remove_prefix(sizeof count);
    return count;
}

} // namespace

bool Report::Tell(ReportKind kind, std::string_view content) const {
    std::string bytes(1, static_cast<char>(kind));
    PutCount(bytes, content.size());
    bytes += content;
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t written = write(m_descriptor, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return true;
}

bool Report::Tell(const Table& table) const {
    std::string content;
    PutCount(content, table.RightColumns().size());
    for (const std::size_t column : table.RightColumns()) {
        PutCount(content, column);
    }
    PutCount(content, table.NameColumn().value_or(s_noColumn));
    for (const auto& row : table.Rows()) {
        PutCount(content, row.size());
        for (const Cell& cell : row) {
            PutCount(content, static_cast<std::size_t>(cell.style));
            PutCount(content, cell.text.size());
            content += cell.text;
        }
    }
    return Tell(ReportKind::Table, content);
}

Table TableOf(std::string_view content) {
    std::vector<std::size_t> right;
    for (Count left = TakeCount(content).value_or(0); left > 0 && !content.empty(); --left) {
        right.push_back(TakeCount(content).value_or(0));
    }
    const std::size_t names = TakeCount(content).value_or(s_noColumn);
    std::vector<std::vector<Cell>> rows(1);
    for (bool isHeader = true; const auto cells = TakeCount(content); isHeader = false) {
        std::vector<Cell>& row = isHeader ? rows.front() : rows.emplace_back();
        for (Count i = 0; i < *cells && !content.empty(); ++i) {
            const auto style = static_cast<Style>(TakeCount(content).value_or(0));
            const Count size = TakeCount(content).value_or(0);
            row.emplace_back(std::string(content.substr(0, size)), style);
            content.remove_prefix(row.back().text.size());
        }
    }
    std::vector<std::string> header;
    for (const Cell& cell : rows.front()) {
        header.push_back(cell.text);
    }
    Table table(std::move(header));
    for (std::size_t i = 1; i < rows.size(); ++i) {
        table.Add(std::move(rows[i]));
    }
    for (const std::size_t column : right) {
        table.AlignRight(column);
    }
    if (names != s_noColumn) {
        table.NameColumn(names);
    }
    return table;
}

ReportOutput::int_type ReportOutput::overflow(int_type character) {
    if (character != traits_type::eof()) {
        m_text += traits_type::to_char_type(character);
    }
    return traits_type::not_eof(character);
}

std::streamsize ReportOutput::xsputn(const char* text, std::streamsize size) {
    m_text.append(text, static_cast<std::size_t>(size));
    return size;
}

int ReportOutput::sync() {
    const bool told = m_text.empty() || m_report.Tell(ReportKind::Text, m_text);
    m_text.clear();
    return told ? 0 : -1;
}

void ReportReader::Add(std::string_view bytes, const Take& take) {
    m_bytes += bytes;
    std::size_t done = 0;
    while (m_bytes.size() - done >= s_headSize) {
        std::string_view rest = std::string_view(m_bytes).substr(done + 1);
        const std::size_t size = TakeCount(rest).value_or(0);
        if (rest.size() < size) {
            break;
        }
        take(static_cast<ReportKind>(m_bytes[done]), std::string(rest.substr(0, size)));
        done += s_headSize + size;
    }
    m_bytes.erase(0, done);
}

} // namespace MdpCommand
