#include "modules/ObjectMainboard.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <optional>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "dictionary/ObjHelper.h"
#include "log/Logger.h"
#include "modules/ItemValues.h"
#include "platform/Platform.h"
#include "platform/StringHelper.h"

namespace Mainboard {

namespace {

using ZmVtDevWrapper::TLocationType;
using ZmVtDevWrapper::TProbeType;
using ZmVtDevWrapper::TSensorInfo;
using W = CZmVtDevWrapper;

constexpr unsigned short MODULE_TYPE = 28;
constexpr const char* MODULE_NAME = "MAINBOARD";
constexpr std::int64_t TEXT_ID_MODULE = 1250;

constexpr std::uint32_t TEXT = TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ);
constexpr std::uint32_t BYTE = TypeAccess(TYPE_UNSIGNED8, ACCESS_READ);
constexpr std::uint32_t BYTE_WRITABLE = TypeAccess(TYPE_UNSIGNED8, ACCESS_READ | ACCESS_WRITE);
constexpr std::uint32_t SHORT = TypeAccess(TYPE_INTEGER16, ACCESS_READ);
constexpr std::uint32_t NUMBER = TypeAccess(TYPE_UNSIGNED32, ACCESS_READ);
constexpr std::uint32_t SIGNED = TypeAccess(TYPE_INTEGER32, ACCESS_READ);

constexpr unsigned char SUB_OPERATION_TIME = 5;
constexpr unsigned char SUB_TEMPERATURE = 10;

constexpr unsigned int TICK_MS = 2000;
constexpr unsigned int TICKS_PER_OPERATION_TIME = 15;

constexpr unsigned int PINS = 8;
constexpr std::int64_t TEXT_IDS_OF_PINS[PINS] = {10158, 10159, 10160, 10161, 10162, 10163, 10164, 10165};

constexpr std::int32_t MILLIVOLTS_PER_READING = 10;
constexpr long MILLIVOLTS_PER_EXTREME = 100;

unsigned int BitOf(std::uint8_t bits, unsigned int pin) {
    return bits >> pin & 1U;
}

// The header of the slot that an index of it belongs to.
CRef<CMainboardObj0x8nn0> HeaderOf(CObjDictionary& dictionary, unsigned short index) {
    return dictionary.GetObjectRef(static_cast<unsigned short>(index & 0xFFF0)).As<CMainboardObj0x8nn0>();
}

std::optional<TSensorInfo> ReadSensor(unsigned int sensor) {
    TSensorInfo info;
    return W::Call(W::FVtSysGetSensorInfo, sensor, &info, sizeof info) ? std::optional(info) : std::nullopt;
}

// What is published of a voltage: mV in 16 bits, of which the low ones are kept.
std::uint32_t MilliVolts(std::int32_t reading) {
    return static_cast<std::uint32_t>(reading) * MILLIVOLTS_PER_READING;
}

// The name ends with a NUL; one of eight characters runs on, and ends with the record at the latest.
std::string BoardName() {
    ZmVtDevWrapper::TVtDevice_MBInfo info;
    if (!W::Call(W::FVtGenGetMainboardInfo, &info)) {
        return {};
    }
    char record[sizeof info];
    std::memcpy(record, &info, sizeof info);
    return {record, strnlen(record, sizeof record)};
}

std::string SerialNumber() {
    ZmVtDevWrapper::TVtDevice_String serial = {};
    return W::Call(W::FPwrCtrlGetSerialNumber, &serial) ? std::string(serial, strnlen(serial, sizeof serial))
                                                        : std::string();
}

std::string ProductionDate() {
    ZmVtDevWrapper::TVDevice_Date date;
    if (!W::Call(W::FPwrCtrlGetProductionDate, &date)) {
        return {};
    }
    char text[40];
    const int length = std::snprintf(text, sizeof text, "%04u-%02u-%02u-%02u", date.year != 0 ? date.year + 2000U : 0U,
                                     unsigned{date.month}, unsigned{date.day}, unsigned{date.week});
    return {text, static_cast<std::size_t>(length)};
}

template <typename TOperation>
std::string Counter(const TOperation& operation) {
    unsigned int value = 0;
    return W::Call(operation, &value) ? ItemValue(value) : std::string();
}

// The values of an operation that gives a minimum and a maximum, each times a factor.
template <typename TOperation>
std::array<std::string, 2> Extremes(const TOperation& operation, long factor) {
    long min = 0;
    long max = 0;
    if (!W::Call(operation, &min, &max)) {
        return {};
    }
    return {ItemValue(static_cast<std::int32_t>(min * factor)), ItemValue(static_cast<std::int32_t>(max * factor))};
}

unsigned char FromBcd(std::uint8_t packed) {
    return static_cast<unsigned char>((packed >> 4) * 10 + (packed & 0x0F));
}

// Bit n of a port as the item of pin n, for all pins; without an image items without a value.
void AppendPins(CObject& object, std::optional<std::uint8_t> image, std::uint8_t readOnly) {
    for (unsigned int pin = 0; pin < PINS; ++pin) {
        const bool isWritable = BitOf(readOnly, pin) == 0;
        const std::string value = image ? ItemValue(static_cast<std::uint8_t>(BitOf(*image, pin))) : std::string();
        AppendItems(object, {{static_cast<unsigned char>(pin + 1), isWritable ? BYTE_WRITABLE : BYTE,
                              TEXT_IDS_OF_PINS[pin], nullptr, isWritable ? SetGPIO1_Out : nullptr, value}});
    }
}

// The same into items that are there.
void StorePins(CObject& object, std::uint8_t image) {
    CSectionLock lock(object.Section());
    for (unsigned int pin = 0; pin < PINS; ++pin) {
        StoreItemValue(object, static_cast<unsigned char>(pin + 1), BitOf(image, pin));
    }
}

template <typename TOperation>
ObjResult GetPins(const TOperation& operation, unsigned char** bits) {
    *bits = new unsigned char[PINS]();
    std::uint8_t image = 0;
    if (!W::Call(operation, &image)) {
        return STATUS_UNSPECIFIED;
    }
    for (unsigned int pin = 0; pin < PINS; ++pin) {
        (*bits)[pin] = static_cast<unsigned char>(BitOf(image, pin));
    }
    return OBJ_E_NOERR;
}

ObjResult InitRecord(CObjectRecord& record, unsigned short index) {
    return record.Init(index, OBJCODE_RECORD, 0);
}

void RefreshOperationTime(CObject& identity) {
    unsigned int time = 0;
    if (W::Call(W::FPwrCtrlGetOperationTime, &time)) {
        StoreItemValue(identity, SUB_OPERATION_TIME, time);
    } else {
        RemoveItemValue(identity, SUB_OPERATION_TIME);
    }
}

void RefreshTemperature(CObject& identity, unsigned int sensor) {
    if (W::FVtSysGetSensorInfo.load() == nullptr) {
        return; // the value of before stays: only a failing read takes it away
    }
    if (const auto info = ReadSensor(sensor); info) {
        StoreItemValue(identity, SUB_TEMPERATURE, static_cast<std::uint32_t>(info->reading));
    } else {
        RemoveItemValue(identity, SUB_TEMPERATURE);
    }
}

void RefreshVoltages(CObject& voltages, const CMainboardObj0x8nn0& header) {
    // An object takes 254 items behind its count, so that of a board with more sensors these are the first.
    const std::size_t items = voltages.GetCoutOfInfoItems();
    for (std::size_t i = 0; i < header.voltageSensors.size() && i + 1 < items; ++i) {
        const auto subIndex = static_cast<unsigned char>(i + 1);
        if (const auto info = ReadSensor(header.voltageSensors[i].index); info) {
            StoreItemValue(voltages, subIndex, MilliVolts(info->reading));
        } else {
            RemoveItemValue(voltages, subIndex);
        }
    }
}

void RefreshPins(CObject& pins, CObject& mask) {
    std::uint8_t image = 0;
    if (W::Call(W::FGpioReadIn1, &image)) {
        StorePins(pins, image);
    }
    if (W::Call(W::FGpioReadMask1, &image)) {
        StorePins(mask, image);
    }
}

} // namespace

