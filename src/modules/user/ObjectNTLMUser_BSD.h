#pragma once

#include "dictionary/ObjResult.h"
#include "platform/OsUserCriticalSection.h"

// The local accounts and groups of the machine, and services that change them. Nothing is kept here: the lists mirror
// the system's databases as they were at the start or after the last change by a service of the module.
//
// | Index  | Name                    | Access         | One element for each                         |
// |--------|-------------------------|----------------|----------------------------------------------|
// | 0x8nn0 | User management         | read           | header                                       |
// | 0x8nn1 | User names              | read           | account                                      |
// | 0x8nn2 | Reserved user list 2    | none has value | account                                      |
// | 0x8nn3 | Group memberships       | read           | account: its groups, the primary one first   |
// | 0x8nn4 | Local groups            | read           | group                                        |
// | 0x8nn5 | Reserved user list 5    | none has value | account                                      |
// | 0xBnn0 | Add user                | service        |                                              |
// | 0xBnn1 | Delete user             | service        |                                              |
// | 0xBnn2 | Reserved service 3      | service        | refuses every request                        |
// | 0xBnn3 | Change group membership | service        |                                              |
// | 0xBnn4 | Add group               | service        |                                              |
// | 0xBnn5 | Delete group            | service        |                                              |
// | 0xBnn6 | Change password         | service        |                                              |
namespace NTLMUser {

// Stands between the groups of a user.
inline constexpr const char* sDelimiter = ";";

// Makes all objects and fills the lists. OBJ_E_FAILED without a dictionary, else the result of filling.
ObjResult Create();

// Each reads the databases anew, `header` being the index of the module's header. A list holds 254 elements: what comes
// later is left out. OBJ_E_UNEXPECTED where a list is missing.
ObjResult UpdateLocalGroups(unsigned short header);
ObjResult LoadAllUsers(unsigned short header);

// The one lock of the module round the system's account calls and programs: they keep cursors and static data, and the
// database's own lock excludes other processes only. Taken behind the section of a service, and before those of lists.
CSection& AccountSection();

} // namespace NTLMUser
