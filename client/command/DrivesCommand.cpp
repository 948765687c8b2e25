#include "Commands.h"

#include <optional>

#include "ModuleTable.h"
#include "Reader.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_moduleTypeMassStorage = 32;

// The arrays of the module: element i of each belongs to one drive.
constexpr unsigned s_serial = 1;
constexpr unsigned s_name = 4;
constexpr unsigned s_kind = 5;
constexpr unsigned s_lifeLeft = 8;
constexpr unsigned s_spareLeft = 11;
constexpr unsigned s_reallocated = 12;
constexpr unsigned s_spinRetries = 13;
constexpr unsigned s_pending = 14;
constexpr unsigned s_crcErrors = 15;

constexpr std::int64_t s_hardDisk = 1;
constexpr std::int64_t s_littleLeft = 10; // percent

struct Drive {
    std::string serial;
    std::string name;
    std::optional<std::int64_t> kind;
    std::optional<std::int64_t> lifeLeft;
    std::optional<std::int64_t> spareLeft;
    std::optional<std::int64_t> reallocated;
    std::optional<std::int64_t> spinRetries;
    std::optional<std::int64_t> pending;
    std::optional<std::int64_t> crcErrors;
};

const char* KindText(const Drive& drive) {
    if (!drive.kind) {
        return "unknown";
    }
    return *drive.kind == 0 ? "other" : *drive.kind == s_hardDisk ? "hard disk" : "flash";
}

bool IsSome(const std::optional<std::int64_t>& count) {
    return count && *count > 0;
}

// What an administrator should know, in a word or two; the worst first.
const char* StateText(const Drive& drive) {
    const auto atMost = [](const std::optional<std::int64_t>& percent, std::int64_t limit) {
        return percent && *percent <= limit;
    };
    if (atMost(drive.lifeLeft, 0)) {
        return "worn out";
    }
    if (atMost(drive.spareLeft, 0)) {
        return "no spares";
    }
    if (IsSome(drive.pending)) {
        return "unreadable sectors";
    }
    if (IsSome(drive.spinRetries)) {
        return "spin-up fails";
    }
    if (atMost(drive.lifeLeft, s_littleLeft)) {
        return "nearly worn out";
    }
    if (atMost(drive.spareLeft, s_littleLeft)) {
        return "few spares";
    }
    if (IsSome(drive.reallocated)) {
        return "bad sectors";
    }
    if (IsSome(drive.crcErrors)) {
        return "cable errors";
    }
    const bool isKnown = drive.lifeLeft || drive.spareLeft || drive.reallocated || drive.spinRetries || drive.pending;
    return isKnown ? "good" : "not known";
}

// "12 bad, 1 pending": what is not 0. "0" for a drive that counts, "-" for one that does not.
std::string ErrorsText(const Drive& drive) {
    const std::pair<const std::optional<std::int64_t>&, const char*> counts[] = {{drive.reallocated, "bad"},
                                                                                 {drive.pending, "pending"},
                                                                                 {drive.spinRetries, "spin"},
                                                                                 {drive.crcErrors, "cable"}};
    std::string text;
    bool hasCounts = false;
    for (const auto& [count, name] : counts) {
        hasCounts = hasCounts || count;
        if (IsSome(count)) {
            text += (text.empty() ? "" : ", ") + std::to_string(*count) + " " + name;
        }
    }
    return !text.empty() ? text : hasCounts ? "0" : "-";
}

Mdp::Result<std::vector<Drive>> ReadDrives(ModuleTable& table) {
    std::vector<Drive> drives(table.Rows());
    for (std::size_t row = 0; row < drives.size(); ++row) {
        Drive& drive = drives[row];
        drive.serial = table.Text(s_serial, row);
        drive.name = table.Text(s_name, row);
        drive.kind = table.Number(s_kind, row);
        drive.lifeLeft = table.Number(s_lifeLeft, row);
        drive.spareLeft = table.Number(s_spareLeft, row);
        drive.reallocated = table.Number(s_reallocated, row);
        drive.spinRetries = table.Number(s_spinRetries, row);
        drive.pending = table.Number(s_pending, row);
        drive.crcErrors = table.Number(s_crcErrors, row);
    }
    if (table.Failure()) {
        return *table.Failure();
    }
    return drives;
}

class DrivesCommand : public Command {
public:
    int Run(const Context& context) override {
        const auto drives = ReadModuleTable<Drive>(context.client, s_moduleTypeMassStorage, s_serial, ReadDrives);
        if (!drives) {
            return context.Fail(drives.Error(), "listing the drives");
        }
        Table table({"SERIAL NUMBER", "MODEL", "KIND", "LIFE LEFT", "SPARE LEFT", "ERRORS", "STATE"});
        table.NameColumn(0);
        Json list = Json::Array();
        for (const Drive& drive : *drives) {
            list.Add({{"serial", TextJson(drive.serial)},
                      {"model", drive.name.empty() ? Json() : TextJson(drive.name)},
                      {"kind", KindText(drive)},
                      {"lifeLeftPercent", NumberJson(drive.lifeLeft)},
                      {"spareLeftPercent", NumberJson(drive.spareLeft)},
                      {"reallocatedSectors", NumberJson(drive.reallocated)},
                      {"spinRetries", NumberJson(drive.spinRetries)},
                      {"pendingSectors", NumberJson(drive.pending)},
                      {"crcErrors", NumberJson(drive.crcErrors)},
                      {"state", StateText(drive)}});
            table.Add({PrintableText(drive.serial), drive.name.empty() ? "-" : PrintableText(drive.name),
                       KindText(drive), PercentText(drive.lifeLeft), PercentText(drive.spareLeft), ErrorsText(drive),
                       StateText(drive)});
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

std::unique_ptr<Command> MakeDrivesCommand() {
    return std::make_unique<DrivesCommand>();
}

} // namespace MdpCommand
