#pragma once

#include <array>

#include "dictionary/ObjServiceTransfer.h"
#include "dictionary/ObjectRecord.h"
#include "runtime/RouteRecord.h"

// The routes of the runtime's message router, as six arrays with one column each, element n of all belonging to one
// route, and the services that add and delete one. The router owns the list: the arrays are a copy, made when the
// module wakes and after each change by a service.
namespace Zelmora {

// A column; its elements are read-only and have one type.
class CRouteColumn : public CObjectArray {
protected:
    void InitColumn(unsigned short index, std::uint16_t type);
    ObjResult AppendText(const std::string& text, std::int64_t textId);
    ObjResult AppendNumber(std::uint16_t type, const void* number, std::uint32_t size, std::int64_t textId);
};

// Names.
class CObj0x8nn2 : public CRouteColumn {
public:
    void Init(unsigned short index) { InitColumn(index, TYPE_VISIBLE_STRING); }

    ObjResult AddName(const std::string& name);
    // The first sub-index with that text, 0 where there is none.
    unsigned char IndexOf(const char* name);
};

// Addresses, as the router knows them.
class CObj0x8nn3 : public CRouteColumn {
public:
    void Init(unsigned short index) { InitColumn(index, TYPE_VISIBLE_STRING); }

    ObjResult AddAddress(const std::string& address);
};

// Net ids as text.
class CObj0x8nn4 : public CRouteColumn {
public:
    void Init(unsigned short index) { InitColumn(index, TYPE_VISIBLE_STRING); }

    ObjResult AddMirnAddress(const std::string& address);
};

class CObj0x8nn5 : public CRouteColumn {
public:
    void Init(unsigned short index) { InitColumn(index, TYPE_UNSIGNED32); }

    ObjResult AddFlags(std::uint32_t flags);
};

class CObj0x8nn6 : public CRouteColumn {
public:
    void Init(unsigned short index) { InitColumn(index, TYPE_UNSIGNED32); }

    ObjResult AddTimeout(std::uint32_t timeout);
};

// Types of transport. Meant: the array tells 16 bits, its elements tell 32 and hold 2 bytes.
class CObj0x8nn7 : public CRouteColumn {
public:
    void Init(unsigned short index) { InitColumn(index, TYPE_UNSIGNED16); }

    ObjResult AddTransport(std::uint16_t transport);
};

// Adds a route.
class CObj0xBnn0 : public CObjServiceTransfer {
protected:
    void DoWork(void* argument) override;
};

// Deletes a route.
class CObj0xBnn1 : public CObjServiceTransfer {
protected:
    void DoWork(void* argument) override;
};

// `base` is the index of the module's header in all that follows.

inline constexpr std::size_t ROUTE_TABLES = 6;

// Holds the sections of the six arrays, entered in rising order; those that are missing are null.
class CRouteTablesLock {
public:
    explicit CRouteTablesLock(unsigned short base);
    ~CRouteTablesLock();
    CRouteTablesLock(const CRouteTablesLock&) = delete;
    CRouteTablesLock& operator=(const CRouteTablesLock&) = delete;

    // All six, or null where one is missing.
    const std::array<CRef<CObject>, ROUTE_TABLES>* Tables() const;

private:
    std::array<CRef<CObject>, ROUTE_TABLES> m_tables;
};

// Empties the arrays one after the other: a reader may see some of them empty.
void ResetRouteTables(unsigned short base);

// Appends one row. Stops at the first array that is full, so that a row may stay incomplete, and gives its code. 0 also
// where the arrays are missing.
ObjResult AppendRouteItems(unsigned short base, const TRoute& route);

} // namespace Zelmora
