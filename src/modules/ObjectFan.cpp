#include "modules/ObjectFan.h"

#include <cstring>
#include <string>
#include <vector>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "hardware/ZmVtDevWrapper.h"
#include "log/Logger.h"
#include "modules/ItemValues.h"

namespace Fan {

namespace {

using ZmVtDevWrapper::INDEX_INFO;
using ZmVtDevWrapper::TProbeType;
using ZmVtDevWrapper::TSensorInfo;

constexpr unsigned short MODULE_TYPE = 27;
constexpr std::int64_t TEXT_ID_MODULE = 1240;
constexpr std::int64_t TEXT_ID_RECORD = 1241;
constexpr unsigned char SUB_SPEED = 1;
constexpr unsigned int TICK_MS = 2000;

// One tick with its object and the device's use.
void RefreshSpeed(CObject& object, unsigned int sensor) {
    const ZmVtDevWrapper::CDeviceUse device;
    // Bit 31 is the sign of the result.
    if (IsError(device.Result())) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Could not load ZmVtDevFun.dll Error:(0x%08X)", device.Result());
        return;
    }
    TSensorInfo info;
    auto* const getInfo = CZmVtDevWrapper::FVtSysGetSensorInfo.load();
    if (getInfo == nullptr) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "FVtSysGetSensorInfo is null!");
        RemoveItemValue(object, SUB_SPEED);
    } else if (!getInfo(sensor, &info, sizeof info)) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "FVtSysGetSensorInfo failed!");
        RemoveItemValue(object, SUB_SPEED);
    } else {
        StoreItemValue(object, SUB_SPEED, static_cast<std::uint32_t>(info.reading));
    }
}

} // namespace

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    std::vector<INDEX_INFO> sensors;
    {
        const ZmVtDevWrapper::CDeviceUse device;
        CZmVtDevWrapper::GetSensorIndexes(&sensors, TProbeType::FAN);
    }
    for (const INDEX_INFO& sensor : sensors) {
        const std::string name(sensor.description, strnlen(sensor.description, sizeof sensor.description));
        const CRef<CFanObj0x8nn0> header =
            AddModuleHeaderOf<CFanObj0x8nn0>(*dictionary.Get(), "FAN", name.c_str(), MODULE_TYPE, TEXT_ID_MODULE);
        header->sensor = static_cast<std::uint16_t>(sensor.index);
        const CRef<CFanActivator> activator(new CFanActivator(header.Get()));
        dictionary->SetModuleActivator(SlotOfIndex(header->Index()), activator.Get());
    }
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::Init(unsigned short index) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    TSensorInfo info;
    const bool isGood = CZmVtDevWrapper::Call(CZmVtDevWrapper::FVtSysGetSensorInfo, Sensor(), &info, sizeof info);
    AppendItems(*this, {{SUB_SPEED, TypeAccess(TYPE_INTEGER16, ACCESS_READ), 10120, nullptr, nullptr,
                         isGood ? ItemValueLow16(static_cast<std::uint32_t>(info.reading)) : std::string()}});
    return result;
}

ObjResult CFanActivator::DoActivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CFanActivator::DoActivate()");
    // This use lasts until DoDeactivate, also where the device could not be opened.
    if (CZmVtDevWrapper::LoadDll() == OBJ_E_NOERR) {
        if (CDictionaryRef dictionary; dictionary) {
            const unsigned short header = HeaderIndexOf(*m_header);
            const CRef<CObj0x8nn1> object(new CObj0x8nn1(&m_header->sensor));
            object->Init(DataIndex(header, 1));
            object->SetNameId(TEXT_ID_RECORD);
            dictionary->AddObject(object.Get());
            m_timer.Open();
            m_timer.Start(TICK_MS, header);
        }
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CFanActivator::DoActivate()");
    return OBJ_E_NOERR;
}

ObjResult CFanActivator::DoDeactivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CFanActivator::DoDeactivate()");
    const CDictionaryRef dictionary;
    const ObjResult result = dictionary ? m_timer.Stop(*dictionary.Get()) : OBJ_E_UNEXPECTED;
    if (!IsError(result)) {
        dictionary->RemoveObject(DataIndex(HeaderIndexOf(*m_header), 1));
        CZmVtDevWrapper::UnloadDll();
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CFanActivator::DoDeactivate()");
    return result;
}

void CFanActivator::MdpTimerproc(unsigned int /*timerId*/, unsigned int parameter, void* /*pointer*/) {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==> Fan:timerproc()");
    const CDictionaryRef dictionary;
    if (const CPassTimer::CPass pass(m_timer); dictionary && pass) {
        const CRef<CObject> object = dictionary->GetObjectRef(static_cast<unsigned short>(parameter + 1));
        if (const auto* record = dynamic_cast<CObj0x8nn1*>(object.Get()); record != nullptr) {
            RefreshSpeed(*object, record->Sensor());
        }
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<== Fan:timerproc()");
}

} // namespace Fan
