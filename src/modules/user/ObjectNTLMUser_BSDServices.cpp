#include "modules/user/ObjectNTLMUser_BSDServices.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <string_view>

#include "dictionary/ObjDictionary.h"
#include "host/AccountPasswords.h"
#include "host/Secrets.h"
#include "log/Logger.h"
#include "modules/user/ObjectNTLMUser_BSD.h"
#include "modules/user/ObjectNTLMUser_BSDPassword.h"
#include "platform/LittleEndian.h"
#include "sysconfig/CSystem.h"

using ZMBSD::CSystem;

namespace NTLMUser {

namespace {

constexpr std::string_view NAME_ALPHABET = "-_.0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

constexpr std::uint32_t MAX_TEXT = 255;
constexpr std::size_t MAX_TEXTS = 4;
constexpr std::size_t MAX_HEAD = 20;
constexpr std::size_t MEMBERSHIP_ADD = 16; // where the request to change a membership tells which way

// All but the first count eight bytes of header although the texts lie further behind: meant so, and the size of a
// request may thus be told shorter than it is. The length of the last shape's first text is not limited: meant too.
constexpr TRecordShape ADD_USER{.minimum = 16, .counted = 16, .texts = 3, .head = 16};
constexpr TRecordShape NAME_AND_DOMAIN{.minimum = 8, .counted = 8, .texts = 2, .head = 12};
constexpr TRecordShape MEMBERSHIP{.minimum = 8, .counted = 8, .texts = 3, .head = 17, .firstLimitedText = 1};

// Which of the two a service for groups is.
constexpr unsigned int SERVICE_ADD_GROUP = 4;
constexpr unsigned int SERVICE_DELETE_GROUP = 5;

// Exit statuses of pw.
constexpr std::uint32_t PW_BAD_NAME = 65;
constexpr std::uint32_t PW_NO_USER = 67;

bool IsValidName(const std::string& name) {
    if (name.empty() || name.front() == '-') {
        return false;
    }
    const std::size_t other = name.find_first_not_of(NAME_ALPHABET);
    return other == std::string::npos || (other == name.size() - 1 && name[other] == '$');
}

} // namespace

bool IsLocalDomain(const std::string& domain) {
    if (domain.empty()) {
        return true;
    }
    char host[256] = {};
    if (gethostname(host, sizeof host) != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_WARNING, "IsLocalDomain: Could not read hostname.");
        return false;
    }
    return domain == host;
}

bool IsValidUsername(const std::string& name) {
    return IsValidName(name);
}

bool IsValidGroupname(const std::string& name) {
    return IsValidName(name);
}

void CUserService::DoWork(void* /*argument*/) {
    ObjResult code = OBJ_E_UNEXPECTED;
    CDictionaryRef dictionary; // goes last: with it the dictionary may end, whose threads may want the section
    CSectionLock lock(Section());
    if (dictionary) {
        try {
            code = CheckInputParams();
            if (code == OBJ_E_NOERR) {
                code = Wait();
            }
            if (code == OBJ_E_NOERR) {
                CSectionLock accounts(AccountSection());
                code = DoWork_locked();
            }
        } catch (const std::bad_alloc&) {
            code = OBJ_E_OUTOFMEMORY;
        }
    }
    ForgetSecrets();
    if (const TInfoItem* request = GetItem(SUB_REQUEST); request != nullptr && request->data != nullptr) {
        explicit_bzero(request->data, request->size);
    }
    if (code == OBJ_E_NOERR) {
        Finish(0, nullptr, 0);
    } else {
        Fail(code);
    }
}