ObjResult Create() {
    const ZmVtDevWrapper::CDeviceUse device;
    if (device.Result() != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "Mainboard Create: Could not load ZmVtDev! Error: %d", device.Result());
        return OBJ_E_NOERR;
    }
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    const CRef<CMainboardObj0x8nn0> header(new CMainboardObj0x8nn0);
    ObjResult result = W::GetSensorIndex(TProbeType::TEMPERATURE, TLocationType::MAINBOARD, &header->temperatureSensor);
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "Mainboard Create: Could not read Mainboard Temperature! Error: %d",
                          result);
    }
    // Wherever they are: only the temperature has to be the mainboard's.
    result = W::GetSensorIndexes(&header->voltageSensors, TProbeType::VOLTAGE);
    if (result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "Mainboard Create: Could not read Mainboard Voltages! Error: %d", result);
    }
    AddModuleHeader(*dictionary.Get(), *header, MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    const CRef<CMainboardActivator> activator(new CMainboardActivator(header.Get()));
    dictionary->SetModuleActivator(SlotOfIndex(header->Index()), activator.Get());
    return OBJ_E_NOERR;
}

ObjResult CObj0x8nn1::Init(unsigned short index) {
    const ObjResult result = InitRecord(*this, index);
    unsigned int sensor = 0;
    if (CDictionaryRef dictionary; dictionary) {
        if (const auto header = HeaderOf(*dictionary.Get(), index); header) {
            sensor = header->temperatureSensor;
        }
    }
    const auto temperatures = Extremes(W::FPwrCtrlGetMinMaxTemp, 1);
    const auto voltages = Extremes(W::FPwrCtrlGetMinMaxVolt, MILLIVOLTS_PER_EXTREME);
    const auto info = ReadSensor(sensor);
    const std::string temperature = info ? ItemValueLow16(static_cast<std::uint32_t>(info->reading)) : std::string();
    AppendItems(*this, {
                           {1, TEXT, 10157, nullptr, nullptr, BoardName()},
                           {2, TEXT, 10140, nullptr, nullptr, SerialNumber()},
                           {3, TEXT, 10141, nullptr, nullptr, ProductionDate()},
                           {4, NUMBER, 10142, nullptr, nullptr, Counter(W::FPwrCtrlGetBootCounter)},
                           {5, NUMBER, 10143, nullptr, nullptr, Counter(W::FPwrCtrlGetOperationTime)},
                           {6, SIGNED, 10144, nullptr, nullptr, temperatures[0]},
                           {7, SIGNED, 10145, nullptr, nullptr, temperatures[1]},
                           {8, SIGNED, 10146, nullptr, nullptr, voltages[0]},
                           {9, SIGNED, 10147, nullptr, nullptr, voltages[1]},
                           {10, SHORT, 10156, nullptr, nullptr, temperature},
                       });
    return result;
}

