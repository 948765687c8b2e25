#include "Commands.h"

#include <ostream>

#include "Sensors.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

// Entries of a supply's state.
constexpr std::uint8_t s_subModel = 1;
constexpr std::uint8_t s_subManufacturer = 2;
constexpr std::uint8_t s_subMajor = 3;
constexpr std::uint8_t s_subMinor = 4;
constexpr std::uint8_t s_subBuild = 5;
constexpr std::uint8_t s_subPowerStatus = 7;
constexpr std::uint8_t s_subCharge = 10;
constexpr std::uint8_t s_subRuntime = 11;
constexpr std::uint8_t s_subPowerFails = 13;

struct Supply {
    std::string model;
    std::string manufacturer;
    std::optional<std::int64_t> major;
    std::optional<std::int64_t> minor;
    std::optional<std::int64_t> build;
    std::optional<std::int64_t> powerStatus;
    std::optional<std::int64_t> charge;
    std::optional<std::int64_t> runtime;
    std::optional<std::int64_t> powerFails;
};

Supply ReadSupply(Reader& reader, std::uint16_t index) {
    return {
        reader.Text(index, s_subModel).value_or(""),
        reader.Text(index, s_subManufacturer).value_or(""),
        reader.Number(index, s_subMajor, Mdp::TypeUnsigned8),
        reader.Number(index, s_subMinor, Mdp::TypeUnsigned8),
        reader.Number(index, s_subBuild, Mdp::TypeUnsigned16),
        reader.Number(index, s_subPowerStatus, Mdp::TypeUnsigned8),
        reader.Number(index, s_subCharge, Mdp::TypeUnsigned8),
        reader.Number(index, s_subRuntime, Mdp::TypeUnsigned32),
        reader.Number(index, s_subPowerFails, Mdp::TypeUnsigned32),
    };
}

// "1.4.27", or nothing where the supply does not tell.
std::string RevisionOf(const Supply& supply) {
    if (!supply.major || !supply.minor || !supply.build) {
        return {};
    }
    return std::to_string(*supply.major) + "." + std::to_string(*supply.minor) + "." + std::to_string(*supply.build);
}

class UpsCommand : public Command {
public:
    int Run(const Context& context) override {
        const auto modules = context.client.ListModules(s_moduleTypeUps);
        if (!modules) {
            return context.Fail(modules.Error(), "listing the modules");
        }
        Table table({"UPS", "MODEL", "REVISION", "POWER", "CHARGE", "", "RUNTIME", "POWER FAILURES"});
        table.NameColumn(0);
        for (const std::size_t column : {4U, 6U, 7U}) {
            table.AlignRight(column);
        }
        Json list = Json::Array();
        Reader reader(context.client);
        for (const Mdp::Module& module : *modules) {
            const Supply supply = ReadSupply(reader, module.Data(1));
            const std::string revision = RevisionOf(supply);
            table.Add({PrintableText(module.name), PrintableText(supply.model), revision.empty() ? "-" : revision,
                       PowerStatusText(supply.powerStatus), NumberText(supply.charge) + (supply.charge ? " %" : ""),
                       Bar(supply.charge, 0, 100), NumberText(supply.runtime), NumberText(supply.powerFails)});
            list.Add({{"index", IndexText(module.index)},
                      {"name", TextJson(module.name)},
                      {"model", TextJson(supply.model)},
                      {"manufacturer", TextJson(supply.manufacturer)},
                      {"revision", revision.empty() ? Json() : Json(revision)},
                      {"power", supply.powerStatus ? Json(PowerStatusText(supply.powerStatus)) : Json()},
                      {"charge", NumberJson(supply.charge)},
                      {"runtime", NumberJson(supply.runtime)},
                      {"powerFailures", NumberJson(supply.powerFails)}});
        }
        if (reader.Failure()) {
            return context.Fail(*reader.Failure(), "reading the supplies");
        }
        if (context.json) {
            context.Print(list);
        } else if (modules->empty()) {
            context.streams.out << "This machine tells of no uninterruptible power supply.\n";
        } else {
            context.Show(table);
        }
        return ExitOk;
    }
};

} // namespace

std::unique_ptr<Command> MakeUpsCommand() {
    return std::make_unique<UpsCommand>();
}

} // namespace MdpCommand
