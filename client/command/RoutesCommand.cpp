#include "Commands.h"

#include <array>

#include "ModuleTable.h"
#include "Reader.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_moduleTypeRuntime = 8;

// The arrays of the module: element i of each belongs to one route.
constexpr unsigned s_name = 2;
constexpr unsigned s_address = 3;
constexpr unsigned s_netId = 4;
constexpr unsigned s_flags = 5;
constexpr unsigned s_timeout = 6;
constexpr unsigned s_transport = 7;

constexpr unsigned s_serviceAdd = 0;
constexpr unsigned s_serviceDelete = 1;

constexpr std::uint64_t s_highestNumber = 0xFFFFFFFF;
constexpr std::uint64_t s_highestTransport = 0xFFFF;
constexpr std::uint32_t s_addHead = 28; // bytes of the request in front of its texts

struct Route {
    std::string name;
    std::string address;
    std::string netId;
    std::optional<std::int64_t> transport;
    std::optional<std::int64_t> timeout;
    std::optional<std::int64_t> flags;
};

Mdp::Result<std::vector<Route>> ReadRoutes(ModuleTable& table) {
    std::vector<Route> routes(table.Rows());
    for (std::size_t row = 0; row < routes.size(); ++row) {
        routes[row] = {table.Text(s_name, row),        table.Text(s_address, row),   table.Text(s_netId, row),
                       table.Number(s_transport, row), table.Number(s_timeout, row), table.Number(s_flags, row)};
    }
    if (table.Failure()) {
        return *table.Failure();
    }
    return routes;
}

void Put(Mdp::Bytes& record, std::uint64_t number, unsigned bytes) {
    for (unsigned byte = 0; byte < bytes; ++byte) {
        record.push_back(static_cast<std::uint8_t>(number >> 8 * byte));
    }
}

void Put(Mdp::Bytes& record, const std::string& text) {
    record.insert(record.end(), text.begin(), text.end());
}

// Takes six numbers with dots between.
TakeText TakeNetId(std::array<std::uint8_t, 6>& netId) {
    return [&netId](std::string& text) -> std::string {
        const std::vector<std::string> parts = Split(text, '.');
        bool isWhole = parts.size() == netId.size();
        for (std::size_t i = 0; isWhole && i < netId.size(); ++i) {
            const auto number = ParseNumber(parts[i], 255);
            isWhole = number.has_value();
            netId[i] = static_cast<std::uint8_t>(number.value_or(0));
        }
        return isWhole ? std::string() : "\"" + text + "\" is no net id such as 5.8.15.47.1.1";
    };
}

class RoutesCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("ACTION", &m_action, "add or del; without it the routes are shown").OneOf({"add", "del"});
        arguments.Positional("NAME", &m_name, "the name of the route");
        arguments.Positional("ADDRESS", &m_address, "of the route to add: a host name or an IP address");
        arguments.Positional("NETID", &m_netIdText, "its net id, such as 5.8.15.47.1.1").Take(TakeNetId(m_netId));
        arguments.Option("--transport", &m_transport, "the router's number of the transport, 1 if not given")
            .Take(TakeUpTo(s_highestTransport));
        arguments.Option("--route-timeout", &m_timeout, "the time-out of the route, 5000 if not given")
            .Take(TakeUpTo(s_highestNumber));
        arguments.Option("--flags", &m_flags, "the router's flags, 0 if not given").Take(TakeUpTo(s_highestNumber));
    }

    int Run(const Context& context) override {
        if (m_action.empty()) {
            return Show(context);
        }
        const bool adds = m_action == "add";
        if (m_name.empty() || (adds && m_netIdText.empty()) || (!adds && !m_address.empty())) {
            return context.Fail(ExitUsage, adds ? "add what? mdp routes add NAME ADDRESS NETID"
                                                : "delete what? mdp routes del NAME");
        }
        const auto module = FindModuleOf(context.client, s_moduleTypeRuntime, "routes of an automation runtime");
        if (!module) {
            return context.Fail(module.Error(), m_name);
        }
        const std::uint16_t service = module->Service(adds ? s_serviceAdd : s_serviceDelete);
        const auto response =
            context.client.CallService(service, adds ? AddRecord() : DeleteRecord(), context.JobOptions(m_name));
        if (!response) {
            return context.Fail(response.Error(), m_name);
        }
        if (response->status.Failed()) {
            return context.Fail(Mdp::Error{Mdp::ErrorKind::Object, response->FailureCode(), 0, {}}, m_name);
        }
        if (context.json) {
            context.Print({{"route", TextJson(m_name)}, {"done", adds ? "added" : "deleted"}});
        }
        return ExitOk;
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        if (positionals.empty()) {
            return {{"add", "add a route"}, {"del", "delete a route"}};
        }
        std::vector<Candidate> names;
        if (positionals.size() == 1 && positionals[0] == "del") {
            const auto routes = ReadModuleTable<Route>(context.client, s_moduleTypeRuntime, s_name, ReadRoutes);
            for (const Route& route : routes ? *routes : std::vector<Route>()) {
                names.push_back({route.name, route.address});
            }
        }
        return names;
    }

