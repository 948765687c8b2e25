#include <algorithm>
#include <optional>
#include <ostream>

#include "Accounts.h"
#include "Commands.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

const std::string s_noText;

Json GroupsJson(const Account& account) {
    Json groups = Json::Array();
    for (const std::string& group : account.groups) {
        groups.Add(TextJson(group));
    }
    return groups;
}

class UserCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments
            .Positional("ACTION", &m_action,
                        "list all users; add, del or passwd one; or show the groups of one; without it all are listed")
            .OneOf({"list", "add", "del", "passwd", "groups"});
        arguments.Positional("USER", &m_user, "the name of the user");
        arguments
            .Option("--password-fd", &m_descriptor,
                    "read passwords from this descriptor, a line each (passwd: the old one, then the new one)")
            .InRange(0, 1 << 20);
    }

    int Prepare(const Context& context) override {
        const int status = CheckWords(context);
        return status == ExitOk && TakesPassword() ? AskPasswords(context) : status;
    }

    int Run(const Context& context) override {
        if (const int status = CheckWords(context); status != ExitOk) {
            return status;
        }
        if (TakesPassword()) {
            const int status = m_password ? int{ExitOk} : AskPasswords(context);
            return status == ExitOk ? SendPasswords(context) : status;
        }
        if (m_action == "del") {
            return CallAccountService(context, AccountService::DeleteUser, {&m_user, &s_noText}, m_user,
                                      "deleted; the home directory stays");
        }
        return Lists() ? List(context) : ShowGroups(context);
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        if (positionals.empty()) {
            return {{"list", "show all users"},
                    {"add", "add a user"},
                    {"del", "delete a user"},
                    {"passwd", "change a password"},
                    {"groups", "show the groups of a user"}};
        }
        const bool takesUser = positionals[0] == "del" || positionals[0] == "passwd" || positionals[0] == "groups";
        return takesUser && positionals.size() == 1 ? UserCandidates(context) : std::vector<Candidate>();
    }

private:
    static constexpr std::uint64_t s_noDescriptor = ~std::uint64_t{0};

    PasswordSource Source() const {
        return PasswordSource(m_descriptor == s_noDescriptor ? std::nullopt : std::optional(m_descriptor));
    }

    bool Lists() const { return m_action.empty() || m_action == "list"; }

    bool TakesPassword() const { return m_action == "add" || m_action == "passwd"; }

    int CheckWords(const Context& context) const {
        if (Lists() != m_user.empty()) {
            return context.Fail(ExitUsage, Lists() ? "the list takes no name; mdp user groups USER shows one user"
                                                   : "name the user: mdp user " + m_action + " USER");
        }
        if (m_descriptor != s_noDescriptor && !TakesPassword()) {
            return context.Fail(ExitUsage, "--password-fd is for add and passwd");
        }
        return ExitOk;
    }

    int AskPasswords(const Context& context) {
        const bool changes = m_action == "passwd";
        std::string wrong;
        if (changes) {
            auto old = Source().Ask("Old password of " + m_user + ": ", wrong);
            if (!old) {
                return context.Fail(ExitUsage, wrong);
            }
            m_oldPassword.emplace(std::move(*old));
        }
        auto password = Source().AskNew((changes ? "New password of " : "Password for ") + m_user + ": ", wrong);
        if (!password) {
            return context.Fail(ExitUsage, wrong);
        }
        m_password.emplace(std::move(*password));
        return ExitOk;
    }

    int SendPasswords(const Context& context) const {
        if (m_action == "add") {
            return CallAccountService(context, AccountService::AddUser, {&m_user, &s_noText, &m_password->Bytes()},
                                      m_user, "added");
        }
        return CallAccountService(context, AccountService::ChangePassword,
                                  {&m_user, &s_noText, &m_oldPassword->Bytes(), &m_password->Bytes()}, m_user,
                                  "password changed");
    }

    static int List(const Context& context) {
        const auto accounts = ListAccounts(context);
        if (!accounts) {
            return context.Fail(accounts.Error(), "listing the users");
        }
        Table table({"USER", "GROUPS"});
        table.NameColumn(0);
        Json list = Json::Array();
        for (const Account& account : *accounts) {
            std::string groups;
            for (const std::string& group : account.groups) {
                groups += (groups.empty() ? "" : " ") + PrintableText(group);
            }
            table.Add({PrintableText(account.name), groups.empty() ? "-" : groups});
            list.Add({{"name", TextJson(account.name)}, {"groups", GroupsJson(account)}});
        }
        if (context.json) {
            context.Print(list);
        } else {
            context.Show(table);
        }
        return ExitOk;
    }

    int ShowGroups(const Context& context) const {
        const auto accounts = ListAccounts(context);
        if (!accounts) {
            return context.Fail(accounts.Error(), "listing the users");
        }
        const auto found = std::find_if(accounts->begin(), accounts->end(),
                                        [&](const Account& account) { return account.name == m_user; });
        if (found == accounts->end()) {
            return context.Fail(Mdp::Error{Mdp::ErrorKind::Object, Mdp::OBJ_E_NOSUCHUSER, 0, {}}, m_user);
        }
        if (context.json) {
            context.Print({{"name", TextJson(found->name)}, {"groups", GroupsJson(*found)}});
            return ExitOk;
        }
        for (const std::string& group : found->groups) {
            context.streams.out << PrintableText(group) << '\n';
        }
        return ExitOk;
    }

    std::string m_action;
    std::string m_user;
    std::uint64_t m_descriptor = s_noDescriptor;
    std::optional<Secret> m_oldPassword;
    std::optional<Secret> m_password;
};

} // namespace

std::unique_ptr<Command> MakeUserCommand() {
    return std::make_unique<UserCommand>();
}

} // namespace MdpCommand
