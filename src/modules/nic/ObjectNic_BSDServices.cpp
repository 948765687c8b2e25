#include <algorithm>
#include <array>
#include <cstring>

#include "log/Logger.h"
#include "modules/nic/NicRecord.h"
#include "modules/nic/ObjectNic_BSD.h"
#include "platform/LittleEndian.h"
#include "platform/StringHelper.h"
#include "sysconfig/CRCConfigNic.h"
#include "sysconfig/CSettingsLock.h"
#include "sysconfig/CSystem.h"

using ZMBSD::CRCConfigNic;
using ZMBSD::CSystem;

// The services of an adapter, and what runs in the background after its settings have changed.
namespace NIC {

namespace {

// The request of CObj0xBnn1. The checks count eight bytes of header although the texts lie behind sixteen: meant so,
// and a request may thus name texts that end behind its total size, though never behind its data.
constexpr std::size_t HEADER_SIZE = 16;
constexpr std::uint32_t COUNTED_HEADER = 8;
constexpr std::uint32_t MAX_TEXT = 16;
constexpr std::size_t TEXTS = 3;

struct TAddresses {
    std::string address;
    std::string mask;
    std::string gateway;
};

// `data` and `size`: the stored request, with the NUL behind it.
bool ParseRequest(const unsigned char* data, std::uint32_t size, TAddresses& addresses) {
    if (data == nullptr || size < COUNTED_HEADER) {
        return false;
    }
    // What lies behind the data counts as zero, and a zero byte ends a text.
    std::array<char, HEADER_SIZE + TEXTS * MAX_TEXT> request{};
    std::memcpy(request.data(), data, std::min<std::size_t>(size, request.size()));

    const auto total = LoadLe<std::uint32_t>(request.data());
    std::array<std::uint32_t, TEXTS> lengths{};
    std::uint64_t counted = COUNTED_HEADER;
    for (std::size_t i = 0; i < TEXTS; ++i) {
        lengths[i] = LoadLe<std::uint32_t>(request.data() + 4 + 4 * i);
        counted += lengths[i];
        if (lengths[i] > MAX_TEXT) {
            return false;
        }
    }
    if (total > size || counted > total) {
        return false;
    }
    const char* at = request.data() + HEADER_SIZE;
    std::string* const texts[TEXTS] = {&addresses.address, &addresses.mask, &addresses.gateway};
    for (std::size_t i = 0; i < TEXTS; ++i) {
        *texts[i] = std::string(at, strnlen(at, lengths[i]));
        at += lengths[i];
    }
    return true;
}

// Puts the address and its gateway into the configuration with no other change in between.
ObjResult SetAll(CObject0x8nn1& record, const TAddresses& addresses) {
    const ZMBSD::CSettingsLock lock;
    const ObjResult addressResult = record.SetIPv4(addresses.address, addresses.mask);
    if (addressResult != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "SetIPv4 failed: %lu", static_cast<unsigned long>(addressResult));
    }
    const ObjResult gatewayResult = record.SetGateway(addresses.gateway);
    if (gatewayResult != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "SetGateway: %lu", static_cast<unsigned long>(gatewayResult));
    }
    // Meant: the gateway's success hides the address's failure, and the other way round.
    return gatewayResult == OBJ_E_NOERR ? OBJ_E_NOERR : addressResult;
}

// Whether rc.conf names a default router that the routing table has not. The address of a running adapter takes the
// routes through it along when it goes.
bool LacksDefaultRoute(CRCConfigNic& configuration, const std::string& adapter) {
    const std::string router = configuration.GetGateway();
    return !router.empty() && CStringHelper::ToUpper(router) != CSystem::RC_PROPERTY_NOT_EXISTS &&
           CSystem::NetstatGetDefaultGateway(adapter).empty();
}

} // namespace

void CObject0x8nn1::RestartNetworkAsync() {
    m_restart.Request();
}

void CObject0x8nn1::RenewIPAsync() {
    m_renewal.Request();
}

void CObject0x8nn1::UpdateResolvConfAsync() {
    m_resolverUpdate.Request();
}

std::uint32_t RestartNetwork(void* adapterName) {
    const std::string& adapter = *static_cast<const std::string*>(adapterName);
    CSystem::ServiceRoutingRestart();
    if (const auto configuration = CRCConfigNic::Create(); configuration != nullptr) {
        configuration->RestartAdapter(adapter);
        if (LacksDefaultRoute(*configuration, adapter)) {
            CSystem::ServiceRoutingRestart();
        }
    }
    return 0;
}

std::uint32_t RenewIP(void* adapterName) {
    if (const auto configuration = CRCConfigNic::Create(); configuration != nullptr) {
        configuration->RenewIP(*static_cast<const std::string*>(adapterName));
    }
    return 0;
}

std::uint32_t UpdateResolvConf(void* /*parameter*/) {
    CSystem::UpdateResolver();
    return 0;
}

void CObjNicService::DoWork(void* /*argument*/) {
    CSectionLock lock(Section());
    const ObjResult result = Run();
    if (result == OBJ_E_NOERR) {
        Finish(0, nullptr, 0);
    } else {
        Fail(result);
    }
}

ObjResult CObj0xBnn0::Run() {
    return WithRecord(Index(), [](CObject0x8nn1& record) {
        const auto configuration = CRCConfigNic::Create();
        if (configuration == nullptr) {
            return OBJ_E_INVALIDDATA;
        }
        if (configuration->GetDHCPState(record.Adapter())) {
            record.RenewIPAsync();
        }
        return OBJ_E_NOERR;
    });
}

ObjResult CObj0xBnn1::Run() {
    const TInfoItem* request = GetItem(SUB_REQUEST);
    TAddresses addresses;
    if (request == nullptr || !ParseRequest(request->data, request->size, addresses)) {
        return OBJ_E_INVALIDDATA;
    }
    return WithRecord(Index(), [&](CObject0x8nn1& record) {
        const ObjResult result = SetAll(record, addresses);
        record.RestartNetworkAsync();
        return result;
    });
}

} // namespace NIC
