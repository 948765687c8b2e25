#include "Table.h"

#include <clocale>
#include <cwchar>
#include <locale.h>

#include <algorithm>
#include <ostream>

namespace MdpCommand {
namespace {

// The C library knows the widths of characters, but in a locale with UTF-8 only, which the user may not have.
class Utf8Locale {
public:
    Utf8Locale() : m_utf8(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
        if (m_utf8 != nullptr) {
            m_before = uselocale(m_utf8);
        }
    }

    ~Utf8Locale() {
        if (m_utf8 != nullptr) {
            uselocale(m_before);
            freelocale(m_utf8);
        }
    }

    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;

private:
    locale_t m_utf8;
    locale_t m_before = nullptr;
};

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

} // namespace

std::size_t Columns(std::string_view text) {
    if (IsAscii(text)) {
        return text.size();
    }
    const Utf8Locale locale;
    std::size_t columns = 0;
    std::mbstate_t state{};
    while (!text.empty()) {
        wchar_t character = 0;
        std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
        if (length == 0 || length > text.size()) {
            length = 1; // no character: a terminal shows one sign for the byte
            state = {};
            columns += 1;
        } else {
            const int width = wcwidth(character);
            columns += static_cast<std::size_t>(width < 0 ? 1 : width);
        }
        text.remove_prefix(length);
    }
    return columns;
}

void Table::Print(const Streams& streams) const {
    std::vector<std::size_t> widths(1);
    for (const auto& row : m_rows) {
        if (row.size() == 1) {
            continue; // a title
        }
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], Columns(row[i].text));
        }
    }
    for (const auto& row : m_rows) {
        std::string line;
        std::size_t blanks = 0; // between what is in the line and the next text
        for (std::size_t i = 0; i < row.size(); ++i) {
            const Cell& cell = row[i];
            const std::size_t width = Columns(cell.text);
            const std::size_t padding = widths[i] > width ? widths[i] - width : 0;
            const bool right = std::find(m_right.begin(), m_right.end(), i) != m_right.end();
            blanks += i == 0 ? 0 : 2;
            blanks += right ? padding : 0;
            // Blanks at the ends of a text are no part of what stands out, and none end a line.
            const std::size_t begin = cell.text.find_first_not_of(' ');
            if (begin == std::string::npos) {
                blanks += cell.text.size();
            } else {
                const std::size_t end = cell.text.find_last_not_of(' ') + 1;
                const bool isName = i == m_names && &row != &m_rows.front() && cell.style == Style::Plain;
                line.append(blanks + begin, ' ');
                line += Styled(std::string_view(cell.text).substr(begin, end - begin),
                               isName ? Style::Name : cell.style, streams.outInColour);
                blanks = cell.text.size() - end;
            }
            blanks += right ? 0 : padding;
        }
        streams.out << line << '\n';
    }
}

} // namespace MdpCommand
