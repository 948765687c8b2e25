#pragma once

#include <string>
#include <vector>

#include "Command.h"
#include "Secret.h"

// The user management of a machine, which the commands for users and groups share.

namespace MdpCommand {

struct Account {
    std::string name;
    std::vector<std::string> groups; // the primary one first
};

// Services of the user management, by their number in the module.
enum class AccountService : unsigned {
    AddUser = 0,
    DeleteUser = 1,
    ChangeMembership = 3,
    AddGroup = 4,
    DeleteGroup = 5,
    ChangePassword = 6,
};

// An error of the kind Argument where the machine has no user management.
Mdp::Result<std::vector<Account>> ListAccounts(const Context& context);
Mdp::Result<std::vector<std::string>> ListGroups(const Context& context);

// Calls a service with the record that it takes: the total size, the lengths of the texts, what else the head holds,
// the texts. The subject is what a user who waits is told of.
Mdp::Result<void> RunAccountService(const Context& context, AccountService service,
                                    const std::vector<const std::string*>& texts, const std::string& head,
                                    const std::string& subject);
// Lets a user join or leave a group.
Mdp::Result<void> ChangeMembership(const Context& context, const std::string& group, const std::string& user,
                                   bool joins);

// Tells a failure, about the subject, and gives the status to end with; a success is shown as `done`.
int TellOutcome(const Context& context, const Mdp::Result<void>& outcome, const std::string& subject,
                const std::string& done);
// Both, for a service whose record has no more in its head.
int CallAccountService(const Context& context, AccountService service, const std::vector<const std::string*>& texts,
                       const std::string& subject, const std::string& done);

// Candidates for names.
std::vector<Candidate> UserCandidates(const Context& context);
std::vector<Candidate> GroupCandidates(const Context& context);

} // namespace MdpCommand
