#include "runtime/ObjectZelmoraRoutes.h"

#include <algorithm>
#include <new>
#include <optional>

#include "dictionary/ObjDictionary.h"
#include "platform/LittleEndian.h"
#include "runtime/ObjectZelmora.h"

namespace Zelmora {

namespace {

constexpr unsigned int FIRST_TABLE = 2; // 0x8nn2
constexpr std::uint32_t LONGEST_TEXT = 1024;
constexpr std::size_t ADD_HEAD = 28;

std::array<CRef<CObject>, ROUTE_TABLES> FindTables(unsigned short base) {
    std::array<CRef<CObject>, ROUTE_TABLES> tables;
    const CDictionaryRef dictionary;
    if (dictionary) {
        for (unsigned int i = 0; i < ROUTE_TABLES; ++i) {
            tables[i] = dictionary->GetObjectRef(DataIndex(base, FIRST_TABLE + i));
        }
    }
    return tables;
}

template <typename T>
T& Column(const std::array<CRef<CObject>, ROUTE_TABLES>& tables, std::size_t number) {
    return static_cast<T&>(*tables[number]);
}

std::optional<TRoute> ParseAddRequest(std::span<const unsigned char> request) {
    CRecordReader reader(request);
    const auto total = reader.Take<std::uint32_t>();
    TRoute route;
    route.flags = reader.Take<std::uint32_t>();
    route.timeout = reader.Take<std::uint32_t>();
    route.transport = reader.Take<std::uint16_t>();
    const std::span<const unsigned char> netId = reader.TakeBytes(sizeof route.netId.b);
    std::copy(netId.begin(), netId.end(), route.netId.b);
    const auto nameLength = reader.Take<std::uint32_t>();
    const auto addressLength = reader.Take<std::uint32_t>();
    if (reader.Failed() || nameLength > LONGEST_TEXT || addressLength > LONGEST_TEXT ||
        total != ADD_HEAD + nameLength + addressLength) {
        return std::nullopt;
    }
    route.name = reader.TakeTextToNul(nameLength);
    route.address = reader.TakeTextToNul(addressLength);
    return reader.Failed() ? std::nullopt : std::optional(route);
}

std::optional<std::string> ParseDeleteRequest(std::span<const unsigned char> request) {
    CRecordReader reader(request);
    const auto length = reader.Take<std::uint32_t>();
    if (reader.Failed() || length > LONGEST_TEXT) {
        return std::nullopt;
    }
    std::string name = reader.TakeTextToNul(length);
    return reader.Failed() ? std::nullopt : std::optional(std::move(name));
}

// The job of both services: what `change` did to the router's list is brought into the tables. No outcome on success.
template <typename TChange>
ObjResult ChangeRoutes(unsigned short index, const TChange& change) {
    const CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    try {
        const std::shared_ptr<CZelmora> helper = GetZmHelper();
        const ObjResult result = change(helper.get());
        if (result == OBJ_E_NOERR) {
            const auto base = static_cast<unsigned short>((index & 0x0FF0U) | 0x8000U);
            ResetRouteTables(base);
            helper->LoadRoutes(base);
        }
        return result;
    } catch (const std::bad_alloc&) {
        return OBJ_E_OUTOFMEMORY;
    }
}

} // namespace

void CRouteColumn::InitColumn(unsigned short index, std::uint16_t type) {
    CObjectArray::Init(index, OBJCODE_ARRAY, 0);
    elementType = type;
}

ObjResult CRouteColumn::AppendText(const std::string& text, std::int64_t textId) {
    return AppendNumber(TYPE_VISIBLE_STRING, text.data(), static_cast<std::uint32_t>(text.size()), textId);
}

ObjResult CRouteColumn::AppendNumber(std::uint16_t type, const void* number, std::uint32_t size, std::int64_t textId) {
    TInfoItem item;
    item.type = type;
    item.access = ACCESS_READ;
    item.size = size;
    item.data = static_cast<unsigned char*>(const_cast<void*>(number)); // copied from there
    item.nameId = textId;
    return AppendInfoItem(item);
}

ObjResult CObj0x8nn2::AddName(const std::string& name) {
    return AppendText(name, 10050);
}

unsigned char CObj0x8nn2::IndexOf(const char* name) {
    const CSectionLock lock(Section());
    for (unsigned int subIndex = 1; subIndex < GetCoutOfInfoItems(); ++subIndex) {
        const TInfoItem* item = GetItem(static_cast<unsigned char>(subIndex));
        if (item->data != nullptr && name == std::string(reinterpret_cast<const char*>(item->data), item->size)) {
            return static_cast<unsigned char>(subIndex);
        }
    }
    return 0;
}

ObjResult CObj0x8nn3::AddAddress(const std::string& address) {
    return AppendText(address, 10051);
}

ObjResult CObj0x8nn4::AddMirnAddress(const std::string& address) {
    return AppendText(address, 10052);
}

ObjResult CObj0x8nn5::AddFlags(std::uint32_t flags) {
    return AppendNumber(TYPE_UNSIGNED32, &flags, sizeof flags, 10053);
}

ObjResult CObj0x8nn6::AddTimeout(std::uint32_t timeout) {
    return AppendNumber(TYPE_UNSIGNED32, &timeout, sizeof timeout, 10054);
}

ObjResult CObj0x8nn7::AddTransport(std::uint16_t transport) {
    return AppendNumber(TYPE_UNSIGNED32, &transport, sizeof transport, 10055);
}

void CObj0xBnn0::DoWork(void* /*argument*/) {
    const CSectionLock lock(Section());
    const ObjResult code = ChangeRoutes(Index(), [this](CZelmora* helper) {
        const std::optional<TRoute> route = ParseAddRequest(Request());
        if (!route) {
            return OBJ_E_INVALIDDATA;
        }
        return helper == nullptr ? OBJ_E_UNEXPECTED
                                 : helper->AddRoute(route->name, route->address, route->flags, route->timeout,
                                                    route->transport, route->netId);
    });
    Finish(IsError(code) ? 1 : 0, IsError(code) ? &code : nullptr, sizeof code);
}

void CObj0xBnn1::DoWork(void* /*argument*/) {
    const CSectionLock lock(Section());
    const ObjResult code = ChangeRoutes(Index(), [this](CZelmora* helper) {
        const std::optional<std::string> name = ParseDeleteRequest(Request());
        if (!name) {
            return OBJ_E_INVALIDDATA;
        }
        return helper == nullptr ? OBJ_E_UNEXPECTED : helper->DeleteRoute(*name);
    });
    Finish(IsError(code) ? 1 : 0, IsError(code) ? &code : nullptr, sizeof code);
}

CRouteTablesLock::CRouteTablesLock(unsigned short base) : m_tables(FindTables(base)) {
    for (const CRef<CObject>& table : m_tables) {
        if (table) {
            table->Section().Enter();
        }
    }
}

CRouteTablesLock::~CRouteTablesLock() {
    for (const CRef<CObject>& table : m_tables) {
        if (table) {
            table->Section().Leave();
        }
    }
}

const std::array<CRef<CObject>, ROUTE_TABLES>* CRouteTablesLock::Tables() const {
    const bool complete = std::all_of(m_tables.begin(), m_tables.end(), [](const auto& table) { return bool(table); });
    return complete ? &m_tables : nullptr;
}

void ResetRouteTables(unsigned short base) {
    for (const CRef<CObject>& table : FindTables(base)) {
        if (table) {
            static_cast<CObjectRecordBase&>(*table).RemoveAllElements();
        }
    }
}

ObjResult AppendRouteItems(unsigned short base, const TRoute& route) {
    const CRouteTablesLock lock(base);
    const auto* tables = lock.Tables();
    if (tables == nullptr) {
        return OBJ_E_NOERR;
    }
    ObjResult result = Column<CObj0x8nn2>(*tables, 0).AddName(route.name);
    if (result == OBJ_E_NOERR) {
        result = Column<CObj0x8nn3>(*tables, 1).AddAddress(route.address);
    }
    if (result == OBJ_E_NOERR) {
        result = Column<CObj0x8nn4>(*tables, 2).AddMirnAddress(NetIdText(route.netId));
    }
    if (result == OBJ_E_NOERR) {
        result = Column<CObj0x8nn5>(*tables, 3).AddFlags(route.flags);
    }
    if (result == OBJ_E_NOERR) {
        result = Column<CObj0x8nn6>(*tables, 4).AddTimeout(route.timeout);
    }
    if (result == OBJ_E_NOERR) {
        result = Column<CObj0x8nn7>(*tables, 5).AddTransport(route.transport);
    }
    return result;
}

} // namespace Zelmora
