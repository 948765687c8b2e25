#include "Commands.h"

#include <fnmatch.h>

#include <algorithm>
#include <ostream>

#include "Table.h"
#include "Text.h"
#include "TimeModule.h"

namespace MdpCommand {
namespace {

constexpr const char* s_list = "list";
constexpr const char* s_set = "set";

// A pattern without wildcards is looked for anywhere in the name.
bool Matches(const std::string& pattern, const std::string& name) {
    const bool hasWildcards = pattern.find_first_of("*?[") != std::string::npos;
    const std::string whole = hasWildcards || pattern.empty() ? pattern : "*" + pattern + "*";
    return pattern.empty() || fnmatch(whole.c_str(), name.c_str(), 0) == 0;
}

class ZoneCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments
            .Positional("ACTION", &m_action,
                        "list shows the zones, set selects one; without it the active one is shown")
            .OneOf({s_list, s_set});
        arguments.Positional("NAME", &m_name, "the zone to set, or a pattern of those to list");
    }

    int Run(const Context& context) override {
        if (m_action == s_set && m_name.empty()) {
            return context.Fail(ExitUsage, "name the zone: mdp zone set NAME; mdp zone list shows them");
        }
        const auto module = TimeModule::Find(context.client);
        if (!module) {
            return context.Fail(module.Error(), "finding the zones");
        }
        if (m_action == s_list) {
            return List(context, *module);
        }
        return m_action == s_set ? Set(context, *module) : Show(context, *module);
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        if (positionals.empty()) {
            return {{s_list, "show the zones"}, {s_set, "select a zone"}};
        }
        std::vector<Candidate> candidates;
        const auto module = TimeModule::Find(context.client);
        if (!module || positionals.size() > 1) {
            return candidates;
        }
        const auto zones = module->ListZones();
        for (std::size_t zone = 0; zones && zone < zones->size(); ++zone) {
            candidates.push_back({(*zones)[zone], ""});
        }
        return candidates;
    }

private:
    static int Show(const Context& context, const TimeModule& module) {
        const auto zone = module.ReadZone();
        if (!zone) {
            return context.Fail(zone.Error(), "reading the zone");
        }
        if (context.json) {
            context.Print({{"zone", zone->empty() ? Json() : TextJson(*zone)}});
        } else {
            context.streams.out << (zone->empty() ? "-" : PrintableText(*zone)) << '\n';
        }
        return ExitOk;
    }

    int List(const Context& context, const TimeModule& module) const {
        const auto zones = module.ListZones();
        const auto active = module.ReadNumber(TimeModule::SubZone);
        if (!zones || !active) {
            return context.Fail(zones ? active.Error() : zones.Error(), "listing the zones");
        }
        Table table({"INDEX", "ZONE"});
        table.NameColumn(1);
        table.AlignRight(0);
        Json list = Json::Array();
        for (std::size_t zone = 0; zone < zones->size(); ++zone) {
            const std::string& name = (*zones)[zone];
            if (Matches(m_name, name)) {
                list.Add({{"index", zone}, {"zone", TextJson(name)}, {"active", zone == *active}});
                table.Add({std::to_string(zone), PrintableText(name)});
            }
        }
        if (context.json) {
            context.Print(list);
        } else {
            context.Show(table);
        }
        return ExitOk;
    }

    int Set(const Context& context, const TimeModule& module) const {
        auto zones = module.ListZones();
        if (zones && std::find(zones->begin(), zones->end(), m_name) == zones->end()) {
            // The service forgets its list after half a minute without a query: one that was read meanwhile has gaps.
            zones = module.ListZones();
        }
        if (!zones) {
            return context.Fail(zones.Error(), "listing the zones");
        }
        const auto found = std::find(zones->begin(), zones->end(), m_name);
        if (found == zones->end()) {
            return context.Fail(ExitUsage, "there is no zone " + m_name + "; mdp zone list shows them");
        }
        const auto index = static_cast<std::uint64_t>(found - zones->begin());
        if (const auto result = module.WriteNumber(TimeModule::SubZone, index, 2); !result) {
            return context.Fail(result.Error(), m_name);
        }
        return Show(context, module);
    }

    std::string m_action;
    std::string m_name;
};

} // namespace

std::unique_ptr<Command> MakeZoneCommand() {
    return std::make_unique<ZoneCommand>();
}

} // namespace MdpCommand
