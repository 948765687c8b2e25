#include "runtime/CZelmora.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "log/Logger.h"
#include "runtime/ObjectZelmoraRoutes.h"
#include "runtime/RouteRecord.h"
#include "runtime/ZelmoraRegistry.h"

namespace Zelmora {

namespace {

constexpr std::int32_t REQUEST_TIMEOUT_MS = 500;

// Ports of the local node.
constexpr std::uint16_t PORT_ROUTER = 1;
constexpr std::uint16_t PORT_SYSTEM_ID = 30;
constexpr std::uint16_t PORT_SYSTEM = 10000;

// Index groups of those ports.
constexpr std::uint32_t GROUP_ROUTER_INFO = 1;
constexpr std::uint32_t GROUP_FULL_VERSION = 160;
constexpr std::uint32_t GROUP_REGISTRY = 200;
constexpr std::uint32_t GROUP_ADD_ROUTE = 801;
constexpr std::uint32_t GROUP_DELETE_ROUTE = 802;
constexpr std::uint32_t GROUP_ENUM_ROUTES = 803;
constexpr std::uint32_t GROUP_SYSTEM_ID = 0x1010004;

constexpr std::int32_t ERROR_NOT_CONNECTED = 18;
constexpr std::int32_t ERROR_ROUTE_REFUSED = 1807;

constexpr std::uint16_t STATE_NOT_CONNECTED = 6;

constexpr std::size_t DEVICE_NAME_SIZE = 16;
constexpr unsigned int LONGEST_NET_ID = 23; // "255.255.255.255.255.255"

// A router that never says that its list has ended is not asked for ever.
constexpr std::uint32_t MOST_ROUTE_REQUESTS = 4096;
constexpr unsigned int MOST_ROUTE_ROWS = 255;

ObjResult Mapped(std::int32_t status) {
    return status == 0 ? OBJ_E_NOERR : ExtResult(static_cast<std::uint32_t>(status));
}

// Six numbers with dots between and nothing behind them. A negative number passes with its low eight bits, which is
// meant.
bool ParseNetId(const char* text, MirnNetId_& netId) {
    int numbers[6] = {};
    char rest[LONGEST_NET_ID + 1] = {};
    if (std::sscanf(text, "%i.%i.%i.%i.%i.%i%23s", &numbers[0], &numbers[1], &numbers[2], &numbers[3], &numbers[4],
                    &numbers[5], rest) != 6) {
        return false;
    }
    for (std::size_t i = 0; i < std::size(numbers); ++i) {
        if (numbers[i] > 255) {
            return false;
        }
        netId.b[i] = static_cast<std::uint8_t>(numbers[i]);
    }
    return true;
}

} // namespace

CZelmora::~CZelmora() {
    MyKorPortClose();
    Unload();
}

// The open sequence. A port that is open already, or that has been opened, is 0.
ObjResult CZelmora::OpenPort(ObjResult noPort, ObjResult noAddress) {
    if (m_port != 0) {
        return OBJ_E_NOERR;
    }
    m_address = {};
    m_port = KorPortOpen();
    if (m_port == 0) {
        return noPort;
    }
    KorSyncSetTimeout(REQUEST_TIMEOUT_MS);
    const std::int32_t status = KorGetLocalAddress(&m_address);
    if (status != 0) {
        m_port = 0; // meant: the port is not closed
        return noAddress == MAPPED ? Mapped(status) : noAddress;
    }
    // A failure leaves the port to the request that opened it.
    m_version = {};
    RequestVersion(&m_version);
    return OBJ_E_NOERR;
}

ObjResult CZelmora::EndRequest(std::int32_t status) {
    if (status != 0) {
        MyKorPortClose();
    }
    return Mapped(status);
}

// A request to a port of the local node whose answer is data.
template <typename TRequest>
ObjResult CZelmora::Ask(std::uint16_t targetPort, const TRequest& request) {
    const ObjResult result = OpenPort(OBJ_E_NODATA, OBJ_E_NODATA);
    if (IsError(result)) {
        return result;
    }
    m_address.port = targetPort;
    return EndRequest(request());
}

// Opens the port for a request that changes the runtime, and addresses it.
ObjResult CZelmora::PrepareWrite() {
    const ObjResult result = MyKorPortOpen();
    m_address.port = PORT_SYSTEM;
    return result;
}

std::int32_t CZelmora::RequestVersion(KorVersion* version) {
    char name[DEVICE_NAME_SIZE] = {};
    m_address.port = PORT_SYSTEM;
    return KorSyncReadDeviceInfoReq(&m_address, name, version);
}

ObjResult CZelmora::GetVersion(KorVersion* version) {
    const CSectionLock lock(m_section);
    *version = {};
    return Ask(PORT_SYSTEM, [&] { return RequestVersion(version); });
}

ObjResult CZelmora::GetZmFullVersion(_tagZmFullVersion* version) {
    const CSectionLock lock(m_section);
    *version = {};
    return Ask(PORT_SYSTEM,
               [&] { return KorSyncReadReq(&m_address, GROUP_FULL_VERSION, 0, sizeof *version, version); });
}

ObjResult CZelmora::GetNetId(char* text, unsigned int size) {
    const CSectionLock lock(m_section);
    const ObjResult result = OpenPort(OBJ_E_NODATA, OBJ_E_NODATA);
    if (IsError(result)) {
        text[0] = '\0';
        return result;
    }
    std::strncpy(text, NetIdText(m_address.netId).c_str(), size);
    return OBJ_E_NOERR;
}

ObjResult CZelmora::GetRouterStateInfo(RouterStatusInfo& info) {
    const CSectionLock lock(m_section);
    info = {};
    return Ask(PORT_ROUTER, [&] { return KorSyncReadReq(&m_address, GROUP_ROUTER_INFO, 1, sizeof info, &info); });
}

ObjResult CZelmora::GetSystemIdZm3(_GUID& id) {
    const CSectionLock lock(m_section);
    id = {};
    return Ask(PORT_SYSTEM_ID, [&] { return KorSyncReadReq(&m_address, GROUP_SYSTEM_ID, 1, sizeof id, &id); });
}

ObjResult CZelmora::GetSystemState(unsigned short& state) {
    const CSectionLock lock(m_section);
    state = 0;
    const ObjResult result = PrepareWrite();
    if (IsError(result)) {
        return result;
    }
    std::uint16_t korState = 0;
    std::uint16_t deviceState = 0;
    const std::int32_t status = KorSyncReadStateReq(&m_address, &korState, &deviceState);
    if (status == ERROR_NOT_CONNECTED) {
        state = STATE_NOT_CONNECTED;
        MyKorPortClose();
        return OBJ_E_NOERR;
    }
    if (status < 0) {
        return EndRequest(status);
    }
    if (status == 0) {
        state = korState;
    }
    return static_cast<ObjResult>(status);
}

ObjResult CZelmora::SetNetId(const char* text, unsigned int length) {
    const CSectionLock lock(m_section);
    if (length > LONGEST_NET_ID) {
        return OBJ_E_INVALIDDATA;
    }
    MirnNetId_ netId{};
    if (!ParseNetId(std::string(text, length).c_str(), netId)) {
        return OBJ_E_INVALIDDATA;
    }
    const ObjResult result = PrepareWrite();
    if (IsError(result)) {
        return result;
    }
    const std::string record = NetIdRegistryRecord(netId);
    return EndRequest(
        KorSyncWriteReq(&m_address, GROUP_REGISTRY, 0, static_cast<std::uint32_t>(record.size()), record.data()));
}

ObjResult CZelmora::LoadRoutes(unsigned short base) {
    const CSectionLock lock(m_section);
    const ObjResult result = OpenPort(OBJ_E_NODATA, OBJ_E_NODATA);
    if (IsError(result)) {
        return result;
    }
    m_address.port = PORT_SYSTEM;
    unsigned int rows = 0;
    for (std::uint32_t offset = 0; offset < MOST_ROUTE_REQUESTS; ++offset) {
        std::array<unsigned char, ROUTE_RECORD_SIZE> record{}; // what the router leaves out reads as zero
        if (KorSyncReadReq(&m_address, GROUP_ENUM_ROUTES, offset, ROUTE_RECORD_SIZE, record.data()) != 0) {
            break;
        }
        for (const TRoute& route : ParseRouteRecord(record)) {
            if (rows == MOST_ROUTE_ROWS) {
                return OBJ_E_NOERR;
            }
            AppendRouteItems(base, route);
            ++rows;
        }
    }
    return OBJ_E_NOERR;
}

ObjResult CZelmora::AddRoute(std::string name, const std::string& address, std::uint32_t flags, std::uint32_t timeout,
                             std::uint16_t transport, const MirnNetId_& netId) {
    const CSectionLock lock(m_section);
    std::replace(name.begin(), name.end(), '/', '\\'); // a slash parts a route from its sub-routes
    const ObjResult result = PrepareWrite();
    if (IsError(result)) {
        return result;
    }
    const std::string record = RouteRecord({name, address, netId, flags, timeout, transport});
    const std::int32_t status =
        KorSyncWriteReq(&m_address, GROUP_ADD_ROUTE, 0, static_cast<std::uint32_t>(record.size()), record.data());
    return status == ERROR_ROUTE_REFUSED ? OBJ_E_ROUTEPORT : EndRequest(status);
}

ObjResult CZelmora::DeleteRoute(const std::string& name) {
    const CSectionLock lock(m_section);
    const ObjResult result = PrepareWrite();
    if (IsError(result)) {
        return result;
    }
    return EndRequest(
        KorSyncWriteReq(&m_address, GROUP_DELETE_ROUTE, 0, static_cast<std::uint32_t>(name.size() + 1), name.c_str()));
}

ObjResult CZelmora::MyKorPortOpen() {
    const CSectionLock lock(m_section);
    return OpenPort(OBJ_E_PORTCLOSED, MAPPED);
}

ObjResult CZelmora::MyKorPortClose() {
    const CSectionLock lock(m_section);
    if (m_port == 0) {
        return OBJ_E_NOERR;
    }
    m_port = 0;
    return Mapped(KorPortClose());
}

ObjResult CZelmora::MyKorPortOpenEx() {
    const CSectionLock lock(m_section);
    if (m_port != 0) {
        return OBJ_E_NOERR;
    }
    m_address = {};
    m_port = KorPortOpenEx();
    if (m_port == 0) {
        return OBJ_E_PORTCLOSED;
    }
    const std::int32_t status = KorGetLocalAddressEx(m_port, &m_address);
    if (status != 0) {
        m_port = 0; // meant: the port is not closed
        return Mapped(status);
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "MyKorPortOpenEx port opened: %d", m_port);
    return OBJ_E_NOERR;
}

ObjResult CZelmora::MyKorPortCloseEx() {
    const CSectionLock lock(m_section);
    if (m_port == 0) {
        return OBJ_E_NOERR;
    }
    const std::int32_t port = m_port;
    m_port = 0;
    const ObjResult result = Mapped(KorPortCloseEx(port));
    if (result == OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "MyKorPortCloseEx port closed: %d", port);
    }
    return result;
}

ObjResult CZelmora::SetDriverFlags(void* /*flags*/, int /*count*/) {
    return OBJ_E_NOERR;
}

} // namespace Zelmora
