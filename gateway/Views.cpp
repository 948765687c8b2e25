#include "Views.h"

#include <algorithm>
#include <sstream>

#include "mdp/Value.h"

namespace Gateway {
namespace {

constexpr std::uint16_t s_deviceName = 0x1008;
constexpr std::uint16_t s_hardwareVersion = 0x1009;
constexpr std::uint16_t s_softwareVersion = 0x100A;
constexpr std::uint16_t s_serialNumber = 0xF9F0;

constexpr double s_millivolts = 1000;
constexpr std::size_t s_pins = 8;

// "1.4.27", or none where a part is missing.
Text Dotted(std::initializer_list<Number> parts) {
    std::ostringstream text;
    for (const Number& part : parts) {
        if (!part) {
            return std::nullopt;
        }
        text << (text.tellp() > 0 ? "." : "") << static_cast<long long>(*part);
    }
    return text.str();
}

Number Volts(const Number& millivolts) {
    return millivolts ? Number(*millivolts / s_millivolts) : std::nullopt;
}

// None in the place of 0, where 0 tells that there is none.
Number UnlessZero(const Number& number) {
    return number && *number != 0 ? number : std::nullopt;
}

} // namespace

Dictionary::Values Look::Object(std::uint16_t index) {
    if (m_failure) {
        return nullptr;
    }
    const auto found = m_objects.find(index);
    if (found != m_objects.end()) {
        return found->second;
    }
    const auto values = m_dictionary.Read(index, m_maxAge);
    if (!values && !IsTold(values.Error())) {
        m_failure = values.Error();
    }
    return m_objects[index] = values ? *values : nullptr;
}

std::vector<Mdp::Module> Look::Modules() {
    if (m_failure) {
        return {};
    }
    if (m_modules == nullptr) {
        const auto modules = m_dictionary.ListModules(m_maxAge);
        if (!modules) {
            m_failure = modules.Error();
            return {};
        }
        m_modules = *modules;
    }
    return *m_modules;
}

std::vector<Mdp::Module> Look::ModulesOf(ModuleType type) {
    auto modules = Modules();
    std::erase_if(modules, [type](const Mdp::Module& module) { return module.type != type; });
    return modules;
}

Number Look::Number(std::uint16_t index, std::size_t sub) {
    const auto object = Object(index);
    if (object == nullptr || sub >= object->entries.size() || !object->entries[sub].value) {
        return std::nullopt;
    }
    // By the bytes that there are: some numbers have fewer than their type says.
    const Mdp::Bytes& bytes = *object->entries[sub].value;
    const std::uint16_t type = object->shape->entries[sub].type;
    const Mdp::ValueKind kind = Mdp::KindOfType(type);
    if (kind == Mdp::ValueKind::Real) {
        const Mdp::Value value = Mdp::DecodeValue(type, bytes);
        return value.kind == Mdp::ValueKind::Real ? Gateway::Number(value.real) : std::nullopt;
    }
    if (kind == Mdp::ValueKind::Text || kind == Mdp::ValueKind::Octets || bytes.empty() ||
        bytes.size() > sizeof(std::uint64_t)) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) {
        number = number << 8 | bytes[i - 1];
    }
    if (kind == Mdp::ValueKind::Signed) {
        const std::size_t unused = 8 * (sizeof number - bytes.size());
        return static_cast<double>(static_cast<std::int64_t>(number << unused) >> unused);
    }
    return kind == Mdp::ValueKind::Boolean ? (number != 0 ? 1 : 0) : static_cast<double>(number);
}

Text Look::Text(std::uint16_t index, std::size_t sub) {
    const auto object = Object(index);
    if (object == nullptr || sub >= object->entries.size()) {
        return std::nullopt;
    }
    if (!object->entries[sub].value) {
        return std::nullopt;
    }
    return Mdp::DecodeValue(Mdp::TypeVisibleString, *object->entries[sub].value).text;
}

