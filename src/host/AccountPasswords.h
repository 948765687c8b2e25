#pragma once

#include <string>

// The passwords of the local accounts. The system's calls keep static data: one thread at a time. What goes out is a
// secret of the caller's, who wipes it.
namespace Host {

// crypt(3) of the password. False where the setting, "$6$" and a salt or an earlier hash, is none that it takes.
bool HashPassword(const std::string& password, const std::string& setting, std::string& hash);

// The stored hash of an account. False where there is no such account.
bool GetPasswordHash(const std::string& user, std::string& hash);

// Replaces the hash of one account under the database's lock. Null, or the step that failed, under the name of
// FreeBSD's call for it: "pw_dup", "pw_init", "pw_lock", "pw_tmp", "pw_copy", "pw_mkdb". The database is then as it
// was. Another program's lock is waited for, for five seconds.
const char* ReplacePasswordHash(const std::string& user, const std::string& hash);

// Waits until no other process has the database locked, for five seconds; false where one has it even then. Programs
// that add or delete a user may wait for such a one without an end.
bool WaitForDatabase();

// Whether another process has the database locked at this moment.
bool IsDatabaseBusy();

} // namespace Host
