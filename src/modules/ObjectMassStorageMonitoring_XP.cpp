#include "modules/ObjectMassStorageMonitoring_XP.h"

#include <cmath>
#include <exception>
#include <limits>

#include "dictionary/ItemTable.h"
#include "dictionary/ObjHelper.h"
#include "hardware/drives/CPhysicalDriveNVMe.h"
#include "hardware/drives/CPhysicalDriveRAID.h"
#include "hardware/drives/CSmartDeviceDescription.h"
#include "log/Logger.h"
#include "modules/ObjectsLock.h"
#include "platform/StringHelper.h"

using PhysicalDrive::CPhysicalDrive;
using PhysicalDrive::CPhysicalDriveNVMe;
using PhysicalDrive::CPhysicalDriveRAID;

namespace MassStorageMonitoring {

namespace {

constexpr unsigned short MODULE_TYPE = 32;
constexpr const char* MODULE_NAME = "MassStorageMonitoring";
constexpr std::int64_t TEXT_ID_MODULE = 1320;

constexpr logSeverity SEVERITY_ACTIVATION = 32;

constexpr unsigned int PASS_PERIOD_MS = 5000;
constexpr unsigned int DEVICES = 20; // of each kind that are tried
constexpr int TYPE_NEITHER = 0;
constexpr int TYPE_HARD_DISK = 1;
constexpr unsigned char NO_RAID_DRIVE = 255;

using CObj0x8nnX = CObjectArray;

// The arrays by their place behind the header.
enum TArray : unsigned int {
    SERIAL = 1,
    RAID,
    LETTERS,
    NAME,
    KIND,
    ERASE_AVERAGE,
    ERASE_SPECIFIED,
    LIFE_LEFT,
    SPARE,
    SPARE_TOTAL,
    SPARE_LEFT,
    REALLOCATED,
    SPIN_RETRIES,
    PENDING,
    CRC_ERRORS,
};

struct TArrayRow {
    TArray array;
    std::uint16_t declaredType;
    std::uint16_t elementType;
    long textId; // of the array and of its elements
};

constexpr TArrayRow ARRAYS[] = {
    {SERIAL, TYPE_VISIBLE_STRING, TYPE_VISIBLE_STRING, 1321},
    {RAID, TYPE_UNSIGNED8, TYPE_UNSIGNED8, 1322},
    {LETTERS, TYPE_VISIBLE_STRING, TYPE_VISIBLE_STRING, 1323},
    {NAME, TYPE_VISIBLE_STRING, TYPE_VISIBLE_STRING, 1324},
    {KIND, TYPE_UNSIGNED8, TYPE_UNSIGNED8, 1325},
    {ERASE_AVERAGE, TYPE_UNSIGNED64, TYPE_UNSIGNED64, 1326},
    {ERASE_SPECIFIED, TYPE_UNSIGNED64, TYPE_UNSIGNED64, 1327},
    {LIFE_LEFT, TYPE_UNSIGNED8, TYPE_INTEGER16, 1328}, // meant: declared narrower than it is, like the other percentage
    {SPARE, TYPE_UNSIGNED64, TYPE_UNSIGNED64, 1329},
    {SPARE_TOTAL, TYPE_UNSIGNED64, TYPE_UNSIGNED64, 1330},
    {SPARE_LEFT, TYPE_UNSIGNED8, TYPE_INTEGER16, 1331},
    {REALLOCATED, TYPE_UNSIGNED64, TYPE_UNSIGNED64, 1332},
    {SPIN_RETRIES, TYPE_UNSIGNED64, TYPE_UNSIGNED64, 1333},
    {PENDING, TYPE_UNSIGNED64, TYPE_UNSIGNED64, 1334},
    {CRC_ERRORS, TYPE_UNSIGNED64, TYPE_UNSIGNED64, 1335},
};

constexpr TArrayRow RowOf(TArray array) {
    return ARRAYS[array - SERIAL];
}

struct THardDiskFigure {
    TArray array;
    const wchar_t* name;
};

constexpr THardDiskFigure HARD_DISK_FIGURES[] = {
    {REALLOCATED, L"ReallocatedSectors"},
    {SPIN_RETRIES, L"SpinRetries"},
    {PENDING, L"PendingSectors"},
    {CRC_ERRORS, L"UltraDmaCrcErrors"},
};

ObjResult RdNoFlashdriveParametersAvailable(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return OBJ_E_NOFLASHDATA;
}

ObjResult RdNoHarddiskParametersAvailable(TInfoItem* /*item*/, unsigned short /*index*/, unsigned char /*subIndex*/) {
    return OBJ_E_NOHDDDATA;
}

void AppendItem(CObj0x8nnX* array, std::uint16_t type, const void* value, std::size_t size, TOnRead onRead, long id) {
    TInfoItem item;
    item.type = type;
    item.access = ACCESS_READ;
    item.onRead = onRead;
    item.size = static_cast<std::uint32_t>(size);
    // Only read: the array keeps a copy.
    item.data = static_cast<unsigned char*>(const_cast<void*>(value));
    item.nameId = id;
    array->AppendInfoItem(item);
}

void AppendUINT64Item(CObj0x8nnX* array, const std::uint64_t* value, long id) {
    AppendItem(array, TYPE_UNSIGNED64, value, sizeof *value, nullptr, id);
}

void AppendUINT8Item(CObj0x8nnX* array, const unsigned char* value, long id) {
    AppendItem(array, TYPE_UNSIGNED8, value, sizeof *value, nullptr, id);
}

void AppendINT16Item(CObj0x8nnX* array, const short* value, long id) {
    AppendItem(array, TYPE_INTEGER16, value, sizeof *value, nullptr, id);
}

void AppendStringItem(CObj0x8nnX* array, const std::string& value, long id) {
    AppendItem(array, TYPE_VISIBLE_STRING, value.data(), value.size(), nullptr, id);
}

void AppendRdNotSupportedItem(CObj0x8nnX* array, unsigned short type, long id) {
    AppendItem(array, type, nullptr, 0, RdNotSupported, id);
}

void AppendRdNoFlashdriveParametersAvailableItem(CObj0x8nnX* array, unsigned short type, long id) {
    AppendItem(array, type, nullptr, 0, RdNoFlashdriveParametersAvailable, id);
}

void AppendRdNoHarddiskParametersAvailableItem(CObj0x8nnX* array, unsigned short type, long id) {
    AppendItem(array, type, nullptr, 0, RdNoHarddiskParametersAvailable, id);
}

// The fifteen arrays behind the header, or none of them.
class CArrays {
public:
    explicit CArrays(unsigned short header) {
        const CDictionaryRef dictionary;
        if (!dictionary) {
            return;
        }
        m_complete = true;
        for (const TArrayRow& row : ARRAYS) {
            CRef<CObject>& object = m_objects[row.array - SERIAL];
            object = dictionary->GetObjectRef(DataIndex(header, row.array));
            m_complete = m_complete && object;
        }
    }

