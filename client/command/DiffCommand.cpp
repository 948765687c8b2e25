#include <ostream>

#include "Commands.h"
#include "settings/SettingsDifference.h"
#include "settings/SettingsSource.h"

namespace MdpCommand {
namespace {

// As diff(1): what cannot be compared must not look like a difference.
constexpr int s_differs = 1;

class DiffCommand : public Command {
public:
    void Declare(Arguments& arguments) override { m_source.Declare(arguments); }

    int Run(const Context& context) override {
        int status = ExitOk;
        const auto wanted = m_source.Load(context, status);
        if (!wanted) {
            return status;
        }
        ReadFailure failure;
        const auto machine = ReadMachineSettings(context, SettingsChoice::For(*wanted), failure);
        if (!machine) {
            status = context.Fail(failure.error, failure.subject);
            return status == s_differs ? ExitTransport : status;
        }
        const std::vector<Difference> differences = CompareSettings(*wanted, *machine);
        Json list = Json::Array();
        for (const Difference& difference : differences) {
            list.Add(DifferenceJson(difference));
            if (!context.json) {
                context.streams.out << DifferenceWords(difference) << '\n';
            }
        }
        if (context.json) {
            context.Print({{"equal", differences.empty()}, {"differences", list}});
        }
        return differences.empty() ? ExitOk : s_differs;
    }

    std::vector<Candidate> Complete(const Context&, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        return positionals.empty() ? std::vector<Candidate>{{s_completeFiles, ""}} : std::vector<Candidate>();
    }

    int Prepare(const Context& context) override { return m_source.Prepare(context); }

private:
    SettingsSource m_source;
};

} // namespace

std::unique_ptr<Command> MakeDiffCommand() {
    return std::make_unique<DiffCommand>();
}

} // namespace MdpCommand
