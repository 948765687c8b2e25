#include <ostream>

#include "Accounts.h"
#include "Commands.h"
#include "Text.h"

namespace MdpCommand {
namespace {

const std::string s_noText;

class GroupCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments
            .Positional("ACTION", &m_action,
                        "list all groups; add or del one; or let a user join or leave one; without it all are listed")
            .OneOf({"list", "add", "del", "join", "leave"});
        arguments.Positional("GROUP", &m_group, "the name of the group");
        arguments.Positional("USER", &m_user, "the user that joins or leaves");
    }

    int Run(const Context& context) override {
        const bool lists = m_action.empty() || m_action == "list";
        const bool takesUser = m_action == "join" || m_action == "leave";
        if (lists) {
            return m_group.empty() ? List(context)
                                   : context.Fail(ExitUsage, "the list takes no name: write mdp group list");
        }
        if (m_group.empty() || takesUser == m_user.empty()) {
            return context.Fail(ExitUsage, "write: mdp group " + m_action + (takesUser ? " GROUP USER" : " GROUP"));
        }
        if (takesUser) {
            const bool joins = m_action == "join";
            return TellOutcome(context, ChangeMembership(context, m_group, m_user, joins), m_group,
                               m_user + (joins ? " is a member" : " is no member"));
        }
        const bool adds = m_action == "add";
        return CallAccountService(context, adds ? AccountService::AddGroup : AccountService::DeleteGroup,
                                  {&m_group, &s_noText}, m_group, adds ? "added" : "deleted");
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        if (positionals.empty()) {
            return {{"list", "show all groups"},
                    {"add", "add a group"},
                    {"del", "delete a group"},
                    {"join", "make a user a member"},
                    {"leave", "take a member away"}};
        }
        const bool takesUser = positionals[0] == "join" || positionals[0] == "leave";
        if (positionals.size() == 1 && (takesUser || positionals[0] == "del")) {
            return GroupCandidates(context);
        }
        return positionals.size() == 2 && takesUser ? UserCandidates(context) : std::vector<Candidate>();
    }

private:
    static int List(const Context& context) {
        const auto groups = ListGroups(context);
        if (!groups) {
            return context.Fail(groups.Error(), "listing the groups");
        }
        Json list = Json::Array();
        for (const std::string& group : *groups) {
            if (context.json) {
                list.Add(TextJson(group));
            } else {
                context.streams.out << PrintableText(group) << '\n';
            }
        }
        if (context.json) {
            context.Print(list);
        }
        return ExitOk;
    }

    std::string m_action;
    std::string m_group;
    std::string m_user;
};

} // namespace

std::unique_ptr<Command> MakeGroupCommand() {
    return std::make_unique<GroupCommand>();
}

} // namespace MdpCommand
