#include "Metrics.h"

#include <algorithm>
#include <array>
#include <map>
#include <sstream>

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include "Views.h"
#include "mdp/Value.h"

namespace Gateway {
namespace {

using prometheus::MetricType;

// Every metric, in the order of the page.
enum Id {
    Up,
    ScrapeDuration,
    ScrapeErrors,
    GatewayInfo,
    MachineInfo,
    Uptime,
    ProcessorLoad,
    ProcessorFrequency,
    TemperatureCelsius,
    TemperatureLowest,
    TemperatureHighest,
    VoltageVolts,
    VoltageNominal,
    FanSpeed,
    MemorySize,
    MemoryAvailable,
    FilesystemSize,
    FilesystemFree,
    DriveInfo,
    DriveLife,
    DriveSpare,
    DriveReallocated,
    DrivePending,
    DriveSpinRetries,
    DriveCrcErrors,
    UpsInfo,
    UpsOnBattery,
    UpsCharge,
    UpsRuntime,
    UpsPowerFailures,
    UpsBatteryError,
    UpsFanError,
    RuntimeInfo,
    RuntimeState,
    RuntimeRunning,
    RuntimeSinceChange,
    RuntimeRoutes,
    RouterFigure,
    AdapterInfo,
    AdapterDhcp,
    MainboardInfo,
    MainboardBoots,
    SupplyOn,
    Packages,
    IdCount
};

struct Row {
    const char* name;
    const char* help;
    MetricType type = MetricType::Gauge;
};

constexpr std::array<Row, IdCount> s_rows{{
    {"sylvarin_up", "Whether the service answered"},
    {"sylvarin_scrape_duration_seconds", "What this look at the machine took"},
    {"sylvarin_scrape_errors_total", "Looks at which the service did not answer", MetricType::Counter},
    {"sylvarin_gateway_info", "The gateway that tells this"},
    {"sylvarin_machine_info", "Device name, hardware version, software version, serial number"},
    {"sylvarin_uptime_seconds", "Uptime"},
    {"sylvarin_processor_load_ratio", "Load of a processor, 0 to 1"},
    {"sylvarin_processor_frequency_hertz", "Frequency of a processor"},
    {"sylvarin_temperature_celsius", "Temperature"},
    {"sylvarin_temperature_lowest_celsius", "Minimum temperature that the sensor has seen"},
    {"sylvarin_temperature_highest_celsius", "Maximum temperature that the sensor has seen"},
    {"sylvarin_voltage_volts", "Voltage of a supply"},
    {"sylvarin_voltage_nominal_volts", "Reference voltage of a supply"},
    {"sylvarin_fan_speed_rpm", "Fan speed in revolutions per minute"},
    {"sylvarin_memory_size_bytes", "Total memory"},
    {"sylvarin_memory_available_bytes", "Available memory"},
    {"sylvarin_filesystem_size_bytes", "Total size of a volume"},
    {"sylvarin_filesystem_free_bytes", "Free size of a volume"},
    {"sylvarin_drive_info", "Drive name, kind and serial number"},
    {"sylvarin_drive_life_left_ratio", "Life left of a drive, 1 when new"},
    {"sylvarin_drive_spare_left_ratio", "Spare blocks left of a drive, 1 when new"},
    {"sylvarin_drive_reallocated_sectors", "Reallocated sectors"},
    {"sylvarin_drive_pending_sectors", "Pending sectors, which could not be read"},
    {"sylvarin_drive_spin_retries_total", "Spin retries", MetricType::Counter},
    {"sylvarin_drive_crc_errors_total", "Ultra DMA CRC errors", MetricType::Counter},
    {"sylvarin_ups_info", "UPS model, manufacturer and revision"},
    {"sylvarin_ups_on_battery", "Power status of a UPS: 0 on mains, 1 on battery"},
    {"sylvarin_ups_charge_ratio", "Battery charge, 0 to 1"},
    {"sylvarin_ups_runtime_seconds", "Battery runtime"},
    {"sylvarin_ups_power_failures_total", "Power fail counter", MetricType::Counter},
    {"sylvarin_ups_battery_error", "Battery error"},
    {"sylvarin_ups_fan_error", "Fan error of a UPS"},
    {"sylvarin_runtime_info", "Version, net id and system id of the automation runtime"},
    {"sylvarin_runtime_state", "Runtime state, the runtime's own number: 5 runs, 6 nothing connected"},
    {"sylvarin_runtime_running", "Whether the automation runtime runs"},
    {"sylvarin_runtime_state_age_seconds", "Time since the last change of the runtime's state"},
    {"sylvarin_runtime_routes", "Number of routes"},
    {"sylvarin_router_figure", "Router status, a number by its place and name"},
    {"sylvarin_adapter_info", "MAC address, IPv4 address, subnet mask and gateway of a network adapter"},
    {"sylvarin_adapter_dhcp_enabled", "DHCP enabled"},
    {"sylvarin_mainboard_info", "Mainboard name, serial number and BIOS version"},
    {"sylvarin_mainboard_boots_total", "Boot counter", MetricType::Counter},
    {"sylvarin_supply_on", "Supply voltage of the I/O segment switched on"},
    {"sylvarin_packages", "Number of the manufacturer's packages"},
}};

using Labels = std::vector<std::pair<const char*, std::string>>;

constexpr double s_ofPercent = 0.01;
constexpr double s_hertzOfMegahertz = 1e6;

// A scrape with a byte in it that is not UTF-8 would be refused whole.
std::string Utf8(const std::string& text) {
    if (Mdp::IsUtf8(text)) {
        return text;
    }
    std::string clean;
    for (const char byte : text) {
        clean += static_cast<unsigned char>(byte) < 0x80 ? std::string(1, byte) : "\xEF\xBF\xBD";
    }
    return clean;
}

class Page {
public:
    // No line without a value.
    void Add(Id id, const Labels& labels, const Number& value, double factor = 1) {
        if (!value) {
            return;
        }
        prometheus::ClientMetric metric;
        std::string key;
        for (const auto& [name, text] : labels) {
            metric.label.push_back({name, Utf8(text)});
        }
        // Two sensors of one name are told apart by their places.
        const std::string first = labels.empty() ? "" : metric.label.front().value;
        for (int place = 2; !m_seen.insert(KeyOf(id, metric)).second && !labels.empty(); ++place) {
            metric.label.front().value = first + " " + std::to_string(place);
        }
        (s_rows[id].type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = *value * factor;
        m_metrics[id].push_back(std::move(metric));
    }

    void Add(Id id, const Labels& labels, const Flag& value) {
        Add(id, labels, value ? Number(*value ? 1 : 0) : Number());
    }

    std::string Text() {
        std::vector<prometheus::MetricFamily> families;
        for (std::size_t id = 0; id < IdCount; ++id) {
            if (!m_metrics[id].empty()) {
                families.push_back({s_rows[id].name, s_rows[id].help, s_rows[id].type, std::move(m_metrics[id])});
            }
        }
        return prometheus::TextSerializer().Serialize(families);
    }

private:
    static std::string KeyOf(Id id, const prometheus::ClientMetric& metric) {
        std::string key = std::to_string(id);
        for (const auto& label : metric.label) {
            key += '\0' + label.value;
        }
        return key;
    }

    std::array<std::vector<prometheus::ClientMetric>, IdCount> m_metrics;
    std::set<std::string> m_seen;
};

std::string Or(const Text& text) {
    return text.value_or("");
}

void AddProcessors(Look& look, Page& page) {
    for (const Processor& processor : look.ReadProcessors()) {
        page.Add(ProcessorLoad, {{"processor", processor.name}}, processor.loadPercent, s_ofPercent);
        page.Add(ProcessorFrequency, {{"processor", processor.name}}, processor.frequencyMegahertz, s_hertzOfMegahertz);
        page.Add(TemperatureCelsius, {{"sensor", processor.name}}, processor.celsius);
    }
}

void AddMainboard(Look& look, Page& page) {
    for (const Temperature& temperature : look.ReadBoardTemperatures()) {
        page.Add(TemperatureCelsius, {{"sensor", temperature.name}}, temperature.celsius);
        page.Add(TemperatureLowest, {{"sensor", temperature.name}}, temperature.lowestCelsius);
        page.Add(TemperatureHighest, {{"sensor", temperature.name}}, temperature.highestCelsius);
    }
    for (const Voltage& voltage : look.ReadVoltages()) {
        page.Add(VoltageVolts, {{"sensor", voltage.name}}, voltage.volts);
        page.Add(VoltageNominal, {{"sensor", voltage.name}}, voltage.nominalVolts);
    }
    if (const auto board = look.ReadMainboard()) {
        page.Add(MainboardInfo,
                 {{"name", Or(board->name)}, {"serial", Or(board->serialNumber)}, {"bios", Or(board->biosVersion)}},
                 Number(1));
        page.Add(MainboardBoots, {}, board->bootCount);
    }
}

void AddFans(Look& look, Page& page) {
    for (const Fan& fan : look.ReadFans()) {
        page.Add(FanSpeed, {{"fan", fan.name}}, fan.rpm);
    }
}

void AddMemory(Look& look, Page& page) {
    const Memory memory = look.ReadMemory();
    page.Add(MemorySize, {}, memory.totalBytes);
    page.Add(MemoryAvailable, {}, memory.availableBytes);
}

void AddOperatingSystem(Look& look, Page& page) {
    page.Add(Uptime, {}, look.ReadOperatingSystem().uptimeSeconds);
}

void AddDiscs(Look& look, Page& page) {
    for (const Disc& disc : look.ReadDiscs()) {
        const Labels labels{{"path", Or(disc.path)},
                            {"name", Or(disc.name)},
                            {"fstype", Or(disc.fileSystem)},
                            {"kind", disc.isPool ? "pool" : "medium"}};
        page.Add(FilesystemSize, labels, disc.sizeBytes);
        page.Add(FilesystemFree, labels, disc.freeBytes);
    }
}

void AddDrives(Look& look, Page& page) {
    int place = 0;
    for (const Drive& drive : look.ReadDrives()) {
        const Labels labels{
            {"drive", std::to_string(++place)}, {"model", Or(drive.model)}, {"serial", Or(drive.serial)}};
        Labels info = labels;
        info.emplace_back("kind", !drive.kind        ? "unknown"
                                  : *drive.kind == 0 ? "other"
                                  : *drive.kind == 1 ? "hard disk"
                                                     : "flash");
        page.Add(DriveInfo, info, Number(1));
        page.Add(DriveLife, labels, drive.lifeLeftPercent, s_ofPercent);
        page.Add(DriveSpare, labels, drive.spareLeftPercent, s_ofPercent);
        page.Add(DriveReallocated, labels, drive.reallocatedSectors);
        page.Add(DrivePending, labels, drive.pendingSectors);
        page.Add(DriveSpinRetries, labels, drive.spinRetries);
        page.Add(DriveCrcErrors, labels, drive.crcErrors);
    }
}

void AddUps(Look& look, Page& page) {
    for (const Ups& ups : look.ReadUps()) {
        page.Add(UpsInfo,
                 {{"ups", ups.name},
                  {"model", Or(ups.model)},
                  {"manufacturer", Or(ups.manufacturer)},
                  {"revision", Or(ups.revision)}},
                 Number(1));
        const Labels labels{{"ups", ups.name}};
        const auto status = ups.powerStatus.value_or(0);
        const bool isTold = status == 1 || status == 2;
        page.Add(UpsOnBattery, labels, isTold ? Flag(status == 2) : Flag());
        page.Add(UpsCharge, labels, ups.chargePercent, s_ofPercent);
        page.Add(UpsRuntime, labels, ups.runtimeSeconds);
        page.Add(UpsPowerFailures, labels, ups.powerFailures);
        page.Add(UpsBatteryError, labels, ups.batteryError);
        page.Add(UpsFanError, labels, ups.fanError);
    }
}

void AddRuntime(Look& look, Page& page) {
    const auto runtime = look.ReadRuntime();
    if (!runtime) {
        return;
    }
    page.Add(RuntimeInfo,
             {{"version", Or(runtime->version)}, {"net_id", Or(runtime->netId)}, {"system_id", Or(runtime->systemId)}},
             Number(1));
    page.Add(RuntimeState, {}, runtime->state);
    page.Add(RuntimeRunning, {}, runtime->state ? Flag(*runtime->state == Runtime::Runs) : Flag());
    page.Add(RuntimeSinceChange, {}, runtime->secondsSinceChange);
    for (const Figure& figure : runtime->figures) {
        page.Add(RouterFigure, {{"figure", std::to_string(figure.sub)}, {"name", figure.name}}, figure.value);
    }
    page.Add(RuntimeRoutes, {}, Number(static_cast<double>(look.ReadRoutes().size())));
}

void AddAdapters(Look& look, Page& page) {
    for (const Adapter& adapter : look.ReadAdapters()) {
        page.Add(AdapterInfo,
                 {{"adapter", adapter.name},
                  {"mac", Or(adapter.mac)},
                  {"address", Or(adapter.address)},
                  {"mask", Or(adapter.mask)},
                  {"gateway", Or(adapter.gateway)}},
                 Number(1));
        page.Add(AdapterDhcp, {{"adapter", adapter.name}}, adapter.dhcp);
    }
}

void AddSupplies(Look& look, Page& page) {
    for (const Supply& supply : look.ReadSupplies()) {
        page.Add(SupplyOn, {{"supply", supply.name}}, supply.isOn);
    }
}

void AddPackages(Look& look, Page& page) {
    page.Add(Packages, {}, Number(static_cast<double>(look.ReadPackages().size())));
}

// What is asked of the modules of each type.
constexpr std::pair<ModuleType, void (*)(Look&, Page&)> s_sources[] = {
    {TypeNic, AddAdapters},
    {TypeRuntime, AddRuntime},
    {TypeSoftware, AddPackages},
    {TypeProcessor, AddProcessors},
    {TypeMemory, AddMemory},
    {TypeOperatingSystem, AddOperatingSystem},
    {TypeFan, AddFans},
    {TypeMainboard, AddMainboard},
    {TypeDiskManagement, AddDiscs},
    {TypeUps, AddUps},
    {TypeMassStorage, AddDrives},
    {TypeIo, AddSupplies},
};

} // namespace

std::uint16_t Metrics::ModuleTypeOf(const std::string& name) {
    const auto lower = [](std::string text) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
        return text;
    };
    for (const auto& [type, add] : s_sources) {
        if (lower(ModuleTypeName(type)) == lower(name)) {
            return type;
        }
    }
    return 0;
}

std::string Metrics::Scrape() {
    const auto begin = std::chrono::steady_clock::now();
    Page page;
    Look look(m_dictionary, m_maxAge);
    const Identity identity = look.ReadIdentity();
    const auto modules = look.Modules();
    for (const auto& [type, add] : s_sources) {
        const bool isThere = std::any_of(modules.begin(), modules.end(),
                                         [type = type](const Mdp::Module& module) { return module.type == type; });
        if (isThere && (m_modules.empty() || m_modules.count(type) > 0)) {
            add(look, page);
        }
    }
    const bool isUp = !look.Failure();
    if (isUp) {
        page.Add(MachineInfo,
                 {{"name", Or(identity.name)},
                  {"serial", Or(identity.serialNumber)},
                  {"hardware_version", Or(identity.hardwareVersion)},
                  {"software_version", Or(identity.softwareVersion)}},
                 Number(1));
    } else {
        ++m_errors;
        page = Page(); // what was read before it is of another moment
    }
    page.Add(Up, {}, Flag(isUp));
    page.Add(GatewayInfo, {{"version", SYLVARIN_VERSION}}, Number(1));
    page.Add(ScrapeErrors, {}, Number(static_cast<double>(m_errors)));
    page.Add(ScrapeDuration, {},
             Number(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count()));
    return page.Text();
}

} // namespace Gateway
