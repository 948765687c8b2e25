#include "Commands.h"

#include <strings.h>

#include "Table.h"
#include "Text.h"
#include "TimeModule.h"

namespace MdpCommand {
namespace {

constexpr const char* s_off = "off";

// The machine's own word for no server is no name of one either, in whatever case.
bool IsOff(const std::string& server) {
    return server == s_off || strcasecmp(server.c_str(), TimeModule::NoServer) == 0;
}

class NtpCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("ACTION", &m_action, "set changes the server; without it the settings are shown")
            .OneOf({"set"});
        arguments.Positional("SERVER", &m_server, "the name or address of the server, or off for no synchronisation");
        arguments
            .Option("--refresh", &m_refresh,
                    "seconds between two questions to the server; the machine takes the power of two below")
            .InRange(16, 4294967295.0);
    }

    int Run(const Context& context) override {
        if (!m_action.empty() && m_server.empty()) {
            return context.Fail(ExitUsage, "name the server: mdp ntp set SERVER, or mdp ntp set off");
        }
        if (!TimeModule::IsServerName(m_server)) {
            return context.Fail(ExitUsage, "\"" + m_server + "\" is no name or address of a server");
        }
        if (IsOff(m_server) && m_refresh != 0) {
            return context.Fail(ExitUsage, "without a server there is no --refresh");
        }
        const auto module = TimeModule::Find(context.client);
        if (!module) {
            return context.Fail(module.Error(), "finding the time server");
        }
        if (!m_server.empty()) {
            const auto result =
                module->WriteText(TimeModule::SubNtpServer, IsOff(m_server) ? TimeModule::NoServer : m_server);
            if (!result) {
                return context.Fail(result.Error(), m_server);
            }
        }
        if (m_refresh != 0) {
            if (const auto result = module->WriteNumber(TimeModule::SubNtpRefresh, m_refresh, 4); !result) {
                return context.Fail(result.Error(), "setting the refresh");
            }
        }
        return Show(context, *module);
    }

    std::vector<Candidate> Complete(const Context&, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        if (positionals.empty()) {
            return {{"set", "change the server"}};
        }
        return positionals.size() == 1 ? std::vector<Candidate>{{s_off, "no synchronisation"}}
                                       : std::vector<Candidate>();
    }

private:
    int Show(const Context& context, const TimeModule& module) const {
        const auto server = module.ReadText(TimeModule::SubNtpServer);
        const auto refresh = module.ReadNumber(TimeModule::SubNtpRefresh);
        if (!server || !refresh) {
            return context.Fail(server ? refresh.Error() : server.Error(), "reading the settings");
        }
        const bool isOn = !server->empty();
        if (!isOn && !m_server.empty() && !IsOff(m_server)) {
            return context.Fail(
                ExitObject,
                "the machine has no place for the server: its /etc/ntp.conf has no line that begins with pool");
        }
        if (context.json) {
            context.Print({{"server", isOn ? TextJson(*server) : Json()}, {"refresh", *refresh}});
            return ExitOk;
        }
        Table table({"SERVER", "REFRESH"});
        table.NameColumn(0);
        table.AlignRight(1);
        table.Add({isOn ? PrintableText(*server) : "-", isOn ? std::to_string(*refresh) : "-"});
        context.Show(table);
        return ExitOk;
    }

    std::string m_action;
    std::string m_server;
    std::uint64_t m_refresh = 0;
};

} // namespace

std::unique_ptr<Command> MakeNtpCommand() {
    return std::make_unique<NtpCommand>();
}

} // namespace MdpCommand