Flag Look::Flag(std::uint16_t index, std::size_t sub) {
    const auto number = Number(index, sub);
    return number ? Gateway::Flag(*number != 0) : std::nullopt;
}

std::size_t Look::Count(std::uint16_t index) {
    const auto object = Object(index);
    return object == nullptr || object->entries.empty() ? 0 : object->entries.size() - 1;
}

std::size_t Look::Rows(const Mdp::Module& module, std::initializer_list<unsigned> columns) {
    constexpr int tries = 3;
    for (int left = tries; left > 0; --left) {
        const std::size_t rows = Count(module.Data(*columns.begin()));
        if (std::all_of(columns.begin(), columns.end(),
                        [&](unsigned column) { return Count(module.Data(column)) == rows; })) {
            return rows;
        }
        // The table was made anew between two of its columns.
        for (const unsigned column : columns) {
            m_objects.erase(module.Data(column));
        }
        m_maxAge = Milliseconds(0);
    }
    return 0;
}

std::vector<std::string> Look::Texts(std::uint16_t index) {
    std::vector<std::string> texts;
    for (std::size_t sub = 1; sub <= Count(index); ++sub) {
        texts.push_back(Text(index, sub).value_or(""));
    }
    return texts;
}

Identity Look::ReadIdentity() {
    return {Text(s_deviceName, 0), Text(s_serialNumber, 0), Text(s_hardwareVersion, 0), Text(s_softwareVersion, 0)};
}

std::vector<Adapter> Look::ReadAdapters() {
    std::vector<Adapter> adapters;
    for (const Mdp::Module& module : ModulesOf(TypeNic)) {
        const std::uint16_t index = module.Data(1);
        adapters.push_back({index, module.name, Text(index, 1), Text(index, 2), Text(index, 3), Text(index, 5),
                            Text(index, 6), Text(index, 8), Flag(index, 4)});
    }
    return adapters;
}

std::vector<Drive> Look::ReadDrives() {
    std::vector<Drive> drives;
    for (const Mdp::Module& module : ModulesOf(TypeMassStorage)) {
        const std::size_t rows = Rows(module, {1, 4, 5, 8, 11, 12, 13, 14, 15});
        for (std::size_t row = 1; row <= rows; ++row) {
            const auto number = [&](unsigned column) { return Number(module.Data(column), row); };
            drives.push_back({Text(module.Data(1), row), Text(module.Data(4), row), number(5), number(8), number(11),
                              number(12), number(13), number(14), number(15)});
        }
    }
    return drives;
}

std::vector<Disc> Look::ReadDiscs() {
    constexpr double pool = 1;
    std::vector<Disc> discs;
    for (const Mdp::Module& module : ModulesOf(TypeDiskManagement)) {
        const std::size_t rows = Rows(module, {1, 2, 3, 4, 5, 6});
        for (std::size_t row = 1; row <= rows; ++row) {
            discs.push_back({Text(module.Data(1), row), Text(module.Data(2), row), Text(module.Data(3), row),
                             Number(module.Data(4), row) == pool, Number(module.Data(5), row),
                             Number(module.Data(6), row)});
        }
    }
    return discs;
}

std::vector<Processor> Look::ReadProcessors() {
    std::vector<Processor> processors;
    for (const Mdp::Module& module : ModulesOf(TypeProcessor)) {
        const std::uint16_t index = module.Data(1);
        processors.push_back({module.name, Number(index, 1), Number(index, 2), Number(index, 3)});
    }
    return processors;
}

std::vector<Temperature> Look::ReadBoardTemperatures() {
    std::vector<Temperature> temperatures;
    for (const Mdp::Module& module : ModulesOf(TypeMainboard)) {
        const std::uint16_t index = module.Data(1);
        if (const auto celsius = Number(index, 10)) {
            temperatures.push_back({"Mainboard", celsius, Number(index, 6), Number(index, 7)});
        }
    }
    return temperatures;
}

