#include "SignIn.h"

#include <grp.h>
#include <pwd.h>
#include <security/pam_appl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "Log.h"

namespace Gateway {
namespace {

constexpr const char* s_pamService = "sylvarin-gateway";
constexpr std::chrono::seconds s_patience{10}; // for the checks of others
constexpr std::size_t s_mostGroups = 4096;

// Answers every question that is not to be shown with the password, and no other one.
int Converse(int count, const pam_message** messages, pam_response** responses, void* password) {
    if (count <= 0 || count > PAM_MAX_NUM_MSG) {
        return PAM_CONV_ERR;
    }
    // PAM frees them.
    auto* answers = static_cast<pam_response*>(std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
    if (answers == nullptr) {
        return PAM_BUF_ERR;
    }
    for (int i = 0; i < count; ++i) {
        if (messages[i]->msg_style == PAM_PROMPT_ECHO_OFF) {
            answers[i].resp = strdup(static_cast<const std::string*>(password)->c_str());
        }
    }
    *responses = answers;
    return PAM_SUCCESS;
}

} // namespace

bool CheckPassword(const std::string& user, const std::string& password) {
    const pam_conv conversation{Converse, const_cast<std::string*>(&password)};
    pam_handle_t* pam = nullptr;
    if (pam_start(s_pamService, user.c_str(), &conversation, &pam) != PAM_SUCCESS) {
        return false;
    }
    int status = pam_authenticate(pam, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
    if (status == PAM_SUCCESS) {
        status = pam_acct_mgmt(pam, PAM_SILENT);
    }
    pam_end(pam, status);
    return status == PAM_SUCCESS;
}

bool IsInGroup(const std::string& user, const std::string& group) {
    std::vector<char> buffer(65536);

    struct group entry {};
    struct group* found = nullptr;
    if (getgrnam_r(group.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return false;
    }
    const gid_t wanted = entry.gr_gid;
    passwd account{};
    passwd* known = nullptr;
    if (getpwnam_r(user.c_str(), &account, buffer.data(), buffer.size(), &known) != 0 || known == nullptr) {
        return false;
    }
    std::vector<gid_t> groups(s_mostGroups);
    int count = static_cast<int>(groups.size());
    if (getgrouplist(user.c_str(), account.pw_gid, groups.data(), &count) < 0) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        if (groups[static_cast<std::size_t>(i)] == wanted) {
            return true;
        }
    }
    return false;
}

SignIn::SignIn(Options options, PasswordCheck password, GroupCheck group, const SteadyNow& now)
    : m_options(std::move(options)), m_password(std::move(password)), m_group(std::move(group)), m_accounts(now),
      m_addresses(now) {}

SignIn::Outcome SignIn::Try(const std::string& user, const std::string& password, const Peer& peer) {
    // What neither an account nor PAM can have.
    const auto isClean = [](const std::string& text) { return text.find('\0') == std::string::npos; };
    if (user.empty() || !isClean(user) || !isClean(password)) {
        return {std::nullopt, 401, 0};
    }
    std::unique_lock lock(m_mutex, std::defer_lock);
    if (!lock.try_lock_for(s_patience)) {
        return {std::nullopt, 503, static_cast<int>(s_patience.count())};
    }
    // An address that has to wait does not lock accounts.
    std::chrono::seconds wait = m_addresses.Begin(peer.address);
    if (wait.count() == 0) {
        wait = m_accounts.Begin(user);
    }
    if (wait.count() > 0) {
        Log(LogKind::Notice, "sign-in as " + Quoted(user) + " from " + peer.address + " refused: too many failures");
        return {std::nullopt, 429, static_cast<int>(wait.count())};
    }
    Session session{user, false, false};
    if (m_password(user, password)) {
        session.mayChange = !m_options.editors.empty() && m_group(user, m_options.editors);
        session.mayLook = session.mayChange || m_options.viewers.empty() || m_group(user, m_options.viewers);
    }
    // An account that may do nothing here is told no more than a wrong password.
    if (!session.mayChange && (m_options.viewers.empty() || !session.mayLook)) {
        Log(LogKind::Notice, "sign-in as " + Quoted(user) + " from " + peer.address + " failed");
        return {std::nullopt, 401, 0};
    }
    m_accounts.Succeed(user);
    m_addresses.Succeed(peer.address);
    Log(LogKind::Notice, Quoted(user) + " signed in from " + peer.address);
    return {session, 0, 0};
}

} // namespace Gateway