    explicit operator bool() const { return m_complete; }

    std::span<const CRef<CObject>> Objects() const { return m_objects; }

    CObj0x8nnX* operator[](TArray array) const { return static_cast<CObj0x8nnX*>(m_objects[array - SERIAL].Get()); }

    void Append(TArray array, const std::string& text) const {
        AppendStringItem((*this)[array], text, RowOf(array).textId);
    }

    void Append(TArray array, std::uint64_t number) const {
        AppendUINT64Item((*this)[array], &number, RowOf(array).textId);
    }

    void Append(TArray array, unsigned char number) const {
        AppendUINT8Item((*this)[array], &number, RowOf(array).textId);
    }

    // Meant: the low 16 bits, without a limit to 0 and 100.
    void AppendPercent(TArray array, double percent) const {
        const auto rounded = static_cast<short>(CMassStorageMonitoringObj0x8nn0::RoundPercent(percent)); // modulo 2^16
        AppendINT16Item((*this)[array], &rounded, RowOf(array).textId);
    }

    // Elements without a value in the arrays `first` to `last`.
    template <typename TAppend>
    void Fill(TArray first, TArray last, TAppend append) const {
        for (unsigned int array = first; array <= last; ++array) {
            const TArrayRow& row = ARRAYS[array - SERIAL];
            append((*this)[row.array], row.elementType, row.textId);
        }
    }

