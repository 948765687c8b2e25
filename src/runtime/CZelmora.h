#pragma once

#include <cstddef>
#include <string>

#include "dictionary/ObjResult.h"
#include "platform/OsUserCriticalSection.h"
#include "platform/OsUserGuid.h"
#include "runtime/KorSyncWrap.h"

// Requests to the automation runtime of this machine. Everything that reads or changes the runtime's state goes through
// one object of this class; the status watch has another.
namespace Zelmora {

// Answer of the router: its figures in the order in which the dictionary shows them.
struct RouterStatusInfo {
    std::uint32_t figures[8];
};

// Answer to the version request.
struct _tagZmFullVersion {
    std::uint8_t version[4];
    std::uint16_t revision;
    std::uint8_t reserved[2];
};

static_assert(sizeof(RouterStatusInfo) == 32);
static_assert(sizeof(_tagZmFullVersion) == 8 && offsetof(_tagZmFullVersion, revision) == 4);

// Any thread may call any operation: one at a time gets to the library, so one that hangs delays the others. The port
// is opened by the first request that needs it, and closed by one that fails, so that the next begins with a fresh one.
//
// Codes: OBJ_E_NODATA or OBJ_E_PORTCLOSED where there is no port, as each operation says; an error of the library as
// ExtResult.
class CZelmora : public CKorSyncWrap {
public:
    CZelmora() = default;
    // Closes the port and unloads the library.
    virtual ~CZelmora();

    // These give OBJ_E_NODATA without a port. Outputs are cleared first.
    ObjResult GetVersion(KorVersion* version);
    ObjResult GetZmFullVersion(_tagZmFullVersion* version);
    // The local net id as text of at most `size` bytes; no terminator where it just fits.
    ObjResult GetNetId(char* text, unsigned int size);
    ObjResult GetRouterStateInfo(RouterStatusInfo& info);
    ObjResult GetSystemIdZm3(_GUID& id);
    // Reads the router's routes into the route tables of the module with that header index, behind what is in there.
    // The list ends with the first request that fails, which is no failure.
    ObjResult LoadRoutes(unsigned short base);

    // These give OBJ_E_PORTCLOSED without a port.

    // A positive error of the library comes back as it is, the port staying open: clients know these. `state` is 6
    // where nothing is connected to the runtime's port, and 0 after an error.
    ObjResult GetSystemState(unsigned short& state);
    // Asks the runtime to take this net id at its next start: a text of `length` bytes, six numbers with dots between.
    // OBJ_E_INVALIDDATA where it is none.
    ObjResult SetNetId(const char* text, unsigned int length);
    // OBJ_E_ROUTEPORT where the router refuses the route.
    ObjResult AddRoute(std::string name, const std::string& address, std::uint32_t flags, std::uint32_t timeout,
                       std::uint16_t transport, const MirnNetId_& netId);
    ObjResult DeleteRoute(const std::string& name);

    ObjResult MyKorPortOpen();
    ObjResult MyKorPortClose();
    // The same for a port of its own, without a time-out for its requests.
    ObjResult MyKorPortOpenEx();
    ObjResult MyKorPortCloseEx();

    // Does nothing.
    static ObjResult SetDriverFlags(void* flags, int count);

protected:
    // 0 while there is no port.
    std::int32_t Port() const { return m_port; }

private:
    static constexpr ObjResult MAPPED = 0; // the library's error as it is, in place of a fixed code

    ObjResult OpenPort(ObjResult noPort, ObjResult noAddress);
    // The library's status; leaves the port as it is.
    std::int32_t RequestVersion(KorVersion* version);
    // Ends a request: 0, or the mapped error after the port was closed.
    ObjResult EndRequest(std::int32_t status);
    template <typename TRequest>
    ObjResult Ask(std::uint16_t targetPort, const TRequest& request);
    ObjResult PrepareWrite();

    CSection m_section; // held for the length of each operation
    MirnAddr m_address{};
    std::int32_t m_port = 0;
    KorVersion m_version{}; // as of the time when the port was opened
};

} // namespace Zelmora
