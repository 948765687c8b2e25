#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What the simulated devices are to answer: a text file that may change while the service runs. See README.md.
//
// A look takes the file as it then is; any thread may look at any time.
class CScenario {
public:
    // The scenario of this moment: that of the file SYLVARIN_SCENARIO, /run/machine/scenario where it is not set, read
    // anew when the file has changed. Empty where there is no file. Never null.
    static std::shared_ptr<const CScenario> Now();

    bool HasSection(const std::string& section) const { return m_sections.contains(section); }

    // The names of the sections "KIND NAME" of a kind, in the order of their texts.
    std::vector<std::string> NamesOf(const std::string& kind) const;

    // The value of this moment: that of a list which its time has come to. None where the setting is missing.
    std::optional<std::string> Text(const std::string& section, const std::string& key) const;
    // The same as a number, decimal or with 0x; what was last remembered for it replaces what the file says, until the
    // file says something else. None, and a line on standard error, where it is not a number.
    std::optional<std::int64_t> Number(const std::string& section, const std::string& key) const;
    // Keeps the number for a setting, as a port keeps what is written to it.
    void Remember(const std::string& section, const std::string& key, std::int64_t number) const;

    // Appends a line to the journal of the requests, if [scenario] names one.
    void Record(const std::string& line) const;

private:
    using TSection = std::map<std::string, std::string>;

    static std::shared_ptr<const CScenario> Read(const std::string& path);
    void ReadLine(std::string line, int number, std::string& section);
    const std::string* Find(const std::string& section, const std::string& key) const;

    std::map<std::string, TSection> m_sections;
    std::int64_t m_startMs = 0; // when it was read, by the monotonic clock
};