ObjResult CObj0x8nn2::Init(unsigned short index) {
    const ObjResult result = InitRecord(*this, index);
    ZmVtDevWrapper::TVtDevice_MBInfo info;
    const bool isGood = W::Call(W::FVtGenGetMainboardInfo, &info);
    unsigned char major = isGood ? FromBcd(info.biosMajor) : 0;
    unsigned char minor = isGood ? FromBcd(info.biosMinor) : 0;
    const auto value = [isGood](std::uint8_t byte) { return isGood ? ItemValue(byte) : std::string(); };

    std::string version = BiosVersionFullRemovePlatform(Platform::GetBiosVersionFull());
    if (version.empty()) {
        version = BiosVersionFullGetFallback(major, minor);
    }
    AppendItems(*this, {
                           {1, BYTE, 10148, nullptr, nullptr, value(info.revision)},
                           {2, BYTE, 10149, nullptr, nullptr, value(major)},
                           {3, BYTE, 10150, nullptr, nullptr, value(minor)},
                           {4, TEXT, 20151, nullptr, nullptr, version}, // meant: not the id between its neighbours'
                       });
    return result;
}

std::string CObj0x8nn2::BiosVersionFullRemovePlatform(const std::string& text) {
    const std::vector<std::string> parts = CStringHelper::Split(text, '-');
    return parts.size() >= 2 ? CStringHelper::Trim(parts[1]) : std::string();
}