    void NotSupported(TArray array) const { Fill(array, array, AppendRdNotSupportedItem); }

private:
    std::array<CRef<CObject>, std::size(ARRAYS)> m_objects;
    bool m_complete = false;
};

// A quantity of the description, if it has that.
template <typename T>
bool Ask(const CSmartDeviceDescription& description, const wchar_t* name, T& value) {
    return description.GetAttributeValueByName(name, &value) == 0;
}

// Part of a whole in percent; 0 of nothing.
double Percent(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole) * 100.0;
}

void AppendPercentOf(const CArrays& arrays, TArray array, const CSmartDeviceDescription& description,
                     const wchar_t* name) {
    double percent = 0;
    if (Ask(description, name, percent)) {
        arrays.AppendPercent(array, percent);
    } else {
        arrays.NotSupported(array);
    }
}

void AppendHardDiskFigures(const CArrays& arrays, const CSmartDeviceDescription& description) {
    for (const THardDiskFigure& figure : HARD_DISK_FIGURES) {
        std::uint64_t value = 0;
        if (Ask(description, figure.name, value)) {
            arrays.Append(figure.array, value);
        } else {
            arrays.NotSupported(figure.array);
        }
    }
}

void AppendFlashFigures(const CArrays& arrays, const CSmartDeviceDescription& description) {
    std::uint64_t average = 0;
    std::uint64_t specified = 0;
    const bool hasAverage =
        Ask(description, L"EraseCountAverage", average) || Ask(description, L"EraseCountAverage2", average);
    const bool hasSpecified = Ask(description, L"EraseCountSpecified", specified);
    // Meant: the two counts make the percentage and are not published themselves.
    arrays.NotSupported(ERASE_AVERAGE);
    arrays.NotSupported(ERASE_SPECIFIED);
    if (hasAverage && hasSpecified) {
        arrays.AppendPercent(LIFE_LEFT, specified == 0 ? 0 : 100.0 - Percent(average, specified));
    } else {
        AppendPercentOf(arrays, LIFE_LEFT, description, L"CyclesLeftPercent");
    }

    std::uint64_t remaining = 0;
    std::uint64_t used = 0;
    const bool hasRemaining = Ask(description, L"SpareBlocksRemaining", remaining);
    const bool hasUsed = Ask(description, L"SpareBlocksUsed", used);
    if (hasRemaining) {
        arrays.Append(SPARE, remaining);
    } else {
        arrays.NotSupported(SPARE);
    }
    if (hasRemaining && hasUsed) {
        arrays.Append(SPARE_TOTAL, remaining + used);
        arrays.AppendPercent(SPARE_LEFT, Percent(remaining, remaining + used));
    } else {
        arrays.NotSupported(SPARE_TOTAL);
        AppendPercentOf(arrays, SPARE_LEFT, description, L"SpareBlocksLeftPercent");
    }
}

// One element in each array.
void AppendDrive(const CArrays& arrays, CPhysicalDrive& drive, const CXmlSmartDescription& descriptions) {
    arrays.Append(SERIAL, drive.serialNumber);
    const auto* raid = dynamic_cast<const CPhysicalDriveRAID*>(&drive);
    if (raid != nullptr && raid->IdentifyArea()[0] < NO_RAID_DRIVE) {
        arrays.Append(RAID, raid->IdentifyArea()[0]);
    } else {
        arrays.NotSupported(RAID);
    }
    if (drive.partitionLetters.empty()) {
        arrays.NotSupported(LETTERS);
    } else {
        arrays.Append(LETTERS, drive.partitionLetters);
    }

    drive.ReadSmart(); // a drive that could not be read goes on without attributes
    CSmartDeviceDescription description(drive.model, drive.firmwareRevision);
    if (descriptions.GetSmartDeviceDescription(description) != 0 || description.InterpretData(&drive) != 0) {
        arrays.Fill(NAME, CRC_ERRORS, AppendRdNotSupportedItem);
        return;
    }
    const auto kind = static_cast<unsigned char>(description.type);
    arrays.Append(NAME, CStringHelper::WideToAnsi(description.name));
    arrays.Append(KIND, kind);
    if (kind == TYPE_NEITHER || kind == TYPE_HARD_DISK) {
        arrays.Fill(ERASE_AVERAGE, SPARE_LEFT, AppendRdNoFlashdriveParametersAvailableItem);
    } else {
        AppendFlashFigures(arrays, description);
    }
    if (kind == TYPE_HARD_DISK) {
        AppendHardDiskFigures(arrays, description);
    } else {
        arrays.Fill(REALLOCATED, CRC_ERRORS, AppendRdNoHarddiskParametersAvailableItem);
    }
}

} // namespace