std::vector<Voltage> Look::ReadVoltages() {
    std::vector<Voltage> voltages;
    for (const Mdp::Module& module : ModulesOf(TypeMainboard)) {
        const std::size_t rows = Rows(module, {3, 5, 6});
        for (std::size_t row = 1; row <= rows; ++row) {
            voltages.push_back({Text(module.Data(3), row).value_or(std::to_string(row)),
                                Volts(Number(module.Data(5), row)), Volts(UnlessZero(Number(module.Data(6), row)))});
        }
    }
    return voltages;
}

std::vector<Fan> Look::ReadFans() {
    std::vector<Fan> fans;
    for (const Mdp::Module& module : ModulesOf(TypeFan)) {
        fans.push_back({module.name, Number(module.Data(1), 1)});
    }
    return fans;
}

Sensors Look::ReadSensors() {
    Gateway::Sensors sensors;
    for (const Processor& processor : ReadProcessors()) {
        if (processor.celsius) {
            sensors.temperatures.push_back({processor.name, processor.celsius, {}, {}});
        }
    }
    for (Temperature& temperature : ReadBoardTemperatures()) {
        sensors.temperatures.push_back(std::move(temperature));
    }
    sensors.voltages = ReadVoltages();
    sensors.fans = ReadFans();
    return sensors;
}

Memory Look::ReadMemory() {
    // Entries of 32 bits where the machine is small enough for them, and of 64 bits everywhere else.
    for (const Mdp::Module& module : ModulesOf(TypeMemory)) {
        const std::uint16_t index = module.Data(1);
        const auto total = Number(index, 6);
        const auto available = Number(index, 7);
        return {total ? total : Number(index, 1), available ? available : Number(index, 2)};
    }
    return {};
}

OperatingSystem Look::ReadOperatingSystem() {
    for (const Mdp::Module& module : ModulesOf(TypeOperatingSystem)) {
        const std::uint16_t version = module.Data(1);
        return {Text(version, 4), Dotted({Number(version, 1), Number(version, 2), Number(version, 3)}),
                Number(module.Data(2), 1)};
    }
    return {};
}

std::optional<Mainboard> Look::ReadMainboard() {
    for (const Mdp::Module& module : ModulesOf(TypeMainboard)) {
        const std::uint16_t board = module.Data(1);
        const std::uint16_t versions = module.Data(2);
        return Gateway::Mainboard{Text(board, 1),      Text(board, 2),   Text(versions, 4), Text(board, 3),
                                  Number(versions, 1), Number(board, 4), Number(board, 5)};
    }
    return std::nullopt;
}

Gateway::Clock Look::ReadClock() {
    constexpr std::size_t zonesPerList = 254;
    Gateway::Clock clock;
    for (const Mdp::Module& module : ModulesOf(TypeTime)) {
        const std::uint16_t index = module.Data(1);
        clock = {index,
                 Number(index, 3),
                 Number(index, 5),
                 Number(index, 2),
                 Text(index, 4),
                 {},
                 Text(index, 1),
                 {module.Data(2), module.Data(3)}};
        if (clock.zoneNumber) {
            const auto number = static_cast<std::size_t>(*clock.zoneNumber);
            if (number / zonesPerList < clock.zoneLists.size()) {
                clock.zone = Text(clock.zoneLists[number / zonesPerList], number % zonesPerList + 1);
            }
        }
        break;
    }
    return clock;
}

std::vector<Pin> Look::ReadPins() {
    std::vector<Pin> pins;
    for (const Mdp::Module& module : ModulesOf(TypeMainboard)) {
        for (std::size_t sub = 1; sub <= std::min(s_pins, Count(module.Data(7))); ++sub) {
            pins.push_back({module.Data(7), static_cast<std::uint8_t>(sub), static_cast<int>(sub - 1),
                            Flag(module.Data(8), sub), Number(module.Data(7), sub)});
        }
    }
    return pins;
}

