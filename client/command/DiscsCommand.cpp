#include "Commands.h"

#include <algorithm>
#include <cmath>

#include "ModuleTable.h"
#include "Progress.h"
#include "Reader.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_moduleTypeDiskManagement = 29;

// The arrays of the module: element i of each belongs to one disc.
constexpr unsigned s_path = 1;
constexpr unsigned s_name = 2;
constexpr unsigned s_fileSystem = 3;
constexpr unsigned s_driveType = 4;
constexpr unsigned s_total = 5;
constexpr unsigned s_free = 6;

constexpr std::int64_t s_pool = 1;

struct Disc {
    std::string path;
    std::string name;
    std::string fileSystem;
    std::optional<std::int64_t> driveType;
    std::optional<std::int64_t> total;
    std::optional<std::int64_t> free; // none where the disc has just gone
};

Mdp::Result<std::vector<Disc>> ReadDiscs(ModuleTable& table) {
    std::vector<Disc> discs(table.Rows());
    for (std::size_t row = 0; row < discs.size(); ++row) {
        discs[row] = {table.Text(s_path, row),        table.Text(s_name, row),    table.Text(s_fileSystem, row),
                      table.Number(s_driveType, row), table.Number(s_total, row), table.Number(s_free, row)};
    }
    if (table.Failure()) {
        return *table.Failure();
    }
    return discs;
}

const char* KindText(const Disc& disc) {
    return disc.driveType == s_pool ? "pool" : "medium";
}

std::string BytesText(const std::optional<std::int64_t>& bytes) {
    return bytes ? SizeText(static_cast<double>(*bytes)) : "-";
}

std::optional<std::int64_t> UsedPercent(const Disc& disc) {
    if (!disc.total || !disc.free || *disc.total <= 0) {
        return std::nullopt;
    }
    const double used = 1 - static_cast<double>(*disc.free) / static_cast<double>(*disc.total);
    return std::lround(std::clamp(used, 0.0, 1.0) * 100);
}

class DiscsCommand : public Command {
public:
    int Run(const Context& context) override {
        const auto discs = ReadModuleTable<Disc>(context.client, s_moduleTypeDiskManagement, s_path, ReadDiscs);
        if (!discs) {
            return context.Fail(discs.Error(), "listing the discs");
        }
        Table table({"PATH", "NAME", "KIND", "FILE SYSTEM", "SIZE", "FREE", "USED"});
        table.NameColumn(0);
        table.AlignRight(4);
        table.AlignRight(5);
        Json list = Json::Array();
        for (const Disc& disc : *discs) {
            list.Add({{"path", TextJson(disc.path)},
                      {"name", TextJson(disc.name)},
                      {"kind", KindText(disc)},
                      {"fileSystem", TextJson(disc.fileSystem)},
                      {"size", NumberJson(disc.total)},
                      {"free", NumberJson(disc.free)}});
            table.Add({PrintableText(disc.path), PrintableText(disc.name), KindText(disc),
                       PrintableText(disc.fileSystem), BytesText(disc.total), BytesText(disc.free),
                       PercentText(UsedPercent(disc))});
        }
        if (context.json) {
            context.Print(list);
        } else {
            context.Show(table);
        }
        return ExitOk;
    }
};

} // namespace

std::unique_ptr<Command> MakeDiscsCommand() {
    return std::make_unique<DiscsCommand>();
}

} // namespace MdpCommand