ObjResult Create() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>MassStorageMonitoring::Create()");
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_FAILED;
    }
    const unsigned short slot = dictionary->GetNextFree0x8nn0Slot();
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "\tMassStorageMonitoring::Create(pObj0x8nn0)");
    const CRef<CMassStorageMonitoringObj0x8nn0> header(new CMassStorageMonitoringObj0x8nn0);
    header->Init(slot, MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    dictionary->AddObject(header.Get());
    dictionary->RegisterObject(header.Get());
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "\tMassStorageMonitoring::Create(pObjActivator)");
    const CRef<CMassStorageMonitoringActivator> activator(new CMassStorageMonitoringActivator(header.Get()));
    dictionary->SetModuleActivator(SlotOfIndex(slot), activator.Get());
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==MassStorageMonitoring::Create()");
    return OBJ_E_NOERR;
}

CMassStorageMonitoringObj0x8nn0::CMassStorageMonitoringObj0x8nn0() {
    m_loadStatus = static_cast<int>(m_descriptions.LoadXML());
}

CMassStorageMonitoringObj0x8nn0::~CMassStorageMonitoringObj0x8nn0() {
    ClearDrives();
}

void CMassStorageMonitoringObj0x8nn0::UpdateDrives(int force) {
    if (m_loadStatus < 0) {
        return;
    }
    ClearDrives(); // of a pass that ended early for want of memory
    GetRaidDrives();
    GetPhysicalDrives();
    if (GetDrivesChanged() != 0 || force != 0) {
        PrintDrives();
    }
    ClearDrives();
}

void CMassStorageMonitoringObj0x8nn0::GetPhysicalDrives() {
    for (unsigned int number = 0; number < DEVICES; ++number) {
        AddDrive(CPhysicalDrive::Create(number));
        AddDrive(CPhysicalDriveNVMe::Create(number));
    }
}

void CMassStorageMonitoringObj0x8nn0::GetRaidDrives() {
    for (CPhysicalDrive* drive : CPhysicalDriveRAID::GetDrives()) {
        AddDrive(drive);
    }
}

int CMassStorageMonitoringObj0x8nn0::GetDrivesChanged() {
    std::vector<std::string> drives;
    for (const CPhysicalDrive* drive : m_drives) {
        drives.push_back(drive->serialNumber);
    }
    if (drives == m_lastDrives) {
        return 0;
    }
    m_lastDrives = drives;
    return 1;
}

void CMassStorageMonitoringObj0x8nn0::PrintDrives() {
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "CMassStorageMonitoringObj0x8nn0::PrintDrives");
    const CArrays arrays(Index());
    if (!arrays) {
        return;
    }
    const CObjectsLock lock(arrays.Objects());
    for (const TArrayRow& row : ARRAYS) {
        arrays[row.array]->RemoveAllElements();
    }
    for (CPhysicalDrive* drive : m_drives) {
        AppendDrive(arrays, *drive, m_descriptions);
    }
}

void CMassStorageMonitoringObj0x8nn0::ClearDrives() {
    for (const CPhysicalDrive* drive : m_drives) {
        delete drive;
    }
    m_drives.clear();
}

