#include <ostream>

#include "Commands.h"
#include "Text.h"
#include "settings/SettingsChange.h"
#include "settings/SettingsSource.h"

namespace MdpCommand {
namespace {

// How long a change may take until the machine shows it.
constexpr Mdp::Milliseconds s_patience{60000};

std::string Count(std::size_t number, const char* one, const char* several) {
    return std::to_string(number) + " " + (number == 1 ? one : several);
}

class ApplyCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        m_source.Declare(arguments);
        arguments.Flag("--dry-run", m_isDryRun, "tell what would be changed, in which order, and change nothing");
    }

    int Run(const Context& given) override {
        Context context = given;
        context.BeginStream(); // a line a change, as it is made
        int status = ExitOk;
        const auto wanted = m_source.Load(context, status);
        if (!wanted) {
            return status;
        }
        ReadFailure failure;
        const auto machine = ReadMachineSettings(context, SettingsChoice::For(*wanted), failure);
        if (!machine) {
            return context.Fail(failure.error, failure.subject);
        }
        if (const std::vector<Fault> obstacles = FindObstacles(*wanted, *machine); !obstacles.empty()) {
            return m_source.FailFaults(context, obstacles);
        }
        const std::vector<Step> steps = PlanSteps(*wanted, *machine, AddressOfSession(context));
        if (m_isDryRun) {
            return Show(context, steps);
        }
        status = Make(context, *wanted, steps);
        return status == ExitOk ? Conclude(context, *wanted, steps.size()) : status;
    }

    std::vector<Candidate> Complete(const Context&, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        return positionals.empty() ? std::vector<Candidate>{{s_completeFiles, ""}} : std::vector<Candidate>();
    }

    int Prepare(const Context& context) override { return m_source.Prepare(context); }

private:
    // The address of the machine that leads to it from here, if that is known.
    static std::string AddressOfSession(const Context& context) {
        return context.host.empty() ? SessionAddress() : context.host.substr(context.host.rfind('@') + 1);
    }

    int Show(const Context& context, const std::vector<Step>& steps) const {
        if (steps.empty()) {
            return TellEqual(context);
        }
        if (!context.json) {
            context.streams.out << "these would be changed, in this order:\n";
        }
        for (const Step& step : steps) {
            for (const Difference& difference : step.differences) {
                Tell(context, difference, false);
                context.streams.out << (context.json ? "" : "\n");
            }
        }
        return ExitOk;
    }

    static void Tell(const Context& context, const Difference& difference, bool isDone) {
        if (context.json) {
            Json json = DifferenceJson(difference);
            json.Add("done", isDone);
            context.Print(json);
        } else {
            context.streams.out << DifferenceWords(difference);
        }
    }

    static int Make(const Context& context, const Settings& wanted, const std::vector<Step>& steps) {
        const Mdp::Milliseconds atMost = context.jobTimeout.count() > 0 ? context.jobTimeout : s_patience;
        for (std::size_t made = 0; made < steps.size(); ++made) {
            const Step& step = steps[made];
            if (!context.json) {
                for (const Difference& difference : step.differences) {
                    context.streams.out << (&difference == step.differences.data() ? "" : ", ")
                                        << DifferenceWords(difference);
                }
                context.streams.out << " ..." << std::flush;
            }
            const StepOutcome outcome = RunStep(context, wanted, step, atMost);
            if (!outcome.isDone) {
                context.streams.out << (context.json ? "" : "\n") << std::flush;
                return TellFailure(context, step, outcome, made, steps.size());
            }
            if (context.json) {
                for (const Difference& difference : step.differences) {
                    Tell(context, difference, true);
                }
            } else {
                context.streams.out << " done\n";
            }
            context.streams.out.flush();
        }
        return ExitOk;
    }

    static int TellFailure(const Context& context, const Step& step, const StepOutcome& outcome, std::size_t made,
                           std::size_t all) {
        const Difference& difference = step.differences.front();
        int status = context.Fail(outcome.error, difference.place);
        if (outcome.error.kind == Mdp::ErrorKind::Argument) {
            status = ExitObject; // the command line was right
        }
        if (!context.json) {
            const bool mayBeCutOff =
                outcome.isLost && (difference.section == Section::Net || difference.section == Section::Gateway);
            context.streams.err << "mdp: " << Count(made, "change", "changes") << " of " << all << " done, which stay; "
                                << (mayBeCutOff ? "if the way to the machine has changed with " + difference.place +
                                                      ", go the new one: "
                                                : std::string())
                                << "the same command again goes on from here\n";
        }
        return status;
    }

    // One change can take back another, or somebody else may have made one.
    int Conclude(const Context& context, const Settings& wanted, std::size_t made) const {
        if (made == 0) {
            return TellEqual(context);
        }
        ReadFailure failure;
        const auto machine = ReadMachineSettings(context, SettingsChoice::For(wanted), failure);
        if (!machine) {
            return context.Fail(failure.error, failure.subject);
        }
        if (const std::vector<Difference> left = CompareSettings(wanted, *machine); !left.empty()) {
            std::string words;
            for (const Difference& difference : left) {
                words += (words.empty() ? "" : "; ") + DifferenceWords(difference);
            }
            return context.Fail(ExitObject, "all changes were made, but now the machine differs again: " + words +
                                                "; the same command again sets them");
        }
        if (context.json) {
            context.Print({{"changes", made}, {"equal", true}});
        } else {
            context.streams.out << Count(made, "change", "changes") << " made: the machine has the settings of "
                                << PrintableText(m_source.Name()) << '\n';
        }
        return ExitOk;
    }

    int TellEqual(const Context& context) const {
        if (context.json) {
            context.Print({{"changes", 0}, {"equal", true}});
        } else {
            context.streams.out << "nothing to change: the machine has the settings of "
                                << PrintableText(m_source.Name()) << '\n';
        }
        return ExitOk;
    }

    SettingsSource m_source;
    bool m_isDryRun = false;
};

} // namespace

std::unique_ptr<Command> MakeApplyCommand() {
    return std::make_unique<ApplyCommand>();
}

} // namespace MdpCommand
