#include <filesystem>
#include <ostream>

#include "Commands.h"
#include "LocalFile.h"
#include "RemoteFiles.h"
#include "Text.h"
#include "settings/MachineSettings.h"
#include "settings/SettingsDocument.h"
#include "settings/SettingsSource.h"

namespace MdpCommand {
namespace {

class SaveCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("FILE", &m_path, "where to put the document; the standard output if not given")
            .Take(TakeLocalPath());
        DeclareOnly(arguments, m_only);
    }

    int Prepare(const Context& context) override {
        return m_path == "-" || std::filesystem::is_directory(m_path)
                   ? ExitOk
                   : context.Fail(ExitUsage,
                                  m_path + ": name a directory; each machine has a document of its name in it");
    }

    int Run(const Context& context) override {
        if (context.report != nullptr && m_path != "-") {
            m_path = JoinPath(m_path, context.host + ".json");
        }
        SettingsChoice choice;
        for (const std::string& only : m_only) {
            if (const std::string wrong = choice.Add(only); !wrong.empty()) {
                return context.Fail(ExitUsage, wrong);
            }
        }
        ReadFailure failure;
        const auto machine = ReadMachineSettings(context, choice, failure);
        if (!machine) {
            return context.Fail(failure.error, failure.subject + " (--only names the sections to save)");
        }
        for (const auto& [section, why] : machine->notOffered) {
            context.streams.err << "mdp: left out: " << SectionName(section) << ": " << why << '\n';
        }
        for (const std::string& leftOut : machine->leftOut) {
            context.streams.err << "mdp: left out: " << leftOut << '\n';
        }
        for (const std::string& adapter : choice.Adapters()) {
            if (!machine->adapters.contains(adapter)) {
                return context.Fail(ExitUsage, "--only: there is no adapter " + adapter + "; mdp net lists them");
            }
        }
        return Write(context, machine->settings);
    }

    std::vector<Candidate> Complete(const Context&, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        return positionals.empty() ? std::vector<Candidate>{{s_completeFiles, ""}} : std::vector<Candidate>();
    }

private:
    int Write(const Context& context, const Settings& settings) const {
        const std::string text = DocumentText(settings);
        if (m_path == "-") {
            if (context.json) {
                context.Print(DocumentJson(settings));
            } else {
                context.streams.out << text;
            }
            return ExitOk;
        }
        LocalFile file;
        Mdp::Result<void> written = file.Open(m_path);
        if (written) {
            written = file.Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
        }
        if (written) {
            written = file.Commit();
        }
        if (!written) {
            return context.Fail(written.Error(), "writing the document");
        }
        std::string names;
        Json sections = Json::Array();
        for (const Section section : SectionsOf(settings)) {
            names += std::string(names.empty() ? "" : ", ") + SectionName(section);
            sections.Add(SectionName(section));
        }
        if (context.json) {
            context.Print({{"file", TextJson(m_path)}, {"sections", sections}});
        } else {
            context.streams.out << PrintableText(m_path) << ": saved: " << (names.empty() ? "nothing" : names) << '\n';
        }
        return ExitOk;
    }

    std::string m_path = "-";
    std::vector<std::string> m_only;
};

} // namespace

std::unique_ptr<Command> MakeSaveCommand() {
    return std::make_unique<SaveCommand>();
}

} // namespace MdpCommand
