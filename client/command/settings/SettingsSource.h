#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "settings/SettingsChoice.h"
#include "settings/SettingsDocument.h"

namespace MdpCommand {

// What the commands that take a document of settings have on their command line: the document, what to take of it, and
// what to put in the place of its values.
class SettingsSource {
public:
    void Declare(Arguments& arguments);

    // For several machines, as Command::Prepare.
    int Prepare(const Context& context) const;

    // The settings that are asked for, all of which a machine could take. Without them the failure is told, and
    // `status` is to be ended with.
    std::optional<Settings> Load(const Context& context, int& status) const;

    // The document as it is called in words.
    std::string Name() const { return m_path == "-" ? "the document" : m_path; }

    // Tells all that is wrong with them, a line each, and gives the status to end with.
    int FailFaults(const Context& context, const std::vector<Fault>& faults) const;

private:
    std::optional<Settings> LoadDocument(const Context& context, int& status) const;
    int PutValues(const Context& context, Settings& settings) const;

    std::string m_path;
    std::vector<std::string> m_only;
    std::vector<std::string> m_values;
    std::string m_tablePath;
    std::string m_machine;
};

// Adds --only. The texts are for SettingsChoice::Add.
void DeclareOnly(Arguments& arguments, std::vector<std::string>& only);

} // namespace MdpCommand
