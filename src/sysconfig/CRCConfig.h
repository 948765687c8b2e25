#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ZMBSD {

// Reads and changes the machine's start-up configuration. It is not a parser of that file's language: a line belongs to
// a key when it begins with it, whatever follows, and a value is what stands between the line's first and last double
// quote. Every call reads the file anew, as it has other writers too. A change takes CSettingsLock; who reads a value
// in order to change it holds the lock from before the read.
class CRCConfig {
public:
    static constexpr const char* RC_CONFIG_FILE = "/etc/rc.conf";
    static constexpr const char* RC_CONFIG_ENABLED = "YES";
    static constexpr const char* RC_CONFIG_DISABLED = "NO";
    static constexpr const char* RC_CONFIG_NTPD = "ntpd_enable";
    static constexpr const char* RC_SYSRC_PATH = "/usr/sbin/sysrc";

    // Empty when the key has no line with a double quote, or the file cannot be read.
    static std::string ReadValue(const std::string& key);
    // Replaces the key's first line, or appends one. False when the file cannot be read or replaced, or sysrc was
    // at work on it for half a minute.
    static bool WriteValue(const std::string& key, const std::string& value);
    // Removes the first line of the key that holds the filter, which may be empty. True also when there is none, false
    // as above.
    static bool RemoveValue(const std::string& key, const std::string& filter);

    // Whether the value is YES, in capitals or not.
    static bool IsEnabled(const std::string& value);
    static bool GetNtpdEnabled();
    // The status of the program that edits the file.
    static std::uint32_t SetNtpdEnabled(bool enabled);

    // For option strings such as the value of dhcpcd_flags. An option begins at its first occurrence (npos without
    // one) and ends at the next hyphen, even one inside a value, or at the end of the text.
    static std::size_t GetOptionStartPos(const std::string& text, const std::string& option);
    static std::size_t GetOptionEndPos(const std::string& text, std::size_t start);
    // What separates the list: a comma if it holds one, else a blank.
    static char GetDelimiter(const std::string& text);
};

} // namespace ZMBSD