void CMassStorageMonitoringObj0x8nn0::ClearLastDrives() {
    m_lastDrives.clear();
}

int CMassStorageMonitoringObj0x8nn0::GetDriveAlreadyExists(const std::string& serial) const {
    for (const CPhysicalDrive* drive : m_drives) {
        if (drive->serialNumber == serial) {
            return 1;
        }
    }
    return 0;
}

int CMassStorageMonitoringObj0x8nn0::AddDrive(CPhysicalDrive* drive) {
    std::unique_ptr<CPhysicalDrive> owner(drive);
    if (owner == nullptr) {
        return 0;
    }
    if (const std::uint32_t result = owner->Update(); result != 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Update physical drive %u failed: 0x%X", owner->DriveIndex(), result);
        return 0;
    }
    if (GetDriveAlreadyExists(owner->serialNumber) != 0) {
        return 0;
    }
    m_drives.push_back(owner.get());
    [[maybe_unused]] const CPhysicalDrive* kept = owner.release();
    return 1;
}

int CMassStorageMonitoringObj0x8nn0::RoundPercent(double percent) {
    const double rounded = std::round(percent);
    using TLimits = std::numeric_limits<int>;
    // What the processor's conversion gives for a number that does not fit.
    return rounded >= TLimits::min() && rounded <= TLimits::max() ? static_cast<int>(rounded) : TLimits::min();
}

ObjResult CMassStorageMonitoringActivator::DoActivate() {
    g_pLogger->LogMsg(SEVERITY_ACTIVATION, "==>MassStorageMonitoring::DoActivate()");
    const CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    for (const TArrayRow& row : ARRAYS) {
        const CRef<CObj0x8nnX> array(new CObj0x8nnX);
        array->elementType = row.declaredType;
        array->Init(DataIndex(m_header->Index(), row.array), OBJCODE_ARRAY, row.textId);
        dictionary->AddObject(array.Get());
    }
    m_timer.Open();
    {
        const CPassTimer::CPass pass(m_timer);
        m_header->ClearLastDrives();
        m_header->UpdateDrives(1);
        m_ticks = 0;
    }
    m_timer.Start(PASS_PERIOD_MS, m_header->Index());
    g_pLogger->LogMsg(SEVERITY_ACTIVATION, "<==MassStorageMonitoring::DoActivate()");
    return OBJ_E_NOERR;
}

ObjResult CMassStorageMonitoringActivator::DoDeactivate() {
    g_pLogger->LogMsg(SEVERITY_ACTIVATION, "==>MassStorageMonitoring::DoDeactivate()");
    const CDictionaryRef dictionary;
    const ObjResult result = dictionary ? m_timer.Stop(*dictionary.Get()) : OBJ_E_UNEXPECTED;
    if (!IsError(result)) {
        for (const TArrayRow& row : ARRAYS) {
            dictionary->RemoveObject(DataIndex(m_header->Index(), row.array));
        }
    }
    g_pLogger->LogMsg(SEVERITY_ACTIVATION, "<==MassStorageMonitoring::DoDeactivate()");
    return result;
}

void CMassStorageMonitoringActivator::MdpTimerproc(unsigned int /*timerId*/, unsigned int /*parameter*/,
                                                   void* /*pointer*/) {
    g_pLogger->LogMsg(SEVERITY_ACTIVATION, "==>MassStorageMonitoring::MdpTimerproc()");
    try {
        if (const CPassTimer::CPass pass(m_timer); pass) {
            const bool force = m_ticks >= m_republishLimit;
            m_ticks = force ? 0 : m_ticks + 1;
            m_header->UpdateDrives(force ? 1 : 0);
        }
    } catch (const std::exception& failure) { // memory was short: the next pass tries again
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "MassStorageMonitoring: %s", failure.what());
    }
    g_pLogger->LogMsg(SEVERITY_ACTIVATION, "<==MassStorageMonitoring::MdpTimerproc()");
}

} // namespace MassStorageMonitoring
