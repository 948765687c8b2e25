#pragma once

#include "dictionary/ObjResult.h"

// The manufacturer's software packages on the machine, in four records whose elements go together. The package manager
// is asked once, at the start of the service.
//
//   0x8nn1:1...  package name  VISIBLE_STRING  read
//   0x8nn2:1...  manufacturer  VISIBLE_STRING  read
//   0x8nn3:1...  description   VISIBLE_STRING  read; always empty
//   0x8nn4:1...  version       VISIBLE_STRING  read
namespace SwVersions {

// 0, or the code of a package manager that could not be asked or has no such package.
ObjResult Create();

// Fills the tables behind the header `base`.
ObjResult EnumPackages(unsigned short base);

// Appends one row to the four tables. Always OBJ_E_UNEXPECTED, which means nothing.
ObjResult AddFileInfoTables(unsigned short base, const char* name, const char* manufacturer, const char* description,
                            const char* version);

} // namespace SwVersions
