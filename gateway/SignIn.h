#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "Http.h"
#include "Sessions.h"

namespace Gateway {

/// Whether the password is that of the account, and the account may be used now. Takes its time.
using PasswordCheck = std::function<bool(const std::string& user, const std::string& password)>;

/// Whether an account belongs to a group of the machine, by its primary group or as a member.
using GroupCheck = std::function<bool(const std::string& user, const std::string& group)>;

/// By PAM, as the service "sylvarin-gateway".
bool CheckPassword(const std::string& user, const std::string& password);

bool IsInGroup(const std::string& user, const std::string& group);

/// Signs people in. For use by several threads.
class SignIn {
public:
    struct Options {
        std::string viewers; ///< the group that may look; empty: everybody may
        std::string editors; ///< the group that may look and change; empty: nobody may change
    };

    /// Exactly one of the two is there: a session, or why there is none.
    struct Outcome {
        std::optional<Session> session;
        int status = 0; ///< 401, 429 or 503
        int retryAfterSeconds = 0;
    };

    SignIn(Options options, PasswordCheck password, GroupCheck group,
           const SteadyNow& now = std::chrono::steady_clock::now);

    /// Whether there is anything to be gained by it.
    bool IsOffered() const { return !m_options.viewers.empty() || !m_options.editors.empty(); }

    bool IsNeededToLook() const { return !m_options.viewers.empty(); }

    bool MayAnybodyChange() const { return !m_options.editors.empty(); }

    Outcome Try(const std::string& user, const std::string& password, const Peer& peer);

private:
    const Options m_options;
    const PasswordCheck m_password;
    const GroupCheck m_group;
    Attempts m_accounts;
    Attempts m_addresses;
    std::timed_mutex m_mutex; // one check at a time
};

} // namespace Gateway
