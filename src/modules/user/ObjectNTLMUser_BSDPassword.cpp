#include "modules/user/ObjectNTLMUser_BSDPassword.h"

#include <pwd.h>

#include <cstdlib>
#include <string_view>

#include "host/AccountPasswords.h"
#include "host/Secrets.h"
#include "log/Logger.h"
#include "modules/user/ObjectNTLMUser_BSD.h"

namespace NTLMUser {

namespace {

constexpr std::string_view SALT_ALPHABET = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ123456789";
constexpr std::size_t SALT_LENGTH = 16;
constexpr const char* SHA512_CRYPT = "$6$";

constexpr std::uint32_t FAILURES_TO_BLOCK = 3;
constexpr std::chrono::nanoseconds BLOCK_TIME{60000000000};

// The checks count eight bytes of header although the texts lie behind twenty: meant so.
constexpr TRecordShape CHANGE_PASSWORD{.minimum = 8, .counted = 8, .texts = 4, .head = 20};

} // namespace

std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::now();
std::uint32_t CObj0xBnn6::iAuthFailCount = 0;

bool IsValidPassword(const std::string& user, const std::string& password) {
    CSectionLock lock(AccountSection());
    std::string stored;
    const Host::CWipeAtEnd storedWipe(stored);
    std::string hash;
    const Host::CWipeAtEnd hashWipe(hash);
    return getpwnam(user.c_str()) != nullptr && Host::GetPasswordHash(user, stored) &&
           Host::HashPassword(password, stored, hash) && hash == stored;
}

std::string GenerateSalt() {
    CSectionLock lock(AccountSection());
    std::string salt;
    while (salt.size() < SALT_LENGTH) {
        salt += SALT_ALPHABET[static_cast<unsigned int>(std::rand()) % SALT_ALPHABET.size()];
    }
    return salt;
}

bool SetPassword(const std::string& user, const std::string& password) {
    CSectionLock lock(AccountSection());
    if (getpwnam(user.c_str()) == nullptr) {
        return false;
    }
    std::string setting = SHA512_CRYPT + GenerateSalt();
    const Host::CWipeAtEnd settingWipe(setting);
    std::string hash;
    const Host::CWipeAtEnd hashWipe(hash);
    if (!Host::HashPassword(password, setting, hash)) {
        return false;
    }
    const char* failed = Host::ReplacePasswordHash(user, hash);
    if (failed != nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "%s: FAILED", failed);
    }
    return failed == nullptr;
}

bool CObj0xBnn6::IsBlocked() {
    return std::chrono::steady_clock::now() < deadline;
}

void CObj0xBnn6::IncrementFailCounterAndInitWaitThread() {
    ++iAuthFailCount;
    if (iAuthFailCount >= FAILURES_TO_BLOCK) {
        deadline = std::chrono::steady_clock::now() + BLOCK_TIME;
    }
}

ObjResult CObj0xBnn6::CheckInputParams() {
    if (IsBlocked()) {
        // Neither counted nor a longer block.
        return Refuse(OBJ_E_INVALACCESS, "Change password failed (%lu): Too many invalid login attempts. "
                                         "Login blocked for 60 seconds!");
    }
    if (!ParseRecord(CHANGE_PASSWORD, {&m_userName, &m_domain, &m_oldPassword, &m_newPassword})) {
        return OBJ_E_INVALIDDATA;
    }
    if (!IsLocalDomain(m_domain)) {
        return Refuse(OBJ_E_NOTSUPPORTED, "Change password failed (%lu): Domain users are not supported!");
    }
    if (!IsValidUsername(m_userName)) {
        return Refuse(OBJ_E_INVALIDARG, "Change password failed (%lu): Invalid username!");
    }
    if (!IsValidPassword(m_userName, m_oldPassword)) {
        IncrementFailCounterAndInitWaitThread();
        return Refuse(OBJ_E_FAILED, "Verify password failed (%lu): Incorrect password!");
    }
    return OBJ_E_NOERR;
}

ObjResult CObj0xBnn6::DoWork_locked() {
    // The lists show no password: they stay.
    return SetPassword(m_userName, m_newPassword) ? OBJ_E_NOERR : OBJ_E_FAILED;
}

void CObj0xBnn6::ForgetSecrets() {
    Host::Wipe(m_oldPassword);
    Host::Wipe(m_newPassword);
}

} // namespace NTLMUser