bool CUserService::ParseRecord(const TRecordShape& shape, std::initializer_list<std::string*> texts) {
    const TInfoItem* request = GetItem(SUB_REQUEST);
    if (request == nullptr || request->data == nullptr || request->size < shape.minimum) {
        return false;
    }
    // A number that lies behind the data counts as zero.
    std::array<unsigned char, MAX_HEAD> head{};
    std::copy_n(request->data, std::min<std::size_t>(request->size, head.size()), head.begin());
    const auto total = LoadLe<std::uint32_t>(head.data());
    std::array<std::uint32_t, MAX_TEXTS> lengths{};
    std::uint64_t counted = shape.counted;
    for (std::size_t i = 0; i < shape.texts; ++i) {
        lengths[i] = LoadLe<std::uint32_t>(head.data() + 4 + 4 * i);
        counted += lengths[i];
        if (i >= shape.firstLimitedText && lengths[i] > MAX_TEXT) {
            return false;
        }
    }
    if (total > request->size || counted > total) {
        return false;
    }
    std::size_t at = shape.head;
    const std::uint32_t* length = lengths.data();
    for (std::string* text : texts) {
        if (*length != 0 && (at > request->size || *length > request->size - at)) {
            return false;
        }
        // In place, so that no other copy is left to wipe.
        text->clear();
        if (*length != 0) {
            text->assign(reinterpret_cast<const char*>(request->data + at), *length);
        }
        at += *length++;
    }
    return true;
}

ObjResult CUserService::Refuse(ObjResult code, const char* format) {
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, format, static_cast<unsigned long>(code));
    return code;
}

ObjResult CUserService::WaitForDatabase(const char* format) {
    if (Host::WaitForDatabase()) {
        return OBJ_E_NOERR;
    }
    // It may have been the services of this module, one behind the other: beside none of them it is another program.
    CSectionLock accounts(AccountSection());
    return Host::IsDatabaseBusy() ? Refuse(OsResult(ETIMEDOUT), format) : ObjResult{OBJ_E_NOERR};
}

void CUserService::ReloadLists() const {
    const auto header = static_cast<unsigned short>((Index() & 0x0FF0U) | 0x8000U);
    LoadAllUsers(header);
    UpdateLocalGroups(header);
}

ObjResult CObj0xBnn0::CheckInputParams() {
    if (!ParseRecord(ADD_USER, {&m_userName, &m_domain, &m_password})) {
        return OBJ_E_INVALIDDATA;
    }
    if (!IsLocalDomain(m_domain)) {
        return Refuse(OBJ_E_NOTSUPPORTED, "Add user failed (%lu): Domain users are not supported!");
    }
    if (!IsValidUsername(m_userName)) {
        return Refuse(OBJ_E_INVALIDARG, "Add user failed (%lu): Invalid username!");
    }
    return OBJ_E_NOERR;
}

ObjResult CObj0xBnn0::Wait() {
    return WaitForDatabase("Add user failed: %lu");
}

ObjResult CObj0xBnn0::DoWork_locked() {
    const std::uint32_t status = CSystem::PwUserAdd(m_userName);
    if (status == PW_BAD_NAME) {
        return Refuse(OBJ_E_USEREXISTS, "Add user failed (%lu): Username already exists!");
    }
    if (status != 0) {
        return Refuse(OsResult(status), "Add user failed: %lu");
    }
    // Meant: the account stays, and is not listed.
    if (!SetPassword(m_userName, m_password)) {
        return Refuse(OBJ_E_FAILED, "Set Password failed (%lu)");
    }
    ReloadLists();
    return OBJ_E_NOERR;
}

void CObj0xBnn0::ForgetSecrets() {
    Host::Wipe(m_password);
}

ObjResult CObj0xBnn1::CheckInputParams() {
    if (!ParseRecord(NAME_AND_DOMAIN, {&m_userName, &m_domain})) {
        return OBJ_E_INVALIDDATA;
    }
    if (!IsLocalDomain(m_domain)) {
        return Refuse(OBJ_E_NOTSUPPORTED, "Delete user failed (%lu): Domain users are not supported!");
    }
    if (!IsValidUsername(m_userName)) {
        return Refuse(OBJ_E_INVALIDARG, "Delete user failed (%lu): Invalid username!");
    }
    return OBJ_E_NOERR;
}