std::vector<Supply> Look::ReadSupplies() {
    constexpr const char* names[] = {"Us1", "Us2", "Up1", "Up2"};
    std::vector<Supply> supplies;
    for (const Mdp::Module& module : ModulesOf(TypeIo)) {
        const std::uint16_t index = module.Data(1);
        for (std::size_t sub = 1; sub <= std::min(std::size(names), Count(index)); ++sub) {
            supplies.push_back({index, static_cast<std::uint8_t>(sub), names[sub - 1], Flag(index, sub)});
        }
    }
    return supplies;
}

std::vector<User> Look::ReadUsers() {
    std::vector<User> users;
    for (const Mdp::Module& module : ModulesOf(TypeUsers)) {
        const std::size_t rows = Rows(module, {1, 3});
        for (std::size_t row = 1; row <= rows; ++row) {
            User user{Text(module.Data(1), row).value_or(""), {}};
            std::istringstream groups(Text(module.Data(3), row).value_or(""));
            for (std::string group; std::getline(groups, group, ';');) {
                user.groups.push_back(group);
            }
            users.push_back(std::move(user));
        }
    }
    return users;
}

std::vector<std::string> Look::ReadGroups() {
    for (const Mdp::Module& module : ModulesOf(TypeUsers)) {
        return Texts(module.Data(4));
    }
    return {};
}

std::vector<Package> Look::ReadPackages() {
    std::vector<Package> packages;
    for (const Mdp::Module& module : ModulesOf(TypeSoftware)) {
        const std::size_t rows = Rows(module, {1, 2, 4});
        for (std::size_t row = 1; row <= rows; ++row) {
            packages.push_back({Text(module.Data(1), row), Text(module.Data(2), row), Text(module.Data(4), row)});
        }
    }
    return packages;
}

std::vector<Ups> Look::ReadUps() {
    std::vector<Gateway::Ups> supplies;
    for (const Mdp::Module& module : ModulesOf(TypeUps)) {
        const std::uint16_t index = module.Data(1);
        supplies.push_back({module.name, Text(index, 1), Text(index, 2),
                            Dotted({Number(index, 3), Number(index, 4), Number(index, 5)}), Number(index, 7),
                            Number(index, 10), Number(index, 11), Number(index, 13), Flag(index, 15), Flag(index, 14)});
    }
    return supplies;
}

std::optional<Runtime> Look::ReadRuntime() {
    for (const Mdp::Module& module : ModulesOf(TypeRuntime)) {
        const std::uint16_t index = module.Data(1);
        Gateway::Runtime runtime{index,
                                 Dotted({Number(index, 1), Number(index, 2), Number(index, 3)}),
                                 Text(index, 4),
                                 Text(index, 11),
                                 Number(index, 12),
                                 Number(index, 6),
                                 Number(index, 13),
                                 {}};
        const std::uint16_t router = module.Data(9);
        const auto shape =
            m_failure ? Mdp::Result<Dictionary::Shape>(*m_failure) : m_dictionary.Describe(router, m_language);
        for (std::size_t sub = 1; shape && sub < (*shape)->entries.size(); ++sub) {
            runtime.figures.push_back(
                {(*shape)->entries[sub].name, static_cast<std::uint8_t>(sub), Number(router, sub)});
        }
        return runtime;
    }
    return std::nullopt;
}

std::vector<Route> Look::ReadRoutes() {
    std::vector<Route> routes;
    for (const Mdp::Module& module : ModulesOf(TypeRuntime)) {
        const std::size_t rows = Rows(module, {2, 3, 4, 5, 6, 7});
        for (std::size_t row = 1; row <= rows; ++row) {
            routes.push_back({Text(module.Data(2), row), Text(module.Data(3), row), Text(module.Data(4), row),
                              Number(module.Data(7), row), Number(module.Data(6), row), Number(module.Data(5), row)});
        }
    }
    return routes;
}

} // namespace Gateway
