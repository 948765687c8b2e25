#include "Commands.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <thread>

#include "Sensors.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

// Entries of the modules.
constexpr std::uint8_t s_subLoad = 2;
constexpr std::uint8_t s_subProcessorTemperature = 3;
constexpr std::uint8_t s_subSpeed = 1;
constexpr std::uint8_t s_subMinimumTemperature = 6;
constexpr std::uint8_t s_subMaximumTemperature = 7;
constexpr std::uint8_t s_subBoardTemperature = 10;
constexpr unsigned s_voltageNames = 3;
constexpr unsigned s_voltages = 5;
constexpr unsigned s_voltageReferences = 6;
constexpr std::uint8_t s_subPowerStatus = 7;
constexpr std::uint8_t s_subCharge = 10;

// Clears a terminal and goes to its upper left corner.
constexpr const char* s_clear = "\x1b[H\x1b[2J";

struct Sensor {
    const char* kind;
    std::string name;
    std::optional<std::int64_t> value;
    const char* unit;
    std::optional<std::int64_t> low; // the range, where there is one
    std::optional<std::int64_t> high;
    std::optional<std::int64_t> reference;
};

// Millivolts as volts.
std::string VoltText(std::int64_t millivolts) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", static_cast<double>(millivolts) / 1000);
    return text;
}

class SensorsCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        Argument& watch = arguments.Flag("--watch", m_watch, "show them again and again");
        arguments.Option("--period", &m_period, "seconds between two looks")
            .InRange(0.01, 86400.0)
            .ShowDefault()
            .Needs(watch);
        arguments.Option("--count", &m_count, "end after so many looks; for ever if not given")
            .InRange(1, 1e9)
            .Needs(watch);
    }

    int Run(const Context& given) override {
        Context context = given;
        if (m_watch) {
            context.BeginStream();
        }
        const auto modules = context.client.ListModules();
        if (!modules) {
            return context.Fail(modules.Error(), "listing the modules");
        }
        auto next = std::chrono::steady_clock::now();
        for (std::uint64_t round = 1;; ++round) {
            Reader reader(context.client);
            const std::vector<Sensor> sensors = ReadAll(reader, *modules);
            if (reader.Failure()) {
                return context.Fail(*reader.Failure(), "reading the sensors");
            }
            Show(context, sensors, round == 1);
            // A reader that has gone ends it.
            if (!m_watch || round == m_count || !context.streams.out.flush()) {
                return ExitOk;
            }
            // What was missed while the program was stopped is not made up for.
            next = std::max(next + std::chrono::milliseconds(static_cast<long long>(m_period * 1000)),
                            std::chrono::steady_clock::now());
            std::this_thread::sleep_until(next);
        }
    }