private:
    static TakeText TakeUpTo(std::uint64_t limit) {
        return [limit](std::string& text) -> std::string {
            return ParseNumber(text, limit) ? std::string()
                                            : "\"" + text + "\" is no number up to " + std::to_string(limit);
        };
    }

    static std::uint64_t NumberOf(const std::string& text) { return ParseNumber(text, s_highestNumber).value_or(0); }

    Mdp::Bytes AddRecord() const {
        Mdp::Bytes record;
        Put(record, s_addHead + m_name.size() + m_address.size(), 4);
        Put(record, NumberOf(m_flags), 4);
        Put(record, NumberOf(m_timeout), 4);
        Put(record, NumberOf(m_transport), 2);
        record.insert(record.end(), m_netId.begin(), m_netId.end());
        Put(record, m_name.size(), 4);
        Put(record, m_address.size(), 4);
        Put(record, m_name);
        Put(record, m_address);
        return record;
    }

    Mdp::Bytes DeleteRecord() const {
        Mdp::Bytes record;
        Put(record, m_name.size(), 4);
        Put(record, m_name);
        return record;
    }

    static int Show(const Context& context) {
        const auto routes = ReadModuleTable<Route>(context.client, s_moduleTypeRuntime, s_name, ReadRoutes);
        if (!routes) {
            return context.Fail(routes.Error(), "listing the routes");
        }
        Table table({"NAME", "ADDRESS", "NET ID", "TRANSPORT", "TIME-OUT", "FLAGS"});
        table.NameColumn(0);
        for (const std::size_t column : {3U, 4U, 5U}) {
            table.AlignRight(column);
        }
        Json list = Json::Array();
        for (const Route& route : *routes) {
            list.Add({{"name", TextJson(route.name)},
                      {"address", TextJson(route.address)},
                      {"netId", TextJson(route.netId)},
                      {"transport", NumberJson(route.transport)},
                      {"timeout", NumberJson(route.timeout)},
                      {"flags", NumberJson(route.flags)}});
            table.Add({PrintableText(route.name), PrintableText(route.address), PrintableText(route.netId),
                       NumberText(route.transport), NumberText(route.timeout), NumberText(route.flags)});
        }
        if (context.json) {
            context.Print(list);
        } else {
            context.Show(table);
        }
        return ExitOk;
    }

    std::string m_action;
    std::string m_name;
    std::string m_address;
    std::string m_netIdText;
    std::array<std::uint8_t, 6> m_netId{};
    std::string m_transport = "1";
    std::string m_timeout = "5000";
    std::string m_flags = "0";
};

} // namespace

std::unique_ptr<Command> MakeRoutesCommand() {
    return std::make_unique<RoutesCommand>();
}

} // namespace MdpCommand
