#include "settings/SettingsChoice.h"

#include <algorithm>
#include <optional>

#include "Text.h"

namespace MdpCommand {
namespace {

struct SectionRow {
    Section section;
    const char* name;
    bool (*isIn)(const Settings& settings);
    void (*takeOut)(Settings& settings);
};

template <auto Member>
constexpr SectionRow Row(Section section, const char* name) {
    return {section, name, [](const Settings& settings) { return (settings.*Member).has_value(); },
            [](Settings& settings) { (settings.*Member).reset(); }};
}

constexpr SectionRow s_sections[] = {
    Row<&Settings::name>(Section::Name, "name"), Row<&Settings::zone>(Section::Zone, "zone"),
    Row<&Settings::ntp>(Section::Ntp, "ntp"),    Row<&Settings::groups>(Section::Groups, "groups"),
    Row<&Settings::dns>(Section::Dns, "dns"),    Row<&Settings::gateway>(Section::Gateway, "gateway"),
    Row<&Settings::net>(Section::Net, "net"),
};

std::string NoSection(const std::string& name) {
    std::string names;
    for (const SectionRow& known : s_sections) {
        names += names.empty() ? "" : ", ";
        names += known.name;
    }
    return "--only: there is no section \"" + name + "\"; there are: " + names + " and net=ADAPTER";
}

} // namespace

const char* SectionName(Section section) {
    return s_sections[static_cast<std::size_t>(section)].name;
}

const std::vector<Section>& AllSections() {
    static const std::vector<Section> all = [] {
        std::vector<Section> sections;
        for (const SectionRow& row : s_sections) {
            sections.push_back(row.section);
        }
        return sections;
    }();
    return all;
}

SettingsChoice::SettingsChoice(Section section, const std::string& adapter) : m_sections{section} {
    if (!adapter.empty()) {
        m_adapters.insert(adapter);
    }
}

SettingsChoice SettingsChoice::For(const Settings& settings) {
    SettingsChoice choice;
    for (const Section section : SectionsOf(settings)) {
        choice.m_sections.insert(section);
    }
    return choice;
}

std::string SettingsChoice::Add(const std::string& text) {
    for (const std::string& part : Split(text, ',')) {
        const std::size_t equals = part.find('=');
        const std::string name = part.substr(0, equals);
        const auto* row = std::find_if(std::begin(s_sections), std::end(s_sections),
                                       [&](const SectionRow& known) { return known.name == name; });
        if (row == std::end(s_sections)) {
            return NoSection(name);
        }
        const std::string adapter = equals == std::string::npos ? "" : part.substr(equals + 1);
        if (equals != std::string::npos && (row->section != Section::Net || adapter.empty())) {
            return "--only: \"" + part + "\": only net takes a name, that of an adapter: net=em0";
        }
        if (!adapter.empty()) {
            m_adapters.insert(adapter);
        }
        m_sections.insert(row->section);
    }
    return "";
}

bool SettingsChoice::Has(Section section) const {
    return m_sections.empty() || m_sections.contains(section);
}

bool SettingsChoice::HasAdapter(const std::string& adapter) const {
    return Has(Section::Net) && (m_adapters.empty() || m_adapters.contains(adapter));
}

std::string SettingsChoice::Restrict(Settings& settings) const {
    for (const SectionRow& row : s_sections) {
        if (!Has(row.section)) {
            row.takeOut(settings);
        } else if (!m_sections.empty() && !row.isIn(settings)) {
            return row.name;
        }
    }
    for (const std::string& adapter : m_adapters) {
        if (!settings.net->contains(adapter)) {
            return "net." + adapter;
        }
    }
    if (settings.net) {
        std::erase_if(*settings.net, [this](const auto& entry) { return !HasAdapter(entry.first); });
    }
    return "";
}

std::vector<Section> SectionsOf(const Settings& settings) {
    std::vector<Section> sections;
    for (const SectionRow& row : s_sections) {
        if (row.isIn(settings)) {
            sections.push_back(row.section);
        }
    }
    return sections;
}

} // namespace MdpCommand