ObjResult CObj0xBnn1::Wait() {
    return WaitForDatabase("Delete user failed: %lu");
}

ObjResult CObj0xBnn1::DoWork_locked() {
    const std::uint32_t status = CSystem::PwUserDelete(m_userName);
    if (status == PW_NO_USER) {
        return Refuse(OBJ_E_NOSUCHUSER, "Delete user failed (%lu): Username does not exist!");
    }
    if (status != 0) {
        return Refuse(OsResult(status), "Delete user failed: %lu");
    }
    ReloadLists();
    return OBJ_E_NOERR;
}

void CObj0xBnn2::DoWork(void* /*argument*/) {
    Fail(OBJ_E_NOTSUPPORTED);
}

ObjResult CObj0xBnn3::CheckInputParams() {
    if (!ParseRecord(MEMBERSHIP, {&m_userName, &m_groupName, &m_domain})) {
        return OBJ_E_INVALIDDATA;
    }
    const TInfoItem* request = GetItem(SUB_REQUEST);
    m_add = request->size > MEMBERSHIP_ADD && request->data[MEMBERSHIP_ADD] != 0;
    if (!IsLocalDomain(m_domain)) {
        return Refuse(OBJ_E_NOTSUPPORTED, "Domain groups are not supported!");
    }
    if (!IsValidUsername(m_userName)) {
        return Refuse(OBJ_E_INVALIDARG, "Invalid username!");
    }
    if (!IsValidGroupname(m_groupName)) {
        return Refuse(OBJ_E_INVALIDARG, "Invalid groupname!");
    }
    return OBJ_E_NOERR;
}

ObjResult CObj0xBnn3::DoWork_locked() {
    const std::uint32_t status =
        m_add ? CSystem::PwUserGroupAdd(m_userName, m_groupName) : CSystem::PwUserGroupRemove(m_userName, m_groupName);
    if (status != 0) {
        const ObjResult code = status == PW_BAD_NAME  ? OBJ_E_NOSUCHGROUP
                               : status == PW_NO_USER ? OBJ_E_NOSUCHUSER
                                                      : OsResult(status);
        return Refuse(code, m_add ? "Add usergroup failed: %lu" : "Delete usergroup failed: %lu");
    }
    ReloadLists();
    return OBJ_E_NOERR;
}

ObjResult CObj0xBnnXAddDelGroup::CheckInputParams() {
    const unsigned int number = Index() & 0xFU;
    if (number != SERVICE_ADD_GROUP && number != SERVICE_DELETE_GROUP) {
        return OBJ_E_NOTIMPL;
    }
    m_add = number == SERVICE_ADD_GROUP;
    if (!ParseRecord(NAME_AND_DOMAIN, {&m_groupName, &m_domain})) {
        return OBJ_E_INVALIDDATA;
    }
    if (!IsLocalDomain(m_domain)) {
        return Refuse(OBJ_E_NOTSUPPORTED, "Domain groups are not supported!");
    }
    if (!IsValidGroupname(m_groupName)) {
        return Refuse(OBJ_E_INVALIDARG, "Invalid groupname!");
    }
    return OBJ_E_NOERR;
}

ObjResult CObj0xBnnXAddDelGroup::DoWork_locked() {
    const std::uint32_t status = m_add ? CSystem::PwGroupAdd(m_groupName) : CSystem::PwGroupDelete(m_groupName);
    if (status != 0) {
        const ObjResult named = m_add ? OBJ_E_GROUPEXISTS : OBJ_E_NOSUCHGROUP;
        return Refuse(status == PW_BAD_NAME ? named : OsResult(status),
                      m_add ? "Add group failed: %lu" : "Delete group failed: %lu");
    }
    ReloadLists();
    return OBJ_E_NOERR;
}

} // namespace NTLMUser
