#include "modules/ObjectCPU_BSD.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "hardware/ZmVtDevWrapper.h"
#include "log/Logger.h"
#include "modules/ItemValues.h"
#include "platform/CHandle.h"
#include "platform/OsUserSystem.h"
#include "platform/OsUserThread.h"
#include "sysconfig/CSystem.h"

namespace CPU {

namespace {

using ZmVtDevWrapper::TLocationType;
using ZmVtDevWrapper::TProbeType;
using ZmVtDevWrapper::TSensorInfo;

constexpr unsigned short MODULE_TYPE = 11;
constexpr std::int64_t TEXT_ID_MODULE = 1000;
constexpr std::int64_t TEXT_ID_RECORD = 1001;

constexpr unsigned char SUB_LOAD = 2;
constexpr unsigned char SUB_TEMPERATURE = 3;

constexpr unsigned int TICK_MS = 2000;
constexpr std::uint16_t LEAST_LOAD = 1; // the load is never told as 0
constexpr const char* SENSOR = "CPU dig.";

// Guards the load that is kept. Never destroyed: a thread that measures may outlive everything else.
CSection& LoadSection() {
    static auto* section = new CSection;
    return *section;
}

// The number that a line begins with. False where it begins with none.
bool ToNumber(const std::string& line, double& number) {
    char* end = nullptr;
    number = std::strtod(line.c_str(), &end);
    return end != line.c_str() && std::isfinite(number);
}

ObjResult LastOsResult() {
    return OsResult(static_cast<std::uint32_t>(OsUserGetLastError()));
}

} // namespace

CObj0x8nn1::TLoad CObj0x8nn1::pCpuLoad;

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    const CRef<CCPUObj0x8nn0> header =
        AddModuleHeaderOf<CCPUObj0x8nn0>(*dictionary.Get(), "CPU", "CPU0", MODULE_TYPE, TEXT_ID_MODULE);
    const CRef<CCPUActivator> activator(new CCPUActivator(header.Get()));
    dictionary->SetModuleActivator(SlotOfIndex(header->Index()), activator.Get());
    return OBJ_E_NOERR;
}

std::uint32_t GetCpuFreq() {
    std::vector<std::string> lines;
    double frequency = 0;
    if (ZMBSD::CSystem::Execute("sysctl -n hw.clockrate", lines) != 0 || lines.empty() ||
        !ToNumber(lines.front(), frequency)) {
        return 0;
    }
    return static_cast<std::uint32_t>(std::clamp(frequency, 0.0, 4294967295.0));
}

ObjResult GetCpuSensorIndex(unsigned int* sensor) {
    if (sensor == nullptr) {
        return OBJ_E_INVALIDARG;
    }
    const ObjResult result =
        CZmVtDevWrapper::GetSensorIndex(TProbeType::TEMPERATURE, TLocationType::PROCESSOR, sensor, SENSOR);
    if (result != OBJ_E_NOERR) {
        return result;
    }
    return *sensor != 0 ? OBJ_E_NOERR : OBJ_E_INVALIDDATA;
}

ObjResult GetCpuTemp(const unsigned int* sensor, unsigned short* temperature) {
    if (sensor == nullptr || temperature == nullptr) {
        return OBJ_E_INVALIDARG;
    }
    auto* const getInfo = CZmVtDevWrapper::FVtSysGetSensorInfo.load();
    if (getInfo == nullptr || *sensor == 0) {
        return OBJ_E_INVALIDDATA;
    }
    TSensorInfo info;
    if (!getInfo(*sensor, &info, sizeof info)) {
        return LastOsResult();
    }
    *temperature = static_cast<unsigned short>(info.reading);
    return OBJ_E_NOERR;
}

CObj0x8nn1::~CObj0x8nn1() {
    CSectionLock lock(LoadSection());
    if (pCpuLoad == m_load) { // otherwise it is already that of a later object
        pCpuLoad.reset();
    }
}

void CObj0x8nn1::KeepLoad() {
    m_load = std::make_shared<std::atomic<std::uint16_t>>(LEAST_LOAD);
    CSectionLock lock(LoadSection());
    pCpuLoad = m_load;
}

CObj0x8nn1::TLoad CObj0x8nn1::CurrentLoad() {
    CSectionLock lock(LoadSection());
    return pCpuLoad;
}

std::optional<std::uint16_t> CObj0x8nn1::Load() {
    const TLoad load = CurrentLoad();
    return load ? std::optional<std::uint16_t>(load->load()) : std::nullopt;
}

