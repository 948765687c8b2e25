#include "ViewsJson.h"

#include <algorithm>
#include <iterator>

#include "Health.h"
#include "Problem.h"
#include "mdp/Value.h"

namespace Gateway {
namespace {

constexpr std::uint64_t s_mostExact = std::uint64_t{1} << 53;

// Whole numbers without a point.
Json NumberJson(const Number& number) {
    if (!number) {
        return {};
    }
    const auto whole = static_cast<std::int64_t>(*number);
    return static_cast<double>(whole) == *number ? Json(whole) : Json(*number);
}

template <typename Rows, typename Write>
Json ArrayOf(const Rows& rows, const Write& write) {
    Json array = Json::Array();
    for (const auto& row : rows) {
        array.Add(write(row));
    }
    return array;
}

Json MachineJson(Look& look, Language language) {
    const Identity identity = look.ReadIdentity();
    const OperatingSystem system = look.ReadOperatingSystem();
    const auto findings = FindingsOf(look, language);
    const Severity worst = findings.empty() ? Severity::Good : findings.front().severity;
    std::optional<std::string> name = system.name;
    if (name && system.version) {
        *name += " " + *system.version;
    }
    return {{"name", identity.name},
            {"serialNumber", identity.serialNumber},
            {"hardwareVersion", identity.hardwareVersion},
            {"softwareVersion", identity.softwareVersion},
            {"operatingSystem", name},
            {"uptimeSeconds", NumberJson(system.uptimeSeconds)},
            {"modules", ArrayOf(look.Modules(), ModuleJson)},
            {"health", Json{{"state", SeverityName(worst)},
                            {"findings", ArrayOf(findings,
                                                 [](const Finding& finding) {
                                                     return Json{{"id", finding.id},
                                                                 {"severity", SeverityName(finding.severity)},
                                                                 {"subject", finding.subject},
                                                                 {"text", finding.text},
                                                                 {"view", finding.view}};
                                                 })}}},
            {"gateway", Json{{"version", SYLVARIN_VERSION}}}};
}

Json NetworkJson(Look& look, Language) {
    return {{"adapters", ArrayOf(look.ReadAdapters(), [](const Adapter& adapter) {
                 return Json{
                     {"index", IndexText(adapter.index)}, {"name", adapter.name}, {"mac", adapter.mac},
                     {"address", adapter.address},        {"mask", adapter.mask}, {"dhcp", adapter.dhcp},
                     {"gateway", adapter.gateway},        {"dns", adapter.dns},   {"activeDns", adapter.activeDns}};
             })}};
}

const char* KindOf(const Drive& drive) {
    return !drive.kind ? "unknown" : *drive.kind == 0 ? "other" : *drive.kind == 1 ? "hard disk" : "flash";
}

Json DrivesJson(Look& look, Language language) {
    return {{"drives", ArrayOf(look.ReadDrives(), [&](const Drive& drive) {
                 const DriveState state = StateOf(drive, language);
                 return Json{{"serial", drive.serial},
                             {"model", drive.model},
                             {"kind", KindOf(drive)},
                             {"lifeLeftPercent", NumberJson(drive.lifeLeftPercent)},
                             {"spareLeftPercent", NumberJson(drive.spareLeftPercent)},
                             {"reallocatedSectors", NumberJson(drive.reallocatedSectors)},
                             {"spinRetries", NumberJson(drive.spinRetries)},
                             {"pendingSectors", NumberJson(drive.pendingSectors)},
                             {"crcErrors", NumberJson(drive.crcErrors)},
                             {"state", state.id},
                             {"severity", SeverityName(state.severity)},
                             {"text", state.text}};
             })}};
}

Json DiscsJson(Look& look, Language) {
    return {{"discs", ArrayOf(look.ReadDiscs(), [](const Disc& disc) {
                 return Json{{"path", disc.path},
                             {"name", disc.name},
                             {"kind", disc.isPool ? "pool" : "medium"},
                             {"fileSystem", disc.fileSystem},
                             {"sizeBytes", NumberJson(disc.sizeBytes)},
                             {"freeBytes", NumberJson(disc.freeBytes)}};
             })}};
}

Json SensorsJson(Look& look, Language) {
    const Sensors sensors = look.ReadSensors();
    return {{"temperatures", ArrayOf(sensors.temperatures,
                                     [](const Temperature& temperature) {
                                         return Json{{"name", temperature.name},
                                                     {"celsius", NumberJson(temperature.celsius)},
                                                     {"lowestCelsius", NumberJson(temperature.lowestCelsius)},
                                                     {"highestCelsius", NumberJson(temperature.highestCelsius)}};
                                     })},
            {"voltages", ArrayOf(sensors.voltages,
                                 [](const Voltage& voltage) {
                                     return Json{{"name", voltage.name},
                                                 {"volts", NumberJson(voltage.volts)},
                                                 {"nominalVolts", NumberJson(voltage.nominalVolts)}};
                                 })},
            {"fans", ArrayOf(sensors.fans, [](const Fan& fan) {
                 return Json{{"name", fan.name}, {"rpm", NumberJson(fan.rpm)}};
             })}};
}

Json SystemJson(Look& look, Language) {
    const Memory memory = look.ReadMemory();
    const OperatingSystem system = look.ReadOperatingSystem();
    const auto board = look.ReadMainboard();
    return {
        {"processors", ArrayOf(look.ReadProcessors(),
                               [](const Processor& processor) {
                                   return Json{{"name", processor.name},
                                               {"frequencyMegahertz", NumberJson(processor.frequencyMegahertz)},
                                               {"loadPercent", NumberJson(processor.loadPercent)},
                                               {"celsius", NumberJson(processor.celsius)}};
                               })},
        {"memory",
         Json{{"totalBytes", NumberJson(memory.totalBytes)}, {"availableBytes", NumberJson(memory.availableBytes)}}},
        {"operatingSystem",
         Json{{"name", system.name}, {"version", system.version}, {"uptimeSeconds", NumberJson(system.uptimeSeconds)}}},
        {"mainboard", !board ? Json()
                             : Json{{"name", board->name},
                                    {"serialNumber", board->serialNumber},
                                    {"revision", NumberJson(board->revision)},
                                    {"biosVersion", board->biosVersion},
                                    {"productionDate", board->productionDate},
                                    {"bootCount", NumberJson(board->bootCount)},
                                    {"operatingTimeCounter", NumberJson(board->operatingTimeCounter)}}}};
}

Json TimeJson(Look& look, Language) {
    const Clock clock = look.ReadClock();
    return {{"index", clock.index ? Json(IndexText(*clock.index)) : Json()},
            {"utcSeconds", NumberJson(clock.utcSeconds)},
            {"local", clock.local},
            {"zone", clock.zone},
            {"zoneNumber", NumberJson(clock.zoneNumber)},
            {"zoneLists", ArrayOf(clock.zoneLists, [](std::uint16_t index) { return Json(IndexText(index)); })},
            {"ntpServer", clock.ntpServer},
            {"ntpRefreshSeconds", NumberJson(clock.ntpRefreshSeconds)}};
}

Json GpioJson(Look& look, Language) {
    return {{"pins", ArrayOf(look.ReadPins(),
                             [](const Pin& pin) {
                                 return Json{{"index", IndexText(pin.index)},
                                             {"sub", pin.sub},
                                             {"pin", pin.pin},
                                             {"direction", pin.isInput ? Json(*pin.isInput ? "in" : "out") : Json()},
                                             {"value", NumberJson(pin.value)}};
                             })},
            {"supplies", ArrayOf(look.ReadSupplies(), [](const Supply& supply) {
                 return Json{{"index", IndexText(supply.index)},
                             {"sub", supply.sub},
                             {"name", supply.name},
                             {"on", supply.isOn}};
             })}};
}

Json UsersJson(Look& look, Language) {
    const auto texts = [](const std::vector<std::string>& all) {
        return ArrayOf(all, [](const std::string& text) { return Json(text); });
    };
    return {{"users", ArrayOf(look.ReadUsers(),
                              [&](const User& user) {
                                  return Json{{"name", user.name}, {"groups", texts(user.groups)}};
                              })},
            {"groups", texts(look.ReadGroups())}};
}

Json PackagesJson(Look& look, Language) {
    return {
        {"packages", ArrayOf(look.ReadPackages(), [](const Package& package) {
             return Json{{"name", package.name}, {"manufacturer", package.manufacturer}, {"version", package.version}};
         })}};
}

Json PowerJson(const Number& status) {
    return !status ? Json() : Json(*status == 1 ? "mains" : *status == 2 ? "battery" : "unknown");
}

Json UpsJson(Look& look, Language) {
    return {{"supplies", ArrayOf(look.ReadUps(), [](const Ups& ups) {
                 return Json{{"name", ups.name},
                             {"model", ups.model},
                             {"manufacturer", ups.manufacturer},
                             {"revision", ups.revision},
                             {"power", PowerJson(ups.powerStatus)},
                             {"chargePercent", NumberJson(ups.chargePercent)},
                             {"runtimeSeconds", NumberJson(ups.runtimeSeconds)},
                             {"powerFailures", NumberJson(ups.powerFailures)},
                             {"batteryError", ups.batteryError},
                             {"fanError", ups.fanError}};
             })}};
}

Json RuntimeJson(Look& look, Language) {
    const auto runtime = look.ReadRuntime();
    if (!runtime) {
        return {{"runtime", Json()}};
    }
    return {{"runtime", Json{{"index", IndexText(runtime->index)},
                             {"version", runtime->version},
                             {"revision", NumberJson(runtime->revision)},
                             {"netId", runtime->netId},
                             {"systemId", runtime->systemId},
                             {"state", NumberJson(runtime->state)},
                             {"running", runtime->state ? Json(*runtime->state == Runtime::Runs) : Json()},
                             {"secondsSinceChange", NumberJson(runtime->secondsSinceChange)},
                             {"figures", ArrayOf(runtime->figures, [](const Figure& figure) {
                                  return Json{{"name", figure.name}, {"value", NumberJson(figure.value)}};
                              })}}}};
}

Json RoutesJson(Look& look, Language) {
    return {{"routes", ArrayOf(look.ReadRoutes(), [](const Route& route) {
                 return Json{{"name", route.name},
                             {"address", route.address},
                             {"netId", route.netId},
                             {"transport", NumberJson(route.transport)},
                             {"timeoutMilliseconds", NumberJson(route.timeoutMilliseconds)},
                             {"flags", NumberJson(route.flags)}};
             })}};
}

constexpr std::pair<const char*, Json (*)(Look&, Language)> s_views[] = {
    {"machine", MachineJson}, {"network", NetworkJson},   {"drives", DrivesJson}, {"discs", DiscsJson},
    {"sensors", SensorsJson}, {"system", SystemJson},     {"time", TimeJson},     {"gpio", GpioJson},
    {"users", UsersJson},     {"packages", PackagesJson}, {"ups", UpsJson},       {"runtime", RuntimeJson},
    {"routes", RoutesJson},
};

} // namespace

std::vector<std::string> ViewNames() {
    std::vector<std::string> names;
    for (const auto& [name, write] : s_views) {
        names.emplace_back(name);
    }
    return names;
}

bool IsView(std::string_view name) {
    return std::any_of(std::begin(s_views), std::end(s_views), [name](const auto& view) { return name == view.first; });
}

Json ViewJson(std::string_view name, Look& look, Language language) {
    for (const auto& [known, write] : s_views) {
        if (name == known) {
            return write(look, language);
        }
    }
    return {};
}

Json ValueJson(std::uint16_t type, Mdp::ByteView bytes) {
    const Mdp::Value value = Mdp::DecodeValue(type, bytes);
    switch (value.kind) {
    case Mdp::ValueKind::Boolean:
        return value.boolean;
    case Mdp::ValueKind::Signed:
        return value.integer;
    case Mdp::ValueKind::Unsigned:
        return value.unsignedNumber <= s_mostExact ? Json(value.unsignedNumber)
                                                   : Json(std::to_string(value.unsignedNumber));
    case Mdp::ValueKind::Real:
        return static_cast<double>(value.real);
    case Mdp::ValueKind::Text:
        if (Mdp::IsUtf8(value.text)) {
            return value.text;
        }
        break;
    case Mdp::ValueKind::Octets:
        break;
    }
    return {{"hex", Mdp::ToHex(bytes)}};
}

Json ModuleJson(const Mdp::Module& module) {
    return {{"index", IndexText(module.index)},
            {"slot", module.slot},
            {"type", module.type},
            {"typeName", module.typeName},
            {"name", module.name}};
}

} // namespace Gateway