std::string CObj0x8nn2::BiosVersionFullGetFallback(unsigned char& major, unsigned char& minor) {
    return major != 0 || minor != 0 ? std::to_string(major) + "." + std::to_string(minor) : std::string();
}

ObjResult CObj0x8nn3::Init(unsigned short index) {
    return InitRecord(*this, index);
}

ObjResult CObj0x8nn4::Init(unsigned short index) {
    return InitRecord(*this, index);
}

ObjResult CObj0x8nn5::Init(unsigned short index) {
    return InitRecord(*this, index);
}

ObjResult CObj0x8nn6::Init(unsigned short index) {
    const ObjResult result = InitRecord(*this, index);
    CDictionaryRef dictionary;
    if (!dictionary) {
        return result;
    }
    const auto header = HeaderOf(*dictionary.Get(), index);
    const auto names = dictionary->GetObjectRef(static_cast<unsigned short>(index - 3));
    const auto locations = dictionary->GetObjectRef(static_cast<unsigned short>(index - 2));
    const auto readings = dictionary->GetObjectRef(static_cast<unsigned short>(index - 1));
    if (!header || !names || !locations || !readings) {
        return OBJ_E_UNEXPECTED;
    }
    unsigned char subIndex = 0;
    for (const ZmVtDevWrapper::INDEX_INFO& sensor : header->voltageSensors) {
        ++subIndex;
        const auto info = ReadSensor(sensor.index);
        const auto low16 = [&](std::uint32_t number) { return info ? ItemValueLow16(number) : std::string(); };
        const TSensorInfo found = info.value_or(TSensorInfo());
        const std::string name(found.description, strnlen(found.description, sizeof found.description));
        AppendItems(*names, {{subIndex, TEXT, 10151, nullptr, nullptr, name}});
        AppendItems(*locations,
                    {{subIndex, SHORT, 10152, nullptr, nullptr, low16(static_cast<std::uint32_t>(found.location))}});
        AppendItems(*readings, {{subIndex, SHORT, 10153, nullptr, nullptr, low16(MilliVolts(found.reading))}});
        AppendItems(*this, {{subIndex, SHORT, 10154, nullptr, nullptr, low16(MilliVolts(found.reference))}});
    }
    return result;
}

ObjResult CObj0x8nn7::Init(unsigned short index) {
    const ObjResult result = InitRecord(*this, index);
    std::uint8_t mask = 0;
    std::uint8_t image = 0;
    if (W::Call(W::FGpioReadMask1, &mask) && W::Call(W::FGpioReadIn1, &image)) {
        AppendPins(*this, image, mask);
    } else {
        AppendPins(*this, std::nullopt, 0xFF);
    }
    return result;
}

ObjResult CObj0x8nn8::Init(unsigned short index) {
    const ObjResult result = InitRecord(*this, index);
    std::uint8_t mask = 0;
    const bool isGood = W::Call(W::FGpioReadMask1, &mask);
    AppendPins(*this, isGood ? std::optional(mask) : std::nullopt, 0xFF);
    return result;
}

