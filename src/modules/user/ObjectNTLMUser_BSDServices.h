#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "dictionary/ObjServiceTransfer.h"

// The services that change accounts and groups, and what they share. Requests are numbers, unsigned 32-bit
// little-endian, and then texts without terminators, one behind the other; a failure's code comes back in eight bytes.
namespace NTLMUser {

// An empty domain and the machine's host name, case included.
bool IsLocalDomain(const std::string& domain);

// Letters, digits, "-", "_" and ".", not "-" in front; a last "$" is let pass. Both are the same test.
bool IsValidUsername(const std::string& name);
bool IsValidGroupname(const std::string& name);

// The head of a request: the total size, a length for each text, and what else there is in front of the texts.
struct TRecordShape {
    std::uint32_t minimum; // of the stored request, with the NUL behind it
    std::uint32_t counted; // added to the lengths, for a sum that the total size may not be below
    std::size_t texts;
    std::size_t head;                 // where the first text lies
    std::size_t firstLimitedText = 0; // this and later texts have at most 255 bytes
};

// A service of the module: checks the request, does its work with the section held, and wipes what was secret in it.
class CUserService : public CObjServiceTransfer {
public:
    CUserService() : CObjServiceTransfer(sizeof(std::uint64_t)) {} // meant: twice the bytes of a code

protected:
    void DoWork(void* argument) override;

    // Takes the texts of the request, in their order in the record. False for a record that cannot be used.
    bool ParseRecord(const TRecordShape& shape, std::initializer_list<std::string*> texts);

    // Logs the text, in which %lu stands for the code, and gives the code.
    static ObjResult Refuse(ObjResult code, const char* format);

    // For a user who is added or deleted: the program for that would wait without an end for another one, an editor of
    // the database for instance. The system's error for a wait that took too long, logged in the text. What other
    // services of the module do to the database takes as long as it takes.
    static ObjResult WaitForDatabase(const char* format);

    // Reads the lists of the module anew.
    void ReloadLists() const;

private:
    // The code that ends the service, or 0.
    virtual ObjResult CheckInputParams() = 0;

    // Waits for what others have to finish first, not under the lock of the module: nobody else waits with it.
    virtual ObjResult Wait() { return OBJ_E_NOERR; }

    // The work, under the lock of the module too.
    virtual ObjResult DoWork_locked() = 0;

    virtual void ForgetSecrets() {}
};

// Add user. Request: total size, lengths of user name, domain and password, the texts.
class CObj0xBnn0 : public CUserService {
    ObjResult CheckInputParams() override;
    ObjResult Wait() override;
    ObjResult DoWork_locked() override;
    void ForgetSecrets() override;

    std::string m_domain;
    std::string m_userName;
    std::string m_password;
};

// Delete user; the home directory stays. Request: total size, lengths of user name and domain, the texts.
class CObj0xBnn1 : public CUserService {
    ObjResult CheckInputParams() override;
    ObjResult Wait() override;
    ObjResult DoWork_locked() override;

    std::string m_domain;
    std::string m_userName;
};

// Refuses every request with OBJ_E_NOTSUPPORTED.
class CObj0xBnn2 : public CObjServiceTransfer {
public:
    CObj0xBnn2() : CObjServiceTransfer(sizeof(std::uint64_t)) {}

private:
    void DoWork(void* argument) override;
};

// Change group membership. Request: total size, lengths of user name, group name and domain, a byte that is 0 to remove
// the user, the texts.
class CObj0xBnn3 : public CUserService {
    ObjResult CheckInputParams() override;
    ObjResult DoWork_locked() override;

    std::string m_domain;
    std::string m_userName;
    std::string m_groupName;
    bool m_add = false;
};

// Add group, as service 4 of the module, and delete group, as service 5. Request: total size, lengths of group name and
// domain, the texts.
class CObj0xBnnXAddDelGroup : public CUserService {
    ObjResult CheckInputParams() override;
    ObjResult DoWork_locked() override;

    std::string m_domain;
    std::string m_groupName;
    bool m_add = false;
};

} // namespace NTLMUser
