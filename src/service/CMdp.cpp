#include "service/CMdp.h"

#include <unistd.h>

#include "log/Logger.h"
#include "modules/ObjectCPU_BSD.h"
#include "modules/ObjectFSO.h"
#include "modules/ObjectFan.h"
#include "modules/ObjectGeneral.h"
#include "modules/ObjectIO.h"
#include "modules/ObjectMainboard.h"
#include "modules/ObjectMassStorageMonitoring_XP.h"
#include "modules/ObjectMemory_BSD.h"
#include "modules/ObjectOperatingSystem.h"
#include "modules/ObjectSwVersions.h"
#include "modules/dskmgmt/ObjectDskMgmt.h"
#include "modules/nic/ObjectNic_BSD.h"
#include "modules/time/ObjectTime_BSD.h"
#include "modules/ups/ObjectUPS.h"
#include "modules/user/ObjectNTLMUser_BSD.h"
#include "runtime/ObjectZelmora.h"
#include "service/RequestRecord.h"

namespace Hesperd {

namespace {

struct TModule {
    ObjResult (*create)();
    const char* line;
};

// The order decides the slots.
constexpr TModule MODULES[] = {
    {General::Create, "General created."},
    {NIC::Create, "NIC created."},
    {Zelmora::Create, "Zelmora created."},
    {DiskManagement::Create, "DiskManagement created."},
    {CPU::Create, "CPU created."},
    {SwVersions::Create, "Software created."},
    {MassStorageMonitoring::Create, "MassStorageMonitoring created."},
    {FSO::Create, "FileSystemObject FSO created."},
    {UPS::Create, "UPS created."},
    {MDPOperatingSystem::Create, "OperatingSystem created."},
    {Memory::Create, "Memory created."},
    {NTLMUser::Create, "UserManagement created."},
    {Time::Create, "Time created."},
    {Fan::Create, "Fan created."},
    {Mainboard::Create, "Mainboard created."},
    {IO::Create, "IO created."},
};

// How long a write waits for its service: rounds of one second.
constexpr int SERVICE_WAIT_ROUNDS = 16;
constexpr useconds_t SERVICE_WAIT_ROUND_US = 1000000;

constexpr unsigned char SERVICE_SUB_REQUEST = 1;
constexpr unsigned char SERVICE_SUB_STATUS = 2;
constexpr unsigned char SERVICE_SUB_RESPONSE = 3;
// From here on a status byte means that the service runs.
constexpr unsigned char SERVICE_RUNNING = 4;

// Service access goes through the request item of a service object only.
bool MayAccessService(const CRequestRecord& request) {
    return (request.Index() & 0xF000) == 0xB000 && request.SubIndex() == SERVICE_SUB_REQUEST;
}

bool HasDeclaredLength(const CRequestRecord& request, unsigned int cbRecord) {
    return std::uint64_t{request.Length()} + CRequestRecord::HEAD_SIZE == cbRecord;
}

void WaitForService(CObjDictionary& dictionary, unsigned short index) {
    // A status that cannot be read keeps its last value.
    unsigned char status = 0;
    for (int round = 0; round < SERVICE_WAIT_ROUNDS; ++round) {
        dictionary.ReadObject(index, SERVICE_SUB_STATUS, &status, sizeof status, 0, nullptr);
        if (status < SERVICE_RUNNING) {
            return;
        }
        usleep(SERVICE_WAIT_ROUND_US);
    }
}

} // namespace

void CMdp::Create() {
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Creating MDP modules...");
    for (const TModule& module : MODULES) {
        if (module.create() == OBJ_E_NOERR) {
            g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "%s", module.line);
        }
    }
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Finished.");
}

void CMdp::Destroy() {
    Zelmora::Destroy();
}

ObjResult CMdp::MDP_Read(unsigned int cbRecord, unsigned char* record, unsigned int* cbReturned) {
    if (cbReturned != nullptr) {
        *cbReturned = 0;
    }
    if (cbRecord < CRequestRecord::HEAD_SIZE || record == nullptr) {
        return STATUS_BAD_RECORD;
    }
    CRequestRecord request(record);
    if (!HasDeclaredLength(request, cbRecord)) {
        return STATUS_BAD_RECORD;
    }
    if (request.Command() != 0) {
        return OBJ_E_INVALIDSIZE;
    }
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    unsigned char subIndex = request.SubIndex();
    if (request.IsServiceAccess()) {
        if (!MayAccessService(request)) {
            return OBJ_E_INVALACCESS;
        }
        subIndex = SERVICE_SUB_RESPONSE;
    }
    unsigned int delivered = 0;
    request.SetResult(dictionary->ReadObject(request.Index(), subIndex, request.Data(), request.Length(),
                                             request.IsCompleteAccess() ? 1 : 0, &delivered));
    if (cbReturned != nullptr) {
        request.SetLength(delivered);
        *cbReturned = delivered + CRequestRecord::HEAD_SIZE;
    }
    return OBJ_E_NOERR;
}

// Meant: other codes than MDP_Read gives, and the command is looked at before the length.
ObjResult CMdp::MDP_Write(unsigned int cbRecord, unsigned char* record) {
    if (cbRecord < 2 || record == nullptr) {
        return STATUS_BAD_RECORD;
    }
    CRequestRecord request(record);
    if (request.Command() != 0) {
        return OBJ_E_NOTSUPPORTED;
    }
    if (cbRecord < CRequestRecord::HEAD_SIZE || !HasDeclaredLength(request, cbRecord)) {
        return STATUS_BAD_RECORD;
    }
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    if (request.IsServiceAccess() && !MayAccessService(request)) {
        return OBJ_E_INVALACCESS;
    }
    const ObjResult result = dictionary->WriteObject(request.Index(), request.SubIndex(), request.Data(),
                                                     request.Length(), request.IsCompleteAccess() ? 1 : 0);
    request.SetResult(result);
    if (!IsError(result) && request.IsServiceAccess()) {
        WaitForService(*dictionary.Get(), request.Index());
    }
    return OBJ_E_NOERR;
}

} // namespace Hesperd
