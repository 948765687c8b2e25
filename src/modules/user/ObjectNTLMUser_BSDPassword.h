#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "modules/user/ObjectNTLMUser_BSDServices.h"

// The passwords of the local accounts: they are kept nowhere but in the system's database, and there as a hash.
namespace NTLMUser {

// Whether it is the account's password. False for an account that does not exist.
bool IsValidPassword(const std::string& user, const std::string& password);

// 16 characters of "abc...zABC...Z123456789".
std::string GenerateSalt();

// Makes it the account's password, as a hash of SHA-512 crypt. False where it could not be done.
bool SetPassword(const std::string& user, const std::string& password);

// The end of the block that wrong passwords bring. For all accounts.
extern std::chrono::steady_clock::time_point deadline;

// Change password. Request: total size, lengths of user name, domain, old and new password, the texts.
class CObj0xBnn6 : public CUserService {
public:
    // Wrong passwords since the start of the service. Never reset, on purpose: from the third on, each one blocks.
    static std::uint32_t iAuthFailCount;

    static bool IsBlocked();
    static void IncrementFailCounterAndInitWaitThread();

private:
    ObjResult CheckInputParams() override;
    ObjResult DoWork_locked() override;
    void ForgetSecrets() override;

    std::string m_domain;
    std::string m_userName;
    std::string m_oldPassword;
    std::string m_newPassword;
};

} // namespace NTLMUser
