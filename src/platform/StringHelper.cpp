#include "platform/StringHelper.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>

namespace {

template <typename Char>
std::vector<std::basic_string<Char>>& SplitInto(const std::basic_string<Char>& text, Char delimiter,
                                                std::vector<std::basic_string<Char>>& out) {
    std::basic_istringstream<Char> stream(text);
    std::basic_string<Char> piece;
    while (std::getline(stream, piece, delimiter)) {
        out.push_back(piece);
    }
    return out;
}

} // namespace

std::string CStringHelper::WideToAnsi(const std::wstring& text) {
    std::string result(text.size(), '\0');
    // The count does not matter: the result keeps the source's length whatever was converted.
    [[maybe_unused]] const std::size_t converted = std::wcstombs(result.data(), text.c_str(), result.size());
    return result;
}

std::wstring CStringHelper::AnsiToWide(const std::string& text) {
    std::wstring result(text.size(), L'\0');
    [[maybe_unused]] const std::size_t converted = std::mbstowcs(result.data(), text.c_str(), result.size());
    return result;
}

std::vector<std::string>& CStringHelper::Split(const std::string& text, char delimiter, std::vector<std::string>& out) {
    return SplitInto(text, delimiter, out);
}

std::vector<std::wstring>& CStringHelper::Split(const std::wstring& text, wchar_t delimiter,
                                                std::vector<std::wstring>& out) {
    return SplitInto(text, delimiter, out);
}

std::vector<std::string> CStringHelper::Split(const std::string& text, char delimiter) {
    std::vector<std::string> out;
    return SplitInto(text, delimiter, out);
}

std::vector<std::wstring> CStringHelper::Split(const std::wstring& text, wchar_t delimiter) {
    std::vector<std::wstring> out;
    return SplitInto(text, delimiter, out);
}

bool CStringHelper::StartsWith(const std::string& text, const std::string& prefix) {
    return text.rfind(prefix, 0) == 0;
}

bool CStringHelper::EndsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string CStringHelper::Trim(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

void CStringHelper::ltrim(std::string& text) {
    text.erase(text.begin(), std::find_if(text.begin(), text.end(), [](unsigned char c) { return !std::isspace(c); }));
}

std::string CStringHelper::Join(const std::vector<std::string>& elements, const std::string& delimiter) {
    std::string joined;
    for (const std::string& element : elements) {
        joined += element + delimiter;
    }
    if (!elements.empty()) {
        joined.erase(joined.size() - delimiter.size());
    }
    return joined;
}

std::string CStringHelper::ToUpper(const std::string& text) {
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}