ObjResult CObj0x8nn1::Init(unsigned short index) {
    constexpr std::uint32_t temperature = TypeAccess(TYPE_INTEGER16, ACCESS_READ);
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    CSectionLock lock(Section());
    const ZmVtDevWrapper::CDeviceUse device;
    AppendItems(*this,
                {
                    {1, TypeAccess(TYPE_UNSIGNED32, ACCESS_READ | ACCESS_MARK), 10000, nullptr, nullptr,
                     ItemValue(GetCpuFreq())},
                    {2, TypeAccess(TYPE_UNSIGNED16, ACCESS_READ), 10001, nullptr, nullptr, ItemValue(LEAST_LOAD)},
                });
    ObjResult lookUp = OBJ_E_NOERR;
    if (m_sensor == 0) {
        lookUp = CZmVtDevWrapper::GetSensorIndex(TProbeType::TEMPERATURE, TLocationType::PROCESSOR, &m_sensor, SENSOR);
    }
    unsigned short reading = 0;
    if (lookUp == OBJ_E_NOERR && GetCpuTemp(&m_sensor, &reading) == OBJ_E_NOERR) {
        AppendItems(*this, {{3, temperature, 20020, nullptr, nullptr, ItemValue(reading)}});
    } else {
        AppendItems(*this, {{3, temperature, 20020, lookUp == OBJ_E_NOTSUPPORTED ? RdNotSupported : nullptr}});
    }
    return result;
}

void CObj0x8nn1::GetCpuLoad() {
    const CHandle thread(OsUserCreateThread(nullptr, 0, GetCpuLoadThread, nullptr, 0, nullptr));
}

std::uint32_t CObj0x8nn1::GetCpuLoadThread(void* /*unused*/) {
    std::vector<std::string> lines;
    double idle = 0;
    std::uint16_t measured = LEAST_LOAD;
    if (ZMBSD::CSystem::Execute("top -Cn -d 2 | awk '/^CPU/ {print $(NF-1)}'", lines) == 0 && !lines.empty() &&
        ToNumber(lines.back(), idle)) {
        const float load = std::roundf(static_cast<float>(100 - std::clamp(idle, 0.0, 100.0)));
        measured = std::max(LEAST_LOAD, static_cast<std::uint16_t>(load));
    }
    if (const TLoad load = CurrentLoad(); load) {
        load->store(measured);
    }
    return 0;
}

ObjResult CCPUActivator::DoActivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CCPUActivator::DoActivate()");
    {
        CDictionaryRef dictionary;
        const unsigned short header = HeaderIndexOf(*m_header);
        const CRef<CObj0x8nn1> object(new CObj0x8nn1);
        object->KeepLoad();
        object->Init(DataIndex(header, 1));
        object->SetNameId(TEXT_ID_RECORD);
        if (dictionary) {
            dictionary->AddObject(object.Get());
        }
        m_timer.Open();
        m_timer.Start(TICK_MS, header);
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CCPUActivator::DoActivate()");
    return OBJ_E_NOERR;
}

ObjResult CCPUActivator::DoDeactivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CCPUActivator::DoDeactivate()");
    const CDictionaryRef dictionary;
    const ObjResult result = dictionary ? m_timer.Stop(*dictionary.Get()) : OBJ_E_UNEXPECTED;
    if (!IsError(result)) {
        dictionary->RemoveObject(DataIndex(HeaderIndexOf(*m_header), 1));
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CCPUActivator::DoDeactivate()");
    return result;
}

void CCPUActivator::MdpTimerproc(unsigned int /*timerId*/, unsigned int parameter, void* /*pointer*/) {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CPU::timerproc()");
    const CDictionaryRef dictionary;
    const CPassTimer::CPass pass(m_timer);
    if (!dictionary || !pass) {
        return;
    }
    const CRef<CObject> object = dictionary->GetObjectRef(static_cast<unsigned short>(parameter + 1));
    const auto* record = dynamic_cast<CObj0x8nn1*>(object.Get());
    if (record == nullptr) {
        return;
    }
    // Done some ticks later: this one publishes what an earlier one measured.
    CObj0x8nn1::GetCpuLoad();

    unsigned short temperature = 0;
    ObjResult result = OBJ_E_INVALIDDATA;
    {
        const ZmVtDevWrapper::CDeviceUse device;
        const unsigned int sensor = record->Sensor();
        result = GetCpuTemp(&sensor, &temperature);
    }
    if (const auto load = CObj0x8nn1::Load(); load) {
        StoreItemValue(*object, SUB_LOAD, *load);
    }
    if (result == OBJ_E_NOERR) {
        StoreItemValue(*object, SUB_TEMPERATURE, temperature);
    } else {
        RemoveItemValue(*object, SUB_TEMPERATURE);
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CPU::timerproc()");
}

} // namespace CPU
