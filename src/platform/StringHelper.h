#pragma once

#include <string>
#include <vector>

// What the modules share on ordinary strings. No state: any thread may call.
class CStringHelper {
public:
    // Both give a string as long as the source has characters: a longer conversion is cut there, a shorter one keeps
    // zero characters behind it.
    static std::string WideToAnsi(const std::wstring& text);
    static std::wstring AnsiToWide(const std::string& text);

    // Appends each piece of the text up to the delimiter to out, and returns out. Pieces keep their blanks; a delimiter
    // at the end gives no further piece, an empty text none at all.
    static std::vector<std::string>& Split(const std::string& text, char delimiter, std::vector<std::string>& out);
    static std::vector<std::wstring>& Split(const std::wstring& text, wchar_t delimiter,
                                            std::vector<std::wstring>& out);
    static std::vector<std::string> Split(const std::string& text, char delimiter);
    static std::vector<std::wstring> Split(const std::wstring& text, wchar_t delimiter);

    static bool StartsWith(const std::string& text, const std::string& prefix);
    static bool EndsWith(const std::string& text, const std::string& suffix);

    // A copy without leading and trailing blanks; only " " counts as one.
    static std::string Trim(const std::string& text);
    // Removes leading white space, as isspace sees it, in place.
    static void ltrim(std::string& text);

    static std::string Join(const std::vector<std::string>& elements, const std::string& delimiter);
    static std::string ToUpper(const std::string& text);
};