ObjResult CMainboardActivator::DoActivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CMainboardActivator::DoActivate()");
    // This use lasts until DoDeactivate, also where the device could not be opened: then no item has a value.
    if (const ObjResult result = W::LoadDll(); result != OBJ_E_NOERR) {
        g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "Mainboard DoActivate: Could not load ZmVtDev! Error: %d", result);
    }
    const unsigned short header = HeaderIndexOf(*m_header);
    if (CDictionaryRef dictionary; dictionary) {
        AddModuleObject<CObj0x8nn1>(*dictionary.Get(), 1251, DataIndex(header, 1));
        AddModuleObject<CObj0x8nn2>(*dictionary.Get(), 1252, DataIndex(header, 2));
        // Meant: the four objects of the voltages have one text.
        AddModuleObject<CObj0x8nn3>(*dictionary.Get(), 1253, DataIndex(header, 3));
        AddModuleObject<CObj0x8nn4>(*dictionary.Get(), 1253, DataIndex(header, 4));
        AddModuleObject<CObj0x8nn5>(*dictionary.Get(), 1253, DataIndex(header, 5));
        AddModuleObject<CObj0x8nn6>(*dictionary.Get(), 1253, DataIndex(header, 6));
        AddModuleObject<CObj0x8nn7>(*dictionary.Get(), 1254, DataIndex(header, 7));
        AddModuleObject<CObj0x8nn8>(*dictionary.Get(), 1255, DataIndex(header, 8));
    }
    m_header->ticks = 0;
    m_timer.Open();
    m_timer.Start(TICK_MS, header);
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CMainboardActivator::DoActivate()");
    return OBJ_E_NOERR;
}

ObjResult CMainboardActivator::DoDeactivate() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CMainboardActivator::DoDeactivate()");
    const CDictionaryRef dictionary;
    const ObjResult result = dictionary ? m_timer.Stop(*dictionary.Get()) : OBJ_E_UNEXPECTED;
    if (!IsError(result)) {
        for (unsigned int k = 1; k <= 8; ++k) {
            dictionary->RemoveObject(DataIndex(HeaderIndexOf(*m_header), k));
        }
        W::UnloadDll();
    }
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CMainboardActivator::DoDeactivate()");
    return result;
}

void CMainboardActivator::MdpTimerproc(unsigned int /*timerId*/, unsigned int parameter, void* /*pointer*/) {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==> Mainboard:timerproc()");
    const CDictionaryRef dictionary;
    const CPassTimer::CPass pass(m_timer);
    if (!dictionary || !pass) {
        return;
    }
    const auto index = static_cast<unsigned short>(parameter);
    const auto header = HeaderOf(*dictionary.Get(), index);
    const auto identity = dictionary->GetObjectRef(DataIndex(index, 1));
    const auto names = dictionary->GetObjectRef(DataIndex(index, 3));
    const auto locations = dictionary->GetObjectRef(DataIndex(index, 4));
    const auto voltages = dictionary->GetObjectRef(DataIndex(index, 5));
    const auto references = dictionary->GetObjectRef(DataIndex(index, 6));
    const auto pins = dictionary->GetObjectRef(DataIndex(index, 7));
    const auto mask = dictionary->GetObjectRef(DataIndex(index, 8));
    if (!header || !identity || !names || !locations || !voltages || !references || !pins || !mask) {
        return;
    }
    const ZmVtDevWrapper::CDeviceUse device;
    // The counter has eight bits: of its last two ticks before it wraps both count, which is meant.
    if (++header->ticks % TICKS_PER_OPERATION_TIME == 0) {
        RefreshOperationTime(*identity);
    }
    RefreshTemperature(*identity, header->temperatureSensor);
    RefreshVoltages(*voltages, *header);
    RefreshPins(*pins, *mask);
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<== Mainboard:timerproc()");
}

ObjResult SetGPIO1_Out(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char subIndex, void* data,
                       unsigned int size) {
    if (data == nullptr || size != 1) {
        return OBJ_E_INVALIDDATA;
    }
    std::uint8_t image = 0;
    if (!W::Call(W::FGpioReadOut1, &image)) {
        return OBJ_E_OS_BASE;
    }
    const unsigned char value = *static_cast<const unsigned char*>(data);
    if (value > 1) {
        return OBJ_E_INVALIDDATA;
    }
    const unsigned int bit = 1U << (subIndex - 1U);
    image = static_cast<std::uint8_t>(value == 1 ? image | bit : image & ~bit);
    return W::Call(W::FGpioWriteOut1, image) ? OBJ_E_NOERR : OBJ_E_OS_BASE;
}

ObjResult GetGPIO1_In(unsigned char** bits) {
    return GetPins(W::FGpioReadIn1, bits);
}

ObjResult GetGPIO1_Mask(unsigned char** bits) {
    return GetPins(W::FGpioReadMask1, bits);
}

} // namespace Mainboard
