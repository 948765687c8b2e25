#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "settings/Settings.h"

namespace MdpCommand {

const char* SectionName(Section section);
const std::vector<Section>& AllSections();

// Sections of a document that a command line picks by --only; all of them if it picks none.
class SettingsChoice {
public:
    SettingsChoice() = default;

    // One section alone; of Net one adapter.
    explicit SettingsChoice(Section section, const std::string& adapter = "");

    // The sections that the settings speak of.
    static SettingsChoice For(const Settings& settings);

    // Adds what a text such as "zone,net=em0" names. What is wrong with it, or nothing.
    std::string Add(const std::string& text);

    bool Has(Section section) const;
    bool HasAdapter(const std::string& adapter) const;

    // Those that are chosen by name.
    const std::set<std::string>& Adapters() const { return m_adapters; }

    // Takes out of the settings what is not chosen. Names what is chosen and not in them, or nothing.
    std::string Restrict(Settings& settings) const;

private:
    std::set<Section> m_sections;     // empty for all
    std::set<std::string> m_adapters; // of Net; empty for all
};

// The sections that the settings speak of.
std::vector<Section> SectionsOf(const Settings& settings);

} // namespace MdpCommand