private:
    static std::vector<Sensor> ReadAll(Reader& reader, const std::vector<Mdp::Module>& modules) {
        std::vector<Sensor> sensors;
        for (const Mdp::Module& module : modules) {
            switch (module.type) {
            case s_moduleTypeCpu:
                AddProcessor(reader, module, sensors);
                break;
            case s_moduleTypeMainboard:
                AddMainboard(reader, module, sensors);
                break;
            case s_moduleTypeFan:
                sensors.push_back({"fan",
                                   module.name,
                                   reader.Number(module.Data(1), s_subSpeed, Mdp::TypeInteger16),
                                   "rpm",
                                   {},
                                   {},
                                   {}});
                break;
            case s_moduleTypeUps:
                AddUps(reader, module, sensors);
                break;
            default:
                break;
            }
        }
        // By kind; of one kind as the machine has them.
        std::stable_sort(sensors.begin(), sensors.end(),
                         [](const Sensor& a, const Sensor& b) { return Place(a) < Place(b); });
        return sensors;
    }

    static std::size_t Place(const Sensor& sensor) {
        constexpr std::string_view order[] = {"temperature", "voltage", "fan", "load", "power", "charge"};
        return static_cast<std::size_t>(std::find(std::begin(order), std::end(order), sensor.kind) - order);
    }

    static void AddProcessor(Reader& reader, const Mdp::Module& module, std::vector<Sensor>& sensors) {
        const std::uint16_t index = module.Data(1);
        sensors.push_back({"load", module.name, reader.Number(index, s_subLoad, Mdp::TypeUnsigned16), "%", 0, 100, {}});
        if (const auto value = reader.Number(index, s_subProcessorTemperature, Mdp::TypeInteger16); value) {
            sensors.push_back({"temperature", module.name, value, "°C", {}, {}, {}});
        }
    }

    static void AddMainboard(Reader& reader, const Mdp::Module& module, std::vector<Sensor>& sensors) {
        const std::uint16_t index = module.Data(1);
        if (const auto value = reader.Number(index, s_subBoardTemperature, Mdp::TypeInteger16); value) {
            sensors.push_back({"temperature",
                               "Mainboard",
                               value,
                               "°C",
                               reader.Number(index, s_subMinimumTemperature, Mdp::TypeInteger32),
                               reader.Number(index, s_subMaximumTemperature, Mdp::TypeInteger32),
                               {}});
        }
        const std::int64_t count = reader.Number(module.Data(s_voltages), 0, Mdp::TypeUnsigned16).value_or(0);
        for (std::int64_t i = 1; i <= std::min<std::int64_t>(count, 254); ++i) {
            const auto subIndex = static_cast<std::uint8_t>(i);
            // A supply has no other nominal value where the board tells 0.
            auto reference = reader.Number(module.Data(s_voltageReferences), subIndex, Mdp::TypeInteger16);
            if (reference == 0) {
                reference.reset();
            }
            sensors.push_back({"voltage",
                               reader.Text(module.Data(s_voltageNames), subIndex).value_or(std::to_string(i)),
                               reader.Number(module.Data(s_voltages), subIndex, Mdp::TypeInteger16),
                               "mV",
                               {},
                               {},
                               reference});
        }
    }

    static void AddUps(Reader& reader, const Mdp::Module& module, std::vector<Sensor>& sensors) {
        const std::uint16_t index = module.Data(1);
        sensors.push_back(
            {"power", module.name, reader.Number(index, s_subPowerStatus, Mdp::TypeUnsigned8), "", {}, {}, {}});
        sensors.push_back(
            {"charge", module.name, reader.Number(index, s_subCharge, Mdp::TypeUnsigned8), "%", 0, 100, {}});
    }

    static bool IsKind(const Sensor& sensor, std::string_view kind) { return sensor.kind == kind; }

    static std::string ValueOf(const Sensor& sensor) {
        if (IsKind(sensor, "power")) {
            return PowerStatusText(sensor.value);
        }
        return IsKind(sensor, "voltage") && sensor.value ? VoltText(*sensor.value) : NumberText(sensor.value);
    }

    static std::string RangeOf(const Sensor& sensor) {
        if (sensor.low && sensor.high) {
            return std::to_string(*sensor.low) + " to " + std::to_string(*sensor.high);
        }
        return sensor.reference ? "of " + VoltText(*sensor.reference) : "";
    }

    void Show(const Context& context, const std::vector<Sensor>& sensors, bool first) const {
        if (context.json) {
            Json list = Json::Array();
            for (const Sensor& sensor : sensors) {
                list.Add({{"kind", sensor.kind},
                          {"name", TextJson(sensor.name)},
                          {"value", NumberJson(sensor.value)},
                          {"unit", sensor.unit},
                          {"low", NumberJson(sensor.low)},
                          {"high", NumberJson(sensor.high)},
                          {"reference", NumberJson(sensor.reference)}});
            }
            context.Print(list);
            context.streams.out.flush();
            return;
        }
        if (m_watch && context.streams.outIsTerminal) {
            context.streams.out << s_clear;
        } else if (!first) {
            context.streams.out << "\n";
        }
        Table table({"KIND", "SENSOR", "VALUE", "UNIT", "RANGE", ""});
        table.NameColumn(1);
        table.AlignRight(2);
        for (const Sensor& sensor : sensors) {
            const bool hasRange = sensor.low && sensor.high;
            table.Add({sensor.kind, PrintableText(sensor.name), ValueOf(sensor),
                       IsKind(sensor, "voltage") ? "V" : sensor.unit, RangeOf(sensor),
                       hasRange ? Bar(sensor.value, *sensor.low, *sensor.high) : ""});
        }
        context.Show(table);
    }

    bool m_watch = false;
    double m_period = 2;       // how often the machine itself looks
    std::uint64_t m_count = 0; // 0 goes on for ever
};

} // namespace

std::unique_ptr<Command> MakeSensorsCommand() {
    return std::make_unique<SensorsCommand>();
}

} // namespace MdpCommand
